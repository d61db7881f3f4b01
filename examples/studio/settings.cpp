// settings: a class without objects: class attributes and the table that names them in the settings store.
#include "examples/studio/settings.hpp"

#include <algorithm>
#include <iterator>

#include "core/q7root.h"
#include "core/q7typeid.h"
#include "examples/studio/object.hpp"

namespace studio {

namespace {

constexpr int32_t kLargest = 1 << 16;

const Q7PublicAttribute rows[] = {
    {"Width", kStudioWidth, Q7TID_INT, 0, {}, 0, {}},
    {"Height", kStudioHeight, Q7TID_INT, 0, {}, 0, {}},
    {"Threads", kStudioThreads, Q7TID_INT, 0, {}, 0, {}},
    {"Samples", kStudioSamples, Q7TID_INT, 0, {}, 0, {}},
    {nullptr, 0, 0, 0, {}, 0, {}},
};
int32_t values[std::size(rows) - 1];

uint64_t walk(Q7Class *cl, Q7Object *obj, uint32_t method, Q7TagItem *tags) {
  uint64_t unknown = 0;
  Q7TagItem *state[2] = {tags, nullptr};
  while (Q7TagItem *item = Q7TagNext(state)) {
    const uint32_t i = item->tag - kStudioWidth;
    if (i >= std::size(values)) {
      Q7TagItem single[2] = {*item, {Q7TAG_END, 0}};
      if (cl->superdispatch(cl->super, obj, method, 0, 0, single)) unknown = word(item);
    } else if (method == Q7M_SETCLASSATTRS) {
      values[i] = std::clamp(static_cast<int32_t>(item->data), 0, kLargest);
    } else if (item->data) {
      *reinterpret_cast<int32_t *>(item->data) = values[i];
    }
  }
  return unknown;
}

uint64_t dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  switch (method) {
    case Q7M_SETCLASSATTRS:
    case Q7M_GETCLASSATTRS: return walk(cl, obj, method, tags);
    default: return cl->superdispatch(cl->super, obj, method, a, b, tags);
  }
}

}  // namespace

int32_t register_settings_class(Q7App *app) {
  if (!Q7RegisterRootClass(app)) return 0;
  return Q7ClassCreate(Q7C_ROOT, kStudioClass, dispatch, 0, Q7CT_NAME, word("studio"), Q7CT_PUBATTRS, word(&rows[0]),
                       Q7CT_DESCRIPTION, word("Studio"), Q7CT_MODULE, word("studio"), 0) != nullptr;
}

int32_t remembered(uint32_t attribute) {
  int32_t value = 0;
  Q7GetClassAttrs(kStudioClass, attribute, word(&value), 0);
  return value;
}

void remember(uint32_t attribute, int32_t value) {
  Q7SetClassAttrs(kStudioClass, attribute, static_cast<uint64_t>(value), 0);
}

}  // namespace studio
