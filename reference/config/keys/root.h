// Every key of the configuration document: its name, its kind, and what the manual and the JSON Schema say about it.
// A file per section of the document declares them; a key without a description does not compile.
//
// A description says what the key means and which line or option of which file it drives. A "UCI option" is in
// /var/run/uci/network. A name that ends in "=" is a line of the file that the description of the object or map above
// names.
#ifndef TESSERA_REFERENCE_CONFIG_KEYS_ROOT_H
#define TESSERA_REFERENCE_CONFIG_KEYS_ROOT_H

#include <iterator>

#include "config/keys/auth.h"
#include "config/keys/declare.h"
#include "config/keys/firewall.h"
#include "config/keys/network.h"
#include "config/keys/serial.h"
#include "config/keys/service.h"
#include "config/keys/system.h"
#include "config/keys/vpn.h"

namespace keys {

constexpr Key root[] = {
    object("system", "The router itself.", system_keys),
    object("firewall", "Filters.", firewall),
    object("service", "Services for others.", service),
    object("network", "Devices, interfaces and routes, in /var/run/uci/network.", network),
    object("vpn", "Tunnels.", vpn),
    map("serial", "Serial ports: the section ppp_KEY for each dial-in port.", serial),
    object("auth", "Who may log in, in /var/run/pam.conf.", auth),
};

constexpr Key document = nest({.kind = Kind::object}, root, std::size(root));

}  // namespace keys

#endif
