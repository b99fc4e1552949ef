#include "check/values.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstring>
#include <string>
#include <string_view>

#include "check/findings.h"
#include "check/pem.h"
#include "check/quotes.h"
#include "config/characters.h"
#include "config/document.h"
#include "platform/ranges.h"

namespace {

bool is_address(int family, std::string_view string) {
  unsigned char address[sizeof(in6_addr)];
  return inet_pton(family, std::string(string).c_str(), address) == 1;
}

bool is_network(int family, std::string_view string, bool needs_length) {
  const size_t slash = string.find('/');
  if (!is_address(family, string.substr(0, slash))) return false;
  if (slash == std::string_view::npos) return !needs_length;
  const std::string_view length = string.substr(slash + 1);
  int bits = -1;
  const auto [end, error] = std::from_chars(length.begin(), length.end(), bits);
  return error == std::errc() && end == length.end() && bits >= 0 && bits <= (family == AF_INET ? 32 : 128);
}

bool is_masked(std::string_view string) {
  const size_t slash = string.find('/');
  if (slash == std::string_view::npos) return false;
  return is_network(AF_INET, string, true) ||
         (is_address(AF_INET, string.substr(0, slash)) && is_address(AF_INET, string.substr(slash + 1)));
}

bool is_hexadecimal(const char *string) {
  size_t digits = 0;
  while (isxdigit(static_cast<unsigned char>(string[digits])) != 0) digits++;
  return string[digits] == '\0';
}

// True for a port up to 65535. Also true for "", because "#" needs no port after it.
bool is_port(std::string_view string) {
  uint16_t port = 0;
  const auto [end, error] = std::from_chars(string.begin(), string.end(), port);
  return string.empty() || (error == std::errc() && end == string.end());
}

// True for a port, two ports with '-' between them, and any word that holds other characters.
bool is_port_range(std::string_view string) {
  if (string.find_first_not_of("0123456789-") != std::string_view::npos) return true;
  const std::vector<std::string_view> ports = split(string, '-');
  return ports.size() <= 2 &&
         std::all_of(ports.begin(), ports.end(), [](std::string_view port) { return !port.empty() && is_port(port); });
}

// True when the port after "#" is valid or missing. `part` is the address of a DNS server, or the interface after "@".
bool has_good_port(std::string_view part) {
  const size_t mark = part.find('#');
  return mark == std::string_view::npos || is_port(part.substr(mark + 1));
}

// `loose` also accepts short forms, as dnsmasq does: it reads "10.1" as 10.0.0.1.
bool is_server(const char *string, bool loose) {
  if (strcmp(string, "#") == 0) return true;
  const size_t length = strcspn(string, "#@%");
  if (strpbrk(string + length, " /,\"") != nullptr) return false;
  const std::vector<std::string_view> parts = split(string, '@');
  if (parts.size() > 2 || !std::all_of(parts.begin(), parts.end(), has_good_port)) return false;
  const std::string address(string, length);
  in_addr parsed;
  return is_address(AF_INET, address) || is_address(AF_INET6, address) ||
         (loose && address.find(' ') == std::string::npos && inet_aton(address.c_str(), &parsed) != 0);
}

bool is_mac(std::string_view string) {
  if (string.size() != 17) return false;
  for (size_t i = 0; i < string.size(); i++) {
    const bool separator = string[i] == ':' || string[i] == '-';
    if (i % 3 == 2 ? !separator : isxdigit(static_cast<unsigned char>(string[i])) == 0) return false;
  }
  return true;
}

// True when dnsmasq accepts the address in the form in which the mapper writes it, with ":" for every "-".
bool is_mac_line(std::string mac) {
  std::replace(mac.begin(), mac.end(), '-', ':');
  return is_reservation(mac.c_str());
}

bool is_entry(const ConfigNode *node, const char *map, const char *key) {
  return config_object_get(config_object(config_node_get_root(node), map), key) != nullptr;
}

bool holds_entries(const ConfigNode *node, const char *map) {
  return config_object_first(config_object(config_node_get_root(node), map)) != nullptr;
}

// The row with its map or range, which comes from the schema.
ValueRule completed(const ConfigNode *entry, ValueRule rule) {
  if (rule.test != Test::in_range && rule.test != Test::entry) return rule;
  const SchemaKey &key = *schema_key_at(*entry->key, rule.path);
  if (rule.test == Test::entry) {
    rule.argument = map_of_names(key.names);
    return rule;
  }
  rule.low = key.low;
  rule.high = key.high;
  return rule;
}

bool is_quoted(std::string_view string) {
  return string.size() > 2 && string.front() == '"' && string.find_first_of("\\\"", 1) == string.size() - 1;
}

// A string, the row that it has to pass, and the node that holds it.
struct Value {
  const ConfigNode *node;
  const ValueRule &rule;
  const char *string;
};

std::string character_name(char character) {
  return character == ' ' ? "a space" : std::string("'") + character + "'";
}

// The first character that the row does not allow.
std::string refused_character(const Value &v) {
  return character_name(*strpbrk(v.string, v.rule.argument));
}

std::string cure_of_refused(const Value &v) {
  return "remove " + refused_character(v);
}

std::string cure_of_end(const Value & /*v*/) {
  return "begin and end with another character";
}

// How a test checks a string, and words for its message. A row without an expectation has a flaw and a cure.
struct StringTest {
  Test test;
  bool takes_empty;         // a setting that is not set passes
  const char *expectation;  // completes "'VALUE' is not ..." and "write ..."
  const char *example;      // completes "such as ..."; "" for no example
  bool (*passes)(const Value &v);
  std::string (*flaw)(const Value &v) = nullptr;  // completes "'VALUE' ..."
  std::string (*cure)(const Value &v) = nullptr;  // what to write instead
};

constexpr char unwritable[] = ", which cannot be written in its file";

constexpr StringTest string_tests[] = {
    {Test::filled, false, "", "", [](const Value &) { return true; }, nullptr,
     [](const Value &) -> std::string { return "set it"; }},
    {Test::word, false, "one of: ", "", [](const Value &v) { return is_word_of(v.string, v.rule.argument); }},
    {Test::ipv4, false, "an IPv4 address", "192.168.1.10",
     [](const Value &v) { return is_address(AF_INET, v.string); }},
    {Test::address, false, "an address", "192.168.1.10 or fd00::1",
     [](const Value &v) { return is_address(AF_INET, v.string) || is_address(AF_INET6, v.string); }},
    {Test::ipv4_network, false, "an IPv4 address with a prefix length", "192.168.1.1/24",
     [](const Value &v) { return is_network(AF_INET, v.string, true); }},
    {Test::ipv6_network, false, "an IPv6 address with a prefix length", "fd00::1/64",
     [](const Value &v) { return is_network(AF_INET6, v.string, true); }},
    {Test::ipv4_masked, false, "an IPv4 address with a mask", "192.168.1.1/24",
     [](const Value &v) { return is_masked(v.string); }},
    {Test::destination, false, "an IPv4 address or network", "10.0.0.0/8",
     [](const Value &v) { return is_network(AF_INET, v.string, false); }},
    {Test::network, false, "an address or network", "10.0.0.0/8",
     [](const Value &v) { return is_network(AF_INET, v.string, false) || is_network(AF_INET6, v.string, false); }},
    {Test::mac, false, "a MAC address", "00:11:22:33:44:55", [](const Value &v) { return is_mac(v.string); }},
    {Test::hexadecimal, false, "a hexadecimal number", "0a1b", [](const Value &v) { return is_hexadecimal(v.string); }},
    {Test::server, false, "the address of a DNS server", "192.168.1.1#53",
     [](const Value &v) { return is_server(v.string, false); }},
    {Test::loose_server, false, "the address of a DNS server", "192.168.1.1#53",
     [](const Value &v) { return is_server(v.string, true); }},
    {Test::entry, false, "an entry of ", "",
     [](const Value &v) { return is_entry(v.node, v.rule.argument, v.string); }},
    {Test::pem, false, "PEM with the label ", "",
     [](const Value &v) { return is_pem(v.string, v.rule.argument, v.rule.low != 0); }},
    {Test::host_name, true, "a host name of letters, digits, '-' and '_'", "",
     [](const Value &v) { return is_host_name(v.string); }},
    {Test::domain, true, "a name of ASCII characters, up to 63 between dots", "",
     [](const Value &v) { return is_domain(v.string); }},
    {Test::mac_line, true, "a MAC address", "00:11:22:33:44:55", [](const Value &v) { return is_mac_line(v.string); }},
    {Test::client, true, "bytes in hexadecimal", "", [](const Value &v) { return is_client(v.string); }},
    {Test::reservation, true, "a host name or an address", "", [](const Value &v) { return is_reservation(v.string); }},
    {Test::closed, true, "a string whose double quotes are closed", "",
     [](const Value &v) { return is_closed(v.string); }},
    {Test::ports, true, "a port or a range of ports up to 65535", "80 or 5000-5010",
     [](const Value &v) { return is_port_range(v.string); }},
    {Test::without, true, "", "", [](const Value &v) { return strpbrk(v.string, v.rule.argument) == nullptr; },
     [](const Value &v) { return "holds " + refused_character(v) + unwritable; }, cure_of_refused},
    {Test::quoted, true, "", "",
     [](const Value &v) { return strpbrk(v.string, v.rule.argument) == nullptr || is_quoted(v.string); },
     [](const Value &v) {
       return "holds " + refused_character(v) + ", which its file accepts only in double quotes around the whole value";
     },
     cure_of_refused},
    {Test::starter, true, "", "", [](const Value &v) { return starter_refusal(v.string) == '\0'; },
     [](const Value &v) {
       const char refused = starter_refusal(v.string);
       return "holds " + character_name(refused) +
              (refused == '=' ? " outside of double quotes" : " without a closing one");
     },
     [](const Value &v) {
       return "remove " + character_name(starter_refusal(v.string)) + ", or put the value in double quotes";
     }},
    {Test::without_string, true, "", "", [](const Value &v) { return strstr(v.string, v.rule.argument) == nullptr; },
     [](const Value &v) { return std::string("holds '") + v.rule.argument + "'" + unwritable; },
     [](const Value &v) { return std::string("remove '") + v.rule.argument + "'"; }},
    {Test::not_first, true, "", "", [](const Value &v) { return strchr(v.rule.argument, *v.string) == nullptr; },
     [](const Value &v) { return "starts with " + character_name(*v.string) + unwritable; }, cure_of_end},
    {Test::not_last, true, "", "",
     [](const Value &v) { return strchr(v.rule.argument, v.string[strlen(v.string) - 1]) == nullptr; },
     [](const Value &v) { return "ends with " + character_name(v.string[strlen(v.string) - 1]) + unwritable; },
     cure_of_end},
    {Test::at_most, true, "", "", [](const Value &v) { return strlen(v.string) <= static_cast<size_t>(v.rule.high); },
     [](const Value &v) {
       return "has " + std::to_string(strlen(v.string)) + " bytes, and its reader accepts " +
              std::to_string(v.rule.high);
     },
     [](const Value &v) { return "write at most " + std::to_string(v.rule.high) + " bytes"; }},
};

// The row of that test. A test without a row accepts every string, as the first row does.
const StringTest &string_test(Test test) {
  for (const StringTest &row : string_tests)
    if (row.test == test) return row;
  return string_tests[0];
}

// What is wrong with a string, to follow "'VALUE'" in the message.
std::string flaw(const Value &v) {
  const StringTest &row = string_test(v.rule.test);
  if (row.flaw != nullptr) return row.flaw(v);
  return std::string("is not ").append(row.expectation).append(v.rule.argument);
}

// What to write instead of such a string.
std::string cure_of(const Value &v) {
  const StringTest &row = string_test(v.rule.test);
  if (row.cure != nullptr) return row.cure(v);
  std::string cure = std::string("write ").append(row.expectation).append(v.rule.argument);
  return *row.example == '\0' ? cure : cure.append(" such as ").append(row.example);
}

Rule broken_by(const ValueRule &rule, Rule broken) {
  return rule.has_own ? rule.own : broken;
}

void report_string(const Value &value, Rule broken) {
  const auto &[node, rule, string] = value;
  // Secrets are not shown to people, and strings of several lines are too long for a message.
  const bool hidden = node->key->secret || node->key->many_lines;
  const std::string shown = hidden ? "the value" : "'" + printable(string) + "'";
  std::string cure;
  if (rule.test == Test::entry) cure = cure_of_name(config_object(config_node_get_root(node), rule.argument), string);
  if (cure.empty()) cure = cure_of(value);
  report(node, broken_by(rule, broken), {shown + " " + flaw(value), cure});
}

// A field "{PATH}", "{PATH#COUNT}" or "{PATH+CHARACTERS}" in the form of a line, see `line`.
struct Field {
  std::string path;
  size_t more = 0;      // bytes besides each element of an array
  std::string doubled;  // characters that take two bytes
};

Field read_field(std::string_view string) {
  Field field;
  const size_t plus = std::min(string.find('+'), string.size());
  const size_t count = string.substr(0, plus).find('#');
  field.doubled = string.substr(std::min(plus + 1, string.size()));
  if (count != std::string_view::npos) std::from_chars(string.begin() + count + 1, string.begin() + plus, field.more);
  field.path = string.substr(0, std::min(count, plus));
  return field;
}

size_t value_size(const ConfigNode *value, const Field &field) {
  if (const char *string = config_string_get(value); string != nullptr) {
    size_t size = 0;
    for (; *string != '\0'; string++) size += field.doubled.find(*string) != std::string::npos ? 2 : 1;
    return size;
  }
  size_t size = 0;
  for (const ConfigNode *element : elements(value)) size += field.more + value_size(element, field);
  for (const ConfigNode *member : members(value)) size += value_size(member, field);
  return size;
}

size_t line_size(const ConfigNode *entry, std::string_view form) {
  size_t size = 0;
  while (!form.empty()) {
    const size_t open = std::min(form.find('{'), form.size());
    size += open;
    form.remove_prefix(open);
    if (form.empty()) break;
    const size_t close = form.find('}');
    const Field field = read_field(form.substr(1, close - 1));
    const ConfigNode *value = config_lookup(entry, field.path.c_str());
    const int32_t number = config_get_int(entry, field.path.c_str());
    size += number != 0 ? std::to_string(number).size() : value_size(value, field);
    form.remove_prefix(close + 1);
  }
  return size;
}

// Each of the following checks returns true, and reports a finding, when the setting breaks the row.
bool check_line(const ConfigNode *entry, const ValueRule &rule, Rule broken) {
  const size_t size = line_size(entry, rule.argument) + static_cast<size_t>(rule.low);
  if (size <= static_cast<size_t>(rule.high)) return false;
  report(entry, broken_by(rule, broken),
         {"the line of these values has up to " + std::to_string(size) + " bytes, its reader accepts " +
              std::to_string(rule.high) + ": the rest would be a line of its own",
          "write shorter values"});
  return true;
}

std::string range_cure(const ValueRule &rule) {
  const std::string low = std::to_string(rule.low);
  if (rule.high == INT_MAX) return "write " + low + " or more";
  return "write a number from " + low + " to " + std::to_string(rule.high);
}

bool check_number(const ConfigNode *entry, const ValueRule &rule, Rule broken) {
  const int32_t number =
      rule.test == Test::seconds ? config_get_duration(entry, rule.path) : config_get_int(entry, rule.path);
  if ((number >= rule.low && number <= rule.high) || (rule.optional && number == 0)) return false;
  const ConfigNode *value = config_lookup(entry, rule.path);
  const std::string cure = range_cure(rule);
  const std::string low = std::to_string(rule.low);
  const std::string bound = rule.high == INT_MAX ? " is less than " + low
                                                 : " is not in the range " + low + " to " + std::to_string(rule.high);
  if (value == nullptr)
    report_unset(entry, rule.path, broken_by(rule, broken), cure.c_str());
  else
    report(value, broken_by(rule, broken), {std::to_string(number) + bound, cure});
  return true;
}

bool check_list(const ConfigNode *entry, const ValueRule &rule, Rule broken) {
  static constexpr ValueRule element_rules[] = {::rule("", Test::filled)};
  check_strings(entry, rule.path, element_rules, broken_by(rule, broken));
  if (config_array_count(config_array(entry, rule.path)) > 0) return false;
  report_unset(entry, rule.path, broken_by(rule, broken), "list at least one");
  return true;
}

bool may_be_unset(const ValueRule &rule) {
  return rule.optional || string_test(rule.test).takes_empty;
}

bool is_unset(const char *string) {
  return string == nullptr || *string == '\0';
}

// Lists the words of the key, if it has any.
std::string cure_of_unset(const ConfigNode *entry, const ValueRule &rule) {
  const SchemaKey *key = schema_key_at(*entry->key, rule.path);
  const bool has_words = rule.test == Test::filled && key != nullptr && key->words != nullptr;
  return has_words ? "write one of: " + std::string(key->words) : cure_of({entry, rule, ""});
}

bool check_string(const ConfigNode *entry, const ValueRule &rule, Rule broken) {
  const char *string = config_get_string(entry, rule.path);
  if (is_unset(string)) {
    if (may_be_unset(rule)) return false;
    report_unset(entry, rule.path, broken_by(rule, broken), cure_of_unset(entry, rule).c_str());
    return true;
  }
  if (string_test(rule.test).passes({entry, rule, string})) return false;
  if (rule.test == Test::entry && !holds_entries(entry, rule.argument))
    report(config_lookup(entry, rule.path), Rule::undeclared_name, {printable(string), rule.argument});
  else
    report_string({config_lookup(entry, rule.path), rule, string}, broken);
  return true;
}

bool check_rule(const ConfigNode *entry, const ValueRule &row, Rule broken) {
  const ValueRule rule = completed(entry, row);
  switch (rule.test) {
    case Test::number:
    case Test::in_range:
    case Test::seconds:
      return check_number(entry, rule, broken);
    case Test::strings:
      return check_list(entry, rule, broken);
    case Test::line:
      return check_line(entry, rule, broken);
    default:
      return check_string(entry, rule, broken);
  }
}

bool check_element(const ConfigNode *element, const ValueRule &row, Rule broken) {
  const ValueRule rule = completed(element, row);
  const char *string = config_string_get(element);
  if (is_unset(string)) {
    if (may_be_unset(rule)) return false;
    report(element, broken_by(rule, broken), {"the value is empty", "write a value or remove it"});
    return true;
  }
  if (string_test(rule.test).passes({element, rule, string})) return false;
  report_string({element, rule, string}, broken);
  return true;
}

}  // namespace

