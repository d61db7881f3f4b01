// q7coordsys: frames: mapping, polar angles, reshaping, extents, streaming. What turns a frame by angles is in
// q7csangles.cpp. Pure functions; operands are read before the destination is written.
#include "math/q7coordsys.h"

#include <cmath>

#include "math/print.hpp"
#include "math/stream.hpp"
#include "math/values.hpp"

static_assert(sizeof(Q7CoordSys) == 96);

const Q7CoordSys _q7cs_abs = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}};

namespace {

// The products of a vector with the three axes.
Q7Vector along_axes(const Q7Vector &d, const Q7CoordSys &cs) {
  return {q7::dot(d, cs.hor), q7::dot(d, cs.vert), q7::dot(d, cs.norm)};
}

Q7Vector combination(const Q7Vector &p, const Q7CoordSys &cs) { return p.x * cs.hor + p.y * cs.vert + p.z * cs.norm; }

Q7Vector polar_direction(const Q7CoordSys &cs, double az, double el, double len) {
  const q7::SinCos a(az), e(el);
  return len * ((a.c * e.c) * cs.hor + (a.s * e.c) * cs.vert + e.s * cs.norm);
}

}  // namespace

Q7CoordSys *Q7CsSet(Q7CoordSys *cs, const Q7Vector *o, const Q7Vector *h, const Q7Vector *v, const Q7Vector *n) {
  *cs = {*o, *h, *v, *n};
  return cs;
}

Q7CoordSys *Q7CSIdentity(Q7CoordSys *cs) {
  *cs = _q7cs_abs;
  return cs;
}

int32_t Q7CsEq(const Q7CoordSys *a, const Q7CoordSys *b) {
  return VEq(&a->norm, &b->norm) && VEq(&a->hor, &b->hor) && VEq(&a->vert, &b->vert) && VEq(&a->orig, &b->orig);
}

Q7Vector *Q7CsMapV(Q7Vector *r, const Q7Vector *p, const Q7CoordSys *cs) {
  *r = along_axes(*p - cs->orig, *cs);
  return r;
}

Q7Vector *Q7CsMapVExt(Q7Vector *r, const Q7Vector *p, const Q7CoordSys *cs) {
  const Q7Vector d = *p - cs->orig;
  auto coordinate = [&d](Q7Vector axis) {
    const double len = VNorm(&axis);
    return q7::dot(d, axis) / (len > 1e-8 ? len : 1e-8);
  };
  *r = {coordinate(cs->hor), coordinate(cs->vert), coordinate(cs->norm)};
  return r;
}

Q7Vector *Q7CsUnmapV(Q7Vector *r, const Q7Vector *p, const Q7CoordSys *cs) {
  *r = combination(*p, *cs) + cs->orig;
  return r;
}

Q7CoordSys *Q7CsMapCs(Q7CoordSys *r, const Q7CoordSys *a, const Q7CoordSys *cs) {
  *r = {along_axes(a->orig - cs->orig, *cs), along_axes(a->hor, *cs), along_axes(a->vert, *cs),
        along_axes(a->norm, *cs)};
  return r;
}

Q7CoordSys *Q7CsUnmapCs(Q7CoordSys *r, const Q7CoordSys *a, const Q7CoordSys *cs) {
  *r = {combination(a->orig, *cs) + cs->orig, combination(a->hor, *cs), combination(a->vert, *cs),
        combination(a->norm, *cs)};
  return r;
}

int32_t Q7CsPrepareLinComp(Q7CoordSys *r, const Q7CoordSys *cs) {
  const Q7Vector h = q7::cross(cs->vert, cs->norm), v = q7::cross(cs->norm, cs->hor), n = q7::cross(cs->hor, cs->vert);
  const double volume = q7::dot(cs->hor, h);
  if (volume == 0) return 0;
  *r = {cs->orig, h / volume, v / volume, n / volume};
  return 1;
}

void Q7CsVToPolar(double *az, double *el, double *len, Q7Vector *v, const Q7CoordSys *cs) {
  *len = VNorm(v);
  const Q7Vector d = along_axes(*v, *cs);
  const double r2 = d.x * d.x + d.y * d.y;
  if (r2 < 1e-40) {
    // The reverse of the sign of the general case: cameras that look along their normal are stored so.
    *az = 0;
    *el = d.z > 0 ? -q7::half_pi : q7::half_pi;
    return;
  }
  const double q = d.x / std::sqrt(r2);
  if (q > 1) {
    *az = 0;
  } else if (q < -1) {
    *az = q7::pi;
  } else {
    const double angle = std::acos(q);
    *az = d.y < 0 ? -angle : angle;
  }
  *el = d.z > 1 ? q7::half_pi : d.z < -1 ? -q7::half_pi : std::asin(d.z);
}

Q7Vector *Q7CsVFromPolar(Q7Vector *v, const Q7CoordSys *cs, double az, double el, double len) {
  *v = polar_direction(*cs, az, el, len);
  return v;
}

void Q7CsPToPolar(double *az, double *el, double *len, const Q7Vector *p, const Q7CoordSys *cs) {
  Q7Vector d = *p - cs->orig;
  Q7CsVToPolar(az, el, len, &d, cs);
}

Q7Vector *Q7CsPFromPolar(Q7Vector *p, const Q7CoordSys *cs, double az, double el, double len) {
  *p = cs->orig + polar_direction(*cs, az, el, len);
  return p;
}

Q7CoordSys *Q7CsNormalize(Q7CoordSys *cs) {
  cs->norm = q7::cross(cs->hor, cs->vert);
  cs->vert = q7::cross(cs->norm, cs->hor);
  return Q7CsRemoveScale(cs);
}

