#include "preview/scope.h"

#include <algorithm>
#include <set>

#include "preview/plan.h"
#include "preview/strings.h"
#include "sandbox/sandbox.h"
#include "util/strings.h"

namespace {

// Start of the keys that network writes into the runtime store; no other service writes there.
constexpr std::string_view device_map = "network.device_map.";

// Whether only another service than `services` writes the file.
bool is_of_others(const std::vector<std::string> &services, const std::string &path) {
  const char *service = service_of(path);
  return service != nullptr && std::find(services.begin(), services.end(), service) == services.end();
}

void replace_content(Tree &tree, const char *path, const std::string &content) {
  if (content.empty()) {
    tree.erase(path);
  } else {
    tree.at(path).content = content;
  }
}

// The list without the lines of other services that are not in `now`.
std::string kept_names(const std::vector<std::string> &services, const std::string &names, const std::string &now) {
  std::vector<std::string> current = lines_of(now);
  std::string kept;
  for (const std::string &line : lines_of(names)) {
    bool is_current = std::find(current.begin(), current.end(), line) != current.end();
    if (is_current || line.empty() || !is_of_others(services, line.substr(1))) kept += line + "\n";
  }
  return kept;
}

// The runtime store without the keys of the device map that are not in `now`.
std::string kept_keys(const std::string &store, const std::string &now) {
  std::set<std::string> keys;
  for (const Member &member : read_members(now)) keys.insert(member.name);
  std::string kept;
  for (const Member &member : read_members(store)) {
    if (member.name.rfind(device_map, 0) == 0 && keys.count(member.name) == 0) continue;
    kept += (kept.empty() ? "{\n  " : ",\n  ") + json_string(member.name) + ": " + json_string(member.value);
  }
  if (kept.empty()) return now.empty() ? "" : "{}\n";
  return kept + "\n}\n";
}

}  // namespace

void keep_services(const std::vector<std::string> &services, const Tree &produced, Tree &old) {
  for (auto entry = old.begin(); entry != old.end();) {
    bool is_kept = produced.count(entry->first) > 0 || !is_of_others(services, entry->first);
    entry = is_kept ? std::next(entry) : old.erase(entry);
  }
  if (old.count(removed_list) > 0) {
    const std::string &now = content_of(produced, removed_list);
    replace_content(old, removed_list, kept_names(services, content_of(old, removed_list), now));
  }
  bool has_network = std::find(services.begin(), services.end(), "network") != services.end();
  if (old.count(runtime_dump) > 0 && !has_network) {
    const std::string &now = content_of(produced, runtime_dump);
    replace_content(old, runtime_dump, kept_keys(content_of(old, runtime_dump), now));
  }
}
