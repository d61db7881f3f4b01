// Random trees of packers, placers and row-columns within one another, compared with a second, plain computation of
// the same rules: sizes from below, rectangles from above, dragged splitters in between.
#include <algorithm>
#include <memory>
#include <random>

#include "tests/ui/ui_test.h"

using namespace uitest;

namespace {

using Random = std::mt19937;
int pick(Random &r, int low, int high) { return low + static_cast<int>(r() % static_cast<unsigned>(high - low + 1)); }
bool chance(Random &r, int percent) { return pick(r, 1, 100) <= percent; }

constexpr int kSplitter = 6;

// Everything that has two directions is kept by axis: 0 across, 1 down.
struct Frame {
  Q7Object *object = nullptr;
  int low[2] = {0, 0}, high[2] = {0, 0}, client[2] = {0, 0}, min_width = 0;
  Rect rect{};
};
struct Place {
  double size[2] = {0, 0}, at[2] = {0, 0};  // fractions; negative: pixels count
  int pixels[2] = {-1, -1}, pixels_at[2] = {-1, -1};
  bool given[2] = {false, false};
};

struct Node {
  enum Kind { kLeaf, kPacker, kPlacer } kind = kLeaf;
  Q7Object *object = nullptr;
  std::vector<std::unique_ptr<Node>> nodes;
  // What a parent reads.
  int min[2] = {0, 0}, client[2] = {0, 0};
  bool stretch[2] = {true, true};  // down, across: by orientation
  // In a packer.
  int flags = 0, anchor = 0, pad[2] = {0, 0}, inner[2] = {0, 0};
  // In a placer.
  Place place;
  bool splitter = false;
  Node *before[2] = {nullptr, nullptr}, *behind[2] = {nullptr, nullptr};
  // A manager's own.
  int axis = 1;  // of a packer: along which it stacks
  bool hidden = false;
  int shift[2] = {0, 0};
  Frame frame;
  Rect rect{};
};

// ---- Sizes

void measure(Node &n);

void measure_packer(Node &n) {
  const int along = n.axis, across = 1 - n.axis;
  int behind_origin = 0;
  for (const auto &s : n.nodes) {
    if (n.client[along] == 0) n.client[along] = std::max(s->client[along], 0);
    n.client[across] = std::max(n.client[across], s->client[across]);
    if (s->anchor == 9)
      behind_origin = std::max(behind_origin, s->min[across] - s->client[across] + s->inner[across] + s->pad[across]);
    n.min[along] += s->min[along] + 2 * (s->inner[along] + s->pad[along]);
    n.min[across] = std::max(
        {n.min[across], s->min[across] + 2 * (s->inner[across] + s->pad[across]), n.client[across] + behind_origin});
  }
}

void measure_placer(Node &n) {
  for (const auto &s : n.nodes) {
    Place &p = s->place;
    for (int axis : {0, 1}) {
      if (!p.given[axis]) p.pixels[axis] = s->min[axis];
      int need = p.pixels_at[axis] + p.pixels[axis];
      if (p.size[axis] > 0) need = std::max(need, static_cast<int>(p.pixels[axis] / p.size[axis]));
      if (p.at[axis] > 0 && p.at[axis] < 1) need = std::max(need, static_cast<int>(p.pixels[axis] / (1 - p.at[axis])));
      n.min[axis] = std::max(n.min[axis], need);
      if (s->splitter && s->before[axis] && s->behind[axis]) n.min[axis] += kSplitter;
    }
  }
}

void measure(Node &n) {
  for (const auto &s : n.nodes) measure(*s);
  if (n.kind == Node::kLeaf) return;
  for (int axis : {0, 1}) n.min[axis] = n.client[axis] = 0;
  if (n.hidden) return;
  if (n.kind == Node::kPacker) {
    measure_packer(n);
  } else {
    measure_placer(n);
  }
  for (int axis : {0, 1}) n.min[axis] += n.frame.low[axis] + n.frame.high[axis];
  if (n.frame.object) n.min[0] = std::max(n.min[0], n.frame.min_width);
}

// ---- Rectangles

void arrange(Node &n, Rect given);

int at(char where, int start, int cell, int size) {
  return where == 'l' ? start : where == 'h' ? start + cell - size : start + cell / 2 - size / 2;
}

void arrange_packer(Node &n, const int (&start)[2], const int (&room)[2], const int (&origin)[2]) {
  const int along = n.axis, across = 1 - n.axis;
  const int orientation = n.axis == 0;
  const auto shares = [&](const Node &s) { return (s.flags & 1) && s.stretch[orientation]; };
  int sharers = 0;
  for (const auto &s : n.nodes) sharers += s->min[0] != 0 && s->min[1] != 0 && shares(*s);
  const int natural = n.min[along] - n.frame.low[along] - n.frame.high[along];
  const int share = sharers ? std::max((room[along] - natural) / sharers, 0) : 0;
  static const char *places[2] = {"mmhhhmlll", "mllmhhhml"};
  int pen = start[along];
  for (const auto &s : n.nodes) {
    if (s->min[0] == 0 && s->min[1] == 0) continue;
    int size[2], cell[2], corner[2], to[2] = {0, 0};
    for (int axis : {0, 1}) size[axis] = s->min[axis] + 2 * s->inner[axis];
    const int extra = shares(*s) ? share : 0;
    cell[along] = size[along] + extra;
    cell[across] = room[across] - 2 * s->pad[across];
    corner[along] = pen + s->pad[along];
    corner[across] = start[across] + s->pad[across];
    s->shift[0] = s->shift[1] = 0;
    for (int axis : {0, 1}) {
      if (s->flags & (axis ? 4 : 2)) size[axis] = cell[axis];
      if (s->anchor <= 8) to[axis] = at(places[axis][s->anchor], corner[axis], cell[axis], size[axis]);
      if (s->anchor == 9) to[axis] = corner[axis];
    }
    if (s->anchor == 9) {
      const int d = n.client[across] - s->client[across];
      to[across] += d;
      s->shift[across] = d;
      if (d + size[across] > cell[across]) size[across] = cell[across] - d;
    }
    for (int axis : {0, 1}) to[axis] = std::max(to[axis], 0) - origin[axis];
    arrange(*s, {to[0], to[1], size[0], size[1]});
    pen += cell[along] + 2 * s->pad[along];
  }
}

void arrange_placer(Node &n, const int (&start)[2], const int (&room)[2], const int (&origin)[2]) {
  const int half = kSplitter / 2;
  for (const auto &s : n.nodes) {
    if (s->splitter) continue;
    const Place &p = s->place;
    int to[2], size[2];
    for (int axis : {0, 1}) {
      to[axis] = p.at[axis] >= 0 ? static_cast<int>(room[axis] * p.at[axis] + start[axis] + 0.5)
                                 : p.pixels_at[axis] + start[axis];
      size[axis] = p.size[axis] >= 0 ? static_cast<int>(room[axis] * p.size[axis] + 0.5) : p.pixels[axis];
    }
    for (int axis : {0, 1}) {
      if (s->before[axis]) to[axis] += half;
      if (s->before[axis]) size[axis] -= half;
      if (Node *splitter = s->behind[axis]) {
        size[axis] -= half;
        int bar_at[2] = {to[0], to[1]}, bar[2] = {size[0], size[1]};
        bar_at[axis] = to[axis] + size[axis];
        bar[axis] = kSplitter;
        splitter->rect = {bar_at[0], bar_at[1], bar[0], bar[1]};
      }
    }
    arrange(*s, {to[0] - origin[0], to[1] - origin[1], size[0], size[1]});
  }
}

void arrange(Node &n, Rect given) {
  n.rect = given;
  if (n.kind == Node::kLeaf || n.hidden || given.width == 0 || given.height == 0) return;
  const int corner[2] = {given.x, given.y}, size[2] = {given.width, given.height};
  int start[2], room[2], origin[2] = {0, 0}, frame[2];
  for (int axis : {0, 1}) {
    const int shift = n.kind == Node::kPacker ? n.shift[axis] : 0;
    start[axis] = corner[axis] + n.frame.low[axis];
    room[axis] = size[axis] - n.frame.low[axis] - n.frame.high[axis];
    frame[axis] = corner[axis] - shift;
    if (n.frame.object) origin[axis] = frame[axis] + n.frame.client[axis];
  }
  n.frame.rect = {frame[0], frame[1], corner[0] + size[0] - frame[0], corner[1] + size[1] - frame[1]};
  if (n.kind == Node::kPacker) {
    arrange_packer(n, start, room, origin);
  } else {
    arrange_placer(n, start, room, origin);
  }
}

int drag(Node &placer, Node &splitter, int axis, int d) {
  const double whole = axis ? placer.rect.height : placer.rect.width;
  Node &l = *splitter.before[axis], &r = *splitter.behind[axis];
  Place &a = l.place, &b = r.place;
  const auto pixels = [&](const Place &p) { return static_cast<int>(p.size[axis] * whole + 0.5); };
  const int half = kSplitter / 2;
  if (a.size[axis] < 0) {
    if (a.pixels[axis] > 0 && d + a.pixels[axis] <= l.min[axis]) d = l.min[axis] - a.pixels[axis];
  } else if (d / whole + a.size[axis] <= 0 || d + pixels(a) - half <= l.min[axis]) {
    d = l.min[axis] - pixels(a) + half;
  }
  if (b.size[axis] < 0) {
    const int least = (axis ? l : r).min[axis];
    if (b.pixels[axis] > 0 && b.pixels[axis] - d <= least) d = b.pixels[axis] - least;
  } else if (b.size[axis] - d / whole <= 0 || pixels(b) - d - half <= r.min[axis]) {
    d = pixels(b) - half - r.min[axis];
  }
  if (axis) {
    if (a.size[axis] > 0) a.size[axis] += d / whole;
    if (a.pixels[axis] > 0) a.pixels[axis] += d;
  } else if (a.size[axis] >= 0) {
    a.size[axis] += d / whole;
  } else {
    a.pixels[axis] += d;
  }
  if (b.pixels_at[axis] >= 0) b.pixels_at[axis] += d;
  if (b.pixels[axis] > 0) b.pixels[axis] -= d;
  if (b.at[axis] >= 0) b.at[axis] += d / whole;
  if (b.size[axis] > 0) b.size[axis] -= d / whole;
  return d;
}

// ---- Growing a tree

struct Tree {
  Random random;
  std::vector<std::pair<Node *, Node *>> splitters;  // with their placers
};

std::unique_ptr<Node> grow(Tree &tree, int depth);

void frame_it(Tree &tree, Node &n) {
  Random &r = tree.random;
  if (!chance(r, 25)) return;
  Frame &f = n.frame;
  f.object = make(kProbeWidget);
  for (int axis : {0, 1}) {
    f.low[axis] = pick(r, 0, 9);
    f.high[axis] = pick(r, 0, 9);
    f.client[axis] = pick(r, 0, 5);
  }
  f.min_width = chance(r, 50) ? 0 : pick(r, 1, 150);
  probe(f.object).attributes = {{41522, f.low[0]},    {41523, f.low[1]},    {41524, f.high[0]},  {41525, f.high[1]},
                                {41509, f.client[0]}, {41510, f.client[1]}, {41505, f.min_width}};
  set(n.object, {{24501, num(f.object)}});
}

void pack_options(Tree &tree, Node &n) {
  Random &r = tree.random;
  n.flags = pick(r, 0, 7);
  n.anchor = chance(r, 30) ? 9 : pick(r, 0, 10);
  for (int *pad : {&n.pad[0], &n.pad[1], &n.inner[0], &n.inner[1]}) *pad = chance(r, 50) ? 0 : pick(r, 0, 7);
}
void pack(Q7Object *manager, const Node &n) {
  ASSERT_NE(list_message(manager, 24000,
                         {{24500, num(n.object)},
                          {22501, num(n.flags)},
                          {22502, num(n.anchor)},
                          {22503, num(n.pad[0])},
                          {22504, num(n.pad[1])},
                          {22505, num(n.inner[0])},
                          {22506, num(n.inner[1])}}),
            0u);
}

std::unique_ptr<Node> grow_packer(Tree &tree, int depth) {
  auto n = std::make_unique<Node>();
  Random &r = tree.random;
  n->kind = Node::kPacker;
  n->axis = pick(r, 0, 1);
  n->hidden = depth < 3 && chance(r, 8);
  n->object = make(22, {{22500, num(n->axis == 0)}, {24502, num(n->hidden)}});
  frame_it(tree, *n);
  for (int count = pick(r, 1, 4); count > 0; --count) {
    n->nodes.push_back(grow(tree, depth - 1));
    pack_options(tree, *n->nodes.back());
    pack(n->object, *n->nodes.back());
  }
  return n;
}

// A row-column is a packer of packers.
std::unique_ptr<Node> grow_rows(Tree &tree, int depth) {
  auto n = std::make_unique<Node>();
  Random &r = tree.random;
  const int row_axis = pick(r, 0, 1), per_row = pick(r, -1, 3), limit = pick(r, 10, 150);
  n->kind = Node::kPacker;
  n->axis = 1 - row_axis;
  n->object = make(23, {{22500, num(row_axis == 0)}, {23500, num(per_row)}, {row_axis ? 41508u : 41507u, num(limit)}});
  frame_it(tree, *n);
  int filled = 0;
  for (int count = pick(r, 1, 6); count > 0; --count) {
    auto slave = grow(tree, depth - 1);
    pack_options(tree, *slave);
    measure(*slave);
    Node *row = n->nodes.empty() ? nullptr : n->nodes.back().get();
    const bool fits = row && (per_row < 0 || (per_row > 0 && static_cast<int>(row->nodes.size()) < per_row) ||
                              (per_row == 0 && filled + slave->min[row_axis] <= limit));
    pack(n->object, *slave);
    if (!fits) {
      row = n->nodes.emplace_back(std::make_unique<Node>()).get();
      row->kind = Node::kPacker;
      row->axis = row_axis;
      row->flags = 6;
      row->anchor = row_axis == 0 ? 1 : 7;
      row->object = object_of(slave->object, 41543);
      filled = 0;
    }
    EXPECT_EQ(object_of(slave->object, 41543), row->object);
    filled += slave->min[row_axis];
    row->nodes.push_back(std::move(slave));
  }
  return n;
}

void put(Q7Object *placer, const Node &n, std::vector<Q7TagItem> extra = {}) {
  std::vector<Q7TagItem> list = {{24500, num(n.object)}};
  const Place &p = n.place;
  for (unsigned axis : {0u, 1u}) {
    if (p.pixels_at[axis] != -1) list.push_back({25500 + axis, num(p.pixels_at[axis])});
    if (p.pixels[axis] != -1) list.push_back({25502 + axis, num(p.pixels[axis])});
    list.push_back({25508 + axis, num(&p.at[axis])});
    list.push_back({25510 + axis, num(&p.size[axis])});
  }
  list.insert(list.end(), extra.begin(), extra.end());
  list.push_back({0, 0});
  ASSERT_NE(message(placer, 24000, 0, 0, num(list.data())), 0u);
}

std::unique_ptr<Node> grow_placer(Tree &tree, int depth) {
  auto n = std::make_unique<Node>();
  Random &r = tree.random;
  n->kind = Node::kPlacer;
  n->hidden = depth < 3 && chance(r, 8);
  n->object = make(25, {{24502, num(n->hidden)}});
  frame_it(tree, *n);
  const int count = pick(r, 1, 4);
  for (int i = 0; i < count; ++i) {
    Node &s = *n->nodes.emplace_back(grow(tree, depth - 1));
    Place &p = s.place;
    for (int axis : {0, 1}) {
      p.size[axis] = chance(r, 80) ? pick(r, 10, 90) / 100.0 : chance(r, 50) ? -1.0 : 0.0;
      p.at[axis] = chance(r, 60) ? pick(r, 0, 90) / 100.0 : chance(r, 50) ? -1.0 : 0.0;
      if (chance(r, 30)) p.pixels[axis] = pick(r, 5, 90);
      if (chance(r, 30)) p.pixels_at[axis] = pick(r, 0, 90);
      p.given[axis] = p.pixels[axis] != -1;
    }
    put(n->object, s);
  }
  const int axis = pick(r, 0, 1);
  for (int i = 0; i + 1 < count; ++i) {
    if (!chance(r, 50)) continue;
    Node &s = *n->nodes.emplace_back(std::make_unique<Node>());
    s.splitter = true;
    s.min[0] = s.min[1] = 1;
    s.object = sized(1, 1);
    s.before[axis] = n->nodes[static_cast<size_t>(i)].get();
    s.behind[axis] = n->nodes[static_cast<size_t>(i) + 1].get();
    s.before[axis]->behind[axis] = &s;
    s.behind[axis]->before[axis] = &s;
    put(n->object, s,
        {{25512, 1},
         {axis ? 25515u : 25513u, num(s.before[axis]->object)},
         {axis ? 25516u : 25514u, num(s.behind[axis]->object)}});
    tree.splitters.emplace_back(&s, n.get());
  }
  return n;
}

void randomize(Tree &tree, Node &n) {
  Random &r = tree.random;
  for (int axis : {0, 1}) {
    n.min[axis] = chance(r, 10) ? 0 : pick(r, 1, 60);
    n.client[axis] = chance(r, 50) ? 0 : pick(r, -5, 30);
  }
  probe(n.object).attributes = {{41505, n.min[0]},    {41506, n.min[1]},     {41509, n.client[0]},
                                {41510, n.client[1]}, {41556, n.stretch[0]}, {41557, n.stretch[1]}};
}

std::unique_ptr<Node> grow(Tree &tree, int depth) {
  Random &r = tree.random;
  if (depth == 0 || (depth < 3 && chance(r, 30))) {
    auto n = std::make_unique<Node>();
    n->object = make(kProbeWidget);
    for (bool &stretch : n->stretch) stretch = chance(r, 80);
    randomize(tree, *n);
    return n;
  }
  switch (pick(r, 0, 2)) {
    case 0: return grow_packer(tree, depth);
    case 1: return grow_placer(tree, depth);
    default: return grow_rows(tree, depth);
  }
}

void change(Tree &tree, Node &n) {
  if (n.kind == Node::kLeaf && !n.splitter && chance(tree.random, 50)) randomize(tree, n);
  for (const auto &s : n.nodes) change(tree, *s);
}

// What nobody has placed stays where it was; start from the same zero everywhere.
void forget(Node &n) {
  n.rect = n.frame.rect = {};
  set_rect(n.object, {});
  if (n.frame.object) set_rect(n.frame.object, {});
  for (const auto &s : n.nodes) forget(*s);
}

// A placer that is asked for anything measures its slaves, and shifts fractions for them; its widget part does not.
Rect rect_of(const Node &n) {
  if (n.kind != Node::kPlacer) return rect(n.object);
  Rect r{};
  Q7TagItem list[] = {{41501, num(&r.x)}, {41502, num(&r.y)}, {41503, num(&r.width)}, {41504, num(&r.height)}, {0, 0}};
  Q7WidgetDispatch(Q7ClassFind(41), n.object, Q7M_GET, 0, 0, list);
  return r;
}

void compare(const Node &n) {
  EXPECT_EQ(rect_of(n), n.rect);
  if (n.frame.object) {
    EXPECT_EQ(rect(n.frame.object), n.frame.rect);
  }
  for (const auto &s : n.nodes) compare(*s);
}

// Whether a placer and all it lies in were laid out.
bool was_laid_out(const Node &placer) { return !placer.hidden && placer.rect.width != 0 && placer.rect.height != 0; }

class MixedProperty : public UiTest {};

TEST_F(MixedProperty, ManagersWithinOneAnotherAgreeWithAPlainComputation) {
  int kinds_of_drag = 0, dragged = 0;
  for (unsigned seed = 1; seed <= 3000 && !HasFailure(); ++seed) {
    SCOPED_TRACE(seed);
    Tree tree{Random(seed), {}};
    auto root = grow(tree, 3);
    // A splitter's placer shifts fractions by itself once it was laid out, which layout_property_test looks at; its
    // splitters are dragged here instead.
    const int rounds = tree.splitters.empty() ? 3 : 1;
    for (int round = 0; round < rounds; ++round) {
      forget(*root);
      measure(*root);
      int32_t size[2] = {-1, -1};
      list_message(root->object, 5, {{41505, num(&size[0])}, {41506, num(&size[1])}});
      EXPECT_EQ(size[0], root->min[0]);
      EXPECT_EQ(size[1], root->min[1]);
      const Rect given = {pick(tree.random, 0, 50), pick(tree.random, 0, 50), pick(tree.random, 0, 500),
                          pick(tree.random, 0, 500)};
      set_rect(root->object, given);
      message(root->object, 41000);
      arrange(*root, given);
      compare(*root);
      if (round + 1 < rounds) change(tree, *root);
    }
    for (auto &[splitter, placer] : tree.splitters) {
      if (HasFailure() || !was_laid_out(*placer)) continue;
      const int axis = splitter->before[0] ? 0 : 1, d = pick(tree.random, -150, 150);
      probe(splitter->object).attributes[284501] = d;
      const int expected = drag(*placer, *splitter, axis, d);
      EXPECT_EQ(static_cast<int32_t>(message(placer->object, 25001, 284501, num(splitter->object), 0)), expected);
      arrange(*placer, placer->rect);
      compare(*placer);
      kinds_of_drag |= 1 << axis;
      ++dragged;
    }
    Q7ObjectDelete(root->object);
  }
  EXPECT_EQ(instances(41), 0u);
  EXPECT_EQ(kinds_of_drag, 3);
  EXPECT_GT(dragged, 500);
}

}  // namespace
