// The edit rename: gives an entry of a map a new name, also wherever the document refers to it.
#include "config/characters.h"
#include "tools/config/edit.h"
#include "tools/config/splice.h"
#include "util/strings.h"

namespace {

// Things outside of the document that depend on the name of an entry of `map`. KEY is replaced by the name.
struct NameUse {
  const char *map;
  const char *facts;  // keys of the runtime store, or ""
  const char *note;   // another consequence, or ""
};
constexpr NameUse name_uses[] = {
    {"network.interface",
     "network.interface.KEY, network.route.default.metric, vigil.ipv4_interface_KEY, vigil.ipv6_interface_KEY, "
     "mm.map.interface_idx.KEY, mm.map.interface_number.KEY, hybrid.device, remote_builtin.speedtest.interface",
     ""},
    {"network.modem", "mm.map.no_interface_idx.KEY, mm.sh.update.modem.KEY", ""},
    {"network.device", "", "the device KEY of the kernel gets the new name"},
    {"network.wlan", "", "the device KEY of the kernel gets the new name"},
    {"network.bridge", "", "the device KEY of the kernel gets the new name"},
    {"network.bond", "", "the device KEY of the kernel gets the new name"},
    {"network.macsec", "", "the device KEY of the kernel gets the new name"},
    {"network.scep_client", "", "its files are no longer read from /etc/config/scep_client/KEY"},
    {"serial", "seriald.KEY", ""},
    {"vpn.iptunnel", "", "the device KEY of the kernel gets the new name"},
    {"vpn.wireguard", "", "the device KEY of the kernel gets the new name"},
    {"vpn.ipsec.tunnel", "vpn.ipsec.tunnel.KEY, vigil.ipsec_KEY", "tunnels keep their interface numbers"},
};

std::string join(const std::vector<std::string> &names, const char *separator) {
  std::string path;
  for (const std::string &name : names) path.append(path.empty() ? "" : separator).append(name);
  return path;
}

std::string with_name(std::string text, const std::string &name) {
  constexpr std::string_view key = "KEY";
  for (size_t at = text.find(key); at != std::string::npos; at = text.find(key, at + name.size()))
    text.replace(at, key.size(), name);
  return text;
}

// The first name of a list, and where to find the others.
std::string first_of(const std::string &list) {
  size_t end = list.find(',');
  return end == std::string::npos ? list : list.substr(0, end) + ", ... (see -n)";
}

std::string counted(size_t count, const char *what) {
  return std::to_string(count) + " " + what + (count != 1 ? "s" : "");
}

// Collects the changes of a document, in the order of their offsets.
struct Renaming {
  std::vector<std::string> map;  // the names that lead to the map of the entries
  const Value *entries;
  const NewNames &new_names;
  std::vector<Splice> splices = {};
  size_t references = 0;
  size_t names = 0;

  std::string map_path() const { return join(map, "."); }

  // The new name of an entry; "" when it keeps its name.
  std::string new_name(std::string_view name) const {
    auto found = new_names.find(std::string(name));
    return found != new_names.end() ? found->second : "";
  }

  // The reference with the new name; "" when it does not lead to a renamed entry or through it.
  std::string changed_reference(const Value &value, bool bare) const {
    if (bare) return map_path() == "network.interface" ? new_name(value.string) : "";
    std::string prefix = "/" + join(map, "/") + "/";
    if (value.string.compare(0, prefix.size(), prefix) != 0) return "";
    size_t end = std::min(value.string.find('/', prefix.size()), value.string.size());
    std::string name = new_name(value.string.substr(prefix.size(), end - prefix.size()));
    return name.empty() ? "" : prefix + name + value.string.substr(end);
  }

  // The string with new names in place of the old ones; "" when no word of it is an old name.
  std::string changed_names(const Value &value, const SchemaKey &key) const {
    if (map_path() != map_of_names(key.names)) return "";
    std::string result;
    bool changed = false;
    for (std::string_view word : split(value.string, ' ')) {
      std::string name = new_name(word);
      changed = changed || !name.empty();
      result.append(" ").append(name.empty() ? word : name);
    }
    return changed ? result.substr(1) : "";
  }

  void visit_string(const Value &value, const Place &place) {
    bool reference = place.kind == Kind::reference;
    std::string changed =
        reference ? changed_reference(value, place.key->interface_name) : changed_names(value, *place.key);
    if (changed.empty()) return;
    splices.push_back({value.begin, value.end, quoted(changed)});
    (reference ? references : names)++;
  }

  void visit(const Value &value, const Place &place) {
    if (value.type == Value::Type::string && place.kind != Kind::ignored) visit_string(value, place);
    for (size_t i = 0; i < value.children.size(); i++) {
      const Value &child = value.children[i];
      std::string name = &value == entries ? new_name(child.name) : "";
      if (!name.empty()) splices.push_back({child.start, child.name_end, quoted(name)});
      Place below = place_below(place, value.type == Value::Type::array ? std::to_string(i) : child.name);
      if (below.kind != Kind::ignored) visit(child, below);
    }
  }

  // What to tell about the new name of one entry.
  std::string notes(const Value &entry, bool brief) const {
    std::string text = "renamed: 1 key, " + counted(references, "reference") + ", " + counted(names, "name");
    bool twice = false;
    for (const NameUse &row : name_uses) {
      if (map_path() != row.map) continue;
      // The member "name" of a device decides the kernel's name, when it is set.
      bool named = map_path() == "network.device" && child_of(entry, "name", &twice) != nullptr;
      if (*row.note != '\0' && !named) text += "; " + with_name(row.note, printable(entry.name));
      if (*row.facts == '\0') continue;
      std::string facts = with_name(row.facts, printable(entry.name));
      text += "; facts that may name it: " + (brief ? first_of(facts) : facts);
    }
    return text + "\n";
  }
};

}  // namespace

Edited rename_entry(const std::string &content, const Value &root, const Edit &edit) {
  Edited outcome;
  std::vector<std::string> names = components_of(edit.path);
  Found found;
  size_t depth = 0;
  if (!find(root, names, &found, &depth, &outcome.problem)) return outcome;
  bool twice = false;
  std::string path = printable(edit.path);
  if (found.parent_place.kind != Kind::map || depth + 1 != names.size())
    outcome.problem = path + ": only an entry of a map can be renamed";
  else if (found.value == nullptr)
    outcome.problem = why_missing(names, found, depth);
  else if (!is_entry_name(edit.value.data(), edit.value.size(), found.parent_place.key->hyphen))
    outcome.problem = printable(edit.value) + ": expected a name of 1 to 63 letters, digits and '_'" +
                      (found.parent_place.key->hyphen ? " or '-'" : "");
  else if (edit.value != names.back() && child_of(*found.parent, edit.value, &twice) != nullptr)
    outcome.problem = path + ": there is an entry '" + edit.value + "' already";
  if (!outcome.problem.empty()) return outcome;
  const NewNames new_names = {{names.back(), edit.value}};
  Renaming renaming{{names.begin(), names.end() - 1}, found.parent, new_names};
  renaming.visit(root, Place());
  outcome.content = spliced(content, renaming.splices);
  outcome.notes = renaming.notes(found.parent->children[found.index], edit.brief);
  return outcome;
}

std::string rename_entries(const std::string &content, const Value &root, const std::string &map,
                           const NewNames &new_names) {
  Found found;
  size_t depth = 0;
  std::string problem;
  if (!find(root, components_of(map), &found, &depth, &problem) || found.value == nullptr) return content;
  Renaming renaming{components_of(map), found.value, new_names};
  renaming.visit(root, Place());
  return spliced(content, renaming.splices);
}
