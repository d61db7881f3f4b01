// q7matrix: constructors, combinators and transforms of 4x4 matrices with column vectors. The product and the inverse
// live with the paths (paths.hpp), since renderers call them most; everything here is written out plainly. Operands are
// copied before the destination is written, so that it may be one of them.
#include "math/q7matrix.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "math/paths.hpp"
#include "math/print.hpp"
#include "math/stream.hpp"
#include "math/values.hpp"

static_assert(sizeof(Q7Matrix) == 128);

namespace {

constexpr Q7Matrix identity = {{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}};

// m = m X.
Q7Matrix *concat_right(Q7Matrix *m, const Q7Matrix &x) { return Q7MxFConcat(m, &x); }

// The components 0, 1, 2 as an array.
struct Components {
  double c[3];
  explicit Components(const Q7Vector &v) : c{v.x, v.y, v.z} {}
  double operator[](int i) const { return c[i]; }
};

// How many elements of row or column `index` are copied when n are asked for.
int32_t bounded(int32_t index, int32_t n) { return index < 0 || index > 3 ? 0 : std::clamp(n, 0, 4); }

}  // namespace

Q7Matrix *Q7MxNull(Q7Matrix *m) {
  *m = {};
  return m;
}

Q7Matrix *Q7MxIdentity(Q7Matrix *m) {
  *m = identity;
  return m;
}

Q7Matrix *Q7MxCopy(Q7Matrix *r, const Q7Matrix *m) {
  std::memmove(r, m, sizeof *r);
  return r;
}

Q7Matrix *Q7MxTranspose(Q7Matrix *r, const Q7Matrix *m) {
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 4; ++j) r->m[i][j] = m->m[j][i];
  }
  return r;
}

int32_t Q7MxEqual(const Q7Matrix *a, const Q7Matrix *b) {
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 4; ++j) {
      if (!(a->m[i][j] == b->m[i][j])) return 0;
    }
  }
  return 1;
}

int32_t Q7MxAlmostEqual(const Q7Matrix *a, const Q7Matrix *b) {
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 4; ++j) {
      if (!(std::fabs(a->m[i][j] - b->m[i][j]) <= 1e-8)) return 0;
    }
  }
  return 1;
}

void Q7MxColumnToVector(double *v, const Q7Matrix *m, int32_t j, int32_t n) {
  for (int32_t i = 0; i < bounded(j, n); ++i) v[i] = m->m[i][j];
}

void Q7MxVectorToColumn(const double *v, Q7Matrix *m, int32_t j, int32_t n) {
  for (int32_t i = 0; i < bounded(j, n); ++i) m->m[i][j] = v[i];
}

void Q7MxRowToVector(double *v, const Q7Matrix *m, int32_t i, int32_t n) {
  for (int32_t j = 0; j < bounded(i, n); ++j) v[j] = m->m[i][j];
}

void Q7MxVectorToRow(const double *v, Q7Matrix *m, int32_t i, int32_t n) {
  for (int32_t j = 0; j < bounded(i, n); ++j) m->m[i][j] = v[j];
}

Q7Matrix *Q7MxConcat(Q7Matrix *r, const Q7Matrix *a, const Q7Matrix *b) { return q7::active_path.concat(r, a, b); }

Q7Matrix *Q7MxFConcat(Q7Matrix *a, const Q7Matrix *b) {
  Q7Matrix product;
  Q7MxConcat(&product, a, b);
  *a = product;
  return a;
}

Q7Matrix *Q7MxFConcatLeft(Q7Matrix *a, const Q7Matrix *b) {
  Q7Matrix product;
  Q7MxConcat(&product, b, a);
  *a = product;
  return a;
}

int32_t Q7MxInvert(Q7Matrix *r, const Q7Matrix *m) { return q7::active_path.invert(r, m); }

int32_t Q7MxFInvert(Q7Matrix *m) { return Q7MxInvert(m, m); }

