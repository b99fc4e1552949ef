// Tests the utility library beyond tessera-conformance: sizes, unusual strings, and the environment of children and of
// the log.
#include "platform/tools.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <string>
#include <utility>

#include "unit/private_mounts.h"

namespace {

std::string take_list(char **list) {
  std::string joined = take(sl_join(list, "|"));
  sl_free(list);
  return joined;
}

TEST(Tools, ListsAndStrings) {
  EXPECT_EQ(take_list(nullptr), "(null)");
  EXPECT_EQ(take_list(_sl_append(nullptr, "", 0)), "");
  char **list = nullptr;
  for (int number = 0; number < 1000; number++) {
    list = sl_append_printf(list, "%d", number);
    ASSERT_EQ(sl_len(list), number + 1);
    ASSERT_EQ(list[number + 1], nullptr);
  }
  EXPECT_STREQ(list[999], "999");
  EXPECT_TRUE(sl_find(list, "512") && !sl_find(list, "1000"));
  sl_free(list);
  for (const auto &[text, pieces] : {std::pair("", ""), {"/", "|"}, {"//a/", "||a|"}, {"a", "a"}})
    EXPECT_EQ(take_list(sl_split(text, '/')), pieces) << text;
  EXPECT_EQ(take_list(sl_split(nullptr, '/')), "(null)");

  const EscapePair table[] = {{"\"", "\\\""}, {"\\", "\\\\"}, {"\n", "\\\\n"}, {"x", ""}, {nullptr, nullptr}};
  for (const auto &[text, escaped] :
       {std::pair("a\nb", "a\\\\nb"), {"\\\"", "\\\\\\\""}, {"%s plain", "%s plain"}, {"xx", ""}, {"", ""}})
    EXPECT_EQ(take(escape(text, table)), escaped);
}

TEST(Tools, Networks) {
  in_addr address;
  int32_t length = 99;
  // Network; address and length.
  for (const char *row : {"10.0.0.0/8|10.0.0.0|8", "192.168.1.77/24|192.168.1.77|24", "1.2.3.4|1.2.3.4|32",
                          "0.0.0.0/0|0.0.0.0|0", "255.255.255.255/32|255.255.255.255|32", "1.2.3.4/19|1.2.3.4|19",
                          "1.2.3.4/9|1.2.3.4|9", "1.2.3.4/08|1.2.3.4|8"}) {
    char **cells = sl_split(row, '|');
    EXPECT_TRUE(xip4_parse_network(cells[0], &address, &length)) << row;
    EXPECT_STREQ(inet_ntoa(address), cells[1]);
    EXPECT_EQ(std::to_string(length), cells[2]);
    sl_free(cells);
  }
  const in_addr before = address;
  for (const char *text :
       {"1.2.3.4/33", "1.2.3.4/", "1.2.3.4/-1", "1.2.3.4/ 8", "1.2.3.4/8x", "1.2.3.4/008", "1.2.3.4/8/8", "1.2.3/8",
        "1.2.3.256", "01.2.3.4", "255.255.255.2550/8", "::1/128", "", "/8", static_cast<const char *>(nullptr)}) {
    EXPECT_FALSE(xip4_parse_network(text, &address, &length)) << text;
    EXPECT_TRUE(address.s_addr == before.s_addr && length == 8);
  }
}

mode_t mode_of(const char *path) {
  struct stat status = {};
  return stat(path, &status) == 0 ? status.st_mode & 07777 : 0;
}

TEST(Tools, Files) {
  const char *path = "/var/run/file";
  umask(0);
  close(creat(path, 0644));
  bool foreign = chown(path, 1, 1) == 0;  // fails when the namespace has only one user
  EXPECT_TRUE(file_write(path, "a long first content\n"));
  EXPECT_EQ(mode_of(path), 0600U);
  EXPECT_TRUE(!foreign || system("[ $(stat -c %u /var/run/file) = 0 ]") == 0);
  EXPECT_TRUE(file_printf(path, "%s", "short"));
  EXPECT_EQ(take(file_read(path)), "short");
  EXPECT_TRUE(file_printf("/var/run/new", "%s", ""));
  EXPECT_EQ(mode_of("/var/run/new"), 0600U);
  EXPECT_EQ(take(file_read("/var/run/new")), "");

  std::string large(3'000'000, 'x');
  EXPECT_TRUE(file_write(path, large.c_str()));
  EXPECT_EQ(take(file_read(path)), large);
  // A file whose size is not known before it is read.
  EXPECT_EQ(take(file_read("/proc/self/status")).substr(0, 5), "Name:");

  ASSERT_EQ(system("cd /var/run && mkfifo fifo && ln -s nothing dangling && mkdir small && mount -t tmpfs -o size=16k "
                   "tmpfs small"),
            0);
  for (const char *unreadable : {"/var/run/nothing", "/var/run/dangling", "/var/run", "/var/run/fifo"})
    EXPECT_EQ(file_read(unreadable), nullptr) << unreadable;
  EXPECT_FALSE(file_exists("/var/run/dangling"));
  for (const char *unwritable : {"/var/run/none/file", "/var/run", "", "/var/run/small/file"})
    EXPECT_FALSE(file_write(unwritable, large.c_str())) << unwritable;
}

// The output of a shell command.
std::string shell(const char *command) {
  return take(_process_capture(-1, -1, 1, 0, 0, "sh", "-c", command, nullptr));
}

TEST(Tools, ProcessResults) {
  EXPECT_EQ(shell(":"), "");
  EXPECT_EQ(shell("head -c 1048576 /dev/zero | tr '\\0' x"), std::string(1048576, 'x'));
  EXPECT_EQ(shell("echo lost; kill -9 $$"), "(null)");

  for (auto [command, status] : {std::pair("exit 0", 0), {"exit 255", 255}, {"kill -TERM $$", 128 + SIGTERM}})
    EXPECT_EQ(process_wait(_process_exec_fd(-1, -1, -1, -1, "sh", "-c", command, nullptr)), status);
  EXPECT_EQ(process_wait(_process_exec_fd(-1, -1, -1, -1, "no-such-program", nullptr)), 127);
  for (pid_t nobody : {-1, 0, 1}) EXPECT_EQ(process_wait(nobody), 127);
}

TEST(Tools, ProcessSurroundings) {
  ASSERT_EQ(dup2(STDERR_FILENO, 42), 42);
  signal(SIGPIPE, SIG_IGN);
  signal(SIGCHLD, SIG_IGN);  // a parent may leave this; the exit status would be lost then
  sigset_t blocked;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGTERM);
  sigprocmask(SIG_BLOCK, &blocked, nullptr);
  EXPECT_EQ(shell("ls /proc/self/fd | tr '\\n' ' '"), "0 1 2 3 ");  // the last is the directory that ls reads
  EXPECT_EQ(shell("readlink /proc/self/fd/0"), "/dev/null\n");
  // No signal up to 28 is blocked or ignored; the C library uses those above 31.
  const char *plain = "^Sig(Blk|Ign):.*0000000$";
  EXPECT_EQ(take(_process_capture(-1, -1, 1, 0, 0, "grep", "-cE", plain, "/proc/self/status", nullptr)), "2\n");
  // The child leads its own session and has no terminal.
  EXPECT_EQ(shell("read -r pid name state parent group session terminal rest </proc/$$/stat\n"
                  "echo $((pid == session)) $terminal"),
            "1 0\n");
  // A service manager may start programs without standard input or output.
  int input = dup(STDIN_FILENO);
  int output = dup(STDOUT_FILENO);
  close(STDIN_FILENO);
  close(STDOUT_FILENO);
  std::string without = shell("echo ok; cat");
  dup2(input, STDIN_FILENO);
  dup2(output, STDOUT_FILENO);
  EXPECT_EQ(without, "ok\n");
}

