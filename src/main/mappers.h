// The mappers: one function per service that writes that service's native files.
#ifndef TESSERA_MAIN_MAPPERS_H
#define TESSERA_MAIN_MAPPERS_H

#include <cstdint>

#include "platform/config.h"

// Takes the root of the loaded tree and the command-line arguments after the service name (an array that ends with a
// null pointer); returns the exit status of the process.
using Mapper = int32_t(const ConfigNode *root, int32_t argc, char **argv);

Mapper map_dnsmasq;
Mapper map_ipsec;
Mapper map_network;
Mapper map_pam;

// Whether `tessera network` with these arguments only prints something, and writes no file.
bool is_network_query(char **argv);

#endif
