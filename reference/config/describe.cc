// Texts about keys for the manual, the JSON Schema and the checker.
#include <algorithm>
#include <vector>

#include "config/report.h"
#include "config/schema.h"

namespace {

// The form of a value, if its JSON type does not show it.
const char *form_of(const SchemaKey &key, Kind kind) {
  switch (kind) {
    case Kind::duration:
      return " Seconds, or a string with a unit out of ms s m h d w, such as \"90s\".";
    case Kind::reference:
      return key.interface_name ? "" : " The path of an entry, such as \"/network/device/eth0\".";
    default:
      return "";
  }
}

using Path = std::vector<std::string>;

Path split_path(const std::string &string) {
  Path path;
  for (size_t start = 0, end; start < string.size(); start = end + 1) {
    end = std::min(string.find('.', start), string.size());
    path.push_back(string.substr(start, end - start));
  }
  return path;
}

// The search for the place in the schema that is closest to where a key was written.
struct Search {
  Path written;
  std::string found = {};
  size_t least = SIZE_MAX;  // steps up and down the tree
  bool ambiguous = false;   // another place is just as close

  void consider(const Path &place) {
    size_t common = 0;
    size_t most = std::min(place.size(), written.size() - 1);
    while (common < most && (place[common] == written[common] || isupper(place[common][0]) != 0)) common++;
    size_t steps = place.size() + written.size() - 1 - 2 * common;
    ambiguous = ambiguous || steps == least;
    if (steps >= least) return;
    ambiguous = false;
    least = steps;
    found.clear();
    for (const std::string &step : place) found += (found.empty() ? "" : ".") + step;
  }

  void visit(const SchemaKey &key, Path &place) {
    bool many = key.kind == Kind::map || key.kind == Kind::array;
    if (many) place.emplace_back(key.kind == Kind::map ? "KEY" : "N");
    for (const SchemaKey &member : members_of(key)) {
      if (written.back() == member.name) consider(place);
      place.emplace_back(member.name);
      visit(member, place);
      place.pop_back();
    }
    if (many) place.pop_back();
  }
};

}  // namespace

std::string config_place_of_key(const std::string &path) {
  Search search{.written = split_path(path)};
  Path root;
  if (!search.written.empty()) search.visit(schema, root);
  return search.ambiguous && search.least > 1 ? "" : search.found;
}

const SchemaKey *schema_key_at(const SchemaKey &key, std::string_view path) {
  const SchemaKey *found = &key;
  while (found != nullptr && !path.empty()) {
    const size_t length = std::min(path.find('.'), path.size());
    found = schema_member(*found, path.substr(0, length));
    path.remove_prefix(std::min(length + 1, path.size()));
  }
  return found;
}

const char *map_of_names(NamesOf names) {
  constexpr const char *maps[] = {"", "network.interface", "network.modem", "network.scep_client", "vpn.ipsec.tunnel"};
  return maps[static_cast<size_t>(names)];
}

std::string schema_description(const SchemaKey &key) {
  if (key.description == nullptr) return {};
  return std::string(key.description) + form_of(key, key.kind == Kind::array ? key.element : key.kind);
}
