// Tests of math/q7matrix.cpp.
#include "math/q7matrix.h"

#include "tests/math/math_test.h"

namespace {

using q7test::cross;
using q7test::dot;
using q7test::is;
using q7test::kNaN;
using q7test::kPi;
using q7test::length;
using q7test::Random;
using q7test::same_bits;

const Q7Matrix counting = {{{1, 2, 3, 4}, {5, 6, 7, 8}, {9, 10, 11, 12}, {13, 14, 15, 16}}};

Q7Matrix identity() {
  Q7Matrix m;
  return *Q7MxIdentity(&m);
}

Q7Matrix product(const Q7Matrix &a, const Q7Matrix &b) {
  Q7Matrix r{};
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 4; ++j) {
      long double sum = 0;
      for (int k = 0; k < 4; ++k) sum += (long double)a.m[i][k] * b.m[k][j];
      r.m[i][j] = (double)sum;
    }
  }
  return r;
}

Q7Vector transformed(const Q7Matrix &m, const Q7Vector &p) {
  Q7Vector r;
  return *Q7MxTransform(&r, &m, &p);
}

TEST(Matrix, ElementaryFunctions) {
  static_assert(sizeof(Q7Matrix) == 128);
  Q7Matrix m = counting, r;
  EXPECT_EQ(Q7MxNull(&m), &m);
  for (auto &row : m.m) {
    for (double e : row) EXPECT_EQ(e, 0);
  }
  EXPECT_EQ(Q7MxIdentity(&m), &m);
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 4; ++j) EXPECT_EQ(m.m[i][j], i == j);
  }
  EXPECT_EQ(Q7MxCopy(&r, &counting), &r);
  EXPECT_TRUE(is(r, counting));
  Q7MxCopy(&r, &r);
  EXPECT_TRUE(is(r, counting));
  EXPECT_EQ(Q7MxTranspose(&r, &counting), &r);
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 4; ++j) EXPECT_EQ(r.m[i][j], counting.m[j][i]);
  }
}

TEST(Matrix, EqualIsExactAndAlmostEqualTakesADifferenceOfExactlyOneE8) {
  Q7Matrix a = counting, b = counting;
  EXPECT_EQ(Q7MxEqual(&a, &b), 1);
  for (int i = 0; i < 16; ++i) {
    b = counting;
    b.m[i / 4][i % 4] += 1e-9;
    EXPECT_EQ(Q7MxEqual(&a, &b), 0);
    EXPECT_EQ(Q7MxAlmostEqual(&a, &b), 1);
    b.m[i / 4][i % 4] += 1e-7;
    EXPECT_EQ(Q7MxAlmostEqual(&a, &b), 0);
  }
  Q7MxNull(&a);
  Q7MxNull(&b);
  b.m[2][1] = 1e-8;
  EXPECT_EQ(Q7MxAlmostEqual(&a, &b), 1);
  b.m[2][1] = kNaN;
  EXPECT_EQ(Q7MxAlmostEqual(&a, &b), 0);
  EXPECT_EQ(Q7MxEqual(&b, &b), 0);
}

TEST(Matrix, RowsAndColumnsToVectorsAndBack) {
  double v[4] = {-1, -1, -1, -1};
  Q7MxColumnToVector(v, &counting, 2, 3);
  EXPECT_EQ(v[0], 3);
  EXPECT_EQ(v[1], 7);
  EXPECT_EQ(v[2], 11);
  EXPECT_EQ(v[3], -1);
  Q7MxRowToVector(v, &counting, 2, 4);
  EXPECT_EQ(v[0], 9);
  EXPECT_EQ(v[3], 12);
  Q7Matrix m = counting;
  const double w[4] = {21, 22, 23, 24};
  Q7MxVectorToColumn(w, &m, 1, 2);
  EXPECT_EQ(m.m[0][1], 21);
  EXPECT_EQ(m.m[1][1], 22);
  EXPECT_EQ(m.m[2][1], 10);
  m = counting;
  Q7MxVectorToRow(w, &m, 3, 3);
  EXPECT_EQ(m.m[3][0], 21);
  EXPECT_EQ(m.m[3][2], 23);
  EXPECT_EQ(m.m[3][3], 16);
  m = counting;
  for (int32_t n : {0, -1}) {
    Q7MxVectorToColumn(w, &m, 0, n);
    Q7MxVectorToRow(w, &m, 0, n);
    Q7MxColumnToVector(nullptr, &m, 0, n);
    Q7MxRowToVector(nullptr, &m, 0, n);
  }
  EXPECT_TRUE(is(m, counting));
  double five[5] = {0, 0, 0, 0, 77};
  Q7MxColumnToVector(five, &m, 0, 5);
  Q7MxRowToVector(five, &m, 4, 4);
  Q7MxVectorToColumn(w, &m, -1, 4);
  EXPECT_EQ(five[4], 77) << "never more than the four there are";
  EXPECT_TRUE(is(m, counting));
}

