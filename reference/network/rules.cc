// Rules about single settings.
#include "network/rules.h"

#include <arpa/inet.h>

#include <cctype>
#include <charconv>
#include <cstring>
#include <string>
#include <string_view>

#include "config/report.h"

namespace {

bool is_address(int family, std::string_view text) {
  unsigned char address[sizeof(in6_addr)];
  return inet_pton(family, std::string(text).c_str(), address) == 1;
}

bool is_network(int family, std::string_view text, bool needs_length) {
  const size_t slash = text.find('/');
  if (!is_address(family, text.substr(0, slash))) return false;
  if (slash == std::string_view::npos) return !needs_length;
  const std::string_view length = text.substr(slash + 1);
  int bits = -1;
  const auto [end, error] = std::from_chars(length.begin(), length.end(), bits);
  return error == std::errc() && end == length.end() && bits >= 0 && bits <= (family == AF_INET ? 32 : 128);
}

bool is_masked(std::string_view text) {
  const size_t slash = text.find('/');
  if (slash == std::string_view::npos) return false;
  return is_network(AF_INET, text, true) ||
         (is_address(AF_INET, text.substr(0, slash)) && is_address(AF_INET, text.substr(slash + 1)));
}

bool is_hexadecimal(const char *text) {
  size_t digits = 0;
  while (isxdigit(static_cast<unsigned char>(text[digits])) != 0) ++digits;
  return text[digits] == '\0';
}

bool is_server(const char *text) {
  const size_t length = strcspn(text, "#@%");
  if (length == 0) return strcmp(text, "#") == 0;
  const std::string_view address(text, length);
  return is_address(AF_INET, address) || is_address(AF_INET6, address);
}

bool is_mac(std::string_view text) {
  if (text.size() != 17) return false;
  for (size_t i = 0; i < text.size(); ++i) {
    const bool separator = text[i] == ':' || text[i] == '-';
    if (i % 3 == 2 ? !separator : isxdigit(static_cast<unsigned char>(text[i])) == 0) return false;
  }
  return true;
}

bool is_entry(const ConfigNode *node, const char *map, const char *key) {
  return config_object_get(config_object(config_node_get_root(node), map), key) != nullptr;
}

bool passes(const ConfigNode *node, const Rule &rule, const char *text) {
  switch (rule.test) {
    case Test::word:
      return is_word_of(text, rule.argument);
    case Test::ipv4:
      return is_address(AF_INET, text);
    case Test::address:
      return is_address(AF_INET, text) || is_address(AF_INET6, text);
    case Test::ipv4_network:
      return is_network(AF_INET, text, true);
    case Test::ipv6_network:
      return is_network(AF_INET6, text, true);
    case Test::ipv4_masked:
      return is_masked(text);
    case Test::destination:
      return is_network(AF_INET, text, false);
    case Test::network:
      return is_network(AF_INET, text, false) || is_network(AF_INET6, text, false);
    case Test::mac:
      return is_mac(text);
    case Test::hexadecimal:
      return is_hexadecimal(text);
    case Test::server:
      return is_server(text);
    case Test::entry:
      return is_entry(node, rule.argument, text);
    case Test::without:
      return strpbrk(text, rule.argument) == nullptr;
    default:
      return true;
  }
}

// "'VALUE' is not ..." of the tests that show the value.
const char *expectation(Test test) {
  switch (test) {
    case Test::word:
      return "one of: ";
    case Test::ipv4:
      return "an IPv4 address";
    case Test::address:
      return "an address";
    case Test::ipv4_network:
      return "an IPv4 address with a prefix length";
    case Test::ipv6_network:
      return "an IPv6 address with a prefix length";
    case Test::ipv4_masked:
      return "an IPv4 address with a mask";
    case Test::destination:
      return "an IPv4 address or network";
    case Test::network:
      return "an address or network";
    case Test::mac:
      return "a MAC address";
    case Test::hexadecimal:
      return "a hexadecimal number";
    case Test::server:
      return "the address of a DNS server";
    case Test::entry:
      return "an entry of ";
    default:
      return "";
  }
}

void report_text(const ConfigNode *node, const Rule &rule, const char *text) {
  if (rule.test == Test::without) {
    config_report(node, Grade::questionable, "the value holds a character that its file has no way to write (%s)",
                  rule.argument);
    return;
  }
  if (rule.secret) {
    config_report(node, Grade::questionable, "the value is not %s", expectation(rule.test));
    return;
  }
  config_report(node, Grade::questionable, "'%s' is not %s%s", text, expectation(rule.test), rule.argument);
}

void report_unset(const ConfigNode *entry, const char *path) {
  config_report(written(entry, path), Grade::questionable, "%s is not set", path);
}

void check_number(const ConfigNode *entry, const Rule &rule) {
  const int32_t number =
      rule.test == Test::seconds ? config_get_duration(entry, rule.path) : config_get_int(entry, rule.path);
  if ((number >= rule.low && number <= rule.high) || (rule.optional && number == 0)) return;
  const ConfigNode *value = config_lookup(entry, rule.path);
  if (value == nullptr)
    report_unset(entry, rule.path);
  else if (rule.high == INT_MAX)
    config_report(value, Grade::questionable, "%d is less than %d", number, rule.low);
  else
    config_report(value, Grade::questionable, "%d is not in the range %d to %d", number, rule.low, rule.high);
}

void check_rule(const ConfigNode *entry, const Rule &rule) {
  if (rule.test == Test::number || rule.test == Test::seconds) {
    check_number(entry, rule);
    return;
  }
  if (rule.test == Test::texts) {
    if (config_array_count(config_array(entry, rule.path)) == 0) report_unset(entry, rule.path);
    check_texts(entry, rule.path, ::rule("", Test::filled));
    return;
  }
  const char *text = config_get_string(entry, rule.path);
  if (text == nullptr || *text == '\0') {
    if (!rule.optional && rule.test != Test::without) report_unset(entry, rule.path);
    return;
  }
  if (!passes(entry, rule, text)) report_text(config_lookup(entry, rule.path), rule, text);
}

}  // namespace

