// Tests of math/q7quat.cpp.
#include "math/q7quat.h"

#include "tests/math/math_test.h"

namespace {

using q7test::is;
using q7test::kPi;
using q7test::kTwoPi;
using q7test::Random;

TEST(Quat, AxisZAndAQuarterTurnGiveANegativeZ) {
  Q7Quat q;
  Q7AxAngleToQ(&q, &q7v_norm, kPi / 2);
  EXPECT_TRUE(is(q, 0, 0, -std::sqrt(0.5), std::sqrt(0.5), 1e-15));
  Q7Vector axis;
  EXPECT_NEAR(Q7QToAxAngle(&q, &axis), kTwoPi + kPi / 2, 1e-14);
  EXPECT_TRUE(is(axis, 0, 0, 1, 1e-15));
}

TEST(Quat, NoRotationHasAZeroAxisAndMinusZero) {
  const Q7Quat q = {0, 0, 0, 1};
  Q7Vector axis = {7, 7, 7};
  const double angle = Q7QToAxAngle(&q, &axis);
  EXPECT_EQ(angle, 0);
  EXPECT_TRUE(std::signbit(angle));
  EXPECT_TRUE(is(axis, 0, 0, 0));
  const Q7Quat almost = {1e-3, 0, 0, 0.99991}, turned = {0, 0.001, 0, -0.99991};
  EXPECT_EQ(Q7QToAxAngle(&almost, &axis), 0);
  EXPECT_TRUE(is(axis, 1, 0, 0));
  EXPECT_EQ(Q7QToAxAngle(&turned, &axis), -kTwoPi);
  EXPECT_TRUE(is(axis, 0, 1, 0));
}

TEST(Quat, TheDominantComponentOfTheAxisIsPositive) {
  Random random;
  for (int n = 0; n < 5000; ++n) {
    const Q7Vector axis = random.unit();
    const double angle = random.number(-6, 6);
    Q7Quat q;
    Q7AxAngleToQ(&q, &axis, angle);
    if (std::fabs(q.w) > 0.9999) continue;
    Q7Vector found;
    const double back = Q7QToAxAngle(&q, &found);
    EXPECT_TRUE((back >= -kTwoPi && back <= 0) || (back >= kTwoPi && back <= 2 * kTwoPi)) << back;
    const double largest = std::max({std::fabs(found.x), std::fabs(found.y), std::fabs(found.z)});
    EXPECT_EQ(std::max({found.x, found.y, found.z}), largest);
    Q7Matrix m, expected;
    Q7MxRotateUnit(&m, &q7v_null, &found, back);
    Q7MxRotateUnit(&expected, &q7v_null, &axis, angle);
    EXPECT_TRUE(is(m, expected, 1e-11));
  }
  // Equal sizes: y before x, the winner before z.
  Q7Vector axis;
  const Q7Quat xy = {0.5, -0.5, 0, std::sqrt(0.5)}, yz = {0, 0.5, -0.5, std::sqrt(0.5)};
  EXPECT_GT(Q7QToAxAngle(&xy, &axis), 0);
  EXPECT_LT(axis.x, 0);
  EXPECT_LT(Q7QToAxAngle(&yz, &axis), 0);
  EXPECT_LT(axis.z, 0);
}

TEST(Quat, MatrixOfTheIdentityAndBack) {
  Q7Quat q = {0, 0, 0, 1};
  Q7Matrix m, identity;
  Q7QToMatrix(&q, &m);
  EXPECT_TRUE(is(m, *Q7MxIdentity(&identity)));
  q = {7, 7, 7, 7};
  Q7MatrixToQ(&q, &m);
  EXPECT_TRUE(is(q, 0, 0, 0, 1));
}

TEST(Quat, MatricesTurnAsTheRotationsDo) {
  Random random;
  for (int n = 0; n < 5000; ++n) {
    const Q7Vector axis = random.unit();
    const double angle = random.number(-kPi, kPi);
    Q7Quat q, back;
    Q7Matrix m, expected;
    Q7AxAngleToQ(&q, &axis, angle);
    Q7QToMatrix(&q, &m);
    Q7MxRotateUnit(&expected, &q7v_null, &axis, angle);
    EXPECT_TRUE(is(m, expected, 1e-14));
    if (std::fabs(angle) > 3.1) continue;  // the trace is almost -1
    Q7MatrixToQ(&back, &m);
    Q7QToMatrix(&back, &m);
    EXPECT_TRUE(is(m, expected, 1e-11));
  }
}

TEST(Quat, TheMatrixOfAQuaternionThatIsNotNormalisedIsLeftSo) {
  const Q7Quat q = {1, 2, 3, 4};
  Q7Matrix m;
  Q7QToMatrix(&q, &m);
  const Q7Matrix expected = {{{-25, -20, 22, 0}, {28, -19, 4, 0}, {-10, 20, -9, 0}, {0, 0, 0, 1}}};
  EXPECT_TRUE(is(m, expected));
}

TEST(Quat, HalfTurnsTakeTheBranchOfTheirLargestDiagonal) {
  Q7Quat q;
  const Q7Matrix about_x = {{{1, 0, 0, 0}, {0, -1, 0, 0}, {0, 0, -1, 0}, {0, 0, 0, 1}}};
  const Q7Matrix about_y = {{{-1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, -1, 0}, {0, 0, 0, 1}}};
  const Q7Matrix about_z = {{{-1, 0, 0, 0}, {0, -1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}};
  Q7MatrixToQ(&q, &about_x);
  EXPECT_TRUE(is(q, 1, 0, 0, 0));
  Q7MatrixToQ(&q, &about_y);
  EXPECT_TRUE(is(q, 0, 1, 0, 0));
  Q7MatrixToQ(&q, &about_z);
  EXPECT_TRUE(is(q, 0, 0, 1, 0));
}

TEST(Quat, OnlyTheFirstBranchNormalises) {
  Q7Quat q;
  const Q7Matrix doubled = {{{2, 0, 0, 0}, {0, 2, 0, 0}, {0, 0, 2, 0}, {0, 0, 0, 1}}};
  Q7MatrixToQ(&q, &doubled);
  EXPECT_TRUE(is(q, 0, 0, 0, 1, 1e-15));
  const Q7Matrix negative = {{{3, 0, 0, 0}, {0, -3, 0, 0}, {0, 0, -3, 0}, {0, 0, 0, 1}}};
  Q7MatrixToQ(&q, &negative);
  EXPECT_TRUE(is(q, std::sqrt(10.0) / 2, 0, 0, 0, 1e-15));
}

TEST(Quat, AngleTriplesComeBack) {
  Random random;
  for (int n = 0; n < 5000; ++n) {
    const double angles[3] = {random.number(-3.1, 3.1), random.number(-1.55, 1.55), random.number(-3.1, 3.1)};
    double back[3];
    Q7Quat q;
    Q7HPBToQ(&q, angles);
    EXPECT_NEAR(V4Len(&q), 1, 1e-12);
    Q7QToHPB(&q, back);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(std::remainder(back[i] - angles[i], kTwoPi), 0, 1e-6);
    if (std::fabs(angles[0]) > 3) continue;
    Q7HPTToQ(&q, angles);
    Q7QToHPT(&q, back);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(std::remainder(back[i] - angles[i], kTwoPi), 0, 1e-6);
  }
}

TEST(Quat, TripleToQuaternionIsTheMatrixOfItsAxes) {
  const double angles[3] = {0.5, -0.25, 1};
  Q7Quat q;
  Q7Matrix m, expected;
  Q7MxFromHPB(&expected, angles);
  Q7HPBToQ(&q, angles);
  Q7QToMatrix(&q, &m);
  EXPECT_TRUE(is(m, expected, 1e-14));
}

TEST(Quat, ReadingATripleNormalisesTheQuaternionUnlessItIsTiny) {
  Q7Quat q = {0, 3, 0, 4}, tiny = {0, 1e-9, 0, 0};
  double angles[3];
  Q7QToHPB(&q, angles);
  EXPECT_TRUE(is(q, 0, 0.6, 0, 0.8));
  EXPECT_NEAR(angles[0], 2 * std::atan2(0.6, 0.8), 1e-14);
  Q7QToHPT(&tiny, angles);
  EXPECT_TRUE(is(tiny, 0, 1e-9, 0, 0));
  EXPECT_NEAR(angles[0], 0, 1e-15);
}

TEST(Quat, AxisAndAngleToTriplesAndBack) {
  Random random;
  for (int n = 0; n < 1000; ++n) {
    Q7Vector axis = random.vector(5);
    const Q7Vector before = axis;
    const double angle = random.number(0.2, 2.9);
    double angles[3], twisted[3];
    Q7AxAngleToHPB(angles, &axis, angle);
    EXPECT_NEAR(q7test::length(axis), 1, 1e-15) << "normalised in place";
    axis = before;
    Q7AxAngleToHPT(twisted, &axis, angle);
    Q7Matrix expected, m;
    Q7MxRotate(&expected, &q7v_null, &before, angle);
    Q7Vector found;
    double back = Q7HPBToAxAngle(&found, angles);
    Q7MxRotate(&m, &q7v_null, &found, back);
    EXPECT_TRUE(is(m, expected, 1e-9));
    back = Q7HPTToAxAngle(&found, twisted);
    Q7MxRotate(&m, &q7v_null, &found, back);
    EXPECT_TRUE(is(m, expected, 1e-6));
  }
  Q7Vector zero = {0, 0, 0};
  double angles[3];
  Q7AxAngleToHPB(angles, &zero, 1);
  EXPECT_TRUE(is(zero, 0, 0, 0));
}

TEST(Quat, TheSelfTestPasses) { EXPECT_EQ(Q7TestQ(), 1); }

}  // namespace
