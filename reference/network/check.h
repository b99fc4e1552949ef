// The checker's questions to a configuration that loads: settings that a run takes silently and that a daemon then
// refuses or misreads, names that match nothing, and names that two things would share.
#ifndef TESSERA_REFERENCE_NETWORK_CHECK_H
#define TESSERA_REFERENCE_NETWORK_CHECK_H

#include "platform/network.h"

// Reports every questionable finding about the document of `root` and the model that was made from it.
void network_check(const ConfigNode *root, const NetworkModel *model);

// The parts of it, by subject.
void check_names(const NetworkModel *model);
void check_devices(const NetworkModel *model);
void check_interfaces(const NetworkModel *model);
void check_routes(const ConfigNode *root, const NetworkModel *model);
void check_vpn(const ConfigNode *root);
void check_services(const ConfigNode *root);

#endif
