// Durations such as "90s".
#ifndef TESSERA_REFERENCE_CONFIG_DURATION_H
#define TESSERA_REFERENCE_CONFIG_DURATION_H

#include <stdint.h>

#include <string_view>

inline constexpr int64_t longest_duration = int64_t{INT32_MAX} * 1000 + 999;  // in milliseconds

// Reads digits up to the first other character and stores its place in `end`. Returns at most `limit`.
int64_t read_digits(const char *digits, int64_t limit, const char **end);

// The milliseconds of a duration; a value above longest_duration for one that is too long, -1 for a malformed one. A
// zero byte must follow the string.
int64_t read_duration(std::string_view string);

#endif
