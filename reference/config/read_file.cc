// The file that a document is read from.
#include <fcntl.h>
#ifdef __GLIBC__
#include <malloc.h>
#endif
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "config/document.h"

namespace {

constexpr uint32_t largest_file = 256U << 20;
constexpr int patience = 10'000;  // milliseconds that a pipe or terminal may stay silent

// Waits until there is something to read, so that a pipe in the place of a file does not hold up a boot for ever.
bool has_news(int fd) {
  pollfd waited = {fd, POLLIN, 0};
  int ready = poll(&waited, 1, patience);
  if (ready == 0) errno = ETIMEDOUT;
  return ready > 0;
}

// The text's memory, `document` bytes of it for the text itself.
//
// A program that reads a document takes about five times its room and ends soon after. All of that is one stretch of
// heap, asked for once and left for the kernel to take back, instead of a system call or two for each large block. What
// of it is not used costs nothing, but counts where a program's address space is limited: there the heap grows by small
// steps as usual. Yet a block that has to be cleared, as LMDB's for changes (two megabytes, or one where pointers have
// 32 bits), is cheapest fresh from the kernel: beside a small document there is no room for it, and it gets a mapping
// of its own.
char *allocate_text(size_t size, [[maybe_unused]] size_t document) {
#ifdef __GLIBC__
  constexpr size_t unit = sizeof(void *) << 17;
  bool small = document < unit;
  mallopt(M_TRIM_THRESHOLD, -1);
  mallopt(M_MMAP_THRESHOLD, static_cast<int>(small ? 2 * unit : 32 * unit));
  mallopt(M_TOP_PAD, static_cast<int>(small ? 4 * document + 5 * unit / 4 : 5 * document + 4 * unit));
  auto *text = static_cast<char *>(malloc(size));
  constexpr int usual = 128 << 10;
  mallopt(M_TOP_PAD, text != nullptr ? 8 * usual : usual);
  if (text != nullptr) return text;
  mallopt(M_MMAP_THRESHOLD, usual);
#endif
  return static_cast<char *>(malloc(size));
}

}  // namespace

char *read_padded(const char *path, size_t padding, uint32_t *size, std::string *problem) {
  auto fail = [problem](const char *what) {
    *problem = std::string(what) + ": " + strerror(errno);
    return nullptr;
  };
  int fd = open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
  if (fd < 0) return fail("cannot be opened");
  std::unique_ptr<const int, void (*)(const int *)> closer(&fd, [](const int *held) { close(*held); });
  struct stat status;
  if (fstat(fd, &status) != 0) return fail("cannot be read");
  bool regular = S_ISREG(status.st_mode);
  if (regular && status.st_size > largest_file) {
    *problem = "is larger than 256 MiB";
    return nullptr;
  }
  size_t room = regular ? static_cast<size_t>(status.st_size) : 65536;
  size_t used = 0;
  std::unique_ptr<char, void (*)(void *)> text(allocate_text(room + padding, room), free);
  while (text != nullptr && !(regular && used == room)) {
    ssize_t got = regular || has_news(fd) ? read(fd, text.get() + used, room - used) : -1;
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return fail("cannot be read");
    if (got == 0) break;
    used += static_cast<size_t>(got);
    if (used < room || regular) continue;
    if (room >= largest_file) {
      *problem = "is larger than 256 MiB";
      return nullptr;
    }
    room *= 2;
    text.reset(static_cast<char *>(realloc(text.release(), room + padding)));
  }
  if (text == nullptr) return fail("cannot be read");
  memset(text.get() + used, 0, padding);
  *size = static_cast<uint32_t>(used);
  return text.release();
}
