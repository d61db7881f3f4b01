// world: a scene as the ray tracer sees it: flat arrays in world space, made once from the objects. It shares nothing
// with them, so any number of threads may read it.
#ifndef Q7_STUDIO_WORLD_HPP
#define Q7_STUDIO_WORLD_HPP

#include <cstdint>
#include <vector>

#include "examples/studio/bvh.hpp"
#include "examples/studio/object.hpp"
#include "math/q7color.h"
#include "math/q7coordsys.h"

namespace studio {

struct Surface {
  Q7Vector color = {0.8, 0.8, 0.8};
  Q7Vector second = {};
  int texture = 0;  // Q7TEXTURE_...
  double octaves = 4;
  double gloss = 0;
  double shine = 40;
  double mirror = 0;
  Q7CoordSys space = _q7cs_abs;  // maps points into the texture's own space (Q7CsMapV)
};

struct Lamp {
  Q7Vector at;
  Q7Vector light;  // color times power
  double radius;
};

// A mesh's share of the triangles.
struct Piece {
  uint32_t surface;
  bool smooth;
};

struct World {
  std::vector<float> points;      // three a point
  std::vector<float> normals;     // likewise, of the points of smooth meshes; zeros elsewhere
  std::vector<uint32_t> corners;  // three a triangle
  std::vector<uint16_t> pieces;   // one a triangle
  std::vector<Piece> piece_list;
  std::vector<Surface> surfaces;
  std::vector<Lamp> lamps;
  Bvh tree;

  Q7Vector eye, right, up, ahead;  // the camera: unit vectors
  double width_at_one;             // of the picture, at distance 1
  Q7Vector sky, horizon, ambient;
  int samples = 1;
  int bounces = 0;
  double size = 1;  // radius of everything, for distances that count as nothing
};

struct SceneCounts {
  long meshes = 0, triangles = 0, lights = 0, materials = 0;
};

// Counts what is in a scene.
SceneCounts count(Q7Object *scene);

// Flattens a scene; `samples` above 0 stands for the scene's own. Throws Failure.
World flatten(Q7Object *scene, int samples);

// A number that tells worlds apart: pictures of the same number are parts of the same one.
uint64_t fingerprint(const World &world);

}  // namespace studio

#endif
