// numbers: numbers as text in the "C" form, whatever locale the process has.
#ifndef Q7_CORE_NUMBERS_HPP
#define Q7_CORE_NUMBERS_HPP

#include <cctype>
#include <charconv>
#include <cstddef>
#include <cstdint>

namespace q7 {

// Writes doubles separated by blanks, each as printf's "%.<digits>g" prints it in the "C" locale. False when they do
// not fit.
inline bool print_doubles(char *buffer, size_t size, const double *values, int count, int digits) {
  char *p = buffer;
  char *const end = buffer + size;
  for (int i = 0; i < count; ++i) {
    if (i > 0 && p < end) *p++ = ' ';
    const auto [next, error] = std::to_chars(p, end, values[i], std::chars_format::general, digits);
    if (error != std::errc()) return false;
    p = next;
  }
  if (p >= end) return false;
  *p = 0;
  return true;
}

inline const char *skip_blanks(const char *text) {
  while (std::isspace(static_cast<unsigned char>(*text))) ++text;
  return text;
}

// Reads one number of type T and moves the text behind it.
template <class T>
bool parse_number(const char *&text, T &value) {
  const char *p = skip_blanks(text);
  if (*p == '+' && p[1] != '-' && p[1] != '+') ++p;
  const char *end = p;
  while (*end && !std::isspace(static_cast<unsigned char>(*end))) ++end;
  const auto [next, error] = std::from_chars(p, end, value);
  if (error != std::errc()) return false;
  text = next;
  return true;
}

}  // namespace q7

#endif
