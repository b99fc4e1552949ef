// Reading and writing descriptors to their end, whatever interrupts.
#ifndef TESSERA_REFERENCE_UTIL_FILE_H
#define TESSERA_REFERENCE_UTIL_FILE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// Moments of a clock that nobody sets, in milliseconds.
int64_t moment_after(int milliseconds);
constexpr int64_t no_deadline = INT64_MAX;

// Waits for the event of poll(2): something to read, or room to write. False when that has not come about at the
// deadline.
bool wait_ready(int fd, short event, int64_t deadline);

// Opens /dev/null in the place of standard streams that the caller has closed. No file may get such a number, or a
// message would be written into it. False, with errno, when that fails.
bool protect_standard_streams();

// More than any file that people give can sensibly hold.
constexpr size_t largest_file = 256U << 20;

// Appends everything up to the end of input to `content`. False, with errno and part of the input, when reading fails,
// goes beyond `limit` bytes (EFBIG) or is not over at the deadline (ETIMEDOUT).
bool read_all(int fd, std::string *content, size_t limit = largest_file, int64_t deadline = no_deadline);

// False, with errno, when not everything could be written.
bool write_all(int fd, std::string_view content);

#endif
