// Functions that the C++ library calls when memory runs out or a function is used wrongly. Here they end the run with
// one line, because the program catches no exceptions.
//
// The library's own versions throw exceptions, which end the run as well. But they link in the code that unwinds the
// stack and demangles names: 90 KB, half of the program without the reference platform. If the linker reports a symbol
// that is defined twice, the program uses another such function of the library: define that function here too.
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

namespace std {  // NOLINT(cert-dcl58-cpp): the library declares them there

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
