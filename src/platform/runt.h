// The runtime state store: live facts of the running system as strings under dotted keys.
//
// Before runt_init has succeeded and after runt_deinit, reads return null or the fallback, and edits do nothing.
// Returned strings and lists belong to the caller.
#ifndef TESSERA_PLATFORM_RUNT_H
#define TESSERA_PLATFORM_RUNT_H

#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// One stored child of a key. Strings belong to the list.
typedef struct RuntEntry {
  const char *key;   // the full key
  const char *name;  // its last component
  const char *value;
} RuntEntry;

// Connects to the store. Returns 0, or non-zero when the store cannot be opened. Reads see the store as it was at that
// time, and after each change of this connection as it is then. A second runt_init keeps the connection. One
// runt_deinit ends it and discards an open batch; without a connection runt_deinit does nothing.
int runt_init(void);
void runt_deinit(void);

// The string at a key, which the caller frees; null when there is none.
char *runt_get_string(const char *key);
char *runt_get_string_pathf(const char *format, ...) __attribute__((format(printf, 1, 2)));

// Numbers and booleans; `fallback` when the string is missing or malformed.
int32_t runt_get_int32(const char *key, int32_t fallback);
int32_t runt_get_int_pathf(int32_t fallback, const char *format, ...) __attribute__((format(printf, 2, 3)));
bool runt_get_bool(const char *key, bool fallback);

// The names of a key's children as a string list in natural order, which the caller releases with sl_free; null when
// the key has no children. Natural order: components of digits come first and compare as numbers.
char **runt_keys(const char *key);
char **runt_keys_pathf(const char *format, ...) __attribute__((format(printf, 1, 2)));

// The direct children that hold a value, in natural order, as an array that ends with a null pointer; null when there
// are none. The caller releases it with runt_entries_free, which accepts null. The last four arguments are reserved and
// 0.
RuntEntry **runt_get_entries(const char *key, int reserved1, int reserved2, int reserved3, int reserved4);
void runt_entries_free(RuntEntry **entries);

// Changes; all return 0 for success. Changes between start and commit form one batch, which becomes visible as a whole
// or not at all. A change outside a batch is a batch of its own. runt_delete removes the key and all keys below it.
int runt_edit_start(void);
int runt_delete(const char *key);
int runt_set_string_pathf(const char *value, const char *format, ...) __attribute__((format(printf, 2, 3)));
int runt_edit_commit(void);

#ifdef __cplusplus
}
#endif

#endif
