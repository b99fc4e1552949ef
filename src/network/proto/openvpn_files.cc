#include "network/proto/openvpn_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <string_view>

#include "main/strings.h"
#include "output/files.h"

namespace {

// The interface manager's hooks, which configure the device and its routes in place of OpenVPN.
const char client_hooks[] =
    "route-noexec\n"
    "script-security 2\n"
    "up /lib/netifd/openvpn-up\n"
    "down /lib/netifd/openvpn-down\n";

const char server_ca_path[] = "/etc/ssl/certs/ca.crt";

// Lines of an uploaded file that name files of another machine or conflict with the router's device and hooks.
const char *const dropped_prefixes[] = {"ca ",  "cert ",           "key ",  "up ", "down ", "dev ",
                                        "dev-", "script-security", "nobind"};

bool setting_is(const ConfigNode *config, const char *key, const char *word) {
  return equals(config_get_string(config, key), word);
}

bool is_overridden(const ConfigNode *config) {
  return config_get_bool(config, "advanced_options.enable") && config_get_bool(config, "advanced_options.override");
}

// For OpenVPN, bridged devices are "tap" devices too.
const char *device_kind(const ConfigNode *config) {
  return setting_is(config, "device_type", "tun") ? "tun" : "tap";
}

const char *first_protocol(const ConfigNode *config) {
  return or_empty(config_array_get_string(config_array(config, "protocol"), 0));
}

void write_inline(FILE *file, const char *tag, const ConfigNode *config, const char *key) {
  fprintf(file, "<%s>\n%s\n</%s>\n", tag, string_at(config, key), tag);
}

std::string userpass_path(const char *key) {
  return format("/var/run/userpass_%s.cfg", key);
}

void write_userpass_line(FILE *file, const char *key) {
  fprintf(file, "auth-user-pass %s\n", userpass_path(key).c_str());
}

bool is_dropped(std::string_view line) {
  for (const char *prefix : dropped_prefixes)
    if (line.starts_with(prefix)) return true;
  return false;
}

void write_uploaded_line(FILE *file, std::string_view line, const char *key) {
  const size_t device_offset = strlen("dev ");
  if (line.starts_with("auth-user-pass")) {
    write_userpass_line(file, key);
  } else if (line.starts_with("dev tun") || line.starts_with("dev tap")) {
    std::string_view device = line.substr(device_offset);
    fprintf(file, "dev-type %.*s\n%s", static_cast<int>(device.size()), device.data(), client_hooks);
  } else if (!is_dropped(line)) {
    fprintf(file, "%.*s\n", static_cast<int>(line.size()), line.data());
  }
}

void write_uploaded_client(FILE *file, const ConfigNode *config, const char *key) {
  const char *line = string_at(config, "config_file");
  while (*line != '\0') {
    size_t length = strcspn(line, "\n");
    if (length > 0) write_uploaded_line(file, {line, length}, key);
    line += length;
    if (*line == '\n') line++;
  }
}

void write_generated_client(FILE *file, const ConfigNode *config, const char *key) {
  fprintf(file, "client\n%slport 0\n", client_hooks);
  fprintf(file, "dev-type %s\n", string_at(config, "device_type"));
  fprintf(file, "remote %s %d\n", string_at(config, "server"), config_get_int(config, "port"));
  if (is_set(config_get_string(config, "username"))) write_userpass_line(file, key);
  write_inline(file, "ca", config, "cacert");
  if (is_set(config_get_string(config, "public_cert")) && is_set(config_get_string(config, "private_key"))) {
    write_inline(file, "cert", config, "public_cert");
    write_inline(file, "key", config, "private_key");
  }
  if (!is_overridden(config)) fprintf(file, "proto udp\nremote-cert-tls server\ncipher AES-256-GCM\n");
}

void write_server_mode(FILE *file, const ConfigNode *config) {
  if (setting_is(config, "device_type", "tap_bridge")) {
    fprintf(file, "server-bridge\n");
    return;
  }
  TunnelAddress tunnel = parse_tunnel_address(string_at(config, "server_address"));
  const char *address = tunnel.address.c_str();
  const char *network = tunnel.network.c_str();
  int32_t first = config_get_int(config, "server_first_ip");
  if (setting_is(config, "device_type", "tun"))
    fprintf(file, "mode server\ntopology net30\npush \"topology net30\"\npush \"route %s\"\nifconfig %s %s.%d\n",
            address, address, network, first);
  else
    fprintf(file,
            "mode server\ntopology subnet\npush \"topology subnet\"\npush \"route-gateway %s\"\nifconfig %s %s\n"
            "route %s.0 %s\n",
            address, address, tunnel.netmask.c_str(), network, tunnel.netmask.c_str());
  fprintf(file, "ifconfig-pool %s.%lld %s.%d\n", network, first + 1LL, network,
          config_get_int(config, "server_last_ip"));
}

void write_server_credentials(FILE *file, const ConfigNode *config) {
  static const char password_check[] = "auth-user-pass-verify /bin/openvpn_password via-env\n";
  static const char no_certificate[] = "verify-client-cert none\n";
  if (config_get_bool(config, "autogenerate")) {
    fprintf(file,
            "ca %s\ncert /etc/ssl/certs/server.crt\nkey /etc/ssl/certs/server.key\ndh /etc/ssl/certs/dh2048.pem\n%s%s",
            server_ca_path, no_certificate, password_check);
    return;
  }
  if (!setting_is(config, "authentication", "cert")) fprintf(file, "%s", password_check);
  if (setting_is(config, "authentication", "passwd")) fprintf(file, "%s", no_certificate);
  write_inline(file, "ca", config, "cacert");
  write_inline(file, "cert", config, "server_cert");
  write_inline(file, "key", config, "server_key");
  write_inline(file, "dh", config, "diffie");
}

void write_generated_server(FILE *file, const ConfigNode *config, const char *device) {
  fprintf(file,
          "proto %s\nkeepalive 10 120\ncipher AES-256-GCM\npersist-key\npersist-tun\nverb 3\nscript-security 3\n"
          "client-connect /bin/client_updown\nclient-disconnect /bin/client_updown\nport %d\ndev-type %s\ndev %s\n"
          "tls-server\n",
          first_protocol(config), config_get_int(config, "port"), device_kind(config), device);
  write_server_mode(file, config);
  write_server_credentials(file, config);
}

// Writes options, given as on a command line, one on each line.
void write_extra_options(FILE *file, const char *extra) {
  while (const char *dashes = strstr(extra, "--")) {
    fprintf(file, "%.*s \n", static_cast<int>(dashes - extra), extra);
    extra = dashes + 2;
  }
  fprintf(file, "%s\n", extra);
}

void copy_file(FILE *file, const char *path) {
  struct stat status;
  if (stat(path, &status) != 0 || !S_ISREG(status.st_mode)) return;  // a pipe or device might never end
  OwnedFile source(open(path, O_RDONLY | O_CLOEXEC));
  char buffer[4096];
  ssize_t length;
  while ((length = read(source.fd(), buffer, sizeof buffer)) > 0) fwrite(buffer, 1, static_cast<size_t>(length), file);
}

void write_template_credentials(FILE *file, const ConfigNode *config) {
  bool autogenerated = config_get_bool(config, "autogenerate");
  if (autogenerated) {
    fprintf(file, "<ca>\n");
    copy_file(file, server_ca_path);
    fprintf(file, "\n</ca>\n");
  } else {
    write_inline(file, "ca", config, "cacert");
  }
  fprintf(file, "\n#authentication\n");
  if (autogenerated || !setting_is(config, "authentication", "cert")) fprintf(file, "auth-user-pass\n");
  if (!autogenerated && !setting_is(config, "authentication", "passwd"))
    fprintf(file, "cert <public key file>\nkey <private key file>\n");
}

}  // namespace

