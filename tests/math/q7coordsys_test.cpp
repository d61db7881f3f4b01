// Tests of math/q7coordsys.cpp and math/q7csangles.cpp.
#include "math/q7coordsys.h"

#include "tests/math/math_test.h"

namespace {

using q7test::cross;
using q7test::dot;
using q7test::is;
using q7test::kPi;
using q7test::length;
using q7test::Random;

::testing::AssertionResult same(const Q7CoordSys &a, const Q7CoordSys &b, double eps = 0) {
  auto o = is(a.orig, b.orig, eps), h = is(a.hor, b.hor, eps), v = is(a.vert, b.vert, eps), n = is(a.norm, b.norm, eps);
  if (!o) return o << " orig";
  if (!h) return h << " hor";
  if (!v) return v << " vert";
  if (!n) return n << " norm";
  return ::testing::AssertionSuccess();
}

Q7Vector times(double s, const Q7Vector &v) { return {s * v.x, s * v.y, s * v.z}; }

Q7CoordSys scaled(const Q7CoordSys &f, double h, double v, double n) {
  return {f.orig, times(h, f.hor), times(v, f.vert), times(n, f.norm)};
}

TEST(CoordSys, SetIdentityAndEq) {
  static_assert(sizeof(Q7CoordSys) == 96 && offsetof(Q7CoordSys, hor) == 24 && offsetof(Q7CoordSys, norm) == 72);
  Q7CoordSys cs, other;
  const Q7Vector o = {1, 2, 3}, h = {4, 5, 6}, v = {7, 8, 9}, n = {10, 11, 12};
  EXPECT_EQ(Q7CsSet(&cs, &o, &h, &v, &n), &cs);
  EXPECT_TRUE(same(cs, {o, h, v, n}));
  EXPECT_EQ(Q7CSIdentity(&other), &other);
  EXPECT_TRUE(same(other, _q7cs_abs));
  EXPECT_TRUE(same(_q7cs_abs, {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}}));
  EXPECT_EQ(Q7CsEq(&cs, &cs), 1);
  double *numbers = &cs.orig.x;
  for (int i = 0; i < 12; ++i) {
    other = cs;
    numbers[i] += 1e-9;
    EXPECT_EQ(Q7CsEq(&cs, &other), 0) << i;
    numbers[i] = (&other.orig.x)[i];
  }
}

TEST(CoordSys, MapThenUnmapReturnsThePointInAnOrthonormalFrame) {
  Random random;
  for (int i = 0; i < 1000; ++i) {
    const Q7CoordSys f = random.frame();
    const Q7Vector p = random.vector(20);
    Q7Vector local, back;
    EXPECT_EQ(Q7CsMapV(&local, &p, &f), &local);
    EXPECT_EQ(Q7CsUnmapV(&back, &local, &f), &back);
    EXPECT_TRUE(is(back, p, 1e-12));
    const Q7CoordSys g = scaled(f, 2, 0.5, 7);
    EXPECT_EQ(Q7CsMapVExt(&local, &p, &g), &local);
    Q7CsUnmapV(&back, &local, &g);
    EXPECT_TRUE(is(back, p, 1e-12));
    const Q7CoordSys a = random.frame();
    Q7CoordSys mapped, unmapped;
    EXPECT_EQ(Q7CsMapCs(&mapped, &a, &f), &mapped);
    EXPECT_EQ(Q7CsUnmapCs(&unmapped, &mapped, &f), &unmapped);
    EXPECT_TRUE(same(unmapped, a, 1e-12));
    EXPECT_TRUE(is(*Q7CsMapV(&local, &a.orig, &f), mapped.orig));
    EXPECT_TRUE(is(mapped.hor, dot(a.hor, f.hor), dot(a.hor, f.vert), dot(a.hor, f.norm), 1e-15));
  }
}

TEST(CoordSys, MapExtCountsShortAxesAsOneE8) {
  const Q7CoordSys cs = {{0, 0, 0}, {1e-9, 0, 0}, {0, 1, 0}, {0, 0, 0}};
  const Q7Vector p = {1, 1, 1};
  Q7Vector r;
  Q7CsMapVExt(&r, &p, &cs);
  EXPECT_NEAR(r.x, 1e8, 1e-6);
  EXPECT_EQ(r.y, 1);
  EXPECT_NEAR(r.z, 1e8, 1e-6) << "a zero axis is taken along X";
}