Q7Vector4 *Q7MxTransform4(Q7Vector4 *r, const Q7Matrix *m, const Q7Vector4 *q) {
  const Q7Vector4 v = *q;
  auto row = [m, &v](int i) {
    const double *e = m->m[i];
    return e[0] * v.x + e[1] * v.y + e[2] * v.z + e[3] * v.w;
  };
  return V4Set(r, row(0), row(1), row(2), row(3));
}

Q7Vector *Q7MxTransform(Q7Vector *r, const Q7Matrix *m, const Q7Vector *p) {
  q7::transform_point(*r, *m, *p);
  return r;
}

Q7Vector *Q7MxFTransform(Q7Vector *p, const Q7Matrix *m) { return Q7MxTransform(p, m, p); }

Q7Vector *Q7MxTransformL(Q7Vector *r, const Q7Matrix *m, const Q7Vector *v) {
  q7::transform_direction(*r, *m, *v);
  return r;
}

Q7Vector *Q7MxFTransformL(Q7Vector *v, const Q7Matrix *m) { return Q7MxTransformL(v, m, v); }

Q7Vector *Q7MxDeform(Q7Vector *r, const Q7Matrix *m, const Q7Vector *p, double f) {
  Q7Vector moved;
  Q7MxTransform(&moved, m, p);
  *r = *p + f * (moved - *p);
  return r;
}

int32_t Q7MxWrite(const Q7Matrix *m, Q7Object *stream) {
  return m ? q7::stream_doubles(stream, q7::stream_write_double, m->m[0], 16) : 0;
}

int32_t Q7MxRead(Q7Matrix *m, Q7Object *stream) {
  return m ? q7::stream_doubles(stream, q7::stream_read_double, m->m[0], 16) : 0;
}

int32_t Q7MxPrint(const Q7Matrix *m) {
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 4; ++j) {
      q7::print_number(m->m[i][j], 2);
      q7::print_text(" ");
    }
    q7::print_text("\n");
  }
  return 1;
}

// Translation and scaling.

Q7Matrix *Q7MxTranslate(Q7Matrix *m, double x, double y, double z) {
  *m = {{{1, 0, 0, x}, {0, 1, 0, y}, {0, 0, 1, z}, {0, 0, 0, 1}}};
  return m;
}

Q7Matrix *Q7MxConcatTranslate(Q7Matrix *m, double x, double y, double z) {
  Q7Matrix t;
  return concat_right(m, *Q7MxTranslate(&t, x, y, z));
}

Q7Matrix *Q7MxScale(Q7Matrix *m, double sx, double sy, double sz) {
  *m = {{{sx, 0, 0, 0}, {0, sy, 0, 0}, {0, 0, sz, 0}, {0, 0, 0, 1}}};
  return m;
}

Q7Matrix *Q7MxConcatScale(Q7Matrix *m, double sx, double sy, double sz) {
  for (auto &row : m->m) {
    row[0] *= sx;
    row[1] *= sy;
    row[2] *= sz;
  }
  return m;
}

// T(c) S T(-c), multiplied out.
Q7Matrix *Q7MxScaleEx(Q7Matrix *m, double sx, double sy, double sz, const Q7Vector *c) {
  *m = {{{sx, 0, 0, c->x - sx * c->x}, {0, sy, 0, c->y - sy * c->y}, {0, 0, sz, c->z - sz * c->z}, {0, 0, 0, 1}}};
  return m;
}

Q7Matrix *Q7MxConcatScaleEx(Q7Matrix *m, double sx, double sy, double sz, const Q7Vector *c) {
  Q7Matrix s;
  return concat_right(m, *Q7MxScaleEx(&s, sx, sy, sz, c));
}

// Rotations and skews.

