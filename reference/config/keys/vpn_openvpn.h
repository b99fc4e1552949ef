// "vpn.openvpn". The member `username` marks an entry as a client, so servers do not have it.
#ifndef TESSERA_REFERENCE_CONFIG_KEYS_VPN_OPENVPN_H
#define TESSERA_REFERENCE_CONFIG_KEYS_VPN_OPENVPN_H

#include "config/keys/declare.h"

namespace keys {

constexpr Key advanced_options[] = {
    boolean("enable", "Use extra."),
    boolean("override",
            "With enable, leave the other lines out of a server's file; of a client's proto, "
            "remote-cert-tls and cipher."),
    lines("extra", "Options at the end of a server's file; -- starts a new line."),
};
// Clients have these keys too.
constexpr Key openvpn_server[] = {
    boolean("enable", "Use it."),
    integer("metric", "Metric of its routes, lower is preferred: UCI option metric."),
    boolean("use_file", "Client: use config_file instead of lines made from the keys below."),
    lines("config_file", "Client: OpenVPN configuration; devices, scripts and credentials in it are replaced."),
    term("device_type", "tun tap tap_bridge",
         "Kind of device: dev-type; for a server also the topology: tun net30, tap subnet, tap_bridge bridged."),
    string("server", "Client: host name or address of the server: remote."),
    within(1, 65535, integer("port", "Port of the server: remote of a client, port of a server.")),
    strings("protocol", "Server: the first is used, such as udp or tcp-server: proto."),
    lines("cacert", "CA certificate for the other side, PEM: <ca>."),
    lines("public_cert", "Client: own certificate, PEM, only with private_key: <cert>."),
    secret(lines("private_key", "Client: own key, PEM, only with public_cert: <key>.")),
    string("server_address", "Server: address in the tunnel and prefix length: ifconfig, UCI option server_network."),
    within(0, 254,
           integer("server_first_ip",
                   "Server: last number of the first address: ifconfig of tun; ifconfig-pool starts one "
                   "above.")),
    within(1, 255, integer("server_last_ip", "Server: last number of the last address for clients: ifconfig-pool.")),
    boolean("autogenerate", "Server: use the certificates in /etc/ssl/certs and ask clients for a password."),
    word("authentication", "cert passwd both",
         "Server: how clients authenticate; passwd: verify-client-cert none; cert: no auth-user-pass-verify."),
    lines("server_cert", "Server: own certificate, PEM: <cert>."),
    secret(lines("server_key", "Server: own key, PEM: <key>.")),
    lines("diffie", "Server: Diffie-Hellman parameters, PEM: <dh>."),
    object("advanced_options", "Options of your own.", advanced_options),
};
constexpr Key openvpn_client_only[] = {
    held(Fallback::empty,
         string("username", "Name to log in with: auth-user-pass and /var/run/userpass_KEY.cfg; empty: neither.")),
    secret(string("password", "Password: /var/run/userpass_KEY.cfg.")),
};
constexpr auto openvpn_client = join(openvpn_server, openvpn_client_only);
constexpr Key openvpn[] = {
    of_devices(map("client", "Clients: /var/run/config_file_KEY and the section openvpn_client_KEY.", openvpn_client)),
    of_devices(
        map("server",
            "Servers: /var/run/config_file_server_KEY, the section openvpn_server_KEY, and a file for clients in "
            "/var/run/openvpn.",
            openvpn_server)),
};

}  // namespace keys

#endif
