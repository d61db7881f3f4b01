// q7vector: arithmetic of three-dimensional vectors. Everything here is a pure function of its arguments; every
// function reads its operands before it stores, so that the destination may be one of them. VRot alone stores early.
#include "math/q7vector.h"

#include <cmath>

#include "math/print.hpp"
#include "math/stream.hpp"
#include "math/values.hpp"

using q7::smallest_normal;

static_assert(sizeof(Q7Vector) == 24 && sizeof(Q7Vector2) == 16);

const Q7Vector q7v_hor = {1, 0, 0};
const Q7Vector q7v_vert = {0, 1, 0};
const Q7Vector q7v_norm = {0, 0, 1};
const Q7Vector q7v_null = {0, 0, 0};

const Q7Vector *VIdentityX(void) { return &q7v_hor; }
const Q7Vector *VIdentityY(void) { return &q7v_vert; }
const Q7Vector *VIdentityZ(void) { return &q7v_norm; }
const Q7Vector *VIdentityO(void) { return &q7v_null; }

Q7Vector *VSet(Q7Vector *r, double x, double y, double z) {
  *r = {x, y, z};
  return r;
}

Q7Vector *VCopy(Q7Vector *r, const Q7Vector *a) { return VSet(r, a->x, a->y, a->z); }

Q7Vector *VNull(Q7Vector *r) { return VSet(r, 0, 0, 0); }

Q7Vector *VAdd(Q7Vector *r, const Q7Vector *a, const Q7Vector *b) {
  return VSet(r, a->x + b->x, a->y + b->y, a->z + b->z);
}

// b - a: callers read VSub(r, from, to).
Q7Vector *VSub(Q7Vector *r, const Q7Vector *a, const Q7Vector *b) {
  return VSet(r, b->x - a->x, b->y - a->y, b->z - a->z);
}

Q7Vector *VSubF(Q7Vector *a, const Q7Vector *b) { return VSub(a, a, b); }

Q7Vector *VFAdd(Q7Vector *a, const Q7Vector *b) { return VAdd(a, a, b); }

Q7Vector *VFSub(Q7Vector *a, const Q7Vector *b) { return VSub(a, b, a); }

Q7Vector *VMul(Q7Vector *r, double s, const Q7Vector *a) { return VSet(r, s * a->x, s * a->y, s * a->z); }

Q7Vector *VFMul(Q7Vector *a, double s) { return VMul(a, s, a); }

Q7Vector *VDiv(Q7Vector *r, double s, const Q7Vector *a) { return VSet(r, a->x / s, a->y / s, a->z / s); }

Q7Vector *VFDiv(Q7Vector *a, double s) { return VDiv(a, s, a); }

Q7Vector *VNeg(Q7Vector *a) { return VSet(a, -a->x, -a->y, -a->z); }

Q7Vector *VSetNeg(Q7Vector *r, const Q7Vector *a) { return VSet(r, -a->x, -a->y, -a->z); }

Q7Vector *VMid(Q7Vector *r, const Q7Vector *a, const Q7Vector *b) {
  return VSet(r, 0.5 * (a->x + b->x), 0.5 * (a->y + b->y), 0.5 * (a->z + b->z));
}

void VSwap(Q7Vector *a, Q7Vector *b) {
  Q7Vector t = *a;
  *a = *b;
  *b = t;
}

void FSwap(double *a, double *b) {
  double t = *a;
  *a = *b;
  *b = t;
}

void ISwap(int32_t *a, int32_t *b) {
  int32_t t = *a;
  *a = *b;
  *b = t;
}

Q7Vector *CMul(Q7Vector *r, const Q7Vector *a, const Q7Vector *b) {
  return VSet(r, a->x * b->x, a->y * b->y, a->z * b->z);
}

Q7Vector *CFMul(Q7Vector *a, const Q7Vector *b) { return CMul(a, a, b); }

// The divisor itself is mended: callers divide many vectors by one divisor and rely on it being free of zeros after the
// first.
Q7Vector *CDiv(Q7Vector *r, Q7Vector *d, const Q7Vector *a) {
  if (d->x == 0) d->x = 1;
  if (d->y == 0) d->y = 1;
  if (d->z == 0) d->z = 1;
  return VSet(r, a->x / d->x, a->y / d->y, a->z / d->z);
}

double PMul(const Q7Vector *a, const Q7Vector *b) { return q7::dot(*a, *b); }

double PFMul(const Q7Vector *a) { return q7::dot(*a, *a); }

