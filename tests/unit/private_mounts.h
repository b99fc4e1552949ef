// For tests with fixed paths: the test program works on private mounts, as root or in a user namespace.
#ifndef TESSERA_TESTS_UNIT_PRIVATE_MOUNTS_H
#define TESSERA_TESTS_UNIT_PRIVATE_MOUNTS_H

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

inline void write_file(const char *path, const std::string &content) {
  FILE *file = fopen(path, "we");
  ASSERT_NE(file, nullptr) << path;
  ASSERT_NE(fputs(content.c_str(), file), EOF);
  ASSERT_EQ(fclose(file), 0) << path;
}

// A copy of the string, which is freed; "(null)" for null.
inline std::string take(char *string) {
  std::string copy = string != nullptr ? string : "(null)";
  free(string);
  return copy;
}

// Before the first test: a mount namespace with an empty /var/run.
class PrivateMounts : public testing::Environment {
 public:
  void SetUp() override {
    unsigned user = geteuid();
    unsigned group = getegid();
    ASSERT_EQ(unshare(CLONE_NEWNS | (user != 0 ? CLONE_NEWUSER : 0)), 0);
    if (user != 0) {
      write_file("/proc/self/setgroups", "deny\n");
      write_file("/proc/self/uid_map", "0 " + std::to_string(user) + " 1\n");
      write_file("/proc/self/gid_map", "0 " + std::to_string(group) + " 1\n");
    }
    ASSERT_EQ(mount("none", "/", "none", MS_REC | MS_PRIVATE, nullptr), 0);
    ASSERT_EQ(mount("tmpfs", "/var/run", "tmpfs", 0, "mode=0755"), 0);
  }
};
inline const testing::Environment *const mounts = testing::AddGlobalTestEnvironment(new PrivateMounts);

#endif
