// q7vector4: arithmetic of homogeneous points. Pure functions, as in q7vector; operands are read before the destination
// is written.
#include "math/q7vector4.h"

#include <cmath>
#include <cstring>

#include "math/stream.hpp"
#include "math/values.hpp"

static_assert(sizeof(Q7Vector4) == 32);

namespace {

Q7Vector4 difference(const Q7Vector4 &a, const Q7Vector4 &b) { return {a.x - b.x, a.y - b.y, a.z - b.z, a.w - b.w}; }

// The determinant of three rows of three, its six products grouped by the first row.
double determinant(double a1, double a2, double a3, double b1, double b2, double b3, double c1, double c2, double c3) {
  return a1 * (b2 * c3 - b3 * c2) - a2 * (b1 * c3 - b3 * c1) + a3 * (b1 * c2 - b2 * c1);
}

}  // namespace

Q7Vector4 *V4Set(Q7Vector4 *r, double x, double y, double z, double w) {
  *r = {x, y, z, w};
  return r;
}

Q7Vector4 *V4Add(Q7Vector4 *r, const Q7Vector4 *a, const Q7Vector4 *b) {
  return V4Set(r, a->x + b->x, a->y + b->y, a->z + b->z, a->w + b->w);
}

Q7Vector4 *V4FAdd(Q7Vector4 *a, const Q7Vector4 *b) { return V4Add(a, a, b); }

// b - a, as VSub.
Q7Vector4 *V4Sub(Q7Vector4 *r, const Q7Vector4 *a, const Q7Vector4 *b) {
  *r = difference(*b, *a);
  return r;
}

Q7Vector4 *V4FSub(Q7Vector4 *a, const Q7Vector4 *b) {
  *a = difference(*a, *b);
  return a;
}

Q7Vector4 *V4Mul(Q7Vector4 *r, double s, const Q7Vector4 *a) {
  return V4Set(r, s * a->x, s * a->y, s * a->z, s * a->w);
}

Q7Vector4 *V4FMul(Q7Vector4 *a, double s) { return V4Mul(a, s, a); }

Q7Vector4 *V4Div(Q7Vector4 *r, double s, const Q7Vector4 *a) {
  return V4Set(r, a->x / s, a->y / s, a->z / s, a->w / s);
}

Q7Vector4 *V4FDiv(Q7Vector4 *a, double s) { return V4Div(a, s, a); }

Q7Vector4 *V4Neg(Q7Vector4 *a) { return V4Set(a, -a->x, -a->y, -a->z, -a->w); }

Q7Vector4 *C4Mul(Q7Vector4 *r, const Q7Vector4 *a, const Q7Vector4 *b) {
  return V4Set(r, a->x * b->x, a->y * b->y, a->z * b->z, a->w * b->w);
}

Q7Vector4 *C4FMul(Q7Vector4 *a, const Q7Vector4 *b) { return C4Mul(a, a, b); }

// No zero divisor is replaced: a homogeneous point with w = 0 is at infinity and has to stay there.
Q7Vector4 *C4Div(Q7Vector4 *r, const Q7Vector4 *d, const Q7Vector4 *a) {
  return V4Set(r, a->x / d->x, a->y / d->y, a->z / d->z, a->w / d->w);
}

Q7Vector4 *C4FDiv(Q7Vector4 *a, const Q7Vector4 *d) { return C4Div(a, d, a); }

double P4Mul(const Q7Vector4 *a, const Q7Vector4 *b) { return a->x * b->x + a->y * b->y + a->z * b->z + a->w * b->w; }

double V4Len(const Q7Vector4 *a) { return std::sqrt(P4Mul(a, a)); }

double V4Norm(Q7Vector4 *a) {
  const double len = V4Len(a);
  if (len > q7::smallest_normal) {
    V4FDiv(a, len);
  } else {
    a->x = 1;
  }
  return len;
}

Q7Vector4 *V4OrtUnit(Q7Vector4 *r, const Q7Vector4 *a, const Q7Vector4 *n) {
  const double s = P4Mul(a, n);
  return V4Set(r, a->x - s * n->x, a->y - s * n->y, a->z - s * n->z, a->w - s * n->w);
}

Q7Vector4 *V4Ort(Q7Vector4 *r, const Q7Vector4 *a, const Q7Vector4 *n) {
  Q7Vector4 unit = *n;
  V4Norm(&unit);
  return V4OrtUnit(r, a, &unit);
}

Q7Vector4 *V4Comp(Q7Vector4 *r, const Q7Vector4 *u, const Q7Vector4 *a) { return V4Mul(r, P4Mul(u, a), u); }