TEST(Matrix, ConcatIsTheOrdinaryProductAndBActsFirst) {
  Random random;
  for (int n = 0; n < 1000; ++n) {
    const Q7Matrix a = random.matrix(10), b = random.matrix(10);
    Q7Matrix r;
    EXPECT_EQ(Q7MxConcat(&r, &a, &b), &r);
    EXPECT_TRUE(is(r, product(a, b), 1e-12));
    Q7Matrix f = a;
    EXPECT_EQ(Q7MxFConcat(&f, &b), &f);
    EXPECT_TRUE(same_bits(f, r));
    f = a;
    EXPECT_EQ(Q7MxFConcatLeft(&f, &b), &f);
    EXPECT_TRUE(is(f, product(b, a), 1e-12));
    f = a;
    Q7MxFConcat(&f, &f);
    EXPECT_TRUE(is(f, product(a, a), 1e-12));
  }
  Q7Matrix scale, move, r;
  Q7MxConcat(&r, Q7MxScale(&scale, 2, 2, 2), Q7MxTranslate(&move, 1, 0, 0));
  EXPECT_TRUE(is(transformed(r, {1, 1, 1}), 4, 2, 2));
}

TEST(Matrix, ConcatSumsInTheOrderOfTheColumns) {
  Random random;
  for (int n = 0; n < 1000; ++n) {
    const Q7Matrix a = random.matrix(10), b = random.matrix(10);
    Q7Matrix r, plain;
    for (int i = 0; i < 4; ++i) {
      for (int j = 0; j < 4; ++j) {
        plain.m[i][j] = a.m[i][0] * b.m[0][j] + a.m[i][1] * b.m[1][j] + a.m[i][2] * b.m[2][j] + a.m[i][3] * b.m[3][j];
      }
    }
    Q7MxConcat(&r, &a, &b);
    ASSERT_TRUE(same_bits(r, plain));
  }
}

TEST(Matrix, TheInverseTimesTheMatrixIsTheIdentity) {
  Random random;
  int tested = 0;
  for (int n = 0; n < 10000; ++n) {
    const Q7Matrix m = random.matrix(5);
    Q7Matrix r;
    EXPECT_EQ(Q7MxInvert(&r, &m), 1);
    double largest = 0;
    for (auto &row : r.m) {
      for (double e : row) largest = std::max(largest, std::fabs(e));
    }
    if (largest > 100) continue;  // badly conditioned
    ++tested;
    EXPECT_TRUE(is(product(r, m), identity(), 1e-10));
    EXPECT_TRUE(is(product(m, r), identity(), 1e-10));
    Q7Matrix f = m;
    EXPECT_EQ(Q7MxInvert(&f, &f), 1);
    EXPECT_TRUE(same_bits(f, r));
    f = m;
    EXPECT_EQ(Q7MxFInvert(&f), 1);
    EXPECT_TRUE(same_bits(f, r));
  }
  EXPECT_GT(tested, 8000);
}

TEST(Matrix, InverseOfZeroIsFiniteAndReportsSingular) {
  Q7Matrix m, r;
  EXPECT_EQ(Q7MxInvert(&r, Q7MxNull(&m)), 0);
  for (auto &row : r.m) {
    for (double e : row) EXPECT_TRUE(std::isfinite(e));
  }
  // Each column is zero: normalised it is (1, 0, 0, 0), times the product of the other lengths 0, over 1e-40.
  EXPECT_TRUE(is(r, m));
}

TEST(Matrix, InverseOfAPureTranslationIsTheOppositeOne) {
  Q7Matrix m, r, expected;
  Q7MxTranslate(&m, 1, -2, 3.5);
  EXPECT_EQ(Q7MxInvert(&r, &m), 1);
  EXPECT_TRUE(is(r, *Q7MxTranslate(&expected, -1, 2, -3.5)));
}

