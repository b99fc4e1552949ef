// The DNS and DHCP mapper on a scripted platform: what the reference platform does not produce.
#include "dnsmasq/dnsmasq.h"

#include <gtest/gtest.h>

#include <string>

#include "fake_platform.h"
#include "main/owned.h"

namespace {

using fake::add;
using fake::platform;
using fake::set;

struct DnsmasqTest : testing::Test {
  DnsmasqTest() { start_afresh(); }

  static void start_afresh() {
    fake::reset();
    dnsmasq_forget_model();
    dnsmasq_network_model = &platform->model;
  }
};

std::string walked(const NetworkNode *node) {
  return fake::written([node](FILE *out) { dnsmasq_walk_interface(out, node); });
}

// A device with a part that relays: whoever visits the part leaves a line.
NetworkNode *add_relaying_part(NetworkNode *interface) {
  set("part.address", "10.0.0.1/24");
  set("part.dhcp_relay.0.address", "10.9.9.9");
  return add(interface, NETWORK_NODE_PROTO, NETWORK_INTERFACE_STATIC, "part", "part");
}

TEST_F(DnsmasqTest, PartsAreVisitedBelowContainersOnly) {
  const std::pair<std::string, std::vector<uint32_t>> cases[] = {
      {"dhcp-relay=10.0.0.1,10.9.9.9\n",
       {NETWORK_INTERFACE_ETHERNET, NETWORK_INTERFACE_MODEM, NETWORK_INTERFACE_PPPOE, 16, 18, 21, UINT32_MAX - 1,
        NETWORK_INTERFACE_PASSTHROUGH4}},
      {"except-interface=eth0\n", {NETWORK_INTERFACE_PASSTHROUGH, NETWORK_INTERFACE_HOTSPOT}},
      {"",
       {NETWORK_INTERFACE_STATIC, NETWORK_INTERFACE_HYBRID, NETWORK_INTERFACE_PREFIX_DELEGATION,
        NETWORK_INTERFACE_WISUN}}};
  for (const auto &[text, kinds] : cases) {
    for (uint32_t kind : kinds) {
      start_afresh();
      NetworkNode *device = add(nullptr, NETWORK_NODE_DEVICE, NETWORK_DEVICE_ETHERNET, "eth0");
      NetworkNode *interface = add(device, NETWORK_NODE_INTERFACE, kind, "lan");
      add_relaying_part(interface);
      // A passthrough interface on the device silences its parts anyway; here the visit itself is of interest.
      if (kind == NETWORK_INTERFACE_PASSTHROUGH) interface->children.clear();
      EXPECT_EQ(walked(interface), text) << "interface type " << kind;
    }
  }
}

TEST_F(DnsmasqTest, OnlyAWholePassthroughInterfaceClaimsItsDevice) {
  NetworkNode *claimed = add(nullptr, NETWORK_NODE_DEVICE, NETWORK_DEVICE_ETHERNET, "eth0");
  NetworkNode *other = add(nullptr, NETWORK_NODE_DEVICE, NETWORK_DEVICE_ETHERNET, "eth1");
  add(claimed, NETWORK_NODE_INTERFACE, NETWORK_INTERFACE_PASSTHROUGH, "camera");
  add(other, NETWORK_NODE_INTERFACE, NETWORK_INTERFACE_PASSTHROUGH4, "odd");
  add(nullptr, NETWORK_NODE_INTERFACE, NETWORK_INTERFACE_PASSTHROUGH, "homeless");
  EXPECT_TRUE(dnsmasq_is_passthrough_source(claimed));
  EXPECT_FALSE(dnsmasq_is_passthrough_source(other));
}

TEST_F(DnsmasqTest, HybridInterfaceNeedsTheStore) {
  NetworkNode *device = add(nullptr, NETWORK_NODE_DEVICE, NETWORK_DEVICE_ETHERNET, "eth0");
  set("part.address", "10.0.0.1/24");
  set("part.dhcp_relay.0.address", "10.9.9.9");
  NetworkNode *hybrid = add(device, NETWORK_NODE_INTERFACE, NETWORK_INTERFACE_HYBRID, "hybrid", "part");
  platform->facts["hybrid.lanmode"] = "true";
  platform->store_opens = false;
  EXPECT_EQ(walked(hybrid), "");
  platform->store_opens = true;
  dnsmasq_forget_model();
  EXPECT_EQ(walked(hybrid), "dhcp-relay=10.0.0.1,10.9.9.9\n");
}

// A device's library may give null where the reference platform gives "".
TEST_F(DnsmasqTest, NullTextsReadAsEmpty) {
  platform->absent_text = nullptr;
  NetworkNode *device = add(nullptr, NETWORK_NODE_DEVICE, NETWORK_DEVICE_ETHERNET, "eth0");
  set("part.address", "10.0.0.1/24");
  set("part.dhcp_server.enable", "true");
  set("part.dhcp_server.advanced.static_lease.0");
  set("part.dhcp_server.advanced.custom_option.0.enable", "true");
  NetworkNode *lan = add(device, NETWORK_NODE_INTERFACE, NETWORK_INTERFACE_STATIC, "lan", "part");
  EXPECT_EQ(walked(lan),
            "\n# network interface 'lan' configurations\n"
            "dhcp-range=lan,10.0.0.,10.0.0.,120s\n"
            "dhcp-option=net:lan,3 # gateway address\n"
            "dhcp-option-force=net:lan,option:mtu # mtu value\n"
            "dhcp-option=net:lan,6 # dns server\n"
            "dhcp-option=net:lan,option:ntp-server # ntp server\n"
            "dhcp-option=net:lan,44 # wins server\n"
            "dhcp-option=net:lan,0,0\n"
            "dhcp-host=id:,,net:lan\n");
}

}  // namespace
