// Tests of math/q7noise.cpp and math/q7noise4.cpp. The golden values were computed by a program of their own from the
// rules of the table, the lattice and the sums; they may never change, since stored scenes depend on them.
#include "math/q7noise.h"

#include <algorithm>
#include <functional>
#include <map>

#include "tests/math/math_test.h"

namespace {

using q7test::is;
using q7test::kInf;
using q7test::kNaN;
using q7test::Random;
using q7test::same_bits;

const Q7Vector points[4] = {{0.1, 0.2, 0.3}, {-0.37, 1.25, -2.04}, {12.345, -67.89, 0.011}, {-0.04, -0.08, 3.0}};
const Q7Vector4 points4[4] = {
    {0.1, 0.2, 0.3, 0.4}, {-0.37, 1.25, -2.04, -0.61}, {12.345, -67.89, 0.011, 5.5}, {-0.04, -0.08, 3.0, -0.12}};

// An implementation of its own, without any sharing of terms: T, the lattice values and the interpolations.
uint32_t t(uint32_t i) {
  static const std::vector<uint16_t> table = [] {
    std::vector<uint16_t> v;
    uint32_t state = 1;
    for (int n = 0; n < 32768; ++n) {
      state = state * 214013 + 2531011;
      v.push_back((state >> 16) & 0x7fff);
    }
    return v;
  }();
  return table[i & 0x7fff];
}
uint32_t lattice(uint32_t i, uint32_t j, uint32_t k) { return t(i + t(j) + t(t(k))); }

struct Cell {
  uint32_t i;
  double f;
  explicit Cell(double c) {
    const double x = 25 * c;
    int32_t n = static_cast<int32_t>(x);
    if (x < 0) n -= 1;
    i = static_cast<uint32_t>(n);
    f = x - n;
  }
};

double plain_noise(const Q7Vector &p) {
  const Cell x(p.x), y(p.y), z(p.z);
  double zs[2];
  for (uint32_t k = 0; k < 2; ++k) {
    double ys[2];
    for (uint32_t j = 0; j < 2; ++j) {
      const double a = lattice(x.i + 1000000, y.i + j + 1000000, z.i + k + 1000000);
      const double b = lattice(x.i + 1 + 1000000, y.i + j + 1000000, z.i + k + 1000000);
      ys[j] = (1 - x.f) * a + x.f * b;
    }
    zs[k] = (1 - y.f) * ys[0] + y.f * ys[1];
  }
  return (1 - z.f) * zs[0] + z.f * zs[1];
}

double plain_smooth_noise(const Q7Vector &p) {
  const Cell c[3] = {Cell(p.x), Cell(p.y), Cell(p.z)};
  double w[3][4];
  for (int n = 0; n < 3; ++n) {
    const double f = c[n].f, f2 = f * f, f3 = f2 * f;
    w[n][0] = (f2 - f) * 3 + 1 - f3;
    w[n][1] = 4 - 3 * (f2 + (f2 - f3));
    w[n][2] = 3 * (f + (f2 - f3)) + 1;
    w[n][3] = f3;
  }
  double zs[4];
  for (uint32_t k = 0; k < 4; ++k) {
    double ys[4];
    for (uint32_t j = 0; j < 4; ++j) {
      double a[4];
      for (uint32_t i = 0; i < 4; ++i) {
        a[i] = lattice(c[0].i + 100000000 + i, c[1].i + 100000000 + j, c[2].i + 100000000 + k);
      }
      ys[j] = w[0][0] * a[0] + w[0][1] * a[1] + w[0][2] * a[2] + w[0][3] * a[3];
    }
    zs[k] = w[1][0] * ys[0] + w[1][1] * ys[1] + w[1][2] * ys[2] + w[1][3] * ys[3];
  }
  return (w[2][0] * zs[0] + w[2][1] * zs[1] + w[2][2] * zs[2] + w[2][3] * zs[3]) / 216.0;
}

TEST(Noise, TheTableFollowsItsRule) {
  const int first[8] = {41, 18467, 6334, 26500, 19169, 15724, 11478, 29358};
  for (int i = 0; i < 8; ++i) EXPECT_EQ(rndtab[i], first[i]);
  uint64_t hash = 1469598103934665603u;
  for (uint32_t i = 0; i < 32768; ++i) {
    ASSERT_EQ(rndtab[i], t(i)) << i;
    hash = (hash ^ (rndtab[i] & 255u)) * 1099511628211u;
    hash = (hash ^ (rndtab[i] >> 8u)) * 1099511628211u;
  }
  EXPECT_EQ(hash, 0x63a88bdd8c59fe7au);
  static_assert(sizeof(rndtab) == 65536);
}

TEST(NoiseDeath, TheTableIsReadOnly) { EXPECT_DEATH(*const_cast<volatile uint16_t *>(rndtab) = 1, ""); }

TEST(Noise, KeyedValuesWrapTheirIndex) {
  EXPECT_EQ(Q7RandInt(0), 41);
  EXPECT_EQ(Q7RandInt(1), 18467);
  EXPECT_EQ(Q7RandInt(32768), 41);
  EXPECT_EQ(Q7RandInt(0xffffffffu), static_cast<int32_t>(t(32767)));
  EXPECT_EQ(Q7Rand(1), 18467 / 32767.0);
  EXPECT_EQ(Q7LRand(0xdeadbeefu), 8166 / 32767.0);
  EXPECT_EQ(Q7Rand2(1000, 77777), 18715 / 32767.0);
  EXPECT_EQ(Q7Rand2Int(5, 0xffffffffu), 166);
}

TEST(Noise, Rand2IntIsAlwaysBelow256) {
  for (uint32_t a = 0; a < 32768; a += 7) {
    const int32_t v = Q7Rand2Int(a, a * 2654435761u);
    EXPECT_TRUE(v >= 0 && v < 256);
  }
}

TEST(Noise, LRandUsesAllBitsOfTheKey) {
  for (int bit = 15; bit < 32; ++bit) EXPECT_NE(Q7LRand(12345), Q7LRand(12345u ^ (1u << bit))) << bit;
}

TEST(Noise, LatticeVectors) {
  Random random;
  for (int n = 0; n < 1000; ++n) {
    const uint32_t a = static_cast<uint32_t>(random.integer(-2000000000, 2000000000)), b = a * 3, c = a * 7 + 1, d = ~a;
    Q7Vector r;
    EXPECT_EQ(Q7VecRnd3D(&r, a, b, c), &r);
    EXPECT_TRUE(is(r, t(a + t(b) + t(t(c))), t(b + t(c) + t(t(a))), t(c + t(a) + t(t(b)))));
    EXPECT_EQ(Q7VecRnd4D(&r, a, b, c, d), &r);
    EXPECT_TRUE(is(r, t(a + t(b) + t(t(c)) + t(t(t(d)))), t(b + t(c) + t(t(d)) + t(t(t(a)))),
                   t(c + t(d) + t(t(a)) + t(t(t(b))))));
    EXPECT_EQ(Q7Rnd4D(a, b, c, d), r.x);
  }
}

TEST(Noise, KeysFromPoints) {
  const uint32_t key[4] = {19984, 13820, 1132, 9641}, key2[4] = {10830, 19974, 7986, 15652};
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(Q7InitRandKey(points + i), key[i]);
    EXPECT_EQ(Q7InitRandKey2D(points + i), key2[i]);
  }
  const Q7Vector strange = {kNaN, kInf, -1e300};
  EXPECT_LT(Q7InitRandKey(&strange), 32768u);
  EXPECT_LT(Q7InitRandKey2D(&strange), 32768u);
}

