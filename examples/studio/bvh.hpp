// bvh: a bounding-volume tree over triangles. Nodes are 32 bytes, in one array; the two children of a node lie side by
// side. Building it orders the triangles so that those of a leaf follow one another.
#ifndef Q7_STUDIO_BVH_HPP
#define Q7_STUDIO_BVH_HPP

#include <cstdint>
#include <vector>

#include "math/q7vector.h"

namespace studio {

struct BvhNode {
  float low[3];
  uint32_t first;  // of a leaf: its first triangle; else: its first child
  float high[3];
  uint32_t count;  // triangles of a leaf; 0: not a leaf
};
static_assert(sizeof(BvhNode) == 32);

struct Ray {
  Q7Vector from;
  Q7Vector to;  // unit direction
};

struct Hit {
  double distance;
  uint32_t triangle;
  double u, v;  // weights of the second and the third corner
};

class Bvh {
 public:
  // Orders the triangles (three corners each) and `pieces` with them.
  void build(const std::vector<float> &points, std::vector<uint32_t> &corners, std::vector<uint16_t> &pieces);
  // The nearest hit between `near` and hit.distance, which it lowers.
  bool nearest(const float *points, const uint32_t *corners, const Ray &ray, double near, Hit &hit) const;
  // Whether anything lies between `near` and `far`.
  bool any(const float *points, const uint32_t *corners, const Ray &ray, double near, double far) const;
  size_t node_count() const { return nodes_.size(); }

 private:
  template <bool first_hit_will_do>
  bool walk(const float *points, const uint32_t *corners, const Ray &ray, double near, Hit &hit) const;

  std::vector<BvhNode> nodes_;
};

}  // namespace studio

#endif
