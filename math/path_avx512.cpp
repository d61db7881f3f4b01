// path_avx512: eight doubles a register. This file alone is compiled for machines with AVX-512 (F, DQ, BW, VL); nothing
// in it runs, and no inline function of a shared header may be used in it, unless the machine has that. Matrices are
// four doubles wide and stay with AVX2.
#include <immintrin.h>

#include "math/arraykernels.hpp"
#include "math/paths.hpp"

namespace {

struct Eight {
  __m512d v;

  static Eight set1(double x) { return {_mm512_set1_pd(x)}; }
  void store(double *p) const { _mm512_storeu_pd(p, v); }
  friend Eight operator+(Eight a, Eight b) { return {_mm512_add_pd(a.v, b.v)}; }
  friend Eight operator-(Eight a, Eight b) { return {_mm512_sub_pd(a.v, b.v)}; }
  friend Eight operator*(Eight a, Eight b) { return {_mm512_mul_pd(a.v, b.v)}; }
  friend Eight operator/(Eight a, Eight b) { return {_mm512_div_pd(a.v, b.v)}; }
  Eight root() const { return {_mm512_sqrt_pd(v)}; }

  Eight one_nan() const {
    const __mmask8 nan = _mm512_cmp_pd_mask(v, v, _CMP_UNORD_Q);
    return {_mm512_mask_mov_pd(v, nan, _mm512_castsi512_pd(_mm512_set1_epi64(-1)))};
  }
  bool all_equal(Eight b) const { return _mm512_cmp_pd_mask(v, b.v, _CMP_EQ_OQ) == 0xff; }
  Eight zero_where_zero(Eight w) const {
    return {_mm512_maskz_mov_pd(_mm512_cmp_pd_mask(w.v, _mm512_setzero_pd(), _CMP_NEQ_UQ), v)};
  }
  // a where the length is above the smallest normal number, else b.
  static Eight where_normal(Eight len, Eight a, Eight b) {
    const __mmask8 normal = _mm512_cmp_pd_mask(len.v, _mm512_set1_pd(2.2250738585072014e-308), _CMP_GT_OQ);
    return {_mm512_mask_mov_pd(b.v, normal, a.v)};
  }

  static __m256i truncate(Eight a) { return _mm512_cvttpd_epi32(a.v); }
  static Eight from_ints(__m256i i) { return {_mm512_cvtepi32_pd(i)}; }
  static __m256i decrement_negative(__m256i i, Eight a) {
    const __mmask8 negative = _mm512_cmp_pd_mask(a.v, _mm512_setzero_pd(), _CMP_LT_OQ);
    return _mm256_mask_sub_epi32(i, negative, i, _mm256_set1_epi32(1));
  }

  // Components of 8 points lie at 0, 3, 6, 9 ... of 24 doubles; index 8 and up means the second operand.
  static void load_points(const Q7Vector *p, Eight &x, Eight &y, Eight &z) {
    const double *d = &p->x;
    const __m512d a = _mm512_loadu_pd(d), b = _mm512_loadu_pd(d + 8), c = _mm512_loadu_pd(d + 16);
    const __m512d x0 = _mm512_permutex2var_pd(a, _mm512_setr_epi64(0, 3, 6, 9, 12, 15, 0, 0), b);
    const __m512d y0 = _mm512_permutex2var_pd(a, _mm512_setr_epi64(1, 4, 7, 10, 13, 0, 0, 0), b);
    const __m512d z0 = _mm512_permutex2var_pd(a, _mm512_setr_epi64(2, 5, 8, 11, 14, 0, 0, 0), b);
    x.v = _mm512_permutex2var_pd(x0, _mm512_setr_epi64(0, 1, 2, 3, 4, 5, 10, 13), c);
    y.v = _mm512_permutex2var_pd(y0, _mm512_setr_epi64(0, 1, 2, 3, 4, 8, 11, 14), c);
    z.v = _mm512_permutex2var_pd(z0, _mm512_setr_epi64(0, 1, 2, 3, 4, 9, 12, 15), c);
  }
  static void store_points(Q7Vector *p, Eight x, Eight y, Eight z) {
    double *d = &p->x;
    const __m512d a = _mm512_permutex2var_pd(x.v, _mm512_setr_epi64(0, 8, 0, 1, 9, 0, 2, 10), y.v);
    const __m512d b = _mm512_permutex2var_pd(x.v, _mm512_setr_epi64(0, 3, 11, 0, 4, 12, 0, 5), y.v);
    const __m512d c = _mm512_permutex2var_pd(x.v, _mm512_setr_epi64(13, 0, 6, 14, 0, 7, 15, 0), y.v);
    _mm512_storeu_pd(d, _mm512_permutex2var_pd(a, _mm512_setr_epi64(0, 1, 8, 3, 4, 9, 6, 7), z.v));
    _mm512_storeu_pd(d + 8, _mm512_permutex2var_pd(b, _mm512_setr_epi64(10, 1, 2, 11, 4, 5, 12, 7), z.v));
    _mm512_storeu_pd(d + 16, _mm512_permutex2var_pd(c, _mm512_setr_epi64(0, 13, 2, 3, 14, 5, 6, 15), z.v));
  }

  // t[at[i]] and t[at[i] + 1] of eight points. A masked broadcast puts a pair into its lane without using the shuffle
  // unit.
  static __m512d four_pairs(const double *t, const uint32_t *at) {
    const auto pair = [=](int i) { return _mm_loadu_pd(t + at[2 * i]); };
    __m512d v = _mm512_castpd128_pd512(pair(0));
    v = _mm512_mask_broadcast_f64x2(v, 0x0c, pair(1));
    v = _mm512_mask_broadcast_f64x2(v, 0x30, pair(2));
    return _mm512_mask_broadcast_f64x2(v, 0xc0, pair(3));
  }
  static void load_pairs(const double *t, const uint32_t *at, Eight &first, Eight &second) {
    const __m512d even = four_pairs(t, at), odd = four_pairs(t, at + 1);
    first.v = _mm512_unpacklo_pd(even, odd);
    second.v = _mm512_unpackhi_pd(even, odd);
  }
};

}  // namespace

namespace q7 {

constinit const Q7MathPath avx512_path = {"avx512",
                                          nullptr,  // as on AVX2
                                          nullptr,
                                          transform_array<Eight>,
                                          transform_l_array<Eight>,
                                          norm_array<Eight>,
                                          noise_array<Eight>,
                                          smooth_noise_array<Eight>,
                                          vec_noise_array<Eight>};

}  // namespace q7
