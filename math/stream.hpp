// stream: how geometry values travel: one double a message, straight to the stream object's dispatcher, so that an IFF
// stream can store each in its own byte order.
#ifndef Q7_MATH_STREAM_HPP
#define Q7_MATH_STREAM_HPP

#include "core/classdef.hpp"

namespace q7 {

// The stream messages for one double; the slot carries its address.
enum : uint32_t { stream_read_double = 5003, stream_write_double = 5008 };

// Sends `count` doubles one after the other; 0 at the first that fails.
inline int32_t stream_doubles(Q7Object *stream, uint32_t method, const double *first, int count) {
  if (!stream || !first) return 0;
  for (int i = 0; i < count; ++i) {
    if (!send(stream, method, 0, 0, slot(first + i))) return 0;
  }
  return 1;
}

}  // namespace q7

#endif
