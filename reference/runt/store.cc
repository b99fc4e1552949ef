// Reads and changes values.
#include "runt/store.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "platform/runt.h"
#include "platform/tools.h"
#include "runt/connection.h"
#include "util/memory.h"

namespace {

Connection &store = runt_connection;

MDB_val stored_form(const StoredKey &key) {
  return {key.length, const_cast<char *>(key.bytes)};  // only read
}

bool find_value(const char *key, MDB_val *value) {
  StoredKey encoded;
  if (runt_view() == nullptr || !runt_encode_key(key, &encoded)) return false;
  MDB_val stored = stored_form(encoded);
  return mdb_get(runt_view(), store.values, &stored, value) == 0;
}

int put(const StoredKey &key, const char *value) {
  MDB_val stored = stored_form(key);
  MDB_val bytes = {strlen(value), const_cast<char *>(value)};  // only read
  return mdb_put(store.batch, store.values, &stored, &bytes, 0);
}

// True for `root` and all keys below it.
bool lies_below(const StoredKey &root, const MDB_val &key) {
  return key.mv_size >= root.length && memcmp(key.mv_data, root.bytes, root.length) == 0 &&
         (key.mv_size == root.length || bytes_of(key)[root.length] == '\0');
}

// Removes `root` and all keys below it.
int remove_subtree(const StoredKey &root, const char * /*value*/) {
  MDB_cursor *cursor;
  int error = mdb_cursor_open(store.batch, store.values, &cursor);
  if (error != 0) return error;
  MDB_val key = stored_form(root);
  MDB_val value;
  error = mdb_cursor_get(cursor, &key, &value, MDB_SET_RANGE);
  while (error == 0 && lies_below(root, key)) {
    error = mdb_cursor_del(cursor, 0);
    if (error == 0) error = mdb_cursor_get(cursor, &key, &value, MDB_NEXT);
  }
  mdb_cursor_close(cursor);
  return error == MDB_NOTFOUND ? 0 : error;
}

// Makes one change in the open batch, or else in a batch of its own. 0 for success.
int change(int step(const StoredKey &, const char *), const char *key, const char *value) {
  StoredKey encoded;
  if (!store.open) return ENOTCONN;
  bool valid = value != nullptr && runt_encode_key(key, &encoded);
  bool alone = store.batch == nullptr;
  if (alone && !valid) return EINVAL;
  int error = alone ? runt_edit_start() : 0;
  if (error != 0) return error;
  if (store.batch_error == 0) store.batch_error = valid ? step(encoded, value) : EINVAL;
  return alone ? runt_edit_commit() : store.batch_error;
}

// The formatted key; null when it is too long.
const char *format_key(char (&buffer)[runt_key_limit + 1], const char *format, va_list arguments)
    __attribute__((format(printf, 2, 0)));
const char *format_key(char (&buffer)[runt_key_limit + 1], const char *format, va_list arguments) {
  int length = vsnprintf(buffer, sizeof buffer, format, arguments);
  return length >= 0 && static_cast<size_t>(length) < sizeof buffer ? buffer : nullptr;
}

// Parses a decimal 32-bit integer, without spaces and "+". False for anything else.
bool parse_int32(std::string_view digits, int32_t *number) {
  bool negative = !digits.empty() && digits.front() == '-';
  if (negative) digits.remove_prefix(1);
  if (digits.empty()) return false;
  int64_t magnitude = 0;
  for (char digit : digits) {
    if (digit < '0' || digit > '9') return false;
    magnitude = magnitude * 10 + (digit - '0');
    if (magnitude > INT32_MAX + int64_t{negative}) return false;
  }
  *number = static_cast<int32_t>(negative ? -magnitude : magnitude);
  return true;
}

}  // namespace

bool runt_encode_key(const char *key, StoredKey *encoded) {
  size_t length = key != nullptr ? strlen(key) : 0;
  if (length == 0 || length > runt_key_limit) return false;
  char *bytes = encoded->bytes;
  char *end = bytes + length;
  memcpy(bytes, key, length + 1);
  for (char *component = bytes;; component++) {
    char *dot = static_cast<char *>(memchr(component, '.', static_cast<size_t>(end - component)));
    if (dot == component || component == end) return false;
    if (dot == nullptr) break;
    *dot = '\0';
    component = dot;
  }
  encoded->length = length;
  return true;
}

const char *runt_error_message(int error) {
  return mdb_strerror(error);
}

int runt_init(void) {
  if (store.open) return 0;
  int error = runt_connect();
  if (error != 0) log_debug("cannot open the runtime store %s: %s", runt_directory, runt_error_message(error));
  return error;
}

void runt_deinit(void) {
  runt_disconnect();
}

char *runt_get_string(const char *key) {
  MDB_val value;
  return find_value(key, &value) ? copy_bytes(bytes_of(value).data(), value.mv_size) : nullptr;
}

char *runt_get_string_pathf(const char *format, ...) {
  char key[runt_key_limit + 1];
  va_list arguments;
  va_start(arguments, format);
  char *value = runt_get_string(format_key(key, format, arguments));
  va_end(arguments);
  return value;
}

int32_t runt_get_int32(const char *key, int32_t fallback) {
  MDB_val value;
  int32_t number;
  return find_value(key, &value) && parse_int32(bytes_of(value), &number) ? number : fallback;
}

int32_t runt_get_int_pathf(int32_t fallback, const char *format, ...) {
  char key[runt_key_limit + 1];
  va_list arguments;
  va_start(arguments, format);
  int32_t number = runt_get_int32(format_key(key, format, arguments), fallback);
  va_end(arguments);
  return number;
}

bool runt_get_bool(const char *key, bool fallback) {
  MDB_val value;
  if (!find_value(key, &value)) return fallback;
  if (bytes_of(value) == "true" || bytes_of(value) == "1") return true;
  if (bytes_of(value) == "false" || bytes_of(value) == "0") return false;
  return fallback;
}

char **runt_keys_pathf(const char *format, ...) {
  char key[runt_key_limit + 1];
  va_list arguments;
  va_start(arguments, format);
  char **names = runt_keys(format_key(key, format, arguments));
  va_end(arguments);
  return names;
}

int runt_edit_start(void) {
  if (!store.open) return ENOTCONN;
  if (store.batch != nullptr) return EBUSY;
  return runt_begin_batch();
}

int runt_delete(const char *key) {
  return change(remove_subtree, key, "");
}

int runt_set_string_pathf(const char *value, const char *format, ...) {
  char key[runt_key_limit + 1];
  va_list arguments;
  va_start(arguments, format);
  int error = change(put, format_key(key, format, arguments), value);
  va_end(arguments);
  return error;
}

int runt_edit_commit(void) {
  if (store.batch == nullptr) return EINVAL;
  int error = runt_end_batch();
  if (error != 0) log_debug("cannot change the runtime store: %s", runt_error_message(error));
  return error;
}
