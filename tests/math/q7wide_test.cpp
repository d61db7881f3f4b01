// Tests of math/q7wide.cpp and the paths: every path that the machine has gives the bits of the one-point functions.
#include "math/q7wide.h"

#include "tests/math/math_test.h"

namespace {

using q7test::is;
using q7test::kInf;
using q7test::kNaN;
using q7test::Random;
using q7test::same_bits;

std::vector<const Q7MathPath *> all_paths() {
  std::vector<const Q7MathPath *> paths;
  for (int32_t i = 0; const Q7MathPath *path = Q7MathPathAt(i); ++i) paths.push_back(path);
  return paths;
}

// Points of every kind: small and large, on lattice planes, negative whole numbers, zeros of both signs, infinities,
// not-a-numbers of several payloads, beyond the range of the lattice.
std::vector<Q7Vector> strange_points(size_t count) {
  Random random(7);
  const double special[] = {0.0,
                            -0.0,
                            kInf,
                            -kInf,
                            kNaN,
                            -kNaN,
                            std::bit_cast<double>(0x7ff8000000012345ull),
                            1e300,
                            -1e300,
                            1e-310,
                            -0.04,
                            -0.08,
                            0.04,
                            8.5899345920e7,
                            -8.589934592e7,
                            -40.0,
                            2.2250738585072014e-308,
                            1e-160};
  std::vector<Q7Vector> points;
  points.reserve(count);
  while (points.size() < count) {
    Q7Vector p = random.vector(points.size() % 2 ? 4 : 4000);
    double *c = &p.x;
    const int kind = random.integer(0, 9);
    if (kind == 0) c[random.integer(0, 2)] = special[random.integer(0, std::size(special) - 1)];
    if (kind == 1) {
      for (int i = 0; i < 3; ++i) c[i] = special[random.integer(0, std::size(special) - 1)];
    }
    if (kind == 2) c[random.integer(0, 2)] = -random.integer(0, 4000) / 25.0;
    if (kind == 3) c[random.integer(0, 2)] = random.integer(0, 4000) * 0.04;
    points.push_back(p);
  }
  return points;
}

constexpr size_t kMillion = 1000003;  // no multiple of eight: the remainder is covered too

template <class T>
void expect_same(const std::vector<T> &a, const std::vector<T> &b, const char *name) {
  ASSERT_EQ(a.size(), b.size());
  if (std::memcmp(a.data(), b.data(), a.size() * sizeof(T)) == 0) return;
  for (size_t i = 0; i < a.size(); ++i) ASSERT_TRUE(same_bits(a[i], b[i])) << name << " point " << i;
}

TEST(Wide, TheFirstPathIsTheBaselineAndTheListEnds) {
  const auto paths = all_paths();
  ASSERT_GE(paths.size(), 1u);
  EXPECT_STREQ(paths[0]->name, "baseline");
  EXPECT_EQ(Q7MathPathAt(-1), nullptr);
  EXPECT_EQ(Q7MathPathAt(static_cast<int32_t>(paths.size())), nullptr);
  const char *names[] = {"baseline", "avx2", "avx512"};
  for (size_t i = 0; i < paths.size(); ++i) EXPECT_STREQ(paths[i]->name, names[i]);
}

TEST(Wide, ValueNoiseIsTheSameOnAllPaths) {
  const auto points = strange_points(kMillion);
  const auto n = static_cast<int32_t>(points.size());
  std::vector<double> expected, got(points.size());
  for (const Q7Vector &p : points) expected.push_back(Q7Noise3D(&p));
  for (const Q7MathPath *path : all_paths()) {
    path->noise_array(got.data(), points.data(), n);
    expect_same(got, expected, path->name);
  }
  std::fill(got.begin(), got.end(), 0);
  Q7Noise3DArray(got.data(), points.data(), n);
  expect_same(got, expected, "Q7Noise3DArray");
}

TEST(Wide, SmoothNoiseIsTheSameOnAllPaths) {
  const auto points = strange_points(kMillion);
  const auto n = static_cast<int32_t>(points.size());
  std::vector<double> expected, got(points.size());
  for (const Q7Vector &p : points) expected.push_back(_Q7SmoothNoise(&p));
  for (const Q7MathPath *path : all_paths()) {
    path->smooth_noise_array(got.data(), points.data(), n);
    expect_same(got, expected, path->name);
  }
  std::fill(got.begin(), got.end(), 0);
  Q7SmoothNoise3DArray(got.data(), points.data(), n);
  expect_same(got, expected, "Q7SmoothNoise3DArray");
}

TEST(Wide, VectorNoiseIsTheSameOnAllPaths) {
  const auto points = strange_points(200003);
  const auto n = static_cast<int32_t>(points.size());
  std::vector<Q7Vector> expected(points.size()), got(points.size());
  for (size_t i = 0; i < points.size(); ++i) Q7VecNoise3D(&expected[i], &points[i]);
  for (const Q7MathPath *path : all_paths()) {
    path->vec_noise_array(got.data(), points.data(), n);
    expect_same(got, expected, path->name);
  }
  got = points;
  Q7VecNoise3DArray(got.data(), got.data(), n);
  expect_same(got, expected, "in place");
}

TEST(Wide, SumsOfOctavesAreThoseOfTheOnePointFunctions) {
  const auto points = strange_points(20011);
  const auto n = static_cast<int32_t>(points.size());
  std::vector<double> got(points.size());
  for (int32_t octaves : {0, 1, 4}) {
    for (double f : {2.0, 1.87, kNaN}) {
      std::vector<double> expected, smooth;
      for (const Q7Vector &p : points) expected.push_back(Q7VectorNoise(&p, octaves, f));
      for (const Q7Vector &p : points) smooth.push_back(Q7SmoothNoise(&p, octaves, f));
      Q7VectorNoiseArray(got.data(), points.data(), n, octaves, f);
      expect_same(got, expected, "Q7VectorNoiseArray");
      Q7SmoothNoiseArray(got.data(), points.data(), n, octaves, f);
      expect_same(got, smooth, "Q7SmoothNoiseArray");
    }
  }
}

TEST(Wide, TransformsAreTheSameOnAllPaths) {
  Random random(3);
  const auto points = strange_points(250003);
  const auto n = static_cast<int32_t>(points.size());
  std::vector<Q7Matrix> matrices = {random.matrix(), random.matrix(100)};
  Q7Matrix m = random.matrix();
  for (int j = 0; j < 4; ++j) m.m[3][j] = j == 3;
  matrices.push_back(m);  // affine
  for (int j = 0; j < 4; ++j) m.m[3][j] = 0;
  matrices.push_back(m);  // everything at infinity
  m = random.matrix();
  m.m[1][2] = kNaN;
  m.m[0][0] = kInf;
  matrices.push_back(m);
  for (const Q7Matrix &matrix : matrices) {
    std::vector<Q7Vector> expected(points.size()), directions(points.size()), got(points.size());
    for (size_t i = 0; i < points.size(); ++i) {
      Q7MxTransform(&expected[i], &matrix, &points[i]);
      Q7MxTransformL(&directions[i], &matrix, &points[i]);
    }
    for (const Q7MathPath *path : all_paths()) {
      path->transform_array(got.data(), &matrix, points.data(), n);
      expect_same(got, expected, path->name);
      path->transform_l_array(got.data(), &matrix, points.data(), n);
      expect_same(got, directions, path->name);
      got = points;
      path->transform_array(got.data(), &matrix, got.data(), n);
      expect_same(got, expected, "in place");
    }
    Q7MxTransformArray(got.data(), &matrix, points.data(), n);
    expect_same(got, expected, "Q7MxTransformArray");
    got = points;
    Q7MxTransformLArray(got.data(), &matrix, got.data(), n);
    expect_same(got, directions, "Q7MxTransformLArray");
  }
}

TEST(Wide, NormsAreTheSameOnAllPaths) {
  auto points = strange_points(kMillion);
  points[5] = {0, 1e-320, 0};
  points[6] = {0, 0, 0};
  const auto n = static_cast<int32_t>(points.size());
  std::vector<Q7Vector> expected = points, got;
  for (Q7Vector &v : expected) VNorm(&v);
  for (const Q7MathPath *path : all_paths()) {
    got = points;
    path->norm_array(got.data(), n);
    expect_same(got, expected, path->name);
  }
  got = points;
  VNormArray(got.data(), n);
  expect_same(got, expected, "VNormArray");
}

TEST(Wide, ProductsAndInversesAreTheSameOnAllPaths) {
  Random random(5);
  const auto paths = all_paths();
  for (int i = 0; i < 100000; ++i) {
    Q7Matrix a = random.matrix(i % 2 ? 1 : 1e3), b = random.matrix();
    if (i % 5 == 0) std::memcpy(a.m[2], a.m[1], sizeof a.m[1]);  // singular
    if (i % 50 == 0) Q7MxNull(&a);
    Q7Matrix product, inverse, other;
    paths[0]->concat(&product, &a, &b);
    const int32_t verdict = paths[0]->invert(&inverse, &a);
    for (const Q7MathPath *path : paths) {
      path->concat(&other, &a, &b);
      ASSERT_TRUE(same_bits(other, product)) << path->name;
      ASSERT_EQ(path->invert(&other, &a), verdict) << path->name;
      ASSERT_TRUE(same_bits(other, inverse)) << path->name;
      other = a;
      path->invert(&other, &other);
      ASSERT_TRUE(same_bits(other, inverse)) << path->name << " in place";
    }
    Q7MxConcat(&other, &a, &b);
    ASSERT_TRUE(same_bits(other, product));
    Q7MxInvert(&other, &a);
    ASSERT_TRUE(same_bits(other, inverse));
  }
}

TEST(Wide, EveryLengthOfArrayWritesExactlyItsPoints) {
  const auto points = strange_points(40);
  for (int32_t n = -1; n <= 33; ++n) {
    std::vector<double> values(40, 12345);
    std::vector<Q7Vector> vectors(40, Q7Vector{1, 2, 3});
    const size_t count = n < 0 ? 0 : static_cast<size_t>(n);
    Q7Noise3DArray(values.data(), points.data(), n);
    for (size_t i = 0; i < 40; ++i) {
      EXPECT_TRUE(same_bits(values[i], i < count ? Q7Noise3D(&points[i]) : 12345)) << n << " " << i;
    }
    Q7SmoothNoiseArray(values.data(), points.data(), n, 2, 2);
    for (size_t i = count; i < 40; ++i) EXPECT_EQ(values[i], 12345);
    Q7Matrix m;
    Q7MxTransformArray(vectors.data(), Q7MxTranslate(&m, 1, 2, 3), points.data(), n);
    for (size_t i = count; i < 40; ++i) EXPECT_TRUE(is(vectors[i], 1, 2, 3));
    vectors.assign(40, Q7Vector{3, 0, 4});
    VNormArray(vectors.data(), n);
    for (size_t i = 0; i < 40; ++i) EXPECT_TRUE(i < count ? is(vectors[i], 0.6, 0, 0.8) : is(vectors[i], 3, 0, 4));
  }
  Q7Noise3DArray(nullptr, nullptr, 0);
  Q7SmoothNoise3DArray(nullptr, nullptr, 0);
  Q7VecNoise3DArray(nullptr, nullptr, 0);
  Q7VectorNoiseArray(nullptr, nullptr, 0, 1, 2);
  Q7SmoothNoiseArray(nullptr, nullptr, -1, 1, 2);
  Q7MxTransformArray(nullptr, nullptr, nullptr, 0);
  Q7MxTransformLArray(nullptr, nullptr, nullptr, 0);
  VNormArray(nullptr, 0);
}

}  // namespace
