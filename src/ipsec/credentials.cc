// Writes the secrets file, keys, certificates and revocation lists of a tunnel, and finds the name of the peer's CA.
#include <glob.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "ipsec/base64.h"
#include "ipsec/staging.h"
#include "ipsec/tunnel.h"
#include "main/strings.h"
#include "output/files.h"
#include "output/quote.h"
#include "platform/ranges.h"

namespace {

const char certificate_end[] = "-----END CERTIFICATE-----";
constexpr size_t certificate_end_length = sizeof certificate_end - 1;

// The state of link_scep_ca: the links to the CA certificates of a SCEP client are numbered.
struct ScepCaLinkState {
  int next_number;
  const char *tunnel_name;
  bool failed;
};

// Handles one matching path. False ends glob_foreach.
using GlobCallback = bool(const char *path, void *state);

// Calls `callback` for each path that matches the pattern, in sorted order. A null pattern matches nothing.
void glob_foreach(const char *pattern, GlobCallback *callback, void *state) {
  if (pattern == nullptr) return;
  glob_t matches = {};
  if (glob(pattern, 0, nullptr, &matches) == 0)
    for (size_t i = 0; i < matches.gl_pathc && callback(matches.gl_pathv[i], state); i++) continue;
  globfree(&matches);
}

// The GlobCallback that links one file of CA certificates under the next number.
bool link_scep_ca(const char *path, void *state) {
  auto *links = static_cast<ScepCaLinkState *>(state);
  std::string link = format(IPSEC_STAGING_TREE "/cacerts/%s.%d.cacert", links->tunnel_name, links->next_number++);
  if (!stage_link(link.c_str(), path)) links->failed = true;
  return !links->failed;
}

// A path of the SCEP client's directory.
std::string scep_path(const char *client, const char *file) {
  return format("/etc/config/scep_client/%s/%s", client, file);
}

// Links a file of the SCEP client; false when it is missing.
bool link_scep_file(const std::string &link, const char *client, const char *file) {
  if (!is_path_component(client)) return false;
  std::string target = scep_path(client, file);
  return is_there(target.c_str()) && stage_link(link.c_str(), target.c_str());
}

// Links the CA certificates of the SCEP client: one file with all of them, or numbered files with one each. False when
// there is no file or a link cannot be made.
bool link_scep_cas(const TunnelContext &tunnel, const char *client) {
  if (!is_path_component(client)) return false;
  const char *file = "scep_peer_ca.pem";
  if (is_there(scep_path(client, file).c_str()))
    return link_scep_file(format(IPSEC_STAGING_TREE "/cacerts/%s.cacert", tunnel.name), client, file);
  ScepCaLinkState state = {0, tunnel.name, false};
  glob_foreach(scep_path(glob_literal(client).c_str(), "scep_peer_ca.pem-*").c_str(), link_scep_ca, &state);
  return !state.failed && state.next_number > 0;
}

// Logs a missing file. The tunnel is skipped after all its missing files have been logged.
void miss_scep(TunnelContext &tunnel, const char *what) {
  log_error("%s not available for tunnel %s through SCEP", what, tunnel.name);
  tunnel.credentials_ok = false;
}

bool place_scep_certificates(const ConfigNode *config, TunnelContext &tunnel) {
  const char *client = string_at(config, "auth.scep_client");
  if (!link_scep_file(format(IPSEC_STAGING_TREE "/certs/%s.cert", tunnel.name), client, "scep_cert.pem"))
    miss_scep(tunnel, "Certificate");
  if (!link_scep_cas(tunnel, client)) miss_scep(tunnel, "CA");
  std::string crl_enable = format("network.scep_client.%s.crl.enable", client);
  if (config_get_bool(config_node_get_root(config), crl_enable.c_str()) &&
      !link_scep_file(format(IPSEC_STAGING_TREE "/crls/%s.crl", tunnel.name), client, "scep_crl.pem")) {
    miss_scep(tunnel, "CRL");
    return false;
  }
  return true;
}

// Writes a configured string to a file of the tunnel. Logs a failure; the tunnel is then skipped.
bool place_file(TunnelContext &tunnel, const std::string &path, const char *content) {
  if (stage_file(path.c_str(), content)) return true;
  log_error("error writing %s of tunnel '%s': %s. Skipping tunnel", path.c_str(), tunnel.name, strerror(errno));
  tunnel.credentials_ok = false;
  return false;
}

// Writes one file for each certificate, because the daemon reads only the first certificate of a file.
void place_ca_chain(TunnelContext &tunnel, const char *chain) {
  const char *start = chain;
  int number = 0;
  while (const char *end = strstr(start, certificate_end)) {
    end += certificate_end_length;
    place_file(tunnel, format(IPSEC_STAGING_TREE "/cacerts/%s.%d.cacert", tunnel.name, number++),
               std::string(start, end).c_str());
    start = end;
  }
}

void place_x509_certificates(const ConfigNode *config, TunnelContext &tunnel) {
  place_file(tunnel, format(IPSEC_STAGING_TREE "/certs/%s.cert", tunnel.name), string_at(config, "auth.cert"));
  for (const ConfigNode *crl : elements(config_array(config, "auth.crls"))) {
    place_file(tunnel, format(IPSEC_STAGING_TREE "/crls/%s%zu.crl", tunnel.name, config_node_id(crl)),
               string_at(crl, "crl"));
  }
  if (equals(string_at(config, "auth.peer_verify"), "cert")) {
    place_file(tunnel, format(IPSEC_STAGING_TREE "/certs/%s.peercert", tunnel.name),
               string_at(config, "auth.peer_cert"));
  } else {
    place_ca_chain(tunnel, string_at(config, "auth.peer_ca"));
  }
}

std::string private_key_path(const TunnelContext &tunnel) {
  return format(IPSEC_STAGING_TREE "/private/%s.rsa", tunnel.name);
}

void place_private_key(const ConfigNode *config, TunnelContext &tunnel) {
  std::string path = private_key_path(tunnel);
  if (!equals(tunnel.auth_type, "scep")) {
    place_file(tunnel, path, string_at(config, "auth.private_key"));
  } else if (!link_scep_file(path, string_at(config, "auth.scep_client"), "scep_key.pem")) {
    miss_scep(tunnel, "Private key");
  }
}

// Runs openssl to derive the public key from the private key.
void derive_public_key(TunnelContext &tunnel, const std::string &path, const char *passphrase) {
  // Create the file first, because openssl would give it another mode. It is removed if it stays empty.
  if (!place_file(tunnel, path, "")) return;
  SecretString source;
  if (is_set(passphrase)) {
    char *argument = nullptr;
    xasprintf(&argument, "pass:%s", passphrase);
    source.reset(argument);
  }
  std::string key = private_key_path(tunnel);
  // Without a passphrase, a null pointer in place of "-passin" ends the arguments.
  pid_t child = _process_exec_fd(-1, -1, -1, -1, "openssl", "rsa", "-in", key.c_str(), "-pubout", "-out", path.c_str(),
                                 source != nullptr ? "-passin" : nullptr, source.get(), nullptr);
  int status = process_wait(child);
  struct stat file;
  if (stat(path.c_str(), &file) == 0 && file.st_size == 0) unlink(path.c_str());
  if (status == 0) return;
  log_error("public key generation failed for tunnel '%s' (exit %d)", tunnel.name, status);
  tunnel.credentials_ok = false;
}

void place_rsa_public_keys(const ConfigNode *config, TunnelContext &tunnel, const char *passphrase) {
  std::string path = format(IPSEC_STAGING_TREE "/certs/%s.pub", tunnel.name);
  const char *own = string_at(config, "auth.public_key");
  if (is_set(own)) {
    place_file(tunnel, path, own);
  } else {
    derive_public_key(tunnel, path, passphrase);
  }
  place_file(tunnel, format(IPSEC_STAGING_TREE "/certs/%s.peerpub", tunnel.name),
             string_at(config, "auth.peer_public_key"));
}

// Writes one line for the tunnel's private key. An empty selector or passphrase is left out together with its space.
void write_rsa_line(FILE *out, const TunnelContext &tunnel, const std::string &remote, const char *passphrase) {
  fprintf(out, "%s%s%s : RSA \"%s.rsa\"%s%s\n", tunnel.secret_local.c_str(), remote.empty() ? "" : " ", remote.c_str(),
          tunnel.name, is_set(passphrase) ? " " : "", passphrase);
}

// The selectors of peers for their secrets: their identities, or the remote selector for all.
std::vector<std::string> secret_peers(const ConfigNode *config, const TunnelContext &tunnel) {
  std::optional<std::string> peers = find_peer_ids(config, tunnel.secret_remote, nullptr);
  return peers ? split_peer_ids(*peers) : std::vector{tunnel.secret_remote};
}

void write_rsa_lines(FILE *out, const ConfigNode *config, const TunnelContext &tunnel, const char *passphrase) {
  SecretString encoded;
  if (is_set(passphrase)) {
    encoded = base64_secret(passphrase);
    if (encoded == nullptr) log_error("Failed to allocate memory for passphrase formatting");
  }
  for (const std::string &peer : secret_peers(config, tunnel))
    write_rsa_line(out, tunnel, peer, or_empty(encoded.get()));
}

bool write_key_secrets(FILE *out, const ConfigNode *config, TunnelContext &tunnel) {
  const char *passphrase = string_at(config, "auth.private_key_passphrase");
  place_private_key(config, tunnel);
  write_rsa_lines(out, config, tunnel, passphrase);
  if (equals(tunnel.auth_type, "rsasig")) place_rsa_public_keys(config, tunnel, passphrase);
  if (equals(tunnel.auth_type, "x509")) place_x509_certificates(config, tunnel);
  if (equals(tunnel.auth_type, "scep") && !place_scep_certificates(config, tunnel)) return false;
  return tunnel.credentials_ok;
}

// A configured secret in base64. Null, after a message, when it cannot be encoded.
SecretString encoded_secret(const ConfigNode *config, const char *key, const TunnelContext &tunnel) {
  const char *secret = string_at(config, key);
  SecretString encoded = base64_encode(secret, static_cast<int32_t>(strlen(secret)));
  if (encoded == nullptr) log_error("the secret of tunnel '%s' cannot be encoded. Skipping tunnel", tunnel.name);
  return encoded;
}

bool write_shared_secret(FILE *out, const ConfigNode *config, const TunnelContext &tunnel) {
  SecretString secret = encoded_secret(config, "auth.secret", tunnel);
  if (secret == nullptr) return false;
  fprintf(out, "%s %s : PSK 0s%s\n", tunnel.secret_local.c_str(), tunnel.secret_remote.c_str(), secret.get());
  return true;
}

// Each end has its own secret. The line of a selector holds the secret that this end expects from the other end.
bool write_asymmetric_secrets(FILE *out, const ConfigNode *config, const TunnelContext &tunnel) {
  SecretString remote = encoded_secret(config, "auth.remote_secret", tunnel);
  SecretString local = remote != nullptr ? encoded_secret(config, "auth.local_secret", tunnel) : nullptr;
  if (local == nullptr) return false;
  const char line[] = "%s : PSK 0s%s\n";
  fprintf(out, line, tunnel.secret_local.c_str(), remote.get());
  for (const std::string &peer : secret_peers(config, tunnel)) fprintf(out, line, peer.c_str(), local.get());
  return true;
}

bool write_secrets(FILE *out, const ConfigNode *config, TunnelContext &tunnel) {
  if (config_get_bool(config, "xauth_client.enable")) {
    fprintf(out, "%s : XAUTH \"%s\"\n", string_at(config, "xauth_client.username"),
            string_at(config, "xauth_client.password"));
  }
  if (equals(tunnel.auth_type, "secret")) return write_shared_secret(out, config, tunnel);
  if (equals(tunnel.auth_type, "asymmetric-secrets")) return write_asymmetric_secrets(out, config, tunnel);
  return write_key_secrets(out, config, tunnel);
}

}  // namespace

