// Makes the root directory of a job.
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "sandbox/inside.h"

namespace {

// Directories that the machine's programs need, directories that its libraries need, and files of /etc that both need.
constexpr const char *program_directories[] = {"bin", "lib", "lib32", "lib64", "libx32", "sbin", "usr"};
constexpr const char *library_directories[] = {
    "lib",       "lib32",     "lib64",       "libx32",     "usr/lib",
    "usr/lib32", "usr/lib64", "usr/libexec", "usr/libx32", "usr/share/strongswan"};
constexpr const char *settings[] = {"etc/alternatives",    "etc/group",           "etc/ld.so.cache", "etc/localtime",
                                    "etc/nsswitch.conf",   "etc/passwd",          "etc/protocols",   "etc/services",
                                    "etc/ssl/openssl.cnf", "etc/strongswan.conf", "etc/strongswan.d"};
constexpr const char *devices[] = {"full", "null", "random", "tty", "urandom", "zero"};

// Leaves a root directory that is not a mount point, as after chroot(2), for the root of the mount namespace: only
// there can pivot_root replace it. Only root can have used chroot, so only root needs this.
void leave_chroot() {
  Fd self(static_cast<int>(syscall(SYS_pidfd_open, getpid(), 0)));
  if (self.is_open()) setns(self.get(), CLONE_NEWNS);
}

// Makes a file system in memory the root directory. The machine's root directory is then at /.old; returns it open.
Fd change_root() {
  Fd machine(open("/", O_PATH | O_DIRECTORY | O_CLOEXEC));
  leave_chroot();
  // Mounts after this one do not appear on the machine.
  if (mount(nullptr, "/", nullptr, MS_REC | MS_SLAVE, nullptr) != 0) give_up("cannot detach the mounts", errno);
  bool is_mounted = false;
  for (const char *stage : {"mnt", "tmp", "usr"}) {
    if (fchdir(machine.get()) != 0) break;
    is_mounted = mount("tessera", stage, "tmpfs", MS_NOSUID | MS_NODEV, "mode=0755") == 0 && chdir(stage) == 0;
    if (is_mounted) break;
  }
  if (!is_mounted) give_up("cannot mount a file system in memory", errno);
  // The working directory is the new file system: chdir came after mount.
  if (mkdir(".old", 0700) != 0 || syscall(SYS_pivot_root, ".", ".old") != 0 || chdir("/") != 0) {
    give_up("cannot change the root directory", errno);
  }
  return machine;
}

void make_directories(const std::string &path) {
  for (size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1)) {
    if (mkdir(path.substr(0, slash).c_str(), 0755) != 0 && errno != EEXIST) give_up(path, errno);
  }
}

// Makes the mount at `path` and all mounts below it read-only, and forbids to open their devices. A kernel before 5.12
// can do this only for a single mount.
bool protect(const char *path, bool has_devices) {
  unsigned long set = MOUNT_ATTR_RDONLY | MOUNT_ATTR_NOSUID | (has_devices ? 0 : MOUNT_ATTR_NODEV);
  mount_attr attributes = {.attr_set = set, .attr_clr = 0, .propagation = 0, .userns_fd = 0};
  if (mount_setattr(AT_FDCWD, path, AT_RECURSIVE, &attributes, sizeof attributes) == 0) return true;
  struct statvfs status;
  if (errno != ENOSYS || statvfs(path, &status) != 0) return false;
  unsigned long flags = status.f_flag & (ST_NOEXEC | ST_NOATIME | ST_NODIRATIME | ST_RELATIME);
  if (!has_devices) flags |= MS_NODEV;
  return mount(nullptr, path, nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY | MS_NOSUID | flags, nullptr) == 0;
}

// Mounts the machine's file or directory `name`, relative to its root, below MACHINE. Returns false when it does not
// exist.
bool show_at_machine(const Fd &machine, const std::string &name, bool has_devices = false) {
  std::string target = MACHINE "/" + name;
  struct stat status;
  if (fstatat(machine.get(), name.c_str(), &status, 0) != 0) return false;
  struct stat present;
  if (stat(target.c_str(), &present) == 0 && present.st_dev == status.st_dev && present.st_ino == status.st_ino) {
    return true;
  }
  make_directories(target);
  if (S_ISDIR(status.st_mode)) {
    if (mkdir(target.c_str(), 0755) != 0 && errno != EEXIST) give_up("/" + name, errno);
  } else if (!Fd(open(target.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600)).is_open()) {
    give_up("/" + name, errno);
  }
  if (fchdir(machine.get()) != 0 || mount(name.c_str(), target.c_str(), nullptr, MS_BIND | MS_REC, nullptr) != 0 ||
      !protect(target.c_str(), has_devices) || chdir("/") != 0) {
    give_up("cannot show /" + name, errno);
  }
  return true;
}

