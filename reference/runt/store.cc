// The connection to the store: values and changes.
#include "runt/store.h"

#include <fcntl.h>
#include <lmdb.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "platform/runt.h"
#include "platform/tools.h"
#include "runt/replacement.h"
#include "util/memory.h"

namespace {

// Address space, not memory: of the file, which is as long, only the pages in use take room. Large enough for a map of
// 100,000 devices while the old map is still being read, small enough for a 32-bit router.
constexpr size_t map_size = size_t{128} << 20;

// LMDB's own names, and its size for 126 readers.
constexpr char data_path[] = "/var/run/runt/data.mdb";
constexpr char lock_path[] = "/var/run/runt/lock.mdb";
constexpr off_t reader_table_size = 8192;

// What a snapshot gave for a key. Mappers ask the same question for each of many interfaces.
struct Answer {
  StoredKey key;  // of length 0 before the first question
  bool found;
  MDB_val value;
};

// A connection starts as a reader: most programs never write, and LMDB's reader opens with half the effort.
struct Connection {
  bool open;
  bool writable;
  MDB_env *env;              // null while the store has no file yet
  MDB_txn *snapshot;         // what reads see outside a batch; null like `env`
  MDB_txn *batch;            // null outside a batch
  int batch_error;           // the first failure of a change in the batch
  Replacement *replacement;  // of the subtree that the batch removed last, not in the store yet; or null
  MDB_dbi values;
  Answer last;  // of the snapshot
};
Connection store;

// Begins a transaction, putting right what can be: slots of readers that were killed, and a map that another program
// has enlarged.
int begin(unsigned flags, MDB_txn **transaction) {
  int error = mdb_txn_begin(store.env, nullptr, flags, transaction);
  if (error == MDB_READERS_FULL) {
    mdb_reader_check(store.env, nullptr);
    error = mdb_txn_begin(store.env, nullptr, flags, transaction);
  }
  if (error == MDB_MAP_RESIZED && store.snapshot == nullptr) {
    mdb_env_set_mapsize(store.env, 0);
    error = mdb_txn_begin(store.env, nullptr, flags, transaction);
  }
  return error;
}

void close_environment() {
  mdb_txn_abort(store.snapshot);
  if (store.env != nullptr) mdb_env_close(store.env);
  store = {};
}

int data_fd() {
  int fd = -1;
  mdb_env_get_fd(store.env, &fd);
  return fd;
}

// LMDB waits for another writer for ever. One that is stuck is waited for 10 seconds, then the change fails with EBUSY.
int lock_writers() {
  constexpr int tries = 500;
  constexpr timespec pause_between = {0, 20'000'000};
  for (int i = 0; flock(data_fd(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK; i++) {
    if (i == tries) return EBUSY;
    nanosleep(&pause_between, nullptr);
  }
  return 0;
}

void unlock_writers() {
  flock(data_fd(), LOCK_UN);
}

// A program that reads beyond the end of a mapped file is killed. Every writer makes the file as long as the map before
// its first batch, so one that is shorter than the pages it speaks of has been cut. `seen` is how long a reader found
// it before it was opened: that is enough when it is, as no writer shortens it.
int settle_size(bool writable, size_t seen) {
  struct stat file;
  MDB_envinfo info;
  MDB_stat pages;
  mdb_env_info(store.env, &info);
  mdb_env_stat(store.env, &pages);
  size_t used = (info.me_last_pgno + 1) * pages.ms_psize;
  if (!writable && seen >= used) return 0;
  int fd = data_fd();
  if (fstat(fd, &file) != 0) return errno;
  auto size = static_cast<size_t>(file.st_size);
  if (size < used) return MDB_CORRUPTED;
  return !writable || size >= map_size || ftruncate(fd, map_size) == 0 ? 0 : errno;
}

// LMDB makes its table of readers through a mapping, and on a full file system that kills the program: the room for it
// is taken beforehand. On a file system that nobody can write to LMDB does without the table.
int reserve_reader_table() {
  int fd = open(lock_path, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (fd < 0) return errno == EROFS ? 0 : errno;
  int error = posix_fallocate(fd, 0, reader_table_size);
  close(fd);
  return error;
}

// Nor does LMDB take back the first pages of a new file when there was no room for all of them, and such a file is no
// store for ever after. Their room is taken while the file is still empty.
int reserve_first_pages() {
  int fd = open(data_path, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (fd < 0) return errno == EROFS ? 0 : errno;
  struct stat file;
  int error = fstat(fd, &file) != 0 ? errno : 0;
  if (error == 0 && file.st_size == 0 && fallocate(fd, FALLOC_FL_KEEP_SIZE, 0, 2 * sysconf(_SC_PAGESIZE)) != 0)
    error = errno == EOPNOTSUPP ? 0 : errno;
  close(fd);
  return error;
}

// The table that goes with existing data may have been removed or cut.
int settle_reader_table() {
  struct stat file;
  return stat(lock_path, &file) == 0 && file.st_size >= reader_table_size ? 0 : reserve_reader_table();
}

// Opens the store's files and takes a snapshot. Nothing stays open after a failure.
int open_environment(unsigned access, size_t seen = 0) {
  int error = access != MDB_RDONLY ? reserve_first_pages() : 0;
  if (error == 0) error = mdb_env_create(&store.env);
  if (error != 0) return error;
  // Nothing outlives a boot, so nothing is flushed; a program that is killed leaves the last whole batch all the same.
  constexpr unsigned flags = MDB_NOTLS | MDB_NOSYNC;
  if (access != MDB_RDONLY) mdb_env_set_mapsize(store.env, map_size);
  error = mdb_env_open(store.env, runt_directory, flags | access, 0600);
  if (error == 0) error = settle_size(access != MDB_RDONLY, seen);
  if (error == 0) error = begin(MDB_RDONLY, &store.snapshot);
  if (error == 0) error = mdb_dbi_open(store.snapshot, nullptr, 0, &store.values);
  if (error != 0) close_environment();
  store.open = error == 0;
  store.writable = store.open && access != MDB_RDONLY;
  return error;
}

int connect() {
  struct stat file;
  int error = stat(data_path, &file) == 0 ? 0 : errno;
  if (error == 0) error = settle_reader_table();
  if (error == 0) error = open_environment(MDB_RDONLY, static_cast<size_t>(file.st_size));
  if (error == 0) return 0;
  // Without a file there is nothing to read; the first change will make it.
  if (error == ENOENT) {
    store.open = mkdir(runt_directory, 0700) == 0 || errno == EEXIST;
    return store.open ? 0 : errno;
  }
  // A program that was killed while it made the file left one that only a writer can complete.
  error = reserve_reader_table();
  return error != 0 ? error : open_environment(0);
}

int become_writer() {
  if (store.writable) return 0;
  int error = store.env == nullptr ? reserve_reader_table() : 0;
  if (error != 0) return error;
  close_environment();
  error = open_environment(0);
  if (error != 0) connect();  // to go on reading
  return error;
}

// Lets the reads outside a batch see the present state.
int renew_snapshot() {
  store.last.key.length = 0;
  mdb_txn_reset(store.snapshot);
  int error = mdb_txn_renew(store.snapshot);
  if (error == 0) return 0;
  mdb_txn_abort(store.snapshot);
  store.snapshot = nullptr;
  return begin(MDB_RDONLY, &store.snapshot);
}

void drop_replacement() {
  delete store.replacement;
  store.replacement = nullptr;
}

// Brings all changes of the batch into the store.
void settle_batch() {
  if (store.replacement == nullptr) return;
  int error = store.replacement->store(store.batch, store.values);
  if (store.batch_error == 0) store.batch_error = error;
  drop_replacement();
}

MDB_txn *visible() {
  settle_batch();
  return store.batch != nullptr ? store.batch : store.snapshot;
}

std::string_view bytes_of(const MDB_val &value) {
  return {static_cast<const char *>(value.mv_data), value.mv_size};
}

bool find_value(const char *key, MDB_val *value) {
  MDB_txn *view = visible();
  StoredKey encoded;
  if (view == nullptr || !runt_encode_key(key, &encoded)) return false;
  MDB_val stored = {encoded.length, encoded.bytes};
  if (view == store.batch) return mdb_get(view, store.values, &stored, value) == 0;
  Answer &last = store.last;
  if (bytes_of(stored) != std::string_view(last.key.bytes, last.key.length)) {
    last.found = mdb_get(view, store.values, &stored, &last.value) == 0;
    last.key = encoded;
  }
  *value = last.value;
  return last.found;
}

int put(MDB_val *key, MDB_val *value) {
  if (store.replacement != nullptr && store.replacement->add(bytes_of(*key), bytes_of(*value))) return 0;
  return mdb_put(store.batch, store.values, key, value, 0);
}

// Removes `key` and all that follow it in its subtree.
int remove_subtree(MDB_val *key, MDB_val * /*value*/) {
  settle_batch();
  if (store.batch_error == 0) store.replacement = new Replacement(bytes_of(*key));
  return store.batch_error;
}

// Makes one change: in the open batch, else in a batch of its own.
int change(int step(MDB_val *, MDB_val *), const char *key, const char *text) {
  StoredKey encoded;
  if (!store.open) return ENOTCONN;
  bool valid = text != nullptr && runt_encode_key(key, &encoded);
  bool alone = store.batch == nullptr;
  if (alone && !valid) return EINVAL;
  int error = alone ? runt_edit_start() : 0;
  if (error != 0) return error;
  if (store.batch_error == 0 && !valid) store.batch_error = EINVAL;
  if (store.batch_error == 0) {
    MDB_val stored = {encoded.length, encoded.bytes};
    MDB_val value = {strlen(text), const_cast<char *>(text)};  // only read
    store.batch_error = step(&stored, &value);
  }
  return alone ? runt_edit_commit() : store.batch_error;
}

// The formatted key; one that does not fit is none at all, and null stands for it. A finished one is taken as it is.
const char *format_key(char (&buffer)[runt_key_limit + 1], const char *format, va_list arguments)
    __attribute__((format(printf, 2, 0)));
const char *format_key(char (&buffer)[runt_key_limit + 1], const char *format, va_list arguments) {
  if (strcmp(format, "%s") == 0) return va_arg(arguments, const char *);
  int length = vsnprintf(buffer, sizeof buffer, format, arguments);
  return length >= 0 && static_cast<size_t>(length) < sizeof buffer ? buffer : nullptr;
}

// A decimal number within the range; no blanks, no "+".
bool parse_int32(const MDB_val &text, int32_t *number) {
  const char *byte = static_cast<const char *>(text.mv_data);
  const char *end = byte + text.mv_size;
  bool negative = byte != end && *byte == '-';
  if (negative) byte++;
  if (byte == end) return false;
  int64_t magnitude = 0;
  for (; byte != end; byte++) {
    if (*byte < '0' || *byte > '9') return false;
    magnitude = magnitude * 10 + (*byte - '0');
    if (magnitude > INT32_MAX + int64_t{negative}) return false;
  }
  *number = static_cast<int32_t>(negative ? -magnitude : magnitude);
  return true;
}

bool equals(const MDB_val &value, const char *text) {
  return value.mv_size == strlen(text) && memcmp(value.mv_data, text, value.mv_size) == 0;
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

MDB_cursor *runt_open_cursor() {
  MDB_cursor *cursor = nullptr;
  if (visible() == nullptr) return nullptr;
  int error = mdb_cursor_open(visible(), store.values, &cursor);
  if (error == ENOMEM) end_without_memory();
  return error == 0 ? cursor : nullptr;
}

const char *runt_error_text(int error) {
  return mdb_strerror(error);
}

int runt_init(void) {
  if (store.open) return 0;
  int error = connect();
  if (error != 0) {
    log_debug("cannot open the runtime store %s: %s", runt_directory, runt_error_text(error));
  }
  return error;
}

void runt_deinit(void) {
  drop_replacement();
  mdb_txn_abort(store.batch);
  close_environment();
}

char *runt_get_string(const char *key) {
  MDB_val value;
  if (!find_value(key, &value)) return nullptr;
  return copy_bytes(static_cast<const char *>(value.mv_data), value.mv_size);
}

char *runt_get_string_pathf(const char *format, ...) {
  char key[runt_key_limit + 1];
  va_list arguments;
  va_start(arguments, format);
  char *text = runt_get_string(format_key(key, format, arguments));
  va_end(arguments);
  return text;
}

int32_t runt_get_int32(const char *key, int32_t fallback) {
  MDB_val value;
  int32_t number;
  return find_value(key, &value) && parse_int32(value, &number) ? number : fallback;
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
  if (equals(value, "true") || equals(value, "1")) return true;
  if (equals(value, "false") || equals(value, "0")) return false;
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
  int error = become_writer();
  if (error != 0) return error;
  error = lock_writers();
  if (error != 0) return error;
  // A reader that was killed would keep the pages it saw from being used again, until the store is full.
  mdb_reader_check(store.env, nullptr);
  store.batch_error = 0;
  error = begin(0, &store.batch);
  if (error != 0) unlock_writers();
  return error;
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
  if (store.batch_error == 0) settle_batch();
  int error = store.batch_error;
  if (error != 0) {
    mdb_txn_abort(store.batch);
  } else {
    error = mdb_txn_commit(store.batch);
  }
  store.batch = nullptr;
  drop_replacement();
  unlock_writers();
  if (error != 0) {
    log_debug("cannot change the runtime store: %s", runt_error_text(error));
    return error;
  }
  // The batch is stored, whatever becomes of the view of it.
  error = renew_snapshot();
  if (error != 0) log_debug("cannot see the changed runtime store: %s", runt_error_text(error));
  return 0;
}
