#include "config/schema.h"

#include <array>

namespace {

// One key as it is declared below. Everything here is used by the compiler only.
struct Key {
  const char *name;
  Kind kind;
  Kind element = Kind::ignored;  // of an array
  unsigned flags = 0;
  unsigned element_flags = 0;
  const Key *members = nullptr;  // of an object, of the entries of a map or of the objects of an array
  size_t count = 0;
  const char *fallback = "";  // of a text that is held always
};

constexpr Key text(const char *name) {
  return {.name = name, .kind = Kind::text};
}
constexpr Key lines(const char *name) {
  return {.name = name, .kind = Kind::text, .flags = row_many_lines};
}
constexpr Key held_text(const char *name, const char *fallback) {
  return {.name = name, .kind = Kind::text, .flags = row_always, .fallback = fallback};
}
constexpr Key boolean(const char *name) {
  return {.name = name, .kind = Kind::boolean};
}
constexpr Key integer(const char *name) {
  return {.name = name, .kind = Kind::integer};
}
constexpr Key number(const char *name) {
  return {.name = name, .kind = Kind::number};
}
constexpr Key duration(const char *name) {
  return {.name = name, .kind = Kind::duration};
}
constexpr Key reference(const char *name) {
  return {.name = name, .kind = Kind::reference};
}
constexpr Key device(const char *name) {
  return {.name = name, .kind = Kind::reference, .flags = row_device};
}
constexpr Key texts(const char *name) {
  return {.name = name, .kind = Kind::array, .element = Kind::text};
}
constexpr Key references(const char *name, unsigned flags = 0) {
  return {.name = name, .kind = Kind::array, .element = Kind::reference, .element_flags = flags};
}
template <size_t n>
constexpr Key object(const char *name, const Key (&members)[n]) {
  return {.name = name, .kind = Kind::object, .members = members, .count = n};
}
template <size_t n>
constexpr Key objects(const char *name, const Key (&members)[n]) {
  return {.name = name, .kind = Kind::array, .element = Kind::object, .members = members, .count = n};
}
template <size_t n>
constexpr Key map(const char *name, const Key (&members)[n], unsigned entry_flags = 0, unsigned flags = 0) {
  return {
      .name = name, .kind = Kind::map, .flags = flags, .element_flags = entry_flags, .members = members, .count = n};
}
constexpr Key bare_map(const char *name, unsigned entry_flags = 0) {
  return {.name = name, .kind = Kind::map, .element_flags = entry_flags};
}

// Shapes that occur in several places.
constexpr Key enable[] = {boolean("enable")};
constexpr Key custom[] = {boolean("enable"), boolean("override"), lines("config_file")};

// system, firewall
constexpr Key system_keys[] = {text("name"), boolean("fips")};
constexpr Key web_filter[] = {boolean("enable"), text("service")};
constexpr Key firewall[] = {object("web_filter", web_filter)};

// service
constexpr Key dns_server[] = {text("domain"), text("address")};
constexpr Key dns_host[] = {text("name"), text("address")};
constexpr Key dns[] = {
    boolean("cache_negative_responses"), boolean("query_all_servers"),  boolean("stop_dns_rebind"),
    boolean("rebind_localhost_ok"),      objects("server", dns_server), texts("allowlist"),
    objects("host", dns_host),
};
constexpr Key multicast[] = {
    boolean("enable"), text("dst"),       text("gateway"),         boolean("onlink"),
    integer("mtu"),    integer("metric"), references("interface"),
};
constexpr Key service[] = {object("dns", dns), map("multicast", multicast)};

// network: general settings and routes
constexpr Key network_advanced[] = {
    boolean("dhcp_persistent_lease"),
    boolean("sequential_dhcp_allocation"),
    text("ula_prefix"),
};
constexpr Key policy_destination[] = {text("type"), texts("domain")};
constexpr Key policy_route[] = {boolean("enable"), text("ip_version"), object("dst", policy_destination)};
constexpr Key static_route[] = {
    boolean("enable"), text("dst"),    reference("interface"), text("gateway"),
    boolean("onlink"), integer("mtu"), integer("metric"),
};
constexpr Key nhrp_network[] = {text("ipsec")};
constexpr Key nhrp[] = {objects("network", nhrp_network)};
constexpr Key route_service[] = {object("nhrp", nhrp)};
constexpr Key route[] = {
    objects("policy", policy_route),
    objects("static", static_route),
    object("service", route_service),
};
constexpr Key scep_client[] = {object("crl", enable)};

// network: devices
constexpr Key network_device[] = {text("type"), text("name"), text("mode")};
constexpr Key wlan[] = {held_text("type", "wlan"), text("mode"), reference("radio")};
constexpr Key vlan[] = {device("device"), integer("id")};
constexpr Key stp[] = {boolean("enable"), integer("forward_delay")};
constexpr Key bridge[] = {
    boolean("enable"),
    text("mode"),
    references("device", row_device),
    object("stp", stp),
    boolean("auto_mac_assignment"),
};
constexpr Key bond[] = {
    boolean("enable"),
    text("mode"),
    references("device", row_device),
    duration("link_poll_interval"),
};
constexpr Key macsec_association[] = {text("cak"), text("ckn")};
constexpr Key macsec[] = {
    boolean("enable"),
    reference("local"),
    text("type"),
    object("association", macsec_association),
};
constexpr Key vrrp[] = {device("device")};
constexpr Key modem[] = {text("sim_slot")};

// network: interfaces
constexpr Key custom_option[] = {
    boolean("enable"), text("datatype"),  integer("option"),      boolean("force"), texts("value_ipv4_list"),
    text("value_str"), text("value_hex"), integer("value_bytes"), text("name"),
};
constexpr Key static_lease[] = {text("type"), text("mac"), text("device"), text("name"), text("ip")};
constexpr Key dhcp_advanced[] = {
    text("domain_suffix"),
    text("gateway"),
    text("gateway_custom"),
    text("mtu"),
    integer("mtu_custom"),
    text("primary_dns"),
    text("primary_dns_custom"),
    text("secondary_dns"),
    text("secondary_dns_custom"),
    text("primary_ntp"),
    text("primary_ntp_custom"),
    text("secondary_ntp"),
    text("secondary_ntp_custom"),
    text("primary_wins"),
    text("primary_wins_custom"),
    text("secondary_wins"),
    text("secondary_wins_custom"),
    text("bootfile"),
    text("tftp_server"),
    boolean("bootp_dynamic"),
    objects("custom_option", custom_option),
    objects("static_lease", static_lease),
};
constexpr Key dhcp_server[] = {
    boolean("enable"),
    text("lease_start"),
    text("lease_end"),
    duration("lease_time"),
    object("advanced", dhcp_advanced),
};
constexpr Key dhcp_relay[] = {text("address")};
constexpr Key static_address[] = {boolean("enable"), text("address")};
constexpr Key part[] = {
    boolean("enable"),
    text("type"),
    text("address"),
    text("gateway"),
    texts("dns"),
    integer("metric"),
    integer("mtu"),
    text("mac"),
    boolean("promisc"),
    boolean("force_link"),
    boolean("dhcp_hostname"),
    text("modem_type"),
    integer("prefix_length"),
    text("prefix_id"),
    object("static", static_address),
    object("dhcp_server", dhcp_server),
    objects("dhcp_relay", dhcp_relay),
    object("dhcpv6_server", enable),
};
constexpr Key pppoe[] = {text("username"), text("password"), boolean("debug"), object("custom", custom)};
constexpr Key custom_gateway[] = {boolean("enable"), text("gateway")};
constexpr Key apn[] = {
    text("apn"),        text("username"), text("password"),   text("match_carrier"), text("match_carrier_other"),
    text("match_plmn"), text("auth"),     text("ip_version"), integer("cid"),        boolean("attm2mglobal"),
};
constexpr Key interface_modem[] = {
    text("device"),
    text("pin"),
    text("operator_mode"),
    text("operator"),
    text("operator_technology"),
    text("apn_selection"),
    boolean("roaming"),
    boolean("backoff_enabled"),
    boolean("skip_cached_apns"),
    integer("retry_seconds"),
    integer("registration_timeout"),
    integer("connection_timeout"),
    integer("apn_push_timeout"),
    boolean("sim_failover"),
    integer("sim_failover_retries"),
    text("sim_failover_alt"),
    text("sst"),
    integer("custom_sst"),
    integer("sd"),
    object("custom_gw", custom_gateway),
    objects("apn", apn),
};
constexpr Key pppoe_server[] = {
    text("service_name"), text("ac_name"), text("auth"), text("username"), text("password"), object("custom", custom),
};
constexpr Key ancillary[] = {boolean("enable"), text("address"), text("gw"), boolean("dns")};
constexpr Key passthrough[] = {
    references("src", row_interface_name),
    text("type"),
    object("pppoe_server", pppoe_server),
    object("ancillary", ancillary),
};
constexpr Key interface_keys[] = {
    text("type"),
    device("device"),
    boolean("enable"),
    integer("mtu"),
    integer("metric"),
    object("vigil", enable),
    object("ipv4", part),
    object("ipv6", part),
    object("pppoe", pppoe),
    object("modem", interface_modem),
    object("passthrough", passthrough),
};
constexpr Key network[] = {
    object("advanced", network_advanced),
    object("route", route),
    map("scep_client", scep_client),
    map("device", network_device, row_device),
    bare_map("radio"),
    map("wlan", wlan, row_device),
    map("vlan", vlan, row_device),
    map("bridge", bridge, row_device),
    map("bond", bond, row_device),
    map("macsec", macsec, row_device),
    map("vrrp", vrrp, row_device),
    bare_map("wisun", row_device),
    map("modem", modem),
    map("interface", interface_keys),
};

// vpn.ipsec
constexpr Key identity[] = {
    text("type"),      text("raw_id"),  text("ipv4_id"),  text("ipv6_id"),
    text("rfc822_id"), text("fqdn_id"), text("keyid_id"),
};
constexpr Key peer_id[] = {boolean("enable"), object("id", identity)};
constexpr Key peer[] = {text("hostname"), text("hostname6"), integer("weight"), object("peer_id", peer_id)};
constexpr Key ipsec_local[] = {text("type"), text("interface"), object("id", identity)};
constexpr Key ipsec_remote[] = {
    text("ip_version"),
    objects("peers", peer),
    text("peer_selection"),
    object("id", identity),
};
constexpr Key proposal[] = {text("cipher"), text("hash"), text("dh_group")};
constexpr Key ike[] = {
    boolean("initiate"),
    text("version"),
    text("mode"),
    text("fragmentation"),
    duration("phase1_lifetime"),
    duration("phase2_lifetime"),
    duration("lifetime_margin"),
    objects("phase1_proposal", proposal),
    objects("phase2_proposal", proposal),
};
constexpr Key crl[] = {lines("crl")};
constexpr Key ipsec_auth[] = {
    text("type"),         text("secret"),       text("remote_secret"),
    text("local_secret"), lines("private_key"), text("private_key_passphrase"),
    text("scep_client"),  lines("public_key"),  lines("peer_public_key"),
    lines("cert"),        objects("crls", crl), text("peer_verify"),
    lines("peer_cert"),   lines("peer_ca"),     text("peer_ca_dn"),
};
constexpr Key policy_local[] = {
    text("type"),     text("address"),           text("network"), text("custom"),
    text("protocol"), integer("protocol_other"), text("port"),
};
constexpr Key policy_remote[] = {text("network"), text("protocol"), integer("protocol_other"), text("port")};
constexpr Key ipsec_policy[] = {object("local", policy_local), object("remote", policy_remote)};
constexpr Key xauth_client[] = {boolean("enable"), text("username"), text("password")};
constexpr Key dpd[] = {boolean("enable"), integer("delay"), integer("timeout")};
constexpr Key ipsec_tunnel[] = {
    boolean("enable"),
    text("type"),
    text("mode"),
    text("ipsec_failover"),
    integer("metric"),
    integer("mgmt"),
    boolean("force_udp_encap"),
    object("vigil", enable),
    object("local", ipsec_local),
    object("remote", ipsec_remote),
    object("auth", ipsec_auth),
    object("ike", ike),
    object("dpd", dpd),
    object("xauth_client", xauth_client),
    object("modecfg_client", enable),
    objects("policy", ipsec_policy),
};
constexpr Key backoff[] = {duration("duration"), duration("limit"), integer("jitter"), number("base")};
constexpr Key ipsec_advanced[] = {
    object("connection_retry_timeout", backoff),
    object("connection_try_interval", backoff),
};
constexpr Key ipsec[] = {map("tunnel", ipsec_tunnel, row_device), object("advanced", ipsec_advanced)};

// vpn.openvpn: the presence of `username` tells a client from a server, so it is a member of the one only.
constexpr Key advanced_options[] = {boolean("enable"), boolean("override"), lines("extra")};
constexpr Key openvpn_server[] = {
    boolean("enable"),
    integer("metric"),
    boolean("use_file"),
    lines("config_file"),
    text("device_type"),
    text("server"),
    integer("port"),
    texts("protocol"),
    lines("cacert"),
    lines("public_cert"),
    lines("private_key"),
    text("server_address"),
    integer("server_first_ip"),
    integer("server_last_ip"),
    boolean("autogenerate"),
    text("authentication"),
    lines("server_cert"),
    lines("server_key"),
    lines("diffie"),
    object("advanced_options", advanced_options),
};
template <size_t n, size_t more>
constexpr std::array<Key, n + more> join(const Key (&common)[n], const Key (&own)[more]) {
  std::array<Key, n + more> all{};
  for (size_t i = 0; i < n; i++) all[i] = common[i];
  for (size_t i = 0; i < more; i++) all[n + i] = own[i];
  return all;
}
template <size_t n>
constexpr Key map(const char *name, const std::array<Key, n> &members, unsigned entry_flags = 0) {
  return {.name = name, .kind = Kind::map, .element_flags = entry_flags, .members = members.data(), .count = n};
}
constexpr Key openvpn_client_only[] = {held_text("username", ""), text("password")};
constexpr auto openvpn_client = join(openvpn_server, openvpn_client_only);
constexpr Key openvpn[] = {map("client", openvpn_client, row_device), map("server", openvpn_server, row_device)};

// vpn: other tunnels
constexpr Key iptunnel[] = {
    boolean("enable"), reference("local"), text("type"), text("remote"), text("key"), boolean("keepalive"),
};
constexpr Key l2tpeth_session[] = {
    text("session_id"), text("peer_session_id"), text("cookie"), text("peer_cookie"), text("l2spec_type"), text("seq"),
};
constexpr Key l2tpeth[] = {
    boolean("enable"),
    reference("local"),
    text("remote"),
    text("tunnel_id"),
    text("peer_tunnel_id"),
    text("encapsulation"),
    integer("udp_source_port"),
    integer("udp_destination_port"),
    boolean("udp_checksum"),
    map("session", l2tpeth_session, row_device),
};
constexpr Key care_of_address[] = {text("type"), text("interface"), text("address")};
constexpr Key tunnel_local[] = {text("type"), text("interface")};
constexpr Key nemo[] = {
    boolean("enable"),
    text("home_address"),
    object("coaddress", care_of_address),
    object("tun_local", tunnel_local),
    text("home_agent"),
    text("key"),
    text("spi"),
    integer("lifetime"),
    integer("metric"),
    boolean("mtu_discovery"),
    integer("mtu"),
    texts("network"),
};

// vpn.l2tp: `lns` makes an entry an access concentrator, so it is a member of those only.
constexpr Key l2tp_entry[] = {
    integer("metric"),     text("username"),       text("password"), object("custom", custom), integer("port"),
    text("local_address"), text("remote_address"), text("auth"),     boolean("default_route"),
};
constexpr Key lac_only[] = {held_text("lns", "")};
constexpr Key lns_only[] = {text("lac")};
constexpr auto lac = join(l2tp_entry, lac_only);
constexpr auto lns = join(l2tp_entry, lns_only);
constexpr Key l2tp[] = {boolean("enable"), boolean("debug"), map("lac", lac), map("lns", lns)};
constexpr Key vpn[] = {
    object("ipsec", ipsec),  object("openvpn", openvpn),           map("iptunnel", iptunnel, row_device),
    map("l2tpeth", l2tpeth), map("wireguard", enable, row_device), map("nemo", nemo),
    object("l2tp", l2tp),
};

// serial
constexpr Key connect_script[] = {boolean("enable"), lines("script")};
constexpr Key ppp_dialin[] = {
    text("local_address"),    text("remote_address"),   text("auth"),
    text("username"),         text("password"),         integer("metric"),
    boolean("default_route"), object("custom", custom), object("connect", connect_script),
};
constexpr Key serial[] = {
    boolean("enable"),        text("mode"),
    text("baudrate"),         text("flow"),
    duration("idle_timeout"), object("ppp_dialin", ppp_dialin),
};

// auth
constexpr Key user[] = {object("2fa", enable)};
constexpr Key radius_server[] = {text("hostname"), integer("port"), text("secret"), integer("timeout")};
constexpr Key radius[] = {
    objects("server", radius_server),         text("nas_id"),   boolean("authoritative"),
    boolean("require_message_authenticator"), boolean("debug"),
};
constexpr Key ldap_server[] = {text("hostname"), integer("port")};
constexpr Key ldap[] = {
    objects("server", ldap_server),
    text("tls"),
    text("base_dn"),
    text("login_attribute"),
    boolean("verify_server_cert"),
    text("bind_dn"),
    text("bind_password"),
    integer("timeout"),
    text("group_attribute"),
    boolean("authoritative"),
};
constexpr Key tacacs_server[] = {text("hostname"), integer("port"), text("secret")};
constexpr Key tacacs[] = {
    objects("server", tacacs_server),
    text("service"),
    text("group_attribute"),
    boolean("authoritative"),
};
constexpr Key auth[] = {
    map("user", user, 0, row_hyphen), duration("idle_timeout"), texts("method"),
    object("radius", radius),         object("ldap", ldap),     object("tacacs+", tacacs),
};

constexpr Key root[] = {
    object("system", system_keys), object("firewall", firewall), object("service", service),
    object("network", network),    object("vpn", vpn),           map("serial", serial),
    object("auth", auth),
};

// Lays the declarations out as flat tables. A shape that several keys share is laid out once.
struct Layout {
  struct Shape {
    const Key *members;
    uint16_t first;
  };

