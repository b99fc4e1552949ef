#include "runt/connection.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <string_view>
#include <utility>

#include "platform/tools.h"
#include "runt/store.h"
#include "util/file.h"

std::unique_ptr<Connection> runt_connection;

namespace {

constexpr char values_path[] = "/var/run/runt/values";
constexpr char new_path[] = "/var/run/runt/values.new";

// The limit of the file, in bytes. Every program keeps all facts in memory, which takes several times as much as the
// file when they are short.
constexpr size_t largest_store = 128U << 20;

// Locks the store until `lock` is closed. 0 for success. A stopped program may never release its lock, so a process
// waits at most 10 seconds in all; after that this returns EBUSY.
int lock_store(Fd *lock) {
  constexpr int patience = 10'000;  // milliseconds
  constexpr int pause = 20;
  static int waited = 0;
  *lock = Fd(open(runt_directory, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!lock->is_open()) return errno;
  while (flock(lock->get(), LOCK_EX | LOCK_NB) != 0) {
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

// Takes the string up to the next zero byte. False when there is none.
bool take_string(std::string_view *content, std::string_view *string) {
  size_t end = content->find('\0');
  if (end == std::string_view::npos) return false;
  *string = content->substr(0, end);
  content->remove_prefix(end + 1);
  return true;
}

// Parses the content of the file. False when something else has written it.
bool parse_values(std::string_view content, Values *values) {
  while (!content.empty()) {
    std::string_view key;
    std::string_view value;
    if (!take_string(&content, &key) || !take_string(&content, &value) || !runt_is_key(key.data())) return false;
    values->emplace_hint(values->end(), key, value);
  }
  return true;
}

// Reads the file. 0 for success, also when there is no file yet; otherwise the connection stays as it is.
int read_values(Connection *connection) {
  Values values;
  std::string content;
  Fd file(open(values_path, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  if (!file.is_open() && errno != ENOENT) return errno;
  if (file.is_open()) {
    struct stat status;
    if (fstat(file.get(), &status) != 0 || !read_all(file.get(), &content, largest_store)) return errno;
    // A pipe or a device may be as empty as a store without facts.
    if (!S_ISREG(status.st_mode) || !parse_values(content, &values)) return EBADMSG;
  }
  connection->values = std::move(values);
  connection->file = std::move(file);
  connection->content = std::move(content);
  return 0;
}

// True when the file of the connection is still the store. As it is open, no other file can have its number.
bool is_current(const Connection &connection) {
  struct stat present;
  struct stat known;
  if (stat(values_path, &present) != 0) return errno == ENOENT && !connection.file.is_open();
  return connection.file.is_open() && fstat(connection.file.get(), &known) == 0 && present.st_dev == known.st_dev &&
         present.st_ino == known.st_ino;
}

// Replaces the file when the values have changed. 0 for success; otherwise the old file stays.
int write_values(Connection *connection) {
  std::string content;
  for (const auto &[key, value] : connection->values) content.append(key).append(1, '\0').append(value).append(1, '\0');
  if (content == connection->content) return 0;
  if (content.size() > largest_store) return ENOSPC;
  // Removes what a killed program has left, and anything else of this name: a pipe, a device, a link to the store.
  unlink(new_path);
  Fd file(open(new_path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!file.is_open()) return errno;
  if (!write_all(file.get(), content) || rename(new_path, values_path) != 0) {
    int error = errno;
    unlink(new_path);
    return error;
  }
  connection->file = std::move(file);
  connection->content = std::move(content);
  return 0;
}

// Discards the changes of the batch.
void restore_values(Connection *connection) {
  connection->values.clear();
  connection->file = Fd();
  int error = read_values(connection);
  if (error != 0) log_debug("cannot read the runtime store again: %s", runt_error_message(error));
}

}  // namespace

int runt_connect() {
  auto connection = std::make_unique<Connection>();
  int error = read_values(connection.get());
  const bool may_be_first = error == 0 && !connection->file.is_open();
  if (may_be_first && mkdir(runt_directory, 0700) != 0 && errno != EEXIST) error = errno;
  if (error == 0) runt_connection = std::move(connection);
  return error;
}

int runt_begin_batch() {
  Connection *connection = runt_connection.get();
  Fd lock;
  int error = lock_store(&lock);
  if (error == 0 && !is_current(*connection)) error = read_values(connection);
  if (error != 0) return error;
  connection->lock = std::move(lock);
  connection->batch_error = 0;
  return 0;
}

int runt_end_batch() {
  Connection *connection = runt_connection.get();
  int error = connection->batch_error;
  if (error == 0) error = write_values(connection);
  if (error != 0) restore_values(connection);
  connection->lock = Fd();
  return error;
}

bool runt_in_batch() {
  return runt_connection != nullptr && runt_connection->lock.is_open();
}
