// Functions that declare keys.
//
// The declarations are compiled into two tables: one with the strings that describe keys to people, and one without
// them for programs that only load a document. The including file sets KEYS_DESCRIBED to 1 or 0 to choose one. The
// functions are static because the two files need different versions.
#ifndef TESSERA_REFERENCE_CONFIG_KEYS_DECLARE_H
#define TESSERA_REFERENCE_CONFIG_KEYS_DECLARE_H

#ifndef KEYS_DESCRIBED
#error "define KEYS_DESCRIBED"
#endif

#include <stddef.h>

#include <array>

#include "config/schema.h"

namespace keys {

using Key = SchemaKey;

// Calling this is not a constant expression, so a table that calls it does not compile.
static void does_not_compile(const char * /*reason*/) {}

static constexpr const char *described(const char *string) {
  return KEYS_DESCRIBED != 0 && *string != '\0' ? string : nullptr;
}

static constexpr Key key(Kind kind, const char *name, const char *description) {
  if (*description == '\0') does_not_compile("the key has no description");
  return {.name = name, .kind = kind, .description = described(description)};
}

static constexpr Key string(const char *name, const char *description) {
  return key(Kind::string, name, description);
}

static constexpr Key with_words(Key key, const char *words, OtherWords others) {
  key.words = described(words);
  key.others = others;
  return key;
}
// A string that the writers compare with `words`, separated by spaces; any other has no effect.
static constexpr Key word(const char *name, const char *words, const char *description) {
  return with_words(string(name, description), words, OtherWords::useless);
}
// A string for which a daemon may know more than `words`.
static constexpr Key term(const char *name, const char *words, const char *description) {
  return with_words(string(name, description), words, OtherWords::doubtful);
}
// Any string; `words` have a meaning of their own.
static constexpr Key string_or(const char *name, const char *words, const char *description) {
  return with_words(string(name, description), words, OtherWords::usual);
}
// A string that may hold tabs and line ends.
static constexpr Key lines(const char *name, const char *description) {
  Key key = string(name, description);
  key.many_lines = true;
  return key;
}
// A string that the document always holds: `fallback` when it is not written.
static constexpr Key held(Fallback fallback, Key string) {
  string.fallback = fallback;
  return string;
}
static constexpr Key boolean(const char *name, const char *description) {
  return key(Kind::boolean, name, description);
}
static constexpr Key integer(const char *name, const char *description) {
  return key(Kind::integer, name, description);
}
static constexpr Key number(const char *name, const char *description) {
  return key(Kind::number, name, description);
}
static constexpr Key duration(const char *name, const char *description) {
  return key(Kind::duration, name, description);
}
static constexpr Key reference(const char *name, const char *description) {
  return key(Kind::reference, name, description);
}
// A reference that has to name a device.
static constexpr Key device(const char *name, const char *description) {
  Key key = reference(name, description);
  key.device = true;
  return key;
}

static constexpr Key nest(Key key, const Key *members, size_t count) {
  if (count > most_members) does_not_compile("the loader has one bit for each member in 64 bits");
  key.members = members;
  key.member_count = static_cast<uint8_t>(count);
  for (size_t i = 0; i < count; i++) key.has_fallbacks = key.has_fallbacks || members[i].fallback != Fallback::none;
  return key;
}
template <size_t n>
static constexpr Key object(const char *name, const char *description, const Key (&members)[n]) {
  return nest(key(Kind::object, name, description), members, n);
}

static constexpr Key entries(Key map) {
  map.kind = Kind::map;
  map.element = Kind::object;
  return map;
}
template <size_t n>
static constexpr Key map(const char *name, const char *description, const Key (&members)[n]) {
  return entries(object(name, description, members));
}
template <size_t n>
static constexpr Key map(const char *name, const char *description, const std::array<Key, n> &members) {
  return entries(nest(key(Kind::object, name, description), members.data(), n));
}
// A map whose entries have no members.
static constexpr Key bare_map(const char *name, const char *description) {
  return entries(key(Kind::object, name, description));
}

// An array whose elements are of the kind of `element`.
static constexpr Key array_of(Key element) {
  element.element = element.kind;
  element.kind = Kind::array;
  return element;
}
template <size_t n>
static constexpr Key objects(const char *name, const char *description, const Key (&members)[n]) {
  return array_of(object(name, description, members));
}
static constexpr Key strings(const char *name, const char *description) {
  return array_of(string(name, description));
}
static constexpr Key references(const char *name, const char *description) {
  return array_of(reference(name, description));
}

// Further properties of a key.

// A string that is not shown to people, such as a password.
static constexpr Key secret(Key string) {
  string.secret = true;
  return string;
}
// A map whose entries are devices, or references that have to name one.
static constexpr Key of_devices(Key key) {
  key.device = true;
  return key;
}
// References by the bare name of an entry of network.interface.
static constexpr Key by_interface_name(Key key) {
  key.interface_name = true;
  return key;
}
// A string, or an array of strings, that names entries of a map.
static constexpr Key naming(NamesOf names, Key key) {
  key.names = names;
  return key;
}
// A map whose entry names may hold '-'.
static constexpr Key hyphened(Key map) {
  map.hyphen = true;
  return map;
}
// An integer that only makes sense from `low` to `high`.
[[maybe_unused]] static constexpr Key within(int32_t low, int32_t high, Key integer) {
  integer.low = low;
  integer.high = high;
  return integer;
}

// The keys of two tables.
template <size_t n, size_t more>
static constexpr std::array<Key, n + more> join(const Key (&common)[n], const Key (&own)[more]) {
  std::array<Key, n + more> all{};
  for (size_t i = 0; i < n; i++) all[i] = common[i];
  for (size_t i = 0; i < more; i++) all[n + i] = own[i];
  return all;
}

}  // namespace keys

#endif
