// make_scene: writes the studio's default scene as a Wavefront OBJ file with its material file: a knot of hammered
// metal-like stone on a wooden plinth, with a few balls around it. The surface is roughened by the library's noise, so
// every machine writes the same points.
//
// make_scene FOLDER writes FOLDER/knot.obj and FOLDER/knot.mtl.
#include <cmath>
#include <cstdio>
#include <string>

#include "math/q7noise.h"
#include "math/q7vector.h"

namespace {

constexpr int kAlong = 420;  // around the knot
constexpr int kRound = 96;   // around its rope

class Obj {
 public:
  explicit Obj(std::FILE *file) : file_(file) {}

  void begin(const char *object, const char *material) { std::fprintf(file_, "o %s\nusemtl %s\n", object, material); }
  void point(const Q7Vector &p) { std::fprintf(file_, "v %.5f %.5f %.5f\n", p.x, p.y, p.z); }

  // Joins the points of a closed or open grid that were just written, `columns` a row.
  void grid(int rows, int columns, bool rows_close, bool columns_close) {
    const auto at = [&](int row, int column) { return base_ + row % rows * columns + column % columns; };
    for (int i = 0; i < (rows_close ? rows : rows - 1); ++i) {
      for (int k = 0; k < (columns_close ? columns : columns - 1); ++k) {
        std::fprintf(file_, "f %d %d %d %d\n", at(i, k), at(i, k + 1), at(i + 1, k + 1), at(i + 1, k));
      }
    }
    base_ += rows * columns;
  }

 private:
  std::FILE *file_;
  int base_ = 1;  // number of the next point
};

Q7Vector knot(double t) {
  const double r = 2 + std::cos(3 * t);
  return {r * std::cos(2 * t) * 0.62, r * std::sin(2 * t) * 0.62 + 2.85, std::sin(3 * t) * 0.75};
}

void write_knot(Obj &obj) {
  obj.begin("knot", "bronze");
  for (int i = 0; i < kAlong; ++i) {
    const double t = 2 * M_PI * i / kAlong;
    const Q7Vector here = knot(t), next = knot(t + 1e-4);
    Q7Vector along, side, up;
    VSub(&along, &here, &next);
    VNorm(&along);
    VGetPerpVect(&along, &side, &up);
    for (int k = 0; k < kRound; ++k) {
      const double a = 2 * M_PI * k / kRound;
      Q7Vector out;
      AngleToVec(&out, &side, &up, a);
      const Q7Vector place = {(here.x + out.x * 0.3) * 0.2, (here.y + out.y * 0.3) * 0.2, (here.z + out.z * 0.3) * 0.2};
      const double rough = Q7SmoothNoise(&place, 4, 2) - 0.5;
      const double radius = 0.36 + 0.035 * std::cos(18 * t) + 0.09 * rough;
      Q7Vector point, offset;
      VAdd(&point, &here, VMul(&offset, radius, &out));
      obj.point(point);
    }
  }
  obj.grid(kAlong, kRound, true, true);
}

// A turned body: a profile of (radius, height) rows about the Y axis.
void write_turned(Obj &obj, const char *name, const char *material, const Q7Vector &foot, const double (*profile)[2],
                  int rows, int columns) {
  obj.begin(name, material);
  for (int i = 0; i < rows; ++i) {
    for (int k = 0; k < columns; ++k) {
      const double a = 2 * M_PI * k / columns;
      obj.point({foot.x + profile[i][0] * std::cos(a), foot.y + profile[i][1], foot.z - profile[i][0] * std::sin(a)});
    }
  }
  obj.grid(rows, columns, false, true);
}

void write_ball(Obj &obj, const char *name, const char *material, double radius, double x, double z) {
  constexpr int kRows = 33;
  double profile[kRows][2];
  for (int i = 0; i < kRows; ++i) {
    const double a = M_PI * i / (kRows - 1);
    profile[i][0] = radius * std::sin(a);
    profile[i][1] = radius * (1 - std::cos(a));
  }
  write_turned(obj, name, material, {x, 0, z}, profile, kRows, 64);
}

void write_objects(std::FILE *file) {
  std::fputs("# made by make_scene\nmtllib knot.mtl\n", file);
  Obj obj(file);
  write_knot(obj);
  const double plinth[][2] = {{0, 0},       {1.5, 0},     {1.5, 0.02},  {1.5, 0.16},   {1.48, 0.18},
                              {1.3, 0.2},   {1.28, 0.22}, {1.28, 0.62}, {1.3, 0.64},   {1.4, 0.66},
                              {1.42, 0.68}, {1.42, 0.76}, {1.4, 0.78},  {1.38, 0.785}, {0, 0.785}};
  write_turned(obj, "plinth", "oak", {0, 0, 0}, plinth, sizeof plinth / sizeof plinth[0], 96);
  write_ball(obj, "marbleball", "marble", 0.75, -2.4, 0.9);
  write_ball(obj, "glossball", "lacquer", 0.5, 2.2, 1.5);
  write_ball(obj, "pearl", "silver", 0.32, 0.9, 2.3);
}

constexpr char kMaterials[] =
    "newmtl bronze\nKd 0.72 0.42 0.18\nKs 0.55 0.55 0.55\nNs 60\n"
    "q7_texture 1\nq7_second 0.16 0.3 0.26\nq7_scale 2.2\nq7_octaves 5\nq7_mirror 0.1\n\n"
    "newmtl oak\nKd 0.5 0.32 0.17\nKs 0.2 0.2 0.2\nNs 25\n"
    "q7_texture 3\nq7_second 0.3 0.17 0.08\nq7_scale 1.6\nq7_octaves 3\n\n"
    "newmtl marble\nKd 0.9 0.89 0.86\nKs 0.4 0.4 0.4\nNs 90\n"
    "q7_texture 2\nq7_second 0.25 0.28 0.33\nq7_scale 1.1\nq7_octaves 5\nq7_mirror 0.08\n\n"
    "newmtl lacquer\nKd 0.62 0.06 0.07\nKs 0.8 0.8 0.8\nNs 220\nq7_mirror 0.22\n\n"
    "newmtl silver\nKd 0.75 0.76 0.78\nKs 0.7 0.7 0.7\nNs 300\nq7_mirror 0.75\n";

}  // namespace

int main(int argc, char **argv) {
  if (argc != 2) {
    std::fputs("usage: make_scene FOLDER\n", stderr);
    return 1;
  }
  const std::string folder = argv[1];
  std::FILE *objects = std::fopen((folder + "/knot.obj").c_str(), "w");
  std::FILE *materials = std::fopen((folder + "/knot.mtl").c_str(), "w");
  bool written = objects && materials;
  if (written) {
    write_objects(objects);
    std::fputs(kMaterials, materials);
    written = !std::ferror(objects) && !std::ferror(materials);
  }
  if (objects && std::fclose(objects) != 0) written = false;
  if (materials && std::fclose(materials) != 0) written = false;
  if (!written) std::perror("make_scene");
  return written ? 0 : 1;
}