// The frame is built on the negated axis. That is what makes a positive angle clockwise seen from the axis's tip; the
// quaternions' negative half angle and every stored rotation agree with it.
Q7Matrix *Q7MxRotateUnit(Q7Matrix *m, const Q7Vector *o, const Q7Vector *axis, double angle) {
  const Q7Vector n = -*axis;
  Q7Vector p, q;
  VGetPerpVect(&n, &p, &q);
  const q7::SinCos a(angle);
  const Q7Vector turned_p = a.c * p + a.s * q;
  const Q7Vector turned_q = -a.s * p + a.c * q;
  return Q7MxOrthoWarp(m, o, &p, &q, &n, o, &turned_p, &turned_q, &n);
}

Q7Matrix *Q7MxRotate(Q7Matrix *m, const Q7Vector *o, const Q7Vector *axis, double angle) {
  Q7Vector unit = *axis;
  VNorm(&unit);
  return Q7MxRotateUnit(m, o, &unit, angle);
}

Q7Matrix *Q7MxConcatRotate(Q7Matrix *m, const Q7Vector *o, const Q7Vector *axis, double angle) {
  Q7Matrix x;
  return concat_right(m, *Q7MxRotate(&x, o, axis, angle));
}

Q7Matrix *Q7MxSkew(Q7Matrix *m, const Q7Vector *o, const Q7Vector *a, const Q7Vector *b, double angle) {
  Q7Vector n;
  NormCross(&n, a, b);
  const q7::SinCos t(angle);
  const Q7Vector turned = t.c * *a + t.s * *b;
  return Q7MxSpaceWarp(m, o, a, b, &n, o, &turned, b, &n);
}

Q7Matrix *Q7MxConcatSkew(Q7Matrix *m, const Q7Vector *o, const Q7Vector *a, const Q7Vector *b, double angle) {
  Q7Matrix x;
  return concat_right(m, *Q7MxSkew(&x, o, a, b, angle));
}

Q7Matrix *Q7MxSkew3p(Q7Matrix *m, const Q7Vector *p0, const Q7Vector *p1, const Q7Vector *p2) {
  Q7Vector u = *p1 - *p0, d = *p2 - *p0;
  if (TNorm(&u) == 0 || TNorm(&d) == 0) return Q7MxIdentity(m);
  Q7Vector n = q7::cross(u, d);
  if (TNorm(&n) == 0) return Q7MxIdentity(m);
  const Q7Vector perpendicular = q7::cross(n, u);
  return Q7MxSpaceWarp(m, p0, &u, &perpendicular, &n, p0, &u, &d, &n);
}

// Projections.

Q7Matrix *Q7MxOrthogonal(Q7Matrix *m, double x0, double x1, double y0, double y1) {
  *m = identity;
  m->m[0][0] = 1 / (x1 - x0);
  m->m[1][1] = 1 / (y1 - y0);
  m->m[0][3] = -0.5 * (x1 + x0) / (x1 - x0);
  m->m[1][3] = -0.5 * (y1 + y0) / (y1 - y0);
  return m;
}

Q7Matrix *Q7MxConcatOrthogonal(Q7Matrix *m, double x0, double x1, double y0, double y1) {
  Q7Matrix x;
  return concat_right(m, *Q7MxOrthogonal(&x, x0, x1, y0, y1));
}

// (y0 - y1) turns y downwards, as pictures count their lines; with m[3][3] = -1 the division by w turns it back
// together with x and z. Viewers rely on the pair.
Q7Matrix *Q7MxOrtho(Q7Matrix *m, double x0, double x1, double y0, double y1, double z0, double z1) {
  *m = {};
  m->m[0][0] = 2 / (x1 - x0);
  m->m[0][3] = -(x1 + x0) / (x1 - x0);
  m->m[1][1] = 2 / (y0 - y1);
  m->m[1][3] = -(y0 + y1) / (y0 - y1);
  m->m[2][2] = -2 / (z1 - z0);
  m->m[2][3] = -(z1 + z0) / (z1 - z0);
  m->m[3][3] = -1;
  return m;
}

