// scene: makes the objects, lays them out and reads the result.
#include "tools/q7layout/scene.hpp"

#include <vector>

#include "core/q7objects.h"
#include "core/q7root.h"
#include "platform/posix/q7posix.h"
#include "ui/q7placer.h"
#include "ui/q7rowcol.h"

namespace q7layout {

namespace {

constexpr uint32_t kLeafClass = 900911;  // a widget that says where its client area begins

template <class T>
uint64_t arg(T value) {
  if constexpr (std::is_pointer_v<T>) {
    return reinterpret_cast<uint64_t>(value);
  } else {
    return static_cast<uint64_t>(value);
  }
}

uint64_t send(Q7Object *obj, uint32_t method, uint64_t slot = 0) {
  return obj->dispatch(obj->cl, obj, method, 0, 0, reinterpret_cast<Q7TagItem *>(slot));
}
using Tags = std::vector<Q7TagItem>;
uint64_t send(Q7Object *obj, uint32_t method, Tags tags) {
  tags.push_back({Q7TAG_END, 0});
  return send(obj, method, arg(tags.data()));
}

Q7Rect read_rect(Q7Object *obj) {
  Q7Rect r = {};
  send(obj, Q7M_GET,
       Tags{{Q7A_WIDGET_X, arg(&r.x)},
            {Q7A_WIDGET_Y, arg(&r.y)},
            {Q7A_WIDGET_WIDTH, arg(&r.width)},
            {Q7A_WIDGET_HEIGHT, arg(&r.height)}});
  return r;
}

uint64_t leaf_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method != Q7M_GET || &cl->header == obj) return cl->superdispatch(cl->super, obj, method, a, b, tags);
  const uint64_t answer = cl->superdispatch(cl->super, obj, method, a, b, tags);
  const Pair &client = *reinterpret_cast<const Pair *>(reinterpret_cast<char *>(obj) + cl->ioffset);
  for (const uint32_t tag : {uint32_t{Q7A_WIDGET_CLIENT_X}, uint32_t{Q7A_WIDGET_CLIENT_Y}}) {
    if (const Q7TagItem *item = Q7TagFind(tag, tags))
      *reinterpret_cast<int32_t *>(item->data) = tag == Q7A_WIDGET_CLIENT_X ? client.x : client.y;
  }
  return answer;
}

uint32_t class_of(Kind kind) {
  switch (kind) {
    case Kind::kPacker: return Q7C_PACKER;
    case Kind::kPlacer: return Q7C_PLACER;
    case Kind::kRowCol: return Q7C_ROWCOL;
    case Kind::kSplitter: return Q7C_SPLITTER;
    case Kind::kWidget: break;
  }
  return kLeafClass;
}

Tags creation_tags(const Item &item) {
  Tags tags = {{Q7A_NAME, arg(item.name.c_str())}};
  if (item.kind == Kind::kWidget || item.kind == Kind::kSplitter) {
    tags.push_back({Q7A_WIDGET_MIN_WIDTH, arg(item.min.x)});
    tags.push_back({Q7A_WIDGET_MIN_HEIGHT, arg(item.min.y)});
    tags.push_back({Q7A_WIDGET_STRETCH_DOWN, item.stretch_down});
    tags.push_back({Q7A_WIDGET_STRETCH_ACROSS, item.stretch_across});
    return tags;
  }
  if (item.kind != Kind::kPlacer) tags.push_back({Q7A_PACKER_ORIENTATION, arg(item.direction)});
  if (item.kind == Kind::kRowCol) tags.push_back({Q7A_ROWCOL_PER_ROW, arg(item.per_row)});
  if (item.limit) {
    tags.push_back({Q7A_WIDGET_ROOM_WIDTH, arg(item.limit->x)});
    tags.push_back({Q7A_WIDGET_ROOM_HEIGHT, arg(item.limit->y)});
  }
  if (item.max) {
    tags.push_back({Q7A_GMANAGER_MAX_WIDTH, arg(item.max->x)});
    tags.push_back({Q7A_GMANAGER_MAX_HEIGHT, arg(item.max->y)});
  }
  if (item.keep) tags.push_back({Q7A_GMANAGER_KEEP_SIZE, 1});
  return tags;
}

}  // namespace

