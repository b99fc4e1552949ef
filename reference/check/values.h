// Rules about single settings: the form that a value must have, so that the daemon that gets it can use it.
#ifndef TESSERA_REFERENCE_CHECK_VALUES_H
#define TESSERA_REFERENCE_CHECK_VALUES_H

#include <climits>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "config/report.h"
#include "platform/config.h"
#include "platform/ranges.h"
#include "util/strings.h"

enum class Test : uint8_t {
  filled,        // any string but ""
  word,          // one of the words of `argument`
  number,        // an integer from `low` to `high`
  in_range,      // an integer of the range that its key has
  seconds,       // a duration from `low` to `high` seconds
  ipv4,          // an address
  address,       // of either family
  ipv4_network,  // an address and a prefix length
  ipv6_network,
  ipv4_masked,     // an IPv4 address and a mask or prefix length
  destination,     // IPv4, the prefix length may be missing
  network,         // of either family, the prefix length may be missing
  mac,             // six bytes in hexadecimal, ":" or "-" between them
  hexadecimal,     // digits only
  server,          // a DNS server: an address, "#" and a port, "@" and an interface; "#" for the default servers
  loose_server,    // the same, or a shorter form of an IPv4 address
  entry,           // the key of an entry, in the map that the schema gives for the setting
  pem,             // a PEM string whose label ends with `argument`; `low` is 1 when more may follow the END line
  without,         // free of the characters of `argument`
  quoted,          // free of them, or in double quotes as a whole
  closed,          // closes its double quotes, as dnsmasq reads it
  ports,           // a port, or two with "-" between them; words of other characters are not checked
  starter,         // closes its double quotes and has no "=" outside of them, as the IPsec starter reads it
  without_string,  // does not hold the string `argument`
  not_first,       // does not start with a character of `argument`
  not_last,        // does not end with one
  host_name,       // a label of a host name
  domain,          // names between "," or "/" that dnsmasq takes: ASCII, up to 63 bytes between dots
  mac_line,        // accepted by dnsmasq in place of a hardware address
  client,          // accepted by dnsmasq as a client identifier
  reservation,     // accepted by dnsmasq in a reservation
  at_most,         // up to `high` bytes
  line,            // the line made from the entry has up to `high` bytes; `argument` is its form
  strings,         // a list that holds at least one string, and no string that is ""
};

// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding): in the order in which the rows are written
struct ValueRule {
  const char *path;  // relative to the entry that is checked; "" is the entry itself
  Test test;
  bool optional;  // "", or 0, passes as well
  const char *argument;
  int32_t low;
  int32_t high;
  bool has_own = false;  // a setting that breaks this row breaks the rule `own`, not the rule of the table
  Rule own = Rule::unreadable;
};
using ValueRules = std::span<const ValueRule>;

// The longest lines, in bytes, that the reader of each file reads as one. It reads the rest as a line of its own, which
// a value could use to inject any setting.
enum LongestLine : int32_t { dnsmasq_line = 1024, pam_line = 1023, radius_line = 1023, openvpn_line = 254 };

// Characters that end a value without quotes in ipsec.conf.
#define IPSEC_WORD_ENDS " \"#="

constexpr ValueRule rule(const char *path, Test test, const char *argument = "") {
  return {path, test, false, argument, 0, 0};
}
constexpr ValueRule no_quote(const char *path) {
  return rule(path, Test::without, "\"");
}
constexpr ValueRule one_of(const char *path, const char *words) {
  return {path, Test::word, false, words, 0, 0};
}
constexpr ValueRule range(const char *path, int32_t low, int32_t high) {
  return {path, Test::number, false, "", low, high};
}
// The range that the schema gives for the key.
constexpr ValueRule in_range(const char *path) {
  return rule(path, Test::in_range);
}
constexpr ValueRule at_least(const char *path, int32_t low) {
  return {path, Test::seconds, false, "", low, INT_MAX};
}
constexpr ValueRule at_most(const char *path, int32_t bytes) {
  return {path, Test::at_most, false, "", 0, bytes};
}
// A line made from an entry, with at most `most` bytes. In `form`, "{PATH}" stands for the string or integer at the
// path, "{PATH#COUNT}" for all strings of an array and COUNT more bytes for each; in "{PATH+CHARACTERS}" each of the
// characters takes two bytes. The line holds up to `more` bytes besides.
constexpr ValueRule line(const char *form, LongestLine most, int32_t more = 0) {
  return {"", Test::line, false, form, more, most};
}
constexpr ValueRule pem_and_more(const char *path, const char *label) {
  return {path, Test::pem, false, label, 1, 0};
}
constexpr ValueRule optional(ValueRule rule) {
  rule.optional = true;
  return rule;
}

// A row that belongs to another rule than the rest of its table.
constexpr ValueRule as(Rule own, ValueRule rule) {
  rule.has_own = true;
  rule.own = own;
  return rule;
}

// A string of several lines in the UCI file, where a value has only one line: `\n` stands for a line end there.
constexpr ValueRule one_line(const char *path) {
  return rule(path, Test::without_string, "\\n");
}

// Reports every setting of `entry` that breaks a row of the table, as a finding of the rule `broken`. If a setting
// breaks several rows in succession, only the first one is reported.
void check_rules(const ConfigNode *entry, ValueRules rules, Rule broken);

// Rules that apply when a setting is this string.
struct Variant {
  const char *string;
  ValueRules rules;
};

// Checks `entry` with the rules of the variant for the string at `path`; with none when there is no such variant.
void check_variants(const ConfigNode *entry, const char *path, std::span<const Variant> variants, Rule broken);

// Checks each element of the array of objects, or each entry of the map, at `path`.
void check_each(const ConfigNode *node, const char *path, ValueRules rules, Rule broken);

// Checks each string of the array at `path`, and reports the first row that it breaks. The paths in the rows are
// ignored.
void check_strings(const ConfigNode *node, const char *path, ValueRules rules, Rule broken);

// Reports that the value at `path` is not set or empty, at the nearest node above it that is written.
void report_unset(const ConfigNode *entry, const char *path, Rule broken, const char *cure);

// The paths, of a list separated by spaces, at which the entry has no value; with `or_empty` also those where it has
// "". They are joined by ", " and followed by " is" or " are". "" when there are none.
std::string unset_keys(const ConfigNode *entry, std::string_view paths, bool or_empty);

// True when the value at `path` is that string; a missing string reads as "".
bool string_equals(const ConfigNode *entry, const char *path, const char *string);

// The elements of the array, or the entries of the map, at `path`.
inline auto entries_at(const ConfigNode *node, const char *path) {
  const ConfigNode *array = config_array(node, path);
  return array != nullptr ? elements(array) : members(config_object(node, path));
}

#endif
