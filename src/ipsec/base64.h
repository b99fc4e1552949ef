// Secrets in the base64 notation of the IKE daemon.
//
// The encoder is libcrypto's. It is loaded at the first call: a run that has nothing to encode does not pay for it.
#ifndef TESSERA_IPSEC_BASE64_H
#define TESSERA_IPSEC_BASE64_H

#include <cstdint>
#include <cstring>
#include <memory>

#include "main/owned.h"

// A string that is overwritten before its memory is released.
struct WipeString {
  void operator()(char *string) const {
    explicit_bzero(string, strlen(string));
    free(string);
  }
};
using SecretString = std::unique_ptr<char, WipeString>;

// Standard base64 of `length` bytes, padded, on one line. Null when the encoder is not available or fails.
SecretString base64_encode(const void *bytes, int32_t length);

// The string marked as base64 for the daemon: "0s" and its encoding. Null for null and when encoding fails.
SecretString base64_secret(const char *string);

#endif
