// q7strings: bounded string routines and the wildcard matchers. Nothing is kept; blocks belong to the caller.
#include "core/q7strings.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "core/q7memory.h"

namespace {

int q7str_lower(char c) { return std::tolower(static_cast<unsigned char>(c)); }
bool q7str_letter(char c) { return std::isalpha(static_cast<unsigned char>(c)) != 0; }

bool q7str_same(char a, char b, bool ignore_case) {
  return a == b || (ignore_case && q7str_letter(a) && q7str_letter(b) && q7str_lower(a) == q7str_lower(b));
}

// Matches c against the set behind "[" and moves p behind its "]". Bytes compare as signed; either end of a range may
// come first.
bool q7str_in_set(char byte, const char *&p) {
  const auto c = static_cast<signed char>(byte);
  for (;;) {
    if (*p == ']' || *p == 0) return false;
    auto low = static_cast<signed char>(*p++);
    auto high = low;
    if (*p == '-') {
      if (*++p == ']' || *p == 0) return false;
      high = static_cast<signed char>(*p++);
    }
    if (low > high) std::swap(low, high);
    if (low <= c && c <= high) break;
  }
  p = std::strchr(p, ']');
  if (!p) return false;
  ++p;
  return true;
}

// Matches one pattern element other than "*" against one character and moves p behind it.
bool q7str_step(char c, const char *&p, bool ignore_case) {
  switch (*p) {
    case 0: return false;
    case '?': ++p; return true;
    case '[': return q7str_in_set(c, ++p);
    case '\\':
      if (*++p == 0) return false;
      [[fallthrough]];
    default: return q7str_same(*p++, c, ignore_case);
  }
}

// Only the last star ever needs another try: whatever an earlier star could take, a later one can take too. So the time
// is bounded by length times pattern.
int32_t q7str_match(const char *s, const char *p, bool ignore_case) {
  if (!s || !p) return 0;
  const char *star = nullptr;   // behind the last star
  const char *retry = nullptr;  // where the text behind it was tried last
  for (;;) {
    if (*p == '*') {
      while (*p == '*') ++p;
      if (*p == 0) return 1;
      star = p;
      retry = s;
      continue;
    }
    if (*s == 0) return *p == 0;
    if (q7str_step(*s, p, ignore_case)) {
      ++s;
      continue;
    }
    if (!star) return 0;
    s = ++retry;
    p = star;
  }
}

}  // namespace

char *Q7StrDup(const char *s) {
  if (!s) return nullptr;
  const size_t size = std::strlen(s) + 1;
  void *copy = Q7AllocMem(size, 0);
  return copy ? static_cast<char *>(std::memcpy(copy, s, size)) : nullptr;
}

char *Q7StrAlloc(uint64_t n) {
  if (n == 0 || n == UINT64_MAX) return nullptr;
  auto *s = static_cast<char *>(Q7AllocMem(n + 1, 0));
  if (s) s[0] = 0;
  return s;
}

void Q7StrFree(char *s) { Q7FreeMem(s, 0); }

char *Q7StrCpy(char *dst, const char *src, int32_t size) {
  if (!dst || size < 1) return dst;
  if (!src) src = "";
  const size_t room = static_cast<size_t>(size) - 1;
  const size_t length = strnlen(src, room);
  std::memmove(dst, src, length);
  std::memset(dst + length, 0, static_cast<size_t>(size) - length);
  return dst;
}

uint64_t Q7StrCat(char *dst, const char *src, int32_t size) {
  const auto answer = reinterpret_cast<uint64_t>(dst);
  if (!dst || size < 1) return answer;
  const size_t old = std::strlen(dst);
  const size_t room = static_cast<size_t>(size);
  if (old == room) {
    dst[room - 1] = 0;
    return old;
  }
  if (src && old < room - 1) {
    const size_t length = strnlen(src, room - 1 - old);
    std::memmove(dst + old, src, length);
    dst[old + length] = 0;
  }
  dst[room - 1] = 0;
  return answer;
}

int32_t Q7StrCaseCmp(const char *a, const char *b) { return Q7StrNCaseCmp(a, b, UINT64_MAX); }

int32_t Q7StrNCaseCmp(const char *a, const char *b, uint64_t n) {
  if (!a || !b) return (a != nullptr) - (b != nullptr);
  for (; n > 0; --n, ++a, ++b) {
    const int difference = q7str_lower(*a) - q7str_lower(*b);
    if (difference != 0 || *a == 0) return difference;
  }
  return 0;
}

uint64_t Q7StrRemoveCharsOfKind(char *s, int32_t c) {
  if (!s) return 0;
  char *to = s;
  const char *from = s;
  for (; *from; ++from) {
    if (*from != static_cast<char>(c)) *to++ = *from;
  }
  *to = 0;
  return static_cast<uint64_t>(from - s);
}

int32_t Q7StringMatch(const char *string, const char *pattern) { return q7str_match(string, pattern, false); }

int32_t Q7StringMatchIgnoreCase(const char *string, const char *pattern) { return q7str_match(string, pattern, true); }
