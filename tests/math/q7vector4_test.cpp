// Tests of math/q7vector4.cpp.
#include "math/q7vector4.h"

#include "tests/math/math_test.h"

namespace {

using q7test::is;
using q7test::kInf;
using q7test::Random;

double dot4(const Q7Vector4 &a, const Q7Vector4 &b) { return a.x * b.x + a.y * b.y + a.z * b.z + a.w * b.w; }

TEST(Vector4, Arithmetic) {
  const Q7Vector4 a = {1, 2, 3, 4}, b = {10, 30, 50, 80};
  Q7Vector4 r;
  EXPECT_EQ(V4Set(&r, 1, 2, 3, 4), &r);
  EXPECT_TRUE(is(r, 1, 2, 3, 4));
  EXPECT_EQ(V4Add(&r, &a, &b), &r);
  EXPECT_TRUE(is(r, 11, 32, 53, 84));
  r = a;
  EXPECT_EQ(V4FAdd(&r, &b), &r);
  EXPECT_TRUE(is(r, 11, 32, 53, 84));
  EXPECT_EQ(V4Mul(&r, 2, &a), &r);
  EXPECT_TRUE(is(r, 2, 4, 6, 8));
  EXPECT_EQ(V4FMul(&r, 0.5), &r);
  EXPECT_TRUE(is(r, 1, 2, 3, 4));
  EXPECT_EQ(V4Div(&r, 2, &a), &r);
  EXPECT_TRUE(is(r, 0.5, 1, 1.5, 2));
  EXPECT_EQ(V4FDiv(&r, 0.5), &r);
  EXPECT_TRUE(is(r, 1, 2, 3, 4));
  EXPECT_EQ(V4Neg(&r), &r);
  EXPECT_TRUE(is(r, -1, -2, -3, -4));
  EXPECT_EQ(C4Mul(&r, &a, &b), &r);
  EXPECT_TRUE(is(r, 10, 60, 150, 320));
  r = a;
  EXPECT_EQ(C4FMul(&r, &b), &r);
  EXPECT_TRUE(is(r, 10, 60, 150, 320));
  EXPECT_EQ(P4Mul(&a, &b), 540);
  const Q7Vector4 c = {1, 1, 1, 1};
  EXPECT_EQ(V4Len(&c), 2);
  EXPECT_EQ(V4Interpolate(&r, &a, &b, 0.5), &r);
  EXPECT_TRUE(is(r, 5.5, 16, 26.5, 42));
  const Q7Vector4 pts[2] = {a, b};
  EXPECT_EQ(V4Average(&r, pts, 2), &r);
  EXPECT_TRUE(is(r, 5.5, 16, 26.5, 42));
  const Q7Vector4 u = {0, 0, 0, 1};
  EXPECT_EQ(V4Comp(&r, &u, &a), &r);
  EXPECT_TRUE(is(r, 0, 0, 0, 4));
  EXPECT_EQ(V4OrtUnit(&r, &a, &u), &r);
  EXPECT_TRUE(is(r, 1, 2, 3, 0));
}

TEST(Vector4, SubYieldsBMinusAAndFSubAMinusB) {
  const Q7Vector4 a = {1, 2, 3, 4}, b = {10, 30, 50, 80};
  Q7Vector4 r;
  EXPECT_EQ(V4Sub(&r, &a, &b), &r);
  EXPECT_TRUE(is(r, 9, 28, 47, 76));
  r = a;
  EXPECT_EQ(V4FSub(&r, &b), &r);
  EXPECT_TRUE(is(r, -9, -28, -47, -76));
}

TEST(Vector4, DivisionByAZeroComponentIsPlain) {
  const Q7Vector4 a = {8, -2, 0, 6}, d = {4, 0, 0, 2};
  Q7Vector4 r;
  EXPECT_EQ(C4Div(&r, &d, &a), &r);
  EXPECT_EQ(r.x, 2);
  EXPECT_EQ(r.y, -kInf);
  EXPECT_TRUE(std::isnan(r.z));
  EXPECT_EQ(r.w, 3);
  EXPECT_EQ(d.y, 0) << "no zero is replaced";
  r = a;
  EXPECT_EQ(C4FDiv(&r, &d), &r);
  EXPECT_EQ(r.x, 2);
  EXPECT_EQ(r.w, 3);
}

TEST(Vector4, NormOfZeroSetsXAlone) {
  Q7Vector4 z = {0, 0, 1e-320, 0};
  EXPECT_EQ(V4Norm(&z), 0);
  EXPECT_TRUE(is(z, 1, 0, 1e-320, 0));
  Q7Vector4 v = {2, 2, 2, 2};
  EXPECT_EQ(V4Norm(&v), 4);
  EXPECT_TRUE(is(v, 0.5, 0.5, 0.5, 0.5));
}

TEST(Vector4, OrtWithAZeroNormalRemovesX) {
  const Q7Vector4 a = {5, 6, 7, 8}, zero = {0, 0, 0, 0}, n = {0, 3, 0, 0};
  Q7Vector4 r;
  EXPECT_EQ(V4Ort(&r, &a, &zero), &r);
  EXPECT_TRUE(is(r, 0, 6, 7, 8));
  EXPECT_TRUE(is(zero, 0, 0, 0, 0));
  V4Ort(&r, &a, &n);
  EXPECT_TRUE(is(r, 5, 0, 7, 8));
  EXPECT_TRUE(is(n, 0, 3, 0, 0)) << "the caller's n is unchanged";
}

TEST(Vector4, AEqIsStrictAndCmpIsNot) {
  const Q7Vector4 a = {1, 2, 3, 4}, b = {1, 2, 3, 4.5};
  EXPECT_EQ(V4AEq(&a, &b, 0.5), 0);
  EXPECT_EQ(V4AEq(&a, &b, 0.51), 1);
  EXPECT_EQ(V4Cmp(&a, &b, 0.5), 0);
  EXPECT_EQ(V4Cmp(&a, &b, 0.49), 1);
}

TEST(Vector4, CrossOfTheFirstThreeAxesIsMinusTheFourth) {
  const Q7Vector4 x = {1, 0, 0, 0}, y = {0, 1, 0, 0}, z = {0, 0, 1, 0}, w = {0, 0, 0, 1};
  Q7Vector4 r;
  EXPECT_EQ(V4Cross(&r, &x, &y, &z), &r);
  EXPECT_TRUE(is(r, 0, 0, 0, -1));
  V4Cross(&r, &y, &z, &w);
  EXPECT_TRUE(is(r, 1, 0, 0, 0));
  V4Cross(&r, &x, &z, &w);
  EXPECT_TRUE(is(r, 0, -1, 0, 0));
  V4Cross(&r, &x, &y, &w);
  EXPECT_TRUE(is(r, 0, 0, 1, 0));
}

TEST(Vector4, CrossIsPerpendicularAndCyclicAgainstLongDoubles) {
  Random random;
  for (int n = 0; n < 10000; ++n) {
    const Q7Vector4 a = random.vector4(), b = random.vector4(), c = random.vector4();
    Q7Vector4 r, s;
    V4Cross(&r, &a, &b, &c);
    for (const Q7Vector4 &v : {a, b, c}) EXPECT_NEAR(dot4(r, v), 0, 1e-14);
    V4Cross(&s, &b, &c, &a);
    EXPECT_TRUE(is(s, r.x, r.y, r.z, r.w, 2e-15));
    auto det = [](long double a1, long double a2, long double a3, long double b1, long double b2, long double b3,
                  long double c1, long double c2, long double c3) {
      return static_cast<double>(a1 * b2 * c3 + a2 * b3 * c1 + a3 * b1 * c2 - a3 * b2 * c1 - a2 * b1 * c3 -
                                 a1 * b3 * c2);
    };
    EXPECT_TRUE(is(r, det(a.y, a.z, a.w, b.y, b.z, b.w, c.y, c.z, c.w),
                   -det(a.x, a.z, a.w, b.x, b.z, b.w, c.x, c.z, c.w), det(a.x, a.y, a.w, b.x, b.y, b.w, c.x, c.y, c.w),
                   -det(a.x, a.y, a.z, b.x, b.y, b.z, c.x, c.y, c.z), 2e-15));
  }
}

TEST(Vector4, RadiusIsTheLargestDistance) {
  const Q7Vector4 pts[3] = {{1, 1, 1, 1}, {3, 3, 3, 3}, {0, 0, 0, 1}}, c = {1, 1, 1, 1};
  EXPECT_EQ(V4Radius(&c, pts, 3), 4);
  EXPECT_EQ(V4Radius(&c, pts, 1), 0);
}

TEST(Vector4, PlaneNormalOfAHyperplane) {
  Random random;
  for (int n = 0; n < 100; ++n) {
    Q7Vector4 normal = random.vector4();
    V4Norm(&normal);
    Q7Vector4 pts[6], r;
    for (Q7Vector4 &p : pts) {
      p = random.vector4(5);
      V4OrtUnit(&p, &p, &normal);
    }
    EXPECT_EQ(V4PlaneNormal(&r, pts, 6), &r);
    EXPECT_NEAR(std::fabs(dot4(r, normal)), 1, 1e-9);
    EXPECT_NEAR(V4Len(&r), 1, 1e-15);
  }
  Q7Vector4 r = {1, 2, 3, 4};
  const Q7Vector4 line[5] = {{0, 0, 0, 0}, {1, 1, 1, 1}, {2, 2, 2, 2}, {3, 3, 3, 3}, {4, 4, 4, 4}};
  V4PlaneNormal(&r, line, 5);
  V4PlaneNormal(&r, line, 3);
  V4PlaneNormal(&r, nullptr, 0);
  EXPECT_TRUE(is(r, 1, 2, 3, 4));
}

TEST(Vector4, ConversionsBetweenHomogeneousAndOrdinaryPoints) {
  const Q7Vector v = {1, 2, 3};
  Q7Vector4 r;
  EXPECT_EQ(V4ClipTo3D(&r, &v), &r);
  EXPECT_TRUE(is(r, 1, 2, 3, 1));
  Q7Vector4 pts[2] = {{2, 4, 6, 2}, {3, 6, 9, -3}};
  Q7ProjectTo3D(pts, 2);
  EXPECT_TRUE(is(pts[0], 1, 2, 3, 2));
  EXPECT_TRUE(is(pts[1], -1, -2, -3, -3));
  Q7LiftTo4D(pts, 2);
  EXPECT_TRUE(is(pts[0], 2, 4, 6, 2));
  EXPECT_TRUE(is(pts[1], 3, 6, 9, -3));
  Q7Vector4 copy[2];
  const Q7Vector4 low[2] = {{1, 2, 3, 2}, {1, 1, 1, 0}};
  Q7LiftTo4DCopy(copy, low, 2);
  EXPECT_TRUE(is(copy[0], 2, 4, 6, 2));
  EXPECT_TRUE(is(copy[1], 0, 0, 0, 0));
  Q7Vector flat[2];
  Q7ConvertTo3D(flat, pts, 2);
  EXPECT_TRUE(is(flat[0], 2, 4, 6));
  EXPECT_TRUE(is(flat[1], 3, 6, 9));
  Q7ConvertTo3D(reinterpret_cast<Q7Vector *>(copy), copy, 2);
  std::memcpy(flat, copy, sizeof flat);
  EXPECT_TRUE(is(flat[0], 2, 4, 6));
  EXPECT_TRUE(is(flat[1], 0, 0, 0));
  for (int32_t n : {0, -1}) {
    Q7ProjectTo3D(nullptr, n);
    Q7LiftTo4D(nullptr, n);
    Q7LiftTo4DCopy(nullptr, nullptr, n);
    Q7ConvertTo3D(nullptr, nullptr, n);
  }
}

TEST(Vector4, ProjectAndLiftAreInverses) {
  Random random;
  for (int n = 0; n < 1000; ++n) {
    Q7Vector4 p = random.vector4(10);
    if (std::fabs(p.w) < 0.01) continue;
    const Q7Vector4 before = p;
    Q7ProjectTo3D(&p, 1);
    Q7LiftTo4D(&p, 1);
    EXPECT_TRUE(is(p, before.x, before.y, before.z, before.w, 1e-14));
  }
}

TEST(Vector4, StreamingWritesAndReadsOneDoubleAMessage) {
  q7test::check_streaming<Q7Vector4>(4, Q7Vector4Write, Q7Vector4Read);
}

TEST(Vector4, TheDestinationMayBeAnyOperand) {
  using V = const Q7Vector4 *;
  Random random;
  for (int n = 0; n < 50; ++n) {
    const Q7Vector4 a = random.vector4(), b = random.vector4(), c = random.vector4();
    auto check = []<class F, class... Operands>(const char *name, F f, const Operands &...operands) {
      q7test::check_aliasing<Q7Vector4>(name, f, operands...);
    };
    check("V4Add", V4Add, a, b);
    check("V4Sub", V4Sub, a, b);
    check(
        "V4Mul", [](Q7Vector4 *r, V p) { V4Mul(r, 3, p); }, a);
    check(
        "V4Div", [](Q7Vector4 *r, V p) { V4Div(r, 3, p); }, a);
    check("C4Mul", C4Mul, a, b);
    check("C4Div", C4Div, a, b);
    check("V4OrtUnit", V4OrtUnit, a, b);
    check("V4Ort", V4Ort, a, b);
    check("V4Comp", V4Comp, a, b);
    check(
        "V4Interpolate", [](Q7Vector4 *r, V p, V q) { V4Interpolate(r, p, q, 0.3); }, a, b);
    check("V4Cross", V4Cross, a, b, c);
    check(
        "Q7MxTransform4",
        [&](Q7Vector4 *r, V p) {
          const Q7Matrix m = Random(3).matrix();
          Q7MxTransform4(r, &m, p);
        },
        a);
    Q7Vector4 r = a;
    V4FAdd(&r, &r);
    EXPECT_TRUE(is(r, 2 * a.x, 2 * a.y, 2 * a.z, 2 * a.w));
    V4FSub(&r, &r);
    EXPECT_TRUE(is(r, 0, 0, 0, 0));
    r = a;
    C4FDiv(&r, &r);
    EXPECT_TRUE(is(r, 1, 1, 1, 1));
    Q7Vector4 pts[5] = {a, b, c, random.vector4(), random.vector4()}, expected;
    V4Average(&expected, pts, 5);
    V4Average(pts, pts, 5);
    EXPECT_TRUE(q7test::same_bits(pts[0], expected));
    pts[0] = a;
    V4PlaneNormal(&expected, pts, 5);
    V4PlaneNormal(pts, pts, 5);
    EXPECT_TRUE(q7test::same_bits(pts[0], expected));
  }
}

}  // namespace
