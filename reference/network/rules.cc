// Rules about single settings.
#include "network/rules.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstring>
#include <string>
#include <string_view>

#include "config/characters.h"
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
  if (strpbrk(text + length, " /,\"") != nullptr) return false;
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

bool is_quoted(std::string_view text) {
  return text.size() > 2 && text.front() == '"' && text.find_first_of("\\\"", 1) == text.size() - 1;
}

// How the tests of texts decide, and how their messages end.
struct TextTest {
  Test test;
  const char *expectation;  // "'VALUE' is not ..."
  bool (*passes)(const ConfigNode *node, const Rule &rule, const char *text);
};

constexpr TextTest text_tests[] = {
    {Test::word, "one of: ",
     [](const ConfigNode *, const Rule &rule, const char *text) { return is_word_of(text, rule.argument); }},
    {Test::ipv4, "an IPv4 address",
     [](const ConfigNode *, const Rule &, const char *text) { return is_address(AF_INET, text); }},
    {Test::address, "an address",
     [](const ConfigNode *, const Rule &, const char *text) {
       return is_address(AF_INET, text) || is_address(AF_INET6, text);
     }},
    {Test::ipv4_network, "an IPv4 address with a prefix length",
     [](const ConfigNode *, const Rule &, const char *text) { return is_network(AF_INET, text, true); }},
    {Test::ipv6_network, "an IPv6 address with a prefix length",
     [](const ConfigNode *, const Rule &, const char *text) { return is_network(AF_INET6, text, true); }},
    {Test::ipv4_masked, "an IPv4 address with a mask",
     [](const ConfigNode *, const Rule &, const char *text) { return is_masked(text); }},
    {Test::destination, "an IPv4 address or network",
     [](const ConfigNode *, const Rule &, const char *text) { return is_network(AF_INET, text, false); }},
    {Test::network, "an address or network",
     [](const ConfigNode *, const Rule &, const char *text) {
       return is_network(AF_INET, text, false) || is_network(AF_INET6, text, false);
     }},
    {Test::mac, "a MAC address", [](const ConfigNode *, const Rule &, const char *text) { return is_mac(text); }},
    {Test::hexadecimal, "a hexadecimal number",
     [](const ConfigNode *, const Rule &, const char *text) { return is_hexadecimal(text); }},
    {Test::server, "the address of a DNS server",
     [](const ConfigNode *, const Rule &, const char *text) { return is_server(text); }},
    {Test::entry, "an entry of ",
     [](const ConfigNode *node, const Rule &rule, const char *text) { return is_entry(node, rule.argument, text); }},
    {Test::without, "",
     [](const ConfigNode *, const Rule &rule, const char *text) { return strpbrk(text, rule.argument) == nullptr; }},
    {Test::quoted, "",
     [](const ConfigNode *, const Rule &rule, const char *text) {
       return strpbrk(text, rule.argument) == nullptr || is_quoted(text);
     }},
    {Test::without_text, "",
     [](const ConfigNode *, const Rule &rule, const char *text) { return strstr(text, rule.argument) == nullptr; }},
    {Test::not_first, "",
     [](const ConfigNode *, const Rule &rule, const char *text) { return strchr(rule.argument, *text) == nullptr; }},
    {Test::not_last, "",
     [](const ConfigNode *, const Rule &rule, const char *text) {
       return strchr(rule.argument, text[strlen(text) - 1]) == nullptr;
     }},
    {Test::at_most, "",
     [](const ConfigNode *, const Rule &rule, const char *text) {
       return strlen(text) <= static_cast<size_t>(rule.high);
     }},
    {Test::end, "", [](const ConfigNode *, const Rule &, const char *) { return true; }},
};

// The row of that test; the last one, which passes every text, for tests that look at nothing more.
const TextTest &text_test(Test test) {
  const TextTest *row = text_tests;
  while (row->test != test && row->test != Test::end) ++row;
  return *row;
}

bool passes(const ConfigNode *node, const Rule &rule, const char *text) {
  return text_test(rule.test).passes(node, rule, text);
}

std::string character_name(char character) {
  return character == ' ' ? "a blank" : std::string("'") + character + "'";
}

