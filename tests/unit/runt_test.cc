// Tests the reference platform's runtime store: unusual values and keys, batches that fail, and several processes.
// tessera-conformance tests what the store of every device has to do.
#include "platform/runt.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string>

#include "platform/tools.h"
#include "unit/private_mounts.h"

namespace {

std::string names(const char *key) {
  char **list = runt_keys(key);
  std::string joined = take(sl_join(list, " "));
  sl_free(list);
  return joined;
}

int put(const char *key, const char *value) {
  return runt_set_string_pathf(value, "%s", key);
}

// Makes a change in another process.
void set_elsewhere(const char *key, const char *value) {
  ASSERT_EQ(process_wait(_process_exec_fd(-1, -1, -1, -1, RUNT_PROGRAM, "set", key, value, nullptr)), 0);
}

class Runt : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(system("rm -rf /var/run/runt"), 0);
    ASSERT_EQ(runt_init(), 0);
  }
  void TearDown() override { runt_deinit(); }
};

TEST_F(Runt, NothingWithoutConnection) {
  ASSERT_EQ(put("a", "1"), 0);
  runt_deinit();
  for (bool openable : {true, false}) {
    if (!openable) {
      runt_deinit();
      ASSERT_EQ(system("rm -r /var/run/runt && : >/var/run/runt"), 0);
      EXPECT_NE(runt_init(), 0);
    }
    EXPECT_EQ(runt_get_string_pathf("%s", "a"), nullptr);
    EXPECT_EQ(runt_get_int32("a", 7), 7);
    EXPECT_TRUE(runt_get_bool("a", true));
    EXPECT_EQ(runt_keys(""), nullptr);
    EXPECT_EQ(runt_get_entries("", 0, 0, 0, 0), nullptr);
    EXPECT_TRUE(runt_edit_start() != 0 && put("a", "1") != 0 && runt_delete("a") != 0 && runt_edit_commit() != 0);
  }
}

TEST_F(Runt, CreatesPrivateFiles) {
  umask(0);
  ASSERT_EQ(system("rm -rf /var/run/runt"), 0);
  runt_deinit();
  ASSERT_EQ(runt_init(), 0);
  EXPECT_EQ(system("[ \"$(stat -c %a /var/run/runt)\" = 700 ]"), 0);
  EXPECT_EQ(names(""), "(null)");
  ASSERT_EQ(put("a", "1"), 0);
  EXPECT_EQ(system("[ \"$(stat -c %a /var/run/runt /var/run/runt/values | tr -d '\\n')\" = 700600 ]"), 0);
}

TEST_F(Runt, DamagedFiles) {
  for (const char *content : {"a", "a\\0", "a\\0001\\000b\\000", "a..b\\0001\\000", "\\000\\000"}) {
    runt_deinit();
    ASSERT_EQ(system(("printf '" + std::string(content) + "' >/var/run/runt/values").c_str()), 0);
    EXPECT_NE(runt_init(), 0) << content;
    EXPECT_EQ(runt_keys(""), nullptr);
  }
  ASSERT_EQ(system("rm /var/run/runt/values && mkfifo /var/run/runt/values"), 0);
  EXPECT_NE(runt_init(), 0);
  // While a connection is open, the store may be removed, damaged and repaired.
  ASSERT_EQ(system("rm /var/run/runt/values"), 0);
  ASSERT_EQ(runt_init() + put("a", "1"), 0);
  for (const char *leftover : {"ln -s values", "ln values", "mkfifo", "echo x >"}) {
    ASSERT_EQ(system(("cd /var/run/runt && " + std::string(leftover) + " values.new").c_str()), 0);
    ASSERT_EQ(put("b", leftover), 0) << leftover;
    EXPECT_FALSE(file_exists("/var/run/runt/values.new")) << leftover;
  }
  ASSERT_EQ(system("rm /var/run/runt/values"), 0);
  ASSERT_EQ(put("b", "2"), 0);
  EXPECT_EQ(names(""), "b");
  ASSERT_EQ(system("echo x >/var/run/runt/other && mv /var/run/runt/other /var/run/runt/values"), 0);
  EXPECT_NE(put("c", "3"), 0);
  EXPECT_EQ(names(""), "b");
  ASSERT_EQ(system("rm /var/run/runt/values && mkdir /var/run/runt/values.new"), 0);
  EXPECT_NE(put("c", "3"), 0);
  EXPECT_EQ(names(""), "(null)");
}

