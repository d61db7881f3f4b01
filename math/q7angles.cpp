// q7angles: angle triples to axes and back. The inverses share one idea: the first two angles follow from the direction
// of one axis by arc tangents, which are accurate everywhere; the frame they alone would give is then rebuilt with the
// forward formula, and the third angle is how far the given axes are turned against it. Nothing is divided by a cosine
// that can vanish.
#include "math/q7angles.h"

#include <cmath>

#include "math/values.hpp"

using q7::atan2_upper;
using q7::SinCos;

namespace {

constexpr double vertical_limit = 1e-40;  // of the squared horizontal part of a direction

// Heading and pitch of a direction of any length.
void heading_pitch(const Q7Vector &dir, double &h, double &p) {
  const double flat = dir.x * dir.x + dir.z * dir.z;
  if (flat < vertical_limit) {
    h = 0;
    p = dir.y > 0 ? -q7::half_pi : q7::half_pi;
  } else {
    h = atan2_upper(dir.x, dir.z);
    p = std::atan2(-dir.y, std::sqrt(flat));
  }
}

Q7Vector direction(const SinCos &h, const SinCos &p) { return {h.s * p.c, -p.s, p.c * h.c}; }

// The frame of a heading and pitch with twist 0: the shortest rotation of Z onto the normal.
void untwisted(const Q7Vector &norm, Q7Vector &hor, Q7Vector &vert) {
  Q7Matrix m;
  Q7MxRotate2V(&m, &q7v_norm, &norm, &q7v_vert);
  Q7MxTransformL(&vert, &m, &q7v_vert);
  Q7MxTransformL(&hor, &m, &q7v_hor);
}

void columns(const Q7Matrix &m, Q7Vector *axes) {
  for (int j = 0; j < 3; ++j) axes[j] = {m.m[0][j], m.m[1][j], m.m[2][j]};
}

}  // namespace

void Q7HPBToXYZ(double h, double p, double b, Q7Vector *hor, Q7Vector *vert, Q7Vector *norm) {
  const SinCos heading(h), pitch(p), bank(b);
  const double sh = heading.s, ch = heading.c, sp = pitch.s, cp = pitch.c, sb = bank.s, cb = bank.c;
  *norm = {cp * sh, -sp, cp * ch};
  *hor = {ch * cb - sb * sp * sh, -cp * sb, -cb * sh - sb * sp * ch};
  *vert = {ch * sb + sp * sh * cb, cp * cb, cb * sp * ch - sh * sb};
}

void Q7HPTToXYZ(double h, double p, double t, Q7Vector *hor, Q7Vector *vert, Q7Vector *norm) {
  *norm = direction(SinCos(h), SinCos(p));
  untwisted(*norm, *hor, *vert);
  Q7Matrix twist;
  Q7MxRotateUnit(&twist, &q7v_null, norm, t);
  Q7MxFTransformL(vert, &twist);
  Q7MxFTransformL(hor, &twist);
}

// With no bank the horizontal axis is (ch, 0, -sh); bank turns it, and the vertical axis, within their plane.
void Q7HPBFromXYZ(double *h, double *p, double *b, const Q7Vector *hor, const Q7Vector *vert, const Q7Vector *norm) {
  double heading, pitch;
  heading_pitch(*norm, heading, pitch);
  const SinCos a(heading);
  const double bank = atan2_upper(vert->x * a.c - vert->z * a.s, hor->x * a.c - hor->z * a.s);
  *h = heading;
  *p = pitch;
  *b = bank;
}

// The untwisted frame is rebuilt from the angles, not from the given normal: near -Z the last bit of the normal decides
// where it points, and the axes come back only if both directions decide alike.
void Q7HPTFromXYZ(double *h, double *p, double *t, const Q7Vector *hor, const Q7Vector *vert, const Q7Vector *norm) {
  double heading, pitch;
  heading_pitch(*norm, heading, pitch);
  Q7Vector hor0, vert0;
  untwisted(direction(SinCos(heading), SinCos(pitch)), hor0, vert0);
  const double twist = atan2_upper(q7::dot(*vert, hor0), q7::dot(*hor, hor0));
  *h = heading;
  *p = pitch;
  *t = twist;
}

Q7Vector *Q7HPToDir(double h, double p, Q7Vector *dir) {
  *dir = direction(SinCos(h), SinCos(p));
  return dir;
}

