// mofile: look-up in a compiled catalogue. The format: a header of seven 32-bit words (magic, revision, count, offset
// of the key table, offset of the text table, two of a hash table that is not needed); both tables are (length, offset)
// pairs, the keys in byte order; a key in a context is the context, the byte 4, and the key.
#include "platform/posix/mofile.hpp"

#include <cstring>

namespace q7posix {

namespace {

constexpr uint32_t kMagic = 0x950412de;
constexpr uint32_t kHeaderSize = 28;
constexpr char kContextEnd = 4;

// Compares a key of the file with context, kContextEnd, key.
int compare(const char *entry, const char *context, const char *key) {
  size_t length = strlen(context);
  if (int order = strncmp(entry, context, length)) return order;
  entry += length;
  if (*entry != kContextEnd) return static_cast<unsigned char>(*entry) < kContextEnd ? -1 : 1;
  return strcmp(entry + 1, key);
}

bool is_utf8(const char *text) {
  auto *c = reinterpret_cast<const unsigned char *>(text);
  while (*c) {
    int more = *c < 0x80 ? 0 : *c < 0xC2 ? -1 : *c < 0xE0 ? 1 : *c < 0xF0 ? 2 : *c < 0xF5 ? 3 : -1;
    if (more < 0) return false;
    if ((*c == 0xE0 && c[1] < 0xA0) || (*c == 0xED && c[1] > 0x9F) || (*c == 0xF0 && c[1] < 0x90) ||
        (*c == 0xF4 && c[1] > 0x8F)) {
      return false;
    }
    for (++c; more; --more, ++c) {
      if ((*c & 0xC0) != 0x80) return false;
    }
  }
  return true;
}

// The next conversion of a format that takes an argument: its length modifier and letter; false at the end. Stars and
// positions change what is taken from the list, so they are part of what is compared.
struct Conversion {
  char spelling[16];
};
bool next_conversion(const char *&format, Conversion &found) {
  while (*format) {
    if (*format++ != '%') continue;
    if (*format == '%') {
      ++format;
      continue;
    }
    size_t used = 0;
    memset(found.spelling, 0, sizeof found.spelling);
    auto keep = [&](char c) {
      if (used + 1 < sizeof found.spelling) found.spelling[used++] = c;
    };
    // Flags, width and precision only shape the output.
    for (; *format && strchr("-+ #0123456789.*$'I", *format); ++format) {
      if (*format == '*' || *format == '$') keep(*format);
    }
    for (; *format && strchr("hljztLq", *format); ++format) keep(*format);
    if (!*format) {
      keep('?');
      return true;
    }
    char letter = *format++;
    keep(letter == 'i' ? 'd' : letter);
    return true;
  }
  return false;
}

}  // namespace

uint32_t MoFile::word(uint64_t offset) const {
  uint32_t value;
  memcpy(&value, bytes_ + offset, sizeof value);
  return swapped_ ? __builtin_bswap32(value) : value;
}

bool MoFile::attach(const char *bytes, uint32_t size) {
  if (!bytes || size < kHeaderSize) return false;
  bytes_ = bytes;
  size_ = size;
  swapped_ = false;
  if (word(0) != kMagic) {
    swapped_ = true;
    if (word(0) != kMagic) return false;
  }
  if (word(4) >> 16 > 1) return false;
  count_ = word(8);
  keys_ = word(12);
  texts_ = word(16);
  uint64_t table = uint64_t{count_} * 8;
  return keys_ + table <= size_ && texts_ + table <= size_;
}

const char *MoFile::text(uint64_t table, uint32_t index, uint32_t *length) const {
  *length = word(table + uint64_t{index} * 8);
  uint64_t offset = word(table + uint64_t{index} * 8 + 4);
  if (offset + *length >= size_ || bytes_[offset + *length]) return nullptr;
  return bytes_ + offset;
}

const char *MoFile::find(const char *context, const char *key) const {
  uint32_t low = 0;
  uint32_t high = count_;
  while (low < high) {
    uint32_t middle = low + (high - low) / 2;
    uint32_t length;
    const char *entry = text(keys_, middle, &length);
    if (!entry) return nullptr;
    int order = compare(entry, context, key);
    if (order == 0) {
      const char *translation = text(texts_, middle, &length);
      return translation && length && is_utf8(translation) ? translation : nullptr;
    }
    if (order < 0) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return nullptr;
}

bool same_arguments(const char *a, const char *b) {
  Conversion left;
  Conversion right;
  for (;;) {
    bool more = next_conversion(a, left);
    if (more != next_conversion(b, right)) return false;
    if (!more) return true;
    if (strcmp(left.spelling, right.spelling) != 0) return false;
  }
}

}  // namespace q7posix