TEST_F(Runt, Values) {
  const auto expect = [](const char *text, int32_t number, int truth) {  // 42 and -1: the defaults
    ASSERT_EQ(put("v.1", text), 0);
    EXPECT_EQ(take(runt_get_string_pathf("v.%d", 1)), text);
    EXPECT_EQ(runt_get_int32("v.1", 42), number) << text;
    EXPECT_EQ(runt_get_int_pathf(42, "v.%d", 1), number);
    EXPECT_EQ(runt_get_bool("v.1", true), truth != 0) << text;
    EXPECT_EQ(runt_get_bool("v.1", false), truth == 1) << text;
  };
  for (int bit : {0, 1}) expect(std::to_string(bit).c_str(), bit, bit);
  for (int32_t number : {-1, 7, INT32_MAX, INT32_MIN}) expect(std::to_string(number).c_str(), number, -1);
  expect("0000000000000000000007", 7, -1);
  for (const char *text :
       {"2147483648", "-2147483649", "99999999999999999999", "", "-", "+1", " 1", "1 ", "0x1", "True", "truest"})
    expect(text, 42, -1);
  expect("true", 42, 1);
  expect("false", 42, 0);
  EXPECT_EQ(runt_get_string("v"), nullptr);
  std::string large(1'000'000, 'x');
  ASSERT_EQ(put("large", large.c_str()), 0);
  EXPECT_EQ(take(runt_get_string("large")), large);
}

TEST_F(Runt, ChildrenInNaturalOrder) {
  for (const char *key : {"a.10", "a.9.x", "a.b", "a.007", "a.7", "a-b", "a", "ab", "a.9", "a.b.c.d", "a.B", "a.b-c.d",
                          "a.98765432109876543210987", "a.0", "a.1x", "a.\xC3\xBC", "z.1"}) {
    ASSERT_EQ(put(key, key), 0);
  }
  EXPECT_EQ(names("a"), "0 7 007 9 10 98765432109876543210987 1x B b b-c \xC3\xBC");
  EXPECT_EQ(names("") + ", " + names("a.b") + ", " + names("a.b.c.d"), "a a-b ab z, c, (null)");
  std::string listed;
  RuntEntry **entries = runt_get_entries("a", 0, 0, 0, 0);
  for (RuntEntry **entry = entries; *entry != nullptr; entry++) listed += std::string((*entry)->name) + " ";
  runt_entries_free(entries);
  EXPECT_EQ(listed, "0 7 007 9 10 98765432109876543210987 1x B b \xC3\xBC ");
  EXPECT_EQ(runt_get_entries("z.1", 0, 0, 0, 0), nullptr);

  ASSERT_EQ(runt_delete("a.b"), 0);
  EXPECT_EQ(names("a"), "0 7 007 9 10 98765432109876543210987 1x B b-c \xC3\xBC");
  ASSERT_EQ(runt_delete("a") + runt_delete("nothing"), 0);
  EXPECT_EQ(names(""), "a-b ab z");
}

TEST_F(Runt, Keys) {
  std::string longest = std::string(498, 'k') + ".1";
  std::string too_long = longest + "1";
  std::string top = longest.substr(0, 498);
  ASSERT_EQ(put(longest.c_str(), "v"), 0);
  EXPECT_EQ(take(runt_get_string(longest.c_str())), "v");
  EXPECT_EQ(names(top.c_str()), "1");
  for (const char *key : {"", ".", "a.", ".a", "a..b", too_long.c_str()}) {
    EXPECT_NE(put(key, "v"), 0) << key;
    EXPECT_NE(runt_delete(key), 0) << key;
    EXPECT_EQ(runt_get_string(key), nullptr);
    EXPECT_EQ(runt_get_int_pathf(3, "%s", key), 3);
    EXPECT_EQ(names(key), *key != '\0' ? "(null)" : top) << key;
  }
  EXPECT_NE(runt_set_string_pathf(nullptr, "a"), 0);
  EXPECT_EQ(names(""), top);
}

TEST_F(Runt, Batches) {
  EXPECT_NE(runt_edit_commit(), 0);
  ASSERT_EQ(put("map.0", "old"), 0);
  for (bool kept : {false, true}) {
    ASSERT_EQ(runt_edit_start(), 0);
    ASSERT_TRUE(kept || runt_delete("map") == 0);
    ASSERT_EQ(put("map.2", "new"), 0);
    EXPECT_NE(runt_edit_start(), 0);
    EXPECT_EQ(names("map"), kept ? "0 2" : "2");
    EXPECT_TRUE(!kept || runt_edit_commit() == 0);
    runt_deinit();  // discards an open batch
    ASSERT_EQ(runt_init(), 0);
    EXPECT_EQ(names("map"), kept ? "0 2" : "0");
  }

  // A change that fails makes its batch fail.
  std::string huge(size_t{130} << 20, 'x');
  const std::pair<const char *, const char *> bad[] = {{"map.", "bad key"}, {"map.4", huge.c_str()}};
  for (const auto &[key, value] : bad) {
    ASSERT_EQ(runt_edit_start(), 0);
    ASSERT_EQ(put("map.3", "new"), 0);
    put(key, value);
    EXPECT_NE(runt_edit_commit(), 0) << key;
    EXPECT_EQ(names("map"), "0 2");
  }
  EXPECT_EQ(put("map.6", "new"), 0);
  EXPECT_EQ(names("map"), "0 2 6");
}

