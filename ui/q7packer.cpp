// q7packer: the packer class. It owns a record for each slave; a record holds a reference on the slave. Invariant: the
// computed size is what the records and the slaves' sizes gave at the last computation, 0 x 0 when it has to be
// computed anew.
#include "ui/q7packer.h"

#include <algorithm>

#include "core/q7memory.h"
#include "ui/manager.hpp"

namespace {

enum PackerFlag : uint32_t { kHidden = 1, kKeepSize = 2, kNotShown = 4 };

struct Packer {
  Q7List slaves;           // SlaveRecords in packing order
  uint32_t flags;          // PackerFlag
  int32_t count;           // adds less removes; counts records that stand in no list too
  int32_t computed_width;  // natural size (41505, 41506); both 0: to be computed
  int32_t computed_height;
  int32_t max_width;  // 24504, 24505: where keeping a size ends
  int32_t max_height;
  int32_t kept_width;  // last size that the keep-size rule kept
  int32_t kept_height;
  int32_t x, y, width, height;       // 41501 to 41504: given by the parent
  int32_t orientation;               // 22500: 0 top to bottom, 1 left to right
  int32_t column, row;               // 41509, 41510: client origin of the whole packer
  Q7Object *frame;                   // 24501: referenced, or null
  int32_t top, right, bottom, left;  // room that the frame takes
  int32_t shift_x, shift_y;          // 41559, 41560: alignment shift by the packer's own parent
  // Behind what clients may look at (22507).
  Q7List strays;  // records added behind a slave that is not here: they only wait for their release
  uint32_t busy;  // q7::Busy
  q7::Weak frame_link;
};
static_assert(offsetof(Packer, flags) == 24 && offsetof(Packer, x) == 56 && offsetof(Packer, orientation) == 72);
static_assert(offsetof(Packer, frame) == 88 && offsetof(Packer, shift_x) == 112);

struct Options {
  int32_t flags;             // 22501
  int32_t anchor;            // 22502
  int32_t pad_x, pad_y;      // 22503, 22504: outer, on both sides
  int32_t inner_x, inner_y;  // 22505, 22506: inner, on both sides
};

struct SlaveRecord {
  Q7Node node;
  Q7Object *slave;                // 24500: referenced; may be null
  int32_t min_width, min_height;  // the slave's 41505, 41506 at the last computation
  int32_t client_x, client_y;     // the slave's 41509, 41510
  Options options[2];             // one set for each orientation
  int32_t stretch[2];             // the slave's 41556, 41557: may be stretched in that orientation
  // The way back when the slave is deleted under our hands.
  Packer *packer;
  q7::Weak link;
};

constexpr uint32_t option_tags[6] = {Q7A_PACKER_FLAGS, Q7A_PACKER_ANCHOR,  Q7A_PACKER_PAD_X,
                                     Q7A_PACKER_PAD_Y, Q7A_PACKER_INNER_X, Q7A_PACKER_INNER_Y};
constexpr int32_t Options::*option_fields[6] = {&Options::flags, &Options::anchor,  &Options::pad_x,
                                                &Options::pad_y, &Options::inner_x, &Options::inner_y};

void q7pk_make_stale(Packer &p) { p.computed_width = p.computed_height = 0; }
bool q7pk_is_stale(const Packer &p) { return p.computed_width == 0 && p.computed_height == 0; }

// ---- Records ----

void q7pk_free_record(SlaveRecord *record) {
  q7::Walk::leaving(&record->node);
  Q7Remove(&record->node);
  q7::weak_drop(record->link);
  Q7FreeMem(record, sizeof(SlaveRecord));
}

void q7pk_slave_gone(q7::Weak *link) {
  auto *record = reinterpret_cast<SlaveRecord *>(reinterpret_cast<char *>(link) - offsetof(SlaveRecord, link));
  Packer &p = *record->packer;
  q7pk_free_record(record);
  --p.count;
  q7pk_make_stale(p);
}

// Takes a record out and gives its slave back.
Q7_HANDLER void q7pk_release_record(SlaveRecord *record) {
  Q7Object *slave = record->slave;
  q7pk_free_record(record);
  if (q7::is_manager(slave)) q7::set_attribute(slave, Q7A_GMANAGER_MASTER, 0);
  q7::release_member(slave);
}

void q7pk_read_options(Options &options, Q7TagItem *tags) {
  for (int i = 0; i < 6; ++i) {
    if (const Q7TagItem *item = Q7TagFind(option_tags[i], tags)) {
      options.*option_fields[i] = q7::value<int32_t>(*item);
    }
  }
}

int q7pk_option_set(const Packer &p, Q7TagItem *tags) {
  const Q7TagItem *item = Q7TagFind(Q7A_PACKER_ORIENTATION, tags);
  return (item ? q7::value<int32_t>(*item) : p.orientation) != 0;
}

Q7_HANDLER uint64_t q7pk_add(Q7Class *cl, Packer &p, Q7Object *self, uint64_t a, uint64_t b, Q7TagItem *tags) {
  Q7Object *slave = q7::slave_tag(tags);
  if (slave == self) return 0;
  auto *record = static_cast<SlaveRecord *>(Q7AllocMem(sizeof(SlaveRecord), Q7MEM_CLEAR));
  if (!record) return 0;
  record->slave = slave;
  record->packer = &p;
  const int set = q7pk_option_set(p, tags);
  q7pk_read_options(record->options[set], tags);
  record->options[1 - set] = record->options[set];
  q7::add_reference(slave);
  q7::weak_assign(record->link, slave, q7pk_slave_gone);
  if (q7::is_manager(slave)) q7::set_attribute(slave, Q7A_GMANAGER_MASTER, q7::arg(self));

  if (const Q7TagItem *after = Q7TagFind(Q7A_PACKER_AFTER, tags)) {
    if (!after->data) {
      Q7AddHead(&p.slaves, &record->node);
    } else if (auto *before = q7::find_record<SlaveRecord>(p.slaves, q7::value<Q7Object *>(*after))) {
      Q7Insert(&p.slaves, &record->node, &before->node);
    } else {
      // No place for it: kept out of the layout, though counted, so that whoever inserts in a wrong order notices a
      // missing slave and not a wrong order.
      Q7AddTail(&p.strays, &record->node);
    }
  } else {
    Q7AddTail(&p.slaves, &record->node);
  }
  ++p.count;
  q7pk_make_stale(p);
  return q7::inherit(cl, self, Q7M_GMANAGER_ADD, a, b, tags);
}

Q7_HANDLER uint64_t q7pk_remove(Q7Class *cl, Packer &p, Q7Object *self, uint64_t a, uint64_t b, Q7TagItem *tags) {
  q7::inherit(cl, self, Q7M_GMANAGER_REMOVE, a, b, tags);
  auto *record = q7::find_record<SlaveRecord>(p.slaves, q7::slave_tag(tags));
  q7pk_make_stale(p);
  if (!record) return q7::ask_nested<SlaveRecord>(p.slaves, p.busy, Q7M_GMANAGER_REMOVE, a, b, tags);
  --p.count;
  q7pk_release_record(record);
  return 1;
}

Q7_HANDLER uint64_t q7pk_set_options(Packer &p, Q7Object *self, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto *record = q7::find_record<SlaveRecord>(p.slaves, q7::slave_tag(tags));
  if (!record) return q7::ask_nested<SlaveRecord>(p.slaves, p.busy, Q7M_GMANAGER_SET_OPTIONS, a, b, tags);
  const int set = q7pk_option_set(p, tags);
  q7pk_read_options(record->options[set], tags);
  if (set == p.orientation) q7pk_make_stale(p);
  return q7::arg(self);
}

Q7_HANDLER uint64_t q7pk_get_options(Packer &p, Q7Object *self, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto *record = q7::find_record<SlaveRecord>(p.slaves, q7::slave_tag(tags));
  if (!record) return q7::ask_nested<SlaveRecord>(p.slaves, p.busy, Q7M_GMANAGER_GET_OPTIONS, a, b, tags);
  const Options &options = record->options[q7pk_option_set(p, tags)];
  for (int i = 0; i < 6; ++i) {
    if (const Q7TagItem *item = Q7TagFind(option_tags[i], tags)) q7::store<int32_t>(*item, options.*option_fields[i]);
  }
  return q7::arg(self);
}

Q7_HANDLER uint64_t q7pk_pack(Q7Object *self, uint64_t flags, uint64_t anchor, Q7Object *slave) {
  Q7TagItem list[] = {
      {Q7A_GMANAGER_SLAVE, q7::arg(slave)}, {Q7A_PACKER_FLAGS, flags}, {Q7A_PACKER_ANCHOR, anchor}, {Q7TAG_END, 0}};
  return q7::send(self, Q7M_GMANAGER_ADD, 0, 0, list);
}

// ---- Size ----

struct SlaveSize {
  int32_t min_width, min_height, client_x, client_y, stretch_down, stretch_across;
};

Q7_HANDLER SlaveSize q7pk_ask_size(Q7Object *slave) {
  SlaveSize s = {0, 0, 0, 0, 0, 0};
  Q7TagItem ask[] = {{Q7A_WIDGET_MIN_WIDTH, q7::arg(&s.min_width)},
                     {Q7A_WIDGET_MIN_HEIGHT, q7::arg(&s.min_height)},
                     {Q7A_WIDGET_CLIENT_X, q7::arg(&s.client_x)},
                     {Q7A_WIDGET_CLIENT_Y, q7::arg(&s.client_y)},
                     {Q7A_WIDGET_STRETCH_DOWN, q7::arg(&s.stretch_down)},
                     {Q7A_WIDGET_STRETCH_ACROSS, q7::arg(&s.stretch_across)},
                     {Q7TAG_END, 0}};
  q7::send(slave, Q7M_GET, 0, 0, ask);
  return s;
}

void q7pk_note_size(SlaveRecord &record, const SlaveSize &s) {
  record.min_width = s.min_width;
  record.min_height = s.min_height;
  record.client_x = s.client_x;
  record.client_y = s.client_y;
  record.stretch[0] = s.stretch_down;
  record.stretch[1] = s.stretch_across;
}

// Widest aligned part right of the column, tallest one below the row.
struct Aligned {
  int64_t right, below;
};

void q7pk_add_size(Packer &p, const SlaveRecord &record, Aligned &aligned) {
  const Options &o = record.options[p.orientation];
  const int64_t mw = record.min_width, mh = record.min_height, cx = record.client_x, cy = record.client_y;
  // Along the stacking direction only the first slave with a client offset can give the whole its origin; across it
  // all lie on the largest.
  if (p.orientation == 0) {
    if (p.row == 0 && cy > 0) p.row = record.client_y;
    p.column = std::max(p.column, record.client_x);
  } else {
    if (p.column == 0 && cx > 0) p.column = record.client_x;
    p.row = std::max(p.row, record.client_y);
  }
  if (o.anchor == Q7ANCHOR_ALIGNED) {
    aligned.right = std::max(aligned.right, mw - cx + o.inner_x + o.pad_x);
    aligned.below = std::max(aligned.below, mh - cy + o.inner_y + o.pad_y);
  }
  const int64_t width = mw + 2 * int64_t{o.inner_x} + 2 * int64_t{o.pad_x};
  const int64_t height = mh + 2 * int64_t{o.inner_y} + 2 * int64_t{o.pad_y};
  if (p.orientation == 0) {
    p.computed_width = q7::narrow(std::max({width, p.column + aligned.right, int64_t{p.computed_width}}));
    p.computed_height = q7::narrow(p.computed_height + height);
  } else {
    p.computed_width = q7::narrow(p.computed_width + width);
    p.computed_height = q7::narrow(std::max({height, p.row + aligned.below, int64_t{p.computed_height}}));
  }
}

void q7pk_keep(int32_t &computed, int32_t &kept, int32_t max) {
  if (computed < kept && kept < max) {
    computed = kept;
  } else {
    kept = computed;
  }
}

// False when the packer went away meanwhile.
Q7_HANDLER bool q7pk_compute_size(Packer &p) {
  q7::BusyGuard guard(p.busy, q7::kSizing);
  if (!guard) return true;
  q7pk_make_stale(p);
  p.column = p.row = 0;
  if (p.flags & kHidden) return true;
  Aligned aligned = {0, 0};
  q7::Walk walk(p.slaves);
  while (auto *record = walk.take<SlaveRecord>()) {
    const SlaveSize size = q7pk_ask_size(record->slave);
    if (!walk.valid()) {
      guard.abandon();
      return false;
    }
    if (!walk.stands()) continue;
    q7pk_note_size(*record, size);
    q7pk_add_size(p, *record, aligned);
  }
  int32_t frame_width = 0;
  if (p.frame) {
    if (!q7::read_frame(p, walk, frame_width)) {
      guard.abandon();
      return false;
    }
    p.computed_width = q7::narrow(int64_t{p.computed_width} + p.left + p.right);
    p.computed_height = q7::narrow(int64_t{p.computed_height} + p.top + p.bottom);
  }
  if (p.flags & kKeepSize) {
    q7pk_keep(p.computed_height, p.kept_height, p.max_height);
    q7pk_keep(p.computed_width, p.kept_width, p.max_width);
  }
  if (p.frame) {
    // A frame's title needs width. Its minimum height is that of an empty frame, which the insets already hold.
    if (frame_width != 0 && frame_width > p.computed_width) p.computed_width = frame_width;
  }
  return true;
}

// ---- Layout ----

struct Box {
  int32_t x, y, width, height;
};

// A slave's place: its rectangle, the shift by which alignment moved it, and its cell's size.
struct Place {
  Box box;
  int32_t shift_x, shift_y;
  int32_t cell_width, cell_height;
};

bool q7pk_takes_share(const SlaveRecord &record, int orientation) {
  return (record.options[orientation].flags & Q7PACK_EXPAND) && record.stretch[orientation];
}

// x, y: the cell's corner inside the outer padding; w, h: the room of the whole packer; ex, ey: a share of what is
// spare.
Place q7pk_place(const Packer &p, const SlaveRecord &record, int64_t x, int64_t y, int64_t w, int64_t h, int64_t ex,
                 int64_t ey) {
  const Options &o = record.options[p.orientation];
  int64_t sw = record.min_width + 2 * int64_t{o.inner_x};
  int64_t sh = record.min_height + 2 * int64_t{o.inner_y};
  int64_t cw = p.orientation ? sw : w - 2 * int64_t{o.pad_x};
  int64_t ch = p.orientation ? h - 2 * int64_t{o.pad_y} : sh;
  if (q7pk_takes_share(record, p.orientation)) {
    cw += ex;
    ch += ey;
  }
  if (o.flags & Q7PACK_FILL_X) sw = cw;
  if (o.flags & Q7PACK_FILL_Y) sh = ch;

  // Each halving is truncated for itself, so an odd cell and an odd slave agree to the pixel wherever they lie.
  const int64_t centre_x = x + cw / 2 - sw / 2, centre_y = y + ch / 2 - sh / 2;
  const int64_t right = x + cw - sw, bottom = y + ch - sh;
  int64_t px = 0, py = 0, shift_x = 0, shift_y = 0;
  switch (o.anchor) {
    case Q7ANCHOR_CENTER: px = centre_x, py = centre_y; break;
    case Q7ANCHOR_TOP: px = centre_x, py = y; break;
    case Q7ANCHOR_TOP_RIGHT: px = right, py = y; break;
    case Q7ANCHOR_RIGHT: px = right, py = centre_y; break;
    case Q7ANCHOR_BOTTOM_RIGHT: px = right, py = bottom; break;
    case Q7ANCHOR_BOTTOM: px = centre_x, py = bottom; break;
    case Q7ANCHOR_BOTTOM_LEFT: px = x, py = bottom; break;
    case Q7ANCHOR_LEFT: px = x, py = centre_y; break;
    case Q7ANCHOR_TOP_LEFT: px = x, py = y; break;
    case Q7ANCHOR_ALIGNED:
      px = x, py = y;
      if (p.orientation == 0) {
        shift_x = int64_t{p.column} - record.client_x;
        px += shift_x;
        if (x + cw < px + sw) sw = cw - shift_x;
      } else {
        shift_y = int64_t{p.row} - record.client_y;
        py += shift_y;
        if (y + ch < py + sh) sh = ch - shift_y;
      }
      break;
    // Any other anchor means the corner of everything, whatever the cell: clients park slaves there.
    default: break;
  }
  return {{q7::narrow(std::max<int64_t>(px, 0)), q7::narrow(std::max<int64_t>(py, 0)), q7::narrow(sw), q7::narrow(sh)},
          q7::narrow(shift_x),
          q7::narrow(shift_y),
          q7::narrow(cw),
          q7::narrow(ch)};
}

Q7_HANDLER void q7pk_give_place(Q7Object *slave, const Place &place) {
  Q7TagItem list[] = {{Q7A_WIDGET_SHIFT_X, q7::arg(place.shift_x)},
                      {Q7A_WIDGET_SHIFT_Y, q7::arg(place.shift_y)},
                      {Q7A_WIDGET_X, q7::arg(place.box.x)},
                      {Q7A_WIDGET_Y, q7::arg(place.box.y)},
                      {Q7A_WIDGET_WIDTH, q7::arg(place.box.width)},
                      {Q7A_WIDGET_HEIGHT, q7::arg(place.box.height)},
                      {Q7TAG_END, 0}};
  q7::send(slave, Q7M_SET, 0, 0, list);
}

int64_t q7pk_sharers(const Packer &p) {
  int64_t n = 0;
  for (const Q7Node *node = p.slaves.head; node->succ; node = node->succ) {
    const auto &record = *reinterpret_cast<const SlaveRecord *>(node);
    n += record.slave && record.min_width && record.min_height && q7pk_takes_share(record, p.orientation);
  }
  return n;
}

// The frame lies around the shifted packer, so that aligned frames reach as far to the left as unaligned ones.
Q7_HANDLER void q7pk_place_frame(const Packer &p) {
  q7::set_rectangle(p.frame, q7::narrow(int64_t{p.x} - p.shift_x), q7::narrow(int64_t{p.y} - p.shift_y),
                    q7::narrow(int64_t{p.shift_x} + p.width), q7::narrow(int64_t{p.shift_y} + p.height));
}

// What makes a slave's coordinates relative to the frame's client area; 0, 0 without a frame.
struct Offset {
  int64_t x, y;
};
Q7_HANDLER Offset q7pk_frame_origin(const Packer &p) {
  if (!p.frame) return {0, 0};
  int32_t x = 0, y = 0;
  Q7TagItem ask[] = {{Q7A_WIDGET_CLIENT_X, q7::arg(&x)}, {Q7A_WIDGET_CLIENT_Y, q7::arg(&y)}, {Q7TAG_END, 0}};
  q7::send(p.frame, Q7M_GET, 0, 0, ask);
  return {int64_t{p.x} - p.shift_x + x, int64_t{p.y} - p.shift_y + y};
}

Q7_HANDLER uint64_t q7pk_layout(Packer &p, Q7Object *self) {
  q7::BusyGuard guard(p.busy, q7::kLayingOut);
  if (!guard || (p.flags & kHidden) || p.width == 0 || p.height == 0) return q7::arg(self);
  Offset origin = {0, 0};
  {
    const q7::Walk life(p.slaves);
    if (q7pk_is_stale(p)) q7pk_compute_size(p);
    if (life.valid() && p.frame) q7pk_place_frame(p);
    if (life.valid()) origin = q7pk_frame_origin(p);
    if (!life.valid()) {
      guard.abandon();
      return 0;
    }
  }

  const int64_t x0 = int64_t{p.x} + p.left, y0 = int64_t{p.y} + p.top;
  const int64_t w = int64_t{p.width} - p.left - p.right, h = int64_t{p.height} - p.top - p.bottom;
  int64_t ex = 0, ey = 0;
  if (const int64_t n = q7pk_sharers(p)) {
    if (p.orientation) {
      ex = std::max<int64_t>((w - (int64_t{p.computed_width} - p.left - p.right)) / n, 0);
    } else {
      ey = std::max<int64_t>((h - (int64_t{p.computed_height} - p.top - p.bottom)) / n, 0);
    }
  }
  int64_t x = x0, y = y0;
  q7::Walk walk(p.slaves);
  while (auto *record = walk.take<SlaveRecord>()) {
    if (record->min_width == 0 && record->min_height == 0) continue;
    const Options &o = record->options[p.orientation];
    const int64_t pad_x = o.pad_x, pad_y = o.pad_y;
    if (p.orientation) {
      y = y0;
    } else {
      x = x0;
    }
    x += pad_x;
    y += pad_y;
    Place place = q7pk_place(p, *record, x, y, w, h, ex, ey);
    place.box.x = q7::narrow(place.box.x - origin.x);
    place.box.y = q7::narrow(place.box.y - origin.y);
    if (p.orientation) {
      x += place.cell_width + pad_x;
    } else {
      y += place.cell_height + pad_y;
    }
    if (Q7Object *slave = record->slave) {
      q7pk_give_place(slave, place);
      if (walk.stands()) q7::send(slave, Q7M_WIDGET_LAYOUT);
    }
    if (!walk.valid()) {
      guard.abandon();
      return 0;
    }
  }
  return q7::arg(self);
}

// ---- Hit tests ----

Q7_HANDLER Q7Object *q7pk_hit(Packer &p, const Q7Point *point, bool within) {
  if (!point) return nullptr;
  const int32_t at = p.orientation ? point->x : point->y;
  Q7Object *found = nullptr;
  q7::Walk walk(p.slaves);
  while (auto *record = walk.take<SlaveRecord>()) {
    Q7Object *slave = record->slave;
    if (!slave) continue;
    int32_t start = 0, size = 0;
    Q7TagItem ask[] = {{p.orientation ? Q7A_WIDGET_X : Q7A_WIDGET_Y, q7::arg(&start)},
                       {p.orientation ? Q7A_WIDGET_WIDTH : Q7A_WIDGET_HEIGHT, q7::arg(&size)},
                       {Q7TAG_END, 0}};
    q7::send(slave, Q7M_GET, 0, 0, ask);
    if (!walk.valid()) return nullptr;
    const int64_t first = start, middle = first + size / 2, end = first + size;
    if (within ? first <= at && at < end : middle < at) found = slave;
  }
  return found;
}

// ---- Shown state ----

Q7_HANDLER void q7pk_show(Packer &p, Q7Object *self, bool on) {
  const bool shown = on && !(p.flags & kHidden) && q7::shown_by_master(self);
  q7::show_members<SlaveRecord>(p, shown, [](const SlaveRecord &) { return false; });
}

// ---- Attributes ----

void q7pk_set_flag(Packer &p, uint32_t flag, bool on) { p.flags = on ? p.flags | flag : p.flags & ~flag; }

// Room that is offered to the slaves; see the end of q7pk_set.
struct Room {
  int32_t width, height;
};

Q7_HANDLER bool q7pk_set_item(Q7Class *cl, Packer &p, Q7Object *self, const Q7TagItem &item, bool init, Room &room) {
  switch (item.tag) {
    case Q7A_WIDGET_X: p.x = q7::value<int32_t>(item); return true;
    case Q7A_WIDGET_Y: p.y = q7::value<int32_t>(item); return true;
    case Q7A_WIDGET_WIDTH: p.width = q7::value<int32_t>(item); return true;
    case Q7A_WIDGET_HEIGHT: p.height = q7::value<int32_t>(item); return true;
    case Q7A_WIDGET_ROOM_WIDTH: room.width = q7::value<int32_t>(item); return true;
    case Q7A_WIDGET_ROOM_HEIGHT: room.height = q7::value<int32_t>(item); return true;
    case Q7A_WIDGET_SHOWN:
      // The widget part first: nested managers ask this one whether it is shown.
      if (!init) q7::inherit_item(cl, self, Q7M_SET, item);
      q7pk_set_flag(p, kNotShown, !q7::flag(item));
      q7pk_show(p, self, q7::flag(item));
      return true;
    case Q7A_WIDGET_INHERITED:
    case Q7A_PACKER_ORIENTATION: {
      const int32_t orientation = q7::value<int32_t>(item) != 0;
      if (orientation != p.orientation && !init) q7pk_make_stale(p);
      p.orientation = orientation;
      p.kept_width = p.kept_height = 0;
      return true;
    }
    case Q7A_WIDGET_SHIFT_X: p.shift_x = q7::value<int32_t>(item); return true;
    case Q7A_WIDGET_SHIFT_Y: p.shift_y = q7::value<int32_t>(item); return true;
    case Q7A_GMANAGER_FRAME: q7::set_frame(p, q7::value<Q7Object *>(item)); return true;
    case Q7A_GMANAGER_HIDDEN:
      q7pk_set_flag(p, kHidden, q7::flag(item));
      q7pk_show(p, self, !(p.flags & kHidden));
      return true;
    case Q7A_GMANAGER_KEEP_SIZE: q7pk_set_flag(p, kKeepSize, q7::flag(item)); return true;
    case Q7A_GMANAGER_MAX_WIDTH: p.max_width = q7::value<int32_t>(item); return true;
    case Q7A_GMANAGER_MAX_HEIGHT: p.max_height = q7::value<int32_t>(item); return true;
    default: return false;
  }
}

Q7_HANDLER void q7pk_offer_room(Packer &p, Room room) {
  if (room.width <= 0 && room.height <= 0) return;
  Q7TagItem list[] = {
      {Q7A_WIDGET_ROOM_WIDTH, q7::arg(room.width)}, {Q7A_WIDGET_ROOM_HEIGHT, q7::arg(room.height)}, {Q7TAG_END, 0}};
  q7::BusyGuard guard(p.busy, q7::kVisiting);
  if (!guard) return;
  q7::Walk walk(p.slaves);
  while (auto *record = walk.take<SlaveRecord>()) {
    q7::send(record->slave, Q7M_SET, 0, 0, list);
    if (!walk.valid()) {
      guard.abandon();
      return;
    }
  }
}

Q7_HANDLER uint64_t q7pk_set(Q7Class *cl, Packer &p, Q7Object *self, Q7TagItem *tags) {
  Room room = {0, 0};
  const uint64_t unknown = q7::walk_items(
      cl, self, Q7M_SET, tags, [&](const Q7TagItem &item) { return q7pk_set_item(cl, p, self, item, false, room); });
  q7pk_offer_room(p, room);
  return unknown;
}

Q7_HANDLER uint64_t q7pk_get(Q7Class *cl, Packer &p, Q7Object *self, Q7TagItem *tags) {
  // One query costs one computation, however many sizes it asks for: nested packers would multiply them.
  bool computed = false;
  const auto fresh = [&]() -> Packer & {
    if (!computed) q7pk_compute_size(p);
    computed = true;
    return p;
  };
  return q7::walk_items(cl, self, Q7M_GET, tags, [&](const Q7TagItem &item) {
    switch (item.tag) {
      case Q7A_WIDGET_X: return q7::store<int32_t>(item, p.x);
      case Q7A_WIDGET_Y: return q7::store<int32_t>(item, p.y);
      case Q7A_WIDGET_WIDTH: return q7::store<int32_t>(item, p.width);
      case Q7A_WIDGET_HEIGHT: return q7::store<int32_t>(item, p.height);
      case Q7A_WIDGET_MIN_WIDTH: return q7::store<int32_t>(item, fresh().computed_width);
      case Q7A_WIDGET_MIN_HEIGHT: return q7::store<int32_t>(item, fresh().computed_height);
      case Q7A_WIDGET_CLIENT_X: return q7::store<int32_t>(item, fresh().column);
      case Q7A_WIDGET_CLIENT_Y: return q7::store<int32_t>(item, fresh().row);
      case Q7A_GMANAGER_HIDDEN: return q7::store<int32_t>(item, (p.flags & kHidden) != 0);
      case Q7A_GMANAGER_KEEP_SIZE: return q7::store<int32_t>(item, (p.flags & kKeepSize) != 0);
      case Q7A_GMANAGER_MAX_WIDTH: return q7::store<int32_t>(item, p.max_width);
      case Q7A_GMANAGER_MAX_HEIGHT: return q7::store<int32_t>(item, p.max_height);
      case Q7A_WIDGET_INHERITED:
      case Q7A_PACKER_ORIENTATION: return q7::store<int32_t>(item, p.orientation);
      case Q7A_PACKER_DATA: return q7::store<void *>(item, &p);
      default: return false;
    }
  });
}

// ---- Life ----

Q7_HANDLER uint64_t q7pk_new(Q7Class *cl, Q7Object *receiver, uint64_t a, uint64_t b, Q7TagItem *tags) {
  Room room = {0, 0};
  return q7::create<Packer>(
      cl, receiver, a, b, tags,
      [&](Packer &p, Q7Object *self, Q7TagItem &item) { return q7pk_set_item(cl, p, self, item, true, room); },
      [](Packer &p, Q7Object *) {
        Q7NewList(&p.slaves);
        Q7NewList(&p.strays);
        p.max_width = p.max_height = Q7_GMANAGER_NO_LIMIT;
        return true;
      });
}

void q7pk_release_all(Q7List &records) {
  while (records.head->succ) q7pk_release_record(reinterpret_cast<SlaveRecord *>(records.head));
}

Q7_HANDLER uint64_t q7pk_dispose(Q7Class *cl, Packer &p, Q7Object *self, uint64_t a, uint64_t b, Q7TagItem *tags) {
  q7pk_release_all(p.slaves);
  q7pk_release_all(p.strays);
  q7::Walk::ending(&p.slaves);
  q7::weak_drop(p.frame_link);
  Q7Object *frame = p.frame;
  p.frame = nullptr;
  q7::release_member(frame);
  return q7::inherit(cl, self, Q7M_DISPOSE, a, b, tags);
}

Q7_HANDLER uint64_t q7pk_for_each(Packer &p, uint64_t handler, uint64_t method, Q7TagItem *argument) {
  return q7::for_each_gadget<SlaveRecord>(p.slaves, p.busy, handler, method, argument);
}

uint64_t q7pk_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  // Messages to the class itself have no instance behind them.
  if (&obj->cl->header == obj && method != Q7M_NEW) return q7::inherit(cl, obj, method, a, b, tags);
  auto &p = q7::data<Packer>(cl, obj);
  switch (method) {
    case Q7M_NEW: return q7pk_new(cl, obj, a, b, tags);
    case Q7M_DISPOSE: return q7pk_dispose(cl, p, obj, a, b, tags);
    case Q7M_SET: return q7pk_set(cl, p, obj, tags);
    case Q7M_GET: return q7pk_get(cl, p, obj, tags);
    case Q7M_PACKER_FIRST:
      return p.slaves.head->succ ? q7::arg(reinterpret_cast<SlaveRecord *>(p.slaves.head)->slave) : 0;
    case Q7M_PACKER_SLAVE_BEFORE: return q7::arg(q7pk_hit(p, q7::slot_as<const Q7Point *>(tags), false));
    case Q7M_PACKER_SLAVE_AT: return q7::arg(q7pk_hit(p, q7::slot_as<const Q7Point *>(tags), true));
    case Q7M_PACKER_PACK: return q7pk_pack(obj, a, b, q7::slot_as<Q7Object *>(tags));
    case Q7M_GMANAGER_ADD: return q7pk_add(cl, p, obj, a, b, tags);
    case Q7M_GMANAGER_REMOVE: return q7pk_remove(cl, p, obj, a, b, tags);
    case Q7M_GMANAGER_FOR_EACH: return q7pk_for_each(p, a, b, tags);
    case Q7M_GMANAGER_SET_OPTIONS: return q7pk_set_options(p, obj, a, b, tags);
    case Q7M_GMANAGER_GET_OPTIONS: return q7pk_get_options(p, obj, a, b, tags);
    case Q7M_GMANAGER_LAYOUT:
    case Q7M_WIDGET_LAYOUT: return q7pk_layout(p, obj);
    default: return q7::inherit(cl, obj, method, a, b, tags);
  }
}

constexpr q7::ClassDef packer_class = {.id = Q7C_PACKER,
                                       .super = Q7C_GMANAGER,
                                       .name = "q7packer",
                                       .dispatch = q7pk_dispatch,
                                       .size = sizeof(Packer),
                                       .needs = Q7RegisterGmanagerClass};

}  // namespace

Q7Object *q7::packer_first_slave(Q7Object *packer) {
  auto *p = data_of<Packer>(packer, Q7C_PACKER);
  if (!p) return nullptr;
  for (Q7Node *node = p->slaves.head; node->succ; node = node->succ) {
    if (auto *slave = reinterpret_cast<SlaveRecord *>(node)->slave) return slave;
  }
  return nullptr;
}

int32_t Q7RegisterPackerClass(Q7App *app) { return q7::register_once(app, packer_class); }
