// Durations such as "90s".
#ifndef TESSERA_REFERENCE_CONFIG_DURATION_H
#define TESSERA_REFERENCE_CONFIG_DURATION_H

#include <stdint.h>

#include <string_view>

inline constexpr int64_t longest_duration = int64_t{INT32_MAX} * 1000 + 999;  // in milliseconds

// Reads digits up to the first other character, where `end` points then. The value is at most `limit`.
int64_t read_digits(const char *digits, int64_t limit, const char **end);

// The milliseconds of a duration: more than longest_duration for any that is longer, -1 for a string of another form.
// A zero byte has to follow the string.
int64_t read_duration(std::string_view string);

#endif
