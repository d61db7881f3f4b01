// sceneclass: the one shape that the classes of a scene have. A class is its instance data and a table of fields: one
// table says under which name and id a field is reached, how it is stored, saved and loaded, and what values it takes.
// What no field covers is a handler of its own.
#ifndef Q7_EXAMPLES_SCENECLASS_HPP
#define Q7_EXAMPLES_SCENECLASS_HPP

#include <cstddef>
#include <cstdint>

#include "core/client.hpp"
#include "core/q7oops.h"
#include "core/q7root.h"
#include "core/q7typeid.h"
#include "examples/studio/scene/scene.h"

namespace scene {

// A public attribute. Fields with an offset live in the instance data and are saved, in the order of the table; those
// without belong to the class's own handlers.
struct Field {
  static constexpr size_t kNoData = SIZE_MAX;
  const char *name;
  uint32_t tag;
  uint32_t type;            // Q7TID_INT, Q7TID_FLOAT, Q7TID_RGB, Q7TID_VECTOR, Q7TID_STRING; any without data
  size_t offset = kNoData;  // of the int32_t, the doubles or the owned text
  double low = -1e12;       // values are brought between these
  double high = 1e12;
  uint32_t flags = 0;  // Q7PAF_...
};

constexpr int kMaxFields = 12;

// What a class is.
struct ClassDef {
  uint32_t id;
  uint32_t super;
  const char *name;
  const char *description;
  Q7Dispatcher dispatch;
  uint32_t size;
  uint32_t version;
  const Field *fields;
  int field_count;
  void (*defaults)(void *data);                                              // of a new object's zero-filled data
  bool (*set)(Q7Class *cl, Q7Object *obj, const Q7TagItem &item) = nullptr;  // true: it was the class's own
  bool (*get)(Q7Class *cl, Q7Object *obj, const Q7TagItem &item) = nullptr;
  Q7PublicAttribute *rows = nullptr;  // kMaxFields + 1 rows, filled at registration
};

// Registers a class. @return whether it stands
bool add_class(const ClassDef &def);

// Answers the messages that have to do with the fields: creation, attributes, tables, saving, loading, copies,
// disposal. Everything else goes to the superclass.
uint64_t dispatch(const ClassDef &def, Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b,
                  Q7TagItem *tags);

using q7client::data;
using q7client::inherit;
using q7client::send;
using q7client::slot;
// The data of a class further up.
template <class T>
T &data_of(uint32_t clid, Q7Object *obj) {
  return data<T>(Q7ClassFind(clid), obj);
}

template <class T>
uint64_t word(T *pointer) {
  return q7client::arg(pointer);
}

// Answers a get; true, for handlers.
template <class T>
bool answer(const Q7TagItem &item, const T &value) {
  if (item.data) *reinterpret_cast<T *>(item.data) = value;
  return true;
}

// The stream of messages 6 and 7, or null.
Q7Object *stream_of(Q7TagItem *tags);

__attribute__((format(printf, 1, 2))) void report(const char *format, ...);

extern const ClassDef node_class, group_class, mesh_class, camera_class, light_class, material_class, scene_class;

}  // namespace scene

#endif
