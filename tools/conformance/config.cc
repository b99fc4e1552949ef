// Checks the configuration tree.
#include "platform/config.h"

#include <cstring>

#include "conformance.h"

static bool same(const char *string, const char *expected) {
  return string != nullptr && strcmp(string, expected) == 0;
}

static void check_values(const ConfigNode *root) {
  const ConfigNode *lan = config_lookup(root, "network.interface.lan");
  check("config_get_string", "reads a string", same(config_get_string(lan, "ipv4.address"), "192.168.1.1/24"));
  check("config_get_string", "selects elements by digits",
        same(config_get_string(root, "service.dns.server.1.address"), "192.0.2.2"));
  check("config_get_string", "reads a reference as string",
        same(config_get_string(lan, "device"), "/network/bridge/switch"));
  check("config_get_string", "gives \"\" for a known member that is left out",
        same(config_get_string(lan, "ipv4.gateway"), ""));
  check("config_get_string", "gives null for an unknown path", config_get_string(lan, "no.such") == nullptr);
  const char *none = config_get_string(nullptr, "system.name");
  check("config_get_string", "gives null or \"\" for a null node", none == nullptr || *none == '\0');
  check("config_get_bool", "reads a boolean", config_get_bool(root, "system.fips"));
  check("config_get_bool", "gives false for a key that is left out or unknown",
        !config_get_bool(root, "network.advanced.dhcp_persistent_lease") && !config_get_bool(root, "no.such") &&
            !config_get_bool(nullptr, "system.fips"));
  const ConfigNode *route = config_lookup(root, "network.route.static.0");
  check("config_get_int", "reads a negative integer", config_get_int(route, "metric") == -5);
  check("config_get_int", "gives 0 for a key that is left out or unknown",
        config_get_int(route, "mtu") == 0 && config_get_int(route, "no") == 0 && config_get_int(nullptr, "mtu") == 0);
  const ConfigNode *retry = config_lookup(root, "vpn.ipsec.advanced.connection_retry_timeout");
  check("config_get_number", "reads a fraction", config_get_number(retry, "base") == 1.5);
  check("config_get_number", "gives 0 for a key that is left out",
        config_get_number(root, "vpn.ipsec.advanced.connection_try_interval.base") == 0.0);
  check(
      "config_get_duration", "gives seconds",
      config_get_duration(retry, "duration") == 90 && config_get_duration(lan, "ipv4.dhcp_server.lease_time") == 43200);
  const ConfigNode *bond = config_lookup(root, "network.bond.pair");
  check("config_get_duration", "cuts off parts of a second", config_get_duration(bond, "link_poll_interval") == 1);
  check("config_get_duration_ms", "gives milliseconds", config_get_duration_ms(bond, "link_poll_interval") == 1500);
  check("config_get_duration_ms", "gives 0 for a key that is left out", config_get_duration_ms(retry, "limit") == 0);
  check("config_get_string_list", "copies the strings in order",
        take_list(config_get_string_list(root, "service.dns.allowlist")) == "first.example||third.example");
  char **servers = config_get_string_list(root, "network.interface.wan.ipv4.dns");
  check("config_get_string_list", "gives an empty list for a key that is left out", sl_len(servers) == 0);
  sl_free(servers);
  check("config_get_ref", "follows a reference",
        config_get_ref(lan, "device") == config_lookup(root, "network.bridge.switch"));
  check("config_get_ref", "gives null for an unset reference", config_get_ref(route, "interface") == nullptr);
}

static void check_members(const ConfigNode *root) {
  const ConfigNode *system = config_object(root, "system");
  check("config_object", "finds an object", system != nullptr && system == config_lookup(root, "system"));
  check("config_object", "gives null when the document does not hold the object",
        config_object(root, "firewall") == nullptr && config_object(root, "system.name") == nullptr);
  check("config_has_key", "says whether the document holds the member",
        config_has_key(system, "fips") && !config_has_key(root, "firewall") && !config_has_key(nullptr, "fips"));
  check("config_object_has_key", "says whether an object below holds the member",
        config_object_has_key(root, "system", "fips") && !config_object_has_key(root, "firewall", "web_filter"));
  const ConfigNode *devices = config_object(root, "network.device");
  std::string names;
  for (const ConfigNode *device = config_object_first(devices); device != nullptr; device = config_object_next(device))
    names += std::string(shown(config_key(device))) + " ";
  check("config_object_first", "gives null for null", config_object_first(nullptr) == nullptr);
  check("config_object_next", "visits members in document order", names == "eth1 eth0 lo ");
  check("config_object_get", "finds a member by its name",
        config_object_get(devices, "eth0") == config_lookup(root, "network.device.eth0") &&
            config_object_get(devices, "eth9") == nullptr);
  check("config_string_get", "reads a leaf", same(config_string_get(config_object_get(system, "name")), "conformance"));
  check("config_string_get", "gives null for a node that is not a string", config_string_get(system) == nullptr);
  check("config_int_get", "reads a leaf", config_int_get(config_lookup(root, "network.vlan.office.id")) == 7);
  check("config_int_get", "gives 0 for any other node", config_int_get(system) == 0 && config_int_get(nullptr) == 0);
}

