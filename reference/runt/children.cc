// Lists the keys directly below a key, in natural order.
#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "platform/runt.h"
#include "platform/tools.h"
#include "runt/connection.h"
#include "runt/store.h"
#include "util/memory.h"

namespace {

struct Child {
  std::string_view name;
  const std::string *value;  // null for a child that only has keys below it
};

bool is_number(std::string_view name) {
  return std::all_of(name.begin(), name.end(), [](char byte) { return byte >= '0' && byte <= '9'; });
}

// Numbers come first, in the order of their values, however long they are. Of equal numbers, the one with fewer leading
// zeros comes first.
bool naturally_before(const Child &left, const Child &right) {
  bool numbers = is_number(left.name);
  if (numbers != is_number(right.name)) return numbers;
  if (!numbers) return left.name < right.name;
  std::string_view left_digits = left.name.substr(std::min(left.name.find_first_not_of('0'), left.name.size()));
  std::string_view right_digits = right.name.substr(std::min(right.name.find_first_not_of('0'), right.name.size()));
  if (left_digits.size() != right_digits.size()) return left_digits.size() < right_digits.size();
  if (left_digits != right_digits) return left_digits < right_digits;
  return left.name.size() < right.name.size();
}

// The children of `key` ("" for the top level) in natural order. They point into the store and are valid until the next
// change.
std::vector<Child> find_children(const char *key) {
  std::vector<Child> children;
  if (runt_connection == nullptr || key == nullptr) return children;
  bool top_level = *key == '\0';
  if (!top_level && !runt_is_key(key)) return children;
  std::string prefix = top_level ? "" : std::string(key) + '.';
  const Values &values = runt_connection->values;
  auto at = values.lower_bound(prefix);
  while (at != values.end() && at->first.starts_with(prefix)) {
    std::string_view below = std::string_view(at->first).substr(prefix.size());
    std::string_view name = below.substr(0, below.find('.'));
    bool has_value = name.size() == below.size();
    // With a value and keys below it, a child is found twice, and other children may be between.
    if (has_value || values.find(prefix + std::string(name)) == values.end())
      children.push_back({name, has_value ? &at->second : nullptr});
    at = has_value ? std::next(at) : values.lower_bound(prefix + std::string(name) + past_dot);
  }
  std::sort(children.begin(), children.end(), naturally_before);
  return children;
}

RuntEntry *make_entry(const char *parent, const Child &child) {
  auto *entry = static_cast<RuntEntry *>(xrealloc(nullptr, sizeof(RuntEntry)));
  std::string key = parent;
  if (!key.empty()) key += '.';
  size_t name = key.size();
  key += child.name;
  entry->key = copy_bytes(key.data(), key.size());
  entry->name = entry->key + name;
  entry->value = copy_bytes(child.value->data(), child.value->size());
  return entry;
}

void free_entry(RuntEntry *entry) {
  free(const_cast<char *>(entry->key));  // made by make_entry
  free(const_cast<char *>(entry->value));
  free(entry);
}

}  // namespace

char **runt_keys(const char *key) {
  char **names = nullptr;
  for (const Child &child : find_children(key)) {
    names = sl_append_printf(names, "%.*s", static_cast<int>(child.name.size()), child.name.data());
  }
  return names;
}

RuntEntry **runt_get_entries(const char *key, int /*reserved1*/, int /*reserved2*/, int /*reserved3*/,
                             int /*reserved4*/) {
  std::vector<Child> children = find_children(key);
  std::erase_if(children, [](const Child &child) { return child.value == nullptr; });
  if (children.empty()) return nullptr;
  auto **entries = static_cast<RuntEntry **>(xrealloc(nullptr, (children.size() + 1) * sizeof(RuntEntry *)));
  RuntEntry **end = entries;
  for (const Child &child : children) *end++ = make_entry(key, child);
  *end = nullptr;
  return entries;
}

void runt_entries_free(RuntEntry **entries) {
  if (entries == nullptr) return;
  for (RuntEntry **entry = entries; *entry != nullptr; entry++) free_entry(*entry);
  free(entries);
}
