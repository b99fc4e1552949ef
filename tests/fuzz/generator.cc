// Each byte is a choice on a walk through the table of keys: how many members, which ones, and with which value.
#include "fuzz/generator.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "config/schema.h"
#include "fuzz/stand_ins.h"

namespace {

// Strings for values: words that the mappers know, names for entries and references ...
const char plain_words[] =
    "lan wan a b tun1 m1 eth0 eth1 eth0.5 m_2 br0 ethernet usb_ethernet loopback vnet wlan ap client switch "
    "active-backup round-robin static dhcp hybrid dhcpv6 prefix_delegation passthrough modem pppoe hotspot wisun "
    "dialin ppp_dialin ipv4 ipv6 any auto custom none mac id str hex 1byte 2byte 4byte domain umbrella local radius "
    "ldap tacacs+ on start_tls off secret asymmetric-secrets rsasig x509 scep cert ca raw rfc822 fqdn keyid "
    "mac_address serial_number defaultroute interface address network request dynamic weighted round_robin transport "
    "tunnel aggressive always never accept other manual ip tun tap tap_bridge passwd udp EMBB URLLC MIOT "
    "corvo_list_only built_in_list_only apn_list_only esp aes128 sha256 modp2048 1 0 2 true false y n -1 2147483648 "
    "192.0.2.1 192.0.2.1/24 198.51.100.7 10.0.0.0/8 0.0.0.0/0 2001:db8::1 2001:db8::/32 /33 00:40:9D:11:22:33 100 "
    "200 network.interface.lan network.interface.wan /network/interface/lan host.example";
// ... and hostile values. "\x01" means a string of 64 KiB, later shorter ones.
const char nasty_words[] =
    "-----BEGIN CERTIFICATE-----\nMIIB\n-----END CERTIFICATE-----\n\0"
    "-----END CERTIFICATE----------END CERTIFICATE-----\0client\ndev tun0\nup /bin/x\nauth-user-pass\ncert c\n\nca d\0"
    "--push \"route 1\" --verb 3\0\n\toption proto \"evil\"\nconfig interface evil\n\0\r\n\t\0@[\0@[x]\0@[]\0a\"b\0\"\0"
    "'; reboot; '\0$(reboot)\0`reboot`\0a;b|c&d\0;;\"\0%s%n%d%5$s\0%\0../../../../x\0..\0.\0/\0a/b\0\\\0end\\\0\\\"\0"
    "\\n\0 a b \0# c\0a # c\0]\0[x] y\0{}\0*\0?[\0~\0a,b\0a=b\0größe\0\U0001F600\0a:b\0:\0 \0\x01";

// Keys of runtime facts; "*" means a name.
const char fact_words[] =
    "hybrid.device hybrid.lanmode mm.map.interface_idx.* mm.map.interface_number.* mm.map.no_interface_idx.* "
    "mm.sh.update.modem.*.iface mm.sh.update.modem.*.host network.interface.*.device "
    "network.interface.*.ipv4.address network.interface.*.ipv4.netmask network.interface.*.ipv4.gateway "
    "network.interface.*.ipv4.mtu network.interface.*.ipv4.dns.* network.interface.*.ipv4.dns_domain.* "
    "network.interface.*.ipv4.passthrough network.interface.*.ipv4.ready network.interface.*.ipv4.up "
    "network.interface.*.ipv6.address network.interface.*.ipv6.netmask network.interface.*.ipv6.passthrough "
    "network.interface.*.ipv6.ready network.interface.*.ipv6.up network.route.default.metric.ipv4.* "
    "network.route.default.metric.ipv6.* remote_builtin.speedtest.interface seriald.*.device system.mac "
    "system.serial vigil.ipsec_*.passed vigil.ipv4_interface_*.passed vigil.ipv6_interface_*.passed "
    "vpn.ipsec.tunnel.*.ipv4.ready vpn.ipsec.tunnel.*.ipv6.ready vpn.ipsec.tunnel.*.skip_peer.active "
    "vpn.ipsec.tunnel.*.skip_peer.hostname vpn.l2tp.config_cookie network.device_map.*.device";

// Starts of references, with a name after them; the empty one gives only a name.
const char reference_words[] =
    " /network/interface/ /network/device/ /network/bridge/ /network/bond/ /network/vlan/ /network/wlan/ "
    "/network/radio/ /network/macsec/ /vpn/wireguard/ /vpn/openvpn/server/";

const char duration_words[] = "\"90s\" \"200ms\" \"12h\" 0 1 -5 2147483647 \"2147483647s\"";
const char number_words[] = "1.5 0 1 2 -2.25 1e300 1e-9 0.1";
const char secret_words[] =
    "secret remote_secret local_secret password private_key_passphrase private_key server_key cak pin bind_password";
const int32_t integers[] = {0, 1, 2, -1, 3, 10, 255, 256, 1500, 65535, 0xffffff, 0x1000000, INT32_MAX, INT32_MIN};

std::vector<std::string> split(std::string_view text, char separator) {
  std::vector<std::string> pieces;
  for (size_t at = 0; at <= text.size();) {
    size_t end = std::min(text.find(separator, at), text.size());
    pieces.emplace_back(text.substr(at, end - at));
    at = end + 1;
  }
  return pieces;
}

std::vector<std::string> all_words() {
  std::vector<std::string> words = split(std::string(" ") + plain_words, ' ');  // the first one is empty
  for (std::string &word : split({nasty_words, sizeof nasty_words - 1}, '\0')) words.push_back(std::move(word));
  return words;
}

const std::vector<std::string> words = all_words();
const std::vector<std::string> fact_keys = split(fact_words, ' ');
const std::vector<std::string> reference_heads = split(reference_words, ' ');
const std::vector<std::string> durations = split(duration_words, ' ');
const std::vector<std::string> numbers = split(number_words, ' ');
const std::vector<std::string> secret_names = split(secret_words, ' ');

bool contains(const std::vector<std::string> &list, std::string_view text) {
  return std::find(list.begin(), list.end(), text) != list.end();
}

bool is_letter_or_digit(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

bool is_line_character(char c) {
  return c == '\t' || c == '\n' || c == '\r';
}

// Replaces "Q", and every character that may have a special meaning somewhere, by "Q" and two digits. Keeps line ends
// only for `network`: no other service writes a string of several lines into a file of lines.
std::string tame(std::string_view text) {
  static constexpr char digits[] = "0123456789abcdef";
  std::string harmless;
  for (char c : text) {
    bool kept =
        is_letter_or_digit(c) || (lines_decide && is_line_character(c)) || strchr(" ./:-_,@[]+#;\"", c) != nullptr;
    if (kept && c != 'Q') {
      harmless += c;
    } else {
      harmless += {'Q', digits[static_cast<unsigned char>(c) >> 4], digits[c & 15]};
    }
  }
  return harmless;
}

// Replaces bytes that the loader would refuse.
std::string acceptable(std::string text, bool many_lines) {
  for (char &c : text) {
    bool control = (c >= 0 && c < 0x20) || c == 0x7f;
    if (c < 0 || (control && !(many_lines && is_line_character(c)))) c = '~';
  }
  for (size_t at; (at = text.find(secret_mark)) != text.npos;)
    text[at] = '~';  // a fuzzer can find the mark through comparisons
  return text;
}

void quote(std::string &out, std::string_view text) {
  out += '"';
  for (char c : text) {
    static constexpr std::string_view escaped = "\"\\\n\r\t";
    size_t at = escaped.find(c);
    if (at != escaped.npos) out += '\\';
    out += at != escaped.npos ? "\"\\nrt"[at] : c;
  }
  out += '"';
}

struct Walk {
  const uint8_t *bytes;
  size_t left;
  Variants out = {};
  unsigned large_texts = 0;

  size_t choose(size_t count) {
    if (left == 0) return 0;
    left--;
    return *bytes++ % count;
  }

  void put(std::string_view text) {
    out.hostile += text;
    out.tame += text;
  }

  std::string text(bool many_lines) {
    size_t word = choose(words.size() + 1);
    if (word < words.size() && words[word] == "\x01") {
      return "%s" + std::string(size_t{65536} >> std::min(2 * large_texts++, 8U), 'x');
    }
    if (word < words.size()) {
      bool fits = many_lines || words[word].find_first_of("\t\n\r") == std::string::npos;
      return fits ? words[word] : acceptable(words[word], false);
    }
    size_t length = choose(16) << 8;
    length |= choose(256);
    std::string text;
    while (text.size() < length && left > 0) text += static_cast<char>(choose(256));
    return acceptable(text, many_lines);
  }

  std::string name() {
    std::string name = text(false).substr(0, 40);
    for (char &c : name)
      if (!is_letter_or_digit(c)) c = '_';
    return name.empty() ? "x" : name;
  }

  void add_text(const SchemaKey &key) {
    std::string value = text(key.many_lines);
    if (!value.empty() && contains(secret_names, key.name)) value = std::string(secret_mark) + value;
    quote(out.hostile, value);
    quote(out.tame, tame(value));
  }

  void add_reference() {
    size_t head = choose(reference_heads.size() + 1);
    if (head == 0) return put("\"\"");
    put('"' + (head < reference_heads.size() ? reference_heads[head] : "") + name() + '"');
  }

  void add_integer() {
    size_t known = choose(std::size(integers) + 1);
    uint32_t value = known < std::size(integers) ? static_cast<uint32_t>(integers[known]) : 0;
    for (unsigned shift = 0; shift < 32 && known == std::size(integers); shift += 8)
      value |= static_cast<uint32_t>(choose(256)) << shift;
    put(std::to_string(static_cast<int32_t>(value)));
  }

  void add_duration() {
    size_t known = choose(durations.size() + 1);
    if (known == durations.size()) return add_integer();
    put(durations[known]);
  }

  // The members of an object, the entries of a map or the elements of an array.
  void add_children(const SchemaKey &parent, Kind kind) {
    bool array = kind == Kind::array;
    size_t count = choose(kind == Kind::object ? parent.member_count + 1 : 24);
    std::vector<std::string> used;
    put(array ? "[" : "{");
    for (size_t i = 0; i < count; i++) {
      const SchemaKey &below = kind == Kind::object ? parent.members[choose(parent.member_count)] : parent;
      std::string key = kind == Kind::map ? name() : below.name;
      if (contains(used, key) && kind == Kind::object) continue;
      while (contains(used, key) && kind == Kind::map) key += std::to_string(i);
      put(used.empty() ? "" : ",");
      used.push_back(key);
      if (!array) put('"' + key + "\":");
      add(below, kind == Kind::object ? below.kind : below.element);
    }
    put(array ? "]" : "}");
  }

  void add(const SchemaKey &key, Kind kind) {
    switch (kind) {
      case Kind::string:
        return add_text(key);
      case Kind::reference:
        return add_reference();
      case Kind::boolean:
        return put(choose(2) == 0 ? "true" : "false");
      case Kind::integer:
        return add_integer();
      case Kind::number:
        return put(numbers[choose(numbers.size())]);
      case Kind::duration:
        return add_duration();
      default:
        return add_children(key, kind);
    }
  }

  std::pair<std::string, Variants> fact() {
    std::string key;
    for (char c : fact_keys[choose(fact_keys.size())]) key += c == '*' ? name() : std::string(1, c);
    std::string value = text(false);
    return {key, {value, tame(value)}};
  }
};

}  // namespace

Case generate(const uint8_t *bytes, size_t size) {
  Walk walk{bytes, size};
  Case made{.options = static_cast<unsigned>(walk.choose(256)), .document = {}, .facts = {}};
  size_t facts = walk.choose(64);
  for (size_t i = 0; i < facts && walk.left > 0; i++) made.facts.push_back(walk.fact());
  walk.add(schema, schema.kind);
  made.document = std::move(walk.out);
  return made;
}
