#include "tools/config/edit.h"

#include <algorithm>

#include "config/characters.h"
#include "tools/config/splice.h"

namespace {

Edited fail(const std::string &problem) {
  return {.content = {}, .problem = problem, .notes = {}};
}

Edited done(const std::string &content, const std::string &notes = {}) {
  return {.content = content, .problem = {}, .notes = notes};
}

std::string joined(const std::vector<std::string> &names, size_t count) {
  std::string path;
  for (size_t i = 0; i < count; i++) path.append(i > 0 ? "." : "").append(names[i]);
  return count == 0 ? "the document" : path.empty() ? "''" : printable(path);
}

const char *kind_name(Kind kind) {
  constexpr const char *names[] = {"unknown",   "an object",  "a map",    "an array",   "a string",
                                   "a boolean", "an integer", "a number", "a duration", "a reference"};
  return names[static_cast<size_t>(kind)];
}

// The message for the component at `depth`, which cannot be below the place.
std::string unknown_name(const Place &place, const Value *value, const std::vector<std::string> &names, size_t depth) {
  std::string path = joined(names, depth + 1);
  if (place.is_list()) {
    size_t count = value != nullptr ? value->children.size() : 0;
    return path + ": expected + or the index of an element; there are " + std::to_string(count);
  }
  if (place.kind == Kind::object || place.kind == Kind::ignored)
    return path + ": there is no such key" + suggestion(names[depth], names_below(place, value));
  return path + ": " + joined(names, depth) + " is " + kind_name(place.kind) + ", which has no members";
}

bool is_integer(const std::string &string) {
  size_t sign = !string.empty() && string[0] == '-' ? 1 : 0;
  size_t digits = string.size() - sign;
  return digits > 0 && string.find_first_not_of("0123456789", sign) == std::string::npos &&
         (string[sign] != '0' || digits == 1);
}

// The value of an edit without --json, in JSON; "" when it does not fit the kind.
std::string literal(const Edit &edit, Kind kind) {
  Value value;
  switch (kind) {
    case Kind::string:
    case Kind::reference:
      return quoted(edit.value);
    case Kind::boolean:
      return edit.value == "true" || edit.value == "false" ? edit.value : "";
    case Kind::integer:
      return is_integer(edit.value) ? edit.value : "";
    case Kind::duration:
      return is_integer(edit.value) ? edit.value : quoted(edit.value);
    case Kind::number:
      return parse(edit.value, &value) && value.type == Value::Type::literal ? edit.value : "";
    default:
      return "";
  }
}

// Stores the value of an edit in JSON. Returns false, with `problem` set, when it does not fit.
bool json_of(const Edit &edit, const Place &place, std::string *json, std::string *problem) {
  const std::vector<std::string> names = components_of(edit.path);
  const std::string path = joined(names, names.size());
  Value value;
  if (find_invalid_utf8(edit.value.c_str(), static_cast<uint32_t>(edit.value.size()), 0) != no_position) {
    *problem = path + ": expected a value in UTF-8";
  } else if (edit.json && !parse(edit.value, &value)) {
    *problem = path + ": the value is not JSON";
  } else if (edit.json) {
    *json = edit.value.substr(value.begin, value.end - value.begin);
  } else if (*json = literal(edit, place.kind); json->empty()) {
    bool nests = place.kind == Kind::object || place.kind == Kind::map || place.is_list();
    *problem = path + ": expected " + kind_name(place.kind) +
               (nests ? ", which --json takes, or the path of what is in it" : "");
  }
  return problem->empty();
}

// Checks that the components from `depth` on, which the document does not have, can be created. Returns false, with
// `problem` set, when they cannot.
bool check_creation(const std::vector<std::string> &names, size_t depth, const Found &found, const Edit &edit,
                    std::string *problem) {
  Place place = found.parent_place;
  const Value *parent = found.parent;
  for (size_t i = depth; i < names.size(); i++, parent = nullptr) {
    if (place.kind == Kind::map && !edit.create)
      *problem = joined(names, i + 1) + ": there is no such entry" + suggestion(names[i], names_below(place, parent)) +
                 " (--create makes it)";
    else if (place.kind == Kind::map && !is_entry_name(names[i].data(), names[i].size(), place.key->hyphen))
      *problem = joined(names, i + 1) + ": expected a name of 1 to 63 letters, digits and '_'" +
                 (place.key->hyphen ? " or '-'" : "");
    else if (place.is_list() && names[i] != "+")
      *problem = unknown_name(place, parent, names, i);
    if (!problem->empty()) return false;
    place = place_below(place, names[i]);
  }
  return true;
}

// The index of a new child. A member goes after the members that are before it in the table of keys. An entry or
// element goes last, because the order of these has a meaning.
size_t index_for(const Found &found, const std::string &name) {
  const std::vector<Value> &children = found.parent->children;
  if (found.parent_place.kind != Kind::object) return children.size();
  const SchemaKey *added = schema_member(*found.parent_place.key, name);
  size_t index = 0;
  size_t known = 0;
  for (size_t i = 0; i < children.size(); i++) {
    const SchemaKey *member = schema_member(*found.parent_place.key, children[i].name);
    if (member != nullptr) known++;
    if (member != nullptr && member < added) index = i + 1;
  }
  return known > 0 ? index : children.size();
}

// Lines about what the removal of a child changes for the children after it.
std::string renumbering(const std::vector<std::string> &names, const Found &found) {
  if (found.index + 1 == found.parent->children.size()) return "";
  std::string path = joined(names, names.size() - 1);
  if (path == "vpn.ipsec.tunnel") return path + ": the tunnels after it get other interface numbers\n";
  if (path == "network.route.policy") return path + ": the policies after it get other numbers\n";
  return "";
}

bool is_known(const std::vector<std::string> &names, const Found &found, std::string *problem) {
  if (found.place.kind != Kind::ignored) return true;
  *problem = unknown_name(found.parent_place, found.parent, names, names.size() - 1);
  return false;
}

}  // namespace