// Every function by the name of its golden row; a vector function gives one row a component.
using Function = std::function<double(int)>;

std::map<std::string, Function> functions() {
  std::map<std::string, Function> all;
  auto vector = [&all](const std::string &name, auto call) {
    all[name + ".x"] = [call](int i) { return call(i).x; };
    all[name + ".y"] = [call](int i) { return call(i).y; };
    all[name + ".z"] = [call](int i) { return call(i).z; };
  };
  auto base = [](auto f) {
    return [f](int i) {
      Q7Vector r;
      EXPECT_EQ(f(&r, points + i), &r);
      return r;
    };
  };
  auto base4 = [](auto f) {
    return [f](int i) {
      Q7Vector r;
      EXPECT_EQ(f(&r, points4 + i), &r);
      return r;
    };
  };
  all["Q7Noise3D"] = [](int i) { return Q7Noise3D(points + i); };
  all["_Q7SmoothNoise"] = [](int i) { return _Q7SmoothNoise(points + i); };
  vector("Q7VecNoise3D", base(Q7VecNoise3D));
  vector("_Q7SmoothNoise3DTo3D", base(_Q7SmoothNoise3DTo3D));
  all["Q7Point3Dto1DBase"] = [](int i) { return Q7Point3Dto1DBase(points + i); };
  vector("Q7Point3Dto3DBase", base(Q7Point3Dto3DBase));
  all["Q7VectorNoise"] = [](int i) { return Q7VectorNoise(points + i, 4, 2.17); };
  all["Q7SmoothNoise"] = [](int i) { return Q7SmoothNoise(points + i, 3, 1.9); };
  all["CVectorNoise"] = [](int i) { return CVectorNoise(points + i, 2, 2.4); };
  all["CSmoothNoise"] = [](int i) { return CSmoothNoise(points + i, 2, 2.4); };
  all["Q7Point3DTo1DNoise"] = [](int i) { return Q7Point3DTo1DNoise(points + i, 3, 2); };
  all["CPoint3DTo1DNoise"] = [](int i) { return CPoint3DTo1DNoise(points + i, 2, 2.4); };
  all["Q7Noise4D"] = [](int i) { return Q7Noise4D(points4 + i); };
  all["_Q7SmoothNoise4D"] = [](int i) { return _Q7SmoothNoise4D(points4 + i); };
  vector("Q7VecNoise4D", base4(Q7VecNoise4D));
  vector("_Q7SmoothNoise4DTo3D", base4(_Q7SmoothNoise4DTo3D));
  all["Q7Point4Dto1DBase"] = [](int i) { return Q7Point4Dto1DBase(points4 + i); };
  vector("Q7Point4Dto3DBase", base4(Q7Point4Dto3DBase));
  all["Q7Noise4DTo1D"] = [](int i) { return Q7Noise4DTo1D(points4 + i, 3, 2); };
  all["Q7SmoothNoise4DTo1D"] = [](int i) { return Q7SmoothNoise4DTo1D(points4 + i, 2, 2); };
  all["Q7Point4DTo1DNoise"] = [](int i) { return Q7Point4DTo1DNoise(points4 + i, 2, 2); };
  all["CNoise4DTo1D"] = [](int i) { return CNoise4DTo1D(points4 + i, 2, 2.4); };
  all["CSmoothNoise4DTo1D"] = [](int i) { return CSmoothNoise4DTo1D(points4 + i, 2, 1.75); };
  all["CPoint4DTo1DNoise"] = [](int i) { return CPoint4DTo1DNoise(points4 + i, 2, 1.75); };
  return all;
}