bool Scene::prepare(Q7App *app) {
  return Q7RegisterWindowClass(app) && Q7RegisterDrawingClass(app) && Q7RegisterRowColClass(app) &&
         Q7RegisterPlacerClass(app) && Q7ClassCreate(Q7C_WIDGET, kLeafClass, leaf_dispatch, sizeof(Pair), 0) != nullptr;
}

Scene::Scene(Description &description) : description_(description) {
  // Items stand behind what they lie in, and splitters behind their neighbours.
  for (const Item &item : description.items) complete_ = complete_ && make(item) && (!item.parent || add(item));
}

Scene::~Scene() {
  for (const Item &item : description_.items) {
    // Everything else belongs to what it lies in; without a place there it is the scene's.
    Q7Object *obj = object(item);
    if (obj && (!item.parent || obj->refcount == 0)) {
      Q7ObjectDelete(obj);
      if (!item.parent) break;
    }
  }
}

Q7Object *Scene::object(const Item &item) const {
  const auto found = objects_.find(&item);
  return found == objects_.end() ? nullptr : found->second.object;
}

bool Scene::make(const Item &item) {
  Tags tags = creation_tags(item);
  tags.push_back({Q7TAG_END, 0});
  Objects &made = objects_[&item];
  made.object = Q7ObjectCreateA(class_of(item.kind), tags.data());
  if (!made.object) return false;
  if (item.kind == Kind::kWidget) {
    *reinterpret_cast<Pair *>(reinterpret_cast<char *>(made.object) + made.object->cl->ioffset) = item.client;
  }
  if (item.frame) {
    const std::vector<int32_t> &insets = *item.frame;
    made.frame = Q7ObjectCreate(Q7C_FRAME, 0);
    if (!made.frame) return false;
    send(made.frame, Q7M_SET,
         Tags{{Q7A_FRAME_LEFT, arg(insets[0])},
              {Q7A_FRAME_TOP, arg(insets[1])},
              {Q7A_FRAME_RIGHT, arg(insets[2])},
              {Q7A_FRAME_BOTTOM, arg(insets[3])}});
    send(made.object, Q7M_SET, Tags{{Q7A_GMANAGER_FRAME, arg(made.frame)}});
  }
  if (item.hidden) send(made.object, Q7M_SET, Tags{{Q7A_GMANAGER_HIDDEN, 1}});
  return true;
}

bool Scene::add(const Item &item) {
  Q7Object *manager = object(*item.parent), *obj = object(item);
  if (item.parent->kind == Kind::kPlacer) return add_to_placer(item, manager, obj);
  return send(manager, Q7M_GMANAGER_ADD,
              Tags{{Q7A_GMANAGER_SLAVE, arg(obj)},
                   {Q7A_PACKER_FLAGS, arg(item.flags)},
                   {Q7A_PACKER_ANCHOR, arg(item.anchor)},
                   {Q7A_PACKER_PAD_X, arg(item.pad.x)},
                   {Q7A_PACKER_PAD_Y, arg(item.pad.y)},
                   {Q7A_PACKER_INNER_X, arg(item.inner.x)},
                   {Q7A_PACKER_INNER_Y, arg(item.inner.y)}}) != 0;
}

