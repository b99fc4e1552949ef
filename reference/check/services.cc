// Name service, web filter, and authentication.
#include <cstring>

#include "check/check.h"
#include "check/findings.h"
#include "check/values.h"
#include "platform/ranges.h"

namespace {

constexpr ValueRule web_filter_rules[] = {rule("firewall.web_filter.service", Test::filled)};

// dnsmasq refuses an unclosed double quote and accepts nearly every other string.
constexpr ValueRule dns_server_rules[] = {as(Rule::dnsmasq_value, rule("domain", Test::closed)),
                                          as(Rule::dnsmasq_value, rule("domain", Test::domain)),
                                          as(Rule::dnsmasq_value, rule("domain", Test::without_string, " #")),
                                          rule("domain", Test::without, " ,\""),
                                          rule("address", Test::filled),
                                          as(Rule::dnsmasq_value, rule("address", Test::loose_server)),
                                          rule("address", Test::server),
                                          as(Rule::dnsmasq_value, line("server=/{domain}/{address}", dnsmasq_line))};
constexpr ValueRule dns_host_rules[] = {
    as(Rule::dnsmasq_value, rule("name", Test::closed)), as(Rule::dnsmasq_value, rule("name", Test::domain)),
    as(Rule::dnsmasq_value, rule("name", Test::without_string, " #")), rule("name", Test::filled),
    rule("name", Test::without, " \""), as(Rule::dnsmasq_value, rule("address", Test::closed)),
    // dnsmasq reads a string that is not an address as one more name.
    as(Rule::dnsmasq_value, rule("address", Test::domain)), rule("address", Test::address),
    as(Rule::dnsmasq_value, line("host-record={name},{address}", dnsmasq_line))};
constexpr ValueRule allowlist_rules[] = {
    rule("", Test::filled),
    as(Rule::dnsmasq_value, rule("", Test::closed)),
    as(Rule::dnsmasq_value, rule("", Test::domain)),
    as(Rule::dnsmasq_value, rule("", Test::without_string, " #")),
    rule("", Test::without, " /,\""),
    as(Rule::dnsmasq_value, at_most("", dnsmasq_line - static_cast<int32_t>(sizeof "server=//#" - 1)))};

// These characters end an argument of a PAM module.
constexpr char argument_ends[] = " []#";

constexpr ValueRule radius_server_rules[] = {rule("hostname", Test::filled),
                                             rule("hostname", Test::without, " "),
                                             as(Rule::auth_effect, rule("hostname", Test::not_first, "#")),
                                             in_range("port"),
                                             rule("secret", Test::filled),
                                             rule("secret", Test::without, " "),
                                             as(Rule::auth_effect, rule("secret", Test::without, "]")),
                                             line("[{hostname}]:{port} {secret+]} {timeout}", radius_line),
                                             range("timeout", 0, INT_MAX),
                                             as(Rule::auth_effect, in_range("timeout"))};
constexpr ValueRule radius_rules[] = {
    rule("nas_id", Test::without, argument_ends),
    line("httpd_login auth [success=done new_authtok_reqd=done auth_err=die user_unknown=die default=ignore] "
         "pam_radius_auth.so try_first_pass debug require_message_authenticator localifdown client_id={nas_id} "
         "conf=/var/run/radius.conf",
         pam_line)};

constexpr ValueRule ldap_server_rules[] = {rule("hostname", Test::filled), rule("hostname", Test::without, " "),
                                           in_range("port")};
constexpr ValueRule ldap_rules[] = {
    rule("base_dn", Test::filled),
    rule("base_dn", Test::not_first, " "),
    rule("base_dn", Test::not_last, " "),
    rule("login_attribute", Test::filled),
    rule("login_attribute", Test::without, " "),
    rule("bind_dn", Test::not_first, " "),
    rule("bind_dn", Test::not_last, " "),
    rule("bind_password", Test::not_first, " "),
    rule("bind_password", Test::not_last, " "),
    rule("tls", Test::filled),
    rule("group_attribute", Test::filled),
    rule("group_attribute", Test::without, argument_ends),
    line("httpd_login auth [success=done new_authtok_reqd=done auth_err=die user_unknown=die default=ignore] "
         "pam_ldap.so try_first_pass groupname={group_attribute} config=/var/run/ldap.conf",
         pam_line),
};

constexpr ValueRule tacacs_server_rules[] = {rule("hostname", Test::filled),
                                             rule("hostname", Test::without, argument_ends), in_range("port"),
                                             rule("secret", Test::filled), rule("secret", Test::without, "#"),
                                             // It would escape the bracket after it.
                                             rule("secret", Test::not_last, "\\")};
constexpr ValueRule tacacs_rules[] = {
    rule("service", Test::filled), rule("service", Test::without, argument_ends), rule("group_attribute", Test::filled),
    rule("group_attribute", Test::without, argument_ends),
    line("httpd_login account [success=ok new_authtok_reqd=ok auth_err=die user_unknown=die default=1] pam_tacplus.so "
         "debug try_first_pass login=pap service={service} protocol=https groupname={group_attribute}{server#26+]}",
         pam_line)};

struct Method {
  const char *name;  // in auth.method, and of the object with its settings
  ValueRules rules;
  ValueRules server_rules;
  Rule broken;  // the rule that a wrong setting of a server breaks
};
constexpr Method methods[] = {
    {"radius", radius_rules, radius_server_rules, Rule::auth_value},
    {"ldap", ldap_rules, ldap_server_rules, Rule::auth_effect},
    {"tacacs+", tacacs_rules, tacacs_server_rules, Rule::auth_effect},
};

constexpr ValueRule method_rules[] = {rule("", Test::filled)};

bool names_method(const ConfigNode *auth, const char *name) {
  for (const char *word : string_elements(config_array(auth, "method")))
    if (strcmp(word, name) == 0) return true;
  return false;
}

bool has_servers(const ConfigNode *settings) {
  return config_array_count(config_array(settings, "server")) > 0;
}

void check_method(const ConfigNode *auth, const Method &method) {
  const ConfigNode *settings = config_object(auth, method.name);
  if (!has_servers(settings)) return;
  if (!names_method(auth, method.name)) {
    report(settings, Rule::auth_unused, {method.name});
  } else {
    check_rules(settings, method.rules, Rule::auth_effect);
    check_each(settings, "server", method.server_rules, method.broken);
  }
}

// Reports a list of usable methods without local. When no method is usable, a run writes the rules of local.
void check_local(const ConfigNode *auth) {
  if (names_method(auth, "local")) return;
  for (const Method &method : methods) {
    if (!names_method(auth, method.name) || !has_servers(config_object(auth, method.name))) continue;
    report(config_array(auth, "method"), Rule::auth_no_local);
    return;
  }
}

// Reports a word of auth.method whose method has no server.
void check_method_word(const ConfigNode *auth, const ConfigNode *word) {
  for (const Method &method : methods) {
    if (!is_word_of(config_string_get(word), method.name)) continue;
    if (!has_servers(config_object(auth, method.name))) report(word, Rule::auth_no_server, {method.name});
  }
}

}  // namespace

void check_services(const ConfigNode *root) {
  if (config_get_bool(root, "firewall.web_filter.enable")) check_rules(root, web_filter_rules, Rule::dns_value);
  const ConfigNode *dns = config_object(root, "service.dns");
  check_each(dns, "server", dns_server_rules, Rule::dnsmasq_effect);
  check_each(dns, "host", dns_host_rules, Rule::dnsmasq_effect);
  check_strings(dns, "allowlist", allowlist_rules, Rule::dnsmasq_effect);
  const ConfigNode *auth = config_object(root, "auth");
  check_strings(auth, "method", method_rules, Rule::auth_effect);
  for (const ConfigNode *word : entries_at(auth, "method")) check_method_word(auth, word);
  check_local(auth);
  for (const Method &method : methods) check_method(auth, method);
}
