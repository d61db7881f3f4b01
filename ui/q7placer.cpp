// q7placer: the placer class: records, natural size and layout. It owns a record for each slave; a record holds a
// reference on the slave, a splitter's record also a callback on it.
#include "ui/q7placer.h"

#include <algorithm>

#include "core/q7memory.h"
#include "core/q7root.h"
#include "core/q7typeid.h"
#include "ui/placer.hpp"

int32_t q7::splitter_size = 6;

namespace {

using q7::Placer;
using q7::PlaceRecord;

constexpr int32_t kSplitterSize = 6;

static_assert(offsetof(Placer, hidden) == 24 && offsetof(Placer, x) == 48 && offsetof(Placer, frame) == 64);
static_assert(offsetof(Placer, left) == 72 && offsetof(Placer, laid_out) == 92);

// ---- Placement tags ----

// Percent form and pointer form of one fraction.
struct RelativeTag {
  uint32_t percent, pointer;
  double PlaceRecord::*field;
};
constexpr RelativeTag relative_tags[4] = {
    {Q7A_PLACER_PERCENT_X, Q7A_PLACER_RELATIVE_X, &PlaceRecord::rel_x},
    {Q7A_PLACER_PERCENT_Y, Q7A_PLACER_RELATIVE_Y, &PlaceRecord::rel_y},
    {Q7A_PLACER_PERCENT_WIDTH, Q7A_PLACER_RELATIVE_WIDTH, &PlaceRecord::rel_width},
    {Q7A_PLACER_PERCENT_HEIGHT, Q7A_PLACER_RELATIVE_HEIGHT, &PlaceRecord::rel_height},
};
struct AbsoluteTag {
  uint32_t tag;
  int32_t PlaceRecord::*field;
};
constexpr AbsoluteTag absolute_tags[4] = {
    {Q7A_PLACER_X, &PlaceRecord::abs_x},
    {Q7A_PLACER_Y, &PlaceRecord::abs_y},
    {Q7A_PLACER_WIDTH, &PlaceRecord::abs_width},
    {Q7A_PLACER_HEIGHT, &PlaceRecord::abs_height},
};

void q7pl_read_absolute(PlaceRecord &record, Q7TagItem *tags) {
  for (const AbsoluteTag &a : absolute_tags) {
    if (const Q7TagItem *item = Q7TagFind(a.tag, tags)) record.*a.field = q7::value<int32_t>(*item);
  }
}

void q7pl_read_relative(PlaceRecord &record, Q7TagItem *tags) {
  for (const RelativeTag &r : relative_tags) {
    const Q7TagItem *percent = Q7TagFind(r.percent, tags);
    if (percent && q7::value<int32_t>(*percent) >= 0) record.*r.field = q7::value<int32_t>(*percent) / 100.0;
    const Q7TagItem *pointer = Q7TagFind(r.pointer, tags);
    if (pointer && pointer->data) record.*r.field = *q7::value<const double *>(*pointer);
  }
}

void q7pl_mark_absolute(PlaceRecord &record) {
  record.has_abs_width = record.abs_width != -1;
  record.has_abs_height = record.abs_height != -1;
}

// ---- Records ----

void q7pl_free_record(PlaceRecord *record) {
  if (record->placer->linked) q7::unlink_neighbours(*record->placer, *record);
  q7::Walk::leaving(&record->node);
  Q7Remove(&record->node);
  q7::weak_drop(record->link);
  Q7FreeMem(record, sizeof(PlaceRecord));
}

void q7pl_slave_gone(q7::Weak *link) {
  q7pl_free_record(reinterpret_cast<PlaceRecord *>(reinterpret_cast<char *>(link) - offsetof(PlaceRecord, link)));
}

Q7_HANDLER void q7pl_send_callback(Q7Object *self, Q7Object *splitter, uint32_t method) {
  Q7TagItem list[] = {
      {Q7A_CALLBACK_OBJECT, q7::arg(self)}, {Q7A_CALLBACK_METHOD, Q7M_PLACER_SPLITTER_DRAGGED}, {Q7TAG_END, 0}};
  q7::send(splitter, method, 0, 0, list);
}

Q7_HANDLER void q7pl_release_record(Q7Object *self, PlaceRecord *record) {
  Q7Object *slave = record->slave;
  const bool splitter = record->is_splitter != 0;
  q7pl_free_record(record);
  if (splitter) q7pl_send_callback(self, slave, Q7M_WIDGET_REMOVE_CALLBACK);
  q7::release_member(slave);
}

Q7_HANDLER uint64_t q7pl_add(Q7Class *cl, Placer &p, Q7Object *self, uint64_t a, uint64_t b, Q7TagItem *tags) {
  Q7Object *slave = q7::slave_tag(tags);
  if (slave == self) return 0;
  auto *record = static_cast<PlaceRecord *>(Q7AllocMem(sizeof(PlaceRecord), Q7MEM_CLEAR));
  if (!record) return 0;
  record->placer = &p;
  record->slave = slave;
  record->abs_x = record->abs_y = record->abs_width = record->abs_height = -1;
  q7pl_read_absolute(*record, tags);
  q7pl_read_relative(*record, tags);
  q7pl_mark_absolute(*record);
  record->is_splitter = Q7TagVal(tags, Q7A_PLACER_SPLITTER, 0) != 0;
  q7::add_reference(slave);
  q7::weak_assign(record->link, slave, q7pl_slave_gone);
  Q7AddTail(&p.slaves, &record->node);
  if (record->is_splitter) {
    p.linked = 1;
    q7::link_neighbours(p, *record, tags);
    q7pl_send_callback(self, slave, Q7M_WIDGET_ADD_CALLBACK);
  }
  return q7::inherit(cl, self, Q7M_GMANAGER_ADD, a, b, tags);
}

Q7_HANDLER uint64_t q7pl_remove(Q7Class *cl, Placer &p, Q7Object *self, uint64_t a, uint64_t b, Q7TagItem *tags) {
  q7::inherit(cl, self, Q7M_GMANAGER_REMOVE, a, b, tags);
  auto *record = q7::find_record<PlaceRecord>(p.slaves, q7::slave_tag(tags));
  if (!record) return q7::ask_nested<PlaceRecord>(p.slaves, p.busy, Q7M_GMANAGER_REMOVE, a, b, tags);
  q7pl_release_record(self, record);
  return 1;
}

// The marks of given sizes stay: only replacing a placement decides anew what is given.
Q7_HANDLER uint64_t q7pl_set_placement(Placer &p, Q7Object *self, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto *record = q7::find_record<PlaceRecord>(p.slaves, q7::slave_tag(tags));
  if (!record) return q7::ask_nested<PlaceRecord>(p.slaves, p.busy, Q7M_GMANAGER_SET_OPTIONS, a, b, tags);
  q7pl_read_absolute(*record, tags);
  q7pl_read_relative(*record, tags);
  return q7::arg(self);
}

Q7_HANDLER uint64_t q7pl_get_placement(Placer &p, Q7Object *self, uint64_t a, uint64_t b, Q7TagItem *tags) {
  const auto *record = q7::find_record<PlaceRecord>(p.slaves, q7::slave_tag(tags));
  if (!record) return q7::ask_nested<PlaceRecord>(p.slaves, p.busy, Q7M_GMANAGER_GET_OPTIONS, a, b, tags);
  for (const Q7TagItem &item : q7::tags(tags)) {
    for (const AbsoluteTag &t : absolute_tags) {
      if (item.tag == t.tag) q7::store<int32_t>(item, record->*t.field);
    }
    for (const RelativeTag &t : relative_tags) {
      const double fraction = record->*t.field;
      if (item.tag == t.percent) q7::store<int32_t>(item, fraction < 0 ? -1 : q7::round_up_half(fraction * 100));
      if (item.tag == t.pointer) q7::store<double>(item, fraction);
    }
  }
  return q7::arg(self);
}

Q7_HANDLER uint64_t q7pl_replace_placement(Placer &p, Q7Object *self, Q7TagItem *tags) {
  auto *record = q7::find_record<PlaceRecord>(p.slaves, q7::slave_tag(tags));
  if (!record) return 0;
  record->abs_x = record->abs_y = record->abs_width = record->abs_height = -1;
  q7pl_read_absolute(*record, tags);
  q7pl_read_relative(*record, tags);
  q7pl_mark_absolute(*record);
  return q7::arg(self);
}

// ---- Natural size ----

// Whether the placer, once laid out, gives way beside splitters before it grows.
struct NoGrow {
  bool width, height;
};

// A size that the placer needs so that a fraction of it holds `size`; 0 when no size does.
double q7pl_need(double size, double fraction) { return fraction > 0 ? size / fraction : 0; }

void q7pl_grow(int32_t &natural, double need) { natural = std::max(natural, q7::to_int(need)); }

Q7_HANDLER void q7pl_add_size(Placer &p, PlaceRecord &r, NoGrow no_grow) {
  // An absolute place that was not given counts as the -1 that it is: a slave at no place needs a pixel less.
  const int32_t aw = r.abs_width, ah = r.abs_height;
  p.natural_width = std::max(p.natural_width, q7::narrow(int64_t{r.abs_x} + aw));
  p.natural_height = std::max(p.natural_height, q7::narrow(int64_t{r.abs_y} + ah));
  if (r.rel_width > 0) {
    if (no_grow.width && p.width < q7pl_need(aw, r.rel_width)) q7::rescale_width(p, r);
    q7pl_grow(p.natural_width, q7pl_need(aw, r.rel_width));
  }
  if (r.rel_height > 0) {
    if (no_grow.height && p.height < q7pl_need(ah, r.rel_height)) q7::rescale_height(p, r);
    q7pl_grow(p.natural_height, q7pl_need(ah, r.rel_height));
  }
  if (r.rel_x > 0 && r.rel_x < 1) {
    if (no_grow.width && p.width < q7pl_need(aw, 1 - r.rel_x)) q7::rescale_width(p, r);
    q7pl_grow(p.natural_width, q7pl_need(aw, 1 - r.rel_x));
  }
  if (r.rel_y > 0 && r.rel_y < 1) {
    if (no_grow.height && p.height < q7pl_need(ah, 1 - r.rel_y)) q7::rescale_height(p, r);
    q7pl_grow(p.natural_height, q7pl_need(ah, 1 - r.rel_y));
  }
  if (r.is_splitter) {
    if (r.left && r.right) p.natural_width = q7::narrow(int64_t{p.natural_width} + q7::splitter_size);
    if (r.top && r.bottom) p.natural_height = q7::narrow(int64_t{p.natural_height} + q7::splitter_size);
  }
  r.flags |= q7::kSized;
}

void q7pl_keep(bool keep, int32_t &natural, int32_t &kept) {
  if (!keep) {
    if (kept == 0) kept = natural;
  } else if (natural < kept) {
    natural = kept;
  } else {
    kept = natural;
  }
}

// False when the placer went away meanwhile.
Q7_HANDLER bool q7pl_compute_size(Placer &p) {
  q7::BusyGuard guard(p.busy, q7::kSizing);
  if (!guard) return true;
  const NoGrow no_grow = {p.laid_out && p.natural_width > 0 && p.width > 0,
                          p.laid_out && p.natural_height > 0 && p.height > 0};
  p.natural_width = p.natural_height = 0;
  if (p.hidden) return true;
  for (Q7Node *node = p.slaves.head; node->succ; node = node->succ) {
    reinterpret_cast<PlaceRecord *>(node)->flags &= ~q7::kSized;
  }
  q7::Walk walk(p.slaves);
  while (auto *record = walk.take<PlaceRecord>()) {
    int32_t min_width = 0, min_height = 0;
    Q7TagItem ask[] = {
        {Q7A_WIDGET_MIN_WIDTH, q7::arg(&min_width)}, {Q7A_WIDGET_MIN_HEIGHT, q7::arg(&min_height)}, {Q7TAG_END, 0}};
    q7::send(record->slave, Q7M_GET, 0, 0, ask);
    if (!walk.valid()) {
      guard.abandon();
      return false;
    }
    if (!walk.stands()) continue;
    record->min_width = min_width;
    record->min_height = min_height;
    if (!record->has_abs_width) record->abs_width = min_width;
    if (!record->has_abs_height) record->abs_height = min_height;
    q7pl_add_size(p, *record, no_grow);
  }
  int32_t frame_width = 0;
  if (p.frame) {
    if (!q7::read_frame(p, walk, frame_width)) {
      guard.abandon();
      return false;
    }
    p.natural_width = q7::narrow(int64_t{p.natural_width} + p.left + p.right);
    p.natural_height = q7::narrow(int64_t{p.natural_height} + p.top + p.bottom);
  }
  q7pl_keep(p.keep_size != 0, p.natural_height, p.kept_height);
  q7pl_keep(p.keep_size != 0, p.natural_width, p.kept_width);
  if (p.frame) {
    if (frame_width != 0 && frame_width > p.natural_width) p.natural_width = frame_width;
  }
  return true;
}

// ---- Layout ----

struct Rect {
  int64_t x, y, width, height;
};

Rect q7pl_rectangle(const PlaceRecord &r, const Rect &inner) {
  const auto w = static_cast<double>(inner.width), h = static_cast<double>(inner.height);
  const auto x0 = static_cast<double>(inner.x), y0 = static_cast<double>(inner.y);
  return {r.rel_x >= 0 ? q7::round_up_half(w * r.rel_x + x0) : r.abs_x + inner.x,
          r.rel_y >= 0 ? q7::round_up_half(h * r.rel_y + y0) : r.abs_y + inner.y,
          r.rel_width >= 0 ? q7::round_up_half(w * r.rel_width) : r.abs_width,
          r.rel_height >= 0 ? q7::round_up_half(h * r.rel_height) : r.abs_height};
}

void q7pl_place(Q7Object *obj, const Rect &r) {
  q7::set_rectangle(obj, q7::narrow(r.x), q7::narrow(r.y), q7::narrow(r.width), q7::narrow(r.height));
}

// Makes room for the splitters around a slave. Those on its right and below are placed at once, from this slave and not
// from their own records, and in the coordinates of the placer: a frame does not contain them.
Q7_HANDLER void q7pl_make_room(const PlaceRecord &r, Rect &rect) {
  const int64_t s = q7::splitter_size, half = q7::splitter_size / 2;
  if (r.left) {
    rect.x += half;
    rect.width -= half;
  }
  Q7Object *beside = nullptr;
  Rect beside_rect{};
  if (r.right) {
    rect.width -= half;
    beside = r.right->slave;
    beside_rect = {rect.x + rect.width, rect.y, s, rect.height};
  }
  if (r.top) {
    rect.y += half;
    rect.height -= half;
  }
  Q7Object *below = nullptr;
  Rect below_rect{};
  if (r.bottom) {
    rect.height -= half;
    below = r.bottom->slave;
    below_rect = {rect.x, rect.y + rect.height, rect.width, s};
  }
  if (beside) q7pl_place(beside, beside_rect);
  if (below) q7pl_place(below, below_rect);
}

Q7_HANDLER uint64_t q7pl_layout(Placer &p, Q7Object *self) {
  q7::BusyGuard guard(p.busy, q7::kLayingOut);
  if (!guard || p.hidden || p.width == 0 || p.height == 0) return q7::arg(self);
  p.laid_out = 1;
  q7::Walk walk(p.slaves);
  int32_t frame_x = 0, frame_y = 0;
  if (p.frame) {
    q7::set_rectangle(p.frame, p.x, p.y, p.width, p.height);
    if (walk.valid() && p.frame) {
      Q7TagItem ask[] = {
          {Q7A_WIDGET_CLIENT_X, q7::arg(&frame_x)}, {Q7A_WIDGET_CLIENT_Y, q7::arg(&frame_y)}, {Q7TAG_END, 0}};
      q7::send(p.frame, Q7M_GET, 0, 0, ask);
    }
  }
  while (auto *record = walk.take<PlaceRecord>()) {
    Q7Object *slave = record->slave;
    if (record->is_splitter || !slave) continue;
    const Rect inner = {int64_t{p.x} + p.left, int64_t{p.y} + p.top, int64_t{p.width} - p.left - p.right,
                        int64_t{p.height} - p.top - p.bottom};
    Rect rect = q7pl_rectangle(*record, inner);
    const bool framed = p.frame != nullptr;
    const Rect own = {p.x, p.y, p.width, p.height};
    q7pl_make_room(*record, rect);
    if (framed) {
      rect.x -= own.x + frame_x;
      rect.y -= own.y + frame_y;
    }
    if (walk.stands()) q7pl_place(slave, rect);
    if (walk.stands()) q7::send(slave, Q7M_WIDGET_LAYOUT);
  }
  if (!walk.valid()) {
    guard.abandon();
    return 0;
  }
  return q7::arg(self);
}

// ---- Shown state ----

Q7_HANDLER void q7pl_show(Placer &p, Q7Object *self, bool on) {
  const bool shown = on && !p.hidden && q7::shown_by_master(self);
  // Splitters that are not to be seen are hidden with the rest, but not shown with it.
  q7::show_members<PlaceRecord>(
      p, shown, [&p, shown](const PlaceRecord &record) { return shown && record.is_splitter && !p.splitters_shown; });
}

// ---- Attributes ----

Q7_HANDLER bool q7pl_set_item(Q7Class *cl, Placer &p, Q7Object *self, const Q7TagItem &item, bool init) {
  // The rectangle and the shown state are kept here and by the widget part; during creation that has got them already.
  const auto pass_on = [&] {
    if (!init) q7::inherit_item(cl, self, Q7M_SET, item);
    return true;
  };
  switch (item.tag) {
    case Q7A_WIDGET_X: p.x = q7::value<int32_t>(item); return pass_on();
    case Q7A_WIDGET_Y: p.y = q7::value<int32_t>(item); return pass_on();
    case Q7A_WIDGET_WIDTH: p.width = q7::value<int32_t>(item); return pass_on();
    case Q7A_WIDGET_HEIGHT: p.height = q7::value<int32_t>(item); return pass_on();
    case Q7A_WIDGET_SHOWN:
      // The widget part first: nested managers ask this one whether it is shown.
      pass_on();
      q7pl_show(p, self, q7::flag(item));
      return true;
    case Q7A_GMANAGER_FRAME: q7::set_frame(p, q7::value<Q7Object *>(item)); return true;
    case Q7A_GMANAGER_HIDDEN:
      p.hidden = q7::flag(item);
      q7pl_show(p, self, !p.hidden);
      return true;
    case Q7A_GMANAGER_KEEP_SIZE: p.keep_size = q7::flag(item); return true;
    case Q7A_PLACER_SPLITTERS_SHOWN: p.splitters_shown = q7::flag(item); return true;
    default: return false;
  }
}

Q7_HANDLER uint64_t q7pl_set(Q7Class *cl, Placer &p, Q7Object *self, Q7TagItem *tags) {
  return q7::walk_items(cl, self, Q7M_SET, tags,
                        [&](const Q7TagItem &item) { return q7pl_set_item(cl, p, self, item, false); });
}

Q7_HANDLER uint64_t q7pl_get(Q7Class *cl, Placer &p, Q7Object *self, Q7TagItem *tags) {
  if (!q7pl_compute_size(p)) return 0;
  return q7::walk_items(cl, self, Q7M_GET, tags, [&](const Q7TagItem &item) {
    switch (item.tag) {
      case Q7A_WIDGET_MIN_WIDTH: return q7::store<int32_t>(item, p.natural_width);
      case Q7A_WIDGET_MIN_HEIGHT: return q7::store<int32_t>(item, p.natural_height);
      case Q7A_PLACER_DATA: return q7::store<void *>(item, &p);
      default: return false;
    }
  });
}

// ---- Class attributes ----

constexpr Q7PublicAttribute placer_attributes[] = {
    {"Splitter Size", Q7A_PLACER_SPLITTER_SIZE, Q7TID_INT, 0, {}, 0, {}},
    {nullptr, 0, 0, 0, {}, 0, {}},
};

uint64_t q7pl_class_attributes(Q7Class *cl, Q7Object *obj, uint32_t method, Q7TagItem *tags) {
  return q7::walk_items(cl, obj, method, tags, [method](const Q7TagItem &item) {
    if (item.tag != Q7A_PLACER_SPLITTER_SIZE) return false;
    if (method == Q7M_GETCLASSATTRS) return q7::store<int32_t>(item, q7::splitter_size);
    q7::splitter_size = q7::value<int32_t>(item);
    return true;
  });
}

// ---- Life ----

Q7_HANDLER uint64_t q7pl_new(Q7Class *cl, Q7Object *receiver, uint64_t a, uint64_t b, Q7TagItem *tags) {
  return q7::create<Placer>(
      cl, receiver, a, b, tags,
      [cl](Placer &p, Q7Object *self, Q7TagItem &item) { return q7pl_set_item(cl, p, self, item, true); },
      [](Placer &p, Q7Object *) {
        Q7NewList(&p.slaves);
        p.splitters_shown = 1;
        return true;
      });
}

Q7_HANDLER uint64_t q7pl_dispose(Q7Class *cl, Placer &p, Q7Object *self, uint64_t a, uint64_t b, Q7TagItem *tags) {
  while (p.slaves.head->succ) q7pl_release_record(self, reinterpret_cast<PlaceRecord *>(p.slaves.head));
  q7::Walk::ending(&p.slaves);
  q7::weak_drop(p.frame_link);
  Q7Object *frame = p.frame;
  p.frame = nullptr;
  q7::release_member(frame);
  return q7::inherit(cl, self, Q7M_DISPOSE, a, b, tags);
}

Q7_HANDLER uint64_t q7pl_for_each(Placer &p, uint64_t handler, uint64_t method, Q7TagItem *argument) {
  return q7::for_each_gadget<PlaceRecord>(p.slaves, p.busy, handler, method, argument);
}

// Messages to the class itself have no instance behind them.
Q7_HANDLER uint64_t q7pl_class_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b,
                                        Q7TagItem *tags) {
  switch (method) {
    case Q7M_NEW: return q7pl_new(cl, obj, a, b, tags);
    case Q7M_SETCLASSATTRS:
    case Q7M_GETCLASSATTRS: return q7pl_class_attributes(cl, obj, method, tags);
    case Q7M_CLASS_FREE:
      if (&cl->header == obj) q7::splitter_size = kSplitterSize;
      return q7::inherit(cl, obj, method, a, b, tags);
    default: return q7::inherit(cl, obj, method, a, b, tags);
  }
}