struct Golden {
  const char *name;
  double value[4];
};

const Golden golden[] = {
    {"Q7Noise3D", {0x1.5a9c000000000p+12, 0x1.48f5000000000p+14, 0x1.0e4cd80000000p+14, 0x1.1560000000000p+11}},
    {"_Q7SmoothNoise", {0x1.dad1b84bda12fp+13, 0x1.a25b51b097b42p+13, 0x1.032c213861729p+14, 0x1.e73c71c71c71cp+13}},
    {"Q7VecNoise3D.x", {0x1.5a9c000000000p+12, 0x1.48f5000000000p+14, 0x1.0e4cd80000000p+14, 0x1.1560000000000p+11}},
    {"Q7VecNoise3D.y", {0x1.10b5000000000p+14, 0x1.4879000000000p+13, 0x1.e022433333333p+13, 0x1.a810000000000p+13}},
    {"Q7VecNoise3D.z", {0x1.396c000000000p+14, 0x1.ac34c00000000p+14, 0x1.5f453b3333334p+14, 0x1.9bec000000000p+14}},
    {"_Q7SmoothNoise3DTo3D.x",
     {0x1.dad1b84bda12fp+13, 0x1.a25b51b097b42p+13, 0x1.032c213861729p+14, 0x1.e73c71c71c71cp+13}},
    {"_Q7SmoothNoise3DTo3D.y",
     {0x1.fde7c97b425edp+13, 0x1.178f7be97b426p+14, 0x1.0c8c8800004e7p+14, 0x1.605dc25ed097bp+14}},
    {"_Q7SmoothNoise3DTo3D.z",
     {0x1.255a7671c71c7p+14, 0x1.20dcc6e097b42p+13, 0x1.1eeda3ff6ee5dp+14, 0x1.5d4abda12f684p+13}},
    {"Q7Point3Dto1DBase", {0x1.967fcb1852d95p-2, 0x1.37e107aa43a77p-1, 0x1.9397d4e67f648p-2, 0x1.383623ef2565bp-5}},
    {"Q7Point3Dto3DBase.x", {0x1.967fcb1852d95p-2, 0x1.37e107aa43a77p-1, 0x1.9397d4e67f648p-2, 0x1.383623ef2565bp-5}},
    {"Q7Point3Dto3DBase.y", {0x1.3caa34f3e05cdp-1, 0x1.6c05c5c2e7173p-1, 0x1.2cad1e8c6f225p-1, 0x1.3319d14ba4a0bp-3}},
    {"Q7Point3Dto3DBase.z", {0x1.63ec266530e35p-1, 0x1.da77d64c802efp-1, 0x1.79c04d5ffb31cp-1, 0x1.79e2efc01d4c8p-1}},
    {"Q7VectorNoise", {0x1.408d642b80b04p-2, 0x1.067effd5be6e9p-1, 0x1.0e47bbb8c2929p-1, 0x1.7eac7f891b74dp-3}},
    {"Q7SmoothNoise", {0x1.dec9aada7a350p-2, 0x1.b41adf9b728cbp-2, 0x1.e3889297394a0p-2, 0x1.c6f79bf3168f0p-2}},
    {"CVectorNoise", {0x1.49bbd377a6ef4p-2, 0x1.445128a25144ap-1, 0x1.039e7e3cfc79fp-1, 0x1.7f48fe91fd23fp-2}},
    {"CSmoothNoise", {0x1.bab1459b6ec50p-2, 0x1.c4739ac16e665p-2, 0x1.152014539caa0p-1, 0x1.d66553e719955p-2}},
    {"Q7Point3DTo1DNoise", {0x1.ec44252c49b26p-2, 0x1.17e4c43aa172fp-1, 0x1.6472132da6a48p-2, 0x1.6732422fb30cfp-2}},
    {"CPoint3DTo1DNoise", {0x1.de6adba9a13b0p-2, 0x1.13b9cc15052adp-1, 0x1.56a79e871b63ap-2, 0x1.2fd2b645bb109p-2}},
    {"Q7Noise4D", {0x1.05ab000000000p+14, 0x1.5ccd600000000p+13, 0x1.b32f7b3333333p+13, 0x1.31d8000000000p+14}},
    {"_Q7SmoothNoise4D", {0x1.c30ba9161f9aep+13, 0x1.087574baf0652p+14, 0x1.2abf46188e84cp+14, 0x1.070156e9e0652p+14}},
    {"Q7VecNoise4D.x", {0x1.05ab000000000p+14, 0x1.5ccd600000000p+13, 0x1.b32f7b3333333p+13, 0x1.31d8000000000p+14}},
    {"Q7VecNoise4D.y", {0x1.5bc4000000000p+12, 0x1.4b5e800000000p+13, 0x1.7d29ad999999ap+13, 0x1.fea8000000000p+13}},
    {"Q7VecNoise4D.z", {0x1.4865000000000p+14, 0x1.3db1000000000p+14, 0x1.e9dd3c0000000p+13, 0x1.2054000000000p+14}},
    {"_Q7SmoothNoise4DTo3D.x",
     {0x1.c30ba9161f9adp+13, 0x1.087574baf0652p+14, 0x1.2abf46188e84cp+14, 0x1.070156e9e0652p+14}},
    {"_Q7SmoothNoise4DTo3D.y",
     {0x1.1620696e9e065p+14, 0x1.ec65dd79c84bdp+13, 0x1.f8e83a284ddc5p+13, 0x1.ddbc1add3c0cap+13}},
    {"_Q7SmoothNoise4DTo3D.z",
     {0x1.2b0fe1684bda1p+14, 0x1.d9868ed40bda1p+13, 0x1.fbcfcada35760p+13, 0x1.7fdc8e38e38e3p+13}},
    {"Q7Point4Dto1DBase", {0x1.2325f7254bb73p-1, 0x1.8db6ea54af3e5p-1, 0x1.ebdcbb78ab1aep-2, 0x1.87c13b2a74c1cp-1}},
    {"Q7Point4Dto3DBase.x", {0x1.2325f7254bb73p-1, 0x1.8db6ea54af3e5p-1, 0x1.ebdcbb78ab1aep-2, 0x1.87c13b2a74c1cp-1}},
    {"Q7Point4Dto3DBase.y", {0x1.32360a099ba49p-1, 0x1.af40ebe0f9323p-1, 0x1.422c72de40908p-1, 0x1.8ff5b9daf6cb1p-1}},
    {"Q7Point4Dto3DBase.z", {0x1.422176dc774eep-1, 0x1.bba433b95a2fdp-1, 0x1.0000000000000p+0, 0x1.919fa024ee4c9p-1}},
    {"Q7Noise4DTo1D", {0x1.4251601076fc6p-2, 0x1.edc3c93e6dea9p-2, 0x1.f199ca840a0f6p-2, 0x1.0913c902ffbcep-1}},
    {"Q7SmoothNoise4DTo1D", {0x1.c817b26c7f2f7p-2, 0x1.1237c0be0a923p-1, 0x1.02142c0664ed7p-1, 0x1.1950263f6082fp-1}},
    {"Q7Point4DTo1DNoise", {0x1.2d96e7f9a2757p-1, 0x1.69bd73a2cc1ecp-1, 0x1.bf649b9cb8153p-2, 0x1.6556cc7cac283p-1}},
    {"CNoise4DTo1D", {0x1.589e713ce279cp-2, 0x1.bc106420c8418p-2, 0x1.e2cf376b3ba32p-2, 0x1.e595cb2b96572p-2}},
    {"CSmoothNoise4DTo1D", {0x1.c72d6c0539277p-2, 0x1.1071e48bd9538p-1, 0x1.097986218dcd3p-1, 0x1.15fc603110d51p-1}},
    {"CPoint4DTo1DNoise", {0x1.2bb0eabbc13b9p-1, 0x1.7047e64ec6deap-1, 0x1.c77a72dbfb8a9p-2, 0x1.6b98b210a2158p-1}},
};

