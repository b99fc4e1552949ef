// The maps of devices in "network".
#ifndef TESSERA_REFERENCE_CONFIG_KEYS_NETWORK_DEVICES_H
#define TESSERA_REFERENCE_CONFIG_KEYS_NETWORK_DEVICES_H

#include "config/keys/declare.h"

namespace keys {

constexpr Key network_device[] = {
    word("type", "ethernet usb_ethernet loopback vnet",
         "Kind of device; ethernet and usb_ethernet give the section link_eth_KEY."),
    string("name",
           "Name in the kernel: UCI option ifname of its sections. Empty: the key; a usb_ethernet is then absent."),
    string("mode", "Has no effect."),
};
constexpr Key wlan[] = {
    held(Fallback::wlan, word("type", "wlan", "Kind of device; always wlan.")),
    word("mode", "ap client", "A client in a bridge is joined through the section tap_BRIDGE_KEY."),
    reference("radio", "Radio that it uses; interfaces on it are then written without UCI option ifname."),
};
constexpr Key vlan[] = {
    device("device", "Device whose frames are tagged; its name and the ID form the name of the VLAN."),
    within(1, 4094,
           integer("id", "VLAN ID: section vlan4_DEVICE_ID or vlan6_DEVICE_ID for each interface part on it.")),
};
constexpr Key stp[] = {
    boolean("enable", "Take part in the spanning tree: UCI option stp."),
    within(2, 30,
           integer("forward_delay",
                   "Seconds in each state before forwarding: UCI option forward_delay, "
                   "only with stp.")),
};
constexpr Key bridge[] = {
    boolean("enable", "Write the sections."),
    word("mode", "bridge switch",
         "switch filters VLANs and lists no members: UCI option vlan_filtering; anything else is a plain bridge."),
    of_devices(references("device", "Members: UCI option ifname.")),
    object("stp", "Spanning tree.", stp),
    boolean("auto_mac_assignment",
            "Use the MAC address of the first member that has one: UCI option macaddr; not in mode switch."),
};
constexpr Key bond[] = {
    boolean("enable", "Write the section."),
    word("mode", "active-backup round-robin", "How members share the traffic: UCI option mode; no section without it."),
    of_devices(references("device", "Members: UCI option ifname; with active-backup the first is UCI option primary.")),
    duration("link_poll_interval",
             "Time between checks of the links: UCI option link_poll_interval in milliseconds, "
             "0: not written."),
};
constexpr Key macsec_association[] = {
    secret(string("cak", "Secret key, hexadecimal: UCI option cak, for type manual.")),
    string("ckn", "Name of the key, hexadecimal: UCI option ckn, for type manual."),
};
constexpr Key macsec[] = {
    boolean("enable", "Write the section."),
    reference("local",
              "Interface that it uses: its IPv4 address gives UCI option local_ip, its device UCI option device. No "
              "section while it has no address."),
    string_or("type", "manual", "Where keys come from: UCI option type. Only manual uses association."),
    object("association", "Keys set by hand.", macsec_association),
};
constexpr Key vrrp[] = {device("device", "Device that it shares an address on.")};
constexpr Key modem[] = {
    string_or("sim_slot", "any", "SIM to use; sim_failover works only with any."),
};

}  // namespace keys

#endif
