#pragma once

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

/// Tries one input; the target defines it.
void fuzz(std::string_view input);

/// Ends the program as a finding of libFuzzer's unless `holds`.
inline void expect(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", what);
  std::abort();
}

/// The first line of `rest`, which is taken away from it.
inline std::string_view takeLine(std::string_view& rest) {
  const std::string_view line = rest.substr(0, rest.find('\n'));
  rest.remove_prefix(line.size() < rest.size() ? line.size() + 1 : line.size());
  return line;
}

/// The number in the first line, 0 where there is none.
template <class Number>
Number takeNumber(std::string_view& rest) {
  const std::string_view line = takeLine(rest);
  Number number = 0;
  std::from_chars(line.data(), line.data() + line.size(), number);
  return number;
}
