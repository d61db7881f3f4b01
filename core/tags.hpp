// tags: how the library's own code walks tag lists, reads values out of items and slots, and builds small lists.
#ifndef Q7_CORE_TAGS_HPP
#define Q7_CORE_TAGS_HPP

#include <cstdarg>
#include <cstring>
#include <type_traits>

#include "core/q7tags.h"

namespace q7 {

// A message argument or item value out of a pointer or number, and back. Narrow numbers keep their low bits.
template <class T>
uint64_t arg(T value) {
  if constexpr (std::is_pointer_v<T>) {
    return reinterpret_cast<uint64_t>(value);
  } else {
    return static_cast<uint64_t>(value);
  }
}
inline uint64_t arg(std::nullptr_t) { return 0; }

template <class T>
T as(uint64_t value) {
  if constexpr (std::is_pointer_v<T>) {
    return reinterpret_cast<T>(value);
  } else {
    return static_cast<T>(value);
  }
}

// The tag-list slot when a method carries a plain value in it.
template <class T>
Q7TagItem *slot(T value) {
  return reinterpret_cast<Q7TagItem *>(arg(value));
}
template <class T>
T slot_as(Q7TagItem *tags) {
  return as<T>(reinterpret_cast<uint64_t>(tags));
}
inline int32_t slot_int(Q7TagItem *tags) { return slot_as<int32_t>(tags); }

// Both kinds of list keep tag and value in the same places.
inline uint64_t value_of(const Q7TagItem *item) { return item->data; }
inline uint64_t value_of(const Q7TagQuery *item) { return arg(item->data); }

// The next ordinary item of a walk, or null: Q7TagNext and Q7TagNextS.
template <class Item>
Item *next_item(Item **state) {
  for (;;) {
    Item *item = *state;
    if (!item) return nullptr;
    switch (item->tag) {
      case Q7TAG_END: return nullptr;
      case Q7TAG_LINK: *state = as<Item *>(value_of(item)); break;
      case Q7TAG_NEXT_CURSOR:
        // The slot that was left keeps pointing at this item, so later calls come here again: a standing redirection.
        ++state;
        break;
      default: ++*state; return item;
    }
  }
}

// The range over the ordinary items of a list: links are followed, a tag-5 item ends it, since there is no second list
// to go on with.
class TagRange {
 public:
  class Iterator {
   public:
    explicit Iterator(Q7TagItem *list) : item_(ordinary(list)) {}
    Q7TagItem &operator*() const { return *item_; }
    Iterator &operator++() {
      item_ = ordinary(item_ + 1);
      return *this;
    }
    bool operator!=(const Iterator &other) const { return item_ != other.item_; }

   private:
    static Q7TagItem *ordinary(Q7TagItem *item) {
      while (item && item->tag <= Q7TAG_NEXT_CURSOR) {
        switch (item->tag) {
          case Q7TAG_END:
          case Q7TAG_NEXT_CURSOR: return nullptr;
          case Q7TAG_LINK: item = as<Q7TagItem *>(item->data); break;
          default: return item;
        }
      }
      return item;
    }
    Q7TagItem *item_;
  };
  explicit TagRange(Q7TagItem *list) : list_(list) {}
  Iterator begin() const { return Iterator(list_); }
  static Iterator end() { return Iterator(nullptr); }

 private:
  Q7TagItem *list_;
};

inline TagRange tags(Q7TagItem *list) { return TagRange(list); }

template <class T>
T value(const Q7TagItem &item) {
  return as<T>(item.data);
}
inline bool flag(const Q7TagItem &item) { return item.data != 0; }

// Answers a get: stores a value of the attribute's type at the item's destination; a null destination takes nothing.
template <class T>
bool store(const Q7TagItem &item, std::type_identity_t<T> value) {
  if (item.data) std::memcpy(reinterpret_cast<void *>(item.data), &value, sizeof(T));
  return true;
}

// What a variadic sender gathers: 256 items and the end. Stops behind tag 0 and behind a link's value. `full` is set
// when a 256th item was stored before the end.
struct GatheredTags {
  Q7TagItem items[Q7TAG_MAX_ITEMS + 2];
};
[[gnu::always_inline]] inline bool gather(GatheredTags &list, uint32_t tag, va_list arguments) {
  Q7TagItem *item = list.items;
  // Takes one pair; true behind the end.
  auto take = [&]() __attribute__((always_inline)) {
    item->tag = tag;
    if (tag == Q7TAG_END) return true;
    item->data = va_arg(arguments, uint64_t);
    ++item;
    if (tag == Q7TAG_LINK) return true;
    tag = va_arg(arguments, uint32_t);
    return false;
  };
  // Short lists lie in registers for the most part; written out, their places are known when this is compiled.
  if (take() || take() || take()) return true;
  while (item < list.items + Q7TAG_MAX_ITEMS) {
    if (take()) return true;
  }
  // Room for one more, whose successor is no longer asked for.
  item->tag = tag;
  if (tag == Q7TAG_END) return true;
  item->data = va_arg(arguments, uint64_t);
  ++item;
  if (tag == Q7TAG_LINK) return true;
  item->tag = Q7TAG_END;
  return false;
}

}  // namespace q7

#endif