TEST(Noise, GoldenValues) {
  const auto all = functions();
  EXPECT_EQ(all.size(), std::size(golden));
  for (const Golden &row : golden) {
    ASSERT_TRUE(all.count(row.name)) << row.name;
    for (int i = 0; i < 4; ++i) EXPECT_TRUE(same_bits(all.at(row.name)(i), row.value[i])) << row.name << " " << i;
  }
}

TEST(Noise, ValueAndSmoothNoiseMatchThePlainFormulas) {
  Random random;
  for (int n = 0; n < 100000; ++n) {
    Q7Vector p = random.vector(n % 3 == 0 ? 1 : 1000);
    if (n % 5 == 0) p.x = random.integer(-100, 100) / 25.0;
    if (n % 7 == 0) p.z = -random.integer(0, 1000) * 0.04;
    ASSERT_TRUE(same_bits(Q7Noise3D(&p), plain_noise(p))) << n;
    ASSERT_TRUE(same_bits(_Q7SmoothNoise(&p), plain_smooth_noise(p))) << n;
  }
}

TEST(Noise, AtTheOriginItIsTheLatticeValue) {
  EXPECT_EQ(Q7Noise3D(&q7v_null), lattice(1000000, 1000000, 1000000));
  Q7Vector r;
  Q7VecNoise3D(&r, &q7v_null);
  Q7Vector expected;
  Q7VecRnd3D(&expected, 1000000, 1000000, 1000000);
  EXPECT_TRUE(is(r, expected));
  const Q7Vector4 origin = {0, 0, 0, 0};
  EXPECT_EQ(Q7Noise4D(&origin), Q7Rnd4D(1000000, 1000000, 1000000, 1000000));
}