  Schema schema{};
  std::array<Shape, 160> shapes{};
  size_t row_count = 0;
  size_t name_size = 1;  // the empty name is at 0
  size_t shape_count = 0;

  constexpr uint16_t add_name(const char *name) {
    if (*name == '\0') return 0;
    auto offset = static_cast<uint16_t>(name_size);
    do schema.names[name_size++] = *name;
    while (*name++ != '\0');
    return offset;
  }

  constexpr uint16_t add_members(const Key *members, size_t count) {
    for (size_t i = 0; i < shape_count; i++) {
      if (shapes[i].members == members) return shapes[i].first;
    }
    auto first = static_cast<uint16_t>(row_count);
    row_count += count;
    shapes[shape_count++] = {members, first};
    for (size_t i = 0; i < count; i++) set(first + i, members[i]);
    return first;
  }

  constexpr void set_members(SchemaRow &row, const Key &key) {
    if (key.count > 64) throw "the loader marks the members that it has seen in one word of bits";
    row.count = static_cast<uint8_t>(key.count);
    if (key.count > 0) row.child = add_members(key.members, key.count);
    for (size_t i = 0; i < key.count; i++) {
      if ((key.members[i].flags & row_always) != 0) row.flags |= row_holds_always;
    }
  }

  constexpr void set(size_t index, const Key &key) {
    size_t length = 0;
    while (key.name[length] != '\0') length++;
    if (length > longest_key) throw "the tag of a name has room for shorter ones only";
    SchemaRow row{.name = add_name(key.name),
                  .tag = schema_tag(key.name, length),
                  .child = 0,
                  .count = 0,
                  .kind = key.kind,
                  .flags = static_cast<uint8_t>(key.flags)};
    if (key.kind == Kind::object) {
      set_members(row, key);
    } else if (key.kind == Kind::map || key.kind == Kind::array) {
      row.child = static_cast<uint16_t>(row_count++);
      SchemaRow element{.name = 0,
                        .tag = 0,
                        .child = 0,
                        .count = 0,
                        .kind = key.kind == Kind::map ? Kind::object : key.element,
                        .flags = static_cast<uint8_t>(key.element_flags)};
      set_members(element, key);
      schema.rows[row.child] = element;
    } else if ((key.flags & row_always) != 0) {
      row.child = add_name(key.fallback);
    }
    schema.rows[index] = row;
  }
};

constexpr Schema lay_out() {
  Layout layout;
  layout.schema.rows[schema_ignored].kind = Kind::ignored;
  layout.row_count = schema_root + 1;
  layout.set(schema_root, object("", root));
  return layout.schema;
}

}  // namespace

constinit const Schema schema = lay_out();
