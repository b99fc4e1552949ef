// The network model: devices, interfaces and their protocol parts as the configuration tree describes them.
//
// The model is a tree of nodes. They belong to the model and stay valid until network_free. The model borrows from the
// configuration tree and must be freed before it. Every operation accepts a null node. An operation returns null, or
// the value stated, when a node does not have what is asked for.
#ifndef TESSERA_PLATFORM_NETWORK_H
#define TESSERA_PLATFORM_NETWORK_H

#include <stdint.h>

#include "platform/config.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct NetworkNode NetworkNode;

// A model is its own root node.
typedef struct NetworkNode NetworkModel;

// The platform's binary interface fixes all values below.
enum NetworkNodeType {
  NETWORK_NODE_ROOT = 0,
  NETWORK_NODE_NAMESPACE = 1,
  NETWORK_NODE_DEVICE = 2,
  NETWORK_NODE_INTERFACE = 3,
  NETWORK_NODE_PROTO = 4,
  NETWORK_NODE_BRIDGE_PORT = 5,
  NETWORK_NODE_BOND_SLAVE = 6,
  NETWORK_NODE_RADIO = 7,
  NETWORK_NODE_MODEM = 8,
};

enum NetworkInterfaceType {
  NETWORK_INTERFACE_ETHERNET = 0,
  NETWORK_INTERFACE_STATIC = 1,
  NETWORK_INTERFACE_HYBRID = 2,
  NETWORK_INTERFACE_DHCP = 3,
  NETWORK_INTERFACE_DHCPV6 = 4,
  NETWORK_INTERFACE_PREFIX_DELEGATION = 5,
  NETWORK_INTERFACE_MODEM = 6,
  NETWORK_INTERFACE_DIALIN = 7,
  NETWORK_INTERFACE_NEMO = 8,
  NETWORK_INTERFACE_OPENVPN = 9,
  NETWORK_INTERFACE_IPSEC = 10,
  NETWORK_INTERFACE_PPPOE = 11,
  NETWORK_INTERFACE_PASSTHROUGH = 12,
  NETWORK_INTERFACE_PASSTHROUGH4 = 13,
  NETWORK_INTERFACE_PASSTHROUGH6 = 14,
  NETWORK_INTERFACE_HOTSPOT = 15,
  NETWORK_INTERFACE_PPPOL2TP = 17,
  NETWORK_INTERFACE_PPP_DIALIN = 19,
  NETWORK_INTERFACE_WISUN = 20,
};

enum NetworkDeviceType {
  NETWORK_DEVICE_LOOPBACK = 0,
  NETWORK_DEVICE_ETHERNET = 1,
  NETWORK_DEVICE_VNET = 2,
  NETWORK_DEVICE_WLAN = 3,
  NETWORK_DEVICE_VLAN = 4,
  NETWORK_DEVICE_BRIDGE = 5,
  NETWORK_DEVICE_BOND = 6,
  NETWORK_DEVICE_OPENVPN = 7,
  NETWORK_DEVICE_IPSEC = 8,
  NETWORK_DEVICE_IPTUNNEL = 9,
  NETWORK_DEVICE_VRRP = 10,
  NETWORK_DEVICE_L2TPETH = 11,
  NETWORK_DEVICE_MACSEC = 13,
  NETWORK_DEVICE_WIREGUARD = 14,
  NETWORK_DEVICE_WISUN = 15,
};

// Builds the model of the tree below `root`; the caller releases it with network_free, before the tree. Null only when
// no model could be built.
NetworkModel *network_load(const ConfigNode *root);
void network_free(NetworkModel *model);

// Direct children in order; null when there is none, and after the last one.
const NetworkNode *network_first(const NetworkNode *node);
const NetworkNode *network_next_child(const NetworkNode *node);

// Descendants of one type at any depth below `scope`, in depth-first order. A full pass takes linear time.
const NetworkNode *network_first_type(const NetworkNode *scope, uint32_t type);
const NetworkNode *network_next_type(const NetworkNode *scope, const NetworkNode *current, uint32_t type);

// The nearest ancestor of that type; the node itself does not count.
const NetworkNode *network_find_parent(const NetworkNode *node, uint32_t type);

// The first descendant of `scope` of that type that was made from `config`.
const NetworkNode *network_find(const NetworkNode *scope, uint32_t type, const ConfigNode *config);

// The device that was made from `config`.
const NetworkNode *network_find_device(const NetworkModel *model, const ConfigNode *config);

// What serves `family` ("ipv4" or "ipv6") on the interface made from `config`: the protocol part of that family on
// ethernet and passthrough interfaces, the interface itself on all other kinds.
const NetworkNode *network_find_proto(const NetworkModel *model, const ConfigNode *config, const char *family);

// The configuration node that this node was made from; the root has none.
const ConfigNode *network_config(const NetworkNode *node);

// Borrowed strings: the system's name of a device or the name of an interface; the key of the configuration entry (a
// bridge port or bond slave: the dotted path of the member); the interface manager's name of an interface or part.
const char *network_name(const NetworkNode *node);
const char *network_key(const NetworkNode *node);
const char *network_interface_name(const NetworkNode *node);

// Values of the enumerations above, or further ones of a newer platform. UINT32_MAX for a node without that property.
uint32_t network_type(const NetworkNode *node);
uint32_t network_interface_type(const NetworkNode *node);
uint32_t network_device_type(const NetworkNode *node);

#ifdef __cplusplus
}
#endif

#endif