TEST(CoordSys, PrepareLinCompMakesMapVExactForSkewedFrames) {
  Random random;
  for (int i = 0; i < 1000; ++i) {
    const Q7CoordSys cs = {random.vector(5), random.vector(2), random.vector(2), random.vector(2)};
    if (std::fabs(dot(cs.hor, cross(cs.vert, cs.norm))) < 0.2) continue;
    Q7CoordSys dual, alias = cs;
    EXPECT_EQ(Q7CsPrepareLinComp(&dual, &cs), 1);
    const Q7Vector x = random.vector(3);
    Q7Vector p, back;
    Q7CsUnmapV(&p, &x, &cs);
    Q7CsMapV(&back, &p, &dual);
    EXPECT_TRUE(is(back, x, 1e-11));
    const Q7Vector axes[3] = {cs.hor, cs.vert, cs.norm};
    const Q7Vector d = {p.x - cs.orig.x, p.y - cs.orig.y, p.z - cs.orig.z};
    VLinComp(&back, &d, axes);
    EXPECT_TRUE(is(back, x, 1e-8));
    Q7CsPrepareLinComp(&alias, &alias);
    EXPECT_TRUE(same(alias, dual));
  }
  Q7CoordSys flat = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}}, r = _q7cs_abs;
  EXPECT_EQ(Q7CsPrepareLinComp(&r, &flat), 0);
  EXPECT_TRUE(same(r, _q7cs_abs));
}

TEST(CoordSys, PolarAnglesAlongTheNormalHaveTheReversedSign) {
  double az, el, len;
  Q7Vector v = {0, 0, 1};
  Q7CsVToPolar(&az, &el, &len, &v, &_q7cs_abs);
  EXPECT_EQ(az, 0);
  EXPECT_EQ(el, -kPi / 2);
  EXPECT_EQ(len, 1);
  v = {0, 0, -3};
  Q7CsVToPolar(&az, &el, &len, &v, &_q7cs_abs);
  EXPECT_EQ(el, kPi / 2);
  EXPECT_EQ(len, 3);
  EXPECT_TRUE(is(v, 0, 0, -1)) << "normalised in place";
  v = {0, 0.001, 1};
  Q7CsVToPolar(&az, &el, &len, &v, &_q7cs_abs);
  EXPECT_NEAR(el, kPi / 2 - 0.001, 1e-8);
  EXPECT_NEAR(az, kPi / 2, 1e-12);
}

TEST(CoordSys, PolarAnglesOfTheNegativeAxes) {
  double az, el, len;
  Q7Vector v = {-1, 0, 0};
  Q7CsVToPolar(&az, &el, &len, &v, &_q7cs_abs);
  EXPECT_EQ(az, kPi);
  EXPECT_EQ(el, 0);
  v = {0, -1, 0};
  Q7CsVToPolar(&az, &el, &len, &v, &_q7cs_abs);
  EXPECT_EQ(az, -kPi / 2);
}

TEST(CoordSys, PolarAnglesBackToVectorsAndPoints) {
  Random random;
  for (int i = 0; i < 1000; ++i) {
    const Q7CoordSys f = random.frame();
    const Q7Vector v = random.vector(7);
    Q7Vector unit = v, back;
    double az, el, len;
    Q7CsVToPolar(&az, &el, &len, &unit, &f);
    EXPECT_NEAR(len, length(v), 1e-14);
    EXPECT_EQ(Q7CsVFromPolar(&back, &f, az, el, len), &back);
    EXPECT_TRUE(is(back, v, 1e-6));
    const Q7Vector p = {f.orig.x + v.x, f.orig.y + v.y, f.orig.z + v.z};
    const Q7Vector kept = p;
    double paz, pel, plen;
    Q7CsPToPolar(&paz, &pel, &plen, &p, &f);
    EXPECT_TRUE(is(p, kept));
    EXPECT_NEAR(plen, len, 1e-13);
    EXPECT_NEAR(pel, el, 1e-6);
    EXPECT_EQ(Q7CsPFromPolar(&back, &f, az, el, len), &back);
    EXPECT_TRUE(is(back, p, 1e-6));
  }
  Q7Vector r;
  const Q7CoordSys moved = {{1, 2, 3}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  EXPECT_TRUE(is(*Q7CsVFromPolar(&r, &moved, kPi / 2, 0, 2), 0, 2, 0, 1e-15));
  EXPECT_TRUE(is(*Q7CsPFromPolar(&r, &moved, 0, kPi / 2, 2), 1, 2, 5, 1e-15));
}

TEST(CoordSys, NormalizeUnmirrorsAndKeepSpinDoesNot) {
  const Q7CoordSys mirrored = {{1, 2, 3}, {2, 0, 0}, {1, 3, 0}, {1, 1, -4}};
  Q7CoordSys a = mirrored, b = mirrored;
  EXPECT_EQ(Q7CsNormalizeKeepSpin(&a), -1);
  EXPECT_TRUE(same(a, {{1, 2, 3}, {1, 0, 0}, {0, 1, 0}, {0, 0, -1}}));
  EXPECT_EQ(Q7CsNormalize(&b), &b);
  EXPECT_TRUE(same(b, {{1, 2, 3}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}}));
  Q7CoordSys right = {{1, 2, 3}, {2, 0, 0}, {1, 3, 0}, {1, 1, 4}};
  EXPECT_EQ(Q7CsNormalizeKeepSpin(&right), 1);
  EXPECT_TRUE(is(right.norm, 0, 0, 1));
}

