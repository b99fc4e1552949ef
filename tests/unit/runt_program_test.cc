// Tests the program runt: its output, its exit status, and that a refused input changes nothing.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "unit/private_mounts.h"

namespace {

// Runs a shell command in which $R is the program. Returns its output and messages, then its exit status.
std::string shell(const std::string &command) {
  setenv("R", RUNT_PROGRAM, 1);
  FILE *pipe = popen(("exec 2>&1; " + command).c_str(), "re");
  std::string output;
  for (int byte = getc(pipe); byte != EOF; byte = getc(pipe)) output += static_cast<char>(byte);
  return output + std::to_string(WEXITSTATUS(pclose(pipe)));
}

TEST(RuntProgram, ReadsAndEdits) {
  const char *const rows[][2] = {
      {"$R dump", "{}\n0"},
      {"$R get a.b", "1"},
      {"$R keys", "1"},
      {"$R set a.10 '%s \"q\" \\ \xC3\xBC'", "0"},
      {"$R set a.9 ''; $R set a.9.b -; $R set b x", "0"},
      {"$R get a.10", "%s \"q\" \\ \xC3\xBC\n0"},
      {"$R get a.9", "\n0"},
      {"$R keys", "a\nb\n0"},
      {"$R keys a", "9\n10\n0"},
      {"$R dump",
       "{\n  \"a.9\": \"\",\n  \"a.9.b\": \"-\",\n  \"a.10\": \"%s \\\"q\\\" \\\\ \xC3\xBC\",\n  \"b\": \"x\"\n}\n0"},
      {"$R dump >/var/run/saved && $R delete a && $R delete a && $R dump", "{\n  \"b\": \"x\"\n}\n0"},
      {"$R load /var/run/saved && $R dump | cmp - /var/run/saved", "0"},
      {"$R load - </var/run/saved", "0"},
      {"of() { stat -c %i /var/run/runt/values; }; old=$(of); $R set b x && test $(of) = $old", "0"},
      {"$R set a..b x", "runt: \"a..b\": expected a key of at most 500 bytes, one or more names joined by \".\"\n1"},
      {"$R set bad \"$(printf '\\377')\"", "runt: \"bad\": expected a value in UTF-8\n1"},
      {"$R set \"$(printf 'a\\nb')\" x", "runt: \"a\\x0ab\": expected a key in UTF-8 without control characters\n1"},
      {"$R set bad \"$(printf '\\355\\240\\200')\"", "runt: \"bad\": expected a value in UTF-8\n1"},
      {"$R get bad", "1"},
      {"$R dump >/dev/full", "runt: cannot write: No space left on device\n1"},
      {"$R --help | head -n1", "Usage: runt get KEY          print the value at a key\n0"},
      {"$R frobnicate 2>&1 | head -n1; $R >/dev/null 2>&1", "runt: there is no command 'frobnicate'\n2"},
      {"$R set only-key >/dev/null 2>&1", "2"},
      {"rm -r /var/run/runt && : >/var/run/runt && $R dump",
       "runt: cannot open the store in /var/run/runt: Not a directory\n1"},
  };
  for (const auto &[command, outcome] : rows) EXPECT_EQ(shell(command), outcome) << command;
}

TEST(RuntProgram, RefusesBadInputWhole) {
  const char *const rows[][2] = {
      {"", "1:1: The document is empty."},
      {"[]", "1:1: expected an object of keys and strings"},
      {"\"a\"", "1:1: expected an object of keys and strings"},
      {"{\"new\":\"1\",\\n  \"c\": 5}", "2:8: c: expected a string"},
      {"{\"new\":\"1\",\\n\\n \"c\" : {\"d\":\"e\"}}", "3:8: c: expected a string"},
      {"{\"new\":\"1\", \"new\":\"2\"}", "1:13: new: expected each key once"},
      {"{\"new\":\"1\", \"c.\":\"2\"}",
       "1:13: \"c.\": expected a key of at most 500 bytes, one or more names joined by \".\""},
      {"{\"new\":\"a\\\\u0000\"}", "1:8: new: expected a string without zero bytes"},
      {"{\"new\":\"a\\\\udc00\"}", "1:8: new: half of a surrogate pair, which is not a character"},
      {"{\"new\":\"1\", \"c\\\\u0000d\":\"2\"}",
       "1:13: \"c\\x00d\": expected a key in UTF-8 without control characters"},
      {"{\"new\":\"\\377\"}", "1:9: Invalid encoding in string."},
      {"{\"new\":\"1\"", "1:11: Missing a comma or '}' after an object member."},
      {"{\"new\":\"1\"} {}", "1:13: The document root must not be followed by other values."},
      {"{\"new\":\"1\"}\\000", "1:12: expected the end of the input"},
  };
  ASSERT_EQ(shell("rm -rf /var/run/runt; $R set old 1"), "0");
  for (const auto &[input, message] : rows)
    EXPECT_EQ(shell(std::string("printf '") + input + "' | $R load -"), std::string("runt: -:") + message + "\n1");
  EXPECT_EQ(shell("$R load /var/run/none"), "runt: /var/run/none: No such file or directory\n1");
  EXPECT_EQ(shell("$R load /dev/zero"), "runt: /dev/zero: File too large\n1");
  EXPECT_EQ(shell("$R dump"), "{\n  \"old\": \"1\"\n}\n0");
}

TEST(RuntProgram, KeepsTheStoreWhole) {
  // A store that could not be made because there was too little room can be made when there is room.
  const char make[] =
      "rm -rf /var/run/runt; mkdir /var/run/small && for pages in 0 1 2 3 4 5; do\n"
      "mount -t tmpfs -o size=64k none /var/run/small && mkdir /var/run/small/runt && ln -s small/runt /var/run/runt\n"
      "cat /dev/zero >/var/run/small/fill; truncate -s -$((pages * 4096)) /var/run/small/fill; $R set k v\n"
      "rm /var/run/small/fill; $R set k $pages && $R get k; umount /var/run/small; rm /var/run/runt; done 2>/dev/null";
  EXPECT_EQ(shell(make), "0\n1\n2\n3\n4\n5\n0");
  // When standard error is closed, no message is written into another file with its number.
  EXPECT_EQ(shell("$R set k v; $R get '' >&- 2>&-; grep -l runt: /var/run/runt/*; $R get k"), "v\n0");
}

}  // namespace