TEST(Noise, NegativeWholeNumbersTakeTheCellBelowWithFractionOne) {
  // 25 * -0.04 is -1: cell -2, fraction 1, that is the value at -2 + 1.
  const Q7Vector p = {-0.04, 0, 0};
  EXPECT_EQ(Q7Noise3D(&p), lattice(1000000 - 1, 1000000, 1000000));
}

TEST(Noise, ContinuousAcrossCellBordersNegativeWholeNumbersIncluded) {
  // Twice a step over the border: the change stays in the order of the step.
  const double step = 1e-9;
  auto check = [&](auto value, int dimensions, const char *name) {
    for (int cell = -5; cell <= 5; ++cell) {
      for (int axis = 0; axis < dimensions; ++axis) {
        double below[4] = {0.013, 0.027, -0.031, 0.017}, at[4], above[4];
        std::copy(below, below + 4, at);
        std::copy(below, below + 4, above);
        at[axis] = cell / 25.0;
        below[axis] = at[axis] - step;
        above[axis] = at[axis] + step;
        const double limit = 25 * step * 32767 * 4;
        EXPECT_NEAR(value(below), value(at), limit) << name << " axis " << axis << " cell " << cell;
        EXPECT_NEAR(value(above), value(at), limit) << name << " axis " << axis << " cell " << cell;
      }
    }
  };
  auto three = [](auto f) {
    return [f](const double *c) {
      const Q7Vector p = {c[0], c[1], c[2]};
      return static_cast<double>(f(p));
    };
  };
  auto four = [](auto f) {
    return [f](const double *c) {
      const Q7Vector4 p = {c[0], c[1], c[2], c[3]};
      return static_cast<double>(f(p));
    };
  };
  check(three([](const Q7Vector &p) { return Q7Noise3D(&p); }), 3, "Q7Noise3D");
  check(three([](const Q7Vector &p) { return _Q7SmoothNoise(&p); }), 3, "_Q7SmoothNoise");
  check(four([](const Q7Vector4 &p) { return Q7Noise4D(&p); }), 4, "Q7Noise4D");
  check(four([](const Q7Vector4 &p) { return _Q7SmoothNoise4D(&p); }), 4, "_Q7SmoothNoise4D");
  // Point noise changes by no more than the distance travelled, in cells.
  const double scale = 32767.0;
  check(three([=](const Q7Vector &p) { return scale * Q7Point3Dto1DBase(&p); }), 3, "Q7Point3Dto1DBase");
  check(four([=](const Q7Vector4 &p) { return scale * Q7Point4Dto1DBase(&p); }), 4, "Q7Point4Dto1DBase");
  for (int part = 0; part < 3; ++part) {
    auto of = [part](const Q7Vector &v) { return part == 0 ? v.x : part == 1 ? v.y : v.z; };
    check(three([=](const Q7Vector &p) {
            Q7Vector r;
            return of(*Q7VecNoise3D(&r, &p));
          }),
          3, "Q7VecNoise3D");
    check(three([=](const Q7Vector &p) {
            Q7Vector r;
            return of(*_Q7SmoothNoise3DTo3D(&r, &p));
          }),
          3, "_Q7SmoothNoise3DTo3D");
    check(three([=](const Q7Vector &p) {
            Q7Vector r;
            return scale * of(*Q7Point3Dto3DBase(&r, &p));
          }),
          3, "Q7Point3Dto3DBase");
    check(four([=](const Q7Vector4 &p) {
            Q7Vector r;
            return of(*Q7VecNoise4D(&r, &p));
          }),
          4, "Q7VecNoise4D");
    check(four([=](const Q7Vector4 &p) {
            Q7Vector r;
            return of(*_Q7SmoothNoise4DTo3D(&r, &p));
          }),
          4, "_Q7SmoothNoise4DTo3D");
    check(four([=](const Q7Vector4 &p) {
            Q7Vector r;
            return scale * of(*Q7Point4Dto3DBase(&r, &p));
          }),
          4, "Q7Point4Dto3DBase");
  }
}

