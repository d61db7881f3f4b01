// q7swap: byte order of stored numbers.
#include "io/q7swap.h"

#include <algorithm>

void *Q7Swap(void *value, int32_t size) {
  auto *bytes = static_cast<unsigned char *>(value);
  if (bytes && size > 1) std::reverse(bytes, bytes + size);
  return value;
}
