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

  // The values of a row of four lattice points, in 64-bit lanes.
  struct RowValues {
    __m512i four;
    explicit RowValues(const Quads &q) : four(_mm512_inserti64x4(_mm512_castsi256_si512(q.low), q.high, 1)) {}
    template <int k>
    Eight get() const {
      // One byte shuffle moves value k to the bottom of its lane and clears the rest.
      constexpr int64_t lane0 = static_cast<int64_t>(0x8080808080800000) | ((2 * k + 1) << 8) | (2 * k);
      constexpr int64_t lane1 = lane0 + 0x0808;
      const __m512i pick = _mm512_set_epi64(lane1, lane0, lane1, lane0, lane1, lane0, lane1, lane0);
      return {_mm512_cvtepi64_pd(_mm512_shuffle_epi8(four, pick))};
    }
  };
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