TEST(Matrix, SingularDirectionsAreFilledInFromTheColumn) {
  // diag(2, 3, 4, 0): the cross products of columns 0, 1, 2 vanish, that of 3 is (0, 0, 0, -24); all d are 0.
  const Q7Matrix m = {{{2, 0, 0, 0}, {0, 3, 0, 0}, {0, 0, 4, 0}, {0, 0, 0, 0}}};
  Q7Matrix r;
  EXPECT_EQ(Q7MxInvert(&r, &m), 0);
  // Column 0 normalised times the lengths 3 * 4 * 0 of the others.
  EXPECT_EQ(r.m[0][0], 0);
  EXPECT_EQ(r.m[1][1], 0);
  EXPECT_EQ(r.m[2][2], 0);
  EXPECT_NEAR(r.m[3][3] / -24e40, 1, 1e-14);
  // A duplicate column: the cross products of the two survive, those of the others are filled in.
  const Q7Matrix twice = {{{1, 1, 0, 0}, {0, 0, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}};
  EXPECT_EQ(Q7MxInvert(&r, &twice), 0);
  EXPECT_NEAR(std::fabs(r.m[0][1]) / 1e40, 1, 1e-14);
  EXPECT_NEAR(std::fabs(r.m[1][1]) / 1e40, 1, 1e-14);
  EXPECT_NEAR(r.m[2][2] / 1e40, 1, 1e-14) << "column 2, of length 1, times the lengths 1, 1, 1 of the others";
  EXPECT_NEAR(r.m[3][3] / 1e40, 1, 1e-14);
}

TEST(Matrix, TheSingularInverseStaysFinite) {
  Random random;
  for (int n = 0; n < 10000; ++n) {
    Q7Matrix m = random.matrix(n % 3 ? 10 : 1e5), r;
    if (n % 2) {  // whole numbers make the products vanish exactly
      for (auto &row : m.m) {
        for (double &e : row) e = random.integer(-3, 3);
      }
    }
    const int lost = random.integer(0, 3), a = (lost + 1) % 4, b = (lost + 2) % 4;
    const double s = random.integer(-2, 2), t = random.integer(-2, 2);
    for (int i = 0; i < 4; ++i) {
      if (n % 4 < 2) {
        m.m[i][lost] = s * m.m[i][a] + t * m.m[i][b];
      } else {
        m.m[lost][i] = s * m.m[a][i] + t * m.m[b][i];
      }
    }
    Q7MxInvert(&r, &m);
    for (auto &row : r.m) {
      for (double e : row) ASSERT_TRUE(std::isfinite(e)) << n;
    }
  }
}

TEST(Matrix, InverseMatchesTheCrossProductsOfTheColumns) {
  Random random;
  for (int n = 0; n < 1000; ++n) {
    const Q7Matrix m = random.matrix(3);
    Q7Vector4 k[4], c;
    for (int j = 0; j < 4; ++j) Q7MxColumnToVector(&k[j].x, &m, j, 4);
    Q7Matrix r;
    Q7MxInvert(&r, &m);
    for (int i = 0; i < 4; ++i) {
      V4Cross(&c, k + (i + 1) % 4, k + (i + 2) % 4, k + (i + 3) % 4);
      const double d = P4Mul(k + i, &c);
      if (std::fabs(d) < 0.1) continue;
      EXPECT_NEAR(r.m[i][0], c.x / d, 1e-9);
      EXPECT_NEAR(r.m[i][1], c.y / d, 1e-9);
      EXPECT_NEAR(r.m[i][2], c.z / d, 1e-9);
      EXPECT_NEAR(r.m[i][3], c.w / d, 1e-9);
    }
  }
}

TEST(Matrix, TransformDividesByW) {
  const Q7Matrix m = {{{1, 2, 3, 4}, {0, 1, 0, 2}, {0, 0, 2, 0}, {0, 0, 1, 1}}};
  const Q7Vector p = {1, 1, 1};
  Q7Vector r;
  EXPECT_EQ(Q7MxTransform(&r, &m, &p), &r);
  EXPECT_TRUE(is(r, 5, 1.5, 1));
  Q7Vector f = p;
  EXPECT_EQ(Q7MxFTransform(&f, &m), &f);
  EXPECT_TRUE(is(f, 5, 1.5, 1));
  EXPECT_EQ(Q7MxTransformL(&r, &m, &p), &r);
  EXPECT_TRUE(is(r, 6, 1, 2));
  f = p;
  EXPECT_EQ(Q7MxFTransformL(&f, &m), &f);
  EXPECT_TRUE(is(f, 6, 1, 2));
  const Q7Vector4 q = {1, 1, 1, 2};
  Q7Vector4 r4;
  EXPECT_EQ(Q7MxTransform4(&r4, &m, &q), &r4);
  EXPECT_TRUE(is(r4, 14, 5, 2, 3));
}

TEST(Matrix, APointAtInfinityGoesToTheOrigin) {
  Q7Matrix m = counting;
  for (double &e : m.m[3]) e = 0;
  EXPECT_TRUE(is(transformed(m, {1, 2, 3}), 0, 0, 0));
  m.m[3][0] = 1;
  m.m[3][3] = -1;
  EXPECT_TRUE(is(transformed(m, {1, 2, 3}), 0, 0, 0)) << "w is exactly 0 for x = 1 only";
  EXPECT_FALSE(is(transformed(m, {2, 2, 3}), 0, 0, 0));
}

TEST(Matrix, StreamingWritesAndReadsSixteenDoubles) {
  q7test::check_streaming<Q7Matrix>(16, Q7MxWrite, Q7MxRead);
  q7test::Stream stream;
  Q7MxWrite(&counting, &stream);
  for (int i = 0; i < 16; ++i) EXPECT_EQ(stream.values[static_cast<size_t>(i)], i + 1) << "row by row";
}

TEST(Matrix, PrintWritesARowALine) {
  q7test::Capture out(1);
  EXPECT_EQ(Q7MxPrint(&counting), 1);
  std::fflush(stdout);
  EXPECT_EQ(out.stop(),
            "1.00 2.00 3.00 4.00 \n5.00 6.00 7.00 8.00 \n9.00 10.00 11.00 12.00 \n13.00 14.00 15.00 16.00 \n");
}

TEST(Matrix, TranslationAndScaling) {
  Q7Matrix m;
  EXPECT_EQ(Q7MxTranslate(&m, 1, 2, 3), &m);
  EXPECT_TRUE(is(transformed(m, {10, 10, 10}), 11, 12, 13));
  EXPECT_EQ(Q7MxScale(&m, 2, 3, 4), &m);
  EXPECT_TRUE(is(transformed(m, {1, 1, 1}), 2, 3, 4));
  const Q7Vector c = {1, 2, 3};
  EXPECT_EQ(Q7MxScaleEx(&m, 2, 3, 4, &c), &m);
  EXPECT_TRUE(is(transformed(m, c), c));
  EXPECT_TRUE(is(transformed(m, {2, 3, 4}), 3, 5, 7));
}

TEST(Matrix, ConcatTranslateOnARotationMovesByTheRotatedOffset) {
  Q7Matrix m;
  Q7MxRotateUnit(&m, &q7v_null, &q7v_norm, kPi / 2);
  EXPECT_EQ(Q7MxConcatTranslate(&m, 1, 0, 0), &m);
  EXPECT_TRUE(is(transformed(m, {0, 0, 0}), 0, -1, 0, 1e-15));
}

TEST(Matrix, EveryConcatMultipliesOnTheRight) {
  Random random;
  for (int n = 0; n < 100; ++n) {
    const Q7Matrix before = random.matrix(3);
    const Q7Vector o = random.vector(3), a = random.unit(), b = random.unit(), c = random.vector(3);
    const double s = random.number(0.5, 2), t = random.number(2.5, 4), angle = random.number(-3, 3);
    auto check = [&](const char *name, auto construct, auto concat) {
      Q7Matrix x, m = before;
      construct(&x);
      EXPECT_EQ(concat(&m), &m);
      EXPECT_TRUE(is(m, product(before, x), 1e-11)) << name;
    };
    check(
        "Translate", [&](Q7Matrix *m) { Q7MxTranslate(m, s, t, angle); },
        [&](Q7Matrix *m) { return Q7MxConcatTranslate(m, s, t, angle); });
    check(
        "Scale", [&](Q7Matrix *m) { Q7MxScale(m, s, t, angle); },
        [&](Q7Matrix *m) { return Q7MxConcatScale(m, s, t, angle); });
    check(
        "ScaleEx", [&](Q7Matrix *m) { Q7MxScaleEx(m, s, t, angle, &c); },
        [&](Q7Matrix *m) { return Q7MxConcatScaleEx(m, s, t, angle, &c); });
    check(
        "Rotate", [&](Q7Matrix *m) { Q7MxRotate(m, &o, &c, angle); },
        [&](Q7Matrix *m) { return Q7MxConcatRotate(m, &o, &c, angle); });
    if (length(cross(a, b)) > 0.1) {
      check(
          "Skew", [&](Q7Matrix *m) { Q7MxSkew(m, &o, &a, &b, angle); },
          [&](Q7Matrix *m) { return Q7MxConcatSkew(m, &o, &a, &b, angle); });
    }
    check(
        "Orthogonal", [&](Q7Matrix *m) { Q7MxOrthogonal(m, -s, s, -s, t); },
        [&](Q7Matrix *m) { return Q7MxConcatOrthogonal(m, -s, s, -s, t); });
    check(
        "Perspective", [&](Q7Matrix *m) { Q7MxPerspective(m, -s, s, -s, t, 2, 3); },
        [&](Q7Matrix *m) { return Q7MxConcatPerspective(m, -s, s, -s, t, 2, 3); });
  }
}

TEST(Matrix, RotationIsClockwiseSeenFromTheTipOfTheAxis) {
  Q7Matrix m;
  EXPECT_EQ(Q7MxRotateUnit(&m, &q7v_null, &q7v_norm, kPi / 2), &m);
  EXPECT_TRUE(is(transformed(m, {1, 0, 0}), 0, -1, 0, 1e-15));
  Q7MxRotateUnit(&m, &q7v_null, &q7v_hor, kPi / 2);
  EXPECT_TRUE(is(transformed(m, {0, 1, 0}), 0, 0, -1, 1e-15));
  Q7MxRotateUnit(&m, &q7v_null, &q7v_vert, kPi / 2);
  EXPECT_TRUE(is(transformed(m, {0, 0, 1}), -1, 0, 0, 1e-15));
}

TEST(Matrix, RotationsAreOrthonormalAndKeepTheirLine) {
  Random random;
  for (int n = 0; n < 2000; ++n) {
    const Q7Vector o = random.vector(5), axis = random.unit();
    const double angle = random.number(-10, 10), t = random.number(-3, 3);
    Q7Matrix m;
    Q7MxRotateUnit(&m, &o, &axis, angle);
    // Rodrigues' formula with the negated angle.
    const Q7Vector p = random.vector(5), d = {p.x - o.x, p.y - o.y, p.z - o.z}, k = cross(axis, d);
    const double c = std::cos(-angle), s = std::sin(-angle), along = dot(axis, d) * (1 - c);
    EXPECT_TRUE(is(transformed(m, p), o.x + d.x * c + k.x * s + axis.x * along,
                   o.y + d.y * c + k.y * s + axis.y * along, o.z + d.z * c + k.z * s + axis.z * along, 1e-13));
    const Q7Vector on_line = {o.x + t * axis.x, o.y + t * axis.y, o.z + t * axis.z};
    EXPECT_TRUE(is(transformed(m, on_line), on_line, 1e-13));
    Q7Matrix upper = m, turned;
    for (int i = 0; i < 3; ++i) upper.m[i][3] = 0;
    Q7MxTranspose(&turned, &upper);
    EXPECT_TRUE(is(product(upper, turned), identity(), 1e-14));
    const Q7Vector longer = {3 * axis.x, 3 * axis.y, 3 * axis.z};
    EXPECT_EQ(Q7MxRotate(&turned, &o, &longer, angle), &turned);
    EXPECT_TRUE(is(turned, m, 1e-13));
  }
}

TEST(Matrix, SkewTurnsAAndKeepsBAndTheNormal) {
  const Q7Vector o = {1, 1, 1};
  Q7Matrix m;
  EXPECT_EQ(Q7MxSkew(&m, &o, &q7v_hor, &q7v_vert, 0.3), &m);
  EXPECT_TRUE(is(transformed(m, o), o, 1e-15));
  Q7Vector r;
  Q7MxTransformL(&r, &m, &q7v_hor);
  EXPECT_TRUE(is(r, std::cos(0.3), std::sin(0.3), 0, 1e-15));
  Q7MxTransformL(&r, &m, &q7v_vert);
  EXPECT_TRUE(is(r, 0, 1, 0, 1e-15));
  Q7MxTransformL(&r, &m, &q7v_norm);
  EXPECT_TRUE(is(r, 0, 0, 1, 1e-15));
}

TEST(Matrix, SkewByThreePointsBendsThePerpendicularIntoTheSecondDirection) {
  const Q7Vector p0 = {1, 2, 3}, p1 = {5, 2, 3}, p2 = {1 + 3, 2 + 4, 3};
  Q7Matrix m;
  EXPECT_EQ(Q7MxSkew3p(&m, &p0, &p1, &p2), &m);
  EXPECT_TRUE(is(transformed(m, p0), p0, 1e-14));
  EXPECT_TRUE(is(transformed(m, p1), p1, 1e-14));
  EXPECT_TRUE(is(transformed(m, {1, 3, 3}), 1.6, 2.8, 3, 1e-14));
  EXPECT_TRUE(is(transformed(m, {1, 2, 4}), 1, 2, 4, 1e-14));
  EXPECT_TRUE(is(*Q7MxSkew3p(&m, &p0, &p0, &p2), identity()));
  EXPECT_TRUE(is(*Q7MxSkew3p(&m, &p0, &p1, &p0), identity()));
  EXPECT_TRUE(is(*Q7MxSkew3p(&m, &p0, &p1, &p1), identity()));
}

TEST(Matrix, OrthogonalMapsTheRectangleToHalfUnits) {
  Q7Matrix m;
  EXPECT_EQ(Q7MxOrthogonal(&m, 2, 6, 10, 30), &m);
  EXPECT_TRUE(is(transformed(m, {2, 10, 5}), -0.5, -0.5, 5, 1e-15));
  EXPECT_TRUE(is(transformed(m, {6, 30, 5}), 0.5, 0.5, 5, 1e-15));
  EXPECT_EQ(m.m[0][3], -0.5 * 8 / 4);
}

TEST(Matrix, OrthoAndPerspElementByElement) {
  Q7Matrix m;
  const Q7Matrix ortho = {
      {{2 / 4.0, 0, 0, -8 / 4.0}, {0, 2 / -20.0, 0, -40 / -20.0}, {0, 0, -2 / 8.0, -10 / 8.0}, {0, 0, 0, -1}}};
  EXPECT_EQ(Q7MxOrtho(&m, 2, 6, 10, 30, 1, 9), &m);
  EXPECT_TRUE(is(m, ortho));
  const Q7Matrix persp = {{{2 * 1 / 4.0, 0, 8 / 4.0, 0},
                           {0, 2 * 1 / -20.0, 40 / -20.0, 0},
                           {0, 0, -10 / 8.0, -2 * 9 * 1 / 8.0},
                           {0, 0, -1, 0}}};
  EXPECT_EQ(Q7MxPersp(&m, 2, 6, 10, 30, 1, 9), &m);
  EXPECT_TRUE(is(m, persp));
}

TEST(Matrix, PerspectiveIsOrthogonalOfTheNearRectangleTimesAnExchange) {
  Q7Matrix m, other, ortho;
  const Q7Matrix exchange = {{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 0, 1}, {0, 0, 1, 0}}};
  EXPECT_EQ(Q7MxPerspective(&m, -2, 6, -10, 30, 2, 5), &m);
  Q7MxOrthogonal(&ortho, -1, 3, -5, 15);
  EXPECT_TRUE(is(m, product(ortho, exchange)));
  Q7MxPerspective(&other, -2, 6, -10, 30, 2, 500);
  EXPECT_TRUE(is(m, other)) << "the last argument has no effect";
}

