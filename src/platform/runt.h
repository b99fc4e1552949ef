// The runtime state store: live facts of the running system as strings under dotted keys.
//
// Before runt_init has succeeded and after runt_deinit, reads yield nothing (null or the default) and edits do nothing.
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

// Connects to the store: 0, or non-zero when it cannot be opened. The connection sees the store as it was then, or
// after its own last change. Connecting again keeps it, and one runt_deinit ends it, giving up an open batch;
// runt_deinit is harmless without a connection.
int runt_init(void);
void runt_deinit(void);

// The string at a key, released with free; null when there is none.
char *runt_get_string(const char *key);
char *runt_get_string_pathf(const char *format, ...) __attribute__((format(printf, 1, 2)));

// Numbers and booleans; the default stands for a missing or malformed string.
int32_t runt_get_int32(const char *key, int32_t fallback);
int32_t runt_get_int_pathf(int32_t fallback, const char *format, ...) __attribute__((format(printf, 2, 3)));
bool runt_get_bool(const char *key, bool fallback);

// The names of a key's children as a string list for sl_free, in natural order; null when it has none.
char **runt_keys(const char *key);
char **runt_keys_pathf(const char *format, ...) __attribute__((format(printf, 1, 2)));

// The direct children that hold a value, in natural order, as an array ended by a null pointer and released with
// runt_entries_free (null is harmless); null when there are none. The last four arguments are reserved and 0.
RuntEntry **runt_get_entries(const char *key, int reserved1, int reserved2, int reserved3, int reserved4);
void runt_entries_free(RuntEntry **entries);

// Changes. Between start and commit they form one batch that becomes visible as a whole or not at all; outside a batch
// each stands alone. runt_delete removes the key and all below it. 0 for success.
int runt_edit_start(void);
int runt_delete(const char *key);
int runt_set_string_pathf(const char *value, const char *format, ...) __attribute__((format(printf, 2, 3)));
int runt_edit_commit(void);

#ifdef __cplusplus
}
#endif

#endif
