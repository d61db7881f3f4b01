// q7csangles: a frame's orientation relative to another as angles. The relative axes are the nine products of the
// reference's axes with the frame's, made unit vectors; q7angles does the rest. Fast angles replace the circle by the
// square |c| + |s| = 1, which needs no trigonometry.
#include <cmath>

#include "math/q7coordsys.h"
#include "math/values.hpp"

namespace {

bool is_mirrored(const Q7CoordSys &cs) { return q7::dot(q7::cross(cs.hor, cs.vert), cs.norm) < 0; }

// The unit axes of a reference; an orthonormal frame.
Q7CoordSys reference_axes(const Q7CoordSys *reference) {
  Q7CoordSys axes = reference ? *reference : _q7cs_abs;
  Q7CsNormalizeKeepSpin(&axes);
  return axes;
}

// hor, vert, norm of cs in the axes of the reference, orthonormal and right-handed.
void relative_axes(Q7Vector *axes, const Q7CoordSys &cs, const Q7CoordSys *reference) {
  Q7CoordSys unit = cs;
  if (is_mirrored(unit)) unit.norm = -unit.norm;
  const Q7CoordSys base = reference_axes(reference);
  Q7Vector *const from[3] = {&unit.hor, &unit.vert, &unit.norm};
  for (int i = 0; i < 3; ++i) {
    VNorm(from[i]);
    axes[i] = {q7::dot(base.hor, *from[i]), q7::dot(base.vert, *from[i]), q7::dot(base.norm, *from[i])};
  }
  // In a mirrored reference a right-handed frame reads left-handed.
  if (is_mirrored(base)) axes[2] = -axes[2];
}

Q7CoordSys *set_relative_axes(Q7CoordSys *cs, const Q7CoordSys *reference, const Q7Vector *axes) {
  const Q7CoordSys base = reference_axes(reference);
  const bool base_mirrored = is_mirrored(base);
  const double lengths[3] = {q7::length(cs->hor), q7::length(cs->vert), q7::length(cs->norm)};
  const double sign = is_mirrored(*cs) != base_mirrored ? -1 : 1;
  auto world = [&base](const Q7Vector &v) { return v.x * base.hor + v.y * base.vert + v.z * base.norm; };
  cs->hor = lengths[0] * world(axes[0]);
  cs->vert = lengths[1] * world(axes[1]);
  cs->norm = (sign * lengths[2]) * world(axes[2]);
  return cs;
}

// The fast angle of the direction (c, s), of any length.
double fast_angle(double c, double s) {
  const double sum = std::fabs(c) + std::fabs(s);
  if (sum == 0) return 0;
  const double f = s / sum;
  if (c >= 0) return f;
  return s < 0 ? -2 - f : 2 - f;
}

struct Direction {
  double c, s;  // cosine and sine
};

Direction direction_of(double fast) {
  const double f = fast - 4 * std::floor((fast + 2) / 4);  // -2 .. 2
  const double s = f > 1 ? 2 - f : f < -1 ? -2 - f : f;
  const double c = 1 - std::fabs(f);
  const double len = std::sqrt(c * c + s * s);
  return {c / len, s / len};
}

constexpr double vertical_limit = 1e-40;  // as in q7angles.cpp

}  // namespace

void Q7CsGetAngles(double *angles, const Q7CoordSys *cs, const Q7CoordSys *reference) {
  Q7Vector axes[3];
  relative_axes(axes, *cs, reference);
  Q7C_HPBFromXYZ(angles, axes);
}

Q7CoordSys *Q7CsSetAngles(Q7CoordSys *cs, const Q7CoordSys *reference, const double *angles) {
  Q7Vector axes[3];
  Q7C_HPBToXYZ(axes, angles);
  return set_relative_axes(cs, reference, axes);
}

void Q7CsGetAnglesT(double *angles, const Q7CoordSys *cs, const Q7CoordSys *reference) {
  Q7Vector axes[3];
  relative_axes(axes, *cs, reference);
  Q7C_HPTFromXYZ(angles, axes);
}

Q7CoordSys *Q7CsSetAnglesT(Q7CoordSys *cs, const Q7CoordSys *reference, const double *angles) {
  Q7Vector axes[3];
  Q7C_HPTToXYZ(axes, angles);
  return set_relative_axes(cs, reference, axes);
}

void Q7CsGetFastAngles(double *fast, const Q7CoordSys *cs, const Q7CoordSys *reference) {
  Q7Vector axes[3];
  relative_axes(axes, *cs, reference);
  Q7C_FastFromXYZ(fast, axes);
}

Q7CoordSys *Q7CsSetFastAngles(Q7CoordSys *cs, const Q7CoordSys *reference, const double *fast) {
  Q7Vector axes[3];
  Q7C_FastToXYZ(axes, fast);
  return set_relative_axes(cs, reference, axes);
}

double *Q7CsHPBToFastAngle(double *fast, const double *hpb) {
  for (int i = 0; i < 3; ++i) {
    const q7::SinCos angle(hpb[i]);
    fast[i] = fast_angle(angle.c, angle.s);
  }
  return fast;
}

double *Q7CsHPBFromFastAngle(double *hpb, const double *fast) {
  for (int i = 0; i < 3; ++i) {
    const Direction d = direction_of(fast[i]);
    hpb[i] = q7::atan2_upper(d.s, d.c);
  }
  return hpb;
}

void Q7C_FastFromXYZ(double *fast, const Q7Vector *axes) {
  const Q7Vector hor = axes[0], vert = axes[1], norm = axes[2];
  const double flat = norm.x * norm.x + norm.z * norm.z;
  const bool vertical = flat < vertical_limit;
  const double root = vertical ? 0 : std::sqrt(flat);
  const Direction h = vertical ? Direction{1, 0} : Direction{norm.z / root, norm.x / root};
  fast[0] = fast_angle(h.c, h.s);
  fast[1] = fast_angle(root, -norm.y);
  fast[2] = fast_angle(hor.x * h.c - hor.z * h.s, vert.x * h.c - vert.z * h.s);
}

void Q7C_FastToXYZ(Q7Vector *axes, const double *fast) {
  const Direction h = direction_of(fast[0]), p = direction_of(fast[1]), b = direction_of(fast[2]);
  axes[0] = {h.c * b.c - b.s * p.s * h.s, -p.c * b.s, -b.c * h.s - b.s * p.s * h.c};
  axes[1] = {h.c * b.s + p.s * h.s * b.c, p.c * b.c, b.c * p.s * h.c - h.s * b.s};
  axes[2] = {p.c * h.s, -p.s, p.c * h.c};
}

void Q7C_HPBToXYZ(Q7Vector *axes, const double *angles) {
  Q7HPBToXYZ(angles[0], angles[1], angles[2], axes, axes + 1, axes + 2);
}

void Q7C_HPBFromXYZ(double *angles, const Q7Vector *axes) {
  Q7HPBFromXYZ(angles, angles + 1, angles + 2, axes, axes + 1, axes + 2);
}

void Q7C_HPTToXYZ(Q7Vector *axes, const double *angles) {
  Q7HPTToXYZ(angles[0], angles[1], angles[2], axes, axes + 1, axes + 2);
}

void Q7C_HPTFromXYZ(double *angles, const Q7Vector *axes) {
  Q7HPTFromXYZ(angles, angles + 1, angles + 2, axes, axes + 1, axes + 2);
}
