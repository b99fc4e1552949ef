// The store of platform/runt.h: its place, its keys and its file.
#ifndef TESSERA_REFERENCE_RUNT_STORE_H
#define TESSERA_REFERENCE_RUNT_STORE_H

#include <cstddef>

// On a router, this directory is in memory and empty after each boot.
inline constexpr char runt_directory[] = "/var/run/runt";

inline constexpr size_t runt_key_limit = 500;  // in bytes

// True for a key that can be stored. False for null, and for a key that is empty, too long or has an empty component.
bool runt_is_key(const char *key);

// The message for a non-zero result of runt_init or a change.
const char *runt_error_message(int error);

#endif
