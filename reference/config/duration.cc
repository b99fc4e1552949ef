#include "config/duration.h"

#include <algorithm>

namespace {

struct DurationUnit {
  const char *name;
  int64_t milliseconds;
};
constexpr DurationUnit duration_units[] = {{"ms", 1},      {"s", 1000},     {"m", 60000},
                                           {"h", 3600000}, {"d", 86400000}, {"w", 604800000}};

}  // namespace

int64_t read_digits(const char *digits, int64_t limit, const char **end) {
  int64_t value = 0;
  for (; *digits >= '0' && *digits <= '9'; digits++) value = std::min(value * 10 + (*digits - '0'), limit);
  *end = digits;
  return value;
}

int64_t read_duration(std::string_view string) {
  const char *unit;
  int64_t count = read_digits(string.data(), longest_duration + 1, &unit);
  if (unit == string.data()) return -1;
  std::string_view name = string.substr(static_cast<size_t>(unit - string.data()));
  for (const DurationUnit &known : duration_units) {
    if (name == known.name) return std::min(count, longest_duration / known.milliseconds + 1) * known.milliseconds;
  }
  return -1;
}
