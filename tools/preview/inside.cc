#include "preview/inside.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <string_view>

#include "preview/apart.h"
#include "preview/fail.h"
#include "preview/fd.h"

namespace {

// Makes an empty file system the root directory and the machine's the one at HOST.
void change_root() {
  static const char *const stages[] = {"/mnt", "/tmp", "/usr", nullptr};
  const char *const *stage = stages;
  while (*stage != nullptr && mount("tessera-preview", *stage, "tmpfs", MS_NOSUID | MS_NODEV, "mode=0755") != 0) {
    stage++;
  }
  if (*stage == nullptr) fail_system("cannot mount a tmpfs");
  if (chdir(*stage) != 0 || mkdir(&HOST[1], 0755) != 0) fail_system("cannot make a root directory");
  if (syscall(SYS_pivot_root, ".", &HOST[1]) != 0 || chdir("/") != 0) fail_system("cannot change the root directory");
  // A second line of defence only (a kernel before 5.12 lacks it): the programs have no business there.
  mount_attr read_only = {.attr_set = MOUNT_ATTR_RDONLY, .attr_clr = 0, .propagation = 0, .userns_fd = 0};
  mount_setattr(AT_FDCWD, HOST, AT_RECURSIVE, &read_only, sizeof read_only);
}

// Links what the machine has in `directory` into the inside's directory of that name, but for what is there already.
// The machine's symbolic links are copied, so that they lead to the inside's files.
void link_entries(const std::string &directory) {
  Directory source = open_directory(AT_FDCWD, (HOST + directory).c_str());
  if (source == nullptr) return;
  std::string path = directory + "/";
  std::string target = HOST + path;
  const size_t path_length = path.size();
  const size_t target_length = target.size();
  while (const dirent *entry = next_entry(source.get())) {
    path.resize(path_length);
    path += entry->d_name;
    std::string link;
    bool is_link =
        (entry->d_type == DT_LNK || entry->d_type == DT_UNKNOWN) && read_link(dirfd(source.get()), entry->d_name, link);
    target.resize(target_length);
    target += entry->d_name;
    if (symlink(is_link ? link.c_str() : target.c_str(), path.c_str()) != 0 && errno != EEXIST) {
      fail_system("%s", path.c_str());
    }
  }
}

bool is_directory(const char *path) {
  struct stat status;
  return lstat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

// A directory of the inside's own at `path`, where the machine's entries appear as links: made on the first use, like
// each directory on the way. Sets `done` to its path without symbolic links, "" for the root directory; false with
// errno set when there can be none.
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
    if (next == HOST) {
      errno = EROFS;
      return false;
    }
    std::string target;
    if (!read_link(AT_FDCWD, next.c_str(), target)) {
      if (mkdir(next.c_str(), 0755) != 0 && !is_directory(next.c_str())) return false;
      done = next;
    } else if (target != HOST + next) {
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

void remove_existing(const std::string &path) {
  if (unlink(path.c_str()) != 0 && errno != ENOENT) fail_system("%s", path.c_str());
}

bool is_link_to_run(int at, const char *name, const std::string &path) {
  std::string target;
  return path == "/var/run" && read_link(at, name, target);
}

void lay_directory(DIR *source, const std::string &directory) {
  while (const dirent *entry = next_entry(source)) {
    int at = dirfd(source);
    const char *name = entry->d_name;
    std::string path = path_in(directory, name);
    // A whole root file system brings these two along; the inside has them already, the kernel's and its own.
    if (path == "/proc" || is_link_to_run(at, name, path)) continue;
    struct stat status;
    if (fstatat(at, name, &status, AT_SYMLINK_NOFOLLOW) != 0) fail_system("%s", path.c_str());
    if (S_ISDIR(status.st_mode)) {
      Directory below = open_directory(at, name);
      if (below == nullptr) fail_system("%s", path.c_str());
      std::string inside;
      if (!make_own_directory(path, inside)) fail_system("%s", path.c_str());
      lay_directory(below.get(), inside);
      if (chmod(inside.c_str(), status.st_mode & 07777) != 0) fail_system("%s", inside.c_str());
    } else if (S_ISREG(status.st_mode)) {
      Fd fd(openat(at, name, O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
      std::string content;
      if (!fd.is_open() || !read_all(fd.get(), content)) fail_system("%s", path.c_str());
      place_file(path, content, status.st_mode & 07777);
    } else if (S_ISLNK(status.st_mode)) {
      std::string target;
      if (!read_link(at, name, target)) fail_system("%s", path.c_str());
      remove_existing(path);
      if (symlink(target.c_str(), path.c_str()) != 0) fail_system("%s", path.c_str());
    } else {
      fail("%s: only files, directories and symbolic links can be laid over the preview", path.c_str());
    }
  }
}

void set_host_name() {
  Fd fd(open("/etc/hostname", O_RDONLY | O_CLOEXEC));
  std::string name;
  if (!fd.is_open() || !read_all(fd.get(), name)) fail_system("/etc/hostname");
  name.resize(strcspn(name.c_str(), " \t\r\n"));
  if (sethostname(name.data(), name.size()) != 0)
    fail_system("/etc/hostname: '%s' cannot be the host name", name.c_str());
}

}  // namespace

void enter_inside() {
  mode_t mask = umask(0);
  change_root();

  static const struct {
    const char *path;
    mode_t mode;
  } own[] = {
      {"/proc", 0755},       {"/tmp", 01777},          {"/dev", 0755},         {"/etc", 0755},
      {"/etc/config", 0755}, {"/var", 0755},           {"/var/run", 0755},     {"/sys", 0755},
      {"/sys/class", 0755},  {"/sys/class/net", 0755}, {"/var/run/uci", 0755}, {nullptr, 0},
  };
  for (const auto *directory = own; directory->path != nullptr; directory++) {
    if (mkdir(directory->path, directory->mode) != 0) fail_system("%s", directory->path);
  }
  // No /dev/log among them: what the programs log must not reach the machine's log.
  static const char *const links[][2] = {
      {"/dev/null", HOST "/dev/null"},
      {"/dev/zero", HOST "/dev/zero"},
      {"/dev/full", HOST "/dev/full"},
      {"/dev/random", HOST "/dev/random"},
      {"/dev/urandom", HOST "/dev/urandom"},
      {"/dev/tty", HOST "/dev/tty"},
      {"/dev/fd", "/proc/self/fd"},
      {"/dev/stdin", "/proc/self/fd/0"},
      {"/dev/stdout", "/proc/self/fd/1"},
      {"/dev/stderr", "/proc/self/fd/2"},
      {"/run", "/var/run"},
      {nullptr, nullptr},
  };
  for (const auto *link = links; (*link)[0] != nullptr; link++) {
    if (symlink((*link)[1], (*link)[0]) != 0) fail_system("%s", (*link)[0]);
  }
  mount_processes();
  static const char *const shared[] = {"", "/etc", "/var", "/sys", "/sys/class", nullptr};
  for (const char *const *directory = shared; *directory != nullptr; directory++) link_entries(*directory);
  umask(mask);
}

void place_file(const std::string &path, const std::string &content, unsigned mode) {
  remove_existing(path);
  Fd fd(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (!fd.is_open() || !write_all(fd.get(), content) || fchmod(fd.get(), mode) != 0) fail_system("%s", path.c_str());
  // Older than any write of the programs, so that each of them shows.
  static const timespec times[2] = {{0, 0}, {0, 0}};
  if (futimens(fd.get(), times) != 0) fail_system("%s", path.c_str());
}

bool place_stand_in(const std::string &path, mode_t type) {
  std::string directory;
  if (S_ISDIR(type)) return make_own_directory(path, directory);
  size_t slash = path.rfind('/');
  if (!make_own_directory(path.substr(0, slash == std::string::npos ? 0 : slash), directory)) return false;
  std::string name = path_in(directory, path.substr(slash + 1));
  return Fd(open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0755)).is_open();
}

void lay_over(int source) {
  Directory directory = open_directory(source, ".");
  if (directory == nullptr) fail_system("cannot read the files to lay over the preview");
  mode_t mask = umask(0);
  lay_directory(directory.get(), "");
  umask(mask);
  struct stat status;
  if (fstatat(source, "etc/hostname", &status, AT_SYMLINK_NOFOLLOW) == 0) set_host_name();
}
