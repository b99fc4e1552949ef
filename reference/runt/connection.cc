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

// Address space, not memory: of the file, which is as long, only the pages in use take room. Large enough for a map of
// 100,000 devices while the old map is still being read, small enough for a 32-bit router.
constexpr size_t map_size = size_t{128} << 20;

// LMDB's own names, and its size for 126 readers.
constexpr char data_path[] = "/var/run/runt/data.mdb";
constexpr char lock_path[] = "/var/run/runt/lock.mdb";
constexpr off_t reader_table_size = 8192;

// Locks an open file until it is closed. A program that is stopped while it holds the lock would hold up others for
// ever, so all waits of a process share 10 seconds. 0 for success, EBUSY when they are over.
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

// LMDB waits without a limit for a program that registers as a reader or sets the store up. So that happens under a
// lock of our own, on the directory, which is held until the returned descriptor is closed.
int lock_setup(Fd *lock) {
  *lock = open_directory();
  return lock->is_open() ? lock_file(lock->get()) : errno;
}

// Begins a transaction. The slots of readers that were killed are freed when there is none left, and a map that another
// program has enlarged is mapped anew.
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

// A program that reads beyond the end of a mapped file is killed. Every writer makes the file as long as the map before
// its first batch, so a file that is shorter than the pages it speaks of has been cut.
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

// LMDB makes its table of readers through a mapping, and on a full file system that kills the program: the room for the
// table is reserved beforehand. On a file system that nobody can write to LMDB does without the table.
int reserve_reader_table() {
  Fd fd(open(lock_path, O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  if (!fd.is_open()) return errno == EROFS ? 0 : errno;
  return posix_fallocate(fd.get(), 0, reader_table_size);
}

// When a file system has no room for all of the first pages, LMDB leaves a file that can never be opened. Their room is
// reserved while the file is still empty.
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
  // Nothing outlives a boot, so nothing is flushed; a program that is killed leaves the last whole batch all the same.
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

// As runt_connect, under the lock for setting up.
int open_for_reading() {
  struct stat file;
  // Without a file there is nothing to read; the first change will make it.
  store.open = stat(data_path, &file) != 0 && errno == ENOENT;
  if (store.open || open_environment(MDB_RDONLY) == 0) return 0;
  // A program that was killed while it made the file left one that only a writer can complete.
  return open_environment(0);
}

int become_writer() {
  if (store.writable) return 0;
  Fd lock;
  int error = lock_setup(&lock);
  if (error != 0) return error;
  close_environment();
  error = open_environment(0);
  if (error != 0) open_for_reading();  // the reads go on
  return error;
}

// A reader that was killed would keep the pages it saw from being used again, until the store is full. The next batch
// does this as well when another program is just setting up.
void forget_killed_readers() {
  Fd lock = open_directory();
  if (lock.is_open() && flock(lock.get(), LOCK_EX | LOCK_NB) == 0) mdb_reader_check(store.env, nullptr);
}

// Lets the reads outside a batch see the present state.
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
  // The batch is stored, whatever becomes of the view of it.
  int view_error = renew_snapshot();
  if (view_error != 0) log_debug("cannot see the changed runtime store: %s", runt_error_text(view_error));
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
