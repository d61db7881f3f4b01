// bvh: built from the top by binned surface areas: of a few cuts along each axis the one that makes rays cheapest is
// taken. Boxes are single precision, rounded outwards; triangles are met in double precision.
#include "examples/studio/bvh.hpp"

#include <immintrin.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace studio {

namespace {

constexpr int kBins = 12;
constexpr uint32_t kLeaf = 4;          // triangles that are not worth a cut
constexpr uint32_t kLargestLeaf = 16;  // cut through the middle above this, even where no cut helps
constexpr int kMaxDepth = 60;
constexpr float kHuge = std::numeric_limits<float>::max();

struct Box {
  float low[3] = {kHuge, kHuge, kHuge};
  float high[3] = {-kHuge, -kHuge, -kHuge};

  void add(const Box &other) {
    for (int k = 0; k < 3; ++k) {
      low[k] = std::min(low[k], other.low[k]);
      high[k] = std::max(high[k], other.high[k]);
    }
  }
  void add(const float *p) {
    for (int k = 0; k < 3; ++k) {
      low[k] = std::min(low[k], p[k]);
      high[k] = std::max(high[k], p[k]);
    }
  }
  double area() const {
    const double x = double{high[0]} - low[0], y = double{high[1]} - low[1], z = double{high[2]} - low[2];
    return x < 0 ? 0 : x * y + y * z + z * x;
  }
};

struct Item {
  Box box;
  uint32_t triangle;
  float middle(int axis) const { return 0.5f * (box.low[axis] + box.high[axis]); }
};

struct Cut {
  int axis = -1;
  float scale = 0, offset = 0;
  int bin = 0;  // the first bin on the right
  double cost = std::numeric_limits<double>::infinity();
};

int bin_of(const Cut &cut, const Item &item) {
  return std::clamp(static_cast<int>((item.middle(cut.axis) - cut.offset) * cut.scale), 0, kBins - 1);
}

Cut best_cut(const Item *items, uint32_t count) {
  Box middles;
  for (uint32_t i = 0; i < count; ++i) {
    const float m[3] = {items[i].middle(0), items[i].middle(1), items[i].middle(2)};
    middles.add(m);
  }
  Cut best;
  for (int axis = 0; axis < 3; ++axis) {
    const float extent = middles.high[axis] - middles.low[axis];
    if (!(extent > 0)) continue;
    Cut cut;
    cut.axis = axis;
    cut.offset = middles.low[axis];
    cut.scale = kBins / extent;
    if (!std::isfinite(cut.scale)) continue;
    Box boxes[kBins];
    uint32_t counts[kBins] = {};
    for (uint32_t i = 0; i < count; ++i) {
      const int bin = bin_of(cut, items[i]);
      boxes[bin].add(items[i].box);
      ++counts[bin];
    }
    double left_cost[kBins] = {};
    Box box;
    uint32_t n = 0;
    for (int i = 0; i < kBins - 1; ++i) {
      box.add(boxes[i]);
      n += counts[i];
      left_cost[i + 1] = box.area() * n;
    }
    box = {};
    n = 0;
    for (int i = kBins - 1; i > 0; --i) {
      box.add(boxes[i]);
      n += counts[i];
      const double cost = left_cost[i] + box.area() * n;
      if (n == 0 || n == count || cost >= best.cost) continue;
      best = cut;
      best.bin = i;
      best.cost = cost;
    }
  }
  return best;
}

// A triangle's points, and where a ray meets it.
Q7Vector point(const float *points, uint32_t index) {
  const float *p = points + size_t{index} * 3;
  return {p[0], p[1], p[2]};
}

bool meet(const float *points, const uint32_t *corners, const Ray &ray, double near, Hit &hit, uint32_t triangle) {
  const uint32_t *corner = corners + size_t{triangle} * 3;
  const Q7Vector a = point(points, corner[0]), b = point(points, corner[1]), c = point(points, corner[2]);
  const Q7Vector ab = {b.x - a.x, b.y - a.y, b.z - a.z}, ac = {c.x - a.x, c.y - a.y, c.z - a.z};
  const Q7Vector &d = ray.to;
  const Q7Vector p = {d.y * ac.z - d.z * ac.y, d.z * ac.x - d.x * ac.z, d.x * ac.y - d.y * ac.x};
  const double det = ab.x * p.x + ab.y * p.y + ab.z * p.z;
  if (det == 0) return false;
  const double inverse = 1 / det;
  const Q7Vector t = {ray.from.x - a.x, ray.from.y - a.y, ray.from.z - a.z};
  const double u = (t.x * p.x + t.y * p.y + t.z * p.z) * inverse;
  if (!(u >= 0 && u <= 1)) return false;
  const Q7Vector q = {t.y * ab.z - t.z * ab.y, t.z * ab.x - t.x * ab.z, t.x * ab.y - t.y * ab.x};
  const double v = (d.x * q.x + d.y * q.y + d.z * q.z) * inverse;
  if (!(v >= 0 && u + v <= 1)) return false;
  const double distance = (ac.x * q.x + ac.y * q.y + ac.z * q.z) * inverse;
  // Of two triangles at the same distance the one of the lower number wins, whichever was met first.
  if (!(distance > near) || distance > hit.distance) return false;
  if (distance == hit.distance && triangle > hit.triangle) return false;
  hit = {distance, triangle, u, v};
  return true;
}

// A ray for tests against boxes. No component of a direction is smaller than what has a finite inverse.
struct FastRay {
  __m128 from;
  __m128 inverse;