TEST(Matrix, FramesToMatricesAndBack) {
  const Q7Vector o = {1, 2, 3}, h = {4, 5, 6}, v = {7, 8, 10}, n = {-1, 2, 5};
  Q7Matrix m, t, r;
  EXPECT_EQ(Q7MxSpace(&m, &o, &h, &v, &n), &m);
  EXPECT_TRUE(is(m, {{{4, 7, -1, 1}, {5, 8, 2, 2}, {6, 10, 5, 3}, {0, 0, 0, 1}}}));
  EXPECT_TRUE(is(transformed(m, {1, 10, 100}), 1 + 4 + 70 - 100, 2 + 5 + 80 + 200, 3 + 6 + 100 + 500));
  EXPECT_EQ(Q7MxSpaceTranspose(&t, &o, &h, &v, &n), &t);
  EXPECT_TRUE(is(*Q7MxTranspose(&r, &m), t));
  EXPECT_EQ(Q7MxInvSpace(&r, &o, &h, &v, &n), &r);
  EXPECT_TRUE(is(product(r, m), identity(), 1e-12));
  Q7Vector oo, hh, vv, nn;
  Q7MxSpaceFromMatrix(&m, &oo, &hh, &vv, &nn);
  EXPECT_TRUE(is(oo, o));
  EXPECT_TRUE(is(hh, h));
  EXPECT_TRUE(is(vv, v));
  EXPECT_TRUE(is(nn, n));
}

