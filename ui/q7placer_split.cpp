// q7placer, splitters: the links between a splitter and its neighbours, how fractions give way beside one, and
// dragging. A slave that two splitters name as the same neighbour links back to the later one only, while both
// splitters keep moving it. Invariant: a link leads to a record of the same placer.
#include <initializer_list>

#include "ui/placer.hpp"

namespace {

using q7::Placer;
using q7::PlaceRecord;

void q7ps_link(Placer &p, PlaceRecord &splitter, Q7TagItem *tags, uint32_t tag, PlaceRecord *PlaceRecord::*side,
               PlaceRecord *PlaceRecord::*back) {
  auto *slave = q7::as<Q7Object *>(Q7TagVal(tags, tag, 0));
  auto *record = q7::find_record<PlaceRecord>(p.slaves, slave);
  if (!record || record == &splitter) return;
  splitter.*side = record;
  record->*back = &splitter;
}

// The same for widths and heights: which fields, and which of the two neighbours lies before (left, above).
struct Axis {
  int32_t PlaceRecord::*abs_size, PlaceRecord::*abs_place, PlaceRecord::*min_size;
  double PlaceRecord::*rel_size, PlaceRecord::*rel_place;
  PlaceRecord *PlaceRecord::*before, *PlaceRecord::*behind;
  int32_t Placer::*size;
};
constexpr Axis horizontal = {&PlaceRecord::abs_width, &PlaceRecord::abs_x, &PlaceRecord::min_width,
                             &PlaceRecord::rel_width, &PlaceRecord::rel_x, &PlaceRecord::left,
                             &PlaceRecord::right,     &Placer::width};
constexpr Axis vertical = {&PlaceRecord::abs_height, &PlaceRecord::abs_y, &PlaceRecord::min_height,
                           &PlaceRecord::rel_height, &PlaceRecord::rel_y, &PlaceRecord::top,
                           &PlaceRecord::bottom,     &Placer::height};

// How much a's fraction grows: what it lacks plus half a splitter when both keep more than their minimum, else what
// shares the room in proportion to the minimums. `skip_test`: nothing is known about b yet.
double q7ps_growth(const Placer &p, const PlaceRecord &a, const PlaceRecord &b, const Axis &axis, bool skip_test) {
  const double size = p.*axis.size;
  const double d = (q7::splitter_size * 0.5) / size + a.*axis.abs_size / size - a.*axis.rel_size;
  const bool a_fits = (a.*axis.rel_size + d) * size > a.*axis.min_size;
  const bool b_fits = skip_test || (b.*axis.rel_size - d) * size > b.*axis.min_size;
  if (a_fits && b_fits) return d;
  const double all = static_cast<double>(a.*axis.min_size) + b.*axis.min_size + q7::splitter_size;
  return all == 0 ? 0 : a.*axis.min_size / all - a.*axis.rel_size;
}

void q7ps_rescale(const Placer &p, PlaceRecord &a, const Axis &axis) {
  if (PlaceRecord *splitter = a.*axis.behind; splitter && splitter->*axis.behind) {
    PlaceRecord &b = *(splitter->*axis.behind);
    const double d = q7ps_growth(p, a, b, axis, false);
    a.*axis.rel_size += d;
    b.*axis.rel_place += d;
    b.*axis.rel_size -= d;
  } else if (PlaceRecord *other = a.*axis.before; other && other->*axis.before) {
    PlaceRecord &b = *(other->*axis.before);
    // Above, and only there, a neighbour that this computation has not come to yet is not asked for its minimum: it
    // comes first in most dialogs, and its turn follows.
    const bool skip_test = &axis == &vertical && !(b.flags & q7::kSized);
    const double d = q7ps_growth(p, a, b, axis, skip_test);
    a.*axis.rel_size += d;
    a.*axis.rel_place -= d;
    b.*axis.rel_size -= d;
  }
}

int64_t q7ps_pixels(const PlaceRecord &r, const Axis &axis, double size) {
  return q7::round_up_half(r.*axis.rel_size * size);
}

// Step 1: the slave before the splitter keeps its minimum.
int64_t q7ps_limit_before(const PlaceRecord &r, const Axis &axis, double size, int64_t d) {
  const int64_t min = r.*axis.min_size, half = q7::splitter_size / 2;
  if (r.*axis.rel_size < 0) {
    const int64_t abs = r.*axis.abs_size;
    return abs > 0 && d + abs <= min ? min - abs : d;
  }
  const int64_t pixels = q7ps_pixels(r, axis, size);
  if (static_cast<double>(d) / size + r.*axis.rel_size <= 0 || d + pixels - half <= min) return min - pixels + half;
  return d;
}

// Step 2: so does the one behind it. Below a splitter an absolute height is held against the minimum of the slave
// above: that keeps a fixed lower pane at least as high as the pane that it gives room to.
int64_t q7ps_limit_behind(const PlaceRecord &r, const PlaceRecord &before, const Axis &axis, double size, int64_t d) {
  const int64_t half = q7::splitter_size / 2;
  if (r.*axis.rel_size < 0) {
    const int64_t min = (&axis == &vertical ? before : r).*axis.min_size;
    const int64_t abs = r.*axis.abs_size;
    return abs > 0 && abs - d <= min ? abs - min : d;
  }
  const int64_t min = r.*axis.min_size;
  const int64_t pixels = q7ps_pixels(r, axis, size);
  if (r.*axis.rel_size - static_cast<double>(d) / size <= 0 || pixels - d - half <= min) return pixels - half - min;
  return d;
}

// Step 3. Above a splitter both the absolute and the relative height grow, when they are positive; left of one it is
// the one or the other.
void q7ps_apply(PlaceRecord &before, PlaceRecord &behind, const Axis &axis, double size, int64_t d) {
  const double fraction = static_cast<double>(d) / size;
  const auto grow = [d](int32_t &field, int sign) { field = q7::narrow(field + sign * d); };
  if (&axis == &vertical) {
    if (before.*axis.rel_size > 0) before.*axis.rel_size += fraction;
    if (before.*axis.abs_size > 0) grow(before.*axis.abs_size, 1);
  } else if (before.*axis.rel_size >= 0) {
    before.*axis.rel_size += fraction;
  } else {
    grow(before.*axis.abs_size, 1);
  }
  if (behind.*axis.abs_place >= 0) grow(behind.*axis.abs_place, 1);
  if (behind.*axis.abs_size > 0) grow(behind.*axis.abs_size, -1);
  if (behind.*axis.rel_place >= 0) behind.*axis.rel_place += fraction;
  if (behind.*axis.rel_size > 0) behind.*axis.rel_size -= fraction;
}

int64_t q7ps_move(const Placer &p, PlaceRecord &before, PlaceRecord &behind, const Axis &axis, int64_t d) {
  const double size = p.*axis.size;
  d = q7ps_limit_before(before, axis, size, d);
  d = q7ps_limit_behind(behind, before, axis, size, d);
  q7ps_apply(before, behind, axis, size, d);
  return d;
}

}  // namespace

