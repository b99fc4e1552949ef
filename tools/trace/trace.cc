// tessera-trace is tessera whose platform operations are wrapped by the linker (--wrap). Each wrapper calls the
// operation itself and adds a line to the record, so that the run writes the same files as tessera.
//
// The record goes to a file that has to exist already. Each event is one line:
//   read PATH        a path of the configuration was read
//   tree PATH        a path and everything below it was read
//   fact KIND KEY    a key of the runtime store was read, as bool, int, string or list
//   open N INODE     the stream N for the file with this inode was opened
//   at N BYTES       before the next event, this many bytes were written to the stream N
//   file INODE PATH  at the end: the path of the file with this inode
#include <fcntl.h>
#include <ftw.h>
#include <sys/stat.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "explain/batch.h"
#include "platform/config.h"
#include "platform/runt.h"
#include "platform/tools.h"

#define WRAPPED(operation) __wrap_##operation
#define REAL(operation) __real_##operation

extern "C" FILE *__real_fdopen(int fd, const char *mode);

namespace {

struct Output {
  FILE *stream;  // null after it was closed
  long bytes;
};

std::vector<Output> outputs;

FILE *record();

int record_file(const char *path, const struct stat *status, int type, struct FTW * /*walk*/) {
  if (type == FTW_F) fprintf(record(), "file %ju %s\n", static_cast<uintmax_t>(status->st_ino), path);
  return 0;
}

void record_files() {
  nftw("/var/run", record_file, 16, FTW_PHYS);
}

FILE *record() {
  static FILE *const stream = [] {
    int fd = open(trace_path, O_WRONLY | O_TRUNC | O_CLOEXEC);
    FILE *opened = fd >= 0 ? __real_fdopen(fd, "w") : nullptr;
    if (opened == nullptr) {
      fprintf(stderr, "tessera-trace: there is no %s: only tessera-explain can use this program\n", trace_path);
      exit(125);
    }
    atexit(record_files);
    return opened;
  }();
  return stream;
}

void record_positions() {
  for (size_t i = 0; i < outputs.size(); i++) {
    if (outputs[i].stream == nullptr) continue;
    long bytes = ftell(outputs[i].stream);
    if (bytes == outputs[i].bytes) continue;
    outputs[i].bytes = bytes;
    fprintf(record(), "at %zu %ld\n", i, bytes);
  }
}

void record_read(const ConfigNode *node, const char *path, const char *event = "read") {
  if (node == nullptr || path == nullptr) return;
  record_positions();
  std::unique_ptr<char, void (*)(void *)> start(config_path(node), free);
  fprintf(record(), "%s %s%s%s\n", event, start.get(), *start != '\0' && *path != '\0' ? "." : "", path);
}

void record_fact(const char *kind, const char *key) {
  if (key == nullptr) return;
  record_positions();
  fprintf(record(), "fact %s %s\n", kind, key);
}

__attribute__((format(printf, 1, 0))) std::string format_key(const char *format, va_list arguments) {
  char *key = nullptr;
  if (vasprintf(&key, format, arguments) < 0) abort();
  std::unique_ptr<char, void (*)(void *)> owner(key, free);
  return key;
}

}  // namespace

