#include "apply/state.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "apply/services.h"
#include "sandbox/sandbox.h"

namespace {

constexpr const char *pending_path = "/etc/config/pending";
constexpr size_t most_entries = 20;
constexpr const char *unfinished = ".unfinished";  // suffix of temporary files

std::string failed(const std::string &path) {
  return path + ": " + strerror(errno);
}

std::string directory_of(const std::string &path) {
  return path.substr(0, path.rfind('/'));
}

std::string kept_path(unsigned number, const char *suffix = ".json") {
  return path_in(history_directory, std::to_string(number) + suffix);
}

// The path of the document; of the file behind it when the path is a symbolic link.
std::string document_path() {
  std::string path = real_path(config_document);
  return path.empty() ? config_document : path;
}

std::string sync_directory(const std::string &path) {
  Fd fd(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  // Some file systems cannot sync directories.
  return fd.is_open() && (fsync(fd.get()) == 0 || errno == EINVAL) ? "" : failed(path);
}

// Removes a file, and syncs its directory. A file that does not exist is no failure.
std::string remove_file(const std::string &path) {
  if (unlink(path.c_str()) != 0 && errno != ENOENT) return failed(path);
  return sync_directory(directory_of(path));
}

// Replaces a file in one step, and syncs it. The file gets the mode and owner of `like`, unless that is null.
std::string replace_file(const std::string &path, const std::string &content, const struct stat *like = nullptr) {
  std::string temporary = path + unfinished;
  unlink(temporary.c_str());
  Fd fd(open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  bool is_stored = fd.is_open() && write_all(fd.get(), content) &&
                   (like == nullptr || (fchown(fd.get(), like->st_uid, like->st_gid) == 0 &&
                                        fchmod(fd.get(), like->st_mode & 07777) == 0)) &&
                   fsync(fd.get()) == 0 && rename(temporary.c_str(), path.c_str()) == 0;
  if (is_stored) return sync_directory(directory_of(path));
  std::string trouble = failed(path);
  unlink(temporary.c_str());
  return trouble;
}

// Reads a file. Sets `is_there` to false and returns "" when it does not exist.
std::string read_file(const std::string &path, std::string &content, bool &is_there) {
  Fd fd(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  is_there = fd.is_open() || errno != ENOENT;
  if (!is_there) return "";
  return fd.is_open() && read_all(fd.get(), &content) ? "" : failed(path);
}

std::string read_optional(const std::string &path, std::optional<std::string> &content) {
  std::string read;
  bool is_there;
  std::string trouble = read_file(path, read, is_there);
  if (is_there) content = std::move(read);
  return trouble;
}

// Replaces the file at `path` by a hard link to `kept`, which needs no room; by a copy when links are not supported.
std::string link_into_place(const std::string &kept, const std::string &path) {
  std::string temporary = path + unfinished;
  struct stat like;
  bool has_like = stat(path.c_str(), &like) == 0;
  unlink(temporary.c_str());
  if (link(kept.c_str(), temporary.c_str()) != 0) {
    std::optional<std::string> content;
    std::string trouble = read_optional(kept, content);
    return trouble.empty() ? replace_file(path, content.value_or(""), has_like ? &like : nullptr) : trouble;
  }
  bool is_stored = (!has_like || (chown(temporary.c_str(), like.st_uid, like.st_gid) == 0 &&
                                  chmod(temporary.c_str(), like.st_mode & 07777) == 0)) &&
                   rename(temporary.c_str(), path.c_str()) == 0;
  std::string trouble = is_stored ? "" : failed(path);
  unlink(temporary.c_str());  // rename leaves it when `path` and `kept` were the same file already
  return is_stored ? sync_directory(directory_of(path)) : trouble;
}

// Stores an identifier of this start of the system in `boot`; "unknown" when there is no /proc.
std::string this_boot(std::string &boot) {
  std::optional<std::string> content;
  std::string trouble = read_optional("/proc/sys/kernel/random/boot_id", content);
  boot = content && content->size() > 1 ? content->substr(0, content->find('\n')) : "unknown";
  return trouble;
}

// The number N of a file with the name "N.json"; 0 for another name.
unsigned number_of(const std::string &name) {
  constexpr size_t most_digits = 9;
  auto number = static_cast<unsigned>(strtoul(name.substr(0, most_digits).c_str(), nullptr, 10));
  return name == std::to_string(number) + ".json" ? number : 0;
}

// Adds the earlier document of this number. Returns false, with errno set, when it cannot be examined; the caller must
// then fail, because it could give the same number to another document.
bool add_entry(unsigned number, std::vector<Entry> &entries) {
  struct stat status;
  if (lstat(kept_path(number).c_str(), &status) != 0) return false;
  std::optional<std::string> message;
  read_optional(kept_path(number, ".message"), message);
  entries.push_back({number, status.st_mtime, status.st_size > 0, message.value_or("")});
  return true;
}

// Creates the directory of earlier documents, for its owner only.
std::string make_history() {
  if (mkdir(history_directory, 0700) != 0) return errno == EEXIST ? "" : failed(history_directory);
  return sync_directory(directory_of(history_directory));
}

}  // namespace

Fd take_lock(bool makes, std::string &trouble) {
  if (makes) trouble = make_history();
  if (!trouble.empty()) return Fd();
  Fd fd(open(history_directory, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!fd.is_open() && (makes || errno != ENOENT)) trouble = failed(history_directory);
  if (!fd.is_open()) return fd;
  // The change waits for its hooks, so a hook must not wait for the lock of the change.
  const char *process = getenv(waiting_process);
  bool is_of_hook = process != nullptr && kill(static_cast<pid_t>(strtol(process, nullptr, 10)), 0) == 0;
  int status;
  do {
    status = flock(fd.get(), is_of_hook ? LOCK_EX | LOCK_NB : LOCK_EX);
  } while (status != 0 && errno == EINTR);
  if (status != 0)
    trouble =
        errno == EWOULDBLOCK ? "cannot be run by a hook while its change is in progress" : failed(history_directory);
  return fd;
}

std::string read_document(std::optional<std::string> &content) {
  return read_optional(document_path(), content);
}

std::string install_document(const std::string &content) {
  std::string path = document_path();
  struct stat like;
  bool has_like = stat(path.c_str(), &like) == 0;
  return replace_file(path, content, has_like ? &like : nullptr);
}

std::string restore_document(unsigned number) {
  std::string kept = kept_path(number);
  struct stat status;
  if (stat(kept.c_str(), &status) != 0) return failed(kept);
  return status.st_size == 0 ? remove_file(document_path()) : link_into_place(kept, document_path());
}

std::string read_history(std::vector<Entry> &entries) {
  Directory directory = open_directory(AT_FDCWD, history_directory);
  if (directory == nullptr) return errno == ENOENT ? "" : failed(history_directory);
  for (;;) {
    errno = 0;
    const dirent *entry = next_entry(directory.get());
    if (entry == nullptr) break;
    unsigned number = number_of(entry->d_name);
    if (number > 0 && !add_entry(number, entries)) return failed(kept_path(number));
  }
  if (errno != 0) return failed(history_directory);
  std::sort(entries.begin(), entries.end(), [](const Entry &a, const Entry &b) { return a.number < b.number; });
  return "";
}

std::string keep_document(unsigned number, const std::optional<std::string> &content, const std::string &message) {
  std::string trouble = message.empty() ? "" : replace_file(kept_path(number, ".message"), message);
  if (trouble.empty()) trouble = replace_file(kept_path(number), content.value_or(""));
  if (!trouble.empty()) forget_document(number);
  return trouble;
}

std::string read_kept(unsigned number, std::optional<std::string> &content) {
  std::string trouble = read_optional(kept_path(number), content);
  if (content && content->empty()) content.reset();
  return trouble;
}

void forget_document(unsigned number) {
  unlink(kept_path(number).c_str());
  unlink(kept_path(number, ".message").c_str());
}

void prune_history() {
  std::vector<Entry> entries;
  if (!read_history(entries).empty()) return;  // the next apply does it
  for (size_t i = 0; i + most_entries < entries.size(); i++) forget_document(entries[i].number);
}

int64_t seconds_up() {
  timespec now;
  clock_gettime(CLOCK_BOOTTIME, &now);
  return now.tv_sec;
}

std::string begin_pending(unsigned number, const std::vector<std::string> &services, Pending &pending) {
  pending = {number, 0, "", services};
  std::string trouble = this_boot(pending.boot);
  return trouble.empty() ? store_pending(pending) : trouble;
}

std::string read_pending(std::optional<Pending> &pending) {
  std::optional<std::string> content;
  std::string trouble = read_optional(pending_path, content);
  if (!trouble.empty() || !content) return trouble;
  std::istringstream words(*content);
  Pending read;
  bool is_whole = (words >> read.number >> read.deadline >> read.boot) && content->back() == '\n';
  for (std::string service; words >> service;) {
    read.services.push_back(service);
    is_whole = is_whole && is_service(service);
  }
  if (!is_whole) return std::string(pending_path) + ": is damaged; remove it to keep the installed document";
  pending = read;
  return "";
}

std::string store_pending(const Pending &pending) {
  std::string line = std::to_string(pending.number) + " " + std::to_string(pending.deadline) + " " + pending.boot;
  for (const std::string &service : pending.services) line += " " + service;
  return replace_file(pending_path, line + "\n");
}

std::string remove_pending() {
  return remove_file(pending_path);
}

std::string find_overdue(const Pending &pending, bool &is_overdue) {
  std::string boot;
  std::string trouble = this_boot(boot);
  is_overdue = pending.boot != boot || pending.deadline <= seconds_up();
  return trouble;
}
