#include "runt/connection.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "platform/tools.h"
#include "runt/store.h"
#include "util/memory.h"
#include "util/owned.h"

Connection runt_connection;

namespace {

Connection &store = runt_connection;

// The size of the mapping, in bytes. It is address space and not memory, and the file is sparse. It is large enough for
// a map of 100,000 devices while the old map is still read, and small enough for a 32-bit router.
constexpr size_t map_size = size_t{128} << 20;

// The names that LMDB gives to its files, and the size of its table for 126 readers.
constexpr char data_path[] = "/var/run/runt/data.mdb";
constexpr char lock_path[] = "/var/run/runt/lock.mdb";
constexpr off_t reader_table_size = 8192;

// Locks an open file until it is closed. Returns 0 for success. A stopped program may never release its lock, so a
// process waits at most 10 seconds in all; after that this returns EBUSY.
int lock_file(int fd) {
  constexpr int patience = 10'000;  // milliseconds
  constexpr int pause = 20;
  static int waited = 0;
  while (flock(fd, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK) return errno;
    if (waited >= patience) return EBUSY;
    constexpr timespec pause_between = {0, pause * 1'000'000L};
    nanosleep(&pause_between, nullptr);
    waited += pause;
    if (waited >= patience)
      log_error("another program keeps the runtime store %s locked, giving up after %d seconds", runt_directory,
                patience / 1000);
  }
  return 0;
}

Fd open_directory() {
  return Fd(open(runt_directory, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

// Locks the directory for opening the store, until `lock` is closed. LMDB's own locks have no time limit: it would wait
// for ever for a program that was stopped while it opened the store.
int lock_setup(Fd *lock) {
  *lock = open_directory();
  return lock->is_open() ? lock_file(lock->get()) : errno;
}

// Begins a transaction. When there is no free reader slot, it first frees the slots of killed readers. When another
// program has enlarged the map, it maps the file again.
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

int data_fd() {
  int fd = -1;
  mdb_env_get_fd(store.env, &fd);
  return fd;
}

// Checks the size of the file, because a program that reads beyond the end of a mapped file is killed. A file that is
// shorter than its own pages has been cut. A writer extends the file to the size of the map before its first batch.
int check_size(bool writable) {
  struct stat file;
  MDB_envinfo info;
  MDB_stat pages;
  mdb_env_info(store.env, &info);
  mdb_env_stat(store.env, &pages);
  if (fstat(data_fd(), &file) != 0) return errno;
  auto size = static_cast<size_t>(file.st_size);
  if (size < (info.me_last_pgno + 1) * pages.ms_psize) return MDB_CORRUPTED;
  return !writable || size >= map_size || ftruncate(data_fd(), map_size) == 0 ? 0 : errno;
}

// Reserves room for LMDB's table of readers. LMDB creates the table through a mapping, and on a full file system that
// would kill the program. On a read-only file system LMDB needs no table.
int reserve_reader_table() {
  Fd fd(open(lock_path, O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  if (!fd.is_open()) return errno == EROFS ? 0 : errno;
  return posix_fallocate(fd.get(), 0, reader_table_size);
}

// Reserves room for the first pages while the file is empty. Otherwise, on a full file system, LMDB would leave a file
// that can never be opened.
int reserve_first_pages() {
  Fd fd(open(data_path, O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  if (!fd.is_open()) return errno == EROFS ? 0 : errno;
  struct stat file;
  if (fstat(fd.get(), &file) != 0) return errno;
  if (file.st_size > 0 || fallocate(fd.get(), FALLOC_FL_KEEP_SIZE, 0, 2 * sysconf(_SC_PAGESIZE)) == 0) return 0;
  return errno == EOPNOTSUPP ? 0 : errno;
}

void close_environment() {
  mdb_txn_abort(store.snapshot);
  if (store.env != nullptr) mdb_env_close(store.env);
  store = {};
}

// Opens the store's files and takes a snapshot; `access` is MDB_RDONLY or 0. Nothing stays open after a failure.
int open_environment(unsigned access) {
  bool writable = access != MDB_RDONLY;
  int error = writable ? reserve_first_pages() : 0;
  if (error == 0) error = reserve_reader_table();
  if (error == 0) error = mdb_env_create(&store.env);
  if (error != 0) return error;
  // The store does not survive a reboot, so nothing needs to be flushed. A killed program still leaves a complete
  // batch.
  constexpr unsigned flags = MDB_NOTLS | MDB_NOSYNC;
  if (writable) mdb_env_set_mapsize(store.env, map_size);
  error = mdb_env_open(store.env, runt_directory, flags | access, 0600);
  if (error == 0) error = check_size(writable);
  if (error == 0) error = begin(MDB_RDONLY, &store.snapshot);
  if (error == 0) error = mdb_dbi_open(store.snapshot, nullptr, 0, &store.values);
  if (error != 0) close_environment();
  store.open = error == 0;
  store.writable = store.open && writable;
  return error;
}

// Opens the store for reading. The caller holds the lock of lock_setup. 0 for success.
int open_for_reading() {
  struct stat file;
  // Without a file there is nothing to read. The first change creates it.
  store.open = stat(data_path, &file) != 0 && errno == ENOENT;
  if (store.open || open_environment(MDB_RDONLY) == 0) return 0;
  // Only a writer can complete the file of a program that was killed while it created the store.
  return open_environment(0);
}

// Opens the store again for writing, unless it is open for writing. 0 for success; otherwise it is open for reading.
int become_writer() {
  if (store.writable) return 0;
  Fd lock;
  int error = lock_setup(&lock);
  if (error != 0) return error;
  close_environment();
  error = open_environment(0);
  if (error != 0) open_for_reading();
  return error;
}

// Frees the slots of killed readers: otherwise the pages that they saw would not be used again, until the store is
// full. Skips this while another program opens the store, as the next batch does it too.
void forget_killed_readers() {
  Fd lock = open_directory();
  if (lock.is_open() && flock(lock.get(), LOCK_EX | LOCK_NB) == 0) mdb_reader_check(store.env, nullptr);
}

// Makes later reads outside a batch see the present state.
int renew_snapshot() {
  mdb_txn_reset(store.snapshot);
  int error = mdb_txn_renew(store.snapshot);
  if (error == 0) return 0;
  mdb_txn_abort(store.snapshot);
  store.snapshot = nullptr;
  return begin(MDB_RDONLY, &store.snapshot);
}

}  // namespace

int runt_connect() {
  if (mkdir(runt_directory, 0700) != 0 && errno != EEXIST) return errno;
  Fd lock;
  int error = lock_setup(&lock);
  return error != 0 ? error : open_for_reading();
}

void runt_disconnect() {
  mdb_txn_abort(store.batch);
  close_environment();
}

int runt_begin_batch() {
  int error = become_writer();
  if (error == 0) error = lock_file(data_fd());
  if (error != 0) return error;
  forget_killed_readers();
  store.batch_error = 0;
  error = begin(0, &store.batch);
  if (error != 0) flock(data_fd(), LOCK_UN);
  return error;
}

int runt_end_batch() {
  int error = store.batch_error;
  if (error != 0) {
    mdb_txn_abort(store.batch);
  } else {
    error = mdb_txn_commit(store.batch);
  }
  store.batch = nullptr;
  flock(data_fd(), LOCK_UN);
  if (error != 0) return error;
  // The batch is stored even if the snapshot cannot be renewed.
  int view_error = renew_snapshot();
  if (view_error != 0) log_debug("cannot see the changed runtime store: %s", runt_error_message(view_error));
  return 0;
}

MDB_txn *runt_view() {
  return store.batch != nullptr ? store.batch : store.snapshot;
}

MDB_cursor *runt_open_cursor() {
  MDB_cursor *cursor = nullptr;
  if (runt_view() == nullptr) return nullptr;
  int error = mdb_cursor_open(runt_view(), store.values, &cursor);
  if (error == ENOMEM) end_without_memory();
  return error == 0 ? cursor : nullptr;
}