TEST(Noise, SmoothNoiseHasAContinuousSlope) {
  auto slope = [](double x) {
    const double h = 1e-5;
    const Q7Vector a = {x - h, 0.3, 0.7}, b = {x + h, 0.3, 0.7};
    return (_Q7SmoothNoise(&b) - _Q7SmoothNoise(&a)) / (2 * h);
  };
  for (int cell = -4; cell <= 4; ++cell) {
    const double x = cell / 25.0;
    EXPECT_NEAR(slope(x - 2e-5), slope(x + 2e-5), 32767 * 25 * 25 * 4e-5 * 4);
  }
}

TEST(Noise, RangesHold) {
  Random random;
  for (int n = 0; n < 3000; ++n) {
    const Q7Vector p = random.vector(100);
    const Q7Vector4 q = random.vector4(100);
    Q7Vector r;
    auto within = [](const Q7Vector &v, double high) {
      return std::min({v.x, v.y, v.z}) >= 0 && std::max({v.x, v.y, v.z}) <= high;
    };
    for (double v : {Q7Noise3D(&p), _Q7SmoothNoise(&p), Q7Noise4D(&q), _Q7SmoothNoise4D(&q)}) {
      EXPECT_TRUE(v >= 0 && v <= 32767) << v;
    }
    for (double v :
         {Q7VectorNoise(&p, 3, 2), Q7SmoothNoise(&p, 3, 2), Q7Point3DTo1DNoise(&p, 3, 2), Q7Point3Dto1DBase(&p),
          Q7Point4Dto1DBase(&q), Q7Noise4DTo1D(&q, 3, 2), Q7SmoothNoise4DTo1D(&q, 2, 2), CPoint4DTo1DNoise(&q, 2, 1.5),
          CVectorNoise(&p, 2, 3.3), CSmoothNoise(&p, 2, 3.3), CPoint3DTo1DNoise(&p, 2, 2.2)}) {
      EXPECT_TRUE(v >= 0 && v <= 1) << v;
    }
    EXPECT_TRUE(within(*Q7VecNoise3D(&r, &p), 32767));
    EXPECT_TRUE(within(*_Q7SmoothNoise3DTo3D(&r, &p), 32767));
    EXPECT_TRUE(within(*Q7Point3Dto3DBase(&r, &p), 1));
    EXPECT_TRUE(r.x <= r.y && r.y <= r.z);
    EXPECT_EQ(r.x, Q7Point3Dto1DBase(&p));
    EXPECT_TRUE(within(*Q7Point4Dto3DBase(&r, &q), 1));
    EXPECT_EQ(r.x, Q7Point4Dto1DBase(&q));
    EXPECT_TRUE(within(*Q7VectorNoise3D(&r, &p, 3, 2), 1));
    EXPECT_TRUE(within(*Q7SmoothNoise3D(&r, &p, 3, 2), 1));
  }
}

TEST(Noise, PointNoiseIsTheDistanceToTheNearestOfAllFeaturesAround) {
  // A search over 7 x 7 x 7 cells finds nothing nearer than the 27 do.
  Random random;
  for (int n = 0; n < 300; ++n) {
    const Q7Vector p = random.vector(10);
    const Cell c[3] = {Cell(p.x), Cell(p.y), Cell(p.z)};
    double best = 1;
    for (int k = -3; k <= 3; ++k) {
      for (int j = -3; j <= 3; ++j) {
        for (int i = -3; i <= 3; ++i) {
          Q7Vector v;
          Q7VecRnd3D(&v, c[0].i + 200000000u + static_cast<uint32_t>(i), c[1].i + 200000000u + static_cast<uint32_t>(j),
                     c[2].i + 200000000u + static_cast<uint32_t>(k));
          const double x = i + v.x / 32767 - c[0].f, y = j + v.y / 32767 - c[1].f, z = k + v.z / 32767 - c[2].f;
          best = std::min(best, std::sqrt(x * x + y * y + z * z));
        }
      }
    }
    EXPECT_NEAR(Q7Point3Dto1DBase(&p), best, 1e-12);
  }
}

TEST(Noise, OneOctaveIsTheBaseDividedByItsRangeForAnyFrequency) {
  Random random;
  for (double f : {2.0, 0.5, -3.0, kNaN}) {
    for (int n = 0; n < 100; ++n) {
      const Q7Vector p = random.vector(10);
      const Q7Vector4 q = random.vector4(10);
      EXPECT_EQ(Q7VectorNoise(&p, 1, f), Q7Noise3D(&p) / 32767);
      EXPECT_EQ(Q7SmoothNoise(&p, 1, f), _Q7SmoothNoise(&p) / 32767);
      EXPECT_EQ(Q7Noise4DTo1D(&q, 1, f), Q7Noise4D(&q) / 32767);
      EXPECT_EQ(Q7Point3DTo1DNoise(&p, 1, f), Q7Point3Dto1DBase(&p));
    }
  }
}