double Q7DirToHP(double *h, const Q7Vector *dir) {
  const Q7Vector d = *dir;
  const double flat = d.x * d.x + d.z * d.z;
  if (flat < vertical_limit) {
    *h = 0;
    return d.y > 0 ? -q7::half_pi : q7::half_pi;
  }
  const double c = d.z / std::sqrt(flat);
  if (c > 1) {
    *h = 0;
  } else if (c < -1) {
    *h = q7::pi;
  } else {
    const double angle = std::acos(c);
    *h = d.x < 0 ? -angle : angle;
  }
  if (d.y > 1) return -q7::half_pi;
  if (d.y < -1) return q7::half_pi;
  return -std::asin(d.y);
}

namespace {

constexpr double gimbal_limit = 1e-14;  // of the cosine of the pitch: below it the heading moves the axes by rounding

struct Triple {
  double a[3];
  // Each angle moved by whole turns to its nearest place.
  Triple nearest(const double *previous) const {
    return {{Q7NearestAngle(previous[0], a[0]), Q7NearestAngle(previous[1], a[1]), Q7NearestAngle(previous[2], a[2])}};
  }
  double distance(const double *previous) const {
    double sum = 0;
    for (int i = 0; i < 3; ++i) sum += (a[i] - previous[i]) * (a[i] - previous[i]);
    return sum;
  }
};

double *choose(double *angles, const double *previous, const Triple *candidates, int count) {
  Triple best = candidates[0].nearest(previous);
  for (int i = 1; i < count; ++i) {
    const Triple other = candidates[i].nearest(previous);
    if (other.distance(previous) < best.distance(previous)) best = other;
  }
  for (int i = 0; i < 3; ++i) angles[i] = best.a[i];
  return angles;
}

}  // namespace

double *Q7ChooseNearestHPB(double *angles, const double *previous) {
  const double h = angles[0], p = angles[1], b = angles[2];
  const SinCos pitch(p);
  if (std::fabs(pitch.c) < gimbal_limit) {
    // Only h + b (normal down) or h - b (normal up) is seen: half of what is missing goes to each.
    const double sign = pitch.s > 0 ? 1 : -1;
    const double missing = Q7AngleDiv((h + sign * b) - (previous[0] + sign * previous[2]));
    const Triple shared = {{previous[0] + 0.5 * missing, p, previous[2] + sign * 0.5 * missing}};
    return choose(angles, previous, &shared, 1);
  }
  const Triple candidates[2] = {{{h, p, b}}, {{h + q7::pi, q7::pi - p, b + q7::pi}}};
  return choose(angles, previous, candidates, 2);
}

double *Q7ChooseNearestHPT(double *angles, const double *previous) {
  const double h = angles[0], p = angles[1], t = angles[2];
  if (std::fabs(std::cos(p)) < gimbal_limit) {
    const Triple kept = {{previous[0], p, t}};
    return choose(angles, previous, &kept, 1);
  }
  const Triple candidates[2] = {{{h, p, t}}, {{h + q7::pi, q7::pi - p, t}}};
  return choose(angles, previous, candidates, 2);
}

void Q7MxToHPB(const Q7Matrix *m, double *angles) {
  Q7Vector axes[3];
  columns(*m, axes);
  Q7HPBFromXYZ(angles, angles + 1, angles + 2, axes, axes + 1, axes + 2);
}

void Q7MxFromHPB(Q7Matrix *m, const double *angles) {
  Q7Vector axes[3];
  Q7HPBToXYZ(angles[0], angles[1], angles[2], axes, axes + 1, axes + 2);
  Q7MxSpace(m, &q7v_null, axes, axes + 1, axes + 2);
}

// Intui triples: the formulas of Q7CsRotate on the identity.

void Q7MxToIntui(const Q7Matrix *m, double *angles) {
  Q7Vector axes[3];
  columns(*m, axes);
  const Q7Vector &hor = axes[0], &vert = axes[1], &norm = axes[2];
  const double flat = norm.y * norm.y + norm.z * norm.z;
  const double first = flat < vertical_limit ? 0 : atan2_upper(-norm.y, norm.z);
  const SinCos a(first);
  // The vertical axis after the first turn is (0, cos, sin); the second turn leaves it, the third turns it.
  angles[0] = first;
  angles[1] = std::atan2(norm.x, flat < vertical_limit ? 0 : std::sqrt(flat));
  angles[2] = atan2_upper(hor.y * a.c + hor.z * a.s, vert.y * a.c + vert.z * a.s);
}

void Q7MxFromIntui(Q7Matrix *m, const double *angles) { Q7MxIntuiSpace(m, &q7v_null, angles); }

