// Writes the PAM stacks of all services that users log in to, and the server files of the RADIUS and LDAP modules. A
// reader sees the complete old file or the complete new file, never a part of one.
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <span>
#include <string>

#include "main/mappers.h"
#include "main/owned.h"
#include "main/strings.h"
#include "output/files.h"
#include "output/quote.h"
#include "platform/ranges.h"

namespace {

const char pam_conf_path[] = "/var/run/pam.conf";
const char radius_conf_path[] = "/var/run/radius.conf";
const char ldap_conf_path[] = "/var/run/ldap.conf";

// Controls of rules. With the strict ones, the answer of an authoritative server is final. "default=1" in an account
// rule skips the next rule, the group alias, for a user that the module does not know.
#define CTL_AUTH "[success=done new_authtok_reqd=done default=ignore]"
const char ctl_auth[] = CTL_AUTH;
const char ctl_auth_strict[] = "[success=done new_authtok_reqd=done auth_err=die user_unknown=die default=ignore]";
const char ctl_account[] = "[success=ok new_authtok_reqd=ok default=1]";
const char ctl_account_strict[] = "[success=ok new_authtok_reqd=ok auth_err=die user_unknown=die default=1]";
const char ctl_token_2fa[] = "[ success=done new_authtok_reqd=done ignore=ignore default=die ]";

const char group_alias_rule[] = "account [success=done default=die] pam_group_alias.so";

// Fixed rules. The file holds all rules of a list for the first service, then for the next one.
const char *const two_factor_services[] = {"sshd", "login", "httpd_login"};
const char *const two_factor_rules[] = {
    "auth required pam_google_authenticator.so secret=/etc/config/2fa/${USER}.conf nullok user=root debug"};

const char *const banner_services[] = {"sshd", "login", "other"};
const char *const banner_rules[] = {"auth optional pam_echo.so noesc file=/var/run/issue"};

const char *const console_services[] = {"sshd", "login"};
const char *const console_local_rules[] = {"auth " CTL_AUTH " pam_acc.so admin -o shell -o serial",
                                           "account " CTL_AUTH " pam_acc.so admin -o shell -o serial"};
const char *const web_services[] = {"httpd", "httpd_login"};
const char *const web_local_rules[] = {"auth " CTL_AUTH " pam_acc.so", "account " CTL_AUTH " pam_acc.so"};

// Services that use RADIUS and LDAP.
const char *const method_services[] = {"sshd", "login", "serial", "openvpn", "httpd", "httpd_login"};

// Services that use TACACS+: login services, with the name of their protocol at the server, and command services, which
// only have sessions. OpenVPN follows in write_tacacs_method.
struct TacacsRow {
  const char *service;
  const char *protocol;
};
const TacacsRow tacacs_logins[] = {{"sshd", "ssh"}, {"login", "telnet"}, {"httpd", "https"}, {"httpd_login", "https"}};
const char *const tacacs_sessions[] = {"cli", "shell", "serial"};

const char *const login_services[] = {"sshd", "login", "httpd", "httpd_login"};
const char *const login_closing_rules[] = {
    "auth required pam_deny.so", "account required pam_deny.so", "session required pam_acc.so",
    "session required pam_motd.so motd=/var/run/motd drop_priv=-1", "session required pam_env.so readenv=0"};
const char *const command_services[] = {"cli", "shell", "serial"};
const char *const command_closing_rules[] = {"auth required pam_deny.so", "account required pam_deny.so",
                                             "password required pam_deny.so", "session required pam_acc.so"};
const char *const tunnel_services[] = {"openvpn"};
const char *const tunnel_closing_rules[] = {"auth required pam_acc.so", "account required pam_acc.so",
                                            "password required pam_deny.so", "session required pam_deny.so"};
const char *const other_services[] = {"other"};
const char *const other_closing_rules[] = {"auth required pam_warn.so",    "auth required pam_deny.so",
                                           "account required pam_warn.so", "account required pam_deny.so",
                                           "session required pam_warn.so", "session required pam_deny.so"};

void write_rules(FILE *stream, std::span<const char *const> services, std::span<const char *const> rules) {
  for (const char *service : services)
    for (const char *rule : rules) fprintf(stream, "%s %s\n", service, rule);
}

bool has_entries(const ConfigNode *root, const char *path) {
  return config_array_count(config_array(root, path)) > 0;
}

OwnedString escaped_secret(const ConfigNode *server) {
  return escaped(string_at(server, "secret"), bracket_escape_table);
}

bool pam_two_factor_enabled(const ConfigNode *root) {
  for (const ConfigNode *user : members(config_object(root, "auth.user")))
    if (config_has_key(user, "2fa") && config_get_bool(user, "2fa.enable")) return true;
  return false;
}

// Rules for tokens of the web interface. Only httpd ends idle sessions.
void write_token_rules(FILE *stream, const ConfigNode *root, bool two_factor) {
  const char *control = two_factor ? ctl_token_2fa : ctl_auth;
  int32_t idle_seconds = config_get_duration(root, "auth.idle_timeout");
  std::string timeout = idle_seconds != 0 ? format(" %d", idle_seconds) : "";
  fprintf(stream, "httpd auth %s pam_token_decrypt.so%s\n", control, timeout.c_str());
  fprintf(stream, "httpd account %s pam_token_decrypt.so\n", control);
  fprintf(stream, "shellinaboxd auth %s pam_token_decrypt.so\n", control);
  fprintf(stream, "shellinaboxd account %s pam_token_decrypt.so\n", control);
}

void pam_write_local(FILE *stream) {
  write_rules(stream, console_services, console_local_rules);
  write_rules(stream, web_services, web_local_rules);
}

// A file that is written under a temporary name with the process ID and then renamed to `path`. An incomplete file is
// removed, and the old file stays.
struct StagedFile {
  std::string temporary_path;
  const char *path;
  OwnedStream stream;  // null when the temporary file could not be opened
};

StagedFile stage(std::string temporary_path, const char *path) {
  OwnedStream stream = open_output(temporary_path.c_str());
  return {std::move(temporary_path), path, std::move(stream)};
}

void install(StagedFile file) {
  if (!close_output(std::move(file.stream)) || rename(file.temporary_path.c_str(), file.path) != 0)
    unlink(file.temporary_path.c_str());
}

struct RadiusMethod {
  const char *nas_id;
  const char *message_authenticator;
  const char *debug;
  bool authoritative;
};

void pam_write_radius(FILE *stream, const RadiusMethod &radius, const char *service) {
  fprintf(stream, "%s auth %s pam_radius_auth.so try_first_pass %s %s localifdown %s%s conf=%s\n", service,
          radius.authoritative ? ctl_auth_strict : ctl_auth, radius.debug, radius.message_authenticator,
          is_set(radius.nas_id) ? "client_id=" : "", radius.nas_id, radius_conf_path);
  fprintf(stream, "%s account %s pam_radius_auth.so try_first_pass %s conf=%s\n", service,
          radius.authoritative ? ctl_account_strict : ctl_account, radius.message_authenticator, radius_conf_path);
  fprintf(stream, "%s %s\n", service, group_alias_rule);
  fprintf(stream, "%s session optional pam_radius_auth.so try_first_pass %s conf=%s\n", service,
          radius.message_authenticator, radius_conf_path);
}

void write_radius_servers(FILE *stream, const ConfigNode *servers) {
  for (const ConfigNode *server : elements(servers)) {
    const char *host = string_at(server, "hostname");
    bool is_ipv6 = strchr(host, ':') != nullptr;
    fprintf(stream, "%s%s%s:%d %s %d\n", is_ipv6 ? "[" : "", host, is_ipv6 ? "]" : "", config_get_int(server, "port"),
            escaped_secret(server).get(), config_get_int(server, "timeout"));
  }
}

bool write_radius_method(FILE *stream, const ConfigNode *root) {
  const ConfigNode *config = config_object(root, "auth.radius");
  if (!has_entries(config, "server")) return false;
  StagedFile file = stage(format("/var/run/radius.%d", getpid()), radius_conf_path);
  if (file.stream == nullptr) return false;
  RadiusMethod radius = {
      .nas_id = string_at(config, "nas_id"),
      .message_authenticator =
          config_get_bool(config, "require_message_authenticator") ? "require_message_authenticator" : "",
      .debug = config_get_bool(config, "debug") ? "debug" : "",
      .authoritative = config_get_bool(config, "authoritative"),
  };
  for (const char *service : method_services) pam_write_radius(stream, radius, service);
  write_radius_servers(file.stream.get(), config_array(config, "server"));
  install(std::move(file));
  return true;
}

void pam_write_ldap(FILE *stream, const ConfigNode *ldap, const char *service) {
  bool authoritative = config_get_bool(ldap, "authoritative");
  fprintf(stream, "%s auth %s pam_ldap.so try_first_pass groupname=%s config=%s\n", service,
          authoritative ? ctl_auth_strict : ctl_auth, string_at(ldap, "group_attribute"), ldap_conf_path);
  fprintf(stream, "%s account %s pam_ldap.so try_first_pass config=%s\n", service,
          authoritative ? ctl_account_strict : ctl_account, ldap_conf_path);
  fprintf(stream, "%s %s\n", service, group_alias_rule);
  fprintf(stream, "%s session optional pam_ldap.so try_first_pass config=%s\n", service, ldap_conf_path);
}

void write_ldap_client(FILE *stream, const ConfigNode *ldap) {
  const char *tls = string_at(ldap, "tls");
  fprintf(stream, "uri");
  for (const ConfigNode *server : elements(config_array(ldap, "server"))) {
    fprintf(stream, " ldap%s://%s:%d", equals(tls, "on") ? "s" : "", string_at(server, "hostname"),
            config_get_int(server, "port"));
  }
  fprintf(stream, "\nbase %s\n", string_at(ldap, "base_dn"));
  fprintf(stream, "pam_login_attribute %s\n", string_at(ldap, "login_attribute"));
  fprintf(stream, "ssl %s\n", tls);
  fprintf(stream, "tls_checkpeer %s\n", config_get_bool(ldap, "verify_server_cert") ? "yes" : "no");
  fprintf(stream, "tls_cacertfile /etc/ssl/certs/ca-certificates.crt\n");
  const char *bind_dn = config_get_string(ldap, "bind_dn");
  if (is_set(bind_dn)) fprintf(stream, "binddn %s\nbindpw %s\n", bind_dn, string_at(ldap, "bind_password"));
  int32_t seconds = config_get_int(ldap, "timeout");
  fprintf(stream, "timelimit %d\nbind_timelimit %d\n", seconds, seconds);
}

bool write_ldap_method(FILE *stream, const ConfigNode *root) {
  const ConfigNode *ldap = config_object(root, "auth.ldap");
  if (!has_entries(ldap, "server")) return false;
  StagedFile file = stage(format("/var/run/ldap.%d", getpid()), ldap_conf_path);
  if (file.stream == nullptr) return false;
  for (const char *service : method_services) pam_write_ldap(stream, ldap, service);
  write_ldap_client(file.stream.get(), ldap);
  install(std::move(file));
  return true;
}

struct TacacsMethod {
  const char *service;
  const char *group_attribute;
  bool authoritative;
  std::string servers;  // the end of every rule
};

// The servers as module arguments, with the line end. Brackets let an argument hold spaces; escaped_secret keeps a "]"
// in the secret from ending it.
std::string tacacs_servers(const ConfigNode *servers) {
  std::string arguments;
  for (const ConfigNode *server : elements(servers)) {
    arguments += format(" server=%s:%d [secret=%s] ", string_at(server, "hostname"), config_get_int(server, "port"),
                        escaped_secret(server).get());
  }
  return arguments + "\n";
}

void pam_write_tacacs(FILE *stream, const TacacsMethod &tacacs, const char *service, const char *protocol) {
  fprintf(stream, "%s auth %s pam_tacplus.so debug try_first_pass login=pap prompt=Password:_%s", service,
          tacacs.authoritative ? ctl_auth_strict : ctl_auth, tacacs.servers.c_str());
  fprintf(stream, "%s account %s pam_tacplus.so debug try_first_pass login=pap service=%s protocol=%s groupname=%s%s",
          service, tacacs.authoritative ? ctl_account_strict : ctl_account, tacacs.service, protocol,
          tacacs.group_attribute, tacacs.servers.c_str());
  fprintf(stream, "%s %s\n", service, group_alias_rule);
  fprintf(stream, "%s session optional pam_tacplus.so debug try_first_pass login=pap service=%s protocol=%s%s", service,
          tacacs.service, protocol, tacacs.servers.c_str());
}

bool write_tacacs_method(FILE *stream, const ConfigNode *root) {
  const ConfigNode *config = config_object(root, "auth.tacacs+");
  if (!has_entries(config, "server")) return false;
  TacacsMethod tacacs = {
      .service = string_at(config, "service"),
      .group_attribute = string_at(config, "group_attribute"),
      .authoritative = config_get_bool(config, "authoritative"),
      .servers = tacacs_servers(config_array(config, "server")),
  };
  for (const TacacsRow &row : tacacs_logins) pam_write_tacacs(stream, tacacs, row.service, row.protocol);
  for (const char *service : tacacs_sessions) {
    fprintf(stream, "%s session optional pam_tacplus.so debug try_first_pass login=pap service=%s protocol=unknown%s",
            service, service, tacacs.servers.c_str());
  }
  pam_write_tacacs(stream, tacacs, "openvpn", "openvpn");
  return true;
}

bool write_local_method(FILE *stream, const ConfigNode *) {
  pam_write_local(stream);
  return true;
}

// `write` returns false, and writes nothing, for a method without servers or whose server file cannot be opened.
struct MethodRow {
  const char *name;
  bool (*write)(FILE *stream, const ConfigNode *root);
};
const MethodRow methods[] = {{"local", write_local_method},
                             {"tacacs+", write_tacacs_method},
                             {"radius", write_radius_method},
                             {"ldap", write_ldap_method}};

// Writes the rules of the methods. If no method writes any, local users can log in, so that nobody is locked out.
void write_methods(FILE *stream, const ConfigNode *root) {
  bool written = false;
  OwnedList names(config_get_string_list(root, "auth.method"));
  for (const char *name : strings(names.get())) {
    for (const MethodRow &method : methods)
      if (equals(name, method.name) && method.write(stream, root)) written = true;
  }
  if (!written) pam_write_local(stream);
}

void write_closing_rules(FILE *stream) {
  write_rules(stream, login_services, login_closing_rules);
  write_rules(stream, command_services, command_closing_rules);
  write_rules(stream, tunnel_services, tunnel_closing_rules);
  write_rules(stream, other_services, other_closing_rules);
}

}  // namespace

int32_t map_pam(const ConfigNode *root, int32_t, char **) {
  StagedFile file = stage(format("/var/run/pam.conf.%d", getpid()), pam_conf_path);
  if (file.stream == nullptr) return 1;
  FILE *stream = file.stream.get();
  bool two_factor = pam_two_factor_enabled(root);
  if (two_factor) write_rules(stream, two_factor_services, two_factor_rules);
  write_token_rules(stream, root, two_factor);
  write_rules(stream, banner_services, banner_rules);
  write_methods(stream, root);
  write_closing_rules(stream);
  install(std::move(file));
  return 0;
}
