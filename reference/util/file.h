// Reading and writing whole contents of file descriptors, and waiting for them. Signals do not interrupt these
// functions.
#ifndef TESSERA_REFERENCE_UTIL_FILE_H
#define TESSERA_REFERENCE_UTIL_FILE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// The time after so many milliseconds from now, in milliseconds of the monotonic clock. Deadlines are such times.
int64_t moment_after(int milliseconds);
constexpr int64_t no_deadline = INT64_MAX;

// Waits for an event of poll(2), POLLIN or POLLOUT. False when it has not occurred at the deadline.
bool wait_ready(int fd, short event, int64_t deadline);

// Opens /dev/null for each standard stream that the caller of the program has closed. Otherwise a file could get its
// number, and messages would be written into the file. False, with the reason in errno, when that fails.
bool protect_standard_streams();

// The limit for files that people write, in bytes.
constexpr size_t largest_file = 256U << 20;

// Appends everything up to the end of the input to `content`. False, with the reason in errno, when a read fails, when
// there are more than `limit` bytes (EFBIG), or when the input has not ended at the deadline (ETIMEDOUT). `content`
// then holds a part of the input.
bool read_all(int fd, std::string *content, size_t limit = largest_file, int64_t deadline = no_deadline);

// Writes all of `content`. False, with the reason in errno, when that fails.
bool write_all(int fd, std::string_view content);

#endif
