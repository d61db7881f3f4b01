// q7attrpath: public attributes by textual path, methods 35 and 36 of the root class (q7root.h states the syntax). A
// path is walked component by component: objects lead on, a value ends it, a channel of a vector may follow the value.
#include <cstring>

#include "core/classdef.hpp"
#include "core/numbers.hpp"
#include "core/q7memory.h"
#include "core/q7root.h"
#include "core/q7strings.h"
#include "core/q7typeid.h"
#include "core/report.hpp"
#include "core/root.hpp"

namespace {

constexpr char kModule[] = "q7root";
constexpr size_t kMaxComponent = 256;  // characters of a component, NUL included
constexpr int kMaxDepth = 1024;        // components of a path
constexpr uint64_t kFormText = Q7TID_STRING;

// The tables of an object's class chain, collected for a scope.
class Tables {
 public:
  explicit Tables(Q7Object *obj) {
    Q7NewList(&list_);
    q7::send(obj, Q7M_COLLECT_TABLES, 0, 0, q7::slot(&list_));
  }
  ~Tables() {
    while (Q7Node *node = Q7RemHead(&list_)) Q7FreeMem(node, sizeof(Q7AttributeTableNode));
  }
  Tables(const Tables &) = delete;
  Tables &operator=(const Tables &) = delete;

  // The first row, in chain order, that the test accepts.
  template <class Test>
  const Q7PublicAttribute *find(Test test) const {
    for (const Q7Node *node = list_.head; node->succ; node = node->succ) {
      const Q7PublicAttribute *row = reinterpret_cast<const Q7AttributeTableNode *>(node)->table;
      for (; row && row->name; ++row) {
        if (test(*row)) return row;
      }
    }
    return nullptr;
  }

