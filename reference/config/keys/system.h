// The section "system".
#ifndef TESSERA_REFERENCE_CONFIG_KEYS_SYSTEM_H
#define TESSERA_REFERENCE_CONFIG_KEYS_SYSTEM_H

#include "config/keys/declare.h"

namespace keys {

constexpr Key system_keys[] = {
    string("name",
           "Host name: UCI option hostname of DHCP and cellular interfaces; empty: the output of /bin/hostname for "
           "the former."),
    boolean("fips",
            "Restrict IPsec to approved algorithms: other proposals are dropped, and a tunnel that is left "
            "without one is skipped."),
};

}  // namespace keys

#endif