double VLen(const Q7Vector *a) { return q7::length(*a); }

double VDist(const Q7Vector *a, const Q7Vector *b) { return q7::length(*b - *a); }

Q7Vector *VCross(Q7Vector *r, const Q7Vector *a, const Q7Vector *b) {
  *r = q7::cross(*a, *b);
  return r;
}

Q7Vector *NormCross(Q7Vector *r, const Q7Vector *a, const Q7Vector *b) {
  const Q7Vector c = q7::cross(*a, *b);
  const double len = q7::length(c);
  *r = len == 0 ? c : c / len;
  return r;
}

Q7Vector *VComp(Q7Vector *r, const Q7Vector *u, const Q7Vector *a) {
  *r = q7::dot(*u, *a) * *u;
  return r;
}

int32_t VEq(const Q7Vector *a, const Q7Vector *b) { return a->x == b->x && a->y == b->y && a->z == b->z; }

int32_t VAEq(const Q7Vector *a, const Q7Vector *b, double eps) {
  return std::fabs(a->x - b->x) < eps && std::fabs(a->y - b->y) < eps && std::fabs(a->z - b->z) < eps;
}

// The opposite of VAEq in sense and in strictness: sorting code wants 0 for equal, also with eps 0.
int32_t VCompare(const Q7Vector *a, const Q7Vector *b, double eps) {
  const bool equal = std::fabs(a->x - b->x) <= eps && std::fabs(a->y - b->y) <= eps && std::fabs(a->z - b->z) <= eps;
  return equal ? 0 : 1;
}

int32_t VMaxComp(const Q7Vector *a) {
  const double x = std::fabs(a->x), y = std::fabs(a->y), z = std::fabs(a->z);
  if (y >= x) return z >= y ? 2 : 1;
  return z >= x ? 2 : 0;
}

// Ties go to the earlier index, so that Q7OrthSys3 does not exchange axes that are equally skewed.
int32_t VMinComp(const Q7Vector *a) {
  const double x = std::fabs(a->x), y = std::fabs(a->y), z = std::fabs(a->z);
  if (y < x) return z < y ? 2 : 1;
  return z < x ? 2 : 0;
}

void VPrint(const Q7Vector *a) {
  q7::print_number(a->x, 6);
  q7::print_text(" ");
  q7::print_number(a->y, 6);
  q7::print_text(" ");
  q7::print_number(a->z, 6);
}

double VNorm(Q7Vector *a) {
  const double len = q7::length(*a);
  if (len > smallest_normal) {
    *a = *a / len;
  } else {
    a->x = 1;
  }
  return len;
}

double TNorm(Q7Vector *a) {
  const double len = q7::length(*a);
  if (len > smallest_normal) *a = *a / len;
  return len;
}

Q7Vector *VOrt(Q7Vector *r, const Q7Vector *a, const Q7Vector *n) {
  const double nn = q7::dot(*n, *n);
  *r = nn < 1e-12 ? *a : *a - (q7::dot(*a, *n) / nn) * *n;
  return r;
}

Q7Vector *VOrtUnit(Q7Vector *r, const Q7Vector *a, const Q7Vector *n) {
  *r = *a - q7::dot(*a, *n) * *n;
  return r;
}

Q7Vector *VPtoPlane(Q7Vector *r, const Q7Vector *p, const Q7Vector *o, const Q7Vector *n) {
  const Q7Vector d = *p - *o;
  *r = *o + d - q7::dot(d, *n) * *n;
  return r;
}

Q7Vector *VMirr(Q7Vector *r, const Q7Vector *p, const Q7Vector *o, const Q7Vector *n) {
  const Q7Vector d = *p - *o;
  *r = *o + d - (2 * q7::dot(d, *n)) * *n;
  return r;
}

int32_t LinePlaneHit(Q7Vector *r, const Q7Vector *p, const Q7Vector *d, const Q7Vector *o, const Q7Vector *n) {
  const double den = q7::dot(*d, *n);
  if (std::fabs(den) <= 2 * smallest_normal) return 0;
  const double t = q7::dot(*o - *p, *n) / den;
  *r = *p + t * *d;
  return 1;
}

Q7Vector *CoDir(Q7Vector *a, const Q7Vector *b) { return q7::dot(*a, *b) < 0 ? VNeg(a) : a; }

Q7Vector *OppDir(Q7Vector *a, const Q7Vector *b) { return q7::dot(*a, *b) > 0 ? VNeg(a) : a; }