Q7Matrix *Q7MxPersp(Q7Matrix *m, double x0, double x1, double y0, double y1, double z0, double z1) {
  *m = {};
  m->m[0][0] = 2 * z0 / (x1 - x0);
  m->m[0][2] = (x1 + x0) / (x1 - x0);
  m->m[1][1] = 2 * z0 / (y0 - y1);
  m->m[1][2] = (y0 + y1) / (y0 - y1);
  m->m[2][2] = -(z0 + z1) / (z1 - z0);
  m->m[2][3] = -2 * z1 * z0 / (z1 - z0);
  m->m[3][2] = -1;
  return m;
}

// The far distance e is part of the call for hosts that keep one; this projection has no far plane.
Q7Matrix *Q7MxPerspective(Q7Matrix *m, double x0, double x1, double y0, double y1, double d, double e) {
  static_cast<void>(e);
  static constexpr Q7Matrix exchange_z_w = {{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 0, 1}, {0, 0, 1, 0}}};
  Q7MxOrthogonal(m, x0 / d, x1 / d, y0 / d, y1 / d);
  return concat_right(m, exchange_z_w);
}

Q7Matrix *Q7MxConcatPerspective(Q7Matrix *m, double x0, double x1, double y0, double y1, double d, double e) {
  Q7Matrix x;
  return concat_right(m, *Q7MxPerspective(&x, x0, x1, y0, y1, d, e));
}

Q7Matrix *Q7MxPlaneHitByDirection(Q7Matrix *m, const Q7Vector *o, const Q7Vector *n) {
  const double height = q7::dot(*o, *n);
  *m = {{{height, 0, 0, 0}, {0, height, 0, 0}, {0, 0, height, 0}, {n->x, n->y, n->z, 0}}};
  return m;
}

Q7Matrix *Q7MxPlaneHitBySource(Q7Matrix *m, const Q7Vector *o, const Q7Vector *n) {
  *m = identity;
  if (n->z == 0) return m;
  m->m[2][0] = -n->x / n->z;
  m->m[2][1] = -n->y / n->z;
  m->m[2][2] = -1;
  m->m[2][3] = q7::dot(*o, *n) / n->z;
  return m;
}

// Frames.

Q7Matrix *Q7MxSpace(Q7Matrix *m, const Q7Vector *o, const Q7Vector *h, const Q7Vector *v, const Q7Vector *n) {
  *m = {{{h->x, v->x, n->x, o->x}, {h->y, v->y, n->y, o->y}, {h->z, v->z, n->z, o->z}, {0, 0, 0, 1}}};
  return m;
}

Q7Matrix *Q7MxSpaceTranspose(Q7Matrix *m, const Q7Vector *o, const Q7Vector *h, const Q7Vector *v, const Q7Vector *n) {
  *m = {{{h->x, h->y, h->z, 0}, {v->x, v->y, v->z, 0}, {n->x, n->y, n->z, 0}, {o->x, o->y, o->z, 1}}};
  return m;
}

Q7Matrix *Q7MxInvSpace(Q7Matrix *m, const Q7Vector *o, const Q7Vector *h, const Q7Vector *v, const Q7Vector *n) {
  Q7Matrix space;
  Q7MxInvert(m, Q7MxSpace(&space, o, h, v, n));
  return m;
}

Q7Matrix *Q7MxSpaceRotation(Q7Matrix *m, const Q7Vector *ha, const Q7Vector *va, const Q7Vector *na, const Q7Vector *hb,
                            const Q7Vector *vb, const Q7Vector *nb) {
  const Components from_h(*ha), from_v(*va), from_n(*na), to_h(*hb), to_v(*vb), to_n(*nb);
  *m = identity;
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) m->m[i][j] = to_h[i] * from_h[j] + to_v[i] * from_v[j] + to_n[i] * from_n[j];
  }
  return m;
}

Q7Matrix *Q7MxSpaceWarp(Q7Matrix *m, const Q7Vector *oa, const Q7Vector *ha, const Q7Vector *va, const Q7Vector *na,
                        const Q7Vector *ob, const Q7Vector *hb, const Q7Vector *vb, const Q7Vector *nb) {
  Q7Matrix from, to;
  Q7MxInvSpace(&from, oa, ha, va, na);
  Q7MxSpace(&to, ob, hb, vb, nb);
  return Q7MxConcat(m, &to, &from);
}

