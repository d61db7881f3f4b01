// values: a plug-in with one class, "values", whose objects have an attribute of each type id, Type1 to Type27, all of
// them kept as bytes.
#include <cstdio>
#include <cstring>

#include "core/q7memory.h"
#include "core/q7root.h"
#include "core/q7typeid.h"
#include "platform/q7platform.h"

namespace {

enum : uint32_t { kClass = 4280, kFirst = 4280500, kTypes = 28 };

struct Values {
  double doubles[kTypes][4];
  char text[64];
};
char names[kTypes][8];
Q7PublicAttribute rows[kTypes];

uint64_t inherit(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  return cl->superdispatch(cl->super, obj, method, a, b, tags);
}
void move(Values &values, uint32_t method, uint32_t type, uint64_t data) {
  double *mine = values.doubles[type];
  auto *theirs = reinterpret_cast<void *>(data);
  const auto size = static_cast<size_t>(Q7SizeofType(type));
  if (type == Q7TID_STRING && method == Q7M_SET) {
    std::snprintf(values.text, sizeof values.text, "%s", static_cast<const char *>(theirs));
  } else if (type == Q7TID_STRING) {
    *static_cast<const char **>(theirs) = values.text;
  } else if (type == Q7TID_OBJECT || type == Q7TID_OBJECT2) {
    if (method == Q7M_GET) *static_cast<Q7Object **>(theirs) = nullptr;
  } else if (method == Q7M_GET) {
    std::memcpy(theirs, mine, size);
  } else if (size < 8) {
    std::memcpy(mine, &data, size);
  } else {
    std::memcpy(mine, theirs, size);
  }
}
uint64_t walk(Q7Class *cl, Q7Object *obj, uint32_t method, Q7TagItem *tags) {
  auto &values = *reinterpret_cast<Values *>(reinterpret_cast<char *>(obj) + cl->ioffset);
  uint64_t unknown = 0;
  Q7TagItem *state[2] = {tags, nullptr};
  while (Q7TagItem *item = Q7TagNext(state)) {
    if (item->tag > kFirst && item->tag < kFirst + kTypes) {
      move(values, method, item->tag - kFirst, item->data);
      continue;
    }
    Q7TagItem single[2] = {*item, {Q7TAG_END, 0}};
    if (inherit(cl, obj, method, 0, 0, single)) unknown = reinterpret_cast<uint64_t>(item);
  }
  return unknown;
}
uint64_t dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method == Q7M_COLLECT_TABLES) {
    auto *node = static_cast<Q7AttributeTableNode *>(Q7AllocMem(sizeof(Q7AttributeTableNode), Q7MEM_CLEAR));
    if (!node) return 0;
    node->table = rows;
    Q7AddTail(reinterpret_cast<Q7List *>(tags), &node->node);
  }
  if (method == Q7M_SET || method == Q7M_GET) return walk(cl, obj, method, tags);
  return inherit(cl, obj, method, a, b, tags);
}

}  // namespace

extern "C" Q7_API int32_t Q7LibraryRegister(Q7App *) {
  for (uint32_t type = 1; type < kTypes; ++type) {
    std::snprintf(names[type], sizeof names[type], "Type%u", static_cast<unsigned>(type));
    rows[type - 1].name = names[type];
    rows[type - 1].tag = kFirst + type;
    rows[type - 1].type = type;
  }
  return Q7ClassCreate(Q7C_ROOT, kClass, dispatch, sizeof(Values), Q7CT_NAME, reinterpret_cast<uint64_t>("values"),
                       0) != nullptr;
}
