// memory_stream: a stream class that keeps its bytes in memory, for object streams without files. Answers the value
// methods that object streams use, the way the file class does; a test can make the nth operation fail.
#ifndef Q7_TESTS_CORE_MEMORY_STREAM_H
#define Q7_TESTS_CORE_MEMORY_STREAM_H

#include <string>

#include "tests/core/core_test.h"

namespace q7test {

struct MemoryStream {
  Q7Object object = {};
  std::string bytes;
  size_t position = 0;
  int64_t operations = 0;
  int64_t fail_at = 0;         // this operation and all behind it fail; 0: none
  size_t largest_request = 0;  // the longest block that was asked for

  MemoryStream() { object.dispatch = dispatch; }
  explicit MemoryStream(std::string content) : MemoryStream() { bytes = std::move(content); }
  operator Q7Object *() { return &object; }  // NOLINT: reads like the object it stands for

  bool read(void *to, size_t size) {
    largest_request = std::max(largest_request, size);
    if (fails() || bytes.size() - position < size) return false;
    std::memcpy(to, bytes.data() + position, size);
    position += size;
    return true;
  }
  bool write(const void *from, size_t size) {
    if (fails()) return false;
    bytes.append(static_cast<const char *>(from), size);
    return true;
  }
  bool fails() { return ++operations >= fail_at && fail_at != 0; }

  static uint64_t dispatch(Q7Class *, Q7Object *obj, uint32_t method, uint64_t, uint64_t, Q7TagItem *tags) {
    auto &self = *reinterpret_cast<MemoryStream *>(obj);
    void *address = tags;
    const auto value = reinterpret_cast<uint64_t>(tags);
    switch (method) {
      case 5000: return self.read(reinterpret_cast<void *>(Q7TagVal(tags, 5504, 0)), Q7TagVal(tags, 5503, 0));
      case 5001: return self.read(address, 4);
      case 5002: return self.read(address, 2);
      case 5003: return self.read(address, 8);
      case 5006: return self.write(&value, 4);
      case 5007: return self.write(&value, 2);
      case 5008: return self.write(address, 8);
      case 5047: {
        const auto *text = reinterpret_cast<const char *>(tags);
        const auto length = static_cast<uint16_t>(std::strlen(text) + 1);
        return self.write(&length, 2) && self.write(text, length);
      }
      default: ADD_FAILURE() << "method " << method; return 0;
    }
  }
};

// Bytes of header fields, in the host's order.
inline std::string word32(uint32_t value) { return {reinterpret_cast<const char *>(&value), 4}; }
inline std::string word16(uint16_t value) { return {reinterpret_cast<const char *>(&value), 2}; }
inline std::string counted(const std::string &name) {
  return word16(static_cast<uint16_t>(name.size() + 1)) + name + std::string(1, '\0');
}

}  // namespace q7test

#endif