Q7Matrix *Q7MxIntuiSpace(Q7Matrix *m, const Q7Vector *o, const double *angles) {
  const SinCos a(angles[0]), b(angles[1]), c(angles[2]);
  const Q7Vector vert1 = {0, a.c, a.s}, norm1 = {0, -a.s, a.c};
  const Q7Vector hor2 = b.c * q7v_hor - b.s * norm1, norm2 = b.c * norm1 + b.s * q7v_hor;
  const Q7Vector vert3 = c.c * vert1 - c.s * hor2, hor3 = c.c * hor2 + c.s * vert1;
  return Q7MxSpace(m, o, &hor3, &vert3, &norm2);
}

void Q7MxIntuiIdentity(Q7Matrix *m, double *angles) {
  if (m) Q7MxIdentity(m);
  if (angles) angles[0] = angles[1] = angles[2] = 0;
}

// Euler triples.

namespace {

struct EulerOrder {
  int first, second, third;  // axes of the turns
};

constexpr EulerOrder euler_orders[12] = {{0, 1, 2}, {0, 2, 1}, {1, 0, 2}, {1, 2, 0}, {2, 0, 1}, {2, 1, 0},
                                         {0, 1, 0}, {0, 2, 0}, {1, 0, 1}, {1, 2, 1}, {2, 0, 2}, {2, 1, 2}};

bool known(int32_t order) { return order >= 0 && order < 12; }

Q7Matrix turn_about(int axis, double angle) {
  static constexpr Q7Vector axes[3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  Q7Matrix m;
  Q7MxRotateUnit(&m, &q7v_null, axes + axis, angle);
  return m;
}

// With M = R(i) R(j) R(k): the row and column entries below hold the sines and cosines of the first two turns alone, or
// of the first two where i = k. What is left after undoing the first turn is R(j) R(k), whose row j shows the third.
void euler_from_rows(const double rows[3][3], const EulerOrder &order, double *angles) {
  const int i = order.first, j = order.second;
  const int k = 3 - i - j;                         // the axis that is neither
  const double e = (j - i + 3) % 3 == 1 ? 1 : -1;  // i, j, k in cyclic order or not
  const bool twice = order.third == i;
  // Components that carry the first turn: its sine and cosine times a common factor that vanishes at the pole.
  const double s = twice ? rows[j][i] : e * rows[j][k];
  const double c = twice ? e * rows[k][i] : rows[k][k];
  const double common = s * s + c * c;
  const bool pole = common < vertical_limit;
  const double root = pole ? 0 : std::sqrt(common);
  // A clockwise turn is a counterclockwise one of the negated angle, so the sines change sign.
  double a, b;
  if (twice) {
    a = pole ? 0 : atan2_upper(s, c);
    b = std::atan2(root, rows[i][i]);
  } else {
    a = pole ? 0 : atan2_upper(s, c);
    b = std::atan2(-e * rows[i][k], root);
  }
  const SinCos turn(a);
  auto undone = [&](int column) { return turn.c * rows[j][column] - e * turn.s * rows[k][column]; };
  const double third = twice ? atan2_upper(e * undone(k), undone(j)) : atan2_upper(-e * undone(i), undone(j));
  angles[0] = a;
  angles[1] = b;
  angles[2] = third;
}

}  // namespace

int32_t Q7EulerFromXYZ(double *angles, const Q7Vector *hor, const Q7Vector *vert, const Q7Vector *norm, int32_t order) {
  if (!known(order)) return 0;
  const double rows[3][3] = {{hor->x, vert->x, norm->x}, {hor->y, vert->y, norm->y}, {hor->z, vert->z, norm->z}};
  euler_from_rows(rows, euler_orders[order], angles);
  return 1;
}

int32_t Q7EulerFromMx(double *angles, const Q7Matrix *m, int32_t order) {
  Q7Vector axes[3];
  columns(*m, axes);
  return Q7EulerFromXYZ(angles, axes, axes + 1, axes + 2, order);
}

Q7Matrix *Q7MxRotateEuler(Q7Matrix *m, const double *angles) {
  Q7MxRotateEulerGeneral(m, angles, Q7EULER_XYZ);
  return m;
}

int32_t Q7MxRotateEulerGeneral(Q7Matrix *m, const double *angles, int32_t order) {
  if (!known(order)) return 0;
  const EulerOrder &axes = euler_orders[order];
  const Q7Matrix second = turn_about(axes.second, angles[1]), third = turn_about(axes.third, angles[2]);
  *m = turn_about(axes.first, angles[0]);
  Q7MxFConcat(m, &second);
  Q7MxFConcat(m, &third);
  return 1;
}