void q7::link_neighbours(Placer &p, PlaceRecord &splitter, Q7TagItem *tags) {
  q7ps_link(p, splitter, tags, Q7A_PLACER_LEFT, &PlaceRecord::left, &PlaceRecord::right);
  q7ps_link(p, splitter, tags, Q7A_PLACER_RIGHT, &PlaceRecord::right, &PlaceRecord::left);
  q7ps_link(p, splitter, tags, Q7A_PLACER_TOP, &PlaceRecord::top, &PlaceRecord::bottom);
  q7ps_link(p, splitter, tags, Q7A_PLACER_BOTTOM, &PlaceRecord::bottom, &PlaceRecord::top);
}

void q7::unlink_neighbours(Placer &p, const PlaceRecord &record) {
  for (Q7Node *node = p.slaves.head; node->succ; node = node->succ) {
    auto &other = *reinterpret_cast<PlaceRecord *>(node);
    for (PlaceRecord *PlaceRecord::*side :
         {&PlaceRecord::left, &PlaceRecord::right, &PlaceRecord::top, &PlaceRecord::bottom}) {
      if (other.*side == &record) other.*side = nullptr;
    }
  }
}

void q7::rescale_width(const Placer &p, PlaceRecord &record) { q7ps_rescale(p, record, horizontal); }
void q7::rescale_height(const Placer &p, PlaceRecord &record) { q7ps_rescale(p, record, vertical); }

uint64_t q7::splitter_dragged(Placer &p, Q7Object *self, uint64_t code, Q7Object *splitter) {
  if (as<int32_t>(code) != Q7_SPLITTER_DRAGGED || p.width == 0 || p.height == 0) return 0;
  auto *record = find_record<PlaceRecord>(p.slaves, splitter);
  if (!record) return 0;
  const auto dragged = get_attribute<int32_t>(splitter, Q7_SPLITTER_DRAGGED);
  record = find_record<PlaceRecord>(p.slaves, splitter);
  if (!record) return 0;
  int64_t moved = 0;
  if (record->left && record->right) {
    moved = q7ps_move(p, *record->left, *record->right, horizontal, dragged);
  } else if (record->top && record->bottom) {
    moved = q7ps_move(p, *record->top, *record->bottom, vertical, dragged);
  } else {
    return 0;
  }
  send(self, Q7M_WIDGET_LAYOUT);
  return arg(narrow(moved));
}