bool Scene::add_to_placer(const Item &item, Q7Object *placer, Q7Object *obj) {
  Tags tags = {{Q7A_GMANAGER_SLAVE, arg(obj)}};
  if (item.kind == Kind::kSplitter) {
    tags.push_back({Q7A_PLACER_SPLITTER, 1});
    tags.push_back({uint32_t{item.vertical ? Q7A_PLACER_TOP : Q7A_PLACER_LEFT}, arg(object(*item.before))});
    tags.push_back({uint32_t{item.vertical ? Q7A_PLACER_BOTTOM : Q7A_PLACER_RIGHT}, arg(object(*item.behind))});
    return send(placer, Q7M_GMANAGER_ADD, tags) != 0;
  }
  struct Field {
    const Length &length;
    uint32_t pixels, fraction;
  };
  const Field fields[] = {{item.x, Q7A_PLACER_X, Q7A_PLACER_RELATIVE_X},
                          {item.y, Q7A_PLACER_Y, Q7A_PLACER_RELATIVE_Y},
                          {item.width, Q7A_PLACER_WIDTH, Q7A_PLACER_RELATIVE_WIDTH},
                          {item.height, Q7A_PLACER_HEIGHT, Q7A_PLACER_RELATIVE_HEIGHT}};
  // Pixels count where the fraction is negative only.
  static const double kNone = -1;
  for (const Field &field : fields) {
    if (!field.length.given) continue;
    if (!field.length.relative) tags.push_back({field.pixels, arg(field.length.pixels)});
    tags.push_back({field.fraction, arg(field.length.relative ? &field.length.fraction : &kNone)});
  }
  return send(placer, Q7M_GMANAGER_ADD, tags) != 0;
}

// Frames and placers that were laid out answer otherwise, so this comes first; and placers measure their slaves now.
void Scene::measure() {
  for (const Item &item : description_.items) {
    Pair &size = objects_[&item].min;
    send(object(item), Q7M_GET, Tags{{Q7A_WIDGET_MIN_WIDTH, arg(&size.x)}, {Q7A_WIDGET_MIN_HEIGHT, arg(&size.y)}});
  }
}

void Scene::lay_out(Pair size) {
  Q7Object *top = object(description_.items.front());
  send(top, Q7M_SET,
       Tags{{Q7A_WIDGET_X, 0}, {Q7A_WIDGET_Y, 0}, {Q7A_WIDGET_WIDTH, arg(size.x)}, {Q7A_WIDGET_HEIGHT, arg(size.y)}});
  send(top, Q7M_WIDGET_LAYOUT);
}

int32_t Scene::drag(const Item &splitter, int32_t distance) {
  return static_cast<int32_t>(send(object(splitter), Q7M_SPLITTER_DRAG, arg(distance)));
}

Q7Rect Scene::given(const Item &item) const { return read_rect(object(item)); }

Pair Scene::min_size(const Item &item) const { return objects_.at(&item).min; }

Pair Scene::origin_of_members(const Item &item) const {
  Pair at = origin(item);
  if (Q7Object *frame = objects_.at(&item).frame) {
    Pair client;
    send(frame, Q7M_GET, Tags{{Q7A_WIDGET_CLIENT_X, arg(&client.x)}, {Q7A_WIDGET_CLIENT_Y, arg(&client.y)}});
    const Q7Rect r = read_rect(frame);
    at = {at.x + r.x + client.x, at.y + r.y + client.y};
  }
  return at;
}

Pair Scene::origin(const Item &item) const {
  if (!item.parent) return {};
  // Splitters lie in the placer, not in its frame.
  return item.kind == Kind::kSplitter ? origin(*item.parent) : origin_of_members(*item.parent);
}

Q7Rect Scene::rect(const Item &item) const {
  const Pair at = origin(item);
  Q7Rect r = given(item);
  r.x += at.x;
  r.y += at.y;
  return r;
}

Q7Rect Scene::frame_rect(const Item &item) const {
  const Pair at = origin(item);
  Q7Rect r = read_rect(objects_.at(&item).frame);
  r.x += at.x;
  r.y += at.y;
  return r;
}

std::string Scene::row(const Item &item) const {
  if (!item.parent || item.parent->kind != Kind::kRowCol) return "";
  Q7Object *manager = nullptr;
  send(object(item), Q7M_GET, Tags{{Q7A_WIDGET_MANAGER, arg(&manager)}});
  const char *name = nullptr;
  if (manager) send(manager, Q7M_GET, Tags{{Q7A_NAME, arg(&name)}});
  return name ? name : "";
}

}  // namespace q7layout
