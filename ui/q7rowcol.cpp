// q7rowcol: the row-column class: makes the rows, decides which row a slave goes to, and rebuilds. Everything else is
// the packer's. Invariant: the packer part has the opposite orientation of the rows.
#include "ui/q7rowcol.h"

#include <cstdio>

#include "core/q7memory.h"
#include "core/q7root.h"
#include "core/report.hpp"
#include "ui/manager.hpp"

namespace {

constexpr char kModule[] = "q7rowcol";

struct RowCol {
  int32_t orientation;   // 22500: direction of each row
  int32_t per_row;       // 23500
  Q7Object *row;         // being filled, or null
  int32_t row_count;     // slaves in it
  int32_t row_size;      // sum of their sizes along the row
  int32_t counter;       // of the next row's name
  int32_t width_limit;   // 41507: while the orientation is 1
  int32_t height_limit;  // 41508: while it is 0
  // Not attributes.
  q7::WeakField row_link;
  int32_t rebuilding;
};

constexpr uint32_t option_tags[6] = {Q7A_PACKER_FLAGS, Q7A_PACKER_ANCHOR,  Q7A_PACKER_PAD_X,
                                     Q7A_PACKER_PAD_Y, Q7A_PACKER_INNER_X, Q7A_PACKER_INNER_Y};

// A slave on its way from an old row to a new one.
struct Moved {
  Q7Node node;
  Q7Object *slave;
  int32_t options[6];
};

// ---- Adding ----

bool q7rc_fits(const RowCol &r, int32_t size) {
  if (!r.row || r.per_row < 0) return r.row != nullptr;
  if (r.per_row > 0) return r.row_count < r.per_row;
  return int64_t{r.row_size} + size <= (r.orientation ? r.width_limit : r.height_limit);
}

Q7Object *q7rc_make_row(const RowCol &r) {
  char name[16];
  std::snprintf(name, sizeof name, "row%d", static_cast<int>(r.counter));
  Q7TagItem list[] = {{Q7A_PACKER_ORIENTATION, q7::arg(r.orientation)}, {Q7A_NAME, q7::arg(&name[0])}, {Q7TAG_END, 0}};
  return q7::as<Q7Object *>(q7::send(Q7ClassFind(Q7C_PACKER), Q7M_NEW, 0, 0, list));
}

// Rows fill the room across and begin at their left or upper edge.
Q7_HANDLER bool q7rc_start_row(Q7Class *cl, RowCol &r, Q7Object *self) {
  Q7Object *row = q7rc_make_row(r);
  if (!row) {
    Q7_REPORT_ERROR(kModule, "Cannot create new packer");
    return false;
  }
  r.counter = q7::narrow(int64_t{r.counter} + 1);
  Q7TagItem list[] = {{Q7A_GMANAGER_SLAVE, q7::arg(row)},
                      {Q7A_PACKER_FLAGS, Q7PACK_FILL_X | Q7PACK_FILL_Y},
                      {Q7A_PACKER_ANCHOR, r.orientation ? Q7ANCHOR_TOP : Q7ANCHOR_LEFT},
                      {Q7TAG_END, 0}};
  if (!q7::inherit(cl, self, Q7M_GMANAGER_ADD, 0, 0, list)) {
    q7::send(row, Q7M_DISPOSE);
    return false;
  }
  r.row_link.assign(r.row, row);
  r.row_count = r.row_size = 0;
  return true;
}

Q7_HANDLER uint64_t q7rc_add(Q7Class *cl, RowCol &r, Q7Object *self, uint64_t a, uint64_t b, Q7TagItem *tags) {
  Q7Object *slave = q7::slave_tag(tags);
  if (slave == self) return 0;
  const auto size = q7::get_attribute<int32_t>(slave, r.orientation ? Q7A_WIDGET_MIN_WIDTH : Q7A_WIDGET_MIN_HEIGHT);
  if (!q7rc_fits(r, size) && !q7rc_start_row(cl, r, self)) return 0;
  const uint64_t answer = q7::send(r.row, Q7M_GMANAGER_ADD, a, b, tags);
  if (!answer) return 0;
  ++r.row_count;
  r.row_size = q7::narrow(int64_t{r.row_size} + size);
  return answer;
}

void q7rc_forget_row(RowCol &r) {
  r.row_link.drop();
  r.row = nullptr;
}

Q7_HANDLER uint64_t q7rc_remove(Q7Class *cl, RowCol &r, Q7Object *self, uint64_t a, uint64_t b, Q7TagItem *tags) {
  // A row that was taken out is not filled any further.
  if (r.row && q7::slave_tag(tags) == r.row) q7rc_forget_row(r);
  return q7::inherit(cl, self, Q7M_GMANAGER_REMOVE, a, b, tags);
}

// ---- Rebuilding ----

bool q7rc_take_out(Q7Class *cl, Q7Object *manager, Q7Object *slave) {
  Q7TagItem list[2] = {{Q7A_GMANAGER_SLAVE, q7::arg(slave)}, {Q7TAG_END, 0}};
  return (cl ? q7::inherit(cl, manager, Q7M_GMANAGER_REMOVE, 0, 0, list)
             : q7::send(manager, Q7M_GMANAGER_REMOVE, 0, 0, list)) != 0;
}

// Takes a slave out of its row; false when the row does not let go.
bool q7rc_move_out(Q7Object *row, Q7Object *slave, Q7List &moved) {
  auto *m = static_cast<Moved *>(Q7AllocMem(sizeof(Moved), Q7MEM_CLEAR));
  if (m) {
    m->slave = slave;
    q7::add_reference(slave);
    Q7TagItem list[8] = {{Q7A_GMANAGER_SLAVE, q7::arg(slave)}};
    for (int i = 0; i < 6; ++i) list[i + 1] = {option_tags[i], q7::arg(&m->options[i])};
    list[7] = {Q7TAG_END, 0};
    q7::send(row, Q7M_GMANAGER_GET_OPTIONS, 0, 0, list);
    Q7AddTail(&moved, &m->node);
  }
  return q7rc_take_out(nullptr, row, slave);
}

void q7rc_move_in(Q7Object *self, Moved *m) {
  Q7TagItem list[8] = {{Q7A_GMANAGER_SLAVE, q7::arg(m->slave)}};
  for (int i = 0; i < 6; ++i) list[i + 1] = {option_tags[i], q7::arg(m->options[i])};
  list[7] = {Q7TAG_END, 0};
  q7::send(self, Q7M_GMANAGER_ADD, 0, 0, list);
  q7::release(m->slave);
  Q7FreeMem(m, sizeof(Moved));
}

Q7_HANDLER uint64_t q7rc_rebuild(Q7Class *cl, RowCol &r, Q7Object *self) {
  if (r.rebuilding) return q7::arg(self);
  r.rebuilding = 1;
  Q7List moved;
  Q7NewList(&moved);
  // The first slave that is not null: a record without a slave cannot be taken out and goes with its row.
  while (Q7Object *row = q7::packer_first_slave(self)) {
    while (Q7Object *slave = q7::packer_first_slave(row)) {
      if (!q7rc_move_out(row, slave, moved)) break;
    }
    if (!q7rc_take_out(cl, self, row)) break;
  }
  q7rc_forget_row(r);
  while (Q7Node *node = Q7RemHead(&moved)) q7rc_move_in(self, reinterpret_cast<Moved *>(node));
  r.rebuilding = 0;
  return q7::arg(self);
}

// ---- Attributes ----

void q7rc_orient_packer(Q7Class *cl, const RowCol &r, Q7Object *self) {
  q7::inherit_item(cl, self, Q7M_SET, {Q7A_PACKER_ORIENTATION, q7::arg(r.orientation ? 0 : 1)});
}

// Stores a value; true when it changed.
bool q7rc_change(int32_t &field, int32_t value) {
  const bool changed = field != value;
  field = value;
  return changed;
}

bool q7rc_set_item(Q7Class *cl, RowCol &r, Q7Object *self, const Q7TagItem &item, bool init) {
  const auto value = q7::value<int32_t>(item);
  bool rebuild = false;
  switch (item.tag) {
    case Q7A_WIDGET_INHERITED:
    case Q7A_PACKER_ORIENTATION:
      rebuild = q7rc_change(r.orientation, value != 0);
      if (rebuild && !init) q7rc_orient_packer(cl, r, self);
      break;
    case Q7A_ROWCOL_PER_ROW: rebuild = q7rc_change(r.per_row, value); break;
    case Q7A_WIDGET_ROOM_WIDTH: rebuild = q7rc_change(r.width_limit, value) && r.per_row == 0; break;
    case Q7A_WIDGET_ROOM_HEIGHT: rebuild = q7rc_change(r.height_limit, value) && r.per_row == 0; break;
    default: return false;
  }
  if (rebuild && !init) q7rc_rebuild(cl, r, self);
  return true;
}

Q7_HANDLER uint64_t q7rc_set(Q7Class *cl, RowCol &r, Q7Object *self, Q7TagItem *tags) {
  return q7::walk_items(cl, self, Q7M_SET, tags,
                        [&](const Q7TagItem &item) { return q7rc_set_item(cl, r, self, item, false); });
}

// What is the packer's goes there in pieces of many items: each piece costs a computation of the size, and one for
// every item would multiply from level to level.
Q7_HANDLER uint64_t q7rc_get(Q7Class *cl, const RowCol &r, Q7Object *self, Q7TagItem *tags) {
  constexpr int kPiece = 12;
  Q7TagItem piece[kPiece + 1];
  Q7TagItem *origin[kPiece];
  int count = 0;
  uint64_t unknown = 0;
  const auto pass_on = [&] {
    if (count == 0) return;
    piece[count] = {Q7TAG_END, 0};
    auto *answer = q7::as<Q7TagItem *>(q7::inherit(cl, self, Q7M_GET, 0, 0, piece));
    if (answer) unknown = q7::arg(answer >= piece && answer < piece + count ? origin[answer - piece] : answer);
    count = 0;
  };
  for (Q7TagItem &item : q7::tags(tags)) {
    switch (item.tag) {
      case Q7A_WIDGET_INHERITED:
      case Q7A_PACKER_ORIENTATION: q7::store<int32_t>(item, r.orientation); continue;
      case Q7A_ROWCOL_PER_ROW: q7::store<int32_t>(item, r.per_row); continue;
      default: break;
    }
    origin[count] = &item;
    piece[count++] = item;
    if (count == kPiece) pass_on();
  }
  pass_on();
  return unknown;
}

// ---- Life ----

Q7_HANDLER uint64_t q7rc_new(Q7Class *cl, Q7Object *receiver, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto *self =
      q7::as<Q7Object *>(q7::create<RowCol>(cl, receiver, a, b, tags, [cl](RowCol &r, Q7Object *obj, Q7TagItem &item) {
        return q7rc_set_item(cl, r, obj, item, true);
      }));
  if (self) q7rc_orient_packer(cl, q7::data<RowCol>(cl, self), self);
  return q7::arg(self);
}

uint64_t q7rc_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  // Messages to the class itself have no instance behind them.
  if (&obj->cl->header == obj && method != Q7M_NEW) return q7::inherit(cl, obj, method, a, b, tags);
  auto &r = q7::data<RowCol>(cl, obj);
  switch (method) {
    case Q7M_NEW: return q7rc_new(cl, obj, a, b, tags);
    case Q7M_DISPOSE: q7rc_forget_row(r); return q7::inherit(cl, obj, method, a, b, tags);
    case Q7M_SET: return q7rc_set(cl, r, obj, tags);
    case Q7M_GET: return q7rc_get(cl, r, obj, tags);
    case Q7M_ROWCOL_REBUILD: return q7rc_rebuild(cl, r, obj);
    case Q7M_GMANAGER_ADD: return q7rc_add(cl, r, obj, a, b, tags);
    case Q7M_GMANAGER_REMOVE: return q7rc_remove(cl, r, obj, a, b, tags);
    default: return q7::inherit(cl, obj, method, a, b, tags);
  }
}

constexpr q7::ClassDef rowcol_class = {.id = Q7C_ROWCOL,
                                       .super = Q7C_PACKER,
                                       .name = "q7rowcol",
                                       .dispatch = q7rc_dispatch,
                                       .size = sizeof(RowCol),
                                       .needs = Q7RegisterPackerClass};

}  // namespace

int32_t Q7RegisterRowColClass(Q7App *app) { return q7::register_once(app, rowcol_class); }