TunnelAddress parse_tunnel_address(const char *network) {
  const char *slash = strchr(network, '/');
  long length = 32;
  if (slash != nullptr) {
    char *end;
    long written = strtol(slash + 1, &end, 10);
    if (end != slash + 1) length = written < 0 ? 0 : written > 32 ? 32 : written;
  }
  uint32_t mask = length == 0 ? 0 : UINT32_MAX << (32 - length);

  TunnelAddress tunnel;
  tunnel.address = string_before(network, '/');
  tunnel.network = tunnel.address.substr(0, tunnel.address.rfind('.'));
  tunnel.netmask = format("%u.%u.%u.%u", mask >> 24, mask >> 16 & 255, mask >> 8 & 255, mask & 255);
  return tunnel;
}

void openvpn_write_userpass(const ConfigNode *config, const char *key) {
  const char *username = string_at(config, "username");
  if (!is_set(username)) return;
  OwnedStream file = open_output(userpass_path(key).c_str());
  if (file != nullptr) fprintf(file.get(), "%s\n%s\n", username, string_at(config, "password"));
}

void openvpn_write_client_file(const ConfigNode *config, const char *key) {
  OwnedStream file = open_output(format("/var/run/config_file_%s", key).c_str());
  if (file == nullptr) return;
  if (config_get_bool(config, "use_file"))
    write_uploaded_client(file.get(), config, key);
  else
    write_generated_client(file.get(), config, key);
}

bool openvpn_write_server_file(const ConfigNode *config, const char *key, const char *device) {
  OwnedStream file = open_output(format("/var/run/config_file_server_%s", key).c_str());
  if (file == nullptr) return false;
  if (!is_overridden(config)) write_generated_server(file.get(), config, device);
  if (config_get_bool(config, "advanced_options.enable"))
    write_extra_options(file.get(), string_at(config, "advanced_options.extra"));
  return true;
}

void openvpn_write_template(const ConfigNode *config, const char *key, const char *host) {
  // The host name may be empty: the file is then "-KEY.ovpn". It must not lead to another directory.
  if (strchr(host, '/') != nullptr) return;
  create_directory("/var/run/openvpn", 0755);
  OwnedStream file = open_output(format("/var/run/openvpn/%s-%s.ovpn", host, key).c_str());
  if (file == nullptr) return;
  fprintf(file.get(),
          "# Note:\n#\n"
          "# Any lines with <...> in them need to be modified. For example\n#\n"
          "# remote <server address> 1234\n"
          "# with a server address of 1.2.3.4, becomes\n"
          "# remote 1.2.3.4 1234\n\n"
          "#general\nclient\nresolv-retry infinite\nnobind\npersist-key\npersist-tun\nremote-cert-tls server\n"
          "cipher AES-256-GCM\n\n"
          "# connection settings\ndev %s\nproto %s\nremote <server address> %d\n",
          device_kind(config), first_protocol(config), config_get_int(config, "port"));
  write_template_credentials(file.get(), config);
}