double AbsCos(const Q7Vector *a, const Q7Vector *b) {
  const double la = q7::length(*a), lb = q7::length(*b);
  if (la == 0 || lb == 0) return 0;
  return std::fabs(q7::dot(*a, *b)) / (la * lb);
}

void VGetPerpVect(const Q7Vector *n, Q7Vector *a, Q7Vector *b) {
  const Q7Vector normal = *n;
  const double flat = normal.x * normal.x + normal.z * normal.z;
  Q7Vector first = {1, 0, 0};
  if (!(flat <= 1e-50)) {
    const double s = std::sqrt(flat);
    first = {normal.z / s, 0, -normal.x / s};
  }
  *a = first;
  *b = q7::cross(normal, first);
}

Q7Vector *J7Normal(Q7Vector *r, const Q7Vector *a, const Q7Vector *b, const Q7Vector *c) {
  *r = q7::cross(*b - *a, *c - *a);
  VNorm(r);
  return r;
}

Q7Vector *PlaneNormal(Q7Vector *r, const Q7Vector *pts, int32_t n) {
  const Q7Vector origin = n < 3 ? q7v_null : pts[0];
  Q7Vector found = q7v_null;
  double best = 0;
  for (int32_t i = 2; i < n; ++i) {
    Q7Vector c = q7::cross(pts[i - 1] - origin, pts[i] - origin);
    const double len = VNorm(&c);
    if (len > best) {
      found = c;
      best = len;
    }
    if (len > 0.001) break;
  }
  if (best > 0) *r = found;
  return r;
}

Q7Vector *VAverage(Q7Vector *r, const Q7Vector *pts, int32_t n) {
  Q7Vector sum = q7v_null;
  for (int32_t i = 0; i < n; ++i) sum = sum + pts[i];
  *r = sum / static_cast<double>(n);
  return r;
}

double VRadius(const Q7Vector *c, const Q7Vector *pts, int32_t n) {
  double largest = VDist(c, pts);
  for (int32_t i = 1; i < n; ++i) {
    const double d = VDist(c, pts + i);
    if (d > largest) largest = d;
  }
  return largest;
}

Q7Vector *VInterpolate(Q7Vector *r, const Q7Vector *a, const Q7Vector *b, double t) {
  *r = (1 - t) * *a + t * *b;
  return r;
}

// r.x is stored before a.y is read: a caller that rotates in place gets a wrong y and z, and there are callers that
// compare against exactly that.
Q7Vector *VRot(Q7Vector *r, const Q7Vector *a, const Q7Vector *m) {
  r->x = q7::dot(*a, m[0]);
  r->y = q7::dot(*a, m[1]);
  r->z = q7::dot(*a, m[2]);
  return r;
}

Q7Vector *VUnRot(Q7Vector *r, const Q7Vector *a, const Q7Vector *m) {
  *r = a->x * m[0] + a->y * m[1] + a->z * m[2];
  return r;
}

// Linear combinations. The x row is used to clear the first vector out of the y and z rows; what is left of those is a
// system of two for the second and third coefficient.

namespace {

struct LinSystem {
  Q7Vector a, b, c, v;
  // The rows y and z of a vector with the first vector's share cleared by the x row.
  double row_y(const Q7Vector &u) const { return a.x * u.y - a.y * u.x; }
  double row_z(const Q7Vector &u) const { return a.x * u.z - a.z * u.x; }
  double divisor_x() const { return a.x; }
  double divisor_y() const { return row_y(b); }
  double divisor_z() const { return row_y(b) * row_z(c) - row_z(b) * row_y(c); }
  int determined() const { return (divisor_x() != 0) + (divisor_y() != 0) + (divisor_z() != 0); }

  void solve(Q7Vector &r) const {
    const double dz = divisor_z();
    if (dz != 0) r.z = (row_y(b) * row_z(v) - row_z(b) * row_y(v)) / dz;
    const double dy = divisor_y();
    if (dy != 0) r.y = (row_y(v) - row_y(c) * r.z) / dy;
    if (a.x != 0) r.x = (v.x - b.x * r.y - c.x * r.z) / a.x;
  }
};

Q7Vector rearranged(const Q7Vector &u, const int *order) {
  const double components[3] = {u.x, u.y, u.z};
  return {components[order[0]], components[order[1]], components[order[2]]};
}

}  // namespace

