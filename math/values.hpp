// values: the vector as a value, for the room's own code: operators that write out one line of arithmetic each, always
// in the order x, y, z and left to right, so that every caller gets the same bits.
#ifndef Q7_MATH_VALUES_HPP
#define Q7_MATH_VALUES_HPP

#include <cmath>

#include "math/q7vector.h"

inline Q7Vector operator+(const Q7Vector &a, const Q7Vector &b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
inline Q7Vector operator-(const Q7Vector &a, const Q7Vector &b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
inline Q7Vector operator-(const Q7Vector &a) { return {-a.x, -a.y, -a.z}; }
inline Q7Vector operator*(double s, const Q7Vector &a) { return {s * a.x, s * a.y, s * a.z}; }
inline Q7Vector operator/(const Q7Vector &a, double s) { return {a.x / s, a.y / s, a.z / s}; }

namespace q7 {

constexpr double pi = 3.141592653589793;
constexpr double two_pi = 6.283185307179586;
constexpr double half_pi = 1.5707963267948966;
constexpr double smallest_normal = 2.2250738585072014e-308;

inline double dot(const Q7Vector &a, const Q7Vector &b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline double length(const Q7Vector &a) { return std::sqrt(dot(a, a)); }
inline Q7Vector cross(const Q7Vector &a, const Q7Vector &b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

struct SinCos {
  double s, c;
  explicit SinCos(double angle) : s(std::sin(angle)), c(std::cos(angle)) {}
};

// An angle of atan2 in (-pi, pi]: a negative zero must not turn pi into -pi.
inline double atan2_upper(double s, double c) {
  const double angle = std::atan2(s, c);
  return angle <= -pi ? pi : angle;
}

}  // namespace q7

#endif
