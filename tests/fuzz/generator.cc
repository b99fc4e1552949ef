#include "fuzz/generator.h"

#include <cstring>
#include <iterator>

#include "config/document.h"
#include "fuzz/stand_ins.h"

namespace {

// What texts are made of: words that the mappers know, names that entries and references share, and values that no one
// should have to expect. "\x01" stands for a text of 64 KiB.
const char *const words[] = {"",
                             "lan",
                             "wan",
                             "a",
                             "b",
                             "tun1",
                             "m1",
                             "eth0",
                             "eth1",
                             "eth0.5",
                             "m_2",
                             "br0",
                             "ethernet",
                             "usb_ethernet",
                             "loopback",
                             "vnet",
                             "wlan",
                             "ap",
                             "client",
                             "switch",
                             "active-backup",
                             "round-robin",
                             "static",
                             "dhcp",
                             "hybrid",
                             "dhcpv6",
                             "prefix_delegation",
                             "passthrough",
                             "modem",
                             "pppoe",
                             "hotspot",
                             "wisun",
                             "dialin",
                             "ppp_dialin",
                             "ipv4",
                             "ipv6",
                             "any",
                             "auto",
                             "custom",
                             "none",
                             "mac",
                             "id",
                             "str",
                             "hex",
                             "1byte",
                             "2byte",
                             "4byte",
                             "domain",
                             "umbrella",
                             "local",
                             "radius",
                             "ldap",
                             "tacacs+",
                             "on",
                             "start_tls",
                             "off",
                             "secret",
                             "asymmetric-secrets",
                             "rsasig",
                             "x509",
                             "scep",
                             "cert",
                             "ca",
                             "raw",
                             "rfc822",
                             "fqdn",
                             "keyid",
                             "mac_address",
                             "serial_number",
                             "defaultroute",
                             "interface",
                             "address",
                             "network",
                             "request",
                             "dynamic",
                             "weighted",
                             "round_robin",
                             "transport",
                             "tunnel",
                             "aggressive",
                             "always",
                             "never",
                             "accept",
                             "other",
                             "manual",
                             "ip",
                             "tun",
                             "tap",
                             "tap_bridge",
                             "passwd",
                             "udp",
                             "EMBB",
                             "URLLC",
                             "MIOT",
                             "corvo_list_only",
                             "built_in_list_only",
                             "apn_list_only",
                             "esp",
                             "aes128",
                             "sha256",
                             "modp2048",
                             "1",
                             "0",
                             "2",
                             "true",
                             "false",
                             "y",
                             "n",
                             "-1",
                             "2147483648",
                             "192.0.2.1",
                             "192.0.2.1/24",
                             "198.51.100.7",
                             "10.0.0.0/8",
                             "0.0.0.0/0",
                             "2001:db8::1",
                             "2001:db8::/32",
                             "/33",
                             "00:40:9D:11:22:33",
                             "100",
                             "200",
                             "network.interface.lan",
                             "network.interface.wan",
                             "/network/interface/lan",
                             "host.example",
                             "-----BEGIN CERTIFICATE-----\nMIIB\n-----END CERTIFICATE-----\n",
                             "-----END CERTIFICATE----------END CERTIFICATE-----",
                             "client\ndev tun0\nup /bin/x\nauth-user-pass\ncert c\n\nca d",
                             "--push \"route 1\" --verb 3",
                             "\n\toption proto \"evil\"\nconfig interface evil\n",
                             "\r\n\t",
                             "@[",
                             "@[x]",
                             "@[]",
                             "a\"b",
                             "\"",
                             "'; reboot; '",
                             "$(reboot)",
                             "`reboot`",
                             "a;b|c&d",
                             ";;\"",
                             "%s%n%d%5$s",
                             "%",
                             "../../../../x",
                             "..",
                             ".",
                             "/",
                             "a/b",
                             "\\",
                             "end\\",
                             "\\\"",
                             "\\n",
                             " a b ",
                             "# c",
                             "a # c",
                             "]",
                             "[x] y",
                             "{}",
                             "*",
                             "?[",
                             "~",
                             "a,b",
                             "a=b",
                             "größe",
                             "\U0001F600",
                             "a:b",
                             ":",
                             " ",
                             "\x01"};
constexpr unsigned word_count = std::size(words);

// Where references lead.
const char *const reference_prefixes[] = {"",
                                          "/network/interface/",
                                          "/network/device/",
                                          "/network/bridge/",
                                          "/network/bond/",
                                          "/network/vlan/",
                                          "/network/wlan/",
                                          "/network/radio/",
                                          "/network/macsec/",
                                          "/vpn/wireguard/",
                                          "/vpn/openvpn/server/"};
constexpr unsigned bare_reference = std::size(reference_prefixes);

// Keys of runtime facts; "*" stands for a name.
const char *const fact_keys[] = {"hybrid.device",
                                 "hybrid.lanmode",
                                 "mm.map.interface_idx.*",
                                 "mm.map.interface_number.*",
                                 "mm.map.no_interface_idx.*",
                                 "mm.sh.update.modem.*.iface",
                                 "mm.sh.update.modem.*.host",
                                 "network.interface.*.device",
                                 "network.interface.*.ipv4.address",
                                 "network.interface.*.ipv4.netmask",
                                 "network.interface.*.ipv4.gateway",
                                 "network.interface.*.ipv4.mtu",
                                 "network.interface.*.ipv4.dns.*",
                                 "network.interface.*.ipv4.dns_domain.*",
                                 "network.interface.*.ipv4.passthrough",
                                 "network.interface.*.ipv4.ready",
                                 "network.interface.*.ipv4.up",
                                 "network.interface.*.ipv6.address",
                                 "network.interface.*.ipv6.netmask",
                                 "network.interface.*.ipv6.passthrough",
                                 "network.interface.*.ipv6.ready",
                                 "network.interface.*.ipv6.up",
                                 "network.route.default.metric.ipv4.*",
                                 "network.route.default.metric.ipv6.*",
                                 "remote_builtin.speedtest.interface",
                                 "seriald.*.device",
                                 "system.mac",
                                 "system.serial",
                                 "vigil.ipsec_*.passed",
                                 "vigil.ipv4_interface_*.passed",
                                 "vigil.ipv6_interface_*.passed",
                                 "vpn.ipsec.tunnel.*.ipv4.ready",
                                 "vpn.ipsec.tunnel.*.ipv6.ready",
                                 "vpn.ipsec.tunnel.*.skip_peer.active",
                                 "vpn.ipsec.tunnel.*.skip_peer.hostname",
                                 "vpn.l2tp.config_cookie",
                                 "network.device_map.*.device"};

const char *const durations[] = {"\"90s\"", "\"200ms\"", "\"12h\"", "0", "1", "-5", "2147483647", "\"2147483647s\""};
const char *const numbers[] = {"1.5", "0", "1", "2", "-2.25", "1e300", "1e-9", "0.1"};
const int32_t integers[] = {0, 1, 2, -1, 3, 10, 255, 256, 1500, 65535, 0xffffff, 0x1000000, INT32_MAX, INT32_MIN};

const char *const secret_names[] = {
    "secret",      "remote_secret", "local_secret", "password", "private_key_passphrase",
    "private_key", "server_key",    "cak",          "pin",      "bind_password"};

// The number of the text in the list; the count of the list when it is not there.
template <size_t n>
unsigned find(const char *const (&list)[n], std::string_view text) {
  unsigned i = 0;
  while (i < n && text != list[i]) i++;
  return i;
}

bool is_letter_or_digit(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

// Every other character becomes "Q" and two digits, and so does "Q".
std::string tame(std::string_view text, bool many_lines) {
  static constexpr char digits[] = "0123456789abcdef";
  std::string harmless;
  for (char c : text) {
    bool kept =
        c != 'Q' && (is_letter_or_digit(c) || strchr(many_lines ? " ./:-_,@[]+#;\"\n\r\t" : " ./:-_,@[]+#;\"", c));
    if (kept) {
      harmless += c;
    } else {
      harmless += {'Q', digits[static_cast<unsigned char>(c) >> 4], digits[c & 15]};
    }
  }
  return harmless;
}

// Makes any bytes a text that the loader accepts.
std::string acceptable(std::string text, bool many_lines) {
  for (char &c : text) {
    bool control = (c >= 0 && c < 0x20) || c == 0x7f;
    bool line_end = c == '\t' || c == '\n' || c == '\r';
    if (c < 0 || (control && !(many_lines && line_end))) c = '~';
  }
  for (size_t at; (at = text.find(secret_mark)) != text.npos;) text[at] = '~';  // a fuzzer learns from comparisons
  return text;
}

void quote(std::string &out, std::string_view text) {
  out += '"';
  for (char c : text) {
    static constexpr char escaped[] = "\"\\\n\r\t";
    const char *escape = strchr(escaped, c);
    if (escape != nullptr) out += '\\';
    out += escape != nullptr ? "\"\\nrt"[escape - escaped] : c;
  }
  out += '"';
}

// Reads or writes a case: each choice is taken from the bytes, or, when there is a wanted document, is the wanted one
// and added to them. So the same walk does both.
struct Walk {
  bool encoding = false;
  const uint8_t *bytes = nullptr;
  size_t left = 0;
  std::string encoded;
  Variants out;
  unsigned large_texts = 0;

  unsigned choose(size_t wanted, unsigned count) {
    if (encoding) {
      auto choice = static_cast<unsigned>(wanted < count ? wanted : count - 1);
      encoded += static_cast<char>(choice);
      return choice;
    }
    if (left == 0) return 0;
    left--;
    return *bytes++ % count;
  }

  void put(std::string_view text) {
    out.hostile += text;
    out.tame += text;
  }

  std::string text(std::string_view wanted, bool many_lines) {
    unsigned word = choose(find(words, wanted), word_count + 1);
    if (word < word_count && *words[word] == '\x01') return "%s" + std::string(large_texts++ == 0 ? 65536 : 300, 'x');
    if (word < word_count) {
      // Words of several lines must not make a text of one line unacceptable; their UTF-8 is as it should be.
      std::string text = words[word];
      return many_lines || strpbrk(words[word], "\n\r\t") == nullptr ? text : acceptable(text, false);
    }
    size_t length = choose(wanted.size() >> 8, 16) << 8;
    length |= choose(wanted.size() & 255, 256);
    std::string text;
    for (size_t i = 0; i < length && (encoding || left > 0); i++)
      text += static_cast<char>(choose(i < wanted.size() ? static_cast<unsigned char>(wanted[i]) : 0, 256));
    return acceptable(text, many_lines);
  }

  std::string name(std::string_view wanted) {
    std::string name = text(wanted, false).substr(0, 40);
    for (char &c : name)
      if (!is_letter_or_digit(c)) c = '_';
    return name.empty() ? "x" : name;
  }

  void add_text(const std::string &text, bool many_lines, bool always_tame = false) {
    std::string harmless = tame(text, many_lines);
    quote(out.hostile, always_tame ? harmless : text);
    quote(out.tame, harmless);
  }

  void add_reference(const SchemaRow &row, std::string_view wanted) {
    unsigned prefix = bare_reference;
    while (prefix-- > 1 && !wanted.starts_with(reference_prefixes[prefix])) continue;
    if ((row.flags & row_interface_name) != 0 || (prefix == 0 && !wanted.empty())) prefix = bare_reference;
    prefix = choose(prefix, bare_reference + 1);
    if (prefix == 0) return put("\"\"");
    std::string_view head = prefix < bare_reference ? reference_prefixes[prefix] : "";
    add_text(std::string(head) + name(wanted.substr(head.size() < wanted.size() ? head.size() : 0)), false);
  }

  void add_integer(int32_t wanted) {
    unsigned known = 0;
    while (known < std::size(integers) && integers[known] != wanted) known++;
    known = choose(known, std::size(integers) + 1);
    uint32_t value = 0;
    if (known < std::size(integers)) {
      value = static_cast<uint32_t>(integers[known]);
    } else {
      for (unsigned shift = 0; shift < 32; shift += 8)
        value |= choose(static_cast<uint32_t>(wanted) >> shift & 255, 256) << shift;
    }
    put(std::to_string(static_cast<int32_t>(value)));
  }

  void add_duration(int64_t milliseconds) {
    unsigned known = choose(std::size(durations), std::size(durations) + 1);
    if (known < std::size(durations)) return put(durations[known]);
    add_integer(static_cast<int32_t>(milliseconds / 1000));
  }

  // The members of an object, the entries of a map or the elements of an array.
  void add_children(const SchemaRow &row, const ConfigNode *wanted) {
    uint32_t wanted_count = wanted != nullptr ? wanted->value.children.count : 0;
    unsigned count = choose(wanted_count, row.kind == Kind::object ? row.count + 1U : 24);
    const char *separator = "";
    std::vector<std::string> used;
    put(row.kind == Kind::array ? "[" : "{");
    for (uint32_t i = 0; i < count; i++) {
      const ConfigNode *child = i < wanted_count ? nth_child(wanted, i) : nullptr;
      const SchemaRow *below = &schema_row(row.child);
      std::string key;
      if (row.kind == Kind::object) {
        below = &schema_row(
            static_cast<uint16_t>(row.child + choose(child != nullptr ? child->row - row.child : 0U, row.count)));
        key = schema_name(*below);
      } else if (row.kind == Kind::map) {
        key = name(child != nullptr ? config_key(child) : "");
      }
      bool repeated = false;
      for (const std::string &other : used) repeated |= row.kind != Kind::array && other == key;
      if (repeated && row.kind == Kind::object) continue;
      if (repeated) key += std::to_string(i);
      used.push_back(key);
      put(separator);
      separator = ",";
      if (row.kind != Kind::array) put('"' + key + "\":");
      add(*below, child, schema_name(row));
    }
    put(row.kind == Kind::array ? "]" : "}");
  }

  void add(const SchemaRow &row, const ConfigNode *wanted, const char *parent) {
    switch (row.kind) {
      case Kind::text: {
        bool many_lines = (row.flags & row_many_lines) != 0;
        std::string value = text(wanted != nullptr ? wanted->value.text : "", many_lines);
        if (!value.empty() && find(secret_names, schema_name(row)) < std::size(secret_names))
          value = std::string(secret_mark) + value;
        // By design the address beside others of an interface goes into its file as it is.
        return add_text(value, many_lines, strcmp(parent, "static") == 0);
      }
      case Kind::reference:
        return add_reference(row, wanted != nullptr ? wanted->value.text : "");
      case Kind::boolean:
        return put(choose(wanted != nullptr && wanted->value.boolean ? 0 : 1, 2) == 0 ? "true" : "false");
      case Kind::integer:
        return add_integer(wanted != nullptr ? wanted->value.integer : 0);
      case Kind::number:
        return put(numbers[choose(0, std::size(numbers))]);
      case Kind::duration:
        return add_duration(wanted != nullptr ? wanted->value.milliseconds : 0);
      default:
        return add_children(row, wanted);
    }
  }

  // One runtime fact: the names in the wanted key are those that stand where the pattern has a "*".
  std::pair<std::string, Variants> fact(unsigned pattern, const std::vector<std::string> &names,
                                        const std::string &value) {
    std::string key;
    size_t number = 0;
    for (const char *c = fact_keys[choose(pattern, std::size(fact_keys))]; *c != '\0'; c++)
      key += *c == '*' ? name(number < names.size() ? names[number++] : "") : std::string(1, *c);
    std::string found = text(value, false);
    return {key, {found, tame(found, false)}};
  }
};

// True when the key has the form of the pattern; the names in it are added.
bool matches(const char *pattern, const char *key, std::vector<std::string> &names) {
  while (*pattern != '\0') {
    if (*pattern != '*') {
      if (*pattern++ != *key++) return false;
      continue;
    }
    size_t length = strcspn(key, ".");
    pattern++;
    names.emplace_back(key, length);
    key += length;
  }
  return *key == '\0';
}

}  // namespace

Case generate(const uint8_t *bytes, size_t size) {
  Walk walk;
  walk.bytes = bytes;
  walk.left = size;
  Case made;
  made.options = walk.choose(0, 256);
  unsigned facts = walk.choose(0, 64);
  for (unsigned i = 0; i < facts && walk.left > 0; i++) made.facts.push_back(walk.fact(0, {}, ""));
  walk.add(schema_row(schema_root), nullptr, "");
  made.document = std::move(walk.out);
  return made;
}

std::string encode(const ConfigNode *root, const std::vector<std::pair<std::string, std::string>> &facts) {
  Walk walk;
  walk.encoding = true;
  walk.choose(0, 256);
  walk.choose(facts.size(), 64);
  for (const auto &[key, value] : facts) {
    std::vector<std::string> names;
    unsigned pattern = 0;
    while (pattern < std::size(fact_keys) && !matches(fact_keys[pattern], key.c_str(), names)) {
      names.clear();
      pattern++;
    }
    walk.fact(pattern, names, value);
  }
  walk.add(schema_row(schema_root), root, "");
  return walk.encoded;
}