extern "C" {

// Operations that read a path below a node.
#define WRAP_GETTER(type, operation)                                  \
  type REAL(operation)(const ConfigNode *node, const char *path);     \
  type WRAPPED(operation)(const ConfigNode *node, const char *path) { \
    record_read(node, path);                                          \
    return REAL(operation)(node, path);                               \
  }
WRAP_GETTER(const char *, config_get_string)
WRAP_GETTER(bool, config_get_bool)
WRAP_GETTER(int32_t, config_get_int)
WRAP_GETTER(double, config_get_number)
WRAP_GETTER(int32_t, config_get_duration)
WRAP_GETTER(int32_t, config_get_duration_ms)
WRAP_GETTER(const ConfigNode *, config_get_ref)
WRAP_GETTER(bool, config_has_key)
WRAP_GETTER(const ConfigNode *, config_object)
WRAP_GETTER(const ConfigNode *, config_object_get)
WRAP_GETTER(const ConfigNode *, config_array)
WRAP_GETTER(const ConfigNode *, config_lookup)

// Operations that read the node itself.
#define WRAP_NODE(type, operation)                  \
  type REAL(operation)(const ConfigNode *node);     \
  type WRAPPED(operation)(const ConfigNode *node) { \
    record_read(node, "");                          \
    return REAL(operation)(node);                   \
  }
WRAP_NODE(const char *, config_string_get)
WRAP_NODE(int32_t, config_int_get)
WRAP_NODE(const char *, config_key)

// Operations that step to another node: that node counts as read.
#define WRAP_STEP(operation)                                     \
  const ConfigNode *REAL(operation)(const ConfigNode *node);     \
  const ConfigNode *WRAPPED(operation)(const ConfigNode *node) { \
    const ConfigNode *reached = REAL(operation)(node);           \
    record_read(reached, "");                                    \
    return reached;                                              \
  }
WRAP_STEP(config_object_first)
WRAP_STEP(config_object_next)
WRAP_STEP(config_array_first)
WRAP_STEP(config_array_next)

// Operations that read an element of an array.
#define WRAP_ELEMENT(type, operation)                              \
  type REAL(operation)(const ConfigNode *array, size_t index);     \
  type WRAPPED(operation)(const ConfigNode *array, size_t index) { \
    record_read(array, std::to_string(index).c_str());             \
    return REAL(operation)(array, index);                          \
  }
WRAP_ELEMENT(const char *, config_array_get_string)
WRAP_ELEMENT(const ConfigNode *, config_array_get_ref)
WRAP_ELEMENT(const ConfigNode *, config_array_object)

char **REAL(config_get_string_list)(const ConfigNode *node, const char *path);
char **WRAPPED(config_get_string_list)(const ConfigNode *node, const char *path) {
  record_read(node, path, "tree");
  return REAL(config_get_string_list)(node, path);
}

const char *REAL(config_dump)(const ConfigNode *node);
const char *WRAPPED(config_dump)(const ConfigNode *node) {
  record_read(node, "", "tree");
  return REAL(config_dump)(node);
}

bool REAL(config_object_has_key)(const ConfigNode *node, const char *path, const char *key);
bool WRAPPED(config_object_has_key)(const ConfigNode *node, const char *path, const char *key) {
  record_read(node, (std::string(path) + "." + key).c_str());
  return REAL(config_object_has_key)(node, path, key);
}

char *REAL(runt_get_string)(const char *key);
char *WRAPPED(runt_get_string)(const char *key) {
  record_fact("string", key);
  return REAL(runt_get_string)(key);
}

int32_t REAL(runt_get_int32)(const char *key, int32_t fallback);
int32_t WRAPPED(runt_get_int32)(const char *key, int32_t fallback) {
  record_fact("int", key);
  return REAL(runt_get_int32)(key, fallback);
}

bool REAL(runt_get_bool)(const char *key, bool fallback);
bool WRAPPED(runt_get_bool)(const char *key, bool fallback) {
  record_fact("bool", key);
  return REAL(runt_get_bool)(key, fallback);
}

char **REAL(runt_keys)(const char *key);
char **WRAPPED(runt_keys)(const char *key) {
  record_fact("list", key);
  return REAL(runt_keys)(key);
}

RuntEntry **REAL(runt_get_entries)(const char *key, int a, int b, int c, int d);
RuntEntry **WRAPPED(runt_get_entries)(const char *key, int a, int b, int c, int d) {
  record_fact("list", key);
  return REAL(runt_get_entries)(key, a, b, c, d);
}

// Operations with a formatted key: they call the operation of the same kind with a plain key.
#define FORMATTED_KEY(key, last)                   \
  va_list arguments;                               \
  va_start(arguments, last);                       \
  std::string key = format_key(format, arguments); \
  va_end(arguments)

__attribute__((format(printf, 1, 2))) char *WRAPPED(runt_get_string_pathf)(const char *format, ...) {
  FORMATTED_KEY(key, format);
  return WRAPPED(runt_get_string)(key.c_str());
}

__attribute__((format(printf, 2, 3))) int32_t WRAPPED(runt_get_int_pathf)(int32_t fallback, const char *format, ...) {
  FORMATTED_KEY(key, format);
  return WRAPPED(runt_get_int32)(key.c_str(), fallback);
}

__attribute__((format(printf, 1, 2))) char **WRAPPED(runt_keys_pathf)(const char *format, ...) {
  FORMATTED_KEY(key, format);
  return WRAPPED(runt_keys)(key.c_str());
}

FILE *WRAPPED(fdopen)(int fd, const char *mode) {
  FILE *stream = REAL(fdopen)(fd, mode);
  struct stat status;
  if (stream == nullptr || fstat(fd, &status) != 0) return stream;
  record_positions();
  fprintf(record(), "open %zu %ju\n", outputs.size(), static_cast<uintmax_t>(status.st_ino));
  outputs.push_back({stream, 0});
  return stream;
}

int REAL(fclose)(FILE *stream);
int WRAPPED(fclose)(FILE *stream) {
  record_positions();
  for (Output &output : outputs)
    if (output.stream == stream) output.stream = nullptr;
  return REAL(fclose)(stream);
}

}  // extern "C"
