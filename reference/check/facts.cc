// Checks runtime facts against the document that they will be used with.
#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <cctype>
#include <string_view>

#include "check/check.h"
#include "check/findings.h"
#include "config/characters.h"
#include "config/document.h"

namespace {

// The facts that the services read. "{MAP}" stands for the name of an entry of that map, "{family}" for ipv4 or ipv6,
// "{number}" for digits.
constexpr std::string_view known_facts[] = {
    "network.interface.{network.interface}.{family}.ready",
    "network.interface.{network.interface}.{family}.address",
    "network.interface.{network.interface}.{family}.netmask",
    "network.interface.{network.interface}.{family}.passthrough",
    "network.interface.{network.interface}.{family}.up",
    "network.interface.{network.interface}.{family}.gateway",
    "network.interface.{network.interface}.{family}.mtu",
    "network.interface.{network.interface}.{family}.dns.{number}",
    "network.interface.{network.interface}.{family}.dns_domain.{number}",
    "network.interface.{network.interface}.device",
    "network.route.default.metric.{family}.{number}",
    "network.device_map.{number}.device",
    "network.device_map.{number}.path",
    "vpn.ipsec.tunnel.{vpn.ipsec.tunnel}.{family}.ready",
    "vpn.ipsec.tunnel.{vpn.ipsec.tunnel}.skip_peer.active",
    "vpn.ipsec.tunnel.{vpn.ipsec.tunnel}.skip_peer.hostname",
    "vpn.l2tp.config_cookie",
    "vigil.ipsec_{vpn.ipsec.tunnel}.passed",
    "vigil.ipv4_interface_{network.interface}.passed",
    "vigil.ipv6_interface_{network.interface}.passed",
    "system.mac",
    "system.serial",
    "mm.map.interface_idx.{network.interface}",
    "mm.map.interface_number.{network.interface}",
    "mm.map.no_interface_idx.{network.modem}",
    "mm.sh.update.modem.{network.modem}.iface",
    "mm.sh.update.modem.{network.modem}.host",
    "seriald.{serial}.device",
    "hybrid.lanmode",
    "hybrid.device",
    "remote_builtin.speedtest.interface",
};

// The result of comparing a fact with one of these rows.
struct Match {
  bool fits = true;
  std::string_view map;   // of the entry that the fact names; "" for none
  std::string_view name;  // of that entry
  std::string filled;     // the row with the words of the fact in its gaps, for "did you mean"
};

// True for a word that may stand in that gap.
bool fits_gap(std::string_view gap, std::string_view word) {
  if (gap == "family") return word == "ipv4" || word == "ipv6";
  return !word.empty() &&
         (gap != "number" || std::all_of(word.begin(), word.end(), [](unsigned char c) { return isdigit(c) != 0; }));
}

Match match(std::string_view row, std::string_view fact) {
  Match result;
  while (!row.empty() || !fact.empty()) {
    const size_t open = std::min(row.find('{'), row.size());
    const std::string_view fixed = row.substr(0, open);
    result.fits = result.fits && fact.starts_with(fixed);
    result.filled += fixed;
    fact.remove_prefix(std::min(open, fact.size()));
    row.remove_prefix(open);
    if (row.empty()) break;
    const size_t close = row.find('}');
    const std::string_view gap = row.substr(1, close - 1);
    row.remove_prefix(close + 1);
    const std::string_view word = fact.substr(0, fact.find('.'));
    fact.remove_prefix(word.size());
    result.fits = result.fits && fits_gap(gap, word);
    const std::string_view usual = gap == "family" ? "ipv4" : gap == "number" ? "0" : word;
    result.filled += fits_gap(gap, word) ? word : usual;
    if (gap == "family" || gap == "number") continue;
    result.map = gap;
    result.name = word;
  }
  result.fits = result.fits && fact.empty();
  return result;
}

struct Fact {
  std::string name;
  size_t at;  // offset of the name, with its quote, in the file
  std::string value = {};
  bool is_string = false;  // whether the value is one
  unsigned line = 0;
  unsigned column = 0;
};

// The offset of the opening quote of a name whose closing quote is just before `end`.
size_t name_begin(std::string_view content, size_t end) {
  const auto is_escaped = [content](size_t at) {
    size_t slashes = 0;
    while (content[at - slashes - 1] == '\\') slashes++;
    return slashes % 2 != 0;
  };
  size_t at = content.rfind('"', end - 2);
  while (is_escaped(at)) at = content.rfind('"', at - 1);
  return at;
}

// Receives the events of the JSON reader and collects the members of the outermost object.
struct FactsReader : rapidjson::BaseReaderHandler<rapidjson::UTF8<>, FactsReader> {
  std::string_view content;
  rapidjson::MemoryStream stream;
  std::vector<Fact> facts = {};
  bool is_object = false;  // whether the outermost value is one
  unsigned depth = 0;

