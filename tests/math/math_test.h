// math_test: what the tests of the geometry share: random values, comparisons that show both sides, and a stream in
// memory whose n-th message fails.
#ifndef Q7_TESTS_MATH_MATH_TEST_H
#define Q7_TESTS_MATH_MATH_TEST_H

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "core/q7oops.h"
#include "math/q7color.h"
#include "math/q7coordsys.h"
#include "math/q7noise.h"
#include "math/q7quat.h"
#include "math/q7wide.h"
#include "tests/support/test_support.h"

namespace q7test {

// A number with all its digits.
inline std::string digits(double value) {
  char text[40];
  std::snprintf(text, sizeof text, "%.17g", value);
  return text;
}

constexpr double kPi = 3.141592653589793;
constexpr double kTwoPi = 6.283185307179586;
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Random values that are the same in every run.
class Random {
 public:
  explicit Random(uint64_t seed = 1) : engine_(seed) {}
  double number(double low = -1, double high = 1) { return std::uniform_real_distribution<double>(low, high)(engine_); }
  int integer(int low, int high) { return std::uniform_int_distribution<int>(low, high)(engine_); }
  Q7Vector vector(double size = 1) { return {number(-size, size), number(-size, size), number(-size, size)}; }
  Q7Vector4 vector4(double size = 1) {
    return {number(-size, size), number(-size, size), number(-size, size), number(-size, size)};
  }
  Q7Vector unit() {
    for (;;) {
      Q7Vector v = vector();
      const double length = std::sqrt(v.x * v.x + v.y * v.y + v.z * v.z);
      if (length > 0.1 && length < 1) return {v.x / length, v.y / length, v.z / length};
    }
  }
  Q7Matrix matrix(double size = 1) {
    Q7Matrix m;
    for (auto &row : m.m) {
      for (double &e : row) e = number(-size, size);
    }
    return m;
  }
  // A right-handed orthonormal frame, worked out without the library.
  Q7CoordSys frame() {
    const Q7Vector h = unit(), other = unit();
    Q7Vector n = {h.y * other.z - h.z * other.y, h.z * other.x - h.x * other.z, h.x * other.y - h.y * other.x};
    const double length = std::sqrt(n.x * n.x + n.y * n.y + n.z * n.z);
    n = {n.x / length, n.y / length, n.z / length};
    const Q7Vector v = {n.y * h.z - n.z * h.y, n.z * h.x - n.x * h.z, n.x * h.y - n.y * h.x};
    return {vector(10), h, v, n};
  }

 private:
  std::mt19937_64 engine_;
};

template <class T>
::testing::AssertionResult same_bits(const T &a, const T &b) {
  if (std::memcmp(&a, &b, sizeof(T)) == 0) return ::testing::AssertionSuccess();
  auto result = ::testing::AssertionFailure();
  double x[sizeof(T) / 8], y[sizeof(T) / 8];
  std::memcpy(x, &a, sizeof x);
  std::memcpy(y, &b, sizeof y);
  for (size_t i = 0; i < sizeof(T) / 8; ++i)
    result << "[" << i << "] " << digits(x[i]) << " / " << digits(y[i]) << "  ";
  return result;
}

inline ::testing::AssertionResult is(const Q7Vector &v, double x, double y, double z, double eps = 0) {
  if (std::fabs(v.x - x) <= eps && std::fabs(v.y - y) <= eps && std::fabs(v.z - z) <= eps) {
    return ::testing::AssertionSuccess();
  }
  return ::testing::AssertionFailure() << "(" << digits(v.x) << ", " << digits(v.y) << ", " << digits(v.z)
                                       << ") is not (" << digits(x) << ", " << digits(y) << ", " << digits(z) << ")";
}
inline ::testing::AssertionResult is(const Q7Vector &v, const Q7Vector &w, double eps = 0) {
  return is(v, w.x, w.y, w.z, eps);
}
inline ::testing::AssertionResult is(const Q7Vector4 &v, double x, double y, double z, double w, double eps = 0) {
  if (std::fabs(v.x - x) <= eps && std::fabs(v.y - y) <= eps && std::fabs(v.z - z) <= eps &&
      std::fabs(v.w - w) <= eps) {
    return ::testing::AssertionSuccess();
  }
  return ::testing::AssertionFailure() << "(" << v.x << ", " << v.y << ", " << v.z << ", " << v.w << ") is not (" << x
                                       << ", " << y << ", " << z << ", " << w << ")";
}
inline ::testing::AssertionResult is(const Q7Matrix &a, const Q7Matrix &b, double eps = 0) {
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 4; ++j) {
      if (!(std::fabs(a.m[i][j] - b.m[i][j]) <= eps)) {
        auto result = ::testing::AssertionFailure();
        return result << "[" << i << "][" << j << "] " << a.m[i][j] << " is not " << b.m[i][j];
      }
    }
  }
  return ::testing::AssertionSuccess();
}

