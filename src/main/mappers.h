// The mappers: one function per service that writes that service's native files.
#ifndef TESSERA_MAIN_MAPPERS_H
#define TESSERA_MAIN_MAPPERS_H

#include <cstdint>

#include "platform/config.h"

// Takes the root of the loaded tree, and the number and array of the command-line arguments after the service name; the
// array ends with a null pointer. Borrows both. Returns the exit status of the process.
using Mapper = int32_t(const ConfigNode *root, int32_t argc, char **argv);

Mapper map_dnsmasq;
Mapper map_ipsec;
Mapper map_network;
Mapper map_pam;

// True when `tessera network` with these arguments prints something and writes no file.
bool is_network_query(char **argv);

#endif
