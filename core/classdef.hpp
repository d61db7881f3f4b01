// classdef: the one shape that every class of the library has. A module is its instance data, its handlers, a
// dispatcher that reads as a table of contents, a ClassDef and a one-line registration function; what all have in
// common is here: passing on to the superclass, creation, attribute walking, public-attribute messages, registration
// and release.
#ifndef Q7_CORE_CLASSDEF_HPP
#define Q7_CORE_CLASSDEF_HPP

#include <type_traits>

#include "core/q7oops.h"
#include "core/tags.hpp"

namespace q7 {

// What a class is; one static object a module.
struct ClassDef {
  uint32_t id;
  uint32_t super = Q7C_ROOT;
  const char *name;
  Q7Dispatcher dispatch = nullptr;
  uint32_t size = 0;                    // bytes of instance data
  uint32_t version = 0;                 // written into object streams
  int32_t (*needs)(Q7App *) = nullptr;  // registers the superclass
  Q7LocaleEntry *strings = nullptr;     // catalogue texts with their defaults
  uint32_t string_count = 0;
  const char *strings_module = nullptr;  // module name of the catalogue; the class name when null
  const Q7PublicAttribute *attributes = nullptr;
  const char *description = nullptr;  // class tag 546
  int32_t description_string = -1;    // or the catalogue entry that holds it
  const char *organisation = "Karmonic";
  const char *module = "q7common";
};

// Creates the class once an application; registers the superclass first. 1 on success.
int32_t register_once(Q7App *app, const ClassDef &def);

// Method 24: closes the catalogue of the class itself (not of a subclass that passes the message on), then goes on.
uint64_t class_free(const ClassDef &def, Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *tags);

// Methods 15, 17, 33, 34 and 37 for a class with a table of public attributes; what the table does not answer goes on
// to the superclass (a null class has none).
uint64_t public_attributes(const Q7PublicAttribute *table, Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a,
                           uint64_t b, Q7TagItem *tags);

// Passes a message on to the superclass. A superclass without dispatcher is never called.
inline uint64_t inherit(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  return cl->superdispatch ? cl->superdispatch(cl->super, obj, method, a, b, tags) : 0;
}

// Sends a message by direct dispatch: nothing is gathered, no list costs stack. A class record is a receiver too.
inline uint64_t send(Q7Object *obj, uint32_t method, uint64_t a = 0, uint64_t b = 0, Q7TagItem *tags = nullptr) {
  return obj && obj->dispatch ? obj->dispatch(obj->cl, obj, method, a, b, tags) : 0;
}
inline uint64_t send(Q7Class *cl, uint32_t method, uint64_t a = 0, uint64_t b = 0, Q7TagItem *tags = nullptr) {
  return cl ? send(&cl->header, method, a, b, tags) : 0;
}

// The data of class cl inside an object.
template <class T>
T &data(const Q7Class *cl, Q7Object *obj) {
  return *reinterpret_cast<T *>(reinterpret_cast<char *>(obj) + cl->ioffset);
}

// Applies a handler of one item: handler(data, item) or handler(data, object, item); true when the item was the
// class's.
template <class T, class Handler>
bool apply(Handler handler, T &d, Q7Object *obj, Q7TagItem &item) {
  if constexpr (std::is_invocable_v<Handler, T &, Q7Object *, Q7TagItem &>) {
    return handler(d, obj, item);
  } else {
    return handler(d, item);
  }
}

// Methods 4 and 5: own items are handled, every other one goes to the superclass alone. The result is the last item
// that the superclass answered non-zero for, that is the last unknown one; 0 when all were known. Not inlined, so that
// a dispatcher stays a switch that jumps and needs no stack for the messages it passes on.
template <class T, class Handler>
[[gnu::noinline]] uint64_t walk_attributes(Q7Class *cl, Q7Object *obj, uint32_t method, Q7TagItem *list,
                                           Handler handler) {
  T &d = data<T>(cl, obj);
  uint64_t unknown = 0;
  for (Q7TagItem &item : tags(list)) {
    if (apply(handler, d, obj, item)) continue;
    if ((&item)[1].tag == Q7TAG_END) {
      // The last item is alone already.
      if (inherit(cl, obj, method, 0, 0, &item)) unknown = arg(&item);
      break;
    }
    Q7TagItem single[2] = {item, {Q7TAG_END, 0}};
    if (inherit(cl, obj, method, 0, 0, single)) unknown = arg(&item);
  }
  return unknown;
}
template <class T, class Handler>
uint64_t set_attributes(Q7Class *cl, Q7Object *obj, Q7TagItem *list, Handler handler) {
  return walk_attributes<T>(cl, obj, Q7M_SET, list, handler);
}
template <class T, class Handler>
uint64_t get_attributes(Q7Class *cl, Q7Object *obj, Q7TagItem *list, Handler handler) {
  return walk_attributes<T>(cl, obj, Q7M_GET, list, handler);
}

// Method 0: lets the superclass make the object, then applies the creation tags that the class owns. `init(data,
// object)` answers false to refuse: the object is disposed by the superclass and null returned. Instance data starts
// zero-filled.
template <class T, class Handler, class Init>
[[gnu::noinline]] uint64_t create(Q7Class *cl, Q7Object *receiver, uint64_t a, uint64_t b, Q7TagItem *list, Handler set,
                                  Init init) {
  auto *obj = as<Q7Object *>(inherit(cl, receiver, Q7M_NEW, a, b, list));
  if (!obj) return 0;
  T &d = data<T>(cl, obj);
  if (!init(d, obj)) {
    if (obj->succ && obj->pred) Q7Remove(reinterpret_cast<Q7Node *>(obj));
    inherit(cl, obj, Q7M_DISPOSE, a, 0, nullptr);
    return 0;
  }
  for (Q7TagItem &item : tags(list)) apply(set, d, obj, item);
  return arg(obj);
}
template <class T, class Handler>
uint64_t create(Q7Class *cl, Q7Object *receiver, uint64_t a, uint64_t b, Q7TagItem *list, Handler set) {
  return create<T>(cl, receiver, a, b, list, set, [](T &, Q7Object *) { return true; });
}

// References that a class keeps on other objects; null is allowed.
inline void add_reference(Q7Object *obj) { send(obj, Q7M_ADDREF); }
inline void release(Q7Object *obj) { send(obj, Q7M_RELEASE); }
inline void replace_reference(Q7Object *&field, Q7Object *obj) {
  add_reference(obj);
  Q7Object *old = field;
  field = obj;
  release(old);
}

}  // namespace q7

#endif