// What is wrong with a text that holds what its file cannot.
std::string flaw(const Rule &rule, const char *text) {
  const std::string_view writable = ", which its file has no way to write";
  switch (rule.test) {
    case Test::without:
      return "holds " + character_name(*strpbrk(text, rule.argument)).append(writable);
    case Test::quoted:
      return "holds " + character_name(*strpbrk(text, rule.argument)) +
             ", which its file takes in double quotes around the whole value only";
    case Test::without_text:
      return std::string("holds '").append(rule.argument).append("'").append(writable);
    case Test::not_first:
      return "starts with " + character_name(*text).append(writable);
    case Test::not_last:
      return "ends with " + character_name(text[strlen(text) - 1]).append(writable);
    case Test::at_most:
      return "has " + std::to_string(strlen(text)) + " bytes, and its reader takes " + std::to_string(rule.high);
    default:
      return std::string("is not ").append(text_test(rule.test).expectation).append(rule.argument);
  }
}

void report_text(const ConfigNode *node, const Rule &rule, const char *text) {
  const std::string shown = rule.secret ? "the value" : "'" + printable(text) + "'";
  config_report(node, Grade::questionable, "%s %s", shown.c_str(), flaw(rule, text).c_str());
}

// A place in the form of a line: a path, and how the text there counts.
struct Field {
  std::string path;
  size_t more = 0;  // bytes for each element of an array
  std::string doubled;
};

Field read_field(std::string_view text) {
  Field field;
  const size_t plus = std::min(text.find('+'), text.size());
  const size_t count = text.substr(0, plus).find('#');
  field.doubled = text.substr(std::min(plus + 1, text.size()));
  if (count != std::string_view::npos) std::from_chars(text.begin() + count + 1, text.begin() + plus, field.more);
  field.path = text.substr(0, std::min(count, plus));
  return field;
}

size_t value_size(const ConfigNode *value, const Field &field) {
  if (const char *text = config_string_get(value); text != nullptr) {
    size_t size = 0;
    for (; *text != '\0'; ++text) size += field.doubled.find(*text) != std::string::npos ? 2 : 1;
    return size;
  }
  size_t size = 0;
  for_each_element(value, [&](const ConfigNode *element) { size += field.more + value_size(element, field); });
  for_each_member(value, [&](const ConfigNode *member) { size += value_size(member, field); });
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

void check_line(const ConfigNode *entry, const Rule &rule) {
  const size_t size = line_size(entry, rule.argument) + static_cast<size_t>(rule.low);
  if (size <= static_cast<size_t>(rule.high)) return;
  config_report(
      entry, Grade::questionable,
      "the line of these values has up to %zu bytes, its reader takes %d: the rest would be a line of its own", size,
      rule.high);
}

// The nearest node above the value at `path` that is written; `length` is how much of the path leads there.
const ConfigNode *nearest(const ConfigNode *entry, const char *path, size_t &length) {
  std::string rest = path;
  for (;;) {
    const ConfigNode *node = config_lookup(entry, rest.c_str());
    length = rest.size();
    if (node != nullptr || rest.empty()) return node != nullptr ? node : entry;
    const size_t dot = rest.rfind('.');
    rest.resize(dot == std::string::npos ? 0 : dot);
  }
}

void report_unset(const ConfigNode *entry, const char *path) {
  size_t length = 0;
  const ConfigNode *node = nearest(entry, path, length);
  if (path[length] == '\0')
    config_report(node, Grade::questionable, "the value is empty");
  else
    config_report(node, Grade::questionable, "%s is not set", path + length + (length > 0 ? 1 : 0));
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
  if (rule.test == Test::line) {
    check_line(entry, rule);
    return;
  }
  const char *text = config_get_string(entry, rule.path);
  if (text == nullptr || *text == '\0') {
    if (!rule.optional && rule.test < Test::without) report_unset(entry, rule.path);
    return;
  }
  if (!passes(entry, rule, text)) report_text(config_lookup(entry, rule.path), rule, text);
}

}  // namespace

const ConfigNode *written(const ConfigNode *entry, const char *path) {
  size_t length = 0;
  return nearest(entry, path, length);
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
    if (text == nullptr || *text == '\0') {
      if (!rule.optional) config_report(element, Grade::questionable, "the value is empty");
    } else if (!passes(element, rule, text)) {
      report_text(element, rule, text);
    }
  });
}
