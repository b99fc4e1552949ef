// Modem sections that follow the runtime store. A modem listed there as being without an interface gets a section with
// fixed time-outs when a configured cellular interface names it, so that it is kept ready until that interface can have
// it; other modems are left out. Updates are another matter: every modem listed for one gets a section.
#include "main/owned.h"
#include "main/text_set.h"
#include "network/proto/proto.h"
#include "network/uci.h"

namespace {

TextSet modems_of_interfaces(const NetworkModel *model) {
  TextSet names;
  for (const NetworkNode *node = network_first_type(model, NETWORK_NODE_INTERFACE); node != nullptr;
       node = network_next_type(model, node, NETWORK_NODE_INTERFACE)) {
    if (network_interface_type(node) != NETWORK_INTERFACE_MODEM) continue;
    const char *name = config_get_string(network_config(node), "modem.device");
    if (name != nullptr) names.insert(name);
  }
  return names;
}

void write_idle_modem(FILE *out, const char *name) {
  uci_write_named_interface(out, "mm_no_interface_", name);
  uci_write_value(out, "proto", "mm");
  uci_write_value(out, "modem_name", name);
  uci_write_option_bool(out, "no_interface", true);
  uci_write_option_int(out, "sim_failover_retries", 2);
  uci_write_option_int(out, "retry_seconds", 20);
  uci_write_option_int(out, "registration_timeout", 90);
  uci_write_option_int(out, "apn_push_timeout", 600);
}

void write_modem_update(FILE *out, const char *name) {
  OwnedText interface(runt_get_string_pathf("mm.sh.update.modem.%s.iface", name));
  OwnedText host(runt_get_string_pathf("mm.sh.update.modem.%s.host", name));
  uci_write_named_interface(out, "interface_", name);
  uci_write_value(out, "proto", "mm_update");
  uci_write_option_bool(out, "update_interface", true);
  uci_write_value(out, "modem", name);
  uci_write_value(out, "iface", interface.get());
  uci_write_value(out, "host", host.get());
}

}  // namespace

void modem_write_no_interface(FILE *out, const NetworkModel *model) {
  OwnedList idle(runt_keys("mm.map.no_interface_idx"));
  if (sl_len(idle.get()) == 0) return;
  TextSet configured = modems_of_interfaces(model);
  for (char **name = idle.get(); *name != nullptr; name++)
    if (configured.contains(*name)) write_idle_modem(out, *name);
}

void modem_write_update_interfaces(FILE *out) {
  OwnedList updating(runt_keys("mm.sh.update.modem"));
  if (updating == nullptr) return;
  for (char **name = updating.get(); is_set(*name); name++) write_modem_update(out, *name);
}
