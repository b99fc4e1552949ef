// Name service, web filter, and authentication.
#include "config/report.h"
#include "network/check.h"
#include "network/rules.h"

namespace {

constexpr Rule web_filter_rules[] = {rule("firewall.web_filter.service", Test::filled), end_of_rules};

constexpr Rule dns_server_rules[] = {optional(rule("domain", Test::without, " ,\"")), rule("address", Test::server),
                                     line("server=/{domain}/{address}", dnsmasq_line), end_of_rules};
constexpr Rule dns_host_rules[] = {rule("name", Test::filled), rule("name", Test::without, " ,\""),
                                   rule("address", Test::address), line("host-record={name},{address}", dnsmasq_line),
                                   end_of_rules};
constexpr Rule allowlist_rules[] = {rule("", Test::without, " /,\""),
                                    optional(at_most("", dnsmasq_line - static_cast<int32_t>(sizeof "server=//#" - 1))),
                                    end_of_rules};

// Separates the arguments of a module, and ends a rule.
constexpr char argument_ends[] = " []#";

constexpr Rule radius_server_rules[] = {rule("hostname", Test::filled),
                                        rule("hostname", Test::without, " "),
                                        rule("hostname", Test::not_first, "#"),
                                        range("port", 1, 65535),
                                        rule("secret", Test::filled),
                                        secret(rule("secret", Test::without, " ]")),
                                        line("[{hostname}]:{port} {secret+]} {timeout}", radius_line),
                                        range("timeout", 1, INT_MAX),
                                        end_of_rules};
constexpr Rule radius_rules[] = {
    rule("nas_id", Test::without, argument_ends),
    line("httpd_login auth [success=done new_authtok_reqd=done auth_err=die user_unknown=die default=ignore] "
         "pam_radius_auth.so try_first_pass debug require_message_authenticator localifdown client_id={nas_id} "
         "conf=/var/run/radius.conf",
         pam_line),
    end_of_rules};

constexpr Rule ldap_server_rules[] = {rule("hostname", Test::filled), rule("hostname", Test::without, " "),
                                      range("port", 1, 65535), end_of_rules};
constexpr Rule ldap_rules[] = {
    rule("base_dn", Test::filled),
    rule("base_dn", Test::not_first, " "),
    rule("base_dn", Test::not_last, " "),
    rule("login_attribute", Test::filled),
    rule("login_attribute", Test::without, " "),
    rule("bind_dn", Test::not_first, " "),
    rule("bind_dn", Test::not_last, " "),
    secret(rule("bind_password", Test::not_first, " ")),
    secret(rule("bind_password", Test::not_last, " ")),
    rule("tls", Test::filled),
    rule("group_attribute", Test::filled),
    rule("group_attribute", Test::without, argument_ends),
    line("httpd_login auth [success=done new_authtok_reqd=done auth_err=die user_unknown=die default=ignore] "
         "pam_ldap.so try_first_pass groupname={group_attribute} config=/var/run/ldap.conf",
         pam_line),
    end_of_rules,
};

constexpr Rule tacacs_server_rules[] = {rule("hostname", Test::filled), rule("hostname", Test::without, argument_ends),
                                        range("port", 1, 65535), rule("secret", Test::filled),
                                        secret(rule("secret", Test::without, "#")),
                                        // It would take away the meaning of the bracket behind it.
                                        secret(rule("secret", Test::not_last, "\\")), end_of_rules};
constexpr Rule tacacs_rules[] = {
    rule("service", Test::filled),
    rule("service", Test::without, argument_ends),
    rule("group_attribute", Test::filled),
    rule("group_attribute", Test::without, argument_ends),
    line("httpd_login account [success=ok new_authtok_reqd=ok auth_err=die user_unknown=die default=1] pam_tacplus.so "
         "debug try_first_pass login=pap service={service} protocol=https groupname={group_attribute}{server#26+]}",
         pam_line),
    end_of_rules};

struct Method {
  const char *name;  // the word in the list of methods, and the object that holds the settings; null ends the table
  const Rule *rules;
  const Rule *server_rules;
};
constexpr Method methods[] = {
    {"radius", radius_rules, radius_server_rules},
    {"ldap", ldap_rules, ldap_server_rules},
    {"tacacs+", tacacs_rules, tacacs_server_rules},
    {nullptr, nullptr, nullptr},
};

void check_method(const ConfigNode *auth, const ConfigNode *word) {
  for (const Method *method = methods; method->name != nullptr; ++method) {
    if (!is_word_of(config_string_get(word), method->name)) continue;
    const ConfigNode *settings = config_object(auth, method->name);
    if (config_array_count(config_array(settings, "server")) == 0) {
      config_report(word, Grade::questionable, "there is no %s server, the method is left out", method->name);
      continue;
    }
    check_rules(settings, method->rules);
    check_each(settings, "server", method->server_rules);
  }
}

}  // namespace

void check_services(const ConfigNode *root) {
  if (config_get_bool(root, "firewall.web_filter.enable")) check_rules(root, web_filter_rules);
  const ConfigNode *dns = config_object(root, "service.dns");
  check_each(dns, "server", dns_server_rules);
  check_each(dns, "host", dns_host_rules);
  for (const Rule *row = allowlist_rules; row->test != Test::end; ++row) check_texts(dns, "allowlist", *row);
  const ConfigNode *auth = config_object(root, "auth");
  check_texts(auth, "method", rule("", Test::filled));
  for_each_element(config_array(auth, "method"), [auth](const ConfigNode *word) { check_method(auth, word); });
}