TEST(Noise, NoOctaveAtAllIsNotANumber) {
  const Q7Vector p = {1, 2, 3};
  const Q7Vector4 q = {1, 2, 3, 4};
  Q7Vector r;
  EXPECT_TRUE(std::isnan(Q7VectorNoise(&p, 0, 2)));
  EXPECT_TRUE(std::isnan(Q7SmoothNoise(&p, -3, 2)));
  EXPECT_TRUE(std::isnan(Q7VectorNoise3D(&r, &p, 0, 2)->y));
  EXPECT_TRUE(std::isnan(Q7Noise4DTo1D(&q, 0, 2)));
  EXPECT_TRUE(std::isnan(CVectorNoise(&p, 2, 0)));
  EXPECT_TRUE(std::isnan(CVectorNoise(&p, 2, kNaN)));
  EXPECT_EQ(CVectorNoise(&p, 2, -0.5), Q7Noise3D(&p) / 32767) << "floor is -1: half an octave is left, of any weight";
}

// The sums written out: weights 1/s, frequencies s.
template <class P, class Base>
double plain_sum(const P &p, double octaves, double f, double range, Base base) {
  const double whole = std::floor(octaves);
  double sum = 0, weights = 0, s = 1;
  for (int n = 0; n < whole; ++n) {
    sum = sum + (1 / s) * base(s, p);
    weights = weights + 1 / s;
    s = s * f;
  }
  if (octaves - whole > 1e-8) {
    sum = sum + ((octaves - whole) / s) * base(s, p);
    weights = weights + (octaves - whole) / s;
  }
  return sum / (weights * range);
}

Q7Vector times(double s, const Q7Vector &p) { return {s * p.x, s * p.y, s * p.z}; }
Q7Vector4 times(double s, const Q7Vector4 &p) { return {s * p.x, s * p.y, s * p.z, s * p.w}; }

TEST(Noise, EverySumAddsItsOwnBase) {
  Random random;
  for (int n = 0; n < 40; ++n) {
    const Q7Vector p = random.vector(3);
    const Q7Vector4 q = random.vector4(3);
    const double f = random.number(1.5, 2.5);
    for (double octaves : {1.0, 2.0, 3.0, 1.25, 2.7, 2.000000005}) {
      const int32_t whole = static_cast<int32_t>(octaves);
      auto scalar = [&](auto base, auto wholes, auto fractional, const auto &point, double range) {
        auto at = [&](double s, const auto &v) {
          const auto moved = times(s, v);
          return base(&moved);
        };
        EXPECT_EQ(fractional(&point, f, octaves), plain_sum(point, octaves, f, range, at));
        EXPECT_EQ(wholes(&point, whole, f), plain_sum(point, whole, f, range, at));
      };
      auto vector = [&](auto base, auto wholes, auto fractional, const auto &point, double range) {
        Q7Vector a, b;
        EXPECT_EQ(fractional(&a, &point, f, octaves), &a);
        EXPECT_EQ(wholes(&b, &point, whole, f), &b);
        for (int part = 0; part < 3; ++part) {
          auto of = [part](const Q7Vector &v) { return part == 0 ? v.x : part == 1 ? v.y : v.z; };
          auto at = [&](double s, const auto &v) {
            const auto moved = times(s, v);
            Q7Vector r;
            return of(*base(&r, &moved));
          };
          EXPECT_EQ(of(a), plain_sum(point, octaves, f, range, at));
          EXPECT_EQ(of(b), plain_sum(point, whole, f, range, at));
        }
      };
      scalar(Q7Noise3D, Q7VectorNoise, CVectorNoise, p, 32767);
      scalar(_Q7SmoothNoise, Q7SmoothNoise, CSmoothNoise, p, 32767);
      scalar(Q7Point3Dto1DBase, Q7Point3DTo1DNoise, CPoint3DTo1DNoise, p, 1);
      scalar(Q7Noise4D, Q7Noise4DTo1D, CNoise4DTo1D, q, 32767);
      scalar(_Q7SmoothNoise4D, Q7SmoothNoise4DTo1D, CSmoothNoise4DTo1D, q, 32767);
      scalar(Q7Point4Dto1DBase, Q7Point4DTo1DNoise, CPoint4DTo1DNoise, q, 1);
      vector(Q7VecNoise3D, Q7VectorNoise3D, CVectorNoise3D, p, 32767);
      vector(_Q7SmoothNoise3DTo3D, Q7SmoothNoise3D, CSmoothNoise3D, p, 32767);
      vector(Q7Point3Dto3DBase, Q7Point3DTo3DNoise, CPoint3DTo3DNoise, p, 1);
      vector(Q7VecNoise4D, Q7Noise4DTo3D, CNoise4DTo3D, q, 32767);
      vector(_Q7SmoothNoise4DTo3D, Q7SmoothNoise4DTo3D, CSmoothNoise4DTo3D, q, 32767);
      vector(Q7Point4Dto3DBase, Q7Point4DTo3DNoise, CPoint4DTo3DNoise, q, 1);
    }
  }
}