 private:
  Q7List list_;
};

// One component: a name and up to two indices.
struct Component {
  char name[kMaxComponent];
  int32_t indices[2];
  int index_count;
};

// Where a path leads: an object, or a value of one.
struct Place {
  Q7Object *obj;
  Q7PublicAttribute row;  // all zero and type 22: the object itself
  uint64_t index;         // argument b of methods 28 and 29
  int channel;            // -1: the whole value
};

// A value of any type on its way.
union Value {
  double doubles[16];
  int32_t integer;
  int16_t word;
  int8_t byte;
  const char *text;
  Q7Object *object;
};

bool q7ap_parse_indices(const char *p, Component &component) {
  for (component.index_count = 0; *p == '['; ++component.index_count) {
    if (component.index_count == 2) return false;
    ++p;
    if (!q7::parse_number(p, component.indices[component.index_count])) return false;
    if (*p++ != ']') return false;
  }
  return *p == 0;
}

// Takes the component up to the next dot and moves the path behind it; null at the end.
bool q7ap_take(const char *&path, Component &component) {
  const char *dot = std::strchr(path, '.');
  const size_t length = dot ? static_cast<size_t>(dot - path) : std::strlen(path);
  if (length == 0 || length >= kMaxComponent) return false;
  std::memcpy(component.name, path, length);
  component.name[length] = 0;
  path = dot ? dot + 1 : nullptr;
  char *bracket = std::strchr(component.name, '[');
  component.index_count = 0;
  if (!bracket) return true;
  const bool legal = q7ap_parse_indices(bracket, component);
  *bracket = 0;
  return legal && component.name[0] != 0;
}

Place q7ap_object_place(Q7Object *obj) {
  Place place = {};
  place.obj = obj;
  place.row.type = Q7TID_OBJECT2;
  place.channel = -1;
  return place;
}

bool q7ap_is_object(const Place &place) { return !place.row.name && place.row.type == Q7TID_OBJECT2; }

bool q7ap_object_type(uint32_t type) { return type == Q7TID_OBJECT || type == Q7TID_OBJECT2; }

// Matches the component's indices against what the row wants.
bool q7ap_index(const Q7PublicAttribute &row, const Component &component, uint64_t &index) {
  int used = 0;
  uint64_t first = 0;
  index = 0;
  if (row.flags & (Q7PAF_INDEXED | Q7PAF_SECOND_INDEX)) {
    const bool from_text = !(row.flags & Q7PAF_INDEXED) || row.index == Q7PA_INDEX_IN_TEXT;
    if (!from_text) {
      first = row.index;
    } else if (row.flags & Q7PAF_INDEXED) {
      if (component.index_count == used) return false;
      first = static_cast<uint32_t>(component.indices[used++]);
    }
    index = first;
    if (row.flags & Q7PAF_SECOND_INDEX) {
      if (component.index_count == used) return false;
      const uint64_t second = static_cast<uint32_t>(component.indices[used++]);
      // A row with only a second index has nothing else to say.
      index = row.flags & Q7PAF_INDEXED ? first | second << 32 : second;
    }
  }
  return used == component.index_count;
}

// Reads the whole value of a place's attribute. Unknown attributes answer non-zero.
bool q7ap_read(const Place &place, Value &value) {
  std::memset(&value, 0, sizeof value);
  if (place.row.flags & (Q7PAF_INDEXED | Q7PAF_SECOND_INDEX)) {
    return q7::send(place.obj, Q7M_GETINDEXED, place.row.tag, place.index, q7::slot(&value)) != place.row.tag;
  }
  Q7TagItem list[2] = {{place.row.tag, q7::arg(&value)}, {Q7TAG_END, 0}};
  if (q7::send(place.obj, Q7M_GET, 0, 0, list) != 0) return false;
  // At either end of a list the link leads to a sentinel, which is no object.
  const bool link = place.row.tag == Q7A_NEXT || place.row.tag == Q7A_PREVIOUS;
  if (link && value.object && (!value.object->succ || !value.object->pred)) value.object = nullptr;
  return true;
}

bool q7ap_write(const Place &place, uint64_t data) {
  if (place.row.flags & (Q7PAF_INDEXED | Q7PAF_SECOND_INDEX)) {
    return q7::send(place.obj, Q7M_SETINDEXED, place.row.tag, place.index, q7::slot(data)) != place.row.tag;
  }
  Q7TagItem list[2] = {{place.row.tag, data}, {Q7TAG_END, 0}};
  return q7::send(place.obj, Q7M_SET, 0, 0, list) == 0;
}

Q7Object *q7ap_find_in_list(const Q7List *list, const char *name) {
  for (Q7Node *node = list ? list->head : nullptr; node && node->succ; node = node->succ) {
    auto *obj = reinterpret_cast<Q7Object *>(node);
    const char *found = nullptr;
    Q7TagItem get[2] = {{Q7A_NAME, q7::arg(&found)}, {Q7TAG_END, 0}};
    q7::send(obj, Q7M_GET, 0, 0, get);
    if (found && std::strcmp(found, name) == 0) return obj;
  }
  return nullptr;
}

const Q7List *q7ap_list(Q7Object *obj, const Q7PublicAttribute &row) {
  Place place = {};
  place.obj = obj;
  place.row = row;
  place.index = row.index;
  Value value;
  return q7ap_read(place, value) ? reinterpret_cast<const Q7List *>(value.object) : nullptr;
}

// The object of that name in any of the receiver's lists.
Q7Object *q7ap_find_member(Q7Object *obj, const Tables &tables, const char *name) {
  Q7Object *member = nullptr;
  tables.find([&](const Q7PublicAttribute &row) {
    if (row.flags & Q7PAF_LIST) member = q7ap_find_in_list(q7ap_list(obj, row), name);
    return member != nullptr;
  });
  return member;
}

int q7ap_find_channel(uint32_t type, const char *name) {
  for (int i = 0; i < Q7SubChannelCountOfType(type); ++i) {
    char text[8] = "";
    if (Q7SubTidToStr(text, type, i) && text[0] && std::strcmp(text, name) == 0) return i;
  }
  return -1;
}

// From an object one component on.
bool q7ap_step(Place &place, const char *&path) {
  Component component;
  if (!q7ap_take(path, component)) return false;
  const Tables tables(place.obj);
  const Q7PublicAttribute *row =
      tables.find([&](const Q7PublicAttribute &each) { return std::strcmp(each.name, component.name) == 0; });
  if (!row) {
    Q7Object *member = component.index_count == 0 ? q7ap_find_member(place.obj, tables, component.name) : nullptr;
    place = q7ap_object_place(member);
    return member != nullptr;
  }
  if (row->flags & Q7PAF_LIST && path) {
    // A list leads on to the member that the next component names.
    const Q7List *list = q7ap_list(place.obj, *row);
    if (component.index_count != 0 || !q7ap_take(path, component) || component.index_count != 0) return false;
    Q7Object *member = q7ap_find_in_list(list, component.name);
    place = q7ap_object_place(member);
    return member != nullptr;
  }
  place.row = *row;
  place.channel = -1;
  return q7ap_index(*row, component, place.index);
}

bool q7ap_resolve(Q7Object *obj, const char *path, Place &place) {
  if (!obj || !path) return false;
  place = q7ap_object_place(obj);
  while (*path == '.') ++path;
  if (*path == 0) return true;
  for (int depth = 0; path && depth < kMaxDepth; ++depth) {
    if (q7ap_is_object(place)) {
      if (!q7ap_step(place, path)) return false;
    } else if (q7ap_object_type(place.row.type)) {
      Value value;
      if (!q7ap_read(place, value) || !value.object) return false;
      place = q7ap_object_place(value.object);
    } else {
      place.channel = q7ap_find_channel(place.row.type, path);
      return place.channel >= 0;
    }
  }
  return path == nullptr;
}

// How many doubles a type holds; 0 for types that hold none.
int q7ap_doubles(uint32_t type) {
  switch (type) {
    case Q7TID_FLOAT: return 1;
    case Q7TID_RGB:
    case Q7TID_VECTOR: return 3;
    case Q7TID_RGBA:
    case Q7TID_VECTOR4: return 4;
    default: return 0;
  }
}

// Whether values of the type can be handed over; reports the ones that cannot.
bool q7ap_convertible(uint32_t type, bool as_text) {
  switch (type) {
    case Q7TID_INT:
    case Q7TID_WORD:
    case Q7TID_BYTE:
    case Q7TID_STRING: return true;
    case Q7TID_OBJECT:
    case Q7TID_OBJECT2:
      if (!as_text) return true;
      break;
    case Q7TID_AXIS:
    case Q7TID_COORDSYS: Q7_REPORT_ERROR(kModule, "Axis/coordsys not implemented yet"); return false;
    default:
      if (q7ap_doubles(type) > 0) return true;
      break;
  }
  Q7_REPORT_ERROR(kModule, "Not supported type %d", static_cast<int>(type));
  return false;
}

size_t q7ap_size(uint32_t type) {
  if (type == Q7TID_STRING || q7ap_object_type(type)) return sizeof(void *);
  return static_cast<size_t>(Q7SizeofType(type));
}

template <class T>
bool q7ap_parse_integer(const char *text, T &result) {
  int32_t number = 0;
  if (!q7::parse_number(text, number) || *q7::skip_blanks(text) != 0) return false;
  result = static_cast<T>(number);
  return result == number;
}

bool q7ap_parse_all(const char *text, double *values, int count) {
  for (int i = 0; i < count; ++i) {
    if (!q7::parse_number(text, values[i])) return false;
  }
  return *q7::skip_blanks(text) == 0;
}

// Turns a text into a value of the type.
bool q7ap_parse(const char *text, uint32_t type, Value &value) {
  switch (type) {
    case Q7TID_INT: return q7ap_parse_integer(text, value.integer);
    case Q7TID_WORD: return q7ap_parse_integer(text, value.word);
    case Q7TID_BYTE: return q7ap_parse_integer(text, value.byte);
    case Q7TID_STRING: value.text = text; return true;
    default: return q7ap_parse_all(text, value.doubles, q7ap_doubles(type));
  }
}

// The form in which an attribute of the type is set: whole numbers, texts and objects by value, doubles by address.
uint64_t q7ap_data(uint32_t type, const Value &value) {
  switch (type) {
    case Q7TID_INT: return q7::arg(value.integer);
    case Q7TID_WORD: return q7::arg(value.word);
    case Q7TID_BYTE: return q7::arg(value.byte);
    case Q7TID_STRING: return q7::arg(value.text);
    case Q7TID_OBJECT:
    case Q7TID_OBJECT2: return q7::arg(value.object);
    default: return q7::arg(&value.doubles[0]);
  }
}

}  // namespace

