#include "preview/scope.h"

#include <fnmatch.h>

#include <algorithm>
#include <set>
#include <string_view>

namespace {

struct Owner {
  const char *files;  // a pattern of the paths in a Tree
  const char *service;
};
constexpr Owner owners[] = {
    {"var/run/pam.conf", "pam"},
    {"var/run/radius.conf", "pam"},
    {"var/run/ldap.conf", "pam"},
    {"var/run/dnsmasq.conf", "dnsmasq"},
    {"var/run/hostnamesniffer.cfg", "dnsmasq"},
    {"var/run/ipsec.*", "ipsec"},
    {"var/run/uci/*", "network"},
    {"var/run/config_file_*", "network"},
    {"var/run/userpass_*", "network"},
    {"var/run/openvpn/*", "network"},
    {"var/run/serviceproviders-*", "network"},
    {nullptr, nullptr},
};
// What network puts into the runtime store, the only service that does.
constexpr std::string_view device_map = "\"network.device_map.";

bool is_named(const std::vector<std::string> &services, const char *service) {
  return std::find(services.begin(), services.end(), service) != services.end();
}

bool is_of_others(const std::vector<std::string> &services, const std::string &path) {
  const Owner *owner = owners;
  while (owner->files != nullptr && fnmatch(owner->files, path.c_str(), 0) != 0) owner++;
  return owner->files != nullptr && !is_named(services, owner->service);
}

const std::string &content_of(const Tree &tree, const char *path) {
  static const std::string none;
  auto entry = tree.find(path);
  return entry != tree.end() ? entry->second.content : none;
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
  std::string kept;
  for (size_t start = 0, end; start < names.size(); start = end + 1) {
    end = std::min(names.find('\n', start), names.size());
    std::string line = names.substr(start, end + 1 - start);
    if (!is_of_others(services, names.substr(start + 1, end - start - 1)) ||
        ("\n" + now).find("\n" + line) != std::string::npos) {
      kept += line;
    }
  }
  return kept;
}

// The runtime store without the device map, but for keys that are in `now`.
std::string kept_keys(const std::string &store, const std::string &now) {
  std::set<std::string_view> keys;
  for (const auto &[key, value] : flat_members(now)) keys.insert(key);
  std::string kept;
  for (const auto &[key, value] : flat_members(store)) {
    if (key.substr(0, device_map.size()) == device_map && keys.count(key) == 0) continue;
    kept.append(kept.empty() ? "{\n  " : ",\n  ").append(key).append(": ").append(value);
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
    replace_content(old, removed_list,
                    kept_names(services, old.at(removed_list).content, content_of(produced, removed_list)));
  }
  if (old.count(runtime_dump) > 0 && !is_named(services, "network")) {
    replace_content(old, runtime_dump, kept_keys(old.at(runtime_dump).content, content_of(produced, runtime_dump)));
  }
}
