// Tests of math/q7angles.cpp.
#include "math/q7angles.h"

#include "tests/math/math_test.h"

namespace {

using q7test::cross;
using q7test::dot;
using q7test::is;
using q7test::kPi;
using q7test::kTwoPi;
using q7test::Random;

constexpr double kRoundTrip = 1e-12;

struct Axes {
  Q7Vector hor, vert, norm;
};

Axes hpb(double h, double p, double b) {
  Axes a;
  Q7HPBToXYZ(h, p, b, &a.hor, &a.vert, &a.norm);
  return a;
}
Axes hpt(double h, double p, double t) {
  Axes a;
  Q7HPTToXYZ(h, p, t, &a.hor, &a.vert, &a.norm);
  return a;
}

::testing::AssertionResult same(const Axes &a, const Axes &b, double eps = kRoundTrip) {
  auto hor = is(a.hor, b.hor, eps), vert = is(a.vert, b.vert, eps), norm = is(a.norm, b.norm, eps);
  if (!hor) return hor << " hor";
  if (!vert) return vert << " vert";
  if (!norm) return norm << " norm";
  return ::testing::AssertionSuccess();
}

// Orthonormal axes of every kind: any direction, and normals at and near the poles of all axes.
std::vector<Axes> orientations() {
  std::vector<Axes> all;
  Random random(11);
  for (int n = 0; n < 3000; ++n) {
    const Q7CoordSys f = random.frame();
    all.push_back({f.hor, f.vert, f.norm});
  }
  const Q7Vector poles[] = {{0, 1, 0}, {0, -1, 0}, {0, 0, 1}, {0, 0, -1}, {1, 0, 0}, {-1, 0, 0}};
  const double offsets[] = {0,     1e-300, 1e-30, 1e-21, 1e-20, 1e-19, 1e-16, 1e-13,
                            1e-12, 1e-11,  1e-9,  1e-8,  1e-7,  1e-5,  1e-3};
  for (const Q7Vector &pole : poles) {
    for (double offset : offsets) {
      for (int n = 0; n < 20; ++n) {
        const Q7Vector lean = random.unit();
        Q7Vector norm = {pole.x + offset * lean.x, pole.y + offset * lean.y, pole.z + offset * lean.z};
        const double l = q7test::length(norm);
        norm = {norm.x / l, norm.y / l, norm.z / l};
        Q7Vector hor = cross(random.unit(), norm);
        const double k = q7test::length(hor);
        hor = {hor.x / k, hor.y / k, hor.z / k};
        all.push_back({hor, cross(norm, hor), norm});
      }
    }
  }
  return all;
}

bool in_turn(double angle) { return angle > -kPi && angle <= kPi; }

TEST(Angles, ZeroHPBGivesTheIdentityAxes) {
  EXPECT_TRUE(same(hpb(0, 0, 0), {q7v_hor, q7v_vert, q7v_norm}, 0));
  EXPECT_TRUE(same(hpt(0, 0, 0), {q7v_hor, q7v_vert, q7v_norm}, 0));
}

TEST(Angles, AHeadingOfAQuarterTurnPointsTheNormalAlongX) {
  EXPECT_TRUE(same(hpb(kPi / 2, 0, 0), {{0, 0, -1}, {0, 1, 0}, {1, 0, 0}}, 1e-15));
}

TEST(Angles, PitchTiltsTheNormalDownAndBankTheHorizontalAxisDown) {
  EXPECT_TRUE(same(hpb(0, kPi / 2, 0), {{1, 0, 0}, {0, 0, 1}, {0, -1, 0}}, 1e-15));
  EXPECT_TRUE(same(hpb(0, 0, kPi / 2), {{0, -1, 0}, {1, 0, 0}, {0, 0, 1}}, 1e-15));
}

TEST(Angles, HPBAxesAreOrthonormalAndFollowTheFormulas) {
  Random random;
  for (int n = 0; n < 1000; ++n) {
    const double h = random.number(-7, 7), p = random.number(-7, 7), b = random.number(-7, 7);
    const Axes a = hpb(h, p, b);
    const double sh = std::sin(h), ch = std::cos(h), sp = std::sin(p), cp = std::cos(p), sb = std::sin(b),
                 cb = std::cos(b);
    EXPECT_TRUE(same(a,
                     {{ch * cb - sb * sp * sh, -cp * sb, -cb * sh - sb * sp * ch},
                      {ch * sb + sp * sh * cb, cp * cb, cb * sp * ch - sh * sb},
                      {cp * sh, -sp, cp * ch}},
                     1e-15));
    EXPECT_TRUE(is(cross(a.hor, a.vert), a.norm, 1e-14));
    Q7Vector dir;
    EXPECT_EQ(Q7HPToDir(h, p, &dir), &dir);
    EXPECT_TRUE(is(dir, a.norm, 1e-15));
  }
}

TEST(Angles, HPTTwistsTheShortestRotationOfZ) {
  Random random;
  for (int n = 0; n < 1000; ++n) {
    const double h = random.number(-3, 3), p = random.number(-1.5, 1.5), t = random.number(-3, 3);
    const Axes a = hpt(h, p, t);
    EXPECT_TRUE(is(a.norm, std::sin(h) * std::cos(p), -std::sin(p), std::cos(p) * std::cos(h), 1e-15));
    EXPECT_TRUE(is(cross(a.hor, a.vert), a.norm, 1e-13));
    // Rodrigues: the rotation about Z x norm that takes Z to norm, then the twist, clockwise about norm.
    const Q7Vector k = cross({0, 0, 1}, a.norm);
    const double c = a.norm.z;
    auto shortest = [&](const Q7Vector &v) {
      const Q7Vector kv = cross(k, v);
      const double f = dot(k, v) / (1 + c);
      return Q7Vector{v.x * c + kv.x + k.x * f, v.y * c + kv.y + k.y * f, v.z * c + kv.z + k.z * f};
    };
    if (c < -0.99) continue;
    const Q7Vector hor = shortest({1, 0, 0}), vert = shortest({0, 1, 0});
    const double ct = std::cos(t), st = std::sin(t);
    EXPECT_TRUE(is(a.hor, ct * hor.x - st * vert.x, ct * hor.y - st * vert.y, ct * hor.z - st * vert.z, 1e-12));
    EXPECT_TRUE(is(a.vert, ct * vert.x + st * hor.x, ct * vert.y + st * hor.y, ct * vert.z + st * hor.z, 1e-12));
  }
  EXPECT_TRUE(same(hpt(0, 0, kPi / 2), {{0, -1, 0}, {1, 0, 0}, {0, 0, 1}}, 1e-15));
}

TEST(Angles, HPToDirStraightDownAndBack) {
  Q7Vector dir;
  Q7HPToDir(0, kPi / 2, &dir);
  EXPECT_TRUE(is(dir, 0, -1, 0, 1e-15));
  const Q7Vector down = {0, -1, 0}, up = {0, 1, 0}, left = {-1, 0, 0};
  double h = 7;
  EXPECT_EQ(Q7DirToHP(&h, &down), kPi / 2);
  EXPECT_EQ(h, 0);
  h = 7;
  EXPECT_EQ(Q7DirToHP(&h, &up), -kPi / 2);
  EXPECT_EQ(h, 0);
  const double p = Q7DirToHP(&h, &left);
  EXPECT_EQ(h, -kPi / 2);
  EXPECT_EQ(p, 0);
  EXPECT_TRUE(std::signbit(p)) << "minus zero";
  const Q7Vector back = {0, 0, -1}, above = {0.1, 1.5, 0.1}, below = {0.1, -1.5, 0.1};
  Q7DirToHP(&h, &back);
  EXPECT_EQ(h, kPi);
  EXPECT_EQ(Q7DirToHP(&h, &above), -kPi / 2);
  EXPECT_EQ(Q7DirToHP(&h, &below), kPi / 2);
  // On both sides of the limit 1e-40 of the squared horizontal part.
  const Q7Vector inside = {9e-21, -1, 0}, outside = {1.1e-20, -1, 0};
  Q7DirToHP(&h, &inside);
  EXPECT_EQ(h, 0);
  Q7DirToHP(&h, &outside);
  EXPECT_EQ(h, kPi / 2);
}

TEST(Angles, DirToHPUndoesHPToDir) {
  Random random;
  for (int n = 0; n < 10000; ++n) {
    const double h = random.number(-3.1, 3.1), p = random.number(-1.5, 1.5);
    Q7Vector dir;
    Q7HPToDir(h, p, &dir);
    double heading;
    EXPECT_NEAR(Q7DirToHP(&heading, &dir), p, 1e-13);
    EXPECT_NEAR(heading, h, 1e-7);
  }
}

TEST(Angles, AxesToHPBAndBackAreTheSameAxesEverywhere) {
  for (const Axes &a : orientations()) {
    double h, p, b;
    Q7HPBFromXYZ(&h, &p, &b, &a.hor, &a.vert, &a.norm);
    EXPECT_TRUE(in_turn(h) && in_turn(b) && std::fabs(p) <= kPi / 2) << h << " " << p << " " << b;
    EXPECT_TRUE(same(hpb(h, p, b), a)) << h << " " << p << " " << b;
    if (a.norm.x * a.norm.x + a.norm.z * a.norm.z < 1e-40) {
      EXPECT_EQ(h, 0);
    }
  }
}

TEST(Angles, AxesToHPTAndBackAreTheSameAxesEverywhere) {
  for (const Axes &a : orientations()) {
    double h, p, t;
    Q7HPTFromXYZ(&h, &p, &t, &a.hor, &a.vert, &a.norm);
    EXPECT_TRUE(in_turn(h) && in_turn(t) && std::fabs(p) <= kPi / 2) << h << " " << p << " " << t;
    EXPECT_TRUE(same(hpt(h, p, t), a)) << h << " " << p << " " << t;
  }
}

TEST(Angles, TriplesWithinThePrincipalRangesComeBack) {
  Random random;
  for (int n = 0; n < 10000; ++n) {
    const double h = random.number(-kPi, kPi), p = random.number(-1.57, 1.57), b = random.number(-kPi, kPi);
    double rh, rp, rb;
    Axes a = hpb(h, p, b);
    Q7HPBFromXYZ(&rh, &rp, &rb, &a.hor, &a.vert, &a.norm);
    EXPECT_NEAR(rh, h, 1e-12);
    EXPECT_NEAR(rp, p, 1e-12);
    EXPECT_NEAR(rb, b, 1e-12);
    if (std::fabs(p) < 1e-3 && std::fabs(h) > 3.14) continue;  // the normal is almost -Z
    a = hpt(h, p, b);
    Q7HPTFromXYZ(&rh, &rp, &rb, &a.hor, &a.vert, &a.norm);
    EXPECT_NEAR(rh, h, 1e-12);
    EXPECT_NEAR(rp, p, 1e-12);
    EXPECT_NEAR(std::remainder(rb - b, kTwoPi), 0, 1e-11);
  }
  for (double angle : {kPi, 0.0}) {
    double rh, rp, rb;
    const Axes a = hpb(angle, 0.5, angle);
    Q7HPBFromXYZ(&rh, &rp, &rb, &a.hor, &a.vert, &a.norm);
    EXPECT_NEAR(rh, angle, 1e-15);
    EXPECT_NEAR(rb, angle, 1e-15);
  }
}

TEST(Angles, HPBThroughAMatrix) {
  const double angles[3] = {0.4, -0.3, 2};
  Q7Matrix m;
  for (auto &row : m.m) {
    for (double &e : row) e = 99;
  }
  Q7MxFromHPB(&m, angles);
  const Axes a = hpb(0.4, -0.3, 2);
  const Q7Matrix expected = {{{a.hor.x, a.vert.x, a.norm.x, 0},
                              {a.hor.y, a.vert.y, a.norm.y, 0},
                              {a.hor.z, a.vert.z, a.norm.z, 0},
                              {0, 0, 0, 1}}};
  EXPECT_TRUE(is(m, expected));
  double back[3];
  Q7MxToHPB(&m, back);
  for (int i = 0; i < 3; ++i) EXPECT_NEAR(back[i], angles[i], 1e-14);
}

TEST(Angles, ChooseNearestHPBKeepsTheAxesAndFollowsThePrevious) {
  Random random;
  for (int n = 0; n < 5000; ++n) {
    double angles[3] = {random.number(-20, 20), random.number(-20, 20), random.number(-20, 20)};
    const double previous[3] = {random.number(-20, 20), random.number(-20, 20), random.number(-20, 20)};
    if (n % 4 == 0) angles[1] = (n % 8 ? 1 : -1) * kPi / 2;
    const Axes before = hpb(angles[0], angles[1], angles[2]);
    double best = 1e300;
    for (int turned = 0; turned < 2; ++turned) {
      double sum = 0;
      const double candidate[3] = {angles[0] + turned * kPi, turned ? kPi - angles[1] : angles[1],
                                   angles[2] + turned * kPi};
      for (int i = 0; i < 3; ++i) {
        const double d = std::remainder(candidate[i] - previous[i], kTwoPi);
        sum += d * d;
      }
      best = std::min(best, sum);
    }
    EXPECT_EQ(Q7ChooseNearestHPB(angles, previous), angles);
    EXPECT_TRUE(same(hpb(angles[0], angles[1], angles[2]), before, 1e-13));
    double sum = 0;
    for (int i = 0; i < 3; ++i) sum += (angles[i] - previous[i]) * (angles[i] - previous[i]);
    EXPECT_LE(sum, best + 1e-9);
  }
}

TEST(Angles, ChooseNearestHPBSharesTheTurnAtAVerticalNormal) {
  // Straight down only heading + bank is seen: 1 + 0.2 against 0.5 + 0.5 leaves 0.2 to share.
  double angles[3] = {1, kPi / 2, 0.2};
  const double previous[3] = {0.5, 1.5, 0.5};
  Q7ChooseNearestHPB(angles, previous);
  EXPECT_NEAR(angles[0], 0.6, 1e-14);
  EXPECT_NEAR(angles[2], 0.6, 1e-14);
  double up[3] = {1, -kPi / 2, 0.2};
  Q7ChooseNearestHPB(up, previous);
  EXPECT_NEAR(up[0] - up[2], 0.8, 1e-14);
  EXPECT_NEAR(up[0] - 0.5, 0.5 - up[2], 1e-14);
}

TEST(Angles, ChooseNearestHPTKeepsTheAxesAndFollowsThePrevious) {
  Random random;
  for (int n = 0; n < 5000; ++n) {
    double angles[3] = {random.number(-3, 3), random.number(-1.5, 1.5), random.number(-20, 20)};
    const double previous[3] = {random.number(-20, 20), random.number(-20, 20), random.number(-20, 20)};
    if (std::fabs(angles[1]) < 0.01 && std::fabs(angles[0]) > 3.1) continue;
    const Axes before = hpt(angles[0], angles[1], angles[2]);
    double best = 1e300;
    for (int turned = 0; turned < 2; ++turned) {
      double sum = 0;
      const double candidate[3] = {angles[0] + turned * kPi, turned ? kPi - angles[1] : angles[1], angles[2]};
      for (int i = 0; i < 3; ++i) {
        const double d = std::remainder(candidate[i] - previous[i], kTwoPi);
        sum += d * d;
      }
      best = std::min(best, sum);
    }
    EXPECT_EQ(Q7ChooseNearestHPT(angles, previous), angles);
    EXPECT_TRUE(same(hpt(angles[0], angles[1], angles[2]), before, 1e-11));
    double sum = 0;
    for (int i = 0; i < 3; ++i) sum += (angles[i] - previous[i]) * (angles[i] - previous[i]);
    EXPECT_LE(sum, best + 1e-9);
  }
  double down[3] = {0, kPi / 2, 0.25};
  const double previous[3] = {2, 1.5, 0.2};
  Q7ChooseNearestHPT(down, previous);
  EXPECT_EQ(down[0], 2) << "with a vertical normal the heading is free";
  EXPECT_NEAR(down[2], 0.25, 1e-15);
}

TEST(Angles, IntuiTriplesAreTheTurnsOfTheHandles) {
  Random random;
  for (int n = 0; n < 1000; ++n) {
    const double angles[3] = {random.number(-7, 7), random.number(-7, 7), random.number(-7, 7)};
    Q7CoordSys cs = _q7cs_abs;
    Q7CsRotate(&cs, angles[0], angles[1], angles[2]);
    Q7Matrix m, expected;
    Q7MxFromIntui(&m, angles);
    Q7MxSpace(&expected, &q7v_null, &cs.hor, &cs.vert, &cs.norm);
    EXPECT_TRUE(is(m, expected, 1e-15));
    const Q7Vector o = random.vector(4);
    EXPECT_EQ(Q7MxIntuiSpace(&m, &o, angles), &m);
    Q7MxSpace(&expected, &o, &cs.hor, &cs.vert, &cs.norm);
    EXPECT_TRUE(is(m, expected, 1e-15));
  }
  Q7Matrix m;
  double angles[3] = {1, 2, 3};
  Q7MxIntuiIdentity(&m, angles);
  Q7Matrix identity;
  EXPECT_TRUE(is(m, *Q7MxIdentity(&identity)));
  for (double a : angles) EXPECT_EQ(a, 0);
  Q7MxIntuiIdentity(nullptr, nullptr);
}

TEST(Angles, IntuiTriplesComeBackAndSoDoTheAxes) {
  for (const Axes &a : orientations()) {
    Q7Matrix m, back;
    Q7MxSpace(&m, &q7v_null, &a.hor, &a.vert, &a.norm);
    double angles[3];
    Q7MxToIntui(&m, angles);
    EXPECT_TRUE(in_turn(angles[0]) && in_turn(angles[2]) && std::fabs(angles[1]) <= kPi / 2);
    Q7MxFromIntui(&back, angles);
    EXPECT_TRUE(is(back, m, kRoundTrip));
  }
  Random random;
  for (int n = 0; n < 5000; ++n) {
    const double angles[3] = {random.number(-kPi, kPi), random.number(-1.57, 1.57), random.number(-kPi, kPi)};
    double back[3];
    Q7Matrix m;
    Q7MxFromIntui(&m, angles);
    Q7MxToIntui(&m, back);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(back[i], angles[i], 1e-12);
  }
}

const int orders[12][3] = {{0, 1, 2}, {0, 2, 1}, {1, 0, 2}, {1, 2, 0}, {2, 0, 1}, {2, 1, 0},
                           {0, 1, 0}, {0, 2, 0}, {1, 0, 1}, {1, 2, 1}, {2, 0, 2}, {2, 1, 2}};

TEST(Angles, EulerMatricesAreTheProductOfTheirTurnsInEveryOrder) {
  const Q7Vector axes[3] = {q7v_hor, q7v_vert, q7v_norm};
  Random random;
  for (int order = 0; order < 12; ++order) {
    const double angles[3] = {random.number(-3, 3), random.number(-3, 3), random.number(-3, 3)};
    Q7Matrix m, expected;
    Q7MxIdentity(&expected);
    for (int i = 0; i < 3; ++i) Q7MxConcatRotate(&expected, &q7v_null, axes + orders[order][i], angles[i]);
    EXPECT_EQ(Q7MxRotateEulerGeneral(&m, angles, order), 1);
    EXPECT_TRUE(is(m, expected, 1e-14)) << order;
    if (order == Q7EULER_XYZ) {
      EXPECT_EQ(Q7MxRotateEuler(&m, angles), &m);
      EXPECT_TRUE(is(m, expected, 1e-14));
    }
  }
}

TEST(Angles, EulerTriplesGiveTheAxesBackInEveryOrderEverywhere) {
  for (const Axes &a : orientations()) {
    Q7Matrix m, back;
    Q7MxSpace(&m, &q7v_null, &a.hor, &a.vert, &a.norm);
    for (int order = 0; order < 12; ++order) {
      double angles[3], from_mx[3];
      ASSERT_EQ(Q7EulerFromXYZ(angles, &a.hor, &a.vert, &a.norm, order), 1);
      ASSERT_EQ(Q7EulerFromMx(from_mx, &m, order), 1);
      for (int i = 0; i < 3; ++i) EXPECT_EQ(angles[i], from_mx[i]);
      EXPECT_TRUE(in_turn(angles[0]) && in_turn(angles[2]));
      if (order < 6) {
        EXPECT_LE(std::fabs(angles[1]), kPi / 2);
      } else {
        EXPECT_TRUE(angles[1] >= 0 && angles[1] <= kPi);
      }
      Q7MxRotateEulerGeneral(&back, angles, order);
      EXPECT_TRUE(is(back, m, kRoundTrip)) << "order " << order;
    }
  }
}

TEST(Angles, EulerTriplesWithinThePrincipalRangesComeBackInEveryOrder) {
  Random random;
  for (int n = 0; n < 2000; ++n) {
    for (int order = 0; order < 12; ++order) {
      const double second = order < 6 ? random.number(-1.57, 1.57) : random.number(0.001, 3.14);
      const double angles[3] = {random.number(-kPi, kPi), second, random.number(-kPi, kPi)};
      Q7Matrix m;
      double back[3];
      Q7MxRotateEulerGeneral(&m, angles, order);
      Q7EulerFromMx(back, &m, order);
      for (int i = 0; i < 3; ++i) EXPECT_NEAR(back[i], angles[i], 1e-12) << order;
    }
  }
}

TEST(Angles, AnUnknownEulerOrderTouchesNothing) {
  Q7Matrix m, before;
  Q7MxTranslate(&m, 1, 2, 3);
  before = m;
  double angles[3] = {1, 2, 3};
  for (int32_t order : {-1, 12, 0x7fffffff}) {
    EXPECT_EQ(Q7MxRotateEulerGeneral(&m, angles, order), 0);
    EXPECT_EQ(Q7EulerFromMx(angles, &m, order), 0);
    EXPECT_EQ(Q7EulerFromXYZ(angles, &q7v_hor, &q7v_vert, &q7v_norm, order), 0);
  }
  EXPECT_TRUE(is(m, before));
  EXPECT_EQ(angles[0], 1);
}

TEST(Angles, TheAxesMayBeStoredWhereTheyAreRead) {
  double h, p, t;
  Q7Vector norm = {0.6, 0, 0.8};
  Q7HPBFromXYZ(&norm.x, &norm.y, &norm.z, &q7v_hor, &q7v_vert, &norm);
  EXPECT_NEAR(norm.x, std::atan2(0.6, 0.8), 1e-15);
  norm = {0.6, 0, 0.8};
  Q7HPTFromXYZ(&h, &p, &t, &q7v_hor, &q7v_vert, &norm);
  Q7Vector other = norm;
  Q7HPTFromXYZ(&other.x, &other.y, &other.z, &q7v_hor, &q7v_vert, &other);
  EXPECT_TRUE(is(other, h, p, t));
  Q7Vector dir = {0.6, 0, 0.8};
  const Q7Vector copy = dir;
  const double pitch = Q7DirToHP(&h, &copy);
  EXPECT_EQ(Q7DirToHP(&dir.x, &dir), pitch);
  EXPECT_EQ(dir.x, h);
}

}  // namespace
