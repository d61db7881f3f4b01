// world: walks the objects by messages and collects what they answer. Members of groups are visited in order, so the
// same scene gives the same arrays.
#include "examples/studio/world.hpp"

#include <cmath>
#include <cstring>
#include <map>
#include <string>

#include "examples/studio/furnish.hpp"
#include "examples/studio/scene/scene.h"
#include "examples/studio/session.hpp"
#include "math/q7matrix.h"

namespace studio {

namespace {

constexpr size_t kMostPieces = UINT16_MAX;
constexpr size_t kMostTriangles = 200'000'000;

template <class Visit>
void each_member(Q7Object *group, Visit visit) {
  const Q7List *members = get<Q7List *>(group, Q7A_GROUP_MEMBERS);
  for (Q7Node *node = members->head; node->succ; node = node->succ) visit(reinterpret_cast<Q7Object *>(node));
}

// Every node of a tree, groups first.
template <class Visit>
void each_node(Q7Object *group, Visit visit) {
  each_member(group, [&](Q7Object *member) {
    visit(member);
    if (Q7ObjectIsOfKind(member, Q7C_GROUP)) each_node(member, visit);
  });
}

Q7Matrix placement(Q7Object *node) {
  const auto frame = get<Q7CoordSys>(node, Q7A_NODE_WORLD);
  Q7Matrix m;
  return *Q7MxSpace(&m, &frame.orig, &frame.hor, &frame.vert, &frame.norm);
}

Surface surface_of(Q7Object *material) {
  Surface s;
  s.color = get<Q7Vector>(material, Q7A_MATERIAL_COLOR);
  s.second = get<Q7Vector>(material, Q7A_MATERIAL_SECOND);
  s.texture = get<int32_t>(material, Q7A_MATERIAL_TEXTURE);
  s.octaves = get<double>(material, Q7A_MATERIAL_OCTAVES);
  s.gloss = get<double>(material, Q7A_MATERIAL_GLOSS);
  s.shine = get<double>(material, Q7A_MATERIAL_SHINE);
  s.mirror = get<double>(material, Q7A_MATERIAL_MIRROR);
  const auto frame = get<Q7CoordSys>(material, Q7A_NODE_WORLD);
  // A texture without extent has no inside; it stays where it is.
  if (!Q7CsPrepareLinComp(&s.space, &frame)) s.space = _q7cs_abs;
  return s;
}

class Flattener {
 public:
  Flattener(World &world, Q7Object *scene) : world_(world) {
    world_.surfaces.emplace_back();  // for meshes without a material
    each_node(scene, [this](Q7Object *node) {
      if (!Q7ObjectIsOfKind(node, Q7C_MATERIAL)) return;
      const auto number = static_cast<uint32_t>(world_.surfaces.size());
      if (by_name_.try_emplace(node->name ? node->name : "", number).second) {
        world_.surfaces.push_back(surface_of(node));
      }
    });
    each_node(scene, [this](Q7Object *node) {
      if (Q7ObjectIsOfKind(node, Q7C_MESH)) add_mesh(node);
      if (Q7ObjectIsOfKind(node, Q7C_LIGHT)) add_lamp(node);
    });
  }

 private:
  void add_lamp(Q7Object *light) {
    const auto frame = get<Q7CoordSys>(light, Q7A_NODE_WORLD);
    Lamp lamp = {frame.orig, get<Q7Vector>(light, Q7A_LIGHT_COLOR), get<double>(light, Q7A_LIGHT_RADIUS)};
    VFMul(&lamp.light, get<double>(light, Q7A_LIGHT_POWER));
    if (lamp.light.x > 0 || lamp.light.y > 0 || lamp.light.z > 0) world_.lamps.push_back(lamp);
  }

  void add_mesh(Q7Object *mesh) {
    const auto own = get<Q7MeshData>(mesh, Q7A_MESH_DATA);
    const size_t triangles = world_.corners.size() / 3 + own.triangle_count;
    if (world_.piece_list.size() == kMostPieces || triangles > kMostTriangles) throw Failure(Text::kNoMemory);
    const auto piece = static_cast<uint16_t>(world_.piece_list.size());
    const bool smooth = get<int32_t>(mesh, Q7A_MESH_SMOOTH) != 0;
    const char *name = get<const char *>(mesh, Q7A_MESH_MATERIAL);
    const auto material = by_name_.find(name ? name : "");
    world_.piece_list.push_back({material == by_name_.end() ? 0 : material->second, smooth});

    const auto first = static_cast<uint32_t>(world_.points.size() / 3);
    const Q7Matrix m = placement(mesh);
    world_.points.resize(world_.points.size() + size_t{own.point_count} * 3);
    world_.normals.resize(world_.points.size());
    for (uint32_t i = 0; i < own.point_count; ++i) {
      const float *from = own.points + size_t{i} * 3;
      const Q7Vector local = {from[0], from[1], from[2]};
      Q7Vector p;
      Q7MxTransform(&p, &m, &local);
      float *to = &world_.points[(size_t{first} + i) * 3];
      // Beyond this, single precision has no room for products.
      if (!(std::fabs(p.x) < 1e15 && std::fabs(p.y) < 1e15 && std::fabs(p.z) < 1e15)) p = {};
      to[0] = static_cast<float>(p.x);
      to[1] = static_cast<float>(p.y);
      to[2] = static_cast<float>(p.z);
    }
    world_.corners.reserve(triangles * 3);
    for (size_t i = 0; i < size_t{own.triangle_count} * 3; ++i) world_.corners.push_back(own.corners[i] + first);
    world_.pieces.resize(triangles, piece);
    if (smooth) add_normals(world_.corners.size() - size_t{own.triangle_count} * 3);
  }

