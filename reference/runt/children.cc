// Lists the keys directly below a key, in natural order.
#include <algorithm>
#include <cstdlib>
#include <cstring>
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
  bool has_value;
  std::string_view value;
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

// The children of `key` ("" for the top level) in natural order. Their strings point into the store and are valid until
// the next change.
std::vector<Child> find_children(const char *key) {
  std::vector<Child> children;
  StoredKey seek = {};
  bool top_level = key != nullptr && *key == '\0';
  if (!top_level && !runt_encode_key(key, &seek)) return children;
  MDB_cursor *cursor = runt_open_cursor();
  if (cursor == nullptr) return children;

  // The key followed by a zero byte finds the first key below it. A zero byte alone sorts before all keys.
  size_t prefix = top_level ? 0 : seek.length + 1;
  seek.bytes[seek.length++] = '\0';
  MDB_val found;
  MDB_val value;
  for (;;) {
    found = {seek.length, seek.bytes};
    if (mdb_cursor_get(cursor, &found, &value, MDB_SET_RANGE) != 0) break;
    std::string_view stored = bytes_of(found);
    if (stored.size() <= prefix || memcmp(stored.data(), seek.bytes, prefix) != 0) break;
    std::string_view name = stored.substr(prefix, stored.find('\0', prefix) - prefix);
    // A key sorts before all keys below it, so this is the child itself if it has a value.
    bool has_value = prefix + name.size() == stored.size();
    children.push_back({name, has_value, has_value ? bytes_of(value) : std::string_view()});
    memcpy(seek.bytes + prefix, name.data(), name.size());
    seek.length = prefix + name.size();
    seek.bytes[seek.length++] = '\1';  // past the child and all keys below it
  }
  mdb_cursor_close(cursor);
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
  entry->value = copy_bytes(child.value.data(), child.value.size());
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
  std::erase_if(children, [](const Child &child) { return !child.has_value; });
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
