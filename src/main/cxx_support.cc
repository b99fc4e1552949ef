// What the program needs of the C++ library when something goes wrong that it cannot go on after: memory that has run
// out, or a mistake of ours. It throws no exceptions, so each such call ends it with one line.
//
// The library's own versions can throw. They would bring along, into every start, the search of the stack for a
// handler, its tables and the program that makes names readable: 100 kB that end the run just the same. A linker that
// finds a symbol defined twice tells that the library's version of a function is still needed beside these: define it
// here too.
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>

#include "main/owned.h"

namespace {

[[noreturn]] void give_up(const char *reason) {
  fprintf(stderr, "tessera: %s\n", reason);
  abort();
}

void *allocate(size_t size) {
  return malloc(size > 0 ? size : 1);
}

}  // namespace

void *operator new(size_t size) {
  void *memory = allocate(size);
  if (memory == nullptr) end_without_memory();
  return memory;
}

void *operator new[](size_t size) {
  return operator new(size);
}

void *operator new(size_t size, const std::nothrow_t & /*tag*/) noexcept {
  return allocate(size);
}

void operator delete(void *memory) noexcept {
  free(memory);
}

void operator delete(void *memory, size_t /*size*/) noexcept {
  free(memory);
}

void operator delete[](void *memory) noexcept {
  free(memory);
}

void operator delete[](void *memory, size_t /*size*/) noexcept {
  free(memory);
}

namespace std {  // NOLINT(cert-dcl58-cpp): where the library looks for them

void __throw_bad_alloc() {
  end_without_memory();
}

void __throw_bad_array_new_length() {
  end_without_memory();
}

void __throw_length_error(const char *operation) {
  give_up(operation);
}

void __throw_logic_error(const char *operation) {
  give_up(operation);
}

void __throw_out_of_range_fmt(const char *operation, ...) {
  give_up(operation);
}

void __glibcxx_assert_fail(const char * /*file*/, int /*line*/, const char *function, const char * /*condition*/) {
  give_up(function);
}

}  // namespace std