TEST(Tools, Log) {
  // A private system log; the end of the test restores /dev.
  ASSERT_EQ(mount("tmpfs", "/dev", "tmpfs", 0, "mode=0755"), 0);
  int system_log = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  sockaddr_un address = {AF_UNIX, "/dev/log"};
  ASSERT_EQ(bind(system_log, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
  std::string value = "100%s \xC3\xBC \"'";
  testing::internal::CaptureStderr();
  errno = ENOENT;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat"  // "%m" is no part of the C standard
  log_error("%s: %m", value.c_str());
#pragma GCC diagnostic pop
  EXPECT_EQ(errno, ENOENT);
  log_debug("only there");
  log_init("tessera_test", 0, 0);
  log_error("a\nb\x1B[2Jc\td\xC2\x9B");
  log_error("%s", std::string(5000, 'x').c_str());
  std::string lines = testing::internal::GetCapturedStderr();
  EXPECT_EQ(lines, "tessera: " + value + ": No such file or directory\ntessera_test: a?b?[2Jc\td??\ntessera_test: " +
                       std::string(5000, 'x') + "\n");
  // Facility daemon (3): error 3, debug 7.
  const char *const rows[][2] = {{"<27>", "tessera: 100%s \xC3\xBC \"': No such file or directory"},
                                 {"<31>", "tessera: only there"},
                                 {"<27>", "tessera_test: a?b?[2Jc\td"}};
  for (const auto &[priority, text] : rows) {
    char message[4096] = "";
    recv(system_log, message, sizeof message - 1, 0);
    EXPECT_EQ(std::string(message).substr(0, 4), priority);
    EXPECT_NE(strstr(message, text), nullptr) << message;
  }
  // A logger that does not read must not block the program.
  for (int i = 0; i < 1000; i++) log_debug("more than the socket takes");
  close(system_log);
  umount2("/dev", MNT_DETACH);
}

}  // namespace