  Q7Vector point(uint32_t i) const {
    const float *p = &world_.points[size_t{i} * 3];
    return {p[0], p[1], p[2]};
  }

  // A point's normal is the mean of those around it, weighed by their areas.
  void add_normals(size_t first_corner) {
    for (size_t i = first_corner; i < world_.corners.size(); i += 3) {
      const uint32_t *corner = &world_.corners[i];
      const Q7Vector a = point(corner[0]), b = point(corner[1]), c = point(corner[2]);
      Q7Vector ab, ac, n;
      VSub(&ab, &a, &b);
      VSub(&ac, &a, &c);
      VCross(&n, &ab, &ac);
      const double scale = VLen(&n);
      // Kept within what single precision can add up.
      if (!(scale > 1e-30) || !(scale < 1e30)) continue;
      for (int k = 0; k < 3; ++k) {
        float *normal = &world_.normals[size_t{corner[k]} * 3];
        normal[0] += static_cast<float>(n.x);
        normal[1] += static_cast<float>(n.y);
        normal[2] += static_cast<float>(n.z);
      }
    }
  }

  World &world_;
  std::map<std::string, uint32_t> by_name_;
};

void set_camera(World &world, Q7Object *scene) {
  const char *name = get<const char *>(scene, Q7A_SCENE_CAMERA);
  if (name && !*name) name = nullptr;
  Q7Object *camera = find_node(scene, Q7C_CAMERA, name);
  if (!camera) throw name ? Failure(Text::kNoCamera, name) : Failure(Text::kNoCameras);
  auto frame = get<Q7CoordSys>(camera, Q7A_NODE_WORLD);
  Q7CsNormalizeKeepSpin(&frame);
  world.eye = frame.orig;
  world.ahead = frame.norm;
  world.up = frame.vert;
  // Whoever looks along the normal with the vertical axis up has the horizontal one on the left.
  VSetNeg(&world.right, &frame.hor);
  world.width_at_one = 2 * std::tan(get<double>(camera, Q7A_CAMERA_VIEW) / 2 * M_PI / 180);
}

void measure(World &world) {
  if (world.points.empty()) return;
  double largest = 0;
  for (float value : world.points) largest = std::fmax(largest, std::fabs(value));
  world.size = std::fmax(largest, 1e-9);
}

class Hash {
 public:
  template <class T>
  void add(const std::vector<T> &values) {
    add(values.size());
    add_bytes(values.data(), values.size() * sizeof(T));
  }
  template <class T>
  void add(const T &value) {
    add_bytes(&value, sizeof value);
  }
  uint64_t value() const { return value_; }

 private:
  void add_bytes(const void *bytes, size_t size) {
    const auto *next = static_cast<const unsigned char *>(bytes);
    for (; size >= 8; size -= 8, next += 8) {
      uint64_t eight;
      std::memcpy(&eight, next, 8);
      mix(eight);
    }
    for (; size; --size) mix(*next++);
  }
  void mix(uint64_t piece) {
    value_ = (value_ ^ piece) * 0x9E3779B97F4A7C15u;
    value_ ^= value_ >> 29;
  }
  uint64_t value_ = 1469598103934665603u;
};

}  // namespace

SceneCounts count(Q7Object *scene) {
  SceneCounts counts;
  each_node(scene, [&counts](Q7Object *node) {
    if (Q7ObjectIsOfKind(node, Q7C_MESH)) {
      ++counts.meshes;
      counts.triangles += get<int32_t>(node, Q7A_MESH_TRIANGLES);
    }
    counts.lights += Q7ObjectIsOfKind(node, Q7C_LIGHT) != 0;
    counts.materials += Q7ObjectIsOfKind(node, Q7C_MATERIAL) != 0;
  });
  return counts;
}

World flatten(Q7Object *scene, int samples) {
  World world;
  Flattener flattener(world, scene);
  set_camera(world, scene);
  measure(world);
  world.sky = get<Q7Vector>(scene, Q7A_SCENE_SKY);
  world.horizon = get<Q7Vector>(scene, Q7A_SCENE_HORIZON);
  world.ambient = get<Q7Vector>(scene, Q7A_SCENE_AMBIENT);
  world.samples = samples > 0 ? samples : get<int32_t>(scene, Q7A_SCENE_SAMPLES, 1);
  world.bounces = get<int32_t>(scene, Q7A_SCENE_BOUNCES);
  world.tree.build(world.points, world.corners, world.pieces);
  return world;
}

uint64_t fingerprint(const World &world) {
  Hash hash;
  hash.add(world.points);
  hash.add(world.corners);
  hash.add(world.pieces);
  for (const Piece &piece : world.piece_list) hash.add(uint64_t{piece.surface} << 1 | piece.smooth);
  for (const Surface &s : world.surfaces) {
    hash.add(s.color);
    hash.add(s.second);
    hash.add(s.texture);
    hash.add(s.space);
    for (double value : {s.octaves, s.gloss, s.shine, s.mirror}) hash.add(value);
  }
  for (const Lamp &lamp : world.lamps) {
    hash.add(lamp.at);
    hash.add(lamp.light);
    hash.add(lamp.radius);
  }
  for (const Q7Vector &v : {world.eye, world.right, world.up, world.ahead, world.sky, world.horizon, world.ambient}) {
    hash.add(v);
  }
  hash.add(world.width_at_one);
  hash.add(world.samples);
  hash.add(world.bounces);
  return hash.value();
}

}  // namespace studio
