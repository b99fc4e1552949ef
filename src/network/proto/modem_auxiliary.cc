// Writes the sections of modems that the runtime store lists. A modem listed as without an interface gets a section
// with fixed timeouts if a configured cellular interface names it: this keeps the modem ready until that interface can
// use it. Every modem listed for an update gets a section.
#include "main/owned.h"
#include "main/string_set.h"
#include "main/strings.h"
#include "network/proto/proto.h"
#include "output/uci.h"
#include "platform/ranges.h"

namespace {

StringSet modems_of_interfaces(const NetworkModel *model) {
  StringSet names;
  for (const NetworkNode *node : nodes_of_type(model, NETWORK_NODE_INTERFACE)) {
    if (network_interface_type(node) != NETWORK_INTERFACE_MODEM) continue;
    const char *name = config_get_string(network_config(node), "modem.device");
    if (name != nullptr) names.insert(name);
  }
  return names;
}

void write_idle_modem(FILE *out, const char *name) {
  uci_write_section(out, "interface", "mm_no_interface_%s", name);
  uci_write_option_string(out, "proto", "mm");
  uci_write_option_string(out, "modem_name", name);
  uci_write_option_bool(out, "no_interface", true);
  uci_write_option_int(out, "sim_failover_retries", 2);
  uci_write_option_int(out, "retry_seconds", 20);
  uci_write_option_int(out, "registration_timeout", 90);
  uci_write_option_int(out, "apn_push_timeout", 600);
}

void write_modem_update(FILE *out, const char *name) {
  OwnedString interface(runt_get_string_pathf("mm.sh.update.modem.%s.iface", name));
  OwnedString host(runt_get_string_pathf("mm.sh.update.modem.%s.host", name));
  uci_write_section(out, "interface", "interface_%s", name);
  uci_write_option_string(out, "proto", "mm_update");
  uci_write_option_bool(out, "update_interface", true);
  uci_write_option_string(out, "modem", name);
  uci_write_option_string(out, "iface", interface.get());
  uci_write_option_string(out, "host", host.get());
}

}  // namespace

void modem_write_no_interface(FILE *out, const NetworkModel *model) {
  OwnedList idle(runt_keys("mm.map.no_interface_idx"));
  if (sl_len(idle.get()) == 0) return;
  StringSet configured = modems_of_interfaces(model);
  for (const char *name : strings(idle.get()))
    if (configured.contains(name)) write_idle_modem(out, name);
}

void modem_write_update_interfaces(FILE *out) {
  OwnedList updating(runt_keys("mm.sh.update.modem"));
  for (const char *name : strings(updating.get())) {
    if (!is_set(name)) return;
    write_modem_update(out, name);
  }
}