TEST(Matrix, WarpsMapOneFrameOntoTheOther) {
  Random random;
  for (int n = 0; n < 300; ++n) {
    const Q7CoordSys a = random.frame(), b = random.frame();
    Q7Matrix m;
    Q7Vector r;
    EXPECT_EQ(Q7MxOrthoWarp(&m, &a.orig, &a.hor, &a.vert, &a.norm, &b.orig, &b.hor, &b.vert, &b.norm), &m);
    EXPECT_TRUE(is(transformed(m, a.orig), b.orig, 1e-13));
    EXPECT_TRUE(is(*Q7MxTransformL(&r, &m, &a.hor), b.hor, 1e-14));
    EXPECT_TRUE(is(*Q7MxTransformL(&r, &m, &a.vert), b.vert, 1e-14));
    EXPECT_TRUE(is(*Q7MxTransformL(&r, &m, &a.norm), b.norm, 1e-14));
    EXPECT_EQ(Q7MxSpaceRotation(&m, &a.hor, &a.vert, &a.norm, &b.hor, &b.vert, &b.norm), &m);
    EXPECT_TRUE(is(*Q7MxTransformL(&r, &m, &a.norm), b.norm, 1e-14));
    EXPECT_EQ(m.m[0][3], 0);
    EXPECT_EQ(m.m[3][3], 1);
    const Q7Vector h = random.vector(2), v = random.vector(2), w = random.vector(2);
    if (std::fabs(dot(h, cross(v, w))) < 0.3) continue;
    EXPECT_EQ(Q7MxSpaceWarp(&m, &a.orig, &h, &v, &w, &b.orig, &b.hor, &v, &h), &m);
    EXPECT_TRUE(is(transformed(m, a.orig), b.orig, 1e-10));
    EXPECT_TRUE(is(*Q7MxTransformL(&r, &m, &h), b.hor, 1e-10));
    EXPECT_TRUE(is(*Q7MxTransformL(&r, &m, &v), v, 1e-10));
    EXPECT_TRUE(is(*Q7MxTransformL(&r, &m, &w), h, 1e-10));
  }
}