bool write_credentials(const ConfigNode *config, TunnelContext &tunnel) {
  std::string path = format(IPSEC_STAGING_TREE "/secrets/%s.secret", tunnel.name);
  OwnedStream out = stage_stream(path.c_str());
  if (out == nullptr) {
    log_error("error opening tunnel secrets file %s: %s", path.c_str(), strerror(errno));
    return false;
  }
  if (!write_secrets(out.get(), config, tunnel)) return false;
  if (close_output(std::move(out))) return true;
  log_error("error writing tunnel secrets file %s: %s. Skipping tunnel", path.c_str(), strerror(errno));
  return false;
}

bool find_peer_ca(const ConfigNode *config, TunnelContext &tunnel) {
  if (!equals(tunnel.auth_type, "x509") || !equals(string_at(config, "auth.peer_verify"), "ca")) return true;
  tunnel.rightca = string_at(config, "auth.peer_ca_dn");
  if (!tunnel.rightca.empty()) return true;
  std::string path = format(IPSEC_STAGING_TREE "/cacerts/%s.0.cacert", tunnel.name);
  OwnedString output(_process_capture(-1, -1, 1, -1, 0, "ipsec", "pki", "--dn", "--in", path.c_str(), nullptr));
  const char *name = or_empty(output.get());
  tunnel.rightca.assign(name, strcspn(name, "\n"));
  if (!tunnel.rightca.empty()) return true;
  log_error("failed to extract Distinguished Name from first certificate in CA chain for tunnel '%s'", tunnel.name);
  return false;
}
