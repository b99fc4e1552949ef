// Runtime facts against the document that they are to go with.
#include <rapidjson/document.h>
#include <rapidjson/error/en.h>

#include <algorithm>
#include <cctype>
#include <string_view>

#include "check/check.h"
#include "check/find.h"
#include "config/characters.h"
#include "config/document.h"

namespace {

// What the services read. "{MAP}" stands for the name of an entry of that map, "{family}" for ipv4 or ipv6, "{number}"
// for digits.
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

// A fact held against one of these, piece by piece.
struct Match {
  bool fits = true;
  std::string_view map;   // of the entry that is named; "" for none
  std::string_view name;  // of that entry
  std::string filled;     // the row with the words of the fact in its gaps
};

bool fills(std::string_view gap, std::string_view word) {
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
    result.fits = result.fits && fills(gap, word);
    result.filled += gap == "family" && word != "ipv6" ? "ipv4" : word;
    if (gap == "family" || gap == "number") continue;
    result.map = gap;
    result.name = word;
  }
  result.fits = result.fits && fact.empty();
  return result;
}

std::string hint_of(const std::string &nearest) {
  return nearest.empty() ? nearest : ", did you mean '" + nearest + "'?";
}

// The nearer of two candidates, as long as it is near at all.
void consider(std::string_view wanted, std::string_view candidate, unsigned &least, std::string &nearest) {
  const unsigned distance = edit_distance(wanted.data(), wanted.size(), candidate.data(), candidate.size(), least);
  if (distance >= least) return;
  least = distance;
  nearest = candidate;
}

struct FactsCheck {
  const std::string &content;
  const ConfigNode *root;
  std::vector<Finding> &findings;

  // Facts are short documents: the line is where the key stands first.
  void add(Rule rule, const std::string &fact, std::initializer_list<std::string> values) {
    const size_t at = fact.empty() ? std::string::npos : content.find('"' + fact + '"');
    Finding finding = finding_with_words(rule, values);
    finding.path = printable(fact);
    if (at != std::string::npos) {
      const size_t start = content.rfind('\n', at);
      finding.line =
          1 + static_cast<unsigned>(std::count(content.begin(), content.begin() + static_cast<long>(at), '\n'));
      finding.column = static_cast<unsigned>(start == std::string::npos ? at + 1 : at - start);
    }
    findings.push_back(std::move(finding));
  }

  void check_entry(const std::string &fact, std::string_view map, std::string_view name) {
    if (root == nullptr) return;
    const ConfigNode *entries = config_object(root, std::string(map).c_str());
    if (config_object_get(entries, std::string(name).c_str()) != nullptr) return;
    std::string nearest;
    unsigned least = 3;
    for (const ConfigNode *entry = config_object_first(entries); entry != nullptr; entry = config_object_next(entry))
      consider(name, config_key(entry), least, nearest);
    add(Rule::fact_of_nothing, fact, {"entry of " + std::string(map), printable(name), hint_of(nearest)});
  }

  void check_fact(const std::string &fact, std::string_view value) {
    std::string nearest;
    unsigned least = 4;
    for (const std::string_view row : known_facts) {
      const Match found = match(row, fact);
      if (!found.fits) {
        consider(fact, found.filled, least, nearest);
        continue;
      }
      if (!found.map.empty()) check_entry(fact, found.map, found.name);
      constexpr std::string_view interfaces = "network.interface.";
      if (value.starts_with(interfaces)) check_entry(fact, "network.interface", value.substr(interfaces.size()));
      return;
    }
    add(Rule::unknown_fact, fact, {printable(fact), hint_of(nearest)});
  }

  void check_members(const rapidjson::Document &facts) {
    for (const auto &member : facts.GetObject()) {
      const std::string fact(member.name.GetString(), member.name.GetStringLength());
      if (member.value.IsString())
        check_fact(fact, {member.value.GetString(), member.value.GetStringLength()});
      else
        add(Rule::fact_value, fact, {"the value is not a string"});
    }
  }
};

}  // namespace

void check_facts(const char *path, const ConfigNode *root, std::vector<Finding> &findings) {
  std::string content;
  std::string problem;
  FactsCheck check{content, root, findings};
  if (!read_file(path, &content, &problem)) {
    check.add(Rule::facts_unreadable, "", {problem});
    return;
  }
  rapidjson::Document facts;
  facts.Parse<rapidjson::kParseValidateEncodingFlag>(content.data(), content.size());
  if (facts.HasParseError())
    check.add(Rule::facts_unreadable, "", {rapidjson::GetParseError_En(facts.GetParseError())});
  else if (!facts.IsObject())
    check.add(Rule::facts_unreadable, "", {"the file holds no object"});
  else
    check.check_members(facts);
}
