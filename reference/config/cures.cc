// Cures: what to write instead of a refused value or of a reference to nothing.
#include <algorithm>
#include <cstring>

#include "config/document.h"
#include "platform/config.h"
#include "util/owned.h"

namespace {

constexpr size_t most_named = 6;

// "WHAT with members such as enable, type"
std::string with_members(std::string what, const SchemaKey &key) {
  if (key.member_count == 0) return what;
  what += key.member_count <= most_named ? " with the members " : " with members such as ";
  const size_t count = std::min<size_t>(key.member_count, most_named);
  for (const SchemaKey &member : members_of(key).first(count)) what.append(member.name).append(", ");
  return what.substr(0, what.size() - strlen(", "));
}

std::string reference_form(const SchemaKey &key) {
  if (key.interface_name) return "\"wan\"";
  return key.device ? "\"/network/device/eth0\"" : "\"/network/interface/lan\"";
}

std::string cure_of_list(const SchemaKey &key) {
  if (key.element == Kind::object) return with_members("write a list of objects", key);
  return "write a list in brackets, even for one element" +
         (key.element == Kind::reference ? ": [" + reference_form(key) + "]" : "");
}

// The part after the last "/" or ".".
const char *last_part(const char *path) {
  for (const char *next = strpbrk(path, "/."); next != nullptr; next = strpbrk(path, "/.")) path = next + 1;
  return path;
}

std::string as_reference(const ConfigNode *node) {
  OwnedString path(config_path(node));
  std::string reference = "/" + std::string(path.get());
  std::replace(reference.begin(), reference.end(), '.', '/');
  return reference;
}

// A search for the entry that was meant by the last part of a written path.
struct Search {
  Meant closest;
  const ConfigNode *meant = nullptr;

  explicit Search(const char *written) : closest(last_part(written)) {}

  void look_through(const ConfigNode *map) {
    for (const ConfigNode &entry : children_of(map))
      if (closest.look_at(entry.name)) meant = &entry;
  }

  void look_for_devices(const ConfigNode *node) {
    if (node->kind == Kind::map && node->key->device) look_through(node);
    for (const ConfigNode &child : children_of(node))
      if (child.kind == Kind::object || child.kind == Kind::map) look_for_devices(&child);
  }

  std::string cure(const std::string &form) const {
    return (closest.least == 0 ? "write \"" : "name an existing entry, such as \"") + form + "\"";
  }
};

std::string cure_of_type(const SchemaKey &key, Kind kind) {
  switch (kind) {
    case Kind::object:
      return with_members("write an object", key);
    case Kind::map:
      return with_members("write an object of named entries, each an object", key);
    case Kind::array:
      return cure_of_list(key);
    case Kind::string:
      return "write a string in double quotes";
    case Kind::reference:
      return "write a string such as " + reference_form(key);
    case Kind::boolean:
      return "write true or false without quotes";
    case Kind::integer:
      return "write a whole number without quotes";
    default:
      return "";
  }
}

std::string cure_of_reference(const ConfigNode *root, const SchemaKey &key, const char *written) {
  Search search(written);
  const bool is_radio = strcmp(key.name, "radio") == 0;
  const ConfigNode *map = config_object(root, is_radio ? "network.radio" : "network.interface");
  if (key.device)
    search.look_for_devices(root);
  else if (map != nullptr)
    search.look_through(map);
  if (search.meant == nullptr) return "";
  return search.cure(key.interface_name ? search.meant->name : as_reference(search.meant));
}

}  // namespace

extern const Cures cures = {cure_of_type, cure_of_reference};

std::string cure_of_name(const ConfigNode *map, const char *written) {
  Search search(written);
  if (map != nullptr) search.look_through(map);
  return search.meant != nullptr ? search.cure(search.meant->name) : "";
}
