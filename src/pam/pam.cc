// Writes the PAM stack of every service that asks users who they are, and the server files of the RADIUS and LDAP
// modules. A reader of the final names sees a whole old or a whole new file, never a part of one.
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "main/mappers.h"
#include "main/owned.h"
#include "main/print.h"
#include "output/files.h"
#include "platform/config.h"
#include "platform/tools.h"

namespace {

const char pam_conf_path[] = "/var/run/pam.conf";
const char radius_conf_path[] = "/var/run/radius.conf";
const char ldap_conf_path[] = "/var/run/ldap.conf";

// Controls. The strict forms make the verdict of an authoritative server final; an account rule that does not know the
// user skips the group alias rule behind it.
#define CTL_AUTH "[success=done new_authtok_reqd=done default=ignore]"
const char ctl_auth[] = CTL_AUTH;
const char ctl_auth_strict[] = "[success=done new_authtok_reqd=done auth_err=die user_unknown=die default=ignore]";
const char ctl_account[] = "[success=ok new_authtok_reqd=ok default=1]";
const char ctl_account_strict[] = "[success=ok new_authtok_reqd=ok auth_err=die user_unknown=die default=1]";
const char ctl_token_2fa[] = "[ success=done new_authtok_reqd=done ignore=ignore default=die ]";

const char group_alias_rule[] = "account [success=done default=die] pam_group_alias.so";

// The stacks at a glance: the rules of a list stand in the file for one service after the other.
const char *const two_factor_services[] = {"sshd", "login", "httpd_login", nullptr};
const char *const two_factor_rules[] = {
    "auth required pam_google_authenticator.so secret=/etc/config/2fa/${USER}.conf nullok user=root debug", nullptr};

const char *const token_services[] = {"httpd", "shellinaboxd", nullptr};

const char *const banner_services[] = {"sshd", "login", "other", nullptr};
const char *const banner_rules[] = {"auth optional pam_echo.so noesc file=/var/run/issue", nullptr};

const char *const console_services[] = {"sshd", "login", nullptr};
const char *const console_local_rules[] = {"auth " CTL_AUTH " pam_acc.so admin -o shell -o serial",
                                           "account " CTL_AUTH " pam_acc.so admin -o shell -o serial", nullptr};
const char *const web_services[] = {"httpd", "httpd_login", nullptr};
const char *const web_local_rules[] = {"auth " CTL_AUTH " pam_acc.so", "account " CTL_AUTH " pam_acc.so", nullptr};

// Served by RADIUS and by LDAP.
const char *const method_services[] = {"sshd", "login", "serial", "openvpn", "httpd", "httpd_login", nullptr};

// Served by TACACS+: login services with the protocol that the server knows them by, then command services that only
// account for a session, then the tunnel's users.
struct TacacsRow {
  char service[12];  // "" ends the table
  char protocol[7];
};
const TacacsRow tacacs_logins[] = {
    {"sshd", "ssh"}, {"login", "telnet"}, {"httpd", "https"}, {"httpd_login", "https"}, {"", ""}};
const char *const tacacs_sessions[] = {"cli", "shell", "serial", nullptr};

const char *const login_services[] = {"sshd", "login", "httpd", "httpd_login", nullptr};
const char *const login_closing_rules[] = {"auth required pam_deny.so",
                                           "account required pam_deny.so",
                                           "session required pam_acc.so",
                                           "session required pam_motd.so motd=/var/run/motd drop_priv=-1",
                                           "session required pam_env.so readenv=0",
                                           nullptr};
const char *const command_services[] = {"cli", "shell", "serial", nullptr};
const char *const command_closing_rules[] = {"auth required pam_deny.so", "account required pam_deny.so",
                                             "password required pam_deny.so", "session required pam_acc.so", nullptr};
const char *const tunnel_services[] = {"openvpn", nullptr};
const char *const tunnel_closing_rules[] = {"auth required pam_acc.so", "account required pam_acc.so",
                                            "password required pam_deny.so", "session required pam_deny.so", nullptr};
const char *const other_services[] = {"other", nullptr};
const char *const other_closing_rules[] = {"auth required pam_warn.so",
                                           "auth required pam_deny.so",
                                           "account required pam_warn.so",
                                           "account required pam_deny.so",
                                           "session required pam_warn.so",
                                           "session required pam_deny.so",
                                           nullptr};

const EscapePair bracket_escape_table[] = {{"]", "\\]"}, {nullptr, nullptr}};

void write_rules(FILE *stream, const char *const *services, const char *const *rules) {
  for (const char *const *service = services; *service != nullptr; service++)
    for (const char *const *rule = rules; *rule != nullptr; rule++) print(stream, {*service, " ", *rule, "\n"});
}

bool has_entries(const ConfigNode *root, const char *path) {
  return config_array_count(config_array(root, path)) > 0;
}

OwnedText escape_secret(const ConfigNode *server) {
  return OwnedText(escape(or_empty(config_get_string(server, "secret")), bracket_escape_table));
}

bool pam_two_factor_enabled(const ConfigNode *root) {
  for (const ConfigNode *user = config_object_first(config_object(root, "auth.user")); user != nullptr;
       user = config_object_next(user)) {
    if (config_has_key(user, "2fa") && config_get_bool(user, "2fa.enable")) return true;
  }
  return false;
}

// Tokens of the web interface. Only the httpd rule ends idle sessions.
void write_token_rules(FILE *stream, const ConfigNode *root, bool two_factor) {
  const char *control = two_factor ? ctl_token_2fa : ctl_auth;
  int32_t idle_seconds = config_get_duration(root, "auth.idle_timeout");
  for (const char *const *service = token_services; *service != nullptr; service++) {
    fprintf(stream, "%s auth %s pam_token_decrypt.so", *service, control);
    if (service == token_services && idle_seconds != 0) fprintf(stream, " %d", idle_seconds);
    fprintf(stream, "\n%s account %s pam_token_decrypt.so\n", *service, control);
  }
}

void pam_write_local(FILE *stream) {
  write_rules(stream, console_services, console_local_rules);
  write_rules(stream, web_services, web_local_rules);
}

// A file under a temporary name that carries the process id, moved into place once it is complete; the stream is null
// when it could not be opened. One that could not be written whole is dropped, and the old file stands.
struct StagedFile {
  std::string temporary_path;
  const char *path;
  OwnedStream stream;
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
  print(stream,
        {service, " auth ", radius.authoritative ? ctl_auth_strict : ctl_auth, " pam_radius_auth.so try_first_pass ",
         radius.debug, " ", radius.message_authenticator, " localifdown ", is_set(radius.nas_id) ? "client_id=" : "",
         radius.nas_id, " conf=", radius_conf_path, "\n"});
  print(stream,
        {service, " account ", radius.authoritative ? ctl_account_strict : ctl_account,
         " pam_radius_auth.so try_first_pass ", radius.message_authenticator, " conf=", radius_conf_path, "\n"});
  print(stream, {service, " ", group_alias_rule, "\n"});
  print(stream, {service, " session optional pam_radius_auth.so try_first_pass ", radius.message_authenticator,
                 " conf=", radius_conf_path, "\n"});
}

void write_radius_servers(FILE *stream, const ConfigNode *servers) {
  for (const ConfigNode *server = config_array_first(servers); server != nullptr; server = config_array_next(server)) {
    const char *host = or_empty(config_get_string(server, "hostname"));
    bool is_ipv6 = strchr(host, ':') != nullptr;
    OwnedText secret = escape_secret(server);
    print(stream, {is_ipv6 ? "[" : "", host, is_ipv6 ? "]" : "", ":", Decimal(config_get_int(server, "port")), " ",
                   or_empty(secret.get()), " ", Decimal(config_get_int(server, "timeout")), "\n"});
  }
}

bool write_radius_method(FILE *stream, const ConfigNode *root) {
  const ConfigNode *config = config_object(root, "auth.radius");
  if (!has_entries(config, "server")) return false;
  StagedFile file = stage(format("/var/run/radius.%d", getpid()), radius_conf_path);
  if (file.stream == nullptr) return false;
  RadiusMethod radius = {
      .nas_id = or_empty(config_get_string(config, "nas_id")),
      .message_authenticator =
          config_get_bool(config, "require_message_authenticator") ? "require_message_authenticator" : "",
      .debug = config_get_bool(config, "debug") ? "debug" : "",
      .authoritative = config_get_bool(config, "authoritative"),
  };
  for (const char *const *service = method_services; *service != nullptr; service++)
    pam_write_radius(stream, radius, *service);
  write_radius_servers(file.stream.get(), config_array(config, "server"));
  install(std::move(file));
  return true;
}

void pam_write_ldap(FILE *stream, const ConfigNode *ldap, const char *service) {
  bool authoritative = config_get_bool(ldap, "authoritative");
  fprintf(stream, "%s auth %s pam_ldap.so try_first_pass groupname=%s config=%s\n", service,
          authoritative ? ctl_auth_strict : ctl_auth, or_empty(config_get_string(ldap, "group_attribute")),
          ldap_conf_path);
  fprintf(stream, "%s account %s pam_ldap.so try_first_pass config=%s\n", service,
          authoritative ? ctl_account_strict : ctl_account, ldap_conf_path);
  print(stream, {service, " ", group_alias_rule, "\n"});
  fprintf(stream, "%s session optional pam_ldap.so try_first_pass config=%s\n", service, ldap_conf_path);
}

void write_ldap_client(FILE *stream, const ConfigNode *ldap) {
  const char *tls = or_empty(config_get_string(ldap, "tls"));
  const char *scheme_suffix = strcmp(tls, "on") == 0 ? "s" : "";
  print(stream, "uri");
  for (const ConfigNode *server = config_array_first(config_array(ldap, "server")); server != nullptr;
       server = config_array_next(server)) {
    print(stream, {" ldap", scheme_suffix, "://", or_empty(config_get_string(server, "hostname")), ":",
                   Decimal(config_get_int(server, "port"))});
  }
  fprintf(stream, "\nbase %s\n", or_empty(config_get_string(ldap, "base_dn")));
  fprintf(stream, "pam_login_attribute %s\n", or_empty(config_get_string(ldap, "login_attribute")));
  fprintf(stream, "ssl %s\n", tls);
  fprintf(stream, "tls_checkpeer %s\n", config_get_bool(ldap, "verify_server_cert") ? "yes" : "no");
  print(stream, "tls_cacertfile /etc/ssl/certs/ca-certificates.crt\n");
  const char *bind_dn = config_get_string(ldap, "bind_dn");
  if (is_set(bind_dn)) {
    fprintf(stream, "binddn %s\n", bind_dn);
    fprintf(stream, "bindpw %s\n", or_empty(config_get_string(ldap, "bind_password")));
  }
  int32_t seconds = config_get_int(ldap, "timeout");
  fprintf(stream, "timelimit %d\nbind_timelimit %d\n", seconds, seconds);
}

bool write_ldap_method(FILE *stream, const ConfigNode *root) {
  const ConfigNode *ldap = config_object(root, "auth.ldap");
  if (!has_entries(ldap, "server")) return false;
  StagedFile file = stage(format("/var/run/ldap.%d", getpid()), ldap_conf_path);
  if (file.stream == nullptr) return false;
  for (const char *const *service = method_services; *service != nullptr; service++)
    pam_write_ldap(stream, ldap, *service);
  write_ldap_client(file.stream.get(), ldap);
  install(std::move(file));
  return true;
}

struct TacacsMethod {
  const char *service;
  const char *group_attribute;
  bool authoritative;
  std::string servers;  // ends every rule, so it is put together once
};

// The servers as module arguments. A bracketed argument may hold blanks; a "]" in the secret must not end it.
std::string tacacs_servers_text(const ConfigNode *servers) {
  std::string text;
  for (const ConfigNode *server = config_array_first(servers); server != nullptr; server = config_array_next(server)) {
    OwnedText secret = escape_secret(server);
    append_pieces(text, {" server=", or_empty(config_get_string(server, "hostname")), ":",
                         Decimal(config_get_int(server, "port")), " [secret=", or_empty(secret.get()), "] "});
  }
  text += '\n';
  return text;
}

void pam_write_tacacs(FILE *stream, const TacacsMethod &tacacs, const char *service, const char *protocol) {
  fprintf(stream, "%s auth %s pam_tacplus.so debug try_first_pass login=pap prompt=Password:_%s", service,
          tacacs.authoritative ? ctl_auth_strict : ctl_auth, tacacs.servers.c_str());
  fprintf(stream, "%s account %s pam_tacplus.so debug try_first_pass login=pap service=%s protocol=%s groupname=%s%s",
          service, tacacs.authoritative ? ctl_account_strict : ctl_account, tacacs.service, protocol,
          tacacs.group_attribute, tacacs.servers.c_str());
  print(stream, {service, " ", group_alias_rule, "\n"});
  fprintf(stream, "%s session optional pam_tacplus.so debug try_first_pass login=pap service=%s protocol=%s%s", service,
          tacacs.service, protocol, tacacs.servers.c_str());
}

bool write_tacacs_method(FILE *stream, const ConfigNode *root) {
  const ConfigNode *config = config_object(root, "auth.tacacs+");
  if (!has_entries(config, "server")) return false;
  TacacsMethod tacacs = {
      .service = or_empty(config_get_string(config, "service")),
      .group_attribute = or_empty(config_get_string(config, "group_attribute")),
      .authoritative = config_get_bool(config, "authoritative"),
      .servers = tacacs_servers_text(config_array(config, "server")),
  };
  for (const TacacsRow *row = tacacs_logins; *row->service != '\0'; row++)
    pam_write_tacacs(stream, tacacs, row->service, row->protocol);
  for (const char *const *service = tacacs_sessions; *service != nullptr; service++) {
    fprintf(stream, "%s session optional pam_tacplus.so debug try_first_pass login=pap service=%s protocol=unknown%s",
            *service, *service, tacacs.servers.c_str());
  }
  pam_write_tacacs(stream, tacacs, "openvpn", "openvpn");
  return true;
}

bool write_local_method(FILE *stream, const ConfigNode *) {
  pam_write_local(stream);
  return true;
}

// A method's writer tells whether it wrote: one without servers, or whose server file cannot be opened, does not.
struct MethodRow {
  const char *name;
  bool (*write)(FILE *stream, const ConfigNode *root);
};
const MethodRow methods[] = {{"local", write_local_method},
                             {"tacacs+", write_tacacs_method},
                             {"radius", write_radius_method},
                             {"ldap", write_ldap_method},
                             {nullptr, nullptr}};

// Without any working method the local users are what is left: nobody must be locked out of the device.
void write_methods(FILE *stream, const ConfigNode *root) {
  bool written = false;
  OwnedList names(config_get_string_list(root, "auth.method"));
  for (char **name = names.get(); name != nullptr && *name != nullptr; name++) {
    for (const MethodRow *method = methods; method->name != nullptr; method++)
      if (strcmp(method->name, *name) == 0 && method->write(stream, root)) written = true;
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