uint64_t q7pl_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  switch (method) {
    case Q7M_COLLECT_TABLES:
    case Q7M_NAME_OF_TAG:
    case Q7M_ROW_BY_TAG:
    case Q7M_ROW_BY_NAME:
    case Q7M_TAG_BY_NAME: return q7::public_attributes(placer_attributes, cl, obj, method, a, b, tags);
    default: break;
  }
  if (&obj->cl->header == obj) return q7pl_class_dispatch(cl, obj, method, a, b, tags);
  auto &p = q7::data<Placer>(cl, obj);
  switch (method) {
    case Q7M_DISPOSE: return q7pl_dispose(cl, p, obj, a, b, tags);
    case Q7M_SET: return q7pl_set(cl, p, obj, tags);
    case Q7M_GET: return q7pl_get(cl, p, obj, tags);
    case Q7M_GMANAGER_ADD: return q7pl_add(cl, p, obj, a, b, tags);
    case Q7M_GMANAGER_REMOVE: return q7pl_remove(cl, p, obj, a, b, tags);
    case Q7M_GMANAGER_FOR_EACH: return q7pl_for_each(p, a, b, tags);
    case Q7M_GMANAGER_SET_OPTIONS: return q7pl_set_placement(p, obj, a, b, tags);
    case Q7M_GMANAGER_GET_OPTIONS: return q7pl_get_placement(p, obj, a, b, tags);
    case Q7M_PLACER_REPLACE: return q7pl_replace_placement(p, obj, tags);
    case Q7M_PLACER_SPLITTER_DRAGGED: return q7::splitter_dragged(p, obj, a, q7::as<Q7Object *>(b));
    case Q7M_GMANAGER_LAYOUT:
    case Q7M_WIDGET_LAYOUT: return q7pl_layout(p, obj);
    default: return q7::inherit(cl, obj, method, a, b, tags);
  }
}

constexpr q7::ClassDef placer_class = {.id = Q7C_PLACER,
                                       .super = Q7C_GMANAGER,
                                       .name = "q7placer",
                                       .dispatch = q7pl_dispatch,
                                       .size = sizeof(Placer),
                                       .needs = Q7RegisterGmanagerClass,
                                       .attributes = placer_attributes,
                                       .description = "Placer"};

}  // namespace

int32_t Q7RegisterPlacerClass(Q7App *app) { return q7::register_once(app, placer_class); }
