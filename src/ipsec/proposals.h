// The cryptographic proposals of a tunnel in the notation of the IKE daemon.
#ifndef TESSERA_IPSEC_PROPOSALS_H
#define TESSERA_IPSEC_PROPOSALS_H

#include <string>

#include "platform/config.h"

// True when FIPS 140 allows all three algorithms. Logs one message for each that it does not allow.
bool fips_accepts(const char *cipher, const char *hash, const char *dh_group);

// The proposals of phase 1 or 2, joined with ","; "" when there are none. In fips_mode only those that FIPS 140 allows.
std::string proposal_list(const ConfigNode *tunnel, int phase);

#endif