uint64_t q7::get_by_path(Q7Object *obj, const char *path, Q7PublicAttribute *row, void *destination) {
  Place place;
  if (!q7ap_resolve(obj, path, place)) return 0;
  if (row) *row = place.row;
  if (q7ap_is_object(place)) {
    if (destination) std::memcpy(destination, &place.obj, sizeof place.obj);
    return 1;
  }
  if (place.channel >= 0 && row) row->type = Q7SubTypeOf(place.row.type);
  if (!destination) return 1;
  if (!q7ap_convertible(place.row.type, false)) return 0;
  Value value;
  if (!q7ap_read(place, value)) return 0;
  if (place.channel >= 0) {
    std::memcpy(destination, &value.doubles[place.channel], sizeof(double));
  } else {
    std::memcpy(destination, &value, q7ap_size(place.row.type));
  }
  return 1;
}

uint64_t q7::set_by_path(Q7Object *obj, const char *path, uint64_t form, const void *value) {
  Place place;
  if (!value || !q7ap_resolve(obj, path, place) || q7ap_is_object(place)) return 0;
  if (place.row.flags & Q7PAF_READ_ONLY) return 0;
  const bool as_text = form == kFormText;
  if (!q7ap_convertible(place.row.type, as_text)) return 0;
  Value whole = {};
  const auto *text = static_cast<const char *>(value);
  if (place.channel >= 0) {
    if (!q7ap_read(place, whole)) return 0;
    double &channel = whole.doubles[place.channel];
    if (!as_text) {
      std::memcpy(&channel, value, sizeof channel);
    } else if (!q7ap_parse_all(text, &channel, 1)) {
      return 0;
    }
  } else if (!as_text) {
    // 36 gets a text as the address of the pointer to it, in the form in which 35 hands it out.
    std::memcpy(&whole, value, q7ap_size(place.row.type));
  } else if (!q7ap_parse(text, place.row.type, whole)) {
    return 0;
  }
  return q7ap_write(place, q7ap_data(place.row.type, whole));
}