TEST(Matrix, DeltaCarriesAToB) {
  Random random;
  const Q7Matrix a = random.matrix(), b = random.matrix();
  Q7Matrix m;
  EXPECT_EQ(Q7MxDelta(&m, &a, &b), &m);
  EXPECT_TRUE(is(product(m, a), b, 1e-12));
  Q7Matrix first = a, second = b;
  Q7MxDelta(&first, &first, &b);
  EXPECT_TRUE(same_bits(first, m));
  Q7MxDelta(&second, &a, &second);
  EXPECT_TRUE(same_bits(second, m));
}

TEST(Matrix, RotationOfAVectorOntoAnother) {
  Random random;
  for (int n = 0; n < 1000; ++n) {
    const Q7Vector a = random.unit(), b = random.unit(), f = random.unit(), o = random.vector(4);
    Q7Matrix m, t;
    Q7Vector r;
    EXPECT_EQ(Q7MxRotate2VUnit(&m, &a, &b, &f), &m);
    EXPECT_TRUE(is(*Q7MxTransformL(&r, &m, &a), b, 1e-14));
    const Q7Vector c = cross(a, b);
    EXPECT_TRUE(is(*Q7MxTransformL(&r, &m, &c), c, 1e-14)) << "the shortest way keeps the common normal";
    EXPECT_TRUE(is(product(m, *Q7MxTranspose(&t, &m)), identity(), 1e-14));
    const Q7Vector long_a = {5 * a.x, 5 * a.y, 5 * a.z}, long_b = {7 * b.x, 7 * b.y, 7 * b.z};
    EXPECT_EQ(Q7MxRotate2V(&t, &long_a, &long_b, &f), &t);
    EXPECT_TRUE(is(t, m, 1e-13));
    EXPECT_EQ(Q7MxWarp2VUnit(&t, &o, &a, &b, &f), &t);
    EXPECT_TRUE(is(transformed(t, o), o, 1e-13));
    EXPECT_TRUE(is(*Q7MxTransformL(&r, &t, &a), b, 1e-14));
  }
}

