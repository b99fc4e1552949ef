// What the C++ library calls when it runs out of memory or is used wrongly. Each of these functions ends the run with
// one line, as the program catches no exceptions.
//
// The library's own versions throw. That links in the code that searches the stack for a handler and makes names
// readable: 90 KB, half of the program without the reference platform, for the same outcome. When the linker says that
// a symbol is defined twice, the library's version of another function is used somewhere: define that one here too.
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

}  // namespace std