TEST(Noise, AFractionalOctaveCountFadesFromOneWholeNumberToTheNext) {
  const Q7Vector p = {0.31, -0.2, 0.77};
  EXPECT_EQ(CVectorNoise(&p, 2, 3), Q7VectorNoise(&p, 3, 2));
  EXPECT_NEAR(CVectorNoise(&p, 2, 2.9999999), Q7VectorNoise(&p, 3, 2), 1e-6);
  EXPECT_EQ(CVectorNoise(&p, 2, 2.000000009), Q7VectorNoise(&p, 2, 2)) << "a rest up to 1e-8 is none";
}

TEST(Noise, StrangePositionsDoNotFault) {
  const double strange[] = {kNaN, kInf, -kInf, 1e300, -1e300, 8.5899345e7, -8.5899346e7, 5e-324};
  for (double x : strange) {
    for (double y : {0.0, x}) {
      const Q7Vector p = {x, y, 1};
      const Q7Vector4 q = {1, y, x, x};
      Q7Vector r;
      Q7Noise3D(&p);
      _Q7SmoothNoise(&p);
      Q7VecNoise3D(&r, &p);
      _Q7SmoothNoise3DTo3D(&r, &p);
      Q7Point3Dto3DBase(&r, &p);
      Q7Noise4D(&q);
      Q7VecNoise4D(&r, &q);
      _Q7SmoothNoise4D(&q);
      _Q7SmoothNoise4DTo3D(&r, &q);
      Q7Point4Dto3DBase(&r, &q);
      CVectorNoise(&p, x, 2.5);
    }
  }
  const Q7Vector nan = {0, kNaN, 0};
  EXPECT_TRUE(std::isnan(Q7Noise3D(&nan)));
  EXPECT_TRUE(std::isnan(_Q7SmoothNoise(&nan)));
  EXPECT_TRUE(std::isnan(Q7Point3Dto1DBase(&nan)));
}

TEST(Noise, TheResultMayBeThePoint) {
  Random random;
  for (int n = 0; n < 50; ++n) {
    const Q7Vector a = random.vector(5);
    q7test::check_aliasing<Q7Vector>("Q7VecNoise3D", Q7VecNoise3D, a);
    q7test::check_aliasing<Q7Vector>("_Q7SmoothNoise3DTo3D", _Q7SmoothNoise3DTo3D, a);
    q7test::check_aliasing<Q7Vector>("Q7Point3Dto3DBase", Q7Point3Dto3DBase, a);
    auto with = [](auto f, auto x, auto y) { return [=](Q7Vector *r, const Q7Vector *p) { f(r, p, x, y); }; };
    q7test::check_aliasing<Q7Vector>("Q7VectorNoise3D", with(Q7VectorNoise3D, 3, 2.0), a);
    q7test::check_aliasing<Q7Vector>("Q7SmoothNoise3D", with(Q7SmoothNoise3D, 3, 2.0), a);
    q7test::check_aliasing<Q7Vector>("Q7Point3DTo3DNoise", with(Q7Point3DTo3DNoise, 3, 2.0), a);
    q7test::check_aliasing<Q7Vector>("CVectorNoise3D", with(CVectorNoise3D, 2.0, 2.5), a);
    q7test::check_aliasing<Q7Vector>("CSmoothNoise3D", with(CSmoothNoise3D, 2.0, 2.5), a);
    q7test::check_aliasing<Q7Vector>("CPoint3DTo3DNoise", with(CPoint3DTo3DNoise, 2.0, 2.5), a);
  }
}

TEST(Noise, TheGeneratorFollowsItsThreeSteps) {
  Q7RngState state;
  Q7SetRNGSeed(&state, 0, 0);
  EXPECT_EQ(state.z, 362436069u);
  EXPECT_EQ(state.w, 521288629u);
  const uint32_t expected[3] = {545736098u, 2010324742u, 3890505984u};
  for (uint32_t value : expected) EXPECT_EQ(Q7GetRNG(&state), value);
  Q7SetRNGSeed(&state, 11, 22);
  EXPECT_EQ(state.w, 11u) << "the first seed goes to w";
  EXPECT_EQ(state.z, 22u);
  static_assert(sizeof(Q7RngState) == 8 && offsetof(Q7RngState, z) == 0);
}

TEST(Noise, TheFloatGeneratorNeverReturnsZeroOrOne) {
  Q7RngState state, same;
  Q7SetRNGSeed(&state, 1, 2);
  same = state;
  for (int n = 0; n < 100000; ++n) {
    const double v = Q7GetRNGFloat(&state);
    ASSERT_TRUE(v > 0 && v < 1);
    ASSERT_EQ(v, (Q7GetRNG(&same) + 1.0) * 2.328306435454494e-10);
  }
  EXPECT_LT((4294967295.0 + 1.0) * 2.328306435454494e-10, 1);
}

}  // namespace
