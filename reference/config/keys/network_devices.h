// The maps of devices in "network".
#ifndef TESSERA_REFERENCE_CONFIG_KEYS_NETWORK_DEVICES_H
#define TESSERA_REFERENCE_CONFIG_KEYS_NETWORK_DEVICES_H

#include "config/keys/declare.h"

namespace keys {

constexpr Key network_device[] = {
    word("type", "ethernet usb_ethernet loopback vnet",
         "Kind of device; ethernet and usb_ethernet give the section link_eth_KEY."),
    string("name", "Name in the kernel: UCI option ifname of its sections; empty: the key, or an absent usb_ethernet."),
    string("mode", "Drives nothing."),
};
constexpr Key wlan[] = {
    held(word("type", "wlan", "Kind of device; always wlan."), "wlan"),
    word("mode", "ap client", "A client in a bridge is joined through the section tap_BRIDGE_KEY."),
    reference("radio", "Radio it is on; interfaces on it are written without UCI option ifname then."),
};
constexpr Key vlan[] = {
    device("device", "Device whose frames are tagged; its name and the ID name the VLAN."),
    within(1, 4094,
           integer("id", "", "VLAN ID: section vlan4_DEVICE_ID or vlan6_DEVICE_ID for each interface part on it.")),
};
constexpr Key stp[] = {
    boolean("enable", "Take part in the spanning tree: UCI option stp."),
    within(2, 30,
           integer("forward_delay", "seconds",
                   "Time in each state before forwarding: UCI option forward_delay, with stp only.")),
};
constexpr Key bridge[] = {
    boolean("enable", "Write the sections."),
    word("mode", "bridge switch",
         "switch filters VLANs and names no members: UCI option vlan_filtering; anything else is a plain bridge."),
    of_devices(references("device", "Members: UCI option ifname.")),
    object("stp", "Spanning tree.", stp),
    boolean("auto_mac_assignment",
            "Take the address of the first member that has one: UCI option macaddr, without mode switch."),
};
constexpr Key bond[] = {
    boolean("enable", "Write the section."),
    word("mode", "active-backup round-robin", "How members share the work: UCI option mode; none without."),
    of_devices(references("device", "Members: UCI option ifname; of active-backup the first is UCI option primary.")),
    duration("link_poll_interval",
             "Time between looks at the links: UCI option link_poll_interval in milliseconds, "
             "0: not written."),
};
constexpr Key macsec_association[] = {
    secret(string("cak", "Secret key, hexadecimal: UCI option cak, of type manual.")),
    string("ckn", "Name of the key, hexadecimal: UCI option ckn, of type manual."),
};
constexpr Key macsec[] = {
    boolean("enable", "Write the section."),
    reference("local",
              "Interface below: its IPv4 address gives UCI option local_ip, its device UCI option device. No "
              "section while it has no address."),
    string_or("type", "manual", "Where keys come from, manual alone takes association: UCI option type."),
    object("association", "Keys set by hand.", macsec_association),
};
constexpr Key vrrp[] = {device("device", "Device it shares an address on.")};
constexpr Key modem[] = {
    string_or("sim_slot", "any", "SIM in use; any lets sim_failover have its effect."),
};

}  // namespace keys

#endif
