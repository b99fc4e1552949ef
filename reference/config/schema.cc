#include "config/schema.h"

#include <array>

#include "config/blocks.h"
#include "config/keys.h"

namespace {

using keys::Key;

// A call is no constant, so that the compiler rejects a table that needs one.
void does_not_compile(const char * /*reason*/) {}

// Lays the declarations out as flat tables. A shape that several keys share is laid out once.
struct Layout {
  struct Shape {
    const Key *members;
    uint16_t first;
  };

  Schema schema{};
  std::array<SchemaText, schema_room> texts{};
  std::array<Shape, 160> shapes{};
  size_t row_count = 0;
  size_t name_size = 1;  // the empty name is at 0
  size_t shape_count = 0;

  constexpr uint16_t add_name(const char *name) {
    if (*name == '\0') return 0;
    auto offset = static_cast<uint16_t>(name_size);
    do schema.names[name_size++] = *name;
    while (*name++ != '\0');
    return offset;
  }

  constexpr uint16_t add_members(const Key *members, size_t count) {
    for (size_t i = 0; i < shape_count; i++) {
      if (shapes[i].members == members) return shapes[i].first;
    }
    auto first = static_cast<uint16_t>(row_count);
    row_count += count;
    shapes[shape_count++] = {members, first};
    for (size_t i = 0; i < count; i++) set(first + i, members[i]);
    return first;
  }

  constexpr void set_members(SchemaRow &row, const Key &key) {
    if (key.count > 64) does_not_compile("the loader marks the members that it has seen in one word of bits");
    row.count = static_cast<uint8_t>(key.count);
    if (key.count > 0) row.child = add_members(key.members, key.count);
    for (size_t i = 0; i < key.count; i++) {
      if ((key.members[i].flags & row_always) != 0) row.flags |= row_holds_always;
    }
  }

  constexpr void set(size_t index, const Key &key) {
    size_t length = 0;
    while (key.name[length] != '\0') length++;
    if (length > longest_key) does_not_compile("the tag of a name has room for shorter ones only");
    if (length > 0 && *key.about.description == '\0') does_not_compile("the key has no description");
    texts[index] = key.about;
    SchemaRow row{.name = add_name(key.name),
                  .tag = schema_tag(key.name, length),
                  .child = 0,
                  .count = 0,
                  .kind = key.kind,
                  .flags = static_cast<uint8_t>(key.flags)};
    if (key.kind == Kind::object) {
      set_members(row, key);
    } else if (key.kind == Kind::map || key.kind == Kind::array) {
      row.child = static_cast<uint16_t>(row_count++);
      SchemaRow element{.name = 0,
                        .tag = 0,
                        .child = 0,
                        .count = 0,
                        .kind = key.kind == Kind::map ? Kind::object : key.element,
                        .flags = static_cast<uint8_t>(key.element_flags)};
      set_members(element, key);
      schema.rows[row.child] = element;
      texts[row.child] = {.words = key.about.words, .others = key.about.others};
    } else if ((key.flags & row_always) != 0) {
      row.child = add_name(key.fallback);
    }
    schema.rows[index] = row;
  }
};

constexpr Layout lay_out() {
  Layout layout;
  layout.schema.rows[schema_ignored].kind = Kind::ignored;
  layout.row_count = schema_root + 1;
  layout.set(schema_root, keys::object("", "", keys::root));
  if (layout.name_size + block_size > sizeof layout.schema.names) does_not_compile("no block to read behind the names");
  return layout;
}
constexpr Layout layout = lay_out();

}  // namespace

constinit const Schema schema = layout.schema;
constinit const std::array<SchemaText, schema_room> schema_texts = layout.texts;
