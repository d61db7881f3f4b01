// q7icon: icons and cursors. Both keep a picture of their own and its size; a cursor also says which of its pixels
// points.
#include <cstring>

#include "core/q7memory.h"
#include "core/q7root.h"
#include "platform/posix/drawing.hpp"
#include "platform/posix/q7posix.h"
#include "platform/posix/shape.hpp"

using namespace q7posix;

namespace {

// Which attribute is which, of an icon and of a cursor; 0 for none.
struct Tags {
  uint32_t width, height, image, x, y;
};
constexpr Tags kIconTags = {Q7A_ICON_WIDTH, Q7A_ICON_HEIGHT, Q7A_ICON_IMAGE, 0, 0};
constexpr Tags kCursorTags = {Q7A_CURSOR_WIDTH, Q7A_CURSOR_HEIGHT, Q7A_CURSOR_IMAGE, Q7A_CURSOR_X, Q7A_CURSOR_Y};

struct Picture {  // instance data
  int32_t width, height, x, y;
  Q7Image *image;  // owned, the pixels behind it in the same block; null for none
};

constexpr int32_t kMost = 16384;

Q7Image *copy_image(const Q7Image *from) {
  const uint64_t bytes = static_cast<uint64_t>(from->width) * static_cast<uint64_t>(from->height) * 4;
  auto *image = static_cast<Q7Image *>(Q7AllocMem(sizeof(Q7Image) + bytes, 0));
  if (!image) {
    Q7P_ERROR("q7icon", "No memory for a picture of %d x %d pixels", from->width, from->height);
    return nullptr;
  }
  auto *pixels = reinterpret_cast<uint8_t *>(image + 1);
  std::memcpy(pixels, from->pixels, bytes);
  *image = {from->width, from->height, pixels};
  return image;
}

void q7ic_set_image(Picture &p, const Q7Image *from) {
  Q7Image *image = nullptr;
  if (from) {
    if (!from->pixels || from->width < 1 || from->height < 1 || from->width > kMost || from->height > kMost) return;
    image = copy_image(from);
    if (!image) return;
    p.width = image->width;
    p.height = image->height;
  }
  Q7FreeMem(p.image, 0);
  p.image = image;
}

int32_t *q7ic_number(Picture &p, const Tags &tags, uint32_t tag) {
  return tag == tags.width    ? &p.width
         : tag == tags.height ? &p.height
         : tag == tags.x      ? &p.x
         : tag == tags.y      ? &p.y
                              : nullptr;
}

template <const Tags &kTags>
bool q7ic_set(Picture &p, const Q7TagItem &item) {
  if (item.tag == kTags.image) {
    q7ic_set_image(p, reinterpret_cast<const Q7Image *>(item.data));
    return true;
  }
  int32_t *number = q7ic_number(p, kTags, item.tag);
  if (number) *number = static_cast<int32_t>(item.data);
  return number != nullptr;
}

template <const Tags &kTags>
bool q7ic_get(Picture &p, const Q7TagItem &item) {
  if (item.tag == kTags.image) return store<const Q7Image *>(item, p.image);
  const int32_t *number = q7ic_number(p, kTags, item.tag);
  return number && store<int32_t>(item, *number);
}

template <const Tags &kTags>
uint64_t q7ic_new(Q7Class *cl, Q7Object *receiver, uint64_t a, uint64_t b, Q7TagItem *list) {
  auto *obj = reinterpret_cast<Q7Object *>(inherit(cl, receiver, Q7M_NEW, a, b, list));
  if (obj) each_tag(list, [&](const Q7TagItem &item) { q7ic_set<kTags>(data<Picture>(cl, obj), item); });
  return word(obj);
}

uint64_t q7ic_dispose(Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *list) {
  auto &p = data<Picture>(cl, obj);
  Q7FreeMem(p.image, 0);
  p.image = nullptr;
  return inherit(cl, obj, Q7M_DISPOSE, a, b, list);
}

uint64_t q7ic_copy(Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *list) {
  auto *copy = reinterpret_cast<Q7Object *>(inherit(cl, obj, Q7M_COPY, a, b, list));
  if (!copy) return 0;
  auto &p = data<Picture>(cl, copy);
  if (!p.image) return word(copy);
  p.image = copy_image(p.image);
  if (p.image) return word(copy);
  send(copy, Q7M_DISPOSE, a);
  return 0;
}

template <const Tags &kTags>
uint64_t q7ic_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *list) {
  if (method == Q7M_NEW) return q7ic_new<kTags>(cl, obj, a, b, list);
  // Messages to the class itself have no instance behind them.
  if (&obj->cl->header == obj) return inherit(cl, obj, method, a, b, list);
  switch (method) {
    case Q7M_DISPOSE: return q7ic_dispose(cl, obj, a, b, list);
    case Q7M_SET: return walk<Picture>(cl, obj, method, list, q7ic_set<kTags>);
    case Q7M_GET: return walk<Picture>(cl, obj, method, list, q7ic_get<kTags>);
    case Q7M_COPY: return q7ic_copy(cl, obj, a, b, list);
    default: return inherit(cl, obj, method, a, b, list);
  }
}

constexpr ClassDef icon_class = {
    Q7C_ICON, Q7C_ROOT, "q7icon", q7ic_dispatch<kIconTags>, sizeof(Picture), Q7RegisterRootClass, "Icon"};
constexpr ClassDef cursor_class = {
    Q7C_CURSOR, Q7C_ROOT, "q7cursor", q7ic_dispatch<kCursorTags>, sizeof(Picture), Q7RegisterRootClass, "Cursor"};

}  // namespace

int32_t Q7RegisterIconClass(Q7App *app) { return register_class(app, icon_class) && register_font_class(app); }

int32_t Q7RegisterCursorClass(Q7App *app) { return register_class(app, cursor_class); }