  explicit FactsReader(std::string_view string) : content(string), stream(string.data(), string.size()) {}

  bool StartObject() {
    is_object = is_object || depth == 0;
    return StartArray();
  }
  bool StartArray() {
    depth++;
    return true;
  }
  bool EndObject(rapidjson::SizeType /*members*/) { return EndArray(0); }
  bool EndArray(rapidjson::SizeType /*elements*/) {
    --depth;
    return true;
  }
  bool Key(const char *name, rapidjson::SizeType length, bool /*copy*/) {
    if (is_object && depth == 1) facts.push_back({{name, length}, name_begin(content, stream.Tell())});
    return true;
  }
  bool String(const char *value, rapidjson::SizeType length, bool /*copy*/) {
    if (!is_object || depth != 1) return true;
    facts.back().value.assign(value, length);
    facts.back().is_string = true;
    return true;
  }
};

// Fills in lines and columns. The facts are in file order.
void locate(std::string_view content, std::vector<Fact> &facts) {
  size_t line_begin = 0;
  unsigned line = 1;
  for (Fact &fact : facts) {
    for (size_t end = content.find('\n', line_begin); end < fact.at; end = content.find('\n', line_begin)) {
      line_begin = end + 1;
      line++;
    }
    fact.line = line;
    fact.column = static_cast<unsigned>(fact.at - line_begin + 1);
  }
}

void add(Facts &facts, const Fact &fact, Rule rule, std::initializer_list<std::string> values) {
  Finding finding = finding_with_words(rule, values);
  finding.path = printable(fact.name);
  finding.line = fact.line;
  finding.column = fact.column;
  list_finding(facts.findings, facts.counts, std::move(finding));
}

FactUse use_of(const Fact &fact, std::string_view map, std::string_view name) {
  return {printable(fact.name), fact.line, fact.column, map, std::string(name)};
}

// Adds the entries that the fact names, in its name and in its value, or reports an unknown fact.
void add_fact(Facts &facts, const Fact &fact) {
  constexpr std::string_view interfaces = "network.interface.";
  Meant meant(fact.name);
  if (fact.name == "hybrid.lanmode") facts.lan_mode = fact.value == "true" || fact.value == "1";
  for (const std::string_view row : known_facts) {
    const Match found = match(row, fact.name);
    if (!found.fits) {
      meant.look_at(found.filled);
      continue;
    }
    if (!found.map.empty()) facts.uses.push_back(use_of(fact, found.map, found.name));
    if (fact.value.starts_with(interfaces))
      facts.uses.push_back(use_of(fact, "network.interface", std::string_view(fact.value).substr(interfaces.size())));
    return;
  }
  add(facts, fact, Rule::unknown_fact, {printable(fact.name), meant.hint()});
}

}  // namespace

Facts read_facts(const char *path) {
  std::string content;
  std::string problem;
  Facts facts;
  if (!read_file(path, &content, &problem)) {
    facts.findings.push_back(finding_with_words(Rule::facts_unreadable, {problem}));
    return facts;
  }
  FactsReader read(content);
  rapidjson::Reader reader;
  if (reader.Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag>(read.stream, read).IsError())
    problem = rapidjson::GetParseError_En(reader.GetParseErrorCode());
  else if (!read.is_object)
    problem = "the file holds no object";
  if (!problem.empty()) {
    facts.findings.push_back(finding_with_words(Rule::facts_unreadable, {problem}));
    return facts;
  }
  locate(content, read.facts);
  for (const Fact &fact : read.facts) {
    if (fact.is_string)
      add_fact(facts, fact);
    else
      add(facts, fact, Rule::fact_value, {"the value is not a string"});
  }
  return facts;
}

void check_facts(Facts &facts, const ConfigNode *root) {
  unsigned searches_left = 100;  // for "did you mean"; each search compares all entries
  for (const FactUse &use : facts.uses) {
    const ConfigNode *entries = config_object(root, std::string(use.map).c_str());
    if (config_object_get(entries, use.name.c_str()) != nullptr) continue;
    Meant meant(use.name);
    const ConfigNode *entry = searches_left > 0 ? config_object_first(entries) : nullptr;
    for (; entry != nullptr; entry = config_object_next(entry)) meant.look_at(config_key(entry));
    if (searches_left > 0) --searches_left;
    Finding finding =
        finding_with_words(Rule::fact_of_nothing, {std::string(use.map), printable(use.name), meant.hint()});
    finding.path = use.fact;
    finding.line = use.line;
    finding.column = use.column;
    list_finding(facts.findings, facts.counts, std::move(finding));
  }
}
