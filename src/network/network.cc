#include "network/network.h"

#include <algorithm>
#include <cstring>

#include "main/mappers.h"
#include "main/owned.h"
#include "main/print.h"
#include "network/proto/proto.h"
#include "network/uci.h"
#include "output/files.h"

NetworkModel *network_model;

namespace {

const char working_path[] = "/var/run/uci/network.new";
const char installed_path[] = "/var/run/uci/network";

using NodeWriter = void(FILE *out, const NetworkNode *node);

void write_each(FILE *out, uint32_t node_type, NodeWriter *writer) {
  for (const NetworkNode *node = network_first_type(network_model, node_type); node != nullptr;
       node = network_next_type(network_model, node, node_type))
    writer(out, node);
}

void write_globals(FILE *out, const ConfigNode *root) {
  uci_write_section(out, "globals", "globals");
  const char *ula_prefix = config_get_string(root, "network.advanced.ula_prefix");
  if (is_set(ula_prefix)) uci_write_value(out, "ula_prefix", ula_prefix);
}

void write_network_file(FILE *out, const ConfigNode *root) {
  write_globals(out, root);
  write_each(out, NETWORK_NODE_DEVICE, uci_write_devices);
  write_each(out, NETWORK_NODE_INTERFACE, uci_write_interface);
  modem_write_no_interface(out, network_model);
  modem_write_update_interfaces(out);
  uci_write_static_routes(out, root);
  uci_write_multicast_routes(out, root);
}

// Tells other services which configuration each kernel device comes from. One batch: readers never see half a map, nor
// rows of devices that are gone. False when the map stays as it was.
bool publish_device_map() {
  if (runt_edit_start() != 0) return false;
  runt_delete("network.device_map");
  char key[sizeof "network.device_map.-2147483648.device"] = "network.device_map.";
  char *const digits = key + strlen(key);
  int32_t row = 0;
  for (const NetworkNode *device = network_first_type(network_model, NETWORK_NODE_DEVICE); device != nullptr;
       device = network_next_type(network_model, device, NETWORK_NODE_DEVICE)) {
    OwnedText path(config_path(network_config(device)));
    const Decimal number(row++);
    char *const column = std::copy_n(static_cast<const char *>(number), strlen(number), digits);
    memcpy(column, ".device", sizeof ".device");
    runt_set_string_pathf(or_empty(network_name(device)), "%s", key);
    memcpy(column, ".path", sizeof ".path");
    runt_set_string_pathf(or_empty(path.get()), "%s", key);
  }
  return runt_edit_commit() == 0;
}

// Prints the name of the device that `--device PATH` asks for; returns the exit status.
int32_t print_device_name(const ConfigNode *root, int32_t argc, char **argv) {
  if (argc != 2) {
    print(stderr, "error: expected single parameter for --device PATH\n");
    return 1;
  }
  const ConfigNode *config = config_lookup(root, argv[1]);
  if (config == nullptr) {
    print(stderr, "error: config lookup failed\n");
    return 1;
  }
  const NetworkNode *device = network_find_device(network_model, config);
  if (device == nullptr) {
    print(stderr, "error: network node lookup failed\n");
    return 1;
  }
  print(stdout, {or_empty(network_name(device)), "\n"});
  return 0;
}

// Writes and installs the network file and publishes the device map; returns the exit status. Without a working file
// the map is still published: the devices are there whether or not their settings could be written.
int32_t generate(const ConfigNode *root) {
  bool connected = runt_init() == 0;
  if (!connected) log_error("failed to initialize runt interface");
  if (OwnedStream out = open_output(working_path)) {
    write_network_file(out.get(), root);
  } else {
    remove_file(working_path);  // what a killed run has left must not be installed
  }
  if (!publish_device_map() && connected) log_error("failed to publish the device map");
  uci_forget_passthrough_sources();
  network_free(network_model);
  network_model = nullptr;
  runt_deinit();
  return file_replace(1, working_path, installed_path, 0) ? 0 : 1;
}

}  // namespace

bool is_network_query(int32_t argc, char **argv) {
  for (int32_t i = 0; i < argc; i++)
    if (strcmp(argv[i], "-p") == 0 || strcmp(argv[i], "--device") == 0) return true;
  return false;
}

int32_t map_network(const ConfigNode *root, int32_t argc, char **argv) {
  network_model = network_load(root);
  log_init("tessera_network", 0, 0);
  // The process ends right after a query, so its model is left to the exit.
  for (int32_t i = 0; i < argc; i++) {
    if (strcmp(argv[i], "-p") == 0) {
      dump_network_node(network_model, 0);
      return 0;
    }
    if (strcmp(argv[i], "--device") == 0) return print_device_name(root, argc, argv);
  }
  return generate(root);
}
