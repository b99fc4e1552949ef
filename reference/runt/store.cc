// Reads and changes values.
#include "runt/store.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "platform/runt.h"
#include "platform/tools.h"
#include "runt/connection.h"
#include "util/memory.h"

namespace {

// The value of a key; null when there is none.
const std::string *find_value(const char *key) {
  if (runt_connection == nullptr || !runt_is_key(key)) return nullptr;
  auto found = runt_connection->values.find(key);
  return found != runt_connection->values.end() ? &found->second : nullptr;
}

void put(Connection *connection, const char *key, const char *value) {
  connection->values.insert_or_assign(key, value);
}

// Removes the key and all keys below it.
void remove_subtree(Connection *connection, const char *key, const char * /*value*/) {
  Values &values = connection->values;
  std::string root = key;
  values.erase(root);
  values.erase(values.lower_bound(root + '.'), values.lower_bound(root + past_dot));
}

// Makes one change in the open batch, or else in a batch of its own. 0 for success.
int change(void step(Connection *, const char *, const char *), const char *key, const char *value) {
  if (runt_connection == nullptr) return ENOTCONN;
  bool valid = value != nullptr && runt_is_key(key);
  bool alone = !runt_in_batch();
  if (alone && !valid) return EINVAL;
  int error = alone ? runt_edit_start() : 0;
  if (error != 0) return error;
  int &batch_error = runt_connection->batch_error;
  if (batch_error == 0 && !valid) batch_error = EINVAL;
  if (batch_error == 0) step(runt_connection.get(), key, value);
  return alone ? runt_edit_commit() : batch_error;
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

bool runt_is_key(const char *key) {
  if (key == nullptr || *key == '.') return false;
  size_t length = strlen(key);
  return length > 0 && length <= runt_key_limit && key[length - 1] != '.' && strstr(key, "..") == nullptr;
}

const char *runt_error_message(int error) {
  return error == EBADMSG ? "the file is damaged" : strerror(error);
}

int runt_init(void) {
  if (runt_connection != nullptr) return 0;
  int error = runt_connect();
  if (error != 0) log_debug("cannot open the runtime store %s: %s", runt_directory, runt_error_message(error));
  return error;
}

void runt_deinit(void) {
  runt_connection.reset();
}

char *runt_get_string(const char *key) {
  const std::string *value = find_value(key);
  return value != nullptr ? copy_bytes(value->data(), value->size()) : nullptr;
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
  const std::string *value = find_value(key);
  int32_t number;
  return value != nullptr && parse_int32(*value, &number) ? number : fallback;
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
  const std::string *value = find_value(key);
  if (value == nullptr) return fallback;
  if (*value == "true" || *value == "1") return true;
  if (*value == "false" || *value == "0") return false;
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
  if (runt_connection == nullptr) return ENOTCONN;
  if (runt_in_batch()) return EBUSY;
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
  if (!runt_in_batch()) return EINVAL;
  int error = runt_end_batch();
  if (error != 0) log_debug("cannot change the runtime store: %s", runt_error_message(error));
  return error;
}
