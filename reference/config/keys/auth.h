// The section "auth".
#ifndef TESSERA_REFERENCE_CONFIG_KEYS_AUTH_H
#define TESSERA_REFERENCE_CONFIG_KEYS_AUTH_H

#include "config/keys/declare.h"

namespace keys {

constexpr Key two_factor[] = {
    boolean("enable",
            "Ask for a second factor: pam_google_authenticator.so for every user, as soon as one user has it."),
};
constexpr Key user[] = {object("2fa", "Second factor.", two_factor)};
constexpr Key radius_server[] = {
    string("hostname", "Host name or address."),
    within(1, 65535, integer("port", "Port.")),
    secret(string("secret", "Secret shared with it.")),
    within(1, INT32_MAX, integer("timeout", "Seconds to wait for an answer.")),
};
constexpr char about_authoritative[] =
    "A refusal is final, and later methods are not asked: auth_err=die in its rules.";
constexpr Key radius[] = {
    objects("server", "Servers to ask, in order: a line of /var/run/radius.conf for each.", radius_server),
    string("nas_id", "Name that the router sends: client_id=."),
    boolean("authoritative", about_authoritative),
    boolean("require_message_authenticator", "Drop unsigned answers: require_message_authenticator."),
    boolean("debug", "Log the exchange: debug."),
};
constexpr Key ldap_server[] = {
    string("hostname", "Host name or address."),
    within(1, 65535, integer("port", "Port.")),
};
constexpr Key ldap[] = {
    objects("server", "Servers to ask, in order: uri.", ldap_server),
    term("tls", "on off start_tls", "Encryption: ssl; on also makes the uri ldaps."),
    string("base_dn", "Where in the directory users are: base."),
    string("login_attribute", "Attribute that holds the login name: pam_login_attribute."),
    boolean("verify_server_cert", "Check the server's certificate: tls_checkpeer."),
    string("bind_dn", "Name to search with: binddn; empty: none."),
    secret(string("bind_password", "Its password: bindpw, only with bind_dn.")),
    integer("timeout", "Seconds to wait for an answer: timelimit and bind_timelimit."),
    string("group_attribute", "Attribute that holds the group: groupname= in /var/run/pam.conf."),
    boolean("authoritative", about_authoritative),
};
constexpr Key tacacs_server[] = {
    string("hostname", "Host name or address: server=."),
    within(1, 65535, integer("port", "Port: server=.")),
    secret(string("secret", "Secret shared with it: secret=.")),
};
constexpr Key tacacs[] = {
    objects("server", "Servers to ask, in order, at the end of each rule.", tacacs_server),
    string("service", "Service to ask about: service=."),
    string("group_attribute", "Attribute that holds the group: groupname=."),
    boolean("authoritative", about_authoritative),
};
constexpr Key auth[] = {
    hyphened(map("user", "Users.", user)),
    duration("idle_timeout", "Time after which a web session ends: the number after pam_token_decrypt.so; 0: never."),
    array_of(word("method", "local radius ldap tacacs+",
                  "Methods to check users with, in order. If none of them has a server: local.")),
    object("radius", "RADIUS: rules of pam_radius_auth.so.", radius),
    object("ldap", "LDAP: rules of pam_ldap.so, and /var/run/ldap.conf.", ldap),
    object("tacacs+", "TACACS+: rules of pam_tacplus.so.", tacacs),
};

}  // namespace keys

#endif
