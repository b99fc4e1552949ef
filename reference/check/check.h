// The checker's questions to a configuration that loads: settings that a daemon refuses or misreads, settings without
// effect, names that match nothing, and names that two things would share.
#ifndef TESSERA_REFERENCE_CHECK_CHECK_H
#define TESSERA_REFERENCE_CHECK_CHECK_H

#include <string>
#include <string_view>
#include <vector>

#include "config/report.h"
#include "platform/network.h"

// Reports every finding about the document of `root` and the model that was made from it.
void network_check(const ConfigNode *root, const NetworkModel *model);

// An entry of a map of the document that a runtime fact is about, and where that fact stands in its file.
struct FactUse {
  std::string fact;
  unsigned line;
  unsigned column;
  std::string_view map;
  std::string name;
};

// The entries that the runtime facts in the file at `path` are about; none when it cannot be used. Adds what there is
// to say about the file alone. The findings have no place in a document: their path is the fact, their line that of the
// file.
std::vector<FactUse> read_facts(const char *path, std::vector<Finding> &findings);

// Adds a finding for each entry that the document of `root` does not hold.
void check_facts(const std::vector<FactUse> &uses, const ConfigNode *root, std::vector<Finding> &findings);

// The parts of the check, by subject.
void check_names(const NetworkModel *model);
void check_devices(const NetworkModel *model);
void check_interfaces(const NetworkModel *model);
void check_dhcp(const NetworkModel *model, const ConfigNode *root);
void check_subnets(const NetworkModel *model);
void check_layers(const NetworkModel *model);
void check_routes(const ConfigNode *root, const NetworkModel *model);
void check_ipsec(const ConfigNode *root);
void check_vpn(const ConfigNode *root);
void check_services(const ConfigNode *root);
void check_switches(const ConfigNode *root);
void check_empty_options(const ConfigNode *root);

// Strings that are none of the words listed for their key, unless any string is usual there. What is switched off is
// left out, and so is what has a finding already: this comes last.
void check_words(const ConfigNode *root);

// True for a device that its own settings, or those of its tunnel, switch off.
bool is_off_device(const NetworkNode *device);

// The dotted path of a node, for messages.
std::string path_of(const ConfigNode *node);

#endif
