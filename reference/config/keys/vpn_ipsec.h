// "vpn.ipsec".
#ifndef TESSERA_REFERENCE_CONFIG_KEYS_VPN_IPSEC_H
#define TESSERA_REFERENCE_CONFIG_KEYS_VPN_IPSEC_H

#include "config/keys/declare.h"

namespace keys {

constexpr Key identity[] = {
    word("type", "any raw ipv4 ipv6 rfc822 fqdn keyid mac_address serial_number",
         "Kind of identity, and which of the keys below holds it; mac_address and serial_number come from the runtime "
         "store; empty: none."),
    string("raw_id", "Identity as it is written, for type raw."),
    string("ipv4_id", "Address, for type ipv4."),
    string("ipv6_id", "Address, for type ipv6."),
    string("rfc822_id", "Mail address, for type rfc822."),
    string("fqdn_id", "Host name, for type fqdn."),
    string("keyid_id", "Key ID, for type keyid."),
};
constexpr Key peer_id[] = {
    boolean("enable", "Use it; false: the identity of remote, or the host name."),
    object("id", "Identity.", identity),
};
constexpr Key peer[] = {
    string("hostname", "Host name or address, for ip_version ipv4: right=."),
    string("hostname6", "Host name or address, for ip_version ipv6: right=."),
    integer("weight", "Share of attempts: righthostsweight=, 1 without the key."),
    object("peer_id", "Identity of this peer: rightid=.", peer_id),
};
constexpr Key ipsec_local[] = {
    word("type", "defaultroute interface", "Which interface the tunnel runs over: its address gives left=."),
    naming(NamesOf::interfaces, string("interface", "Key of the interface, for type interface.")),
    object("id", "Own identity: leftid=.", identity),
};
constexpr Key ipsec_remote[] = {
    word("ip_version", "ipv4 ipv6", "Family of both ends."),
    objects("peers",
            "Peers to try: right=. A single peer with the host name any, in upper or lower case, accepts every peer: "
            "right=%any. Among several peers, any is a host name.",
            peer),
    term("peer_selection", "round_robin weighted",
         "Order of attempts: righthostssequence=, and righthostsweight= of weighted."),
    object("id", "Identity of the peer: rightid=.", identity),
};
// The algorithms that strongSwan knows.
#define WITH_TAGS(cipher) cipher "8 " cipher "12 " cipher "16 " cipher "64 " cipher "96 " cipher "128 "
#define WITH_MODES(cipher) cipher " " cipher "ctr " WITH_TAGS(cipher "gcm") WITH_TAGS(cipher "ccm")
constexpr char ciphers[] = WITH_MODES("aes128") WITH_MODES("aes192") WITH_MODES(
    "aes256") "aes128gmac aes192gmac aes256gmac chacha20poly1305 3des camellia128 camellia192 camellia256 null";
constexpr char hashes[] =
    "sha1 sha256 sha384 sha512 sha sha2_256 sha2_384 sha2_512 sha1_160 sha256_96 sha2_256_96 md5 md5_128 aesxcbc "
    "aescmac prfsha1 prfsha256 prfsha384 prfsha512";
constexpr char dh_groups[] =
    "modp768 modp1024 modp1536 modp2048 modp3072 modp4096 modp6144 modp8192 modp1024s160 modp2048s224 modp2048s256 "
    "ecp192 ecp224 ecp256 ecp384 ecp521 ecp224bp ecp256bp ecp384bp ecp512bp curve25519 x25519 curve448 x448 none";
constexpr Key proposal[] = {
    term(
        "cipher", ciphers,
        "Encryption; with system.fips only aes128, aes192 and aes256, the same followed by gcm96 or gcm128, and 3des."),
    term("hash", hashes, "Integrity; with system.fips only sha1, sha256, sha384 and sha512."),
    term("dh_group", dh_groups,
         "Key exchange, none for phase 2 without one; with system.fips modp2048, modp3072, modp4096, modp6144, "
         "modp8192, ecp224, ecp256, ecp384, ecp521, curve25519 and curve448 only."),
};
constexpr Key ike[] = {
    boolean("initiate",
            "Start the tunnel from here: dpdaction=restart instead of clear, and initiate instead of route in UCI "
            "option initiate."),
    term("version", "ikev1 ikev2 ike", "Protocol: keyexchange=."),
    word("mode", "main aggressive", "aggressive is quicker and does not hide identities: aggressive=yes."),
    term("fragmentation", "always never accept",
         "Splitting of large messages: fragmentation=force, no or accept, else yes."),
    duration("phase1_lifetime", "Time until keys of the control channel are renewed: ikelifetime=."),
    duration("phase2_lifetime", "Time until keys of the data channel are renewed: lifetime=."),
    duration("lifetime_margin",
             "Time before the end of a lifetime at which the renewal starts: margintime=; a quarter of the shorter "
             "lifetime if it is not less than that lifetime."),
    objects("phase1_proposal", "Algorithms of the control channel, the best first: ike=.", proposal),
    objects("phase2_proposal", "Algorithms of the data channel, the best first: esp= or ah=.", proposal),
};
constexpr Key crl[] = {lines("crl", "List, PEM.")};
constexpr Key ipsec_auth[] = {
    word("type", "secret asymmetric-secrets rsasig x509 scep",
         "How the ends authenticate: leftauth= and rightauth= psk for the first two, else pubkey."),
    secret(string("secret", "Secret that both ends share, for type secret: the PSK line.")),
    secret(string("remote_secret", "Secret in the PSK line of the own identity, for type asymmetric-secrets.")),
    secret(string("local_secret", "Secret in the PSK lines of the peers, for type asymmetric-secrets.")),
    secret(lines("private_key", "Own key, PEM, for types rsasig and x509: private/KEY.rsa and the RSA line.")),
    secret(string("private_key_passphrase", "Passphrase of that key: at the end of the RSA line.")),
    naming(NamesOf::scep_clients,
           string("scep_client", "Key of the client in network.scep_client whose files are linked, for type scep.")),
    lines("public_key", "Own public key, PEM, for type rsasig: certs/KEY.pub; empty: derived from private_key."),
    lines("peer_public_key", "Public key of the peer, PEM, for type rsasig: certs/KEY.peerpub."),
    lines("cert", "Own certificate, PEM, for type x509: certs/KEY.cert and leftcert=."),
    objects("crls", "Revocation lists, for type x509: a file in crls for each.", crl),
    word("peer_verify", "cert ca", "How the peer's certificate is checked, for type x509: rightcert= or rightca=."),
    lines("peer_cert", "Certificate of the peer, PEM, for peer_verify cert: certs/KEY.peercert."),
    lines("peer_ca", "CA certificates for the peer, PEM, for peer_verify ca: cacerts/KEY.N.cacert for each."),
    string("peer_ca_dn", "Distinguished name for rightca=; empty: that of the first certificate of peer_ca."),
};
constexpr char protocols[] = "any tcp udp icmp other";
constexpr char about_protocol[] = "Protocol name or number: in brackets after the subnet; other: protocol_other.";
constexpr char about_protocol_other[] = "Protocol number for protocol other.";
constexpr char about_port[] = "Port name or number: in brackets after the subnet; any: all.";
constexpr Key policy_local[] = {
    word("type", "address network custom request dynamic",
         "What leftsubnet= holds: the address or network of an interface, custom, or %dynamic; request asks the peer "
         "for an address: leftsourceip=."),
    naming(NamesOf::interfaces, string("address", "Key of the interface, for type address.")),
    naming(NamesOf::interfaces, string("network", "Key of the interface, for type network.")),
    string("custom", "Network and prefix length, for type custom."),
    string_or("protocol", protocols, about_protocol),
    within(0, 255, integer("protocol_other", about_protocol_other)),
    string_or("port", "any", about_port),
};
constexpr Key policy_remote[] = {
    string("network", "Network and prefix length: rightsubnet=; empty: %dynamic. The policy has the same family."),
    string_or("protocol", protocols, about_protocol),
    within(0, 255, integer("protocol_other", about_protocol_other)),
    string_or("port", "any", about_port),
};
constexpr Key ipsec_policy[] = {
    object("local", "Traffic on this side.", policy_local),
    object("remote", "Traffic on the other side.", policy_remote),
};
constexpr Key xauth_client[] = {
    boolean("enable", "Log in: xauth=client and leftauth2=xauth."),
    string("username", "Name to log in with: xauth_identity= and the XAUTH line."),
    secret(string("password", "Password, in the XAUTH line.")),
};
constexpr Key modecfg_client[] = {
    boolean("enable", "Ask for settings: modeconfig=pull, and -l of leftupdown=."),
};
constexpr Key dpd[] = {
    boolean("enable", "Detect dead peers: dpdaction=."),
    within(1, INT32_MAX, integer("delay", "Seconds between probes: dpddelay=.")),
    within(1, INT32_MAX,
           integer("timeout", "Seconds without an answer after which the peer counts as dead: dpdtimeout=.")),
};
constexpr Key tunnel_vigil[] = {
    boolean("enable",
            "Check the health of the tunnel: UCI option metric, where it is not 0, is 2147483647 until the check has "
            "passed."),
};
constexpr Key ipsec_tunnel[] = {
    boolean("enable", "Write the tunnel."),
    term("type", "esp ah", "Protocol of the data: the name of the line with the phase 2 proposals, such as esp=."),
    term("mode", "tunnel transport",
         "What is protected: type=; every mode but transport also writes if_id=, the tunnel's "
         "position from 1."),
    naming(NamesOf::tunnels,
           string("ipsec_failover",
                  "Key of the tunnel that this one backs up: this one is left out while that one is ready.")),
    integer("metric", "Metric of its routes, lower is preferred: UCI option metric, 0: not written."),
    integer("mgmt", "Flag -m of leftupdown=, 0: not written."),
    boolean("force_udp_encap", "Wrap data in UDP even without NAT: forceencaps=yes."),
    object("vigil", "Health checks.", tunnel_vigil),
    object("local", "This end.", ipsec_local),
    object("remote", "The other end.", ipsec_remote),
    object("auth", "Authentication: files in secrets, private, certs, cacerts and crls.", ipsec_auth),
    object("ike", "Key exchange.", ike),
    object("dpd", "Dead peer detection.", dpd),
    object("xauth_client", "Login in addition to the other authentication.", xauth_client),
    object("modecfg_client", "Settings from the peer.", modecfg_client),
    objects(
        "policy",
        "Traffic for the tunnel: a section conn KEY_policyN for each; without policies one section without subnets.",
        ipsec_policy),
};
constexpr Key backoff[] = {
    duration("duration", "First time: UCI option retry_timeout_initial or try_interval_initial."),
    duration("limit", "Longest time: UCI option retry_timeout_limit or try_interval_limit."),
    integer("jitter", "Random share: UCI option retry_timeout_jitter or try_interval_jitter."),
    number("base", "Growth from one time to the next: UCI option retry_timeout_base or try_interval_base."),
};
constexpr Key ipsec_advanced[] = {
    object("connection_retry_timeout", "Times to wait for an answer.", backoff),
    object("connection_try_interval", "Times to wait between attempts.", backoff),
};
constexpr Key ipsec[] = {
    of_devices(
        map("tunnel",
            "Tunnels: /var/run/ipsec.d/conf/KEY.conf and other files, and the section KEY of /var/run/uci/network. The "
            "position of an entry, from 1, numbers its device ipsecN.",
            ipsec_tunnel)),
    object("advanced", "Times of all tunnels, in the sections of /var/run/uci/network.", ipsec_advanced),
};

}  // namespace keys

#endif
