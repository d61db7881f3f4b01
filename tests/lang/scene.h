// scene: what tests of languages have to play with: a class of scene objects with public attributes of every type, and
// a class whose objects record what they are sent.
#ifndef Q7_TESTS_LANG_SCENE_H
#define Q7_TESTS_LANG_SCENE_H

#include <cstdarg>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "app/q7app.h"
#include "core/client.hpp"
#include "core/q7memory.h"
#include "core/q7objects.h"
#include "core/q7root.h"
#include "core/q7typeid.h"
#include "lang/q7prglng.h"
#include "tests/support/test_support.h"

namespace langtest {

using q7client::arg;
using q7client::inherit;
using q7client::send;
using q7client::slot;
template <class T>
T get(Q7Object *obj, uint32_t tag) {
  T value{};
  Q7TagItem items[] = {{tag, arg(&value)}, {Q7TAG_END, 0}};
  EXPECT_EQ(send(obj, Q7M_GET, 0, 0, items), 0u);
  return value;
}
template <class T>
void set(Q7Object *obj, uint32_t tag, T value) {
  Q7TagItem items[] = {{tag, arg(value)}, {Q7TAG_END, 0}};
  EXPECT_EQ(send(obj, Q7M_SET, 0, 0, items), 0u);
}

inline std::vector<std::string> &errors() {
  static std::vector<std::string> list;
  return list;
}
inline int keep_error(const char *module, int, const char *text, ...) {
  errors().push_back(std::string(module) + ": " + text);
  return 0;
}

// ---- The scene class: a value for every type id that can be handed over, rows of the other types, a list of members.

enum : uint32_t { kSceneClass = 4100, kRecorderClass = 4101, kShownMethod = 4101000, kErrorMethod = 4101001 };
enum : uint32_t {
  kInt = 4100500,
  kFloat,
  kWord,
  kByte,
  kRgba,
  kRgb,
  kVector,
  kVector4,
  kText,
  kLight,
  kMembers,
  kOther,
  kIndexed,
  kNotes
};

inline Q7PublicAttribute row(const char *name, uint32_t tag, uint32_t type, uint32_t flags = 0) {
  Q7PublicAttribute r = {};
  r.name = name;
  r.tag = tag;
  r.type = type;
  r.flags = flags;
  r.index = Q7PA_INDEX_IN_TEXT;
  return r;
}

inline Q7PublicAttribute scene_rows[] = {
    row("Count", kInt, 1),
    row("Size", kFloat, 2),
    row("Word", kWord, 3),
    row("Byte", kByte, 4),
    row("Paint", kRgba, 6),
    row("Color", kRgb, 8),
    row("Place", kVector, 10),
    row("Point", kVector4, 11),
    row("Text", kText, 12),
    row("Light", kLight, 22),
    row("Members", kMembers, 22, Q7PAF_LIST),
    row("Old", kLight, 18),
    row("Nothing", kNotes, 22),
    row("Array", kIndexed, 1, Q7PAF_INDEXED),
    row("Second", kIndexed, 1, Q7PAF_SECOND_INDEX),
    row("Grid", kIndexed, 1, Q7PAF_INDEXED | Q7PAF_SECOND_INDEX),
    row("Everything", kOther, 12, Q7PAF_LIST | Q7PAF_INDEXED | Q7PAF_READ_ONLY),
    row("Type5", kOther, 5),
    row("Type7", kOther, 7),
    row("Type9", kOther, 9),
    row("Type13", kOther, 13),
    row("Type14", kOther, 14),
    row("Type15", kOther, 15),
    row("Type16", kOther, 16),
    row("Type17", kOther, 17),
    row("Type19", kOther, 19),
    row("Type20", kOther, 20),
    row("Type21", kOther, 21),
    row("Type23", kOther, 23),
    row("Type24", kOther, 24),
    row("Type25", kOther, 25),
    row("Type26", kOther, 26),
    row("Type27", kOther, 27),
    {},
};

struct Scene {
  Q7List members;
  int32_t integer;
  double real;
  int16_t word;
  int8_t byte;
  double rgba[4], rgb[3], vector[3], vector4[4];
  char text[64];
  Q7Object *light;
};
inline bool fail_collect;  // the scene class answers method 15 with 0
inline bool keep_nodes;    // and 16 without freeing anything

inline Scene &scene(Q7Object *obj) {
  return *reinterpret_cast<Scene *>(reinterpret_cast<char *>(obj) + obj->cl->ioffset);
}
template <class T>
uint64_t scene_move(uint32_t method, T *field, size_t count, uint64_t data) {
  if (method == Q7M_GET) {
    std::memcpy(reinterpret_cast<void *>(data), field, sizeof(T) * count);
  } else if constexpr (std::is_same_v<T, double>) {
    std::memcpy(field, reinterpret_cast<void *>(data), sizeof(T) * count);
  } else if constexpr (std::is_pointer_v<T>) {
    *field = reinterpret_cast<T>(data);
  } else {
    *field = static_cast<T>(data);
  }
  return 0;
}
inline uint64_t scene_attribute(Scene &s, uint32_t method, const Q7TagItem &item, bool &own) {
  own = true;
  switch (item.tag) {
    case kInt: return scene_move(method, &s.integer, 1, item.data);
    case kFloat: return scene_move(method, &s.real, 1, item.data);
    case kWord: return scene_move(method, &s.word, 1, item.data);
    case kByte: return scene_move(method, &s.byte, 1, item.data);
    case kRgba: return scene_move(method, s.rgba, 4, item.data);
    case kRgb: return scene_move(method, s.rgb, 3, item.data);
    case kVector: return scene_move(method, s.vector, 3, item.data);
    case kVector4: return scene_move(method, s.vector4, 4, item.data);
    case kLight: return scene_move(method, &s.light, 1, item.data);
    case kNotes: *reinterpret_cast<Q7Object **>(item.data) = nullptr; return 0;
    case kMembers: *reinterpret_cast<Q7List **>(item.data) = &s.members; return 0;
    case kText:
      if (method == Q7M_GET) {
        *reinterpret_cast<const char **>(item.data) = s.text;
      } else {
        std::snprintf(s.text, sizeof s.text, "%s", reinterpret_cast<const char *>(item.data));
      }
      return 0;
    default: own = false; return 0;
  }
}
inline uint64_t scene_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  switch (method) {
    case Q7M_NEW: {
      auto *made = reinterpret_cast<Q7Object *>(inherit(cl, obj, method, a, b, tags));
      if (made) Q7NewList(&scene(made).members);
      return arg(made);
    }
    case Q7M_SET:
    case Q7M_GET: {
      uint64_t unknown = 0;
      for (Q7TagItem *item = tags; item && item->tag; ++item) {
        bool own;
        scene_attribute(scene(obj), method, *item, own);
        Q7TagItem single[] = {*item, {Q7TAG_END, 0}};
        if (!own && inherit(cl, obj, method, 0, 0, single)) unknown = arg(item);
      }
      return unknown;
    }
    case Q7M_COLLECT_TABLES: {
      auto *node = static_cast<Q7AttributeTableNode *>(Q7AllocMem(sizeof(Q7AttributeTableNode), Q7MEM_CLEAR));
      if (!node) return 0;
      node->table = scene_rows;
      Q7AddTail(reinterpret_cast<Q7List *>(tags), &node->node);
      return fail_collect ? 0 : inherit(cl, obj, method, a, b, tags);
    }
    case Q7M_FREE_TABLE_NODE:
      if (keep_nodes) return 1;
      [[fallthrough]];
    default: return inherit(cl, obj, method, a, b, tags);
  }
}