TEST(CoordSys, RotateTurnsAboutTheThreeAxesInTurn) {
  Q7CoordSys cs = _q7cs_abs;
  EXPECT_EQ(Q7CsRotate(&cs, kPi / 2, 0, 0), &cs);
  EXPECT_TRUE(same(cs, {{0, 0, 0}, {1, 0, 0}, {0, 0, 1}, {0, -1, 0}}, 1e-15));
  cs = _q7cs_abs;
  Q7CsRotate(&cs, 0, kPi / 2, 0);
  EXPECT_TRUE(same(cs, {{0, 0, 0}, {0, 0, -1}, {0, 1, 0}, {1, 0, 0}}, 1e-15));
  cs = _q7cs_abs;
  Q7CsRotate(&cs, 0, 0, kPi / 2);
  EXPECT_TRUE(same(cs, {{0, 0, 0}, {0, 1, 0}, {-1, 0, 0}, {0, 0, 1}}, 1e-15));
  Random random;
  for (int i = 0; i < 200; ++i) {
    const Q7CoordSys f = random.frame();
    const double a = random.number(-3, 3), b = random.number(-3, 3), c = random.number(-3, 3);
    Q7CoordSys once = f, steps = f;
    Q7CsRotate(&once, a, b, c);
    Q7CsRotate(&steps, a, 0, 0);
    Q7CsRotate(&steps, 0, b, 0);
    Q7CsRotate(&steps, 0, 0, c);
    EXPECT_TRUE(same(once, steps, 1e-14));
  }
}

TEST(CoordSys, FRotate2VTurnsTheAxesAndKeepsTheOrigin) {
  Random random;
  for (int i = 0; i < 100; ++i) {
    const Q7CoordSys f = random.frame();
    const Q7Vector target = random.unit();
    Q7CoordSys cs = f;
    EXPECT_EQ(Q7CsFRotate2V(&cs, &f.norm, &target, &f.hor), &cs);
    EXPECT_TRUE(is(cs.norm, target, 1e-13));
    EXPECT_TRUE(is(cs.orig, f.orig));
    EXPECT_TRUE(is(cross(cs.hor, cs.vert), cs.norm, 1e-13));
    cs = f;
    Q7CoordSys expected = f;
    Q7CsFRotate2V(&expected, &f.norm, &target, &f.hor);
    Q7CsFRotate2V(&cs, &cs.norm, &target, &cs.hor);
    EXPECT_TRUE(same(cs, expected)) << "the vectors may be the frame's own";
  }
}

TEST(CoordSys, RemoveSkewKeepsTheThreeLengthsAndTheHandedness) {
  Random random;
  for (int i = 0; i < 500; ++i) {
    const Q7CoordSys cs = {random.vector(3), random.vector(2), random.vector(2), random.vector(2)};
    const double volume = dot(cross(cs.hor, cs.vert), cs.norm);
    if (std::fabs(volume) < 0.2) continue;
    Q7CoordSys r = cs;
    EXPECT_EQ(Q7CsRemoveSkew(&r), &r);
    EXPECT_NEAR(length(r.hor), length(cs.hor), 1e-13);
    EXPECT_NEAR(length(r.vert), length(cs.vert), 1e-13);
    EXPECT_NEAR(length(r.norm), length(cs.norm), 1e-13);
    EXPECT_NEAR(dot(r.hor, r.vert), 0, 1e-13);
    EXPECT_NEAR(dot(r.hor, r.norm), 0, 1e-13);
    EXPECT_NEAR(dot(r.vert, r.norm), 0, 1e-13);
    EXPECT_GT(dot(cross(r.hor, r.vert), r.norm) * volume, 0);
    EXPECT_TRUE(is(cross(r.hor, cs.hor), 0, 0, 0, 1e-13)) << "hor keeps its direction";
    EXPECT_TRUE(is(r.orig, cs.orig));
  }
}

