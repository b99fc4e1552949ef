// Files that are laid over the root directory of a job.
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

// Links what the machine has in `directory` into the inside's directory of that name. The machine's symbolic links are
// copied, so that they lead to the inside's files.
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

// The directory of the inside that `path` leads to, made where it is missing; a link to a directory of the machine is
// replaced by a directory of links. Sets `done` to its path without symbolic links, "" for the root directory; false
// with errno when there can be none.
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

// Where the file `path`, relative to the root directory, has to be made; what was there is removed.
std::string free_place(const std::string &path) {
  size_t slash = path.rfind('/');
  std::string directory;
  if (slash != std::string::npos && !make_own_directory(path.substr(0, slash), directory)) give_up("/" + path, errno);
  std::string place = path_in(directory, path.substr(slash + 1));
  if (unlink(place.c_str()) != 0 && errno != ENOENT) give_up("/" + path, errno);
  return place;
}

void lay_file(const std::string &path, const File &file) {
  std::string place = free_place(path);
  if (S_ISLNK(file.mode)) {
    if (symlink(file.content.c_str(), place.c_str()) != 0) give_up("/" + path, errno);
    return;
  }
  // Older than any write of the programs, so that each of them shows.
  static constexpr timespec times[2] = {{0, 0}, {0, 0}};
  Fd fd(open(place.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (!fd.is_open() || !write_all(fd.get(), file.content) || fchmod(fd.get(), file.mode & 07777) != 0 ||
      futimens(fd.get(), times) != 0) {
    give_up("/" + path, errno);
  }
}

// A whole root file system brings these two along; the inside has them already, the kernel's and its own.
bool is_left_out(const std::string &path, const File &file) {
  return path == "proc" || path.rfind("proc/", 0) == 0 || (path == "var/run" && S_ISLNK(file.mode));
}

}  // namespace

void lay_files(const Tree &files) {
  std::vector<std::pair<std::string, mode_t>> directories;
  for (const auto &[path, file] : files) {
    if (is_left_out(path, file)) continue;
    if (S_ISDIR(file.mode)) {
      std::string directory;
      if (!make_own_directory(path, directory)) give_up("/" + path, errno);
      directories.emplace_back(directory, file.mode & 07777);
    } else if (S_ISREG(file.mode) || S_ISLNK(file.mode)) {
      lay_file(path, file);
    } else {
      give_up("/" + path + ": only files, directories and symbolic links can be laid over the root directory", 0);
    }
  }
  // Last, as a mode may forbid what was to be done before.
  for (const auto &[path, mode] : directories) {
    if (chmod(path.c_str(), mode) != 0) give_up(path, errno);
  }
}