Q7Vector *LinComp(Q7Vector *r, const Q7Vector *v, const Q7Vector *a, const Q7Vector *b, const Q7Vector *c) {
  const LinSystem system{*a, *b, *c, *v};
  system.solve(*r);
  return r;
}

Q7Vector *VLinComp(Q7Vector *r, const Q7Vector *v, const Q7Vector *abc) {
  static constexpr int orders[6][3] = {{0, 1, 2}, {0, 2, 1}, {1, 0, 2}, {1, 2, 0}, {2, 0, 1}, {2, 1, 0}};
  LinSystem chosen{abc[0], abc[1], abc[2], *v};
  int best = chosen.determined();
  for (int i = 1; i < 6 && best < 3; ++i) {
    const int *order = orders[i];
    const LinSystem other{rearranged(abc[0], order), rearranged(abc[1], order), rearranged(abc[2], order),
                          rearranged(*v, order)};
    if (other.determined() > best) {
      chosen = other;
      best = other.determined();
    }
  }
  chosen.solve(*r);
  return r;
}

// Angles.

Q7Vector *AngleToVec(Q7Vector *r, const Q7Vector *u, const Q7Vector *v, double t) {
  const q7::SinCos angle(t);
  *r = angle.c * *u + angle.s * *v;
  return r;
}

double FindAngleUnit(const Q7Vector *a, const Q7Vector *b) {
  double c = q7::dot(*a, *b);
  if (std::fabs(c) >= 1) c = c <= 0 ? -1 : 1;
  return std::acos(c);
}

double FindAngle(const Q7Vector *v, const Q7Vector *u, const Q7Vector *w) {
  Q7Vector unit = *v;
  if (TNorm(&unit) == 0) return 0;
  const double angle = FindAngleUnit(&unit, u);
  return q7::dot(unit, *w) < 0 ? q7::two_pi - angle : angle;
}

double FindEllipticAngle(const Q7Vector *v, const Q7Vector *u, const Q7Vector *w) {
  Q7Vector p, q;
  VOrt(&p, u, w);
  VOrt(&q, w, u);
  VNorm(&p);
  VNorm(&q);
  const double pu = q7::dot(p, *u), qw = q7::dot(q, *w);
  if (pu != 0) p = p / pu;
  if (qw != 0) q = q / qw;
  const double x = q7::dot(p, *v), y = q7::dot(q, *v);
  const double r = std::sqrt(x * x + y * y);
  const double angle = std::acos(r <= 1e-8 ? 1 : x / r);
  return y < -1e-8 ? q7::two_pi - angle : angle;
}

double Q7AngleMod(double a) { return std::floor((a + q7::pi) / q7::two_pi) * q7::two_pi; }

double Q7AngleDiv(double a) { return a - Q7AngleMod(a); }

double Q7AngleDist(double a, double b) {
  const double d = std::fabs(Q7AngleDiv(a) - Q7AngleDiv(b));
  return d > q7::pi ? q7::two_pi - d : d;
}

double Q7NearestAngle(double a, double b) {
  const double da = Q7AngleDiv(a), db = Q7AngleDiv(b);
  double nearest = Q7AngleMod(a) + db;
  if (std::fabs(db - da) > q7::pi) nearest = db <= da ? nearest + q7::two_pi : nearest - q7::two_pi;
  return nearest;
}

// Principal axes of an ellipse.

namespace {

// The search works on the upper half of the ellipse: the factor of v is the root, never negative, whatever t is.
double trace_length(double t, const Q7Vector &u, const Q7Vector &v) {
  const double c = std::cos(t);
  return q7::length(c * u + std::sqrt(1 - c * c) * v);
}

template <class Backwards>
double trace(int32_t n, double la, double lb, double t, const Q7Vector &u, const Q7Vector &v, Backwards backwards) {
  if (n < 1) return t;
  for (int64_t parts = n;; parts *= 2) {
    const double len = trace_length(t, u, v);
    const double step = q7::pi / (2.0 * static_cast<double>(parts));
    double change;
    if (backwards(la, lb)) {
      t -= step;
      change = std::fabs(la - len) / la;
      lb = len;
    } else {
      t += step;
      change = std::fabs(len - lb) / len;
      la = len;
    }
    if (change < 0.0001 || 2 * parts > 4096) return t;
  }
}

}  // namespace

double MaxTrace(int32_t n, double la, double lb, double t, const Q7Vector *u, const Q7Vector *v) {
  return trace(n, la, lb, t, *u, *v, [](double a, double b) { return a > b; });
}

