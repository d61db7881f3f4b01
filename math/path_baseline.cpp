// path_baseline: the path that every x86-64 machine can run. Matrices go two doubles at a time, arrays point by point.
#include <emmintrin.h>

#include <cmath>

#include "math/matrixkernels.hpp"
#include "math/noisebase.hpp"
#include "math/paths.hpp"

namespace {

struct Four {
  __m128d lo, hi;

  static Four load(const double *p) { return {_mm_loadu_pd(p), _mm_loadu_pd(p + 2)}; }
  static Four set1(double v) { return {_mm_set1_pd(v), _mm_set1_pd(v)}; }
  void store(double *p) const {
    _mm_storeu_pd(p, lo);
    _mm_storeu_pd(p + 2, hi);
  }
  friend Four operator+(Four a, Four b) { return {_mm_add_pd(a.lo, b.lo), _mm_add_pd(a.hi, b.hi)}; }
  friend Four operator-(Four a, Four b) { return {_mm_sub_pd(a.lo, b.lo), _mm_sub_pd(a.hi, b.hi)}; }
  friend Four operator*(Four a, Four b) { return {_mm_mul_pd(a.lo, b.lo), _mm_mul_pd(a.hi, b.hi)}; }
  friend Four operator/(Four a, Four b) { return {_mm_div_pd(a.lo, b.lo), _mm_div_pd(a.hi, b.hi)}; }
  Four yxxx() const { return {_mm_shuffle_pd(lo, lo, 1), _mm_unpacklo_pd(lo, lo)}; }
  Four zzyy() const { return {_mm_unpacklo_pd(hi, hi), _mm_unpackhi_pd(lo, lo)}; }
  Four wwwz() const { return {_mm_unpackhi_pd(hi, hi), _mm_shuffle_pd(hi, hi, 1)}; }
  Four negate_yw() const {
    const __m128d sign = _mm_set_pd(-0.0, 0.0);
    return {_mm_xor_pd(lo, sign), _mm_xor_pd(hi, sign)};
  }
  bool any_below(double limit) const {
    const __m128d sign = _mm_set1_pd(-0.0), bound = _mm_set1_pd(limit);
    const __m128d below =
        _mm_or_pd(_mm_cmplt_pd(_mm_andnot_pd(sign, lo), bound), _mm_cmplt_pd(_mm_andnot_pd(sign, hi), bound));
    return _mm_movemask_pd(below) != 0;
  }
  static void transpose(Four &a, Four &b, Four &c, Four &d) {
    const Four x = {_mm_unpacklo_pd(a.lo, b.lo), _mm_unpacklo_pd(c.lo, d.lo)};
    const Four y = {_mm_unpackhi_pd(a.lo, b.lo), _mm_unpackhi_pd(c.lo, d.lo)};
    const Four z = {_mm_unpacklo_pd(a.hi, b.hi), _mm_unpacklo_pd(c.hi, d.hi)};
    const Four w = {_mm_unpackhi_pd(a.hi, b.hi), _mm_unpackhi_pd(c.hi, d.hi)};
    a = x;
    b = y;
    c = z;
    d = w;
  }
};

void transform_array(Q7Vector *r, const Q7Matrix *m, const Q7Vector *p, int32_t n) {
  for (int32_t i = 0; i < n; ++i) q7::transform_point(r[i], *m, p[i]);
}

void transform_l_array(Q7Vector *r, const Q7Matrix *m, const Q7Vector *v, int32_t n) {
  for (int32_t i = 0; i < n; ++i) q7::transform_direction(r[i], *m, v[i]);
}

void norm_array(Q7Vector *v, int32_t n) {
  for (int32_t i = 0; i < n; ++i) VNorm(v + i);
}

void noise_array(double *r, const Q7Vector *p, int32_t n) {
  for (int32_t i = 0; i < n; ++i) r[i] = q7::noise_3d(p[i]);
}

void smooth_noise_array(double *r, const Q7Vector *p, int32_t n) {
  for (int32_t i = 0; i < n; ++i) r[i] = q7::smooth_noise_3d(p[i]);
}

void vec_noise_array(Q7Vector *r, const Q7Vector *p, int32_t n) {
  for (int32_t i = 0; i < n; ++i) Q7VecNoise3D(r + i, p + i);
}

}  // namespace

namespace q7 {

constinit const Q7MathPath baseline_path = {"baseline",      concat<Four>,       invert<Four>,
                                            transform_array, transform_l_array,  norm_array,
                                            noise_array,     smooth_noise_array, vec_noise_array};

}  // namespace q7
