// What all mappers share: output files and the set of texts.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>

#include "main/owned.h"
#include "main/text_set.h"

namespace {

TEST(Output, TakesFilesOfAnyLengthWhole) {
  const std::string path = testing::TempDir() + "main_test_output";
  const size_t lengths[] = {0, 1, 2047, 2048, 50'000, 1 << 20, (1 << 20) + 1, 8'000'000};
  for (size_t most_held : {size_t{100}, size_t{49152}, SIZE_MAX}) {
    for (size_t length : lengths) {
      OwnedStream stream = open_output(path.c_str(), 0600, most_held);
      std::string whole;
      for (size_t piece = 1; whole.size() < length; piece = piece * 3 % 70'001) {
        std::string text(std::min(piece, length - whole.size()), static_cast<char>('a' + piece % 26));
        fputs(text.c_str(), stream.get());
        whole += text;
      }
      ASSERT_TRUE(close_output(std::move(stream))) << length;
      OwnedStream file(fopen(path.c_str(), "re"));
      std::string found(length + 1, '\0');
      found.resize(fread(found.data(), 1, found.size(), file.get()));
      EXPECT_TRUE(found == whole) << length << ", " << most_held;
      OwnedStream full = open_output("/dev/full", 0600, most_held);
      fputs(whole.c_str(), full.get());
      errno = 0;
      EXPECT_EQ(close_output(std::move(full)), whole.empty());
      EXPECT_EQ(errno, whole.empty() ? 0 : ENOSPC) << length << ", " << most_held;
    }
  }
  unlink(path.c_str());
}

TEST(TextSet, TakesMoreThanItHasRoomFor) {
  std::vector<std::string> texts(1000);
  for (size_t i = 0; i < texts.size(); i++) texts[i] = std::to_string(i);
  TextSet set;
  for (const std::string &text : texts) EXPECT_TRUE(!set.contains(text.c_str()) && set.insert(text.c_str())) << text;
  for (const std::string &text : texts) EXPECT_TRUE(set.contains(text.c_str()) && !set.insert(text.c_str())) << text;
}

}  // namespace