double MinTrace(int32_t n, double la, double lb, double t, const Q7Vector *u, const Q7Vector *v) {
  return trace(n, la, lb, t, *u, *v, [](double a, double b) { return b > a; });
}

void Q7OrthSys2(Q7Vector *a, Q7Vector *b, const Q7Vector *u, const Q7Vector *v) {
  const Q7Vector w = q7::cross(*u, *v);
  const double d = q7::dot(*u, *v), lu = q7::length(*u), lv = q7::length(*v);
  const Q7Vector first = *u;
  Q7Vector second = *v;
  Q7Vector major = first, minor = second;
  if (lu * lv != 0 && !(std::fabs(d / (lu * lv)) <= 0.0001)) {
    if (d < 0) second = -second;
    const q7::SinCos longest(MaxTrace(4, lu, lv, q7::pi / 4, &first, &second));
    second = -second;
    const q7::SinCos shortest(MinTrace(4, lu, lv, q7::pi / 4, &first, &second));
    major = shortest.c * first + shortest.s * second;
    minor = longest.c * first - longest.s * second;
  }
  if (q7::dot(major, major) < q7::dot(minor, minor)) VSwap(&major, &minor);
  VOrt(&major, &major, &minor);
  if (q7::dot(w, q7::cross(major, minor)) < 0) minor = -minor;
  *a = major;
  *b = minor;
}

void Q7OrthSys3(Q7Vector *m) {
  auto skew = [m](int i, int j) {
    return std::fabs(q7::dot(m[i], m[j])) / (q7::length(m[i]) * q7::length(m[j]) + 1e-6);
  };
  const double c01 = skew(0, 1), c12 = skew(1, 2), c02 = skew(0, 2);
  if (c01 >= 0.0001 || c12 >= 0.0001 || c02 >= 0.0001) {
    // The least skewed axis goes first, and stays there.
    Q7Vector s = {c01 + c02, c12 + c01, c02 + c12};
    const int32_t least = VMinComp(&s);
    if (least == 1) {
      VSwap(m + 1, m);
      s.x = s.y;
    } else if (least == 2) {
      VSwap(m, m + 2);
      s.x = s.z;
    }
    auto straighten = [m](int i, int j) { Q7OrthSys2(m + i, m + j, m + i, m + j); };
    straighten(1, 2);
    if (s.x > 0.0001) {
      straighten(0, 1);
      straighten(0, 2);
      straighten(0, 1);
      straighten(1, 2);
    }
  }
  VOrt(m + 1, m + 1, m);
  VOrt(m + 2, m + 2, m);
  VOrt(m + 2, m + 2, m + 1);
}

int32_t Q7FindVecType(const Q7Vector *a) {
  const bool x = !(std::fabs(a->x) < 1e-8), y = !(std::fabs(a->y) < 1e-8), z = !(std::fabs(a->z) < 1e-8);
  if (!x && !y) return Q7VECTYPE_Z;
  if (!z) return x && y ? Q7VECTYPE_XY : x ? Q7VECTYPE_X : Q7VECTYPE_Y;
  return x && y ? Q7VECTYPE_XYZ : x ? Q7VECTYPE_XZ : Q7VECTYPE_YZ;
}

void Q7VEllipse(Q7Vector *pts, int32_t n, const Q7Vector *c, const Q7Vector *u, const Q7Vector *v) {
  if (n <= 0) return;
  const Q7Vector centre = *c, first = *u, second = *v;
  for (int32_t k = 0; k < n; ++k) {
    const double angle = (2.0 * k) * q7::pi / n;
    pts[k] = centre + std::cos(angle) * first + std::sin(angle) * second;
  }
}

int32_t Q7VectorWrite(const Q7Vector *v, Q7Object *stream) {
  return v ? q7::stream_doubles(stream, q7::stream_write_double, &v->x, 3) : 0;
}
int32_t Q7VectorRead(Q7Vector *v, Q7Object *stream) {
  return v ? q7::stream_doubles(stream, q7::stream_read_double, &v->x, 3) : 0;
}
int32_t Q7Vector2Write(const Q7Vector2 *v, Q7Object *stream) {
  return v ? q7::stream_doubles(stream, q7::stream_write_double, &v->x, 2) : 0;
}
int32_t Q7Vector2Read(Q7Vector2 *v, Q7Object *stream) {
  return v ? q7::stream_doubles(stream, q7::stream_read_double, &v->x, 2) : 0;
}