Q7Vector4 *V4Interpolate(Q7Vector4 *r, const Q7Vector4 *a, const Q7Vector4 *b, double t) {
  const double s = 1 - t;
  return V4Set(r, s * a->x + t * b->x, s * a->y + t * b->y, s * a->z + t * b->z, s * a->w + t * b->w);
}

Q7Vector4 *V4Average(Q7Vector4 *r, const Q7Vector4 *pts, int32_t n) {
  Q7Vector4 sum = {0, 0, 0, 0};
  for (int32_t i = 0; i < n; ++i) V4FAdd(&sum, pts + i);
  return V4Div(r, static_cast<double>(n), &sum);
}

int32_t V4AEq(const Q7Vector4 *a, const Q7Vector4 *b, double eps) {
  const Q7Vector4 d = difference(*a, *b);
  return std::fabs(d.x) < eps && std::fabs(d.y) < eps && std::fabs(d.z) < eps && std::fabs(d.w) < eps;
}

int32_t V4Cmp(const Q7Vector4 *a, const Q7Vector4 *b, double eps) {
  const Q7Vector4 d = difference(*a, *b);
  const bool equal = std::fabs(d.x) <= eps && std::fabs(d.y) <= eps && std::fabs(d.z) <= eps && std::fabs(d.w) <= eps;
  return equal ? 0 : 1;
}

Q7Vector4 *V4Cross(Q7Vector4 *r, const Q7Vector4 *a, const Q7Vector4 *b, const Q7Vector4 *c) {
  return V4Set(r, determinant(a->y, a->z, a->w, b->y, b->z, b->w, c->y, c->z, c->w),
               -determinant(a->x, a->z, a->w, b->x, b->z, b->w, c->x, c->z, c->w),
               determinant(a->x, a->y, a->w, b->x, b->y, b->w, c->x, c->y, c->w),
               -determinant(a->x, a->y, a->z, b->x, b->y, b->z, c->x, c->y, c->z));
}

double V4Radius(const Q7Vector4 *c, const Q7Vector4 *pts, int32_t n) {
  Q7Vector4 d = difference(pts[0], *c);
  double largest = V4Len(&d);
  for (int32_t i = 1; i < n; ++i) {
    d = difference(pts[i], *c);
    const double len = V4Len(&d);
    if (len > largest) largest = len;
  }
  return largest;
}

Q7Vector4 *V4PlaneNormal(Q7Vector4 *r, const Q7Vector4 *pts, int32_t n) {
  Q7Vector4 found = {0, 0, 0, 0};
  double best = 0;
  for (int32_t i = 3; i < n; ++i) {
    const Q7Vector4 a = difference(pts[i - 2], pts[0]);
    const Q7Vector4 b = difference(pts[i - 1], pts[0]);
    const Q7Vector4 c = difference(pts[i], pts[0]);
    Q7Vector4 normal;
    V4Cross(&normal, &a, &b, &c);
    const double len = V4Norm(&normal);
    if (len > best) {
      found = normal;
      best = len;
    }
    if (len > 0.001) break;
  }
  if (best > 0) *r = found;
  return r;
}

Q7Vector4 *V4ClipTo3D(Q7Vector4 *r, const Q7Vector *v) { return V4Set(r, v->x, v->y, v->z, 1); }

void Q7ProjectTo3D(Q7Vector4 *pts, int32_t n) {
  for (int32_t i = 0; i < n; ++i) {
    Q7Vector4 &p = pts[i];
    p = {p.x / p.w, p.y / p.w, p.z / p.w, p.w};
  }
}

void Q7LiftTo4D(Q7Vector4 *pts, int32_t n) { Q7LiftTo4DCopy(pts, pts, n); }

void Q7LiftTo4DCopy(Q7Vector4 *dst, const Q7Vector4 *src, int32_t n) {
  for (int32_t i = 0; i < n; ++i) {
    const Q7Vector4 p = src[i];
    dst[i] = {p.x * p.w, p.y * p.w, p.z * p.w, p.w};
  }
}

// Bytes are moved, so that the arrays may be the same memory: a point never comes out behind the one it was read from.
void Q7ConvertTo3D(Q7Vector *dst, const Q7Vector4 *src, int32_t n) {
  for (int32_t i = 0; i < n; ++i) std::memmove(dst + i, src + i, sizeof(Q7Vector));
}

int32_t Q7Vector4Write(const Q7Vector4 *v, Q7Object *stream) {
  return v ? q7::stream_doubles(stream, q7::stream_write_double, &v->x, 4) : 0;
}

int32_t Q7Vector4Read(Q7Vector4 *v, Q7Object *stream) {
  return v ? q7::stream_doubles(stream, q7::stream_read_double, &v->x, 4) : 0;
}
