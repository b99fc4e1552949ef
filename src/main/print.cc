#include "main/print.h"

#include <algorithm>
#include <charconv>
#include <cstring>

namespace {

// What fits is gathered before it goes to its end: a call per line is cheaper than one per piece.
constexpr size_t gathered = 256;

template <typename Flush>
void gather(std::initializer_list<const char *> pieces, Flush flush) {
  char line[gathered];
  size_t used = 0;
  for (const char *piece : pieces) {
    size_t length = strlen(piece);
    if (length > sizeof line - used) {
      flush(line, used);
      used = 0;
    }
    if (length > sizeof line) {
      flush(piece, length);
    } else {
      std::copy_n(piece, length, line + used);
      used += length;
    }
  }
  flush(line, used);
}

}  // namespace

Decimal::Decimal(int64_t number) {
  *std::to_chars(text_, text_ + sizeof text_, number).ptr = '\0';
}

void print(FILE *out, std::initializer_list<const char *> pieces) {
  gather(pieces, [out](const char *text, size_t length) { fwrite_unlocked(text, 1, length, out); });
}

void print(FILE *out, const char *text) {
  fwrite_unlocked(text, 1, strlen(text), out);
}

void append_pieces(std::string &text, std::initializer_list<const char *> pieces) {
  gather(pieces, [&text](const char *part, size_t length) { text.append(part, length); });
}