std::string why_missing(const std::vector<std::string> &names, const Found &found, size_t depth) {
  if (found.parent_place.kind != Kind::map) return joined(names, names.size()) + ": is not set";
  return joined(names, depth + 1) + ": there is no such entry" +
         suggestion(names[depth], names_below(found.parent_place, found.parent));
}

bool find(const Value &root, const std::vector<std::string> &names, Found *found, size_t *depth, std::string *problem) {
  *found = {};
  found->value = &root;
  for (size_t i = 0; i < names.size(); i++) {
    Place below = found->place.kind == Kind::ignored ? found->place : place_below(found->place, names[i]);
    bool twice = false;
    const Value *at = found->value;
    const Value *child = at != nullptr ? child_of(*at, names[i], &twice) : nullptr;
    if (twice) *problem = joined(names, i + 1) + ": the file has this key twice; remove one of them in an editor";
    if (child == nullptr && below.kind == Kind::ignored)
      *problem = unknown_name(found->place, at, names, i);
    else if (child == nullptr && at != nullptr &&
             (!at->nests() || (at->type == Value::Type::array) != found->place.is_list()))
      *problem =
          joined(names, i) + ": expected " + kind_name(found->place.kind) + ", but the file has another value there";
    if (!problem->empty()) return false;
    if (at != nullptr) {
      found->around = found->parent;
      found->parent = at;
      found->parent_place = found->place;
      *depth = i;
    }
    if (child != nullptr) found->index = static_cast<size_t>(child - at->children.data());
    found->value = child;
    found->place = below;
  }
  return true;
}

Edited set_value(const std::string &content, const Value &root, const Edit &edit) {
  const std::vector<std::string> names = components_of(edit.path);
  Found found;
  size_t depth = 0;
  std::string problem;
  Addition addition;
  if (!find(root, names, &found, &depth, &problem) || !is_known(names, found, &problem) ||
      (found.value == nullptr && !check_creation(names, depth, found, edit, &problem)) ||
      !json_of(edit, found.place, &addition.json, &problem))
    return fail(problem);
  if (found.value != nullptr) return done(with_value(content, *found.value, addition.json));
  addition.names.assign(names.begin() + static_cast<ptrdiff_t>(depth), names.end());
  size_t index = index_for(found, names[depth]);
  const Value &parent = found.parent != nullptr ? *found.parent : root;
  return done(with_child(content, root, found.around, parent, index, addition));
}

Edited unset_value(const std::string &content, const Value &root, const Edit &edit) {
  const std::vector<std::string> names = components_of(edit.path);
  Found found;
  size_t depth = 0;
  std::string problem;
  if (names.empty()) return fail("expected the path of a value within the file");
  if (!find(root, names, &found, &depth, &problem)) return fail(problem);
  if (found.value == nullptr) return fail(why_missing(names, found, depth));
  return done(without_child(content, *found.parent, found.index), renumbering(names, found));
}