Q7Matrix *Q7MxOrthoWarp(Q7Matrix *m, const Q7Vector *oa, const Q7Vector *ha, const Q7Vector *va, const Q7Vector *na,
                        const Q7Vector *ob, const Q7Vector *hb, const Q7Vector *vb, const Q7Vector *nb) {
  const Q7Vector from = *oa;
  const Components to(*ob);
  Q7MxSpaceRotation(m, ha, va, na, hb, vb, nb);
  for (int i = 0; i < 3; ++i) {
    double *row = m->m[i];
    row[3] = to[i] - (row[0] * from.x + row[1] * from.y + row[2] * from.z);
  }
  return m;
}

void Q7MxSpaceFromMatrix(const Q7Matrix *m, Q7Vector *o, Q7Vector *h, Q7Vector *v, Q7Vector *n) {
  const Q7Matrix copy = *m;
  auto column = [&copy](int j) { return Q7Vector{copy.m[0][j], copy.m[1][j], copy.m[2][j]}; };
  *h = column(0);
  *v = column(1);
  *n = column(2);
  *o = column(3);
}

Q7Matrix *Q7MxDelta(Q7Matrix *m, const Q7Matrix *a, const Q7Matrix *b) {
  Q7Matrix inverse, product;
  Q7MxInvert(&inverse, a);
  Q7MxConcat(&product, b, &inverse);
  *m = product;
  return m;
}

Q7Matrix *Q7MxRotate2VUnit(Q7Matrix *m, const Q7Vector *a, const Q7Vector *b, const Q7Vector *fallback) {
  Q7Vector c = q7::cross(*a, *b);
  const double len = VNorm(&c);
  if (len < 1e-12) {
    if (q7::dot(*a, *b) > 0) return Q7MxIdentity(m);
    c = *fallback;
  }
  if (len < 1e-8) {
    // So short a product has lost its direction to rounding, and a fallback was never perpendicular.
    VOrtUnit(&c, &c, a);
    VOrtUnit(&c, &c, b);
    VNorm(&c);
  }
  const Q7Vector side_a = q7::cross(c, *a), side_b = q7::cross(c, *b);
  return Q7MxSpaceRotation(m, a, &side_a, &c, b, &side_b, &c);
}

Q7Matrix *Q7MxRotate2V(Q7Matrix *m, const Q7Vector *a, const Q7Vector *b, const Q7Vector *fallback) {
  Q7Vector unit_a = *a, unit_b = *b;
  VNorm(&unit_a);
  VNorm(&unit_b);
  return Q7MxRotate2VUnit(m, &unit_a, &unit_b, fallback);
}

Q7Matrix *Q7MxWarp2VUnit(Q7Matrix *m, const Q7Vector *o, const Q7Vector *a, const Q7Vector *b,
                         const Q7Vector *fallback) {
  const Q7Vector fixed = *o;
  const Components origin(fixed);
  Q7MxRotate2VUnit(m, a, b, fallback);
  for (int i = 0; i < 3; ++i) {
    double *row = m->m[i];
    row[3] = origin[i] - (row[0] * fixed.x + row[1] * fixed.y + row[2] * fixed.z);
  }
  return m;
}

Q7Matrix *Q7MxNormal(Q7Matrix *r, const Q7Matrix *m) {
  Q7Matrix cofactors = identity;
  for (int i = 0; i < 3; ++i) {
    const double *next = m->m[(i + 1) % 3], *last = m->m[(i + 2) % 3];
    for (int j = 0; j < 3; ++j) {
      const int k = (j + 1) % 3, l = (j + 2) % 3;
      cofactors.m[i][j] = next[k] * last[l] - last[k] * next[l];
    }
  }
  *r = cofactors;
  return r;
}