  explicit FastRay(const Ray &ray) {
    from =
        _mm_setr_ps(static_cast<float>(ray.from.x), static_cast<float>(ray.from.y), static_cast<float>(ray.from.z), 0);
    inverse = _mm_setr_ps(inverse_of(ray.to.x), inverse_of(ray.to.y), inverse_of(ray.to.z), 0);
  }
  static float inverse_of(double component) {
    constexpr double kSmallest = 1e-30;
    if (std::fabs(component) < kSmallest) component = component < 0 ? -kSmallest : kSmallest;
    return static_cast<float>(1 / component);
  }
};

// Where the ray enters a node's box; kHuge if it does not before `far`. The fourth lanes hold the node's numbers, which
// the third take the place of.
float enter(const BvhNode &node, const FastRay &ray, float far) {
  const __m128 t1 = _mm_mul_ps(_mm_sub_ps(_mm_loadu_ps(node.low), ray.from), ray.inverse);
  const __m128 t2 = _mm_mul_ps(_mm_sub_ps(_mm_loadu_ps(node.high), ray.from), ray.inverse);
  __m128 low = _mm_min_ps(t1, t2);
  __m128 high = _mm_max_ps(t1, t2);
  low = _mm_shuffle_ps(low, low, _MM_SHUFFLE(2, 2, 1, 0));
  high = _mm_shuffle_ps(high, high, _MM_SHUFFLE(2, 2, 1, 0));
  low = _mm_max_ps(low, _mm_movehl_ps(low, low));
  high = _mm_min_ps(high, _mm_movehl_ps(high, high));
  low = _mm_max_ss(low, _mm_shuffle_ps(low, low, 1));
  high = _mm_min_ss(high, _mm_shuffle_ps(high, high, 1));
  const float in = std::max(_mm_cvtss_f32(low), 0.0f);
  // Rounding must not lose a box that is only touched.
  const float out = std::min(_mm_cvtss_f32(high) * 1.000001f, far);
  return in <= out ? in : kHuge;
}

void outwards(BvhNode &node, const Box &box) {
  for (int k = 0; k < 3; ++k) {
    // Also flat boxes get some thickness, so that rounding does not lose what lies in them.
    const float margin =
        4 * std::numeric_limits<float>::epsilon() * std::max(std::fabs(box.low[k]), std::fabs(box.high[k]));
    node.low[k] = box.low[k] - margin - std::numeric_limits<float>::min();
    node.high[k] = box.high[k] + margin + std::numeric_limits<float>::min();
  }
}

std::vector<Item> items_of(const std::vector<float> &points, const std::vector<uint32_t> &corners) {
  std::vector<Item> items(corners.size() / 3);
  for (uint32_t i = 0; i < items.size(); ++i) {
    items[i].triangle = i;
    for (int k = 0; k < 3; ++k) items[i].box.add(&points[size_t{corners[size_t{i} * 3 + k]} * 3]);
  }
  return items;
}

}  // namespace

