// Writes files over those of the root directory of a job.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "sandbox/inside.h"

namespace {

bool is_directory(const char *path) {
  struct stat status;
  return lstat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

// Links the machine's entries of `directory` into the inside's directory of that name. Symbolic links of the machine
// are copied, so that they lead to files of the inside.
void link_entries(const std::string &directory) {
  Directory source = open_directory(AT_FDCWD, (MACHINE + directory).c_str());
  if (source == nullptr) return;
  while (const dirent *entry = next_entry(source.get())) {
    std::string path = path_in(directory, entry->d_name);
    std::string target;
    if (!read_link(dirfd(source.get()), entry->d_name, target)) target = MACHINE + path;
    if (symlink(target.c_str(), path.c_str()) != 0 && errno != EEXIST) give_up(path, errno);
  }
}

// Creates the directory `path` of the inside, and missing directories on the way; replaces a link to a directory of the
// machine by a directory of links. Sets `done` to its path without symbolic links, "" for the root directory. Returns
// false, with errno set, when it cannot be created.
bool make_own_directory(const std::string &path, std::string &done) {
  done.clear();
  std::string rest = path;
  unsigned links_followed = 0;
  while (!rest.empty()) {
    size_t slash = rest.find('/');
    std::string name = rest.substr(0, slash);
    rest = slash == std::string::npos ? "" : rest.substr(slash + 1);
    if (name.empty() || name == ".") continue;
    if (name == "..") {
      done.resize(done.empty() ? 0 : done.rfind('/'));
      continue;
    }
    std::string next = path_in(done, name);
    if (next == MACHINE) {
      errno = EROFS;
      return false;
    }
    std::string target;
    if (!read_link(AT_FDCWD, next.c_str(), target)) {
      if (mkdir(next.c_str(), 0755) != 0 && !is_directory(next.c_str())) return false;
      done = next;
    } else if (target != MACHINE + next) {
      if (++links_followed > 40) {
        errno = ELOOP;
        return false;
      }
      if (target[0] == '/') done.clear();
      rest = path_in(target, rest);
    } else {
      if (!is_directory(target.c_str())) {
        errno = ENOTDIR;
        return false;
      }
      if (unlink(next.c_str()) != 0 || mkdir(next.c_str(), 0755) != 0) return false;
      link_entries(next);
      done = next;
    }
  }
  return true;
}

// The place where the file `path`, relative to the root directory, has to be created. Removes the old file.
std::string free_place(const std::string &path) {
  size_t slash = path.rfind('/');
  std::string directory;
  if (slash != std::string::npos && !make_own_directory(path.substr(0, slash), directory)) give_up("/" + path, errno);
  std::string place = path_in(directory, path.substr(slash + 1));
  if (unlink(place.c_str()) != 0 && errno != ENOENT) give_up("/" + path, errno);
  return place;
}

void overlay_file(const std::string &path, const File &file) {
  std::string place = free_place(path);
  if (S_ISLNK(file.mode)) {
    if (symlink(file.content.c_str(), place.c_str()) != 0) give_up("/" + path, errno);
    return;
  }
  // A time before any write of the programs, so that each write is noticed.
  static constexpr timespec times[2] = {{0, 0}, {0, 0}};
  Fd fd(open(place.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (!fd.is_open() || !write_all(fd.get(), file.content) || fchmod(fd.get(), file.mode & 07777) != 0 ||
      futimens(fd.get(), times) != 0) {
    give_up("/" + path, errno);
  }
}

// Files that may be in a complete root file system, and that the inside has already: /proc, and the link /var/run.
bool is_left_out(const std::string &path, const File &file) {
  return path == "proc" || path.rfind("proc/", 0) == 0 || (path == "var/run" && S_ISLNK(file.mode));
}

}  // namespace

void overlay_files(const Tree &files) {
  std::vector<std::pair<std::string, mode_t>> directories;
  for (const auto &[path, file] : files) {
    if (is_left_out(path, file)) continue;
    if (S_ISDIR(file.mode)) {
      std::string directory;
      if (!make_own_directory(path, directory)) give_up("/" + path, errno);
      directories.emplace_back(directory, file.mode & 07777);
    } else if (S_ISREG(file.mode) || S_ISLNK(file.mode)) {
      overlay_file(path, file);
    } else {
      give_up("/" + path + ": only files, directories and symbolic links can be laid over the root directory", 0);
    }
  }
  // Set the modes of directories last, because a mode may forbid to create files.
  for (const auto &[path, mode] : directories) {
    if (chmod(path.c_str(), mode) != 0) give_up(path, errno);
  }
}
