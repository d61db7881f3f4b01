// Tests of math/q7color.cpp.
#include "math/q7color.h"

#include <cstring>

#include "tests/core/core_test.h"
#include "tests/math/math_test.h"

namespace {

Q7ColorHSL hsl(double r, double g, double b, int32_t expected = 1) {
  const Q7ColorRGB in = {r, g, b};
  Q7ColorHSL out;
  EXPECT_EQ(Q7RgbToHsl(&out, &in), expected);
  return out;
}
Q7ColorRGB rgb(double h, double s, double l) {
  const Q7ColorHSL in = {h, s, l};
  Q7ColorRGB out;
  Q7HslToRgb(&out, &in);
  return out;
}
::testing::AssertionResult is3(double a, double b, double c, double x, double y, double z, double eps = 1e-14) {
  return q7test::is(Q7Vector{a, b, c}, x, y, z, eps);
}
#define EXPECT_HSL(value, x, y, z)               \
  do {                                           \
    const Q7ColorHSL v_ = value;                 \
    EXPECT_TRUE(is3(v_.h, v_.s, v_.l, x, y, z)); \
  } while (false)
#define EXPECT_RGB(value, x, y, z)                        \
  do {                                                    \
    const Q7ColorRGB v_ = value;                          \
    EXPECT_TRUE(is3(v_.red, v_.green, v_.blue, x, y, z)); \
  } while (false)

TEST(Color, BlackIsFullySaturatedAndGreyHasNoHue) {
  EXPECT_HSL(hsl(0, 0, 0, 0), 0, 1, 0);
  EXPECT_HSL(hsl(0.5, 0.5, 0.5, 0), 0, 0, 0.5);
  EXPECT_HSL(hsl(1e-6, 0, 0, 0), 0, 1, 1e-6);
  EXPECT_HSL(hsl(1, 1, 0.9999995, 0), 0, 1 - 0.9999995, 1);
}

TEST(Color, PureRedHasHueOneNotZero) {
  EXPECT_HSL(hsl(1, 0, 0), 1, 1, 1);
  EXPECT_HSL(hsl(0, 1, 0), 1 / 3.0, 1, 1);
  EXPECT_HSL(hsl(0, 0, 1), 2 / 3.0, 1, 1);
  EXPECT_HSL(hsl(1, 1, 0), 1 / 6.0, 1, 1);
  EXPECT_HSL(hsl(0, 1, 1), 0.5, 1, 1);
  EXPECT_HSL(hsl(1, 0, 1), 5 / 6.0, 1, 1);
  EXPECT_HSL(hsl(0.5, 0.25, 0), 1 / 12.0, 1, 0.5);
  EXPECT_HSL(hsl(0.25, 0.5, 0.25), 1 / 3.0, 0.5, 0.5);
}

TEST(Color, HueToChannels) {
  EXPECT_RGB(rgb(0, 1, 1), 1, 0, 0);
  EXPECT_RGB(rgb(1 / 6.0, 1, 1), 1, 1, 0);
  EXPECT_RGB(rgb(1 / 3.0, 1, 1), 0, 1, 0);
  EXPECT_RGB(rgb(0.5, 1, 1), 0, 1, 1);
  EXPECT_RGB(rgb(2 / 3.0, 1, 1), 0, 0, 1);
  EXPECT_RGB(rgb(1, 1, 1), 1, 0, 0);
  EXPECT_RGB(rgb(0.3, 0, 0.7), 0.7, 0.7, 0.7);
  EXPECT_RGB(rgb(0, 0.5, 0.5), 0.5, 0.25, 0.25);
}

TEST(Color, AHueOutsideTheTurnGivesNegativeChannels) {
  // A = -pi/3: blue 2(2pi + pi/3)/(2pi/3) = 7, clipped to 1; red 2(-pi/3 - 4pi/3)/(2pi/3) = -5.
  EXPECT_RGB(rgb(-1 / 6.0, 1, 1), -5, 0, 1);
  EXPECT_RGB(rgb(7 / 6.0, 1, 1), 1, 0, -1);
}

TEST(Color, ColoursComeBack) {
  q7test::Random random;
  for (int n = 0; n < 10000; ++n) {
    const double r = random.number(0, 1), g = random.number(0, 1), b = random.number(0, 1);
    const Q7ColorHSL c = hsl(r, g, b);
    EXPECT_TRUE(c.h > 0 && c.h <= 1 && c.s >= 0 && c.s <= 1);
    EXPECT_EQ(c.l, std::max({r, g, b}));
    const Q7ColorRGB back = rgb(c.h, c.s, c.l);
    EXPECT_TRUE(is3(back.red, back.green, back.blue, r, g, b, 1e-13));
  }
}

TEST(Color, TheConversionsWorkInPlace) {
  double c[3] = {0.5, 0.25, 0};
  EXPECT_EQ(Q7RgbToHsl(reinterpret_cast<Q7ColorHSL *>(c), reinterpret_cast<Q7ColorRGB *>(c)), 1);
  EXPECT_TRUE(is3(c[0], c[1], c[2], 1 / 12.0, 1, 0.5));
  Q7HslToRgb(reinterpret_cast<Q7ColorRGB *>(c), reinterpret_cast<Q7ColorHSL *>(c));
  EXPECT_TRUE(is3(c[0], c[1], c[2], 0.5, 0.25, 0));
}

TEST(Color, StreamingWritesAndReadsOneDoubleAMessage) {
  q7test::check_streaming<Q7Color>(4, Q7ColorWrite, Q7ColorRead);
  q7test::check_streaming<Q7ColorRGB>(3, Q7Color3Write, Q7Color3Read);
}

class ColorClass : public q7test::Core {};

uint64_t send(Q7Object *obj, uint32_t method, void *slot) {
  return obj->dispatch(obj->cl, obj, method, 0, 0, static_cast<Q7TagItem *>(slot));
}

TEST_F(ColorClass, RegisteringTwiceCreatesTheClassOnce) {
  EXPECT_EQ(Q7ClassFind(646), nullptr);
  EXPECT_EQ(Q7RegisterColorClass(&app_), 1);
  Q7Class *cl = Q7ClassFind(646);
  ASSERT_NE(cl, nullptr);
  EXPECT_STREQ(cl->header.name, "q7color");
  EXPECT_EQ(cl->super, Q7ClassFind(0));
  EXPECT_EQ(cl->isize, 32u);
  EXPECT_EQ(Q7RegisterColorClass(&app_), 1);
  EXPECT_EQ(Q7ClassFind(646), cl);
}

TEST_F(ColorClass, AFailedRegistrationCanBeRepeated) {
  {
    q7test::AllocGate gate;
    gate.fail(1, true);
    EXPECT_EQ(Q7RegisterColorClass(&app_), 0);
  }
  EXPECT_EQ(Q7ClassFind(646), nullptr);
  EXPECT_EQ(Q7RegisterColorClass(&app_), 1);
  EXPECT_NE(Q7ClassFind(646), nullptr);
}

TEST_F(ColorClass, AfterTheClassIsFreedItIsRegisteredAnew) {
  ASSERT_EQ(Q7RegisterColorClass(&app_), 1);
  Q7OopsFree(&app_);
  ASSERT_EQ(Q7OopsInit(&app_), 1);
  ASSERT_EQ(Q7RegisterRootClass(&app_), 1);
  EXPECT_EQ(Q7RegisterColorClass(&app_), 1);
  EXPECT_NE(Q7ClassFind(646), nullptr);
}

TEST_F(ColorClass, TheColourIsSetAtCreationAndLaterAndGot) {
  ASSERT_EQ(Q7RegisterColorClass(&app_), 1);
  const Q7Color first = {0.1, 0.2, 0.3, 0.4}, second = {0.5, 0.6, 0.7, 0.8};
  Q7Color got = {};
  Q7Object *plain = Q7ObjectCreate(646, 0);
  ASSERT_NE(plain, nullptr);
  Q7TagItem get[2] = {{646500, reinterpret_cast<uint64_t>(&got)}, {0, 0}};
  EXPECT_EQ(send(plain, 5, get), 0u);
  EXPECT_TRUE(q7test::same_bits(got, Q7Color{0, 0, 0, 0}));
  Q7ObjectDelete(plain);

  Q7Object *obj = Q7ObjectCreate(646, uint32_t{646500}, &first, 0);
  ASSERT_NE(obj, nullptr);
  EXPECT_EQ(send(obj, 5, get), 0u);
  EXPECT_TRUE(q7test::same_bits(got, first));
  Q7TagItem set[2] = {{646500, reinterpret_cast<uint64_t>(&second)}, {0, 0}};
  EXPECT_EQ(send(obj, 4, set), 0u);
  send(obj, 5, get);
  EXPECT_TRUE(q7test::same_bits(got, second));
  // The name is the superclass's and known; 646501 is nobody's and answered as unknown.
  const char *name = nullptr;
  Q7TagItem mixed[4] = {
      {513, reinterpret_cast<uint64_t>("amber")}, {646501, 0}, {646500, reinterpret_cast<uint64_t>(&first)}, {0, 0}};
  EXPECT_EQ(send(obj, 4, mixed), reinterpret_cast<uint64_t>(&mixed[1]));
  Q7TagItem names[2] = {{513, reinterpret_cast<uint64_t>(&name)}, {0, 0}};
  EXPECT_EQ(send(obj, 5, names), 0u);
  EXPECT_STREQ(name, "amber");
  send(obj, 5, get);
  EXPECT_TRUE(q7test::same_bits(got, first));
  Q7TagItem null_value[2] = {{646500, 0}, {0, 0}};
  EXPECT_EQ(send(obj, 4, null_value), 0u);
  EXPECT_EQ(send(obj, 5, null_value), 0u);
  EXPECT_EQ(send(obj, 4, nullptr), 0u);
  Q7ObjectDelete(obj);
}

TEST_F(ColorClass, StreamMessagesAskTheSuperclassFirst) {
  ASSERT_EQ(Q7RegisterColorClass(&app_), 1);
  const Q7Color color = {1, 2, 3, 4};
  Q7Object *obj = Q7ObjectCreate(646, uint32_t{646500}, &color, 0);
  q7test::Stream stream;
  EXPECT_EQ(send(obj, 5005, &stream), 0u);
  EXPECT_EQ(stream.messages, 0) << "the root class does not answer it";
  EXPECT_EQ(send(obj, 5000, &stream), 0u);
  EXPECT_EQ(stream.messages, 0);

  // Under a superclass that does answer, the colour is written and read.
  Q7Class *cl = Q7ClassFind(646);
  static Q7Dispatcher root;
  root = cl->superdispatch;
  cl->superdispatch = [](Q7Class *c, Q7Object *o, uint32_t method, uint64_t a, uint64_t b,
                         Q7TagItem *tags) -> uint64_t {
    return method == 5000 || method == 5005 ? 1 : root(c, o, method, a, b, tags);
  };
  EXPECT_EQ(send(obj, 5005, &stream), 1u);
  EXPECT_EQ(stream.values, (std::vector<double>{1, 2, 3, 4}));
  stream.values = {5, 6, 7, 8};
  EXPECT_EQ(send(obj, 5000, &stream), 1u);
  Q7Color got;
  Q7TagItem get[2] = {{646500, reinterpret_cast<uint64_t>(&got)}, {0, 0}};
  send(obj, 5, get);
  EXPECT_TRUE(q7test::same_bits(got, Q7Color{5, 6, 7, 8}));
  EXPECT_EQ(send(obj, 5000, &stream), 0u) << "the stream is at its end";
  EXPECT_EQ(send(obj, 5005, nullptr), 0u);
  cl->superdispatch = root;
  Q7ObjectDelete(obj);
}

TEST_F(ColorClass, AClassRecordHoldsNoColour) {
  ASSERT_EQ(Q7RegisterColorClass(&app_), 1);
  Q7Class *cl = Q7ClassFind(646);
  const Q7Class before = *cl;
  const Q7Color color = {1, 2, 3, 4};
  Q7Color got = {9, 9, 9, 9};
  Q7TagItem set[2] = {{646500, reinterpret_cast<uint64_t>(&color)}, {0, 0}};
  Q7TagItem get[2] = {{646500, reinterpret_cast<uint64_t>(&got)}, {0, 0}};
  send(&cl->header, 4, set);
  send(&cl->header, 5, get);
  EXPECT_EQ(std::memcmp(&before, cl, sizeof before), 0);
  EXPECT_TRUE(q7test::same_bits(got, Q7Color{9, 9, 9, 9}));
  q7test::Stream stream;
  EXPECT_EQ(send(&cl->header, 5000, &stream), 0u);
  EXPECT_EQ(cl->header.dispatch(cl, nullptr, 4, 0, 0, set), 0u);
}

TEST_F(ColorClass, CreationFailsCleanlyAtEveryAllocation) {
  ASSERT_EQ(Q7RegisterColorClass(&app_), 1);
  const Q7Color color = {1, 2, 3, 4};
  for (int64_t n = 1;; ++n) {
    q7test::AllocGate gate;
    gate.fail(n);
    Q7Object *obj = Q7ObjectCreate(646, uint32_t{646500}, &color, 0);
    gate.pass();
    if (gate.refused() == 0) {
      ASSERT_NE(obj, nullptr);
      Q7ObjectDelete(obj);
      break;
    }
    EXPECT_EQ(obj, nullptr);
    ASSERT_LT(n, 20);
  }
  EXPECT_EQ(Q7ClassFind(646)->ninstances, 0u);
}

}  // namespace
