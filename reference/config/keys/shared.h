// Keys and objects that several sections have.
#ifndef TESSERA_REFERENCE_CONFIG_KEYS_SHARED_H
#define TESSERA_REFERENCE_CONFIG_KEYS_SHARED_H

#include "config/keys/declare.h"

namespace keys {

constexpr Key route_gateway = string("gateway", "Next hop, an IPv4 address: UCI option gateway.");
constexpr Key route_onlink = boolean(
    "onlink",
    "The gateway is reached directly although no address covers it: UCI option onlink, written with a gateway.");
constexpr Key route_mtu =
    within(0, 65535, integer("mtu", "Largest packet on the route, in bytes: UCI option mtu, 0: not written."));
constexpr Key route_metric = integer("metric", "Metric, lower is preferred: UCI option metric.");
constexpr Key custom[] = {
    boolean("enable", "Use config_file: UCI option custom_enable."),
    boolean("override", "Use nothing but config_file: UCI option custom_override."),
    lines("config_file", "Options of the PPP daemon: UCI option custom_config_file."),
};
constexpr char about_custom[] = "PPP options of your own.";

}  // namespace keys

#endif