TEST(Matrix, RotationOntoItselfIsTheIdentityAndOntoTheOppositeTurnsAboutTheFallback) {
  Random random;
  for (int n = 0; n < 200; ++n) {
    const Q7Vector a = random.unit(), minus = {-a.x, -a.y, -a.z};
    Q7Matrix m;
    EXPECT_TRUE(is(*Q7MxRotate2VUnit(&m, &a, &a, &q7v_hor), identity()));
    Q7Vector axis, other;
    VGetPerpVect(&a, &axis, &other);
    Q7MxRotate2VUnit(&m, &a, &minus, &axis);
    Q7Vector r;
    EXPECT_TRUE(is(*Q7MxTransformL(&r, &m, &a), minus, 1e-14));
    EXPECT_TRUE(is(*Q7MxTransformL(&r, &m, &axis), axis, 1e-14));
    EXPECT_TRUE(is(*Q7MxTransformL(&r, &m, &other), -other.x, -other.y, -other.z, 1e-14));
  }
}

TEST(Matrix, PlaneHitByDirectionProjectsFromTheOrigin) {
  const Q7Vector o = {0, 0, 4}, n = {0, 0, 1}, p = {1, 2, 2};
  Q7Matrix m;
  EXPECT_EQ(Q7MxPlaneHitByDirection(&m, &o, &n), &m);
  EXPECT_TRUE(is(transformed(m, p), 2, 4, 4));
  Random random;
  for (int k = 0; k < 100; ++k) {
    const Q7Vector origin = random.vector(3), normal = random.unit(), point = random.vector(3);
    if (std::fabs(dot(normal, point)) < 0.1) continue;
    Q7MxPlaneHitByDirection(&m, &origin, &normal);
    const double s = dot(origin, normal) / dot(normal, point);
    EXPECT_TRUE(is(transformed(m, point), s * point.x, s * point.y, s * point.z, 1e-11));
  }
}

