// Random trees of packers and random placers, compared with a second, plain computation of the same rules.
#include <algorithm>
#include <cmath>
#include <memory>
#include <random>

#include "tests/ui/ui_test.h"

using namespace uitest;

namespace {

using Random = std::mt19937;
int pick(Random &r, int low, int high) { return low + static_cast<int>(r() % static_cast<unsigned>(high - low + 1)); }
bool chance(Random &r, int percent) { return pick(r, 1, 100) <= percent; }

// ---- Packers ----

struct Frame {
  Q7Object *object = nullptr;
  int left = 0, top = 0, right = 0, bottom = 0, cx = 0, cy = 0, min = 0;
  Rect rect{};
};

// A leaf or a packer, and how it stands in its parent.
struct Model {
  Q7Object *object = nullptr;
  bool leaf = true;
  int flags = 0, anchor = 0, px = 0, py = 0, ix = 0, iy = 0;  // options
  int min_w = 0, min_h = 0, cx = 0, cy = 0;                   // what a parent reads
  bool stretch[2] = {true, true};
  // A packer's own.
  int orientation = 0;
  bool hidden = false, keep = false;
  int max_w = 16777215, max_h = 16777215, kept_w = 0, kept_h = 0, shift_x = 0, shift_y = 0;
  Frame frame;
  std::vector<std::unique_ptr<Model>> slaves;
  Rect rect{};  // what it is expected to have been given
};

void keep_one(int &size, int &kept, int max) {
  if (size < kept && kept < max) {
    size = kept;
  } else {
    kept = size;
  }
}

void measure(Model &m) {
  if (m.leaf) return;
  for (auto &s : m.slaves) measure(*s);
  m.min_w = m.min_h = m.cx = m.cy = 0;
  if (m.hidden) return;
  // Along the stack the sizes add up; across it the widest counts, or the aligned ones with their common origin, as far
  // as that is known when their turn comes.
  int along = 0, across = 0, right_of_origin = 0;
  const bool down = m.orientation == 0;
  for (auto &s : m.slaves) {
    const int w = s->min_w + 2 * (s->px + s->ix), h = s->min_h + 2 * (s->py + s->iy);
    int &origin_across = down ? m.cx : m.cy;
    int &origin_along = down ? m.cy : m.cx;
    const int own_across = down ? s->cx : s->cy, own_along = down ? s->cy : s->cx;
    if (origin_along == 0) origin_along = std::max(own_along, 0);
    origin_across = std::max(origin_across, own_across);
    if (s->anchor == 9) {
      right_of_origin =
          std::max(right_of_origin, down ? s->min_w - s->cx + s->ix + s->px : s->min_h - s->cy + s->iy + s->py);
    }
    along += down ? h : w;
    across = std::max({across, down ? w : h, origin_across + right_of_origin});
  }
  m.min_w = down ? across : along;
  m.min_h = down ? along : across;
  m.min_w += m.frame.left + m.frame.right;
  m.min_h += m.frame.top + m.frame.bottom;
  if (m.keep) {
    keep_one(m.min_h, m.kept_h, m.max_h);
    keep_one(m.min_w, m.kept_w, m.max_w);
  }
  if (m.frame.object) m.min_w = std::max(m.min_w, m.frame.min);
}

// Where something of `size` lies in a cell, by one letter: low edge, middle, high edge.
int at(char where, int start, int cell, int size) {
  switch (where) {
    case 'l': return start;
    case 'h': return start + cell - size;
    default: return start + cell / 2 - size / 2;
  }
}

void arrange(Model &m, Rect given) {
  m.rect = given;
  if (m.leaf || m.hidden || given.width == 0 || given.height == 0) return;
  const int fx = given.x - m.shift_x, fy = given.y - m.shift_y;
  m.frame.rect = {fx, fy, m.shift_x + given.width, m.shift_y + given.height};
  const bool down = m.orientation == 0;
  const int left = given.x + m.frame.left, top = given.y + m.frame.top;
  const int room_w = given.width - m.frame.left - m.frame.right, room_h = given.height - m.frame.top - m.frame.bottom;
  int sharers = 0;
  for (auto &s : m.slaves) sharers += s->min_w != 0 && s->min_h != 0 && (s->flags & 1) && s->stretch[m.orientation];
  int share = 0;
  if (sharers) share = (down ? given.height - m.min_h : given.width - m.min_w) / sharers;
  share = std::max(share, 0);
  int pen = down ? top : left;
  static const char *columns = "mmhhhmlll", *rows = "mllmhhhml";
  for (auto &s : m.slaves) {
    if (s->min_w == 0 && s->min_h == 0) continue;
    int w = s->min_w + 2 * s->ix, h = s->min_h + 2 * s->iy;
    const int extra = (s->flags & 1) && s->stretch[m.orientation] ? share : 0;
    const int cell_w = down ? room_w - 2 * s->px : w + extra, cell_h = down ? h + extra : room_h - 2 * s->py;
    const int cell_x = (down ? left : pen) + s->px, cell_y = (down ? pen : top) + s->py;
    if (s->flags & 2) w = cell_w;
    if (s->flags & 4) h = cell_h;
    int x = 0, y = 0, sx = 0, sy = 0;
    if (s->anchor >= 0 && s->anchor <= 8) {
      x = at(columns[s->anchor], cell_x, cell_w, w);
      y = at(rows[s->anchor], cell_y, cell_h, h);
    } else if (s->anchor == 9) {
      sx = down ? m.cx - s->cx : 0;
      sy = down ? 0 : m.cy - s->cy;
      x = cell_x + sx;
      y = cell_y + sy;
      if (down && sx + w > cell_w) w = cell_w - sx;
      if (!down && sy + h > cell_h) h = cell_h - sy;
    }
    x = std::max(x, 0);
    y = std::max(y, 0);
    if (m.frame.object) {
      x -= fx + m.frame.cx;
      y -= fy + m.frame.cy;
    }
    s->shift_x = sx;
    s->shift_y = sy;
    arrange(*s, {x, y, w, h});
    pen += down ? cell_h + 2 * s->py : cell_w + 2 * s->px;
  }
}

void randomize_leaf(Model &m, Random &r) {
  m.min_w = chance(r, 10) ? 0 : pick(r, 1, 60);
  m.min_h = chance(r, 10) ? 0 : pick(r, 1, 60);
  m.cx = chance(r, 50) ? 0 : pick(r, -5, 30);
  m.cy = chance(r, 50) ? 0 : pick(r, -5, 30);
  probe(m.object).attributes = {{41505, m.min_w}, {41506, m.min_h},      {41509, m.cx},
                                {41510, m.cy},    {41556, m.stretch[0]}, {41557, m.stretch[1]}};
}

std::unique_ptr<Model> grow(Random &r, int depth) {
  auto m = std::make_unique<Model>();
  m->leaf = depth == 0 || (depth < 3 && chance(r, 40));
  m->flags = pick(r, 0, 7);
  m->anchor = chance(r, 30) ? 9 : pick(r, 0, 10);
  for (int *pad : {&m->px, &m->py, &m->ix, &m->iy}) *pad = chance(r, 50) ? 0 : pick(r, 0, 7);
  if (m->leaf) {
    m->object = make(kProbeWidget);
    for (bool &stretch : m->stretch) stretch = chance(r, 80);
    randomize_leaf(*m, r);
    return m;
  }
  m->orientation = pick(r, 0, 1);
  m->hidden = depth < 3 && chance(r, 10);
  m->keep = chance(r, 30);
  if (chance(r, 30)) m->max_w = pick(r, 1, 200);
  if (chance(r, 30)) m->max_h = pick(r, 1, 200);
  m->object = make(22, {{22500, num(m->orientation)},
                        {24502, num(m->hidden)},
                        {24503, num(m->keep)},
                        {24504, num(m->max_w)},
                        {24505, num(m->max_h)}});
  if (chance(r, 30)) {
    Frame &f = m->frame;
    f.object = make(kProbeWidget);
    f = {f.object,
         pick(r, 0, 9),
         pick(r, 0, 9),
         pick(r, 0, 9),
         pick(r, 0, 9),
         pick(r, 0, 5),
         pick(r, 0, 5),
         chance(r, 50) ? 0 : pick(r, 1, 150),
         {}};
    probe(f.object).attributes = {{41522, f.left}, {41523, f.top}, {41524, f.right}, {41525, f.bottom},
                                  {41509, f.cx},   {41510, f.cy},  {41505, f.min}};
    set(m->object, {{24501, num(f.object)}});
  }
  for (int n = pick(r, 1, 5); n > 0; --n) {
    m->slaves.push_back(grow(r, depth - 1));
    const Model &s = *m->slaves.back();
    list_message(m->object, 24000,
                 {{24500, num(s.object)},
                  {22501, num(s.flags)},
                  {22502, num(s.anchor)},
                  {22503, num(s.px)},
                  {22504, num(s.py)},
                  {22505, num(s.ix)},
                  {22506, num(s.iy)}});
  }
  return m;
}

void change(Model &m, Random &r) {
  if (m.leaf && chance(r, 50)) randomize_leaf(m, r);
  for (auto &s : m.slaves) change(*s, r);
}

void compare(const Model &m) {
  EXPECT_EQ(rect(m.object), m.rect);
  if (m.leaf || m.hidden || m.rect.width == 0 || m.rect.height == 0) return;
  if (m.frame.object) {
    EXPECT_EQ(rect(m.frame.object), m.frame.rect);
  }
  for (const auto &s : m.slaves) compare(*s);
}

// What nobody has placed stays where it was; start from the same zero everywhere.
void forget_rects(Model &m) {
  m.rect = {};
  set_rect(m.object, m.rect);
  for (auto &s : m.slaves) forget_rects(*s);
}

class LayoutProperty : public UiTest {};

TEST_F(LayoutProperty, PackersAgreeWithAPlainComputation) {
  for (unsigned seed = 1; seed <= 3000 && !HasFailure(); ++seed) {
    SCOPED_TRACE(seed);
    Random r(seed);
    auto root = grow(r, 3);
    for (int round = 0; round < 3; ++round) {
      forget_rects(*root);
      measure(*root);
      EXPECT_EQ(get(root->object, 41505), root->min_w);
      EXPECT_EQ(get(root->object, 41506), root->min_h);
      EXPECT_EQ(get(root->object, 41509), root->cx);
      EXPECT_EQ(get(root->object, 41510), root->cy);
      const Rect given = {pick(r, -20, 50), pick(r, -20, 50), pick(r, 0, 400), pick(r, 0, 400)};
      set_rect(root->object, given);
      message(root->object, 41000);
      arrange(*root, given);
      compare(*root);
      change(*root, r);
    }
    Q7ObjectDelete(root->object);
  }
  EXPECT_EQ(instances(41), 0u);
}

// ---- Placers ----

// Fractions and pixels of one direction.
struct Part {
  double rel_size = 0, rel_at = 0;
  int abs_size = -1, abs_at = -1, min = 0;
  bool given = false;
};
struct Slave {
  Q7Object *object = nullptr;
  Part part[2];                                    // 0: horizontal, 1: vertical
  int before[2] = {-1, -1}, behind[2] = {-1, -1};  // indices of neighbours
  bool splitter = false, sized = false;
  Rect rect{};
};
struct PlacerModel {
  Q7Object *object = nullptr;
  std::vector<Slave> slaves;
  int x = 0, y = 0, size[2] = {0, 0}, natural[2] = {0, 0}, kept[2] = {0, 0}, s = 6;
  bool keep = false, laid_out = false;
};

void give_way(PlacerModel &m, Slave &a, int axis) {
  Part &pa = a.part[axis];
  const double size = m.size[axis];
  double d = (m.s * 0.5) / size + pa.abs_size / size - pa.rel_size;
  const auto finish = [&](Slave &b, bool test_b) {
    Part &pb = b.part[axis];
    bool enough = (pa.rel_size + d) * size > pa.min;
    if (test_b) enough = enough && (pb.rel_size - d) * size > pb.min;
    if (!enough) d = pa.min / static_cast<double>(pa.min + pb.min + m.s) - pa.rel_size;
  };
  const int behind = a.behind[axis], before = a.before[axis];
  if (behind >= 0 && m.slaves[behind].behind[axis] >= 0) {
    Slave &b = m.slaves[m.slaves[behind].behind[axis]];
    finish(b, true);
    pa.rel_size += d;
    b.part[axis].rel_at += d;
    b.part[axis].rel_size -= d;
  } else if (before >= 0 && m.slaves[before].before[axis] >= 0) {
    Slave &b = m.slaves[m.slaves[before].before[axis]];
    finish(b, axis == 0 || b.sized);
    pa.rel_size += d;
    pa.rel_at -= d;
    b.part[axis].rel_size -= d;
  }
}

void measure(PlacerModel &m) {
  bool rigid[2];
  for (int axis : {0, 1}) {
    rigid[axis] = m.laid_out && m.natural[axis] > 0 && m.size[axis] > 0;
    m.natural[axis] = 0;
  }
  for (Slave &s : m.slaves) s.sized = false;
  for (Slave &s : m.slaves) {
    for (int axis : {0, 1}) {
      Part &p = s.part[axis];
      p.min = get(s.object, axis ? 41506 : 41505);
      if (!p.given) p.abs_size = p.min;
      m.natural[axis] = std::max(m.natural[axis], p.abs_at + p.abs_size);
    }
    // Sizes of both directions first, then places.
    for (int kind : {0, 1}) {
      for (int axis : {0, 1}) {
        Part &p = s.part[axis];
        const auto fraction = [&] { return kind ? 1 - p.rel_at : p.rel_size; };
        if (kind ? !(p.rel_at > 0 && p.rel_at < 1) : !(p.rel_size > 0)) continue;
        if (m.size[axis] < p.abs_size / fraction() && rigid[axis]) give_way(m, s, axis);
        if (fraction() > 0) {
          m.natural[axis] = std::max(m.natural[axis], static_cast<int>(p.abs_size / fraction()));
        }
      }
    }
    for (int axis : {0, 1}) {
      if (s.splitter && s.before[axis] >= 0 && s.behind[axis] >= 0) m.natural[axis] += m.s;
    }
    s.sized = true;
  }
  for (int axis : {0, 1}) {
    if (m.keep) {
      m.natural[axis] = m.kept[axis] = std::max(m.natural[axis], m.kept[axis]);
    } else if (m.kept[axis] == 0) {
      m.kept[axis] = m.natural[axis];
    }
  }
}

void arrange(PlacerModel &m) {
  if (!m.size[0] || !m.size[1]) return;
  m.laid_out = true;
  for (Slave &s : m.slaves) {
    if (s.splitter) continue;
    int start[2], length[2];
    for (int axis : {0, 1}) {
      const Part &p = s.part[axis];
      const int corner = axis ? m.y : m.x;
      start[axis] = p.rel_at >= 0 ? static_cast<int>(m.size[axis] * p.rel_at + corner + 0.5) : p.abs_at + corner;
      length[axis] = p.rel_size >= 0 ? static_cast<int>(m.size[axis] * p.rel_size + 0.5) : p.abs_size;
    }
    for (int axis : {0, 1}) {
      if (s.before[axis] >= 0) {
        start[axis] += m.s / 2;
        length[axis] -= m.s / 2;
      }
      if (s.behind[axis] >= 0) {
        length[axis] -= m.s / 2;
        Rect &r = m.slaves[s.behind[axis]].rect;
        r = axis ? Rect{start[0], start[1] + length[1], length[0], m.s}
                 : Rect{start[0] + length[0], start[1], m.s, length[1]};
      }
    }
    s.rect = {start[0], start[1], length[0], length[1]};
  }
}

int drag(PlacerModel &m, Slave &splitter, int axis, int d) {
  const double size = m.size[axis];
  Part &l = m.slaves[splitter.before[axis]].part[axis];
  Part &r = m.slaves[splitter.behind[axis]].part[axis];
  const int half = m.s / 2;
  if (l.rel_size < 0) {
    if (l.abs_size > 0 && d + l.abs_size <= l.min) d = l.min - l.abs_size;
  } else {
    const int pixels = static_cast<int>(std::floor(l.rel_size * size + 0.5));
    if (d / size + l.rel_size <= 0 || d + pixels - half <= l.min) d = l.min - pixels + half;
  }
  if (r.rel_size < 0) {
    const int min = axis ? l.min : r.min;
    if (r.abs_size > 0 && r.abs_size - d <= min) d = r.abs_size - min;
  } else {
    const int pixels = static_cast<int>(std::floor(r.rel_size * size + 0.5));
    if (r.rel_size - d / size <= 0 || pixels - d - half <= r.min) d = pixels - half - r.min;
  }
  if (axis) {
    if (l.rel_size > 0) l.rel_size += d / size;
    if (l.abs_size > 0) l.abs_size += d;
  } else if (l.rel_size >= 0) {
    l.rel_size += d / size;
  } else {
    l.abs_size += d;
  }
  if (r.abs_at >= 0) r.abs_at += d;
  if (r.abs_size > 0) r.abs_size -= d;
  if (r.rel_at >= 0) r.rel_at += d / size;
  if (r.rel_size > 0) r.rel_size -= d / size;
  return d;
}

void add(PlacerModel &m, Slave s, std::vector<Q7TagItem> extra) {
  std::vector<Q7TagItem> list = {{24500, num(s.object)}};
  for (int axis : {0, 1}) {
    const Part &p = s.part[axis];
    if (p.abs_at != -1) list.push_back({25500u + axis, num(p.abs_at)});
    if (p.abs_size != -1) list.push_back({25502u + axis, num(p.abs_size)});
    list.push_back({25508u + axis, num(&p.rel_at)});
    list.push_back({25510u + axis, num(&p.rel_size)});
  }
  list.insert(list.end(), extra.begin(), extra.end());
  list.push_back({0, 0});
  message(m.object, 24000, 0, 0, num(list.data()));
  m.slaves.push_back(s);
}

Part random_part(Random &r, bool beside) {
  Part p;
  p.rel_size = chance(r, beside ? 85 : 60) ? pick(r, 10, 70) / 100.0 : chance(r, 50) ? -1.0 : 0.0;
  p.rel_at = chance(r, 60) ? pick(r, 0, 90) / 100.0 : chance(r, 50) ? -1.0 : 0.0;
  if (chance(r, 40)) p.abs_size = pick(r, 5, 90);
  if (chance(r, 40)) p.abs_at = pick(r, 0, 90);
  p.given = p.abs_size != -1;
  return p;
}

TEST_F(LayoutProperty, PlacersAgreeWithAPlainComputation) {
  for (unsigned seed = 1; seed <= 3000 && !HasFailure(); ++seed) {
    SCOPED_TRACE(seed);
    Random r(seed);
    PlacerModel m;
    m.s = pick(r, 0, 9);
    set_class(25, {{25519, num(m.s)}});
    m.keep = chance(r, 30);
    m.object = make(25, {{24503, num(m.keep)}});
    const int count = pick(r, 1, 5);
    for (int i = 0; i < count; ++i) {
      Slave s;
      s.object = sized(pick(r, 1, 60), pick(r, 1, 60));
      for (Part &p : s.part) p = random_part(r, count > 1);
      add(m, s, {});
    }
    // Chains of splitters, across and downwards.
    for (int axis : {0, 1}) {
      for (int i = 0; i + 1 < count; ++i) {
        if (!chance(r, 60)) continue;
        Slave s;
        s.object = sized(1, 1);
        s.splitter = true;
        s.before[axis] = i;
        s.behind[axis] = i + 1;
        if (chance(r, 30)) std::swap(s.before[axis], s.behind[axis]);
        if (m.slaves[s.before[axis]].behind[axis] >= 0 || m.slaves[s.behind[axis]].before[axis] >= 0) {
          Q7ObjectDelete(s.object);
          continue;
        }
        const int index = static_cast<int>(m.slaves.size());
        m.slaves[s.before[axis]].behind[axis] = index;
        m.slaves[s.behind[axis]].before[axis] = index;
        add(m, s,
            {{25512, 1},
             {axis ? 25515u : 25513u, num(m.slaves[s.before[axis]].object)},
             {axis ? 25516u : 25514u, num(m.slaves[s.behind[axis]].object)}});
      }
    }
    for (int round = 0; round < 4 && !HasFailure(); ++round) {
      m.x = pick(r, 0, 40);
      m.y = pick(r, 0, 40);
      m.size[0] = pick(r, 20, 300);
      m.size[1] = pick(r, 20, 300);
      set_rect(m.object, {m.x, m.y, m.size[0], m.size[1]});
      int32_t w = 0, h = 0;
      list_message(m.object, 5, {{41505, num(&w)}, {41506, num(&h)}});
      measure(m);
      EXPECT_EQ(w, m.natural[0]);
      EXPECT_EQ(h, m.natural[1]);
      message(m.object, 41000);
      arrange(m);
      for (Slave &s : m.slaves) {
        if (!s.splitter || !chance(r, 50)) continue;
        const int axis = s.before[0] >= 0 ? 0 : 1, d = pick(r, -150, 150);
        probe(s.object).attributes[284501] = d;
        EXPECT_EQ(static_cast<int64_t>(message(m.object, 25001, 284501, num(s.object), 0)), drag(m, s, axis, d));
        arrange(m);
      }
      for (Slave &s : m.slaves) EXPECT_EQ(rect(s.object), s.rect) << &s - m.slaves.data();
      for (Slave &s : m.slaves) {
        if (chance(r, 50)) {
          set(s.object, {{41505, num(pick(r, 1, 80))}, {41506, num(pick(r, 1, 80))}});
        }
      }
    }
    Q7ObjectDelete(m.object);
  }
  EXPECT_EQ(instances(41), 0u);
}

}  // namespace