TEST_F(Runt, ReplacedSubtrees) {
  for (const char *neighbour : {"ma", "map-", "map0"}) ASSERT_EQ(put(neighbour, "stays"), 0);
  for (const char *row : {"1 2 10", "1 3", "3", ""}) {  // each replaces the row before
    ASSERT_EQ(runt_edit_start() + runt_delete("map"), 0);
    char **keys = sl_split(row, ' ');
    for (char **key = keys; *row != '\0' && *key != nullptr; key++)
      ASSERT_EQ(runt_set_string_pathf(row, "map.%s", *key), 0);
    sl_free(keys);
    ASSERT_EQ(runt_edit_commit(), 0);
    EXPECT_EQ(names("map"), *row != '\0' ? row : "(null)");
    EXPECT_EQ(names(""), *row != '\0' ? "ma map map- map0" : "ma map- map0");
  }
}

TEST_F(Runt, SnapshotUntilOwnChange) {
  set_elsewhere("a", "1");
  EXPECT_EQ(names(""), "(null)");  // there was no store when the connection was opened
  runt_deinit();
  ASSERT_EQ(runt_init(), 0);
  EXPECT_EQ(take(runt_get_string("a")), "1");
  for (const char *value : {"2", "3"}) {
    set_elsewhere("a", value);
    EXPECT_EQ(runt_init(), 0);  // keeps the connection
    EXPECT_NE(take(runt_get_string("a")), value);
    ASSERT_EQ(put("b", value), 0);
    EXPECT_EQ(take(runt_get_string("a")), value);
  }
}

constexpr int rows = 50;

// Writes a batch that makes all rows equal; calls `halfway` in the middle of it.
int write_batch(int generation, void halfway()) {
  if (runt_edit_start() != 0 || runt_delete("row") != 0) return 1;
  for (int row = 0; row < rows; row++) {
    if (row == rows / 2) halfway();
    if (runt_set_string_pathf(std::to_string(generation).c_str(), "row.%d", row) != 0) return 1;
  }
  return runt_edit_commit();
}

bool rows_alike() {
  if (runt_init() != 0) return false;
  RuntEntry **entries = runt_get_entries("row", 0, 0, 0, 0);
  int alike = 0;
  for (RuntEntry **entry = entries; entry != nullptr && *entry != nullptr; entry++)
    alike += std::string((*entry)->value) == entries[0]->value ? 1 : -rows;
  runt_entries_free(entries);
  runt_deinit();
  return alike == rows;
}

// A connection cannot be used after a fork: each process has to connect itself.
pid_t fork_child(int body()) {
  pid_t pid = fork();
  if (pid == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // the child ends when a test fails
    _exit(body());
  }
  return pid;
}

int write_forever() {
  if (runt_init() != 0) return 1;
  for (int generation = 0; write_batch(generation, [] {}) == 0; generation++) continue;
  return 1;
}

int ended_by(pid_t pid) {
  int status = 0;
  waitpid(pid, &status, 0);
  return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

TEST_F(Runt, ReadersSeeWholeBatches) {
  ASSERT_EQ(write_batch(0, [] {}), 0);
  runt_deinit();
  pid_t readers[3];
  for (pid_t &reader : readers)
    reader = fork_child([] {
      while (rows_alike()) continue;  // until it is killed
      return 1;
    });
  for (int round = 0; round < 5; round++) {
    EXPECT_EQ(ended_by(fork_child([] { return runt_init() + write_batch(-1, [] { raise(SIGKILL); }); })), -SIGKILL);
    pid_t writer = fork_child(write_forever);
    usleep(20'000);
    kill(writer, SIGKILL);
    EXPECT_EQ(ended_by(writer), -SIGKILL);
  }
  for (pid_t reader : readers) kill(reader, SIGKILL);
  for (pid_t reader : readers) EXPECT_EQ(ended_by(reader), -SIGKILL);
  EXPECT_TRUE(rows_alike());
}

TEST_F(Runt, StoppedProgramsAreWaitedForOnce) {
  ASSERT_EQ(put("row.0", "1"), 0);
  runt_deinit();
  EXPECT_EQ(ended_by(fork_child([] {
              alarm(60);  // ends a test that hangs
              pid_t writer = fork_child([] { return runt_init() + write_batch(-1, [] { raise(SIGSTOP); }); });
              waitpid(writer, nullptr, WUNTRACED);
              if (freopen("/var/run/messages", "w", stderr) == nullptr || runt_init() != 0) return 1;
              for (int change = 0; change < 20; change++) {
                if (runt_delete("hybrid") == 0 || runt_edit_start() == 0) return 2;
              }
              if (take(runt_get_string("row.0")) != "1") return 3;
              runt_deinit();
              kill(writer, SIGKILL);
              waitpid(writer, nullptr, 0);
              return runt_init() + put("row.0", "2");
            })),
            0);
  EXPECT_EQ(take(file_read("/var/run/messages")),
            "tessera: another program keeps the runtime store /var/run/runt locked, giving up after 10 seconds\n");
}

}  // namespace
