// The check of a configuration that loads. It finds settings that a daemon refuses or misreads, settings without
// effect, names that match nothing, and names that two things share.
#ifndef TESSERA_REFERENCE_CHECK_CHECK_H
#define TESSERA_REFERENCE_CHECK_CHECK_H

#include <string>
#include <string_view>
#include <vector>

#include "config/report.h"
#include "platform/network.h"

// Checks the document of `root` and the model made from it, and adds each finding to the list of that document (see
// config_check_file). Does nothing for a document that was loaded for a run. `lan_mode`: the runtime fact
// hybrid.lanmode is known to be true; otherwise, a mistake with an effect only in LAN mode is a warning.
void network_check(const ConfigNode *root, const NetworkModel *model, bool lan_mode = false);

// A runtime fact that names an entry of a map in the document.
struct FactUse {
  std::string fact;      // its name, for messages
  unsigned line;         // of the fact in its file, from 1
  unsigned column;       // in bytes, from 1
  std::string_view map;  // path of the map, such as "network.interface"
  std::string name;      // of the entry
};

// A file of runtime facts. In the findings about it, the path is the name of the fact, and line and column are places
// in the facts file.
struct Facts {
  std::vector<FactUse> uses = {};  // which entries the facts name; empty when the file cannot be used
  bool lan_mode = false;           // hybrid.lanmode is true
  std::vector<Finding> findings = {};
  FindingCounts counts = {};  // see list_finding
};

// Reads the file at `path`. Adds a finding for each problem that needs no document: an unreadable file, a fact that no
// service reads.
Facts read_facts(const char *path);

// Adds a finding for each named entry that the document of `root` does not have.
void check_facts(Facts &facts, const ConfigNode *root);

// The parts of network_check, by subject.
void check_names(const NetworkModel *model);
void check_devices(const NetworkModel *model);
void check_interfaces(const NetworkModel *model);
void check_dhcp(const NetworkModel *model, const ConfigNode *root, bool lan_mode);
void check_subnets(const NetworkModel *model);
void check_layers(const NetworkModel *model);
void check_routes(const ConfigNode *root, const NetworkModel *model);
void check_ipsec(const ConfigNode *root);
void check_vpn(const ConfigNode *root);
void check_services(const ConfigNode *root);
void check_switches(const ConfigNode *root);
void check_empty_options(const ConfigNode *root);

// Finds strings that are not among the words listed for their key, unless other strings are usual there. Skips settings
// that are switched off and settings that have a finding already, so this part has to run last.
void check_words(const ConfigNode *root);

// True for a device that is disabled in its own settings or in those of its tunnel.
bool is_off_device(const NetworkNode *device);

// The dotted path of a node, for messages.
std::string path_of(const ConfigNode *node);

#endif