TEST(Matrix, PlaneHitBySourceGivesTheHeightOfThePlaneLessZ) {
  const Q7Vector o = {0, 0, 4}, n = {1, 0, 1}, p = {1, 2, 1}, flat = {1, 0, 0};
  Q7Matrix m;
  EXPECT_EQ(Q7MxPlaneHitBySource(&m, &o, &n), &m);
  EXPECT_TRUE(is(transformed(m, p), 1, 2, 2));
  EXPECT_TRUE(is(*Q7MxPlaneHitBySource(&m, &o, &flat), identity()));
}

TEST(Matrix, NormalMatrixKeepsNormalsPerpendicular) {
  Random random;
  for (int k = 0; k < 1000; ++k) {
    const Q7Matrix m = random.matrix(2);
    Q7Matrix r;
    EXPECT_EQ(Q7MxNormal(&r, &m), &r);
    const Q7Vector n = random.unit(), other = random.unit(), tangent = cross(n, other);
    Q7Vector moved_normal, moved_tangent;
    Q7MxTransformL(&moved_normal, &r, &n);
    Q7MxTransformL(&moved_tangent, &m, &tangent);
    EXPECT_NEAR(dot(moved_normal, moved_tangent), 0, 1e-13);
    Q7Matrix alias = m;
    Q7MxNormal(&alias, &alias);
    EXPECT_TRUE(same_bits(alias, r));
  }
  Q7Matrix r;
  Q7MxNormal(&r, &counting);
  EXPECT_EQ(r.m[0][0], 6 * 11 - 10 * 7);
  EXPECT_EQ(r.m[0][1], 7 * 9 - 11 * 5);
  EXPECT_EQ(r.m[2][0], 2 * 7 - 6 * 3);
  EXPECT_EQ(r.m[0][3], 0);
  EXPECT_EQ(r.m[3][0], 0);
  EXPECT_EQ(r.m[3][3], 1);
}

TEST(Matrix, DeformAppliesAPart) {
  Q7Matrix m;
  Q7MxTranslate(&m, 4, 8, -4);
  const Q7Vector p = {1, 1, 1};
  Q7Vector r;
  EXPECT_EQ(Q7MxDeform(&r, &m, &p, 0), &r);
  EXPECT_TRUE(is(r, 1, 1, 1));
  EXPECT_TRUE(is(*Q7MxDeform(&r, &m, &p, 1), 5, 9, -3));
  EXPECT_TRUE(is(*Q7MxDeform(&r, &m, &p, 0.25), 2, 3, 0));
}

TEST(Matrix, TheDestinationMayBeAnyOperand) {
  Random random;
  for (int n = 0; n < 50; ++n) {
    const Q7Matrix m = random.matrix();
    const Q7Vector a = random.vector();
    q7test::check_aliasing<Q7Vector>(
        "Q7MxTransform", [&](Q7Vector *r, const Q7Vector *p) { Q7MxTransform(r, &m, p); }, a);
    q7test::check_aliasing<Q7Vector>(
        "Q7MxTransformL", [&](Q7Vector *r, const Q7Vector *p) { Q7MxTransformL(r, &m, p); }, a);
    q7test::check_aliasing<Q7Vector>(
        "Q7MxDeform", [&](Q7Vector *r, const Q7Vector *p) { Q7MxDeform(r, &m, p, 0.3); }, a);
  }
}

}  // namespace
