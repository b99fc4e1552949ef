#include "network/network.h"

#include <cstring>

#include "main/mappers.h"
#include "main/strings.h"
#include "network/proto/proto.h"
#include "output/files.h"
#include "output/uci.h"
#include "platform/ranges.h"

NetworkRun *network_run;

namespace {

const char working_path[] = "/var/run/uci/network.new";
const char installed_path[] = "/var/run/uci/network";

// The keys of passthrough interfaces by the IDs of their sources. If several interfaces list a source, the first one
// gets it.
std::map<size_t, const char *> find_passthrough_keys(const NetworkModel *model) {
  std::map<size_t, const char *> keys;
  for (const NetworkNode *node : nodes_of_type(model, NETWORK_NODE_INTERFACE)) {
    if (network_interface_type(node) != NETWORK_INTERFACE_PASSTHROUGH) continue;
    const ConfigNode *config = network_config(node);
    for (const ConfigNode *source : reference_elements(config_array(config, "passthrough.src")))
      keys.emplace(config_node_id(source), or_empty(config_key(config)));
  }
  return keys;
}

void write_globals(FILE *out, const ConfigNode *root) {
  uci_write_section(out, "globals", "globals");
  const char *ula_prefix = config_get_string(root, "network.advanced.ula_prefix");
  if (is_set(ula_prefix)) uci_write_option_string(out, "ula_prefix", ula_prefix);
}

void write_network_file(FILE *out, const ConfigNode *root) {
  const NetworkModel *model = network_run->model.get();
  write_globals(out, root);
  for (const NetworkNode *device : nodes_of_type(model, NETWORK_NODE_DEVICE)) uci_write_devices(out, device);
  for (const NetworkNode *interface : nodes_of_type(model, NETWORK_NODE_INTERFACE)) uci_write_interface(out, interface);
  modem_write_no_interface(out, model);
  modem_write_update_interfaces(out);
  uci_write_static_routes(out, root);
  uci_write_multicast_routes(out, root);
}

// Publishes, for other services, which configuration node each device comes from. All changes form one batch, so
// readers never see an incomplete map or removed devices. False when the old map remains.
bool publish_device_map() {
  if (runt_edit_start() != 0) return false;
  runt_delete("network.device_map");
  int32_t row = 0;
  for (const NetworkNode *device : nodes_of_type(network_run->model.get(), NETWORK_NODE_DEVICE)) {
    OwnedString path(config_path(network_config(device)));
    runt_set_string_pathf(or_empty(network_name(device)), "network.device_map.%d.device", row);
    runt_set_string_pathf(or_empty(path.get()), "network.device_map.%d.path", row);
    row++;
  }
  return runt_edit_commit() == 0;
}

int32_t fail_query(const char *reason) {
  fprintf(stderr, "error: %s\n", reason);
  return 1;
}

// Prints the name of the device for `--device PATH`. Returns the exit status.
int32_t print_device_name(const ConfigNode *root, int32_t argc, char **argv) {
  if (argc != 2) return fail_query("expected single parameter for --device PATH");
  const ConfigNode *config = config_lookup(root, argv[1]);
  if (config == nullptr) return fail_query("config lookup failed");
  const NetworkNode *device = network_find_device(network_run->model.get(), config);
  if (device == nullptr) return fail_query("network node lookup failed");
  printf("%s\n", or_empty(network_name(device)));
  return 0;
}

// Writes and installs the network file and publishes the device map. Returns the exit status. The map is published even
// when the file cannot be written, because the devices exist all the same.
int32_t generate(const ConfigNode *root) {
  bool connected = runt_init() == 0;
  if (!connected) log_error("failed to initialize runt interface");
  if (OwnedStream out = open_output(working_path)) {
    write_network_file(out.get(), root);
  } else {
    unlink(working_path);  // a file that a killed run has left must not be installed
  }
  if (!publish_device_map() && connected) log_error("failed to publish the device map");
  runt_deinit();
  return file_replace(1, working_path, installed_path, 0) ? 0 : 1;
}

bool asks_for_dump(const char *argument) {
  return equals(argument, "-p");
}

bool asks_for_device(const char *argument) {
  return equals(argument, "--device");
}

// The first known argument decides what to do. Without one, the network file is written. Returns the exit status.
int32_t run_with_arguments(const ConfigNode *root, int32_t argc, char **argv) {
  for (const char *argument : strings(argv)) {
    if (asks_for_device(argument)) return print_device_name(root, argc, argv);
    if (!asks_for_dump(argument)) continue;
    dump_network_node(network_run->model.get(), 0);
    return 0;
  }
  return generate(root);
}

}  // namespace

NetworkRun::NetworkRun(const ConfigNode *root)
    : model(network_load(root)), nhrp(root), passthrough_keys(find_passthrough_keys(model.get())) {}

bool is_network_query(char **argv) {
  for (const char *argument : strings(argv))
    if (asks_for_dump(argument) || asks_for_device(argument)) return true;
  return false;
}

int32_t map_network(const ConfigNode *root, int32_t argc, char **argv) {
  NetworkRun run(root);
  network_run = &run;
  log_init("tessera_network", 0, 0);
  int32_t status = run_with_arguments(root, argc, argv);
  network_run = nullptr;
  return status;
}
