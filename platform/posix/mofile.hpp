// mofile: a compiled gettext catalogue in memory. The file may come from anybody, so nothing in it is trusted: a text
// is handed out only when it lies whole inside the file, ends with NUL and is UTF-8.
#ifndef Q7_PLATFORM_POSIX_MOFILE_HPP
#define Q7_PLATFORM_POSIX_MOFILE_HPP

#include <cstdint>

namespace q7posix {

class MoFile {
 public:
  // The catalogue over a file's bytes, which must stay where they are and be followed by one NUL. False when they are
  // no catalogue.
  bool attach(const char *bytes, uint32_t size);
  // The translation of a key in a context; null when there is none.
  const char *find(const char *context, const char *key) const;

 private:
  uint32_t word(uint64_t offset) const;
  const char *text(uint64_t table, uint32_t index, uint32_t *length) const;

  const char *bytes_ = nullptr;
  uint32_t size_ = 0;
  bool swapped_ = false;
  uint32_t count_ = 0;
  uint32_t keys_ = 0;   // offset of the table of keys
  uint32_t texts_ = 0;  // offset of the table of translations
};

// True when both formats take the same printf arguments in the same order, so that one can stand for the other.
bool same_arguments(const char *a, const char *b);

}  // namespace q7posix

#endif
