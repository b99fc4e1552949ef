// Reading and writing descriptors to their end, whatever interrupts.
#ifndef TESSERA_REFERENCE_TOOLS_STREAM_H
#define TESSERA_REFERENCE_TOOLS_STREAM_H

#include <cstddef>

// Reads everything up to the end of input into a new text that the caller frees; `expected` bytes are likely. False,
// and nothing stored, when reading fails.
bool read_all(int fd, size_t expected, char **text);

bool write_all(int fd, const char *bytes, size_t length);

#endif
