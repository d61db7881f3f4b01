// attributes: classes of the user interface that keep what is set on them. A class lists its attributes; an instance
// holds one value for each, as 64 bits, and gives it back in the attribute's own width.
#ifndef Q7_PLATFORM_POSIX_ATTRIBUTES_HPP
#define Q7_PLATFORM_POSIX_ATTRIBUTES_HPP

#include "core/q7oops.h"
#include "platform/posix/shape.hpp"

namespace q7posix {

enum class Width : uint8_t { kInt32, kPointer };

// Attributes first to last of one width, kept in the instance's values from `at` on.
struct AttributeRun {
  uint32_t first;
  uint32_t last;
  Width width;
  uint32_t at;
};

// The value that an attribute is kept in; null when it is none of these.
inline uint64_t *kept_value(const AttributeRun *runs, size_t count, uint64_t *values, uint32_t tag, Width *width) {
  for (size_t i = 0; i < count; ++i) {
    if (tag < runs[i].first || tag > runs[i].last) continue;
    *width = runs[i].width;
    return values + runs[i].at + (tag - runs[i].first);
  }
  return nullptr;
}

template <size_t N>
bool keep(const AttributeRun (&runs)[N], uint64_t *values, const Q7TagItem &item) {
  Width width;
  uint64_t *value = kept_value(runs, N, values, item.tag, &width);
  if (value) *value = item.data;
  return value != nullptr;
}

template <size_t N>
bool give(const AttributeRun (&runs)[N], uint64_t *values, const Q7TagItem &item) {
  Width width;
  uint64_t *value = kept_value(runs, N, values, item.tag, &width);
  if (!value) return false;
  return width == Width::kInt32 ? store<int32_t>(item, static_cast<int32_t>(*value)) : store<uint64_t>(item, *value);
}

// Method 0 and the two attribute methods of a class that keeps attributes; init(data) gives the starting values.
template <class T, size_t N, class Init>
uint64_t create_kept(Q7Class *cl, Q7Object *receiver, uint64_t a, uint64_t b, Q7TagItem *list,
                     const AttributeRun (&runs)[N], Init init) {
  auto *obj = reinterpret_cast<Q7Object *>(inherit(cl, receiver, Q7M_NEW, a, b, list));
  if (!obj) return 0;
  auto &values = data<T>(cl, obj).values;
  init(data<T>(cl, obj));
  each_tag(list, [&](const Q7TagItem &item) { keep(runs, values, item); });
  return word(obj);
}
template <class T, size_t N>
uint64_t set_kept(Q7Class *cl, Q7Object *obj, Q7TagItem *list, const AttributeRun (&runs)[N]) {
  return walk<T>(cl, obj, Q7M_SET, list, [&](T &d, const Q7TagItem &item) { return keep(runs, d.values, item); });
}
template <class T, size_t N>
uint64_t get_kept(Q7Class *cl, Q7Object *obj, Q7TagItem *list, const AttributeRun (&runs)[N]) {
  return walk<T>(cl, obj, Q7M_GET, list, [&](T &d, const Q7TagItem &item) { return give(runs, d.values, item); });
}
inline constexpr auto no_init = [](auto &) {};

}  // namespace q7posix

#endif