int32_t Q7CsNormalizeKeepSpin(Q7CoordSys *cs) {
  VNorm(&cs->hor);
  VOrtUnit(&cs->vert, &cs->vert, &cs->hor);
  VNorm(&cs->vert);
  const Q7Vector n = q7::cross(cs->hor, cs->vert);
  const bool mirrored = q7::dot(n, cs->norm) < 0;
  cs->norm = mirrored ? -n : n;
  return mirrored ? -1 : 1;
}

Q7CoordSys *Q7CsRotate(Q7CoordSys *cs, double a, double b, double c) {
  const q7::SinCos first(a), second(b), third(c);
  const Q7Vector t1 = first.c * cs->vert + first.s * cs->norm;
  const Q7Vector t2 = first.c * cs->norm - first.s * cs->vert;
  const Q7Vector t3 = second.c * cs->hor - second.s * t2;
  cs->norm = second.c * t2 + second.s * cs->hor;
  cs->vert = third.c * t1 - third.s * t3;
  cs->hor = third.c * t3 + third.s * t1;
  return cs;
}

Q7CoordSys *Q7CsFRotate2V(Q7CoordSys *cs, const Q7Vector *a, const Q7Vector *b, const Q7Vector *fallback) {
  Q7Matrix m;
  Q7MxRotate2VUnit(&m, a, b, fallback);
  Q7MxFTransformL(&cs->hor, &m);
  Q7MxFTransformL(&cs->vert, &m);
  Q7MxFTransformL(&cs->norm, &m);
  return cs;
}

Q7CoordSys *Q7CsRemoveSkew(Q7CoordSys *cs) {
  const double lh = q7::length(cs->hor), lv = q7::length(cs->vert);
  double ln = q7::length(cs->norm);
  Q7Vector n = q7::cross(cs->hor, cs->vert);
  // The handedness is carried by the sign of the length.
  if (q7::dot(n, cs->norm) < 0) ln = -ln;
  VNorm(&n);
  Q7Vector v = q7::cross(n, cs->hor);
  VNorm(&v);
  Q7Vector h = q7::cross(v, n);
  VNorm(&h);
  cs->hor = lh * h;
  cs->vert = lv * v;
  cs->norm = ln * n;
  return cs;
}

Q7CoordSys *Q7CsRemoveScale(Q7CoordSys *cs) {
  VNorm(&cs->hor);
  VNorm(&cs->vert);
  VNorm(&cs->norm);
  return cs;
}

Q7CoordSys *Q7CsRemoveRotation(Q7CoordSys *cs) {
  cs->hor = q7::length(cs->hor) * q7v_hor;
  cs->vert = q7::length(cs->vert) * q7v_vert;
  cs->norm = q7::length(cs->norm) * q7v_norm;
  return cs;
}

void Q7CsBoundingBox(const Q7CoordSys *cs, const Q7Vector *pts, int32_t n, Q7Vector *min, Q7Vector *max) {
  Q7Vector low = along_axes(pts[0] - cs->orig, *cs), high = low;
  for (int32_t i = 1; i < n; ++i) {
    const Q7Vector d = along_axes(pts[i] - cs->orig, *cs);
    if (d.x < low.x) low.x = d.x;
    if (d.y < low.y) low.y = d.y;
    if (d.z < low.z) low.z = d.z;
    if (d.x > high.x) high.x = d.x;
    if (d.y > high.y) high.y = d.y;
    if (d.z > high.z) high.z = d.z;
  }
  *min = low;
  *max = high;
}

int32_t Q7CsFit(Q7CoordSys *cs, const Q7CoordSys *other) {
  const double lengths[3] = {q7::length(cs->hor), q7::length(cs->vert), q7::length(cs->norm)};
  Q7CoordSys unit = *cs;
  Q7CsNormalizeKeepSpin(&unit);
  const Q7Vector &o = other->orig;
  const Q7Vector corners[5] = {o, o + other->hor, o + other->vert, o + other->norm,
                               o + other->hor + other->vert + other->norm};
  Q7Vector min, max;
  Q7CsBoundingBox(&unit, corners, 5, &min, &max);
  const Q7Vector axes[3] = {unit.hor, unit.vert, unit.norm};
  const double low[3] = {min.x, min.y, min.z}, high[3] = {max.x, max.y, max.z};
  Q7Vector *const grown[3] = {&cs->hor, &cs->vert, &cs->norm};
  int32_t changed = 0;
  for (int k = 0; k < 3; ++k) {
    if (low[k] < 0) {
      cs->orig = cs->orig + low[k] * axes[k];
      changed = 1;
    }
  }
  // Measured from the old origin, also where it has just moved: the caller repeats until nothing changes.
  for (int k = 0; k < 3; ++k) {
    if (high[k] > lengths[k]) {
      *grown[k] = high[k] * axes[k];
      changed = 1;
    }
  }
  return changed;
}

int32_t Q7CsWrite(const Q7CoordSys *cs, Q7Object *stream) {
  return cs && Q7VectorWrite(&cs->orig, stream) && Q7VectorWrite(&cs->hor, stream) &&
         Q7VectorWrite(&cs->vert, stream) && Q7VectorWrite(&cs->norm, stream);
}

int32_t Q7CsRead(Q7CoordSys *cs, Q7Object *stream) {
  return cs && Q7VectorRead(&cs->orig, stream) && Q7VectorRead(&cs->hor, stream) && Q7VectorRead(&cs->vert, stream) &&
         Q7VectorRead(&cs->norm, stream);
}

void Q7CsPrint(const Q7CoordSys *cs) {
  auto line = [](const char *name, const Q7Vector &v) {
    q7::print_text(name);
    VPrint(&v);
    q7::print_text("\n");
  };
  line("orig ", cs->orig);
  line("hor  ", cs->hor);
  line("vert ", cs->vert);
  line("norm ", cs->norm);
}
