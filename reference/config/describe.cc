// What the manual, the JSON Schema and the checker say about keys.
#include <algorithm>
#include <vector>

#include "config/report.h"
#include "config/schema.h"

namespace {

// What a value of that kind looks like in the document, where its type does not tell.
const char *form_of(const SchemaRow &row) {
  switch (row.kind) {
    case Kind::duration:
      return " Seconds, or a text with a unit out of ms s m h d w, such as \"90s\".";
    case Kind::reference:
      return (row.flags & row_interface_name) != 0 ? "" : " The path of an entry, such as \"/network/device/eth0\".";
    default:
      return "";
  }
}

using Path = std::vector<std::string>;

Path split_path(const std::string &text) {
  Path path;
  for (size_t start = 0, end; start < text.size(); start = end + 1) {
    end = std::min(text.find('.', start), text.size());
    path.push_back(text.substr(start, end - start));
  }
  return path;
}

// The search for the place in the schema that is closest to where a key was written.
struct Search {
  Path written;
  std::string found = {};
  size_t least = SIZE_MAX;  // steps up and down the tree
  bool ambiguous = false;   // another place is as close

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

  void visit(const SchemaRow &row, Path &place) {
    if (row.kind == Kind::map || row.kind == Kind::array) {
      place.emplace_back(row.kind == Kind::map ? "KEY" : "N");
      visit(schema_row(row.child), place);
      place.pop_back();
    }
    for (unsigned i = 0; row.kind == Kind::object && i < row.count; i++) {
      const SchemaRow &member = schema_row(static_cast<uint16_t>(row.child + i));
      if (written.back() == schema_name(member)) consider(place);
      place.emplace_back(schema_name(member));
      visit(member, place);
      place.pop_back();
    }
  }
};

}  // namespace

std::string config_place_of_key(const std::string &path) {
  Search search{.written = split_path(path)};
  Path root;
  if (!search.written.empty()) search.visit(schema_row(schema_root), root);
  return search.ambiguous && search.least > 1 ? "" : search.found;
}

std::string schema_description(uint16_t index) {
  const SchemaRow &row = schema_row(index);
  const SchemaText &about = schema_texts[index];
  if (*about.description == '\0') return {};
  bool list = row.kind == Kind::array;
  std::string text = about.description;
  text += form_of(list ? schema_row(row.child) : row);
  if (*about.unit != '\0') text += std::string(" Unit: ") + about.unit + ".";
  return text;
}
