// Digests by which the interface manager notices that the files of an interface have changed.
#ifndef TESSERA_NETWORK_PROTO_DIGEST_H
#define TESSERA_NETWORK_PROTO_DIGEST_H

#include <cstdio>

#include "platform/config.h"

// Writes `option` with the digest from the output of md5sum: everything before the first space. Writes nothing when the
// output is null or empty.
void uci_write_md5sum(FILE *out, const char *option, const char *md5sum_output);

// Writes `conf_md5sum`, the digest of all settings below the node; equal settings give equal digests. Writes nothing
// when the digest cannot be computed.
void uci_write_config_digest(FILE *out, const ConfigNode *config);

#endif
