// octaves: fractal sums of a noise function, of a whole or a fractional number of octaves.
#ifndef Q7_MATH_OCTAVES_HPP
#define Q7_MATH_OCTAVES_HPP

#include <cmath>

#include "math/paths.hpp"
#include "math/values.hpp"

namespace q7 {

inline Q7Vector *put(Q7Vector *r, const Q7Vector &v) {
  *r = v;
  return r;
}

inline double finished(double v) { return one_nan(v); }
inline Q7Vector finished(const Q7Vector &v) { return {one_nan(v.x), one_nan(v.y), one_nan(v.z)}; }

inline Q7Vector scaled(double s, const Q7Vector &p) { return {s * p.x, s * p.y, s * p.z}; }
inline Q7Vector4 scaled(double s, const Q7Vector4 &p) { return {s * p.x, s * p.y, s * p.z, s * p.w}; }

// The sum so far. Octave n has frequency s = f^n and weight 1 / s.
template <class Value>
struct OctaveSum {
  Value sum{};
  double weights = 0;
  double s = 1;

  template <class P, class Base>
  void add(const P &p, double part, Base base) {
    const double w = part / s;
    sum = sum + w * base(scaled(s, p));
    weights = weights + w;
  }
  template <class P, class Base>
  void add_whole(const P &p, int32_t octaves, double f, Base base) {
    for (int32_t n = 0; n < octaves; ++n) {
      add(p, 1, base);
      s = s * f;
    }
  }
};

// `range` is the largest value of the base function; no octave at all gives 0/0.
template <class P, class Base>
auto whole_octaves(const P &p, int32_t octaves, double f, double range, Base base) {
  OctaveSum<decltype(base(p))> total;
  total.add_whole(p, octaves, f, base);
  return finished(total.sum / (total.weights * range));
}

template <class P, class Base>
auto fractional_octaves(const P &p, double octaves, double f, double range, Base base) {
  const double whole = std::floor(octaves);
  const int32_t n = whole >= 2147483647.0 ? 2147483647 : whole > 0 ? static_cast<int32_t>(whole) : 0;
  OctaveSum<decltype(base(p))> total;
  total.add_whole(p, n, f, base);
  const double rest = octaves - whole;
  if (rest > 1e-8) total.add(p, rest, base);
  return finished(total.sum / (total.weights * range));
}

}  // namespace q7

#endif
