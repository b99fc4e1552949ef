#include "ipsec/proposals.h"

#include "ipsec/tunnel.h"
#include "main/strings.h"
#include "platform/ranges.h"

namespace {

const char *const fips_ciphers[] = {"aes128",       "aes192",       "aes256",      "3des",
                                    "aes128gcm96",  "aes192gcm96",  "aes256gcm96", "aes128gcm128",
                                    "aes192gcm128", "aes256gcm128", nullptr};

const char *const fips_hashes[] = {"sha1", "sha256", "sha384", "sha512", nullptr};

const char *const fips_dh_groups[] = {"modp2048", "modp3072", "modp4096", "modp6144",   "modp8192", "ecp224",
                                      "ecp256",   "ecp384",   "ecp521",   "curve25519", "curve448", nullptr};

bool fips_accepts_one(const char *const *allowed, const char *kind, const char *value) {
  for (const char *each : strings(allowed))
    if (equals(value, each)) return true;
  log_error("%s '%s' is not FIPS compliant", kind, value);
  return false;
}

}  // namespace

bool fips_accepts(const char *cipher, const char *hash, const char *dh_group) {
  bool cipher_accepted = fips_accepts_one(fips_ciphers, "cipher", cipher);
  bool hash_accepted = fips_accepts_one(fips_hashes, "hash", hash);
  bool dh_group_accepted = fips_accepts_one(fips_dh_groups, "dh_group", dh_group);
  return cipher_accepted && hash_accepted && dh_group_accepted;
}

std::string proposal_list(const ConfigNode *tunnel, int phase) {
  const ConfigNode *proposals = config_array(tunnel, phase == 1 ? "ike.phase1_proposal" : "ike.phase2_proposal");
  std::string list;
  for (const ConfigNode *node : elements(proposals)) {
    const char *cipher = string_at(node, "cipher");
    const char *hash = string_at(node, "hash");
    const char *dh_group = string_at(node, "dh_group");
    if (fips_mode && !fips_accepts(cipher, hash, dh_group)) continue;
    if (!list.empty()) list += ',';
    list.append(cipher).append("-").append(hash);
    // Phase 2 needs no key exchange of its own.
    if (phase == 1 || !equals(dh_group, "none")) list.append("-").append(dh_group);
  }
  return list;
}
