"""A router that uses everything: a configuration with a text in every text member, which the services make files of."""
import re

SECRETS = re.compile(r"pass(word|phrase)|secret|key|psk|pin$|cak|cookie|token")
PUBLIC = {"public_key", "peer_public_key", "keyid_id"}

# This address is the one value that the UCI file has no escapes for; the checker tells.
LAN = {"ipv6.static.address": "fd00::1/64", "type": "ethernet", "device": "/network/device/v0",
       "ipv4.address": "192.0.2.1/24", "ipv6.type": "dhcpv6",
       **{f"ipv4.dhcp_server.advanced.{name}": "custom" for name in ("gateway", "mtu", *(
           f"{rank}_{kind}" for rank in ("primary", "secondary") for kind in ("dns", "ntp", "wins")))}}
TUNNEL = {"local.type": "defaultroute", "remote.ip_version": "ipv4", "ipsec_failover": "", "local.id.type": "raw",
          "remote.id.type": "fqdn", "remote.peer_selection": "weighted"}
SERVER = {"device_type": "tun", "server_address": "10.8.0.1/24", "autogenerate": False,
          "advanced_options.override": False}
# The entries of a map or array with the words that make a service take the rest; one entry of texts only elsewhere.
ENTRIES = {
    "": [{"system.fips": False, "firewall.web_filter.service": "umbrella",
          "auth.method": ["radius", "ldap", "tacacs+"]}],
    "network.device": [{"type": "ethernet", "name": "eth0"}, {"type": "usb_ethernet"}, {"type": "ethernet"}],
    "network.wlan": [{"type": "wlan", "mode": "client", "radio": ""}, {"type": "wlan", "radio": "/network/radio/v0"}],
    "network.vlan": [{"device": "/network/device/v0"}],
    "network.bridge": [{"device": ["/network/device/v0", "/network/wlan/v0"]}, {"mode": "switch"}],
    "network.bond": [{"mode": "active-backup", "device": ["/network/device/v0"]}],
    "network.macsec": [{"local": "/network/interface/v0", "type": "manual"}],
    "network.modem": [{"sim_slot": "any"}],
    "network.interface": [
        {**LAN, "ipv4.type": "static"}, {**LAN, "ipv4.type": "dhcp", "ipv6.type": "prefix_delegation"},
        {**LAN, "ipv4.type": "hybrid", "ipv4.dhcp_server.enable": False}, {"type": "modem", "modem.device": "v0"},
        {"type": "pppoe"}, {"type": "passthrough", "device": "/network/vlan/v0", "passthrough.src": ["v1"]},
        {"type": "hotspot"}, {"type": "wisun"}, {"type": "dialin"}, {}],
    "network.interface.ipv4.dhcp_server.advanced.custom_option": [
        {"datatype": t} for t in ("str", "ipv4", "hex", "")],
    "network.interface.ipv4.dhcp_server.advanced.static_lease": [{"type": "mac"}, {"type": "id"}],
    "network.interface.modem.apn": [{"match_carrier": "other"}, {}],
    "network.route.policy": [{"dst.type": "domain"}, {"dst.type": "domain", "ip_version": "ipv4"}],
    "network.route.static": [{"interface": "/network/interface/v0", "dst": "10.0.0.0/8"}, {}],
    "service.multicast": [{"interface": ["/network/interface/v0", "/network/interface/v1"]}],
    "vpn.iptunnel": [{"local": "/network/interface/v0"}, {}], "vpn.l2tpeth": [{"local": "/network/interface/v0"}, {}],
    "vpn.nemo": [{"coaddress.type": "ip", "tun_local.type": "interface", "network": ["v0"]},
                 {"coaddress.type": "interface"}],
    "vpn.openvpn.client": [{"use_file": True}, {"use_file": False},
                           {"use_file": False, "advanced_options.enable": False}],
    "vpn.openvpn.server": [SERVER, {**SERVER, "device_type": "tap", "authentication": "passwd"},
                           {**SERVER, "autogenerate": True}, {"advanced_options.override": True}],
    "vpn.ipsec.tunnel": [{**TUNNEL, **more} for more in (
        {"auth.type": "secret"}, {"auth.type": "asymmetric-secrets", "local.id.type": "ipv4", "remote.id.type": "ipv6"},
        {"auth.type": "rsasig", "local.id.type": "ipv6", "remote.id.type": "rfc822"},
        {"auth.type": "rsasig", "auth.public_key": ""},
        {"auth.type": "x509", "auth.peer_verify": "cert", "local.id.type": "keyid", "remote.id.type": "raw"},
        {"auth.type": "x509", "auth.peer_verify": "ca", "local.id.type": "rfc822", "remote.id.type": "keyid"},
        {"auth.type": "scep"},
        {"auth.type": "secret", "remote.peers": [], "local.id.type": "fqdn", "remote.id.type": "ipv4"},
        {"auth.type": "secret", "remote.ip_version": "ipv6", "local.type": "interface", "local.interface": "v0"},
        {"local.type": "@"})],
    "vpn.ipsec.tunnel.remote.peers": [{"peer_id.enable": False}, *(
        {"peer_id.id.type": t} for t in ("raw", "ipv4", "ipv6", "rfc822", "fqdn", "keyid", "mac_address"))],
    "vpn.ipsec.tunnel.policy": [{"local.type": "custom"}, {"local.type": "request"},
                                {"local.type": "address", "local.address": "v0"},
                                {"local.type": "network", "local.network": "v0"}],
    "serial": [{"mode": "ppp_dialin"}, {}],
}
FACTS = {"network.interface.v0.ipv4.ready": "1", "network.route.default.metric.ipv4.1": "network.interface.v0",
         "hybrid.lanmode": "true", "mm.map.interface_idx.v3": "1", "network.interface.v0.ipv6.ready": "1",
         "network.interface.v0.ipv6.address": "fd00::1", "network.interface.v0.ipv6.netmask": "64"}


def is_secret(name):
    """Whether a member of that name looks like a secret."""
    return bool(SECRETS.search(name)) and name not in PUBLIC


def document(schema, text):
    """A configuration with text(its schema, place, name) as every text that no entry fixes."""

    def entries(inner, place, name):
        return [build(inner, place, name, fixed) for fixed in ENTRIES.get(place, [{}])]

    def build(inner, place, name, fixed):
        while "$ref" in inner:
            inner = schema["$defs"][inner["$ref"].rsplit("/", 1)[1]]
        if "" in fixed:
            return fixed[""]
        if "propertyNames" in inner:
            return {f"v{i}": entry for i, entry in enumerate(entries(inner["additionalProperties"], place, name))}
        kind = inner.get("type", "duration")
        if kind == "object":
            return {key: build(member, f"{place}.{key}".strip("."), key,
                               {path[len(key):].strip("."): value for path, value in fixed.items()
                                if f"{path}.".startswith(f"{key}.")})
                    for key, member in inner.get("properties", {}).items()}
        if kind == "array":
            return entries(inner["items"], place, name)
        return text(inner, place, name) if kind == "string" else {"boolean": True, "number": 1.5}.get(kind, 7)

    return build(schema, "", "", ENTRIES[""][0])