TEST(CoordSys, RemoveScaleAndRotation) {
  Q7CoordSys cs = {{1, 2, 3}, {0, 3, 4}, {0, 0, -2}, {0, 0, 0}};
  Q7CoordSys r = cs;
  EXPECT_EQ(Q7CsRemoveScale(&r), &r);
  EXPECT_TRUE(same(r, {{1, 2, 3}, {0, 0.6, 0.8}, {0, 0, -1}, {1, 0, 0}}));
  r = cs;
  EXPECT_EQ(Q7CsRemoveRotation(&r), &r);
  EXPECT_TRUE(same(r, {{1, 2, 3}, {5, 0, 0}, {0, 2, 0}, {0, 0, 0}}));
}

TEST(CoordSys, BoundingBoxIsNotDividedByTheLengths) {
  const Q7CoordSys cs = {{1, 0, 0}, {2, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  const Q7Vector pts[3] = {{2, 5, -1}, {0, 7, 3}, {4, 6, 0}};
  Q7Vector min, max;
  Q7CsBoundingBox(&cs, pts, 3, &min, &max);
  EXPECT_TRUE(is(min, -2, 5, -1));
  EXPECT_TRUE(is(max, 6, 7, 3));
  Q7CsBoundingBox(&cs, pts, 1, &min, &max);
  EXPECT_TRUE(is(min, 2, 5, -1));
  EXPECT_TRUE(is(max, 2, 5, -1));
  Q7Vector own[3] = {pts[0], pts[1], pts[2]};
  Q7CsBoundingBox(&cs, own, 3, own, own + 1);
  EXPECT_TRUE(is(own[0], -2, 5, -1));
  EXPECT_TRUE(is(own[1], 6, 7, 3));
}

TEST(CoordSys, FitOfAFrameWithItselfChangesNothing) {
  Q7CoordSys cs = {{1, 2, 3}, {2, 0, 0}, {0, 3, 0}, {0, 0, 4}};
  const Q7CoordSys before = cs;
  EXPECT_EQ(Q7CsFit(&cs, &cs), 0);
  EXPECT_TRUE(same(cs, before));
}

TEST(CoordSys, FitMovesTheOriginAndLengthensAxesFromTheOldOne) {
  Q7CoordSys cs = {{0, 0, 0}, {2, 0, 0}, {0, 2, 0}, {0, 0, 2}};
  const Q7CoordSys other = {{-1, 0.5, 0}, {1, 0, 0}, {0, 4, 0}, {0, 0, 1}};
  EXPECT_EQ(Q7CsFit(&cs, &other), 1);
  // Coordinates run from -1 to 0, 0.5 to 4.5 and 0 to 1.
  EXPECT_TRUE(same(cs, {{-1, 0, 0}, {2, 0, 0}, {0, 4.5, 0}, {0, 0, 2}}));
  EXPECT_EQ(Q7CsFit(&cs, &other), 0);
  Q7CoordSys wide = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  const Q7CoordSys big = {{-3, 0, 0}, {5, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  EXPECT_EQ(Q7CsFit(&wide, &big), 1);
  EXPECT_TRUE(same(wide, {{-3, 0, 0}, {2, 0, 0}, {0, 1, 0}, {0, 0, 1}})) << "not yet as long as the box";
  EXPECT_EQ(Q7CsFit(&wide, &big), 1);
  EXPECT_TRUE(is(wide.hor, 5, 0, 0));
  EXPECT_EQ(Q7CsFit(&wide, &big), 0);
}

TEST(CoordSys, StreamingWritesOrigHorVertNorm) { q7test::check_streaming<Q7CoordSys>(12, Q7CsWrite, Q7CsRead); }

TEST(CoordSys, PrintWritesFourLines) {
  q7test::Capture out(1);
  Q7CsPrint(&_q7cs_abs);
  std::fflush(stdout);
  EXPECT_EQ(out.stop(),
            "orig 0.000000 0.000000 0.000000\nhor  1.000000 0.000000 0.000000\n"
            "vert 0.000000 1.000000 0.000000\nnorm 0.000000 0.000000 1.000000\n");
}

TEST(CoordSys, TheDestinationMayBeAnyOperand) {
  Random random;
  for (int n = 0; n < 50; ++n) {
    const Q7CoordSys f = random.frame(), g = random.frame();
    const Q7Vector p = random.vector(5);
    q7test::check_aliasing<Q7Vector>(
        "Q7CsMapV", [&](Q7Vector *r, const Q7Vector *v) { Q7CsMapV(r, v, &f); }, p);
    q7test::check_aliasing<Q7Vector>(
        "Q7CsMapVExt", [&](Q7Vector *r, const Q7Vector *v) { Q7CsMapVExt(r, v, &f); }, p);
    q7test::check_aliasing<Q7Vector>(
        "Q7CsUnmapV", [&](Q7Vector *r, const Q7Vector *v) { Q7CsUnmapV(r, v, &f); }, p);
    q7test::check_aliasing<Q7CoordSys>("Q7CsMapCs", Q7CsMapCs, f, g);
    q7test::check_aliasing<Q7CoordSys>("Q7CsUnmapCs", Q7CsUnmapCs, f, g);
    // A vector of the frame itself.
    Q7CoordSys own = f;
    Q7Vector expected;
    Q7CsUnmapV(&expected, &f.norm, &f);
    Q7CsUnmapV(&own.hor, &own.norm, &own);
    EXPECT_TRUE(is(own.hor, expected));
    own = f;
    Q7CsVFromPolar(&expected, &f, 1, 2, 3);
    Q7CsVFromPolar(&own.norm, &own, 1, 2, 3);
    EXPECT_TRUE(is(own.norm, expected));
    own = f;
    Q7CsSet(&own, &own.norm, &own.vert, &own.hor, &own.orig);
    EXPECT_TRUE(same(own, {f.norm, f.vert, f.hor, f.orig}));
  }
}

// Angles of frames.

TEST(CoordSys, GetAnglesUndoesSetAngles) {
  Random random;
  for (int n = 0; n < 2000; ++n) {
    Q7CoordSys reference = random.frame();
    Q7CoordSys cs = scaled(random.frame(), 2, 3, 0.5);
    if (n & 1) cs.norm = times(-1, cs.norm);
    if (n & 2) reference.norm = times(-1, reference.norm);
    if (n & 4) reference = scaled(reference, 0.1, 7, 3);
    const Q7CoordSys before = cs;
    const bool mirrored = dot(cross(cs.hor, cs.vert), cs.norm) < 0;
    const double angles[3] = {random.number(-3.1, 3.1), random.number(-1.5, 1.5), random.number(-3.1, 3.1)};
    auto check = [&](auto set, auto get, double eps) {
      double back[3];
      EXPECT_EQ(set(&cs, &reference, angles), &cs);
      get(back, &cs, &reference);
      for (int i = 0; i < 3; ++i) EXPECT_NEAR(std::remainder(back[i] - angles[i], q7test::kTwoPi), 0, eps) << n;
      EXPECT_NEAR(length(cs.hor), 2, 1e-13);
      EXPECT_NEAR(length(cs.vert), 3, 1e-13);
      EXPECT_NEAR(length(cs.norm), 0.5, 1e-13);
      EXPECT_EQ(dot(cross(cs.hor, cs.vert), cs.norm) < 0, mirrored);
      EXPECT_TRUE(is(cs.orig, before.orig));
      // And the axes come back from the angles.
      Q7CoordSys again = before;
      get(back, &before, &reference);
      set(&again, &reference, back);
      EXPECT_TRUE(same(again, before, 1e-12));
    };
    check(Q7CsSetAngles, Q7CsGetAngles, 1e-11);
    cs = before;
    if (std::fabs(angles[0]) < 3) check(Q7CsSetAnglesT, Q7CsGetAnglesT, 1e-10);
  }
}

TEST(CoordSys, AnglesRelativeToTheAbsoluteFrameAreThoseOfTheAxes) {
  const double angles[3] = {0.5, -0.25, 1};
  Q7Vector axes[3];
  Q7C_HPBToXYZ(axes, angles);
  const Q7CoordSys cs = {{1, 2, 3}, axes[0], axes[1], axes[2]};
  double a[3], b[3], c[3];
  Q7CsGetAngles(a, &cs, nullptr);
  Q7CsGetAngles(b, &cs, &_q7cs_abs);
  Q7C_HPBFromXYZ(c, axes);
  for (int i = 0; i < 3; ++i) {
    EXPECT_NEAR(a[i], angles[i], 1e-15);
    EXPECT_EQ(a[i], b[i]);
    EXPECT_NEAR(a[i], c[i], 1e-15);
  }
  Q7Vector hor, vert, norm;
  Q7HPBToXYZ(0.5, -0.25, 1, &hor, &vert, &norm);
  EXPECT_TRUE(is(axes[0], hor) && is(axes[1], vert) && is(axes[2], norm));
  Q7C_HPTToXYZ(axes, angles);
  Q7HPTToXYZ(0.5, -0.25, 1, &hor, &vert, &norm);
  EXPECT_TRUE(is(axes[0], hor) && is(axes[1], vert) && is(axes[2], norm));
  Q7C_HPTFromXYZ(c, axes);
  for (int i = 0; i < 3; ++i) EXPECT_NEAR(c[i], angles[i], 1e-14);
}

TEST(CoordSys, FastAnglesRunAroundTheSquare) {
  const double quarter[3] = {kPi / 2, -kPi / 2, kPi};
  double fast[3], back[3];
  EXPECT_EQ(Q7CsHPBToFastAngle(fast, quarter), fast);
  EXPECT_NEAR(fast[0], 1, 1e-15);
  EXPECT_NEAR(fast[1], -1, 1e-15);
  EXPECT_NEAR(fast[2], 2, 1e-15);
  double last = -2.1;
  for (int k = -179; k <= 180; ++k) {
    const double angle = k * kPi / 180, triple[3] = {angle, 0, angle + 4 * kPi};
    Q7CsHPBToFastAngle(fast, triple);
    EXPECT_GT(fast[0], last) << "monotonic";
    EXPECT_NEAR(fast[2], fast[0], 1e-14);
    last = fast[0];
    const double moved[3] = {fast[0] + 4, fast[0] - 8, fast[0]};
    EXPECT_EQ(Q7CsHPBFromFastAngle(back, moved), back);
    for (double b : back) EXPECT_NEAR(std::remainder(b - angle, q7test::kTwoPi), 0, 1e-14);
  }
}

TEST(CoordSys, FastAnglesGiveTheAxesBackEverywhere) {
  Random random;
  std::vector<Q7CoordSys> frames;
  for (int n = 0; n < 2000; ++n) frames.push_back(random.frame());
  for (double offset : {0.0, 1e-30, 1e-20, 1e-16, 1e-10, 1e-5}) {
    for (double y : {1.0, -1.0}) {
      const Q7Vector norm = {offset, y, offset};
      Q7CoordSys f = {{0, 0, 0}, random.unit(), random.unit(), norm};
      f.hor = cross(f.vert, f.norm);
      VNorm(&f.hor);
      VNorm(&f.norm);
      f.vert = cross(f.norm, f.hor);
      frames.push_back(f);
    }
  }
  for (const Q7CoordSys &f : frames) {
    const Q7Vector axes[3] = {f.hor, f.vert, f.norm};
    double fast[3], hpb[3], angles[3];
    Q7Vector back[3];
    Q7C_FastFromXYZ(fast, axes);
    EXPECT_TRUE(fast[0] > -2 && fast[0] <= 2 && std::fabs(fast[1]) <= 1 && fast[2] > -2 && fast[2] <= 2);
    Q7C_FastToXYZ(back, fast);
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(is(back[i], axes[i], 1e-12));
    Q7CsHPBFromFastAngle(hpb, fast);
    Q7C_HPBFromXYZ(angles, axes);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(std::remainder(hpb[i] - angles[i], q7test::kTwoPi), 0, 1e-13);
    Q7CoordSys cs = _q7cs_abs;
    const Q7CoordSys reference = random.frame();
    double got[3];
    EXPECT_EQ(Q7CsSetFastAngles(&cs, &reference, fast), &cs);
    Q7CsGetFastAngles(got, &cs, &reference);
    Q7C_FastToXYZ(back, got);
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(is(back[i], axes[i], 1e-12));
  }
}

}  // namespace