// ---- The recorder: objects that take the texts of a shell.

struct Message {
  Q7Object *receiver;
  uint32_t method;
  uint64_t a, b, slot;
  std::string format, text;
};
inline std::vector<Message> messages;
inline uint64_t recorder_answer;

inline uint64_t recorder_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b,
                                  Q7TagItem *tags) {
  if (method == kShownMethod || method == kErrorMethod) {
    messages.push_back(
        {obj, method, a, b, arg(tags), reinterpret_cast<const char *>(a), reinterpret_cast<const char *>(tags)});
    return recorder_answer;
  }
  if (method >= kShownMethod && method < kShownMethod + 1000) {
    messages.push_back({obj, method, a, b, arg(tags), "", ""});
    return recorder_answer;
  }
  return inherit(cl, obj, method, a, b, tags);
}
inline std::string shown() {
  std::string all;
  for (const Message &m : messages) all += m.text;
  return all;
}

inline Q7Object *make(uint32_t clid, const char *name = nullptr) {
  Q7TagItem items[] = {{Q7A_NAME, arg(name)}, {Q7TAG_END, 0}};
  return Q7ObjectCreateA(clid, items);
}
inline Q7Object *add(Q7Object *parent, const char *name) {
  Q7Object *child = make(kSceneClass, name);
  Q7AddTail(&scene(parent).members, reinterpret_cast<Q7Node *>(child));
  return child;
}
inline void dispose_tree(Q7Object *obj) {
  while (Q7Node *node = Q7RemHead(&scene(obj).members)) dispose_tree(reinterpret_cast<Q7Object *>(node));
  send(obj, Q7M_DISPOSE);
}

inline void register_scene_classes() {
  Q7ClassCreate(Q7C_ROOT, kSceneClass, scene_dispatch, sizeof(Scene), Q7CT_NAME, arg("scene"), Q7CT_DESCRIPTION,
                arg("A scene"), Q7CT_VERSION, uint64_t{7}, Q7CT_ORGANISATION, arg("Makers"), Q7CT_MODULE, arg("tests"),
                0);
  Q7ClassCreate(Q7C_ROOT, kRecorderClass, recorder_dispatch, 0, Q7CT_NAME, arg("recorder"), 0);
}

}  // namespace langtest

#endif
