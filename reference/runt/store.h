// The store of platform/runt.h: its place and its keys.
//
// The store is one LMDB database. Keys are stored with a zero byte in place of each dot. No byte sorts before the zero
// byte, so a key and all keys below it are next to each other, and one search finds the first key after them.
#ifndef TESSERA_REFERENCE_RUNT_STORE_H
#define TESSERA_REFERENCE_RUNT_STORE_H

#include <cstddef>

// On a router, this directory is in memory and empty after each boot.
inline constexpr char runt_directory[] = "/var/run/runt";

inline constexpr size_t runt_key_limit = 500;

// A key in its stored form.
struct StoredKey {
  size_t length;                   // 0 for the top level
  char bytes[runt_key_limit + 2];  // with room for one more byte, to search past the key
};

// Encodes a key. False for an invalid one: null, empty, too long, or with an empty component.
bool runt_encode_key(const char *key, StoredKey *encoded);

// The message for a non-zero result of runt_init or a change.
const char *runt_error_message(int error);

#endif