void report_unset(const ConfigNode *entry, const char *path, Rule broken, const char *cure) {
  size_t length = 0;
  const ConfigNode *node = config_nearest(entry, path, &length);
  const char *key = path + length + (length > 0 ? 1 : 0);
  report(node, broken, {path[length] == '\0' ? "the value is empty" : std::string(key) + " is not set", cure});
}

std::string unset_keys(const ConfigNode *entry, std::string_view paths, bool or_empty) {
  std::string keys;
  bool several = false;
  for (const std::string_view view : split(paths, ' ')) {
    const std::string path(view);
    const ConfigNode *value = config_lookup(entry, path.c_str());
    if (value != nullptr && !(or_empty && string_equals(entry, path.c_str(), ""))) continue;
    several = !keys.empty();
    keys.append(keys.empty() ? "" : ", ").append(path);
  }
  return keys.empty() ? keys : keys.append(several ? " are" : " is");
}

bool string_equals(const ConfigNode *entry, const char *path, const char *string) {
  const char *value = config_get_string(entry, path);
  return value != nullptr && strcmp(value, string) == 0;
}

void check_rules(const ConfigNode *entry, ValueRules rules, Rule broken) {
  const char *reported = nullptr;
  for (const ValueRule &rule : rules) {
    if (reported != nullptr && strcmp(reported, rule.path) == 0) continue;
    if (check_rule(entry, rule, broken)) reported = rule.path;
  }
}

void check_variants(const ConfigNode *entry, const char *path, std::span<const Variant> variants, Rule broken) {
  for (const Variant &variant : variants)
    if (string_equals(entry, path, variant.string)) check_rules(entry, variant.rules, broken);
}

void check_each(const ConfigNode *node, const char *path, ValueRules rules, Rule broken) {
  for (const ConfigNode *entry : entries_at(node, path)) check_rules(entry, rules, broken);
}

void check_strings(const ConfigNode *node, const char *path, ValueRules rules, Rule broken) {
  for (const ConfigNode *element : entries_at(node, path)) {
    for (const ValueRule &rule : rules)
      if (check_element(element, rule, broken)) break;
  }
}
