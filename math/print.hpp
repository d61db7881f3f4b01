// print: numbers to standard output with the decimal point that every reader of the output expects, whatever locale the
// host has set.
#ifndef Q7_MATH_PRINT_HPP
#define Q7_MATH_PRINT_HPP

#include <charconv>
#include <cstdio>

namespace q7 {

inline void print_text(const char *text) { std::fputs(text, stdout); }

// As printf's "%.<decimals>f": the largest double has 309 digits in front of the point.
inline void print_number(double value, int decimals) {
  char text[384];
  auto end = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, decimals);
  std::fwrite(text, 1, static_cast<size_t>(end.ptr - text), stdout);
}

}  // namespace q7

#endif
