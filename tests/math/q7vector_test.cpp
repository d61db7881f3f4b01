// Tests of math/q7vector.cpp.
#include "math/q7vector.h"

#include "tests/math/math_test.h"

namespace {

using q7test::cross;
using q7test::dot;
using q7test::is;
using q7test::kInf;
using q7test::kNaN;
using q7test::kPi;
using q7test::kTwoPi;
using q7test::length;
using q7test::Random;

TEST(Vector, TheTypesHaveNoPadding) {
  static_assert(sizeof(Q7Vector) == 24 && sizeof(Q7Vector2) == 16);
  static_assert(offsetof(Q7Vector, x) == 0 && offsetof(Q7Vector, y) == 8 && offsetof(Q7Vector, z) == 16);
}

TEST(Vector, TheIdentitiesAreTheExportedConstants) {
  EXPECT_EQ(VIdentityX(), &q7v_hor);
  EXPECT_EQ(VIdentityY(), &q7v_vert);
  EXPECT_EQ(VIdentityZ(), &q7v_norm);
  EXPECT_EQ(VIdentityO(), &q7v_null);
  EXPECT_TRUE(is(q7v_hor, 1, 0, 0));
  EXPECT_TRUE(is(q7v_vert, 0, 1, 0));
  EXPECT_TRUE(is(q7v_norm, 0, 0, 1));
  EXPECT_TRUE(is(q7v_null, 0, 0, 0));
}

TEST(Vector, ArithmeticReturnsTheDestination) {
  const Q7Vector a = {1, 2, 3}, b = {10, 30, 50};
  Q7Vector r;
  EXPECT_EQ(VSet(&r, 1, 2, 3), &r);
  EXPECT_TRUE(is(r, 1, 2, 3));
  EXPECT_EQ(VCopy(&r, &b), &r);
  EXPECT_TRUE(is(r, 10, 30, 50));
  EXPECT_EQ(VNull(&r), &r);
  EXPECT_TRUE(is(r, 0, 0, 0));
  EXPECT_EQ(VAdd(&r, &a, &b), &r);
  EXPECT_TRUE(is(r, 11, 32, 53));
  EXPECT_EQ(VMul(&r, 2, &a), &r);
  EXPECT_TRUE(is(r, 2, 4, 6));
  EXPECT_EQ(VDiv(&r, 2, &a), &r);
  EXPECT_TRUE(is(r, 0.5, 1, 1.5));
  EXPECT_EQ(VSetNeg(&r, &a), &r);
  EXPECT_TRUE(is(r, -1, -2, -3));
  EXPECT_EQ(VNeg(&r), &r);
  EXPECT_TRUE(is(r, 1, 2, 3));
  EXPECT_EQ(VMid(&r, &a, &b), &r);
  EXPECT_TRUE(is(r, 5.5, 16, 26.5));
  EXPECT_EQ(CMul(&r, &a, &b), &r);
  EXPECT_TRUE(is(r, 10, 60, 150));
  r = a;
  EXPECT_EQ(VFAdd(&r, &b), &r);
  EXPECT_TRUE(is(r, 11, 32, 53));
  r = a;
  EXPECT_EQ(VFMul(&r, 3), &r);
  EXPECT_TRUE(is(r, 3, 6, 9));
  EXPECT_EQ(VFDiv(&r, 3), &r);
  EXPECT_TRUE(is(r, 1, 2, 3));
  EXPECT_EQ(CFMul(&r, &b), &r);
  EXPECT_TRUE(is(r, 10, 60, 150));
}

TEST(Vector, SubSubtractsTheSecondFromTheThirdAndFSubInOrder) {
  const Q7Vector a = {1, 2, 3}, b = {10, 30, 50};
  Q7Vector r;
  EXPECT_EQ(VSub(&r, &a, &b), &r);
  EXPECT_TRUE(is(r, 9, 28, 47));
  r = a;
  EXPECT_EQ(VSubF(&r, &b), &r);
  EXPECT_TRUE(is(r, 9, 28, 47));
  r = a;
  EXPECT_EQ(VFSub(&r, &b), &r);
  EXPECT_TRUE(is(r, -9, -28, -47));
}

TEST(Vector, SwapsExchange) {
  Q7Vector a = {1, 2, 3}, b = {4, 5, 6};
  VSwap(&a, &b);
  EXPECT_TRUE(is(a, 4, 5, 6));
  EXPECT_TRUE(is(b, 1, 2, 3));
  double x = 1, y = 2;
  FSwap(&x, &y);
  EXPECT_EQ(x, 2);
  EXPECT_EQ(y, 1);
  int32_t i = 1, j = 2;
  ISwap(&i, &j);
  EXPECT_EQ(i, 2);
  EXPECT_EQ(j, 1);
}

TEST(Vector, CDivReplacesZeroDivisorsByOneInTheDivisor) {
  Q7Vector d = {0, 2, 0}, r;
  const Q7Vector a = {3, 8, 5};
  EXPECT_EQ(CDiv(&r, &d, &a), &r);
  EXPECT_TRUE(is(d, 1, 2, 1));
  EXPECT_TRUE(is(r, 3, 4, 5));
  Q7Vector minus = {-0.0, 1, 1};
  CDiv(&r, &minus, &a);
  EXPECT_TRUE(is(minus, 1, 1, 1));
}

TEST(Vector, DivisionByZeroFollowsTheArithmetic) {
  const Q7Vector a = {1, -1, 0};
  Q7Vector r;
  VDiv(&r, 0, &a);
  EXPECT_EQ(r.x, kInf);
  EXPECT_EQ(r.y, -kInf);
  EXPECT_TRUE(std::isnan(r.z));
  VAverage(&r, &a, 0);
  EXPECT_TRUE(std::isnan(r.x) && std::isnan(r.y) && std::isnan(r.z));
}

TEST(Vector, ProductsAndLengths) {
  const Q7Vector a = {1, 2, 3}, b = {4, -5, 6}, c = {3, 4, 12};
  EXPECT_EQ(PMul(&a, &b), 12);
  EXPECT_EQ(PFMul(&a), 14);
  EXPECT_EQ(VLen(&c), 13);
  EXPECT_EQ(VDist(&a, &b), std::sqrt(9 + 49 + 9.0));
  Q7Vector r;
  EXPECT_EQ(VCross(&r, &q7v_hor, &q7v_vert), &r);
  EXPECT_TRUE(is(r, 0, 0, 1));
  VCross(&r, &a, &b);
  EXPECT_TRUE(is(r, 27, 6, -13));
  EXPECT_EQ(NormCross(&r, &a, &b), &r);
  const double l = std::sqrt(27 * 27 + 36 + 169.0);
  EXPECT_TRUE(is(r, 27 / l, 6 / l, -13 / l));
  NormCross(&r, &a, &a);
  EXPECT_TRUE(is(r, 0, 0, 0));
  const Q7Vector u = {0, 1, 0};
  EXPECT_EQ(VComp(&r, &u, &a), &r);
  EXPECT_TRUE(is(r, 0, 2, 0));
}

TEST(Vector, TinyComponentsUnderflowInThePlainSumOfSquares) {
  const Q7Vector a = {1e-170, 0, 0};
  EXPECT_EQ(VLen(&a), 0);
}

TEST(Vector, AEqIsStrictAndCompareIsNot) {
  const Q7Vector a = {1, 2, 3}, b = {1.5, 2, 3};
  EXPECT_EQ(VAEq(&a, &b, 0.5), 0);
  EXPECT_EQ(VAEq(&a, &b, 0.500001), 1);
  EXPECT_EQ(VCompare(&a, &b, 0.5), 0);
  EXPECT_EQ(VCompare(&a, &b, 0.499999), 1);
  EXPECT_EQ(VEq(&a, &a), 1);
  EXPECT_EQ(VEq(&a, &b), 0);
  const Q7Vector nan = {kNaN, 0, 0}, minus = {-0.0, 0, 0};
  EXPECT_EQ(VEq(&nan, &nan), 0);
  EXPECT_EQ(VEq(&minus, &q7v_null), 1);
  EXPECT_EQ(VCompare(&nan, &nan, 1), 1);
}

TEST(Vector, MaxCompTakesTheLaterAndMinCompTheEarlierOfEqualOnes) {
  auto max = [](double x, double y, double z) {
    const Q7Vector v = {x, y, z};
    return VMaxComp(&v);
  };
  auto min = [](double x, double y, double z) {
    const Q7Vector v = {x, y, z};
    return VMinComp(&v);
  };
  EXPECT_EQ(max(3, -2, 1), 0);
  EXPECT_EQ(max(1, -3, 2), 1);
  EXPECT_EQ(max(1, 2, -3), 2);
  EXPECT_EQ(max(1, 1, 1), 2);
  EXPECT_EQ(max(2, -2, 1), 1);
  EXPECT_EQ(max(2, 1, -2), 2);
  EXPECT_EQ(max(1, 2, 2), 2);
  EXPECT_EQ(min(3, -2, 1), 2);
  EXPECT_EQ(min(1, -3, 2), 0);
  EXPECT_EQ(min(3, -1, 2), 1);
  EXPECT_EQ(min(1, 1, 1), 0);
  EXPECT_EQ(min(2, -1, 1), 1);
  EXPECT_EQ(min(1, 2, -1), 0);
}

TEST(Vector, PrintWritesSixDecimalsWithoutANewline) {
  q7test::Capture out(1);
  const Q7Vector a = {1, -2.5, 0.0000004}, b = {1e20, -0.0, kInf};
  VPrint(&a);
  VPrint(&b);
  std::fflush(stdout);
  EXPECT_EQ(out.stop(), "1.000000 -2.500000 0.000000100000000000000000000.000000 -0.000000 inf");
}

TEST(Vector, NormOfZeroSetsXAloneAndReturnsZero) {
  Q7Vector a = {0, 0, 0};
  EXPECT_EQ(VNorm(&a), 0);
  EXPECT_TRUE(is(a, 1, 0, 0));
  Q7Vector b = {0, 1e-320, 0};
  EXPECT_EQ(VNorm(&b), 0);
  EXPECT_TRUE(is(b, 1, 1e-320, 0));
  Q7Vector c = {3, 0, 4};
  EXPECT_EQ(VNorm(&c), 5);
  EXPECT_TRUE(is(c, 0.6, 0, 0.8));
}

TEST(Vector, TNormLeavesAZeroVectorAlone) {
  Q7Vector a = {0, 1e-320, 0};
  EXPECT_EQ(TNorm(&a), 0);
  EXPECT_TRUE(is(a, 0, 1e-320, 0));
  Q7Vector c = {3, 0, 4};
  EXPECT_EQ(TNorm(&c), 5);
  EXPECT_TRUE(is(c, 0.6, 0, 0.8));
}

TEST(Vector, OrtTakesNOfAnyLengthAndLeavesAForATinyOne) {
  const Q7Vector a = {1, 2, 3}, n = {0, 0, 7}, tiny = {0, 9e-7, 0}, small = {0, 2e-6, 0};
  Q7Vector r;
  EXPECT_EQ(VOrt(&r, &a, &n), &r);
  EXPECT_TRUE(is(r, 1, 2, 0));
  VOrt(&r, &a, &tiny);
  EXPECT_TRUE(is(r, 1, 2, 3));
  VOrt(&r, &a, &small);
  EXPECT_TRUE(is(r, 1, 0, 3, 1e-15));
  EXPECT_EQ(VOrtUnit(&r, &a, &q7v_norm), &r);
  EXPECT_TRUE(is(r, 1, 2, 0));
}

TEST(Vector, ProjectionAndMirrorImageInAPlane) {
  const Q7Vector p = {1, 2, 9}, o = {5, 5, 4};
  Q7Vector r;
  EXPECT_EQ(VPtoPlane(&r, &p, &o, &q7v_norm), &r);
  EXPECT_TRUE(is(r, 1, 2, 4));
  EXPECT_EQ(VMirr(&r, &p, &o, &q7v_norm), &r);
  EXPECT_TRUE(is(r, 1, 2, -1));
}

TEST(Vector, LinePlaneHitMeetsThePlaneOrLeavesTheResult) {
  const Q7Vector p = {1, 1, 0}, d = {0, 1, 2}, o = {0, 0, 4}, n = {0, 0, 5}, parallel = {1, 1, 0};
  Q7Vector r = {7, 7, 7};
  EXPECT_EQ(LinePlaneHit(&r, &p, &d, &o, &n), 1);
  EXPECT_TRUE(is(r, 1, 3, 4));
  r = {7, 7, 7};
  EXPECT_EQ(LinePlaneHit(&r, &p, &parallel, &o, &n), 0);
  EXPECT_TRUE(is(r, 7, 7, 7));
  const Q7Vector at_limit = {0, 0, 4.450147717014403e-308}, above = {0, 0, 4.5e-308};
  EXPECT_EQ(LinePlaneHit(&r, &p, &at_limit, &o, &q7v_norm), 0);
  EXPECT_EQ(LinePlaneHit(&r, &p, &above, &p, &q7v_norm), 1);
  EXPECT_TRUE(is(r, 1, 1, 0));
}

TEST(Vector, CoDirAndOppDirTurnTheFirst) {
  const Q7Vector b = {1, 0, 0};
  Q7Vector a = {-1, 2, 3};
  EXPECT_EQ(CoDir(&a, &b), &a);
  EXPECT_TRUE(is(a, 1, -2, -3));
  CoDir(&a, &b);
  EXPECT_TRUE(is(a, 1, -2, -3));
  EXPECT_EQ(OppDir(&a, &b), &a);
  EXPECT_TRUE(is(a, -1, 2, 3));
  OppDir(&a, &b);
  EXPECT_TRUE(is(a, -1, 2, 3));
  Q7Vector across = {0, 1, 0};
  CoDir(&across, &b);
  OppDir(&across, &b);
  EXPECT_TRUE(is(across, 0, 1, 0));
}

TEST(Vector, AbsCosIsZeroForAZeroVector) {
  const Q7Vector a = {1, 1, 0}, b = {-3, 0, 0};
  EXPECT_NEAR(AbsCos(&a, &b), std::sqrt(0.5), 1e-15);
  EXPECT_EQ(AbsCos(&a, &q7v_null), 0);
  EXPECT_EQ(AbsCos(&q7v_null, &a), 0);
}

TEST(Vector, PerpendicularVectorsOfANormal) {
  Q7Vector a, b;
  VGetPerpVect(&q7v_norm, &a, &b);
  EXPECT_TRUE(is(a, 1, 0, 0));
  EXPECT_TRUE(is(b, 0, 1, 0));
  VGetPerpVect(&q7v_vert, &a, &b);
  EXPECT_TRUE(is(a, 1, 0, 0));
  EXPECT_TRUE(is(b, 0, 0, -1));
  const Q7Vector nearly = {1e-26, 1, 0}, more = {1e-24, 1, 0};
  VGetPerpVect(&nearly, &a, &b);
  EXPECT_TRUE(is(a, 1, 0, 0));
  VGetPerpVect(&more, &a, &b);
  EXPECT_TRUE(is(a, 0, 0, -1));
  Random random;
  for (int i = 0; i < 1000; ++i) {
    const Q7Vector n = random.unit();
    VGetPerpVect(&n, &a, &b);
    EXPECT_EQ(a.y, 0);
    EXPECT_NEAR(length(a), 1, 1e-15);
    EXPECT_NEAR(dot(a, n), 0, 1e-15);
    EXPECT_TRUE(is(b, cross(n, a), 1e-15));
  }
  Q7Vector n = random.unit();
  const Q7Vector copy = n;
  VGetPerpVect(&copy, &a, &b);
  Q7Vector other;
  VGetPerpVect(&n, &n, &other);
  EXPECT_TRUE(is(n, a));
  EXPECT_TRUE(is(other, b));
  n = copy;
  VGetPerpVect(&n, &other, &n);
  EXPECT_TRUE(is(other, a));
  EXPECT_TRUE(is(n, b));
}

TEST(Vector, NormalOfATriangle) {
  const Q7Vector a = {0, 0, 0}, b = {2, 0, 0}, c = {0, 3, 0};
  Q7Vector r;
  EXPECT_EQ(J7Normal(&r, &a, &b, &c), &r);
  EXPECT_TRUE(is(r, 0, 0, 1));
  J7Normal(&r, &a, &c, &b);
  EXPECT_TRUE(is(r, 0, 0, -1));
  J7Normal(&r, &a, &b, &b);
  EXPECT_TRUE(is(r, 1, 0, 0));
}

TEST(Vector, PlaneNormalOfCollinearPointsLeavesTheResult) {
  const Q7Vector line[4] = {{0, 0, 0}, {1, 1, 1}, {2, 2, 2}, {5, 5, 5}};
  Q7Vector r = {7, 8, 9};
  EXPECT_EQ(PlaneNormal(&r, line, 4), &r);
  EXPECT_TRUE(is(r, 7, 8, 9));
  PlaneNormal(&r, line, 2);
  PlaneNormal(&r, nullptr, 0);
  EXPECT_TRUE(is(r, 7, 8, 9));
}

TEST(Vector, PlaneNormalStopsAtTheFirstTriangleAboveAThousandth) {
  // The first triangle counts 0.0002 along z, the second 0.002 along -x: the second wins and ends the search before the
  // much larger third.
  const Q7Vector pts[5] = {{0, 0, 0}, {1, 0, 0}, {0, 0.0002, 0}, {0, 0, -10}, {0, 500, 500}};
  Q7Vector r;
  PlaneNormal(&r, pts, 5);
  EXPECT_TRUE(is(r, -1, 0, 0));
  // Nothing above the thousandth: the largest.
  const Q7Vector small[4] = {{0, 0, 0}, {0.01, 0, 0}, {0, 0.01, 0}, {0, 0, 0.02}};
  PlaneNormal(&r, small, 4);
  EXPECT_TRUE(is(r, 1, 0, 0));
}

TEST(Vector, AverageAndRadiusOfPoints) {
  const Q7Vector pts[3] = {{1, 2, 3}, {4, 5, 6}, {7, 8, 12}};
  Q7Vector r;
  EXPECT_EQ(VAverage(&r, pts, 3), &r);
  EXPECT_TRUE(is(r, 4, 5, 7));
  EXPECT_EQ(VRadius(&q7v_null, pts, 3), std::sqrt(49 + 64 + 144.0));
  EXPECT_EQ(VRadius(pts, pts, 1), 0);
  EXPECT_EQ(VRadius(&q7v_null, pts, 0), std::sqrt(14.0)) << "the first point is always read";
}

TEST(Vector, LinCompFindsTheCoefficients) {
  Random random;
  for (int i = 0; i < 1000; ++i) {
    const Q7Vector abc[3] = {random.vector(), random.vector(), random.vector()};
    const Q7Vector x = random.vector(5);
    const Q7Vector v = {x.x * abc[0].x + x.y * abc[1].x + x.z * abc[2].x,
                        x.x * abc[0].y + x.y * abc[1].y + x.z * abc[2].y,
                        x.x * abc[0].z + x.y * abc[1].z + x.z * abc[2].z};
    if (std::fabs(dot(abc[0], cross(abc[1], abc[2]))) < 0.01) continue;
    Q7Vector r;
    EXPECT_EQ(VLinComp(&r, &v, abc), &r);
    EXPECT_TRUE(is(r, x, 1e-8)) << i;
    if (std::fabs(abc[0].x * abc[1].y - abc[0].y * abc[1].x) < 0.01 || std::fabs(abc[0].x) < 0.01) continue;
    EXPECT_EQ(LinComp(&r, &v, abc, abc + 1, abc + 2), &r);
    EXPECT_TRUE(is(r, x, 1e-6)) << i;
  }
}

TEST(Vector, LinCompWritesNoCoefficientWhoseDivisorIsZero) {
  const Q7Vector a = {1, 0, 0}, b = {0, 1, 0}, flat = {1, 1, 0}, v = {3, 4, 0};
  Q7Vector r = {-1, -1, 0};
  LinComp(&r, &v, &a, &b, &flat);  // all in one plane: z stays as the caller has set it
  EXPECT_TRUE(is(r, 3, 4, 0));
  r = {-1, -1, 2};
  LinComp(&r, &v, &a, &b, &flat);
  EXPECT_TRUE(is(r, 1, 2, 2));
  r = {7, 8, 9};
  LinComp(&r, &v, &q7v_null, &q7v_null, &q7v_null);
  EXPECT_TRUE(is(r, 7, 8, 9));
}

TEST(Vector, VLinCompRearrangesComponentsUntilNoDivisorIsZero) {
  const Q7Vector v = {5, 6, 7};
  Q7Vector r;
  const Q7Vector turned[3] = {{0, 1, 0}, {0, 0, 1}, {1, 0, 0}};
  VLinComp(&r, &v, turned);
  EXPECT_TRUE(is(r, 6, 7, 5));
  const Q7Vector reversed[3] = {{0, 0, 2}, {0, 3, 0}, {1, 0, 0}};
  VLinComp(&r, &v, reversed);
  EXPECT_TRUE(is(r, 3.5, 2, 5));
  int orders[6][3] = {{0, 1, 2}, {0, 2, 1}, {1, 0, 2}, {1, 2, 0}, {2, 0, 1}, {2, 1, 0}};
  for (auto &order : orders) {
    double axes[3][3] = {};
    for (int i = 0; i < 3; ++i) axes[i][order[i]] = i + 2;
    Q7Vector abc[3];
    std::memcpy(abc, axes, sizeof abc);
    VLinComp(&r, &v, abc);
    const double c[3] = {5, 6, 7};
    EXPECT_TRUE(is(r, c[order[0]] / 2, c[order[1]] / 3, c[order[2]] / 4));
  }
}

TEST(Vector, RotOntoItselfGivesAWrongYAndZ) {
  const Q7Vector m[3] = {{0, 1, 0}, {0, 0, 1}, {1, 0, 0}};
  const Q7Vector a = {1, 2, 3};
  Q7Vector r;
  EXPECT_EQ(VRot(&r, &a, m), &r);
  EXPECT_TRUE(is(r, 2, 3, 1));
  r = a;
  VRot(&r, &r, m);
  EXPECT_TRUE(is(r, 2, 3, 2)) << "r.x was stored before it was read as a.x";
  r = a;
  EXPECT_EQ(VUnRot(&r, &r, m), &r);
  EXPECT_TRUE(is(r, 3, 1, 2));
}

TEST(Vector, UnRotUndoesRot) {
  Random random;
  for (int i = 0; i < 1000; ++i) {
    const Q7CoordSys f = random.frame();
    const Q7Vector m[3] = {f.hor, f.vert, f.norm};
    const Q7Vector a = random.vector(10);
    Q7Vector r;
    VRot(&r, &a, m);
    VUnRot(&r, &r, m);
    EXPECT_TRUE(is(r, a, 1e-13));
  }
}

TEST(Vector, InterpolationAndAngleToVec) {
  const Q7Vector a = {1, 2, 3}, b = {5, 6, 11};
  Q7Vector r;
  EXPECT_EQ(VInterpolate(&r, &a, &b, 0.25), &r);
  EXPECT_TRUE(is(r, 2, 3, 5));
  EXPECT_EQ(AngleToVec(&r, &a, &b, kPi / 2), &r);
  EXPECT_TRUE(is(r, b, 1e-15));
  AngleToVec(&r, &a, &b, 0);
  EXPECT_TRUE(is(r, a));
}

TEST(Vector, FindAngleUnitClampsTheProduct) {
  const Q7Vector longer = {1.0000001, 0, 0}, opposite = {-2, 0, 0};
  EXPECT_EQ(FindAngleUnit(&longer, &longer), 0);
  EXPECT_EQ(FindAngleUnit(&longer, &opposite), kPi);
  EXPECT_EQ(FindAngleUnit(&q7v_hor, &q7v_vert), std::acos(0.0));
}

TEST(Vector, FindAngleGoesAroundTheFullCircle) {
  for (int k = 0; k < 360; ++k) {
    const double angle = k * kPi / 180;
    const Q7Vector v = {5 * std::cos(angle), 5 * std::sin(angle), 0};
    EXPECT_NEAR(FindAngle(&v, &q7v_hor, &q7v_vert), angle, 1e-7) << k;
  }
  EXPECT_EQ(FindAngle(&q7v_null, &q7v_hor, &q7v_vert), 0);
}

TEST(Vector, FindEllipticAngleIsTheParameterOfTheEllipse) {
  Random random;
  for (int i = 0; i < 1000; ++i) {
    const Q7Vector u = random.vector(3), w = random.vector(3);
    if (length(cross(u, w)) < 0.3) continue;
    const double t = random.number(0, kTwoPi);
    const Q7Vector v = {std::cos(t) * u.x + std::sin(t) * w.x, std::cos(t) * u.y + std::sin(t) * w.y,
                        std::cos(t) * u.z + std::sin(t) * w.z};
    EXPECT_NEAR(FindEllipticAngle(&v, &u, &w), t, 1e-6);
  }
  EXPECT_EQ(FindEllipticAngle(&q7v_null, &q7v_hor, &q7v_vert), 0);
}

TEST(Vector, AngleDivWrapsIntoMinusPiToPi) {
  EXPECT_EQ(Q7AngleDiv(kPi), -kPi);
  EXPECT_EQ(Q7AngleDiv(-kPi), -kPi);
  EXPECT_EQ(Q7AngleMod(3 * kPi), 2 * kTwoPi);
  EXPECT_EQ(Q7AngleMod(0.1), 0);
  EXPECT_EQ(Q7AngleMod(-4), -kTwoPi);
  EXPECT_NEAR(Q7AngleDiv(-4), -4 + kTwoPi, 1e-15);
}

TEST(Vector, AngleDistIsTheShorterWay) {
  EXPECT_NEAR(Q7AngleDist(0.1, kTwoPi - 0.1), 0.2, 1e-14);
  EXPECT_NEAR(Q7AngleDist(3, -3), kTwoPi - 6, 1e-14);
  EXPECT_NEAR(Q7AngleDist(1, 2.5), 1.5, 1e-15);
  EXPECT_EQ(Q7AngleDist(1, 1), 0);
}

TEST(Vector, NearestAngleOfSixPointTwoToOneTenthIsLessATurn) {
  EXPECT_EQ(Q7NearestAngle(0.1, 6.2), 6.2 - kTwoPi);
  Random random;
  for (int i = 0; i < 10000; ++i) {
    const double a = random.number(-50, 50), b = random.number(-50, 50);
    const double nearest = Q7NearestAngle(a, b);
    EXPECT_LE(std::fabs(nearest - a), kPi + 1e-12);
    EXPECT_NEAR(std::remainder(nearest - b, kTwoPi), 0, 1e-12);
  }
}

TEST(Vector, TracesFindTheLongestAndTheShortestDiameter) {
  // For u = (2,0,0), v = (1,1,0) the squared length 3 + 2 sin 2t + cos 2t has its maximum at tan 2t = 2.
  const Q7Vector u = {2, 0, 0}, v = {1, 1, 0}, minus = {-1, -1, 0};
  const double lu = 2, lv = std::sqrt(2.0);
  const double longest = MaxTrace(4, lu, lv, kPi / 4, &u, &v);
  EXPECT_NEAR(longest, 0.5 * std::atan(2.0), 0.02);
  const double shortest = MinTrace(4, lu, lv, kPi / 4, &u, &minus);
  auto len = [&](double t) {
    const Q7Vector l = {std::cos(t) * u.x + std::sin(t) * minus.x, std::sin(t) * minus.y, 0};
    return length(l);
  };
  EXPECT_LT(len(shortest), len(shortest - 0.03) + 1e-3);
  EXPECT_LT(len(shortest), len(shortest + 0.03) + 1e-3);
}

TEST(Vector, TraceFollowsItsStepsOneByOne) {
  // Worked by hand: u = (1,0,0), v = (0,3,0), n = 4, t = pi/4: L = sqrt(5); la = 1, lb = 3: t goes up by pi/8, the pair
  // becomes (sqrt 5, 3) and so on until n = 4096.
  const Q7Vector u = {1, 0, 0}, v = {0, 3, 0};
  double t = kPi / 4, la = 1, lb = 3;
  int n = 4;
  for (;;) {
    const double c = std::cos(t), s = std::sqrt(1 - c * c);
    const double l = std::sqrt(c * c + 9 * s * s);
    const double step = kPi / (2 * n);
    double rel;
    if (la > lb) {
      t -= step;
      rel = std::fabs(la - l) / la;
      lb = l;
    } else {
      t += step;
      rel = std::fabs(l - lb) / l;
      la = l;
    }
    if (rel < 0.0001 || 2 * n > 4096) break;
    n *= 2;
  }
  EXPECT_NEAR(MaxTrace(4, 1, 3, kPi / 4, &u, &v), t, 1e-12);
  EXPECT_EQ(MaxTrace(0, 1, 3, 0.5, &u, &v), 0.5);
  EXPECT_EQ(MinTrace(-5, 1, 3, 0.5, &u, &v), 0.5);
  EXPECT_TRUE(std::isfinite(MaxTrace(0x7fffffff, 1, 3, 0.5, &u, &v)));
}

TEST(Vector, OrthSys2GivesPerpendicularSemiAxesOfTheSameEllipse) {
  Random random;
  for (int i = 0; i < 500; ++i) {
    const Q7Vector u = random.vector(2), v = random.vector(2);
    const Q7Vector w = cross(u, v);
    if (length(w) < 0.2) continue;
    Q7Vector a, b;
    Q7OrthSys2(&a, &b, &u, &v);
    EXPECT_NEAR(dot(a, b) / (length(a) * length(b)), 0, 1e-12);
    EXPECT_GE(length(a) * 1.02, length(b));
    // Area and the sum of squares are invariants of conjugate diameters.
    EXPECT_NEAR(length(cross(a, b)) / length(w), 1, 0.05);
    EXPECT_NEAR((dot(a, a) + dot(b, b)) / (dot(u, u) + dot(v, v)), 1, 0.05);
    EXPECT_GT(dot(cross(a, b), w), 0);
  }
}

TEST(Vector, OrthSys2KeepsPerpendicularOnesLongestFirst) {
  const Q7Vector u = {1, 0, 0}, v = {0, 3, 0};
  Q7Vector a, b;
  Q7OrthSys2(&a, &b, &u, &v);
  EXPECT_TRUE(is(a, 0, 3, 0));
  EXPECT_TRUE(is(b, -1, 0, 0)) << "the handedness of u, v";
  Q7OrthSys2(&a, &b, &u, &q7v_null);
  EXPECT_TRUE(is(a, 1, 0, 0));
}

TEST(Vector, OrthSys3MakesThreeVectorsPerpendicular) {
  Random random;
  for (int i = 0; i < 500; ++i) {
    Q7Vector m[3] = {random.vector(), random.vector(), random.vector()};
    if (std::fabs(dot(m[0], cross(m[1], m[2]))) < 0.05) continue;
    Q7OrthSys3(m);
    for (int j = 0; j < 3; ++j) {
      const Q7Vector &p = m[j], &q = m[(j + 1) % 3];
      EXPECT_NEAR(dot(p, q) / (length(p) * length(q)), 0, 1e-11);
    }
  }
  Q7Vector right[3] = {{2, 0, 0}, {0, 3, 0}, {0, 0, 4}};
  Q7OrthSys3(right);
  EXPECT_TRUE(is(right[0], 2, 0, 0));
  EXPECT_TRUE(is(right[1], 0, 3, 0));
  EXPECT_TRUE(is(right[2], 0, 0, 4));
}

TEST(Vector, OrthSys3PutsTheLeastSkewedAxisFirst) {
  // m[0] and m[1] lean against each other, m[2] is perpendicular to both: it is exchanged with m[0].
  Q7Vector m[3] = {{1, 0, 0}, {0.5, 1, 0}, {0, 0, 3}};
  Q7OrthSys3(m);
  EXPECT_TRUE(is(m[0], 0, 0, 3, 1e-12));
}

TEST(Vector, FindVecTypeTellsTheNonZeroComponents) {
  auto type = [](double x, double y, double z) {
    const Q7Vector v = {x, y, z};
    return Q7FindVecType(&v);
  };
  EXPECT_EQ(type(0, 0, 0), 4);
  EXPECT_EQ(type(1, 0, 1e-9), 1);
  EXPECT_EQ(type(0, -1, 0), 2);
  EXPECT_EQ(type(0, 0, 5), 4);
  EXPECT_EQ(type(1, 1, 0), 8);
  EXPECT_EQ(type(1, 0, 1), 16);
  EXPECT_EQ(type(0, 1, 1), 32);
  EXPECT_EQ(type(1, 1, 1), 64);
  EXPECT_EQ(type(1e-8, 0, 0), 1) << "1e-8 itself is not zero";
}

TEST(Vector, EllipsePointsStartAtUAndGoTowardsV) {
  const Q7Vector c = {1, 2, 3}, u = {2, 0, 0}, v = {0, 3, 0};
  Q7Vector pts[5] = {};
  Q7VEllipse(pts, 4, &c, &u, &v);
  EXPECT_TRUE(is(pts[0], 3, 2, 3));
  EXPECT_TRUE(is(pts[1], 1, 5, 3, 1e-15));
  EXPECT_TRUE(is(pts[2], -1, 2, 3, 1e-15));
  EXPECT_TRUE(is(pts[3], 1, -1, 3, 2e-15));
  EXPECT_TRUE(is(pts[4], 0, 0, 0)) << "no point behind the last";
  Q7VEllipse(nullptr, 0, &c, &u, &v);
  Q7VEllipse(nullptr, -1, &c, &u, &v);
  Q7Vector overlapping[4] = {c, u, v, {}};
  Q7VEllipse(overlapping, 4, overlapping, overlapping + 1, overlapping + 2);
  for (int i = 0; i < 4; ++i) EXPECT_TRUE(is(overlapping[i], pts[i]));
}

TEST(Vector, TheCrossProductIsPerpendicularAgainstLongDoubles) {
  Random random;
  for (int i = 0; i < 10000; ++i) {
    const Q7Vector a = random.vector(100), b = random.vector(100);
    Q7Vector r;
    VCross(&r, &a, &b);
    const long double exact[3] = {(long double)a.y * b.z - (long double)a.z * b.y,
                                  (long double)a.z * b.x - (long double)a.x * b.z,
                                  (long double)a.x * b.y - (long double)a.y * b.x};
    EXPECT_NEAR(r.x, (double)exact[0], 4e-12);
    EXPECT_NEAR(r.y, (double)exact[1], 4e-12);
    EXPECT_NEAR(r.z, (double)exact[2], 4e-12);
    EXPECT_NEAR(dot(r, a) / (length(a) * length(r) + 1e-300), 0, 1e-12);
  }
}

TEST(Vector, StreamingWritesAndReadsOneDoubleAMessage) {
  q7test::check_streaming<Q7Vector>(3, Q7VectorWrite, Q7VectorRead);
  q7test::check_streaming<Q7Vector2>(2, Q7Vector2Write, Q7Vector2Read);
}

TEST(Vector, AnObjectWithoutDispatcherIsNoStream) {
  Q7Object object{};
  Q7Vector v = {1, 2, 3};
  EXPECT_EQ(Q7VectorWrite(&v, &object), 0);
}

// The destination may be any operand.
TEST(Vector, TheDestinationMayBeAnyOperand) {
  using V = const Q7Vector *;
  Random random;
  for (int i = 0; i < 50; ++i) {
    const Q7Vector a = random.vector(), b = random.vector(), c = random.unit(), d = random.vector();
    auto check = []<class F, class... Operands>(const char *name, F f, const Operands &...operands) {
      q7test::check_aliasing<Q7Vector>(name, f, operands...);
    };
    check("VCopy", VCopy, a);
    check("VAdd", VAdd, a, b);
    check("VSub", VSub, a, b);
    check(
        "VMul", [](Q7Vector *r, V p) { VMul(r, 3, p); }, a);
    check(
        "VDiv", [](Q7Vector *r, V p) { VDiv(r, 3, p); }, a);
    check("VSetNeg", VSetNeg, a);
    check("VMid", VMid, a, b);
    check("CMul", CMul, a, b);
    check("VCross", VCross, a, b);
    check("NormCross", NormCross, a, b);
    check("VComp", VComp, c, b);
    check("VOrt", VOrt, a, b);
    check("VOrtUnit", VOrtUnit, a, c);
    check("VPtoPlane", VPtoPlane, a, b, c);
    check("VMirr", VMirr, a, b, c);
    check("LinePlaneHit", LinePlaneHit, a, b, c, d);
    check("J7Normal", J7Normal, a, b, c);
    check(
        "VInterpolate", [](Q7Vector *r, V p, V q) { VInterpolate(r, p, q, 0.3); }, a, b);
    check(
        "AngleToVec", [](Q7Vector *r, V p, V q) { AngleToVec(r, p, q, 0.3); }, a, b);
    check(
        "VUnRot",
        [&](Q7Vector *r, V p) {
          const Q7Vector m[3] = {b, c, d};
          VUnRot(r, p, m);
        },
        a);
    check("LinComp", LinComp, a, b, c, d);
    check(
        "CDiv", [](Q7Vector *r, Q7Vector *q, V p) { CDiv(r, q, p); }, a, b);
    check(
        "Q7Bsc", [](Q7Vector *r, V p, V q, V s, V t) { Q7Bsc(r, 1, 2, 3, 4, p, q, s, t); }, a, b, c, d);

    // In place on themselves.
    Q7Vector r = a, expected;
    VFAdd(&r, &r);
    EXPECT_TRUE(is(r, 2 * a.x, 2 * a.y, 2 * a.z));
    r = a;
    VFSub(&r, &r);
    EXPECT_TRUE(is(r, 0, 0, 0));
    r = a;
    VSubF(&r, &r);
    EXPECT_TRUE(is(r, 0, 0, 0));
    r = a;
    CFMul(&r, &r);
    EXPECT_TRUE(is(r, a.x * a.x, a.y * a.y, a.z * a.z));
    r = a;
    VSwap(&r, &r);
    EXPECT_TRUE(is(r, a));
    // Destinations within the points.
    Q7Vector pts[4] = {a, b, c, d};
    VAverage(&expected, pts, 4);
    VAverage(pts, pts, 4);
    EXPECT_TRUE(is(pts[0], expected));
    pts[0] = a;
    PlaneNormal(&expected, pts, 4);
    PlaneNormal(pts, pts, 4);
    EXPECT_TRUE(is(pts[0], expected));
    pts[0] = a;
    VLinComp(&expected, &d, pts);
    VLinComp(pts, &d, pts);
    EXPECT_TRUE(is(pts[0], expected));
    // Two results.
    Q7Vector p, q, u = a, v = b;
    Q7OrthSys2(&p, &q, &a, &b);
    Q7OrthSys2(&u, &v, &u, &v);
    EXPECT_TRUE(is(u, p));
    EXPECT_TRUE(is(v, q));
    u = a;
    v = b;
    Q7OrthSys2(&v, &u, &u, &v);
    EXPECT_TRUE(is(v, p));
    EXPECT_TRUE(is(u, q));
  }
}

}  // namespace
