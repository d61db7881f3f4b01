// furnish: a camera from the front, a little above; a key light from the upper left, a fill from the right, a rim from
// behind; a floor under the lowest point. Everything follows the box that the meshes fill.
#include "examples/studio/furnish.hpp"

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "core/q7memory.h"
#include "examples/studio/scene/scene.h"
#include "examples/studio/session.hpp"
#include "math/q7color.h"

namespace studio {

namespace {

struct Box {
  Q7Vector low = {DBL_MAX, DBL_MAX, DBL_MAX};
  Q7Vector high = {-DBL_MAX, -DBL_MAX, -DBL_MAX};
};

void grow(Box &box, Q7Object *group) {
  const Q7List *members = get<Q7List *>(group, Q7A_GROUP_MEMBERS);
  for (Q7Node *node = members->head; node->succ; node = node->succ) {
    auto *member = reinterpret_cast<Q7Object *>(node);
    if (!Q7ObjectIsOfKind(member, Q7C_MESH)) continue;
    const auto mesh = get<Q7MeshData>(member, Q7A_MESH_DATA);
    for (uint32_t i = 0; i < mesh.point_count; ++i) {
      const float *p = mesh.points + size_t{i} * 3;
      box.low = {std::fmin(box.low.x, p[0]), std::fmin(box.low.y, p[1]), std::fmin(box.low.z, p[2])};
      box.high = {std::fmax(box.high.x, p[0]), std::fmax(box.high.y, p[1]), std::fmax(box.high.z, p[2])};
    }
  }
}

void add_light(Q7Object *scene, const char *name, const Q7Vector &at, double power, const Q7ColorHSL &hsl,
               double radius) {
  Q7ColorRGB color;
  Q7HslToRgb(&color, &hsl);
  add_node(scene, Q7C_LIGHT, name,
           {{Q7A_NODE_ORIGIN, word(&at)},
            {Q7A_LIGHT_COLOR, word(&color)},
            {Q7A_LIGHT_POWER, word(&power)},
            {Q7A_LIGHT_RADIUS, word(&radius)}});
}

void add_floor(Q7Object *scene, double height, const Q7Vector &middle, double radius) {
  const double size = radius * 60;
  Q7MeshData floor = {};
  floor.point_count = 4;
  floor.triangle_count = 2;
  floor.points = static_cast<float *>(Q7AllocMem(12 * sizeof(float), 0));
  floor.corners = static_cast<uint32_t *>(Q7AllocMem(6 * sizeof(uint32_t), 0));
  if (!floor.points || !floor.corners) throw Failure(Text::kNoMemory);
  const double x[4] = {-1, -1, 1, 1}, z[4] = {-1, 1, 1, -1};
  for (int i = 0; i < 4; ++i) {
    floor.points[i * 3] = static_cast<float>(middle.x + x[i] * size);
    floor.points[i * 3 + 1] = static_cast<float>(height);
    floor.points[i * 3 + 2] = static_cast<float>(middle.z + z[i] * size);
  }
  const uint32_t corners[6] = {0, 1, 2, 0, 2, 3};
  std::copy(corners, corners + 6, floor.corners);
  const Q7ColorRGB light = {0.36, 0.35, 0.34}, dark = {0.2, 0.2, 0.22};
  const double gloss = 0.1, mirror = 0.15;
  const Q7Vector scale = {radius * 2.5, radius * 2.5, radius * 2.5};
  add_node(scene, Q7C_MATERIAL, "floorstone",
           {{Q7A_MATERIAL_COLOR, word(&light)},
            {Q7A_MATERIAL_SECOND, word(&dark)},
            {Q7A_MATERIAL_TEXTURE, Q7TEXTURE_CLOUDS},
            {Q7A_MATERIAL_GLOSS, word(&gloss)},
            {Q7A_MATERIAL_MIRROR, word(&mirror)},
            {Q7A_NODE_SCALE, word(&scale)}});
  add_node(scene, Q7C_MESH, "floor", {{Q7A_MESH_DATA, word(&floor)}, {Q7A_MESH_MATERIAL, word("floorstone")}});
}

}  // namespace

Q7Object *add_node(Q7Object *group, uint32_t clid, const char *name, std::initializer_list<Q7TagItem> attributes) {
  // The class may know an attribute and refuse its value with a report; there is none for what is made here.
  Q7TagItem tags[16] = {{Q7A_NAME, word(name)}};
  std::copy_n(attributes.begin(), std::min<size_t>(attributes.size(), 14), tags + 1);
  Q7Object *node = Q7ObjectCreateA(clid, tags);
  if (!node) throw failure_of(name, Text::kNoMemory);
  if (send(group, Q7M_GROUP_ADD, 0, 0, slot(node))) return node;
  Q7ObjectDelete(node);
  throw failure_of(name, Text::kNoMemory);
}

Q7Object *find_node(Q7Object *group, uint32_t clid, const char *name) {
  return reinterpret_cast<Q7Object *>(send(group, Q7M_GROUP_FIND, clid, 0, slot(name)));
}

void furnish(Q7Object *scene) {
  Box box;
  grow(box, scene);
  Q7Vector middle, across;
  VMid(&middle, &box.low, &box.high);
  VSub(&across, &box.low, &box.high);
  const double radius = std::fmax(VLen(&across) / 2, 1e-6);
  const double view = 40;
  const double distance = radius / std::sin(view / 2 * M_PI / 180) * 1.05;

  // Directions are given in a frame at the middle, of the size of the scene.
  Q7CoordSys frame = _q7cs_abs;
  frame.orig = middle;
  const auto around = [&frame](double azimuth, double elevation, double far) {
    // Azimuth from the front (+Z) to the right (+X), elevation upwards.
    Q7CoordSys upright = {frame.orig, q7v_norm, q7v_hor, q7v_vert};
    Q7Vector point;
    Q7CsPFromPolar(&point, &upright, azimuth * M_PI / 180, elevation * M_PI / 180, far);
    return point;
  };
  const Q7Vector eye = around(24, 20, distance);
  Q7Object *camera =
      add_node(scene, Q7C_CAMERA, "camera", {{Q7A_NODE_ORIGIN, word(&eye)}, {Q7A_CAMERA_VIEW, word(&view)}});
  send(camera, Q7M_NODE_LOOK_AT, 0, 0, slot(&middle));
  add_light(scene, "key", around(-40, 50, radius * 6), 0.9, {0.11, 0.14, 1}, radius * 0.5);
  add_light(scene, "fill", around(75, 25, radius * 6), 0.2, {0.6, 0.3, 1}, radius);
  add_light(scene, "rim", around(165, 40, radius * 6), 0.4, {0.08, 0.3, 1}, radius * 0.3);
  if (!find_node(scene, Q7C_NODE, "floor")) add_floor(scene, box.low.y, middle, radius);
}

}  // namespace studio
