// sceneclass: see the header. A field's value is checked here, once, whether it comes from a program, a script or a
// stream: nothing that is not finite or out of range gets into a scene.
#include "examples/studio/scene/sceneclass.hpp"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "core/q7memory.h"
#include "core/q7report.h"
#include "core/q7strings.h"
#include "io/q7file.h"

namespace scene {

namespace {

constexpr uint64_t kMaxText = 200;  // bytes of a text field, its zero included

int doubles_of(uint32_t type) {
  switch (type) {
    case Q7TID_FLOAT: return 1;
    case Q7TID_RGB:
    case Q7TID_VECTOR: return 3;
    default: return 0;
  }
}

template <class T>
T *at(void *data, const Field &field) {
  return reinterpret_cast<T *>(static_cast<char *>(data) + field.offset);
}

const Field *find(const ClassDef &def, uint32_t tag) {
  for (int i = 0; i < def.field_count; ++i) {
    if (def.fields[i].tag == tag) return &def.fields[i];
  }
  return nullptr;
}

bool set_doubles(double *to, const double *from, const Field &field) {
  const int count = doubles_of(field.type);
  if (!from) return false;
  for (int i = 0; i < count; ++i) {
    if (!std::isfinite(from[i])) {
      report("%s: not a finite number", field.name);
      return false;
    }
  }
  for (int i = 0; i < count; ++i) to[i] = std::clamp(from[i], field.low, field.high);
  return true;
}

bool set_text(char *&to, const char *text) {
  char *copy = nullptr;
  if (text && *text) {
    if (std::strlen(text) >= kMaxText) {
      report("A text of more than %d characters", static_cast<int>(kMaxText - 1));
      return false;
    }
    copy = Q7StrDup(text);
    if (!copy) return false;
  }
  Q7StrFree(to);
  to = copy;
  return true;
}

// A field is set by value (whole numbers, texts) or by address (doubles).
void set_field(void *data, const Field &field, uint64_t value) {
  switch (field.type) {
    case Q7TID_INT:
      *at<int32_t>(data, field) =
          static_cast<int32_t>(std::clamp(static_cast<double>(static_cast<int32_t>(value)), field.low, field.high));
      break;
    case Q7TID_STRING: set_text(*at<char *>(data, field), reinterpret_cast<const char *>(value)); break;
    default: set_doubles(at<double>(data, field), reinterpret_cast<const double *>(value), field); break;
  }
}

void get_field(void *data, const Field &field, uint64_t destination) {
  if (!destination) return;
  auto *to = reinterpret_cast<void *>(destination);
  switch (field.type) {
    case Q7TID_INT: std::memcpy(to, at<int32_t>(data, field), sizeof(int32_t)); break;
    case Q7TID_STRING: {
      const char *text = *at<char *>(data, field);
      if (!text) text = "";
      std::memcpy(to, &text, sizeof text);
      break;
    }
    default: std::memcpy(to, at<double>(data, field), sizeof(double) * static_cast<size_t>(doubles_of(field.type)));
  }
}

bool set_item(const ClassDef &def, Q7Class *cl, Q7Object *obj, const Q7TagItem &item) {
  if (def.set && def.set(cl, obj, item)) return true;
  const Field *field = find(def, item.tag);
  if (!field || field->offset == Field::kNoData) return false;
  set_field(&data<char>(cl, obj), *field, item.data);
  return true;
}

bool get_item(const ClassDef &def, Q7Class *cl, Q7Object *obj, const Q7TagItem &item) {
  if (def.get && def.get(cl, obj, item)) return true;
  const Field *field = find(def, item.tag);
  if (!field || field->offset == Field::kNoData) return false;
  get_field(&data<char>(cl, obj), *field, item.data);
  return true;
}

// Own items are handled here, each other one goes to the superclass; the last one unknown there too is the answer.
uint64_t walk(const ClassDef &def, Q7Class *cl, Q7Object *obj, uint32_t method, Q7TagItem *tags) {
  uint64_t unknown = 0;
  Q7TagItem *state[2] = {tags, nullptr};
  while (Q7TagItem *item = Q7TagNext(state)) {
    if (method == Q7M_SET ? set_item(def, cl, obj, *item) : get_item(def, cl, obj, *item)) continue;
    Q7TagItem single[2] = {*item, {Q7TAG_END, 0}};
    if (inherit(cl, obj, method, 0, 0, single)) unknown = word(item);
  }
  return unknown;
}

uint64_t create(const ClassDef &def, Q7Class *cl, Q7Object *receiver, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto *obj = reinterpret_cast<Q7Object *>(inherit(cl, receiver, Q7M_NEW, a, b, tags));
  if (!obj) return 0;
  if (def.defaults) def.defaults(&data<char>(cl, obj));
  Q7TagItem *state[2] = {tags, nullptr};
  while (Q7TagItem *item = Q7TagNext(state)) set_item(def, cl, obj, *item);
  return word(obj);
}

// Every object owns its texts: a byte copy of one is given copies of its own.
uint64_t copy(const ClassDef &def, Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto *made = reinterpret_cast<Q7Object *>(inherit(cl, obj, Q7M_COPY, a, b, tags));
  if (!made) return 0;
  for (int i = 0; i < def.field_count; ++i) {
    const Field &field = def.fields[i];
    if (field.type != Q7TID_STRING || field.offset == Field::kNoData) continue;
    char *&text = *at<char *>(&data<char>(cl, made), field);
    text = Q7StrDup(text);
  }
  return word(made);
}

uint64_t dispose(const ClassDef &def, Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *tags) {
  for (int i = 0; i < def.field_count; ++i) {
    const Field &field = def.fields[i];
    if (field.type == Q7TID_STRING && field.offset != Field::kNoData)
      Q7StrFree(*at<char *>(&data<char>(cl, obj), field));
  }
  return inherit(cl, obj, Q7M_DISPOSE, a, b, tags);
}

bool save_field(Q7Object *stream, void *data, const Field &field) {
  switch (field.type) {
    case Q7TID_INT:
      return send(stream, Q7M_FILE_WRITE32, 0, 0, slot(static_cast<uint32_t>(*at<int32_t>(data, field)))) != 0;
    case Q7TID_STRING: {
      const char *text = *at<char *>(data, field);
      return send(stream, Q7M_FILE_WRITE_COUNTED, 0, 0, slot(text ? text : "")) != 0;
    }
    default:
      for (int i = 0; i < doubles_of(field.type); ++i) {
        if (!send(stream, Q7M_FILE_WRITE_DOUBLE, 0, 0, slot(at<double>(data, field) + i))) return false;
      }
      return true;
  }
}

bool read_field(Q7Object *stream, void *data, const Field &field) {
  switch (field.type) {
    case Q7TID_INT: {
      int32_t value = 0;
      if (!send(stream, Q7M_FILE_READ32, 0, 0, slot(&value))) return false;
      set_field(data, field, static_cast<uint64_t>(value));
      return true;
    }
    case Q7TID_STRING: {
      char text[kMaxText] = "";
      return send(stream, Q7M_FILE_READ_COUNTED, sizeof text, 0, slot(&text[0])) &&
             set_text(*at<char *>(data, field), text);
    }
    default: {
      double values[3] = {};
      for (int i = 0; i < doubles_of(field.type); ++i) {
        if (!send(stream, Q7M_FILE_READ_DOUBLE, 0, 0, slot(&values[i]))) return false;
      }
      return set_doubles(at<double>(data, field), values, field);
    }
  }
}

uint64_t stream_fields(const ClassDef &def, Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b,
                       Q7TagItem *tags) {
  Q7Object *stream = stream_of(tags);
  if (!stream || !inherit(cl, obj, method, a, b, tags)) return 0;
  for (int i = 0; i < def.field_count; ++i) {
    const Field &field = def.fields[i];
    if (field.offset == Field::kNoData) continue;
    void *own = &data<char>(cl, obj);
    if (!(method == Q7M_SAVE ? save_field(stream, own, field) : read_field(stream, own, field))) return 0;
  }
  return 1;
}

// Methods that the table of public attributes answers; 0 where it has nothing to say.
uint64_t table_answer(const ClassDef &def, uint32_t method, uint64_t a, Q7TagItem *tags) {
  for (const Q7PublicAttribute *row = def.rows; row->name; ++row) {
    const bool by_name = method == Q7M_ROW_BY_NAME || method == Q7M_TAG_BY_NAME;
    const char *name =
        method == Q7M_TAG_BY_NAME ? reinterpret_cast<const char *>(tags) : reinterpret_cast<const char *>(a);
    if (by_name ? !name || std::strcmp(row->name, name) != 0 : row->tag != static_cast<uint32_t>(a)) continue;
    if (method == Q7M_TAG_BY_NAME) return row->tag;
    if (!tags) return 0;
    if (method == Q7M_NAME_OF_TAG) {
      std::strcpy(reinterpret_cast<char *>(tags), row->name);
      return word(tags);
    }
    auto *to = reinterpret_cast<Q7PublicAttribute *>(tags);
    *to = *row;
    if (by_name) to->name = nullptr;  // whoever asked by name has it
    return 1;
  }
  return 0;
}

uint64_t collect(const ClassDef &def, Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto *node =
      tags ? static_cast<Q7AttributeTableNode *>(Q7AllocMem(sizeof(Q7AttributeTableNode), Q7MEM_CLEAR)) : nullptr;
  if (!node) return 0;
  node->table = def.rows;
  Q7AddTail(reinterpret_cast<Q7List *>(tags), &node->node);
  return inherit(cl, obj, Q7M_COLLECT_TABLES, a, b, tags);
}

}  // namespace

Q7Object *stream_of(Q7TagItem *tags) { return reinterpret_cast<Q7Object *>(Q7TagVal(tags, Q7A_STREAM, 0)); }

void report(const char *format, ...) {
  char text[256];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  Q7ErrPos("q7scene", 0);
  Q7_Error("%s", text);
}

uint64_t dispatch(const ClassDef &def, Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b,
                  Q7TagItem *tags) {
  switch (method) {
    case Q7M_NEW: return create(def, cl, obj, a, b, tags);
    case Q7M_DISPOSE: return dispose(def, cl, obj, a, b, tags);
    case Q7M_SET:
    case Q7M_GET: return walk(def, cl, obj, method, tags);
    case Q7M_READ:
    case Q7M_SAVE: return stream_fields(def, cl, obj, method, a, b, tags);
    case Q7M_COPY: return copy(def, cl, obj, a, b, tags);
    case Q7M_COLLECT_TABLES: return collect(def, cl, obj, a, b, tags);
    case Q7M_NAME_OF_TAG:
    case Q7M_ROW_BY_TAG:
    case Q7M_ROW_BY_NAME:
    case Q7M_TAG_BY_NAME:
      if (const uint64_t answer = table_answer(def, method, a, tags)) return answer;
      return inherit(cl, obj, method, a, b, tags);
    default: return inherit(cl, obj, method, a, b, tags);
  }
}

bool add_class(const ClassDef &def) {
  for (int i = 0; i < def.field_count; ++i) {
    const Field &field = def.fields[i];
    def.rows[i] = {field.name, field.tag, field.type, field.flags, {}, 0, {}};
  }
  def.rows[def.field_count] = {};
  // The table is not handed over as class tag 510: that is for values of the class itself, which the settings keep.
  return Q7ClassCreate(def.super, def.id, def.dispatch, def.size, Q7CT_NAME, word(def.name), Q7CT_VERSION,
                       uint64_t{def.version}, Q7CT_DESCRIPTION, word(def.description), Q7CT_MODULE, word("q7scene"),
                       0) != nullptr;
}

}  // namespace scene
