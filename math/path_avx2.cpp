// path_avx2: four doubles a register. This file alone is compiled for machines with AVX2; nothing in it runs, and no
// inline function of a shared header may be used in it, unless the machine has that.
#include <immintrin.h>

#include "math/arraykernels.hpp"
#include "math/matrixkernels.hpp"
#include "math/paths.hpp"

namespace {

struct Four {
  __m256d v;

  static Four load(const double *p) { return {_mm256_loadu_pd(p)}; }
  static Four set1(double x) { return {_mm256_set1_pd(x)}; }
  void store(double *p) const { _mm256_storeu_pd(p, v); }
  friend Four operator+(Four a, Four b) { return {_mm256_add_pd(a.v, b.v)}; }
  friend Four operator-(Four a, Four b) { return {_mm256_sub_pd(a.v, b.v)}; }
  friend Four operator*(Four a, Four b) { return {_mm256_mul_pd(a.v, b.v)}; }
  friend Four operator/(Four a, Four b) { return {_mm256_div_pd(a.v, b.v)}; }
  Four yxxx() const { return {_mm256_permute4x64_pd(v, 0x01)}; }
  Four zzyy() const { return {_mm256_permute4x64_pd(v, 0x5a)}; }
  Four wwwz() const { return {_mm256_permute4x64_pd(v, 0xbf)}; }
  Four negate_yw() const { return {_mm256_xor_pd(v, _mm256_set_pd(-0.0, 0.0, -0.0, 0.0))}; }
  bool any_below(double limit) const {
    const __m256d magnitude = _mm256_andnot_pd(_mm256_set1_pd(-0.0), v);
    return _mm256_movemask_pd(_mm256_cmp_pd(magnitude, _mm256_set1_pd(limit), _CMP_LT_OQ)) != 0;
  }
  static void transpose(Four &a, Four &b, Four &c, Four &d) {
    const __m256d t0 = _mm256_unpacklo_pd(a.v, b.v), t1 = _mm256_unpackhi_pd(a.v, b.v);
    const __m256d t2 = _mm256_unpacklo_pd(c.v, d.v), t3 = _mm256_unpackhi_pd(c.v, d.v);
    a.v = _mm256_permute2f128_pd(t0, t2, 0x20);
    b.v = _mm256_permute2f128_pd(t1, t3, 0x20);
    c.v = _mm256_permute2f128_pd(t0, t2, 0x31);
    d.v = _mm256_permute2f128_pd(t1, t3, 0x31);
  }
};

// Eight doubles in two registers.
struct Eight {
  __m256d lo, hi;

  static Eight set1(double x) { return {_mm256_set1_pd(x), _mm256_set1_pd(x)}; }
  void store(double *p) const {
    _mm256_storeu_pd(p, lo);
    _mm256_storeu_pd(p + 4, hi);
  }
  friend Eight operator+(Eight a, Eight b) { return {_mm256_add_pd(a.lo, b.lo), _mm256_add_pd(a.hi, b.hi)}; }
  friend Eight operator-(Eight a, Eight b) { return {_mm256_sub_pd(a.lo, b.lo), _mm256_sub_pd(a.hi, b.hi)}; }
  friend Eight operator*(Eight a, Eight b) { return {_mm256_mul_pd(a.lo, b.lo), _mm256_mul_pd(a.hi, b.hi)}; }
  friend Eight operator/(Eight a, Eight b) { return {_mm256_div_pd(a.lo, b.lo), _mm256_div_pd(a.hi, b.hi)}; }
  Eight root() const { return {_mm256_sqrt_pd(lo), _mm256_sqrt_pd(hi)}; }

  static __m256d one_nan(__m256d v) { return _mm256_or_pd(v, _mm256_cmp_pd(v, v, _CMP_UNORD_Q)); }
  Eight one_nan() const { return {one_nan(lo), one_nan(hi)}; }
  bool all_equal(Eight b) const {
    return _mm256_movemask_pd(
               _mm256_and_pd(_mm256_cmp_pd(lo, b.lo, _CMP_EQ_OQ), _mm256_cmp_pd(hi, b.hi, _CMP_EQ_OQ))) == 15;
  }
  Eight zero_where_zero(Eight w) const {
    const __m256d zero = _mm256_setzero_pd();
    return {_mm256_andnot_pd(_mm256_cmp_pd(w.lo, zero, _CMP_EQ_OQ), lo),
            _mm256_andnot_pd(_mm256_cmp_pd(w.hi, zero, _CMP_EQ_OQ), hi)};
  }
  // a where the length is above the smallest normal number, else b.
  static Eight where_normal(Eight len, Eight a, Eight b) {
    const __m256d limit = _mm256_set1_pd(2.2250738585072014e-308);
    return {_mm256_blendv_pd(b.lo, a.lo, _mm256_cmp_pd(len.lo, limit, _CMP_GT_OQ)),
            _mm256_blendv_pd(b.hi, a.hi, _mm256_cmp_pd(len.hi, limit, _CMP_GT_OQ))};
  }

