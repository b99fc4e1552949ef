// The schema without descriptions.
#include "config/schema.h"

#include "config/characters.h"

#define KEYS_DESCRIBED 0
#include "config/keys/root.h"

constinit const SchemaKey schema = keys::document;

const char *fallback_of(const SchemaKey &key) {
  constexpr const char *strings[] = {nullptr, "", "wlan"};
  return strings[static_cast<size_t>(key.fallback)];
}

const SchemaKey *schema_member(const SchemaKey &key, std::string_view name) {
  for (const SchemaKey &member : members_of(key)) {
    if (is_name(member.name, name)) return &member;
  }
  return nullptr;
}
