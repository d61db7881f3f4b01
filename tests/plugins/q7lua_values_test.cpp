// Tests of plugins/lua: vectors, colours, quaternions and matrices with their operators, and noise. What is expected is
// worked out by hand, or by the library's own functions called directly.
#include <cmath>

#include "math/q7color.h"
#include "math/q7matrix.h"
#include "math/q7noise.h"
#include "tests/plugins/lua_test.h"

using namespace luatest;
using ::testing::HasSubstr;

namespace {

class LuaValues : public luatest::Test {
 protected:
  std::vector<double> numbers(const std::string &expression) {
    std::vector<double> list;
    std::string shown =
        run("print(string.format(('%.17g '):rep(select('#', " + expression + ")), " + expression + "))");
    const char *p = shown.c_str();
    for (char *end; *p; p = end) {
      const double number = std::strtod(p, &end);
      if (end == p) break;
      list.push_back(number);
    }
    if (shown.rfind("error", 0) == 0) ADD_FAILURE() << expression << " gives " << shown;
    return list;
  }
  void expect_near(const std::string &expression, const std::vector<double> &expected, double tolerance = 1e-12) {
    const std::vector<double> found = numbers(expression);
    ASSERT_EQ(found.size(), expected.size()) << expression;
    for (size_t i = 0; i < found.size(); ++i) EXPECT_NEAR(found[i], expected[i], tolerance) << expression << " " << i;
  }
};

// ---- Vectors ----

TEST_F(LuaValues, VectorsAreMade) {
  EXPECT_EQ(eval("q7.vector(), q7.vector(1, 2, 3), q7.vector({1, 2, 3}), q7.vector(q7.vector4(1, 2, 3, 4))"),
            "(0, 0, 0)\t(1, 2, 3)\t(1, 2, 3)\t(1, 2, 3)");
  EXPECT_EQ(eval("q7.vector4(), q7.vector4(1, 2, 3), q7.vector4(1, 2, 3, 4)"),
            "(0, 0, 0, 0)\t(1, 2, 3, 0)\t(1, 2, 3, 4)");
  EXPECT_EQ(error("q7.vector(1, 2)"), "number 3: a number expected, got nil");
  EXPECT_EQ(error("q7.vector('x')"), "number 1: a number expected, got string");
}

TEST_F(LuaValues, ComponentsAreNamedAndNumbered) {
  EXPECT_EQ(
      run("local v = q7.vector(1, 2, 3) print(v.x, v.y, v.z, v[1], v[3], v[4], v.w, #v) v.y = 7 v[3] = 8 print(v)"),
      "1.0\t2.0\t3.0\t1.0\t3.0\tnil\tnil\t3\n(1, 7, 8)\n");
  EXPECT_EQ(error("q7.vector().q = 1"), "a vector has no component 'q'");
  EXPECT_EQ(error("q7.vector()[4] = 1"), "a vector has no component '4'");
  EXPECT_EQ(error("q7.vector().x = 'a'"), "a number expected, got string");
}

TEST_F(LuaValues, VectorsHaveOperators) {
  EXPECT_EQ(eval("q7.vector(1, 2, 3) + q7.vector(10, 20, 30), q7.vector(1, 2, 3) - q7.vector(10, 20, 30)"),
            "(11, 22, 33)\t(-9, -18, -27)");
  EXPECT_EQ(eval("2 * q7.vector(1, 2, 3), q7.vector(1, 2, 3) * 2, q7.vector(1, 2, 3) / 2, -q7.vector(1, 2, 3)"),
            "(2, 4, 6)\t(2, 4, 6)\t(0.5, 1, 1.5)\t(-1, -2, -3)");
  EXPECT_EQ(eval("q7.vector(1, 2, 3) * q7.vector(4, 5, 6)"), "(4, 10, 18)");
  EXPECT_EQ(eval("q7.vector(1, 2, 3) == q7.vector(1, 2, 3), q7.vector(1, 2, 3) == q7.vector(1, 2, 4), "
                 "q7.vector() == q7.vector4(), q7.vector(0, 0, 0/0) == q7.vector(0, 0, 0/0)"),
            "true\tfalse\tfalse\tfalse");
  EXPECT_EQ(error("local v = q7.vector() + 1"), "cannot add vector and number");
  EXPECT_EQ(error("local v = q7.vector() - q7.vector4()"), "cannot subtract vector and vector4");
  EXPECT_EQ(error("local v = q7.vector() * q7.color()"), "cannot multiply vector and colour");
  EXPECT_EQ(error("local v = q7.vector() / q7.vector()"), "only a value can be divided, and only by a number");
  EXPECT_EQ(error("local v = 1 / q7.vector()"), "only a value can be divided, and only by a number");
}

TEST_F(LuaValues, VectorsHaveMethods) {
  EXPECT_EQ(eval("q7.vector(1, 2, 3):dot(q7.vector(4, 5, 6)), q7.vector(1, 0, 0):cross(q7.vector(0, 1, 0)), "
                 "q7.vector(3, 4, 0):length(), q7.vector(1, 1, 1):distance(q7.vector(1, 4, 5))"),
            "32.0\t(0, 0, 1)\t5.0\t5.0");
  EXPECT_EQ(eval("q7.vector(3, 4, 0):normalize(), q7.vector():normalize(), q7.vector(0, 0, 0):mix(q7.vector(4, 8, 2), "
                 "0.25), q7.vector(1, 2, 3):unpack()"),
            "(0.6, 0.8, 0)\t(0, 0, 0)\t(1, 2, 0.5)\t1.0\t2.0\t3.0");
  expect_near("q7.vector(2, 0, 0):angle(q7.vector(0, 5, 0)), q7.vector(1, 0, 0):angle(q7.vector(1, 1, 0))",
              {M_PI / 2, M_PI / 4});
  EXPECT_EQ(eval("q7.vector4(1, 2, 3, 4):dot(q7.vector4(1, 1, 1, 1)), q7.vector4(1, 1, 1, 1):length()"), "10.0\t2.0");
  EXPECT_EQ(error("q7.vector():cross(5)"), "a vector expected, got number");
  EXPECT_EQ(error("q7.vector():cross(q7.color())"), "a vector expected, got colour");
}

// ---- Colours ----

TEST_F(LuaValues, ColoursAreMadeAndMixed) {
  EXPECT_EQ(eval("q7.color(), q7.color(0.1, 0.2, 0.3), q7.color(0.1, 0.2, 0.3, 0.4)"),
            "(0, 0, 0, 1)\t(0.1, 0.2, 0.3, 1)\t(0.1, 0.2, 0.3, 0.4)");
  EXPECT_EQ(eval("q7.color(0, 0, 0, 0):mix(q7.color(1, 1, 1, 1), 0.25), q7.color(1, 0.5, 0.25, 1) * q7.color(0.5, 0.5, "
                 "2, 1)"),
            "(0.25, 0.25, 0.25, 0.25)\t(0.5, 0.25, 0.5, 1)");
  EXPECT_EQ(run("local c = q7.color() c.r = 1 c.a = 0.5 print(c.r, c.g, c.b, c.a)"), "1.0\t0.0\t0.0\t0.5\n");
}

TEST_F(LuaValues, HueSaturationBrightness) {
  expect_near("q7.color(0, 1, 0):hsl()", {1.0 / 3, 1, 1});
  expect_near("q7.hsl(2 / 3, 1, 0.5):unpack()", {0, 0, 0.5, 1});
}

// ---- Matrices ----

TEST_F(LuaValues, MatricesTransform) {
  EXPECT_EQ(eval("q7.matrix() * q7.vector(1, 2, 3), q7.translation(10, 20, 30) * q7.vector(1, 2, 3), "
                 "q7.scaling(2, 3, 4) * q7.vector(1, 1, 1)"),
            "(1, 2, 3)\t(11, 22, 33)\t(2, 3, 4)");
  // The right one acts first.
  EXPECT_EQ(eval("q7.translation(1, 0, 0) * q7.scaling(2, 2, 2) * q7.vector(1, 1, 1), q7.scaling(2, 2, 2) * "
                 "q7.translation(1, 0, 0) * q7.vector(1, 1, 1)"),
            "(3, 2, 2)\t(4, 2, 2)");
  EXPECT_EQ(
      eval("q7.translation(1, 2, 3):direction(q7.vector(5, 5, 5)), q7.translation(1, 2, 3) * q7.vector4(0, 0, 0, 2)"),
      "(5, 5, 5)\t(2, 4, 6, 2)");
  // Clockwise, seen from the tip of the axis.
  expect_near("(q7.rotation(q7.vector(0, 0, 1), math.pi / 2) * q7.vector(1, 0, 0)):unpack()", {0, -1, 0});
  expect_near("(q7.rotation(q7.vector(0, 0, 1), math.pi, q7.vector(1, 0, 0)) * q7.vector(0, 0, 0)):unpack()",
              {2, 0, 0});
}

TEST_F(LuaValues, MatricesAreInvertedAndTransposed) {
  EXPECT_EQ(eval("q7.translation(1, 2, 3):inverse() * q7.vector(1, 2, 3), q7.matrix(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, "
                 "12, 13, 14, 15, 16):transpose():at(1, 2)"),
            "(0, 0, 0)\t5.0");
  EXPECT_EQ(eval("q7.matrix(), #q7.matrix(), q7.matrix()[6], q7.matrix():at(4, 4)"),
            "(1, 0, 0, 0; 0, 1, 0, 0; 0, 0, 1, 0; 0, 0, 0, 1)\t16\t1.0\t1.0");
  EXPECT_EQ(error("q7.scaling(0, 1, 1):inverse()"), "the matrix is singular");
  EXPECT_THAT(error("q7.matrix():at(5, 1)"), HasSubstr("a row is a number from 1 to 4"));
  EXPECT_EQ(eval("q7.matrix() + q7.matrix() == 2 * q7.matrix()"), "true");
}

// ---- Quaternions ----

TEST_F(LuaValues, QuaternionsTurnAsMatricesDo) {
  for (const char *turn :
       {"q7.vector(0, 0, 1), 0.3", "q7.vector(1, 2, 3):normalize(), 2", "q7.vector(0, 1, 0), -1.2"}) {
    const std::string t = turn;
    expect_near("(q7.quat(" + t + ") * q7.vector(1, 2, 3) - q7.rotation(" + t + ") * q7.vector(1, 2, 3)):unpack()",
                {0, 0, 0});
  }
  // A product turns as the product of the matrices; the right one acts first.
  run("a = q7.quat(q7.vector(1, 2, 3), 0.7) b = q7.quat(q7.vector(-1, 0, 2), 1.9)");
  expect_near("((a * b):matrix() - a:matrix() * b:matrix()):unpack()", std::vector<double>(16, 0.0));
  expect_near("((a * b) * q7.vector(1, 2, 3) - a * (b * q7.vector(1, 2, 3))):unpack()", {0, 0, 0});
  expect_near("(a * a:conjugate()):unpack()", {0, 0, 0, 1});
  expect_near("a:length(), (a:matrix():quat() - a):length()", {1, 0});
}

TEST_F(LuaValues, QuaternionsHaveAxesAndAngles) {
  // The axis is turned over so that its largest component is positive, and the angle with it.
  expect_near("(function() local axis, angle = q7.quat(q7.vector(0, 0, 1), 0.5):axis() return axis.z, angle end)()",
              {1, 2 * M_PI + 0.5});
  expect_near("q7.hpb(0.3, 0.2, 0.1):hpb()", {0.3, 0.2, 0.1});
  EXPECT_EQ(eval("q7.quat(), q7.quat(1, 2, 3, 4), -q7.quat(1, 2, 3, 4), q7.quat(0, 3, 0, 4):normalize()"),
            "(0, 0, 0, 1)\t(1, 2, 3, 4)\t(-1, -2, -3, -4)\t(0, 0.6, 0, 0.8)");
  EXPECT_EQ(error("local q = q7.quat() * q7.color()"), "cannot multiply quaternion and colour");
}

// ---- Noise ----

TEST_F(LuaValues, NoiseIsTheLibrarys) {
  const Q7Vector p = {0.11, -0.2, 0.37};
  const Q7Vector4 q = {0.11, -0.2, 0.37, 0.5};
  Q7Vector r;
  expect_near("q7.noise.value(q7.vector(0.11, -0.2, 0.37))", {CVectorNoise(&p, 2, 1)}, 0);
  expect_near("q7.noise.smooth(q7.vector(0.11, -0.2, 0.37), 2.5, 1.9)", {CSmoothNoise(&p, 1.9, 2.5)}, 0);
  expect_near("q7.noise.point(q7.vector(0.11, -0.2, 0.37), 3)", {CPoint3DTo1DNoise(&p, 2, 3)}, 0);
  CVectorNoise3D(&r, &p, 2, 1);
  expect_near("q7.noise.value_vector(q7.vector(0.11, -0.2, 0.37)):unpack()", {r.x, r.y, r.z}, 0);
  CSmoothNoise3D(&r, &p, 2, 1);
  expect_near("q7.noise.smooth_vector(q7.vector(0.11, -0.2, 0.37)):unpack()", {r.x, r.y, r.z}, 0);
  CPoint3DTo3DNoise(&r, &p, 2, 1);
  expect_near("q7.noise.point_vector(q7.vector(0.11, -0.2, 0.37)):unpack()", {r.x, r.y, r.z}, 0);
  expect_near("q7.noise.value(q7.vector4(0.11, -0.2, 0.37, 0.5))", {CNoise4DTo1D(&q, 2, 1)}, 0);
  expect_near("q7.noise.smooth(q7.vector4(0.11, -0.2, 0.37, 0.5))", {CSmoothNoise4DTo1D(&q, 2, 1)}, 0);
  expect_near("q7.noise.point(q7.vector4(0.11, -0.2, 0.37, 0.5))", {CPoint4DTo1DNoise(&q, 2, 1)}, 0);
  CSmoothNoise4DTo3D(&r, &q, 2, 1);
  expect_near("q7.noise.smooth_vector(q7.vector4(0.11, -0.2, 0.37, 0.5)):unpack()", {r.x, r.y, r.z}, 0);
  EXPECT_THAT(error("q7.noise.value(q7.vector(), 0)"), HasSubstr("octaves are a number above 0, up to 64"));
  EXPECT_THAT(error("q7.noise.value(q7.vector(), 1e9)"), HasSubstr("octaves are a number above 0, up to 64"));
  EXPECT_EQ(error("q7.noise.value(5)"), "a vector expected, got number");
}

TEST_F(LuaValues, RandomNumbers) {
  Q7RngState state;
  Q7SetRNGSeed(&state, 5, 6);
  const double first = Q7GetRNG(&state);
  const double second = Q7GetRNGFloat(&state);
  expect_near("(function() local g = q7.generator(5, 6) return g:integer(), g:number() end)()", {first, second}, 0);
  expect_near("q7.random(77), q7.random(1, 2)", {Q7LRand(77), Q7Rand2(1, 2)}, 0);
}

}  // namespace