static void check_arrays(const ConfigNode *root) {
  const ConfigNode *servers = config_array(root, "service.dns.server");
  check("config_array", "gives null when the document does not hold the array",
        servers != nullptr && config_array(root, "network.route.policy") == nullptr);
  check("config_array_count", "counts elements",
        config_array_count(servers) == 2 && config_array_count(config_array(root, "service.dns.host")) == 0 &&
            config_array_count(nullptr) == 0);
  const ConfigNode *first = config_array_first(servers);
  const ConfigNode *second = config_array_next(first);
  check("config_array_first", "starts with element 0", same(config_get_string(first, "domain"), "one.example"));
  check("config_array_next", "gives the next element, and null after the last",
        same(config_get_string(second, "address"), "192.0.2.2") && config_array_next(second) == nullptr);
  check("config_array_object", "selects by index",
        config_array_object(servers, 1) == second && config_array_object(servers, 2) == nullptr);
  const ConfigNode *members = config_array(root, "network.bridge.switch.device");
  check("config_array_get_string", "reads strings, \"\" for an unset reference, null past the end",
        same(config_array_get_string(members, 2), "/network/device/eth1") &&
            same(config_array_get_string(members, 1), "") && config_array_get_string(members, 3) == nullptr);
  check("config_array_get_ref", "follows references, null for an unset reference",
        config_array_get_ref(members, 0) == config_lookup(root, "network.vlan.office") &&
            config_array_get_ref(members, 1) == nullptr);
}

static void check_nodes(const ConfigNode *root) {
  const ConfigNode *route = config_lookup(root, "network.route.static.0");
  check("config_lookup", "finds a node of any kind; \"\" is the node itself",
        route != nullptr && config_lookup(route, "") == route &&
            config_lookup(root, "network.route.static.1") == nullptr);
  check("config_node_get_root", "gives the root", config_node_get_root(route) == root);
  check("config_node_parent", "gives the object or array that holds the node",
        config_node_parent(route) == config_array(root, "network.route.static") && config_node_parent(root) == nullptr);
  size_t id = config_node_id(route);
  check("config_node_id", "differs between nodes", id != 0 && id != config_node_id(config_node_parent(route)));
  check("config_node_id", "has as many digits as any other",
        std::to_string(id).size() == std::to_string(config_node_id(root)).size());
  check("config_node_id", "gives 0 for null", config_node_id(nullptr) == 0);
  OwnedTree again(config_load());
  check("config_node_id", "is the same after every load",
        config_node_id(config_lookup(again.get(), "network.route.static.0")) == id);
  check("config_free", "releases only its tree, and accepts null",
        (config_free(nullptr), again.reset(), same(config_get_string(root, "system.name"), "conformance")));
  check("config_key", "gives the name of a member, \"\" for an element or the root",
        same(config_key(config_lookup(root, "network.vlan.office")), "office") && same(config_key(route), "") &&
            same(config_key(root), ""));
  check("config_path", "gives the dotted path",
        take(config_path(route)) == "network.route.static.0" && take(config_path(root)).empty());
  const char *dump = config_dump(config_lookup(root, "network.bond.pair"));
  check("config_dump", "gives a string", dump != nullptr && *dump != '\0');
  check("config_dump", "gives different strings for different settings",
        dump != nullptr && !same(config_dump(config_lookup(root, "network.bridge.switch")), dump));
}

void check_config(const ConfigNode *root) {
  check_values(root);
  check_members(root);
  check_arrays(root);
  check_nodes(root);
}