inline double dot(const Q7Vector &a, const Q7Vector &b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline Q7Vector cross(const Q7Vector &a, const Q7Vector &b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline double length(const Q7Vector &a) { return std::sqrt(dot(a, a)); }

// A stream object in memory: takes and gives doubles, and answers 0 to its n-th message.
struct Stream {
  Q7Object object{};
  Q7Class record{};
  std::vector<double> values;
  size_t next = 0;
  int fail_at = 0;  // 1: the first message
  int messages = 0;
  bool well_formed = true;  // every message had its own class, no other arguments and an address

  Stream() {
    object.cl = &record;
    object.dispatch = &Stream::dispatch;
  }
  Q7Object *operator&() { return &object; }

  static uint64_t dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
    auto *self = reinterpret_cast<Stream *>(obj);
    self->well_formed = self->well_formed && cl == obj->cl && a == 0 && b == 0 && tags;
    if (++self->messages == self->fail_at) return 0;
    double *address = reinterpret_cast<double *>(tags);
    if (method == 5008) {
      self->values.push_back(*address);
      return 1;
    }
    if (method == 5003 && self->next < self->values.size()) {
      *address = self->values[self->next++];
      return 1;
    }
    return 0;
  }
};

// Checks the streaming of a value of `count` doubles: order, messages, and the stop at each failing one.
template <class T, class Write, class Read>
void check_streaming(int count, Write write, Read read) {
  static_assert(sizeof(T) % 8 == 0);
  T value, back;
  double numbers[sizeof(T) / 8] = {};
  for (int i = 0; i < count; ++i) numbers[i] = 1.5 * i - 2;
  std::memcpy(static_cast<void *>(&value), numbers, sizeof(T));
  Stream stream;
  EXPECT_EQ(write(&value, &stream), 1);
  EXPECT_TRUE(stream.well_formed);
  EXPECT_EQ(stream.values, std::vector<double>(numbers, numbers + count));
  std::memset(static_cast<void *>(&back), 0, sizeof back);
  EXPECT_EQ(read(&back, &stream), 1);
  EXPECT_EQ(std::memcmp(&back, &value, sizeof(T)), 0);
  EXPECT_EQ(read(&back, &stream), 0) << "behind the end";
  for (int n = 1; n <= count; ++n) {
    Stream failing;
    failing.fail_at = n;
    EXPECT_EQ(write(&value, &failing), 0) << n;
    EXPECT_EQ(failing.messages, n);
    EXPECT_EQ(failing.values.size(), static_cast<size_t>(n - 1));
    failing.values.assign(numbers, numbers + count);
    failing.messages = 0;
    EXPECT_EQ(read(&back, &failing), 0) << n;
    EXPECT_EQ(failing.messages, n);
  }
  EXPECT_EQ(write(&value, nullptr), 0);
  EXPECT_EQ(read(&back, nullptr), 0);
  Stream other;
  EXPECT_EQ(write(nullptr, &other), 0);
  EXPECT_EQ(read(nullptr, &other), 0);
}

// Calls f(destination, operands...) with a separate destination and then with each operand as the destination, and
// compares the bits of the results.
template <class T, class F, class... Operands>
void check_aliasing(const char *name, F f, const Operands &...operands) {
  constexpr size_t count = sizeof...(Operands);
  const T original[count] = {operands...};
  auto call = [&](T *destination, T *values) {
    [&]<size_t... I>(std::index_sequence<I...>) { f(destination, values + I...); }
    (std::make_index_sequence<count>());
  };
  T values[count], separate;
  std::memcpy(values, original, sizeof values);
  std::memset(&separate, 0, sizeof separate);
  call(&separate, values);
  for (size_t i = 0; i < count; ++i) {
    std::memcpy(values, original, sizeof values);
    call(values + i, values);
    EXPECT_TRUE(same_bits(values[i], separate)) << name << ", operand " << i;
  }
}

}  // namespace q7test

#endif
