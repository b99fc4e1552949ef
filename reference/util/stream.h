// Reading and writing descriptors to their end, whatever interrupts.
#ifndef TESSERA_REFERENCE_UTIL_STREAM_H
#define TESSERA_REFERENCE_UTIL_STREAM_H

#include <cstddef>
#include <cstdint>

// Moments of a clock that nobody sets, in milliseconds.
int64_t moment_after(int milliseconds);
constexpr int64_t no_deadline = INT64_MAX;

// Waits for the event of poll(2): something to read, or room to write. False when that has not come about at the
// deadline.
bool wait_ready(int fd, short event, int64_t deadline);

// Reads everything up to the end of input into a new text that the caller frees; `expected` bytes are likely. False,
// and nothing stored, when reading fails, goes beyond `limit` bytes or is not over at the deadline.
bool read_all(int fd, size_t expected, size_t limit, int64_t deadline, char **text);

bool write_all(int fd, const char *bytes, size_t length);

#endif
