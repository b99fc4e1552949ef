// Writing lines. What is always the same few pieces in a row needs no format to be parsed, and no lock either: a
// stream belongs to one thread.
#ifndef TESSERA_MAIN_PRINT_H
#define TESSERA_MAIN_PRINT_H

#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <string>

// A number as a piece of a line.
class Decimal {
 public:
  explicit Decimal(int64_t number);
  operator const char *() const { return text_; }

 private:
  char text_[21];  // any of 64 bits with its sign
};

// Writes the pieces one after the other; none may be null.
void print(FILE *out, std::initializer_list<const char *> pieces);
void print(FILE *out, const char *text);

// The same at the end of a text.
void append_pieces(std::string &text, std::initializer_list<const char *> pieces);

#endif