const ConfigNode *written(const ConfigNode *entry, const char *path) {
  std::string rest = path;
  for (;;) {
    const ConfigNode *node = config_lookup(entry, rest.c_str());
    if (node != nullptr || rest.empty()) return node != nullptr ? node : entry;
    const size_t dot = rest.rfind('.');
    rest.resize(dot == std::string::npos ? 0 : dot);
  }
}

bool is_word_of(const char *text, const char *words) {
  const size_t length = strlen(text);
  for (const char *word = words; *word != '\0'; word += strspn(word, " ")) {
    const size_t word_length = strcspn(word, " ");
    if (word_length == length && strncmp(word, text, length) == 0) return true;
    word += word_length;
  }
  return false;
}

bool text_equals(const ConfigNode *entry, const char *path, const char *text) {
  const char *value = config_get_string(entry, path);
  return value != nullptr && strcmp(value, text) == 0;
}

void check_rules(const ConfigNode *entry, const Rule *rules) {
  for (; rules->test != Test::end; ++rules) check_rule(entry, *rules);
}

void check_variants(const ConfigNode *entry, const char *path, const Variant *variants) {
  for (; variants->text != nullptr; ++variants)
    if (text_equals(entry, path, variants->text)) check_rules(entry, variants->rules);
}

void check_each(const ConfigNode *node, const char *path, const Rule *rules) {
  const auto check = [rules](const ConfigNode *entry) { check_rules(entry, rules); };
  if (const ConfigNode *array = config_array(node, path); array != nullptr)
    for_each_element(array, check);
  else
    for_each_member(config_object(node, path), check);
}

void check_texts(const ConfigNode *node, const char *path, const Rule &rule) {
  for_each_element(config_array(node, path), [&rule](const ConfigNode *element) {
    const char *text = config_string_get(element);
    if (text == nullptr || *text == '\0')
      config_report(element, Grade::questionable, "the text is empty");
    else if (!passes(element, rule, text))
      report_text(element, rule, text);
  });
}