  static __m256i truncate(Eight v) {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(_mm256_cvttpd_epi32(v.lo)), _mm256_cvttpd_epi32(v.hi), 1);
  }
  static Eight from_ints(__m256i i) {
    return {_mm256_cvtepi32_pd(_mm256_castsi256_si128(i)), _mm256_cvtepi32_pd(_mm256_extracti128_si256(i, 1))};
  }
  static __m256i decrement_negative(__m256i i, Eight v) {
    const __m256d zero = _mm256_setzero_pd();
    const __m256 lo = _mm256_castpd_ps(_mm256_cmp_pd(v.lo, zero, _CMP_LT_OQ));
    const __m256 hi = _mm256_castpd_ps(_mm256_cmp_pd(v.hi, zero, _CMP_LT_OQ));
    // One 32-bit half of every 64-bit mask, back in the order of the points.
    const __m256i mixed = _mm256_castps_si256(_mm256_shuffle_ps(lo, hi, _MM_SHUFFLE(2, 0, 2, 0)));
    return _mm256_add_epi32(i, _mm256_permute4x64_epi64(mixed, _MM_SHUFFLE(3, 1, 2, 0)));
  }

  static void load_four(const double *p, __m256d &x, __m256d &y, __m256d &z) {
    const __m256d a = _mm256_loadu_pd(p), b = _mm256_loadu_pd(p + 4), c = _mm256_loadu_pd(p + 8);
    const __m256d xy02 = _mm256_permute2f128_pd(a, b, 0x30);
    const __m256d zx01 = _mm256_permute2f128_pd(a, c, 0x21);
    const __m256d yz13 = _mm256_permute2f128_pd(b, c, 0x30);
    x = _mm256_shuffle_pd(xy02, zx01, 0xa);
    y = _mm256_shuffle_pd(xy02, yz13, 0x5);
    z = _mm256_shuffle_pd(zx01, yz13, 0xa);
  }
  static void store_four(double *p, __m256d x, __m256d y, __m256d z) {
    const __m256d xy02 = _mm256_unpacklo_pd(x, y);
    const __m256d zx01 = _mm256_shuffle_pd(z, x, 0xa);
    const __m256d yz13 = _mm256_unpackhi_pd(y, z);
    _mm256_storeu_pd(p, _mm256_permute2f128_pd(xy02, zx01, 0x20));
    _mm256_storeu_pd(p + 4, _mm256_permute2f128_pd(yz13, xy02, 0x30));
    _mm256_storeu_pd(p + 8, _mm256_permute2f128_pd(zx01, yz13, 0x31));
  }
  static void load_points(const Q7Vector *p, Eight &x, Eight &y, Eight &z) {
    load_four(&p->x, x.lo, y.lo, z.lo);
    load_four(&p[4].x, x.hi, y.hi, z.hi);
  }
  static void store_points(Q7Vector *p, Eight x, Eight y, Eight z) {
    store_four(&p->x, x.lo, y.lo, z.lo);
    store_four(&p[4].x, x.hi, y.hi, z.hi);
  }

  // t[at[i]] and t[at[i] + 1] of eight points.
  static void load_four_pairs(const double *t, const uint32_t *at, __m256d &first, __m256d &second) {
    const __m256d pairs02 = _mm256_loadu2_m128d(t + at[2], t + at[0]);
    const __m256d pairs13 = _mm256_loadu2_m128d(t + at[3], t + at[1]);
    first = _mm256_unpacklo_pd(pairs02, pairs13);
    second = _mm256_unpackhi_pd(pairs02, pairs13);
  }
  static void load_pairs(const double *t, const uint32_t *at, Eight &first, Eight &second) {
    load_four_pairs(t, at, first.lo, second.lo);
    load_four_pairs(t, at + 4, first.hi, second.hi);
  }
};

}  // namespace

namespace q7 {

constinit const Q7MathPath avx2_path = {"avx2",
                                        concat<Four>,
                                        invert<Four>,
                                        transform_array<Eight>,
                                        transform_l_array<Eight>,
                                        norm_array<Eight>,
                                        noise_array<Eight>,
                                        smooth_noise_array<Eight>,
                                        vec_noise_array<Eight>};

}  // namespace q7
