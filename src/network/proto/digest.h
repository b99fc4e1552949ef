// Digests from which the interface manager learns whether the files behind an interface have changed.
#ifndef TESSERA_NETWORK_PROTO_DIGEST_H
#define TESSERA_NETWORK_PROTO_DIGEST_H

#include <cstdio>

#include "platform/config.h"

// Writes `option` with the digest out of what md5sum printed, which ends before the first space; nothing without
// output.
void uci_write_md5sum(FILE *out, const char *option, const char *md5sum_output);

// Writes `conf_md5sum`: the digest of everything below the node, so equal settings give equal digests. Nothing when it
// cannot be computed.
void uci_write_config_digest(FILE *out, const ConfigNode *config);

#endif