// Creates a link from `name` to its place below MACHINE; when it is a link on the machine, creates the same link.
void show(const Fd &machine, const std::string &name) {
  std::string path = "/" + name;
  std::string target;
  if (!read_link(machine.get(), name.c_str(), target)) {
    if (!show_at_machine(machine, name)) return;
    target = MACHINE + path;
  }
  make_directories(path);
  if (symlink(target.c_str(), path.c_str()) != 0) give_up(path, errno);
}

void make_devices(const Fd &machine) {
  for (const char *device : devices) {
    std::string name = std::string("dev/") + device;
    if (show_at_machine(machine, name, true) && symlink((MACHINE "/" + name).c_str(), ("/" + name).c_str()) != 0) {
      give_up("/" + name, errno);
    }
  }
  // There is no /dev/log: messages of the programs must not reach the machine's log.
  static constexpr const char *links[][2] = {{"/proc/self/fd", "/dev/fd"},
                                             {"/proc/self/fd/0", "/dev/stdin"},
                                             {"/proc/self/fd/1", "/dev/stdout"},
                                             {"/proc/self/fd/2", "/dev/stderr"}};
  for (const auto &[target, path] : links) {
    if (symlink(target, path) != 0) give_up(path, errno);
  }
}

// Mounts /proc; commands get it read-only. Without a process namespace it shows the machine's processes.
bool mount_processes(const Fd &machine, bool has_processes) {
  if (has_processes) {
    if (mount("proc", "/proc", "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr) == 0) return true;
    // A container that hides parts of /proc does not allow another mount of it.
    if (errno == EPERM) return false;
    give_up("/proc", errno);
  }
  if (fchdir(machine.get()) != 0 || mount("proc", "/proc", nullptr, MS_BIND | MS_REC, nullptr) != 0 ||
      chdir("/") != 0) {
    give_up("/proc", errno);
  }
  return true;
}

// Shows a program and its directory; to a checker only the program.
void show_program(const Fd &machine, const std::string &program, Rights rights) {
  size_t slash = program.rfind('/');
  bool is_alone = rights == Rights::checker || slash == 0;
  if (!show_at_machine(machine, program.substr(1, is_alone ? std::string::npos : slash - 1))) give_up(program, errno);
}

void show_programs(const Fd &machine, const Job &job) {
  for (const std::string &program : job.programs) show_program(machine, program, job.rights);
  for (const Command &command : job.preparations) show_program(machine, command.arguments[0], job.rights);
  for (const Command &command : job.commands) show_program(machine, command.arguments[0], job.rights);
}

}  // namespace

bool is_system_directory(const std::string &path) {
  return std::any_of(std::begin(program_directories), std::end(program_directories), [&path](const char *name) {
    return path.compare(1, strlen(name), name) == 0 &&
           (path.size() == strlen(name) + 1 || path[strlen(name) + 1] == '/');
  });
}

std::string inside_program(const std::string &path) {
  return MACHINE + path;
}

bool make_root(const Job &job, const std::vector<std::string> &directories, bool has_processes) {
  Fd machine = change_root();
  for (const char *directory : {"/proc", "/dev", "/etc", "/etc/config", "/var", "/var/run", "/var/run/uci", "/sys",
                                "/sys/class", "/sys/class/net", MACHINE}) {
    if (mkdir(directory, 0755) != 0) give_up(directory, errno);
  }
  if (mkdir("/tmp", 01777) != 0 || symlink("/var/run", "/run") != 0) give_up("/tmp", errno);
  if (!mount_processes(machine, has_processes)) return false;
  make_devices(machine);
  if (job.rights == Rights::checker) {
    for (const char *name : library_directories) show(machine, name);
  } else {
    for (const char *name : program_directories) show(machine, name);
  }
  for (const char *name : settings) show(machine, name);
  show_programs(machine, job);
  for (const std::string &directory : directories) show_at_machine(machine, directory.substr(1));
  if (umount2("/.old", MNT_DETACH) != 0 || rmdir("/.old") != 0) give_up("cannot leave the machine's files", errno);
  return true;
}