void Bvh::build(const std::vector<float> &points, std::vector<uint32_t> &corners, std::vector<uint16_t> &pieces) {
  nodes_.clear();
  std::vector<Item> items = items_of(points, corners);
  if (items.empty()) return;
  struct Task {
    uint32_t node, first, count;
    int depth;
  };
  std::vector<Task> tasks = {{0, 0, static_cast<uint32_t>(items.size()), 0}};
  nodes_.reserve(items.size() / 2 + 1);
  nodes_.emplace_back();
  while (!tasks.empty()) {
    const Task task = tasks.back();
    tasks.pop_back();
    Item *const begin = items.data() + task.first;
    Box box;
    for (uint32_t i = 0; i < task.count; ++i) box.add(begin[i].box);
    outwards(nodes_[task.node], box);
    uint32_t left = 0;
    if (task.count > kLeaf && task.depth < kMaxDepth) {
      const Cut cut = best_cut(begin, task.count);
      const bool worth = cut.axis >= 0 && (task.count > kLargestLeaf || cut.cost < box.area() * task.count);
      if (worth) {
        left = static_cast<uint32_t>(
            std::partition(begin, begin + task.count, [&](const Item &item) { return bin_of(cut, item) < cut.bin; }) -
            begin);
      } else if (task.count > kLargestLeaf) {
        left = task.count / 2;
      }
    }
    if (left == 0 || left == task.count) {
      nodes_[task.node].first = task.first;
      nodes_[task.node].count = task.count;
      continue;
    }
    const auto child = static_cast<uint32_t>(nodes_.size());
    nodes_[task.node].first = child;
    nodes_[task.node].count = 0;
    nodes_.emplace_back();
    nodes_.emplace_back();
    tasks.push_back({child, task.first, left, task.depth + 1});
    tasks.push_back({child + 1, task.first + left, task.count - left, task.depth + 1});
  }
  nodes_.shrink_to_fit();
  std::vector<uint32_t> old_corners(corners.size());
  std::vector<uint16_t> old_pieces(pieces.size());
  old_corners.swap(corners);
  old_pieces.swap(pieces);
  for (size_t i = 0; i < items.size(); ++i) {
    std::memcpy(&corners[i * 3], &old_corners[size_t{items[i].triangle} * 3], 3 * sizeof(uint32_t));
    pieces[i] = old_pieces[items[i].triangle];
  }
}

template <bool first_hit_will_do>
bool Bvh::walk(const float *points, const uint32_t *corners, const Ray &ray, double near, Hit &hit) const {
  if (nodes_.empty()) return false;
  const FastRay fast(ray);
  const auto reach = [&hit] { return hit.distance < kHuge ? static_cast<float>(hit.distance) * 1.000001f : kHuge; };
  struct Visit {
    uint32_t node;
    float at;
  } stack[kMaxDepth + 4];
  int waiting = 0;
  bool found = false;
  uint32_t at = 0;
  if (enter(nodes_[0], fast, reach()) == kHuge) return false;
  for (;;) {
    const BvhNode &node = nodes_[at];
    if (node.count > 0) {
      for (uint32_t i = 0; i < node.count; ++i) {
        if (meet(points, corners, ray, near, hit, node.first + i)) found = true;
        if (first_hit_will_do && found) return true;
      }
    } else {
      Visit left = {node.first, enter(nodes_[node.first], fast, reach())};
      Visit right = {node.first + 1, enter(nodes_[node.first + 1], fast, reach())};
      if (right.at < left.at) std::swap(left, right);
      if (left.at != kHuge) {
        if (right.at != kHuge) stack[waiting++] = right;
        at = left.node;
        continue;
      }
    }
    do {
      if (waiting == 0) return found;
      at = stack[--waiting].node;
    } while (stack[waiting].at > reach());
  }
}

bool Bvh::nearest(const float *points, const uint32_t *corners, const Ray &ray, double near, Hit &hit) const {
  return walk<false>(points, corners, ray, near, hit);
}

bool Bvh::any(const float *points, const uint32_t *corners, const Ray &ray, double near, double far) const {
  Hit hit = {far, 0, 0, 0};
  return walk<true>(points, corners, ray, near, hit);
}

}  // namespace studio
