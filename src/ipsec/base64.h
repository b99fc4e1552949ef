// Secrets in the base64 notation of the IKE daemon.
//
// libcrypto encodes them. It is loaded at the first call, so that a run without secrets is not slowed down.
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

// Encodes `length` bytes as padded standard base64 on one line. Null when libcrypto is missing or fails.
SecretString base64_encode(const void *bytes, int32_t length);

// "0s", which marks base64 for the daemon, followed by the encoded string. Null for null and when encoding fails.
SecretString base64_secret(const char *string);

#endif
