// paths: what the one-point functions and all paths of the wide ones share: the arithmetic of one point, written once,
// and the table of the chosen path.
#ifndef Q7_MATH_PATHS_HPP
#define Q7_MATH_PATHS_HPP

#include <emmintrin.h>

#include "math/q7wide.h"

namespace q7 {

// The paths; those that the machine cannot run are never called.
extern const Q7MathPath baseline_path, avx2_path, avx512_path;

// The chosen path. It starts as the baseline and is written once, while the library is loaded, before any thread can
// call; code that runs earlier than that gets the same bits from the baseline.
extern Q7MathPath active_path;

// Inverts a matrix of which the paths found that some column's product is below the limit. c are the cross products, d
// the products of the columns with them.
int32_t invert_singular(Q7Matrix *r, const Q7Matrix &m, const double (*c)[4], const double *d);
constexpr double singular_limit = 1e-40;

// The one NaN of all paths: which operand's NaN an instruction hands on depends on the order the compiler chose.
inline __m128d one_nan(__m128d v) { return _mm_or_pd(v, _mm_cmpunord_pd(v, v)); }
inline double one_nan(double v) { return _mm_cvtsd_f64(one_nan(_mm_set_sd(v))); }

inline double transform_row(const double *row, const Q7Vector &p) {
  return row[0] * p.x + row[1] * p.y + row[2] * p.z + row[3];
}

inline void transform_point(Q7Vector &r, const Q7Matrix &m, const Q7Vector &source) {
  const Q7Vector p = source;
  const double w = transform_row(m.m[3], p);
  const double x = transform_row(m.m[0], p), y = transform_row(m.m[1], p), z = transform_row(m.m[2], p);
  if (w == 1) {  // dividing by 1 changes nothing and takes longer than all the rest
    r = {one_nan(x), one_nan(y), one_nan(z)};
  } else if (w == 0) {
    r = {0, 0, 0};
  } else {
    // Two quotients at a time.
    const __m128d xy = one_nan(_mm_div_pd(_mm_set_pd(y, x), _mm_set1_pd(w)));
    _mm_storeu_pd(&r.x, xy);
    r.z = one_nan(z / w);
  }
}

inline void transform_direction(Q7Vector &r, const Q7Matrix &m, const Q7Vector &source) {
  const Q7Vector v = source;
  auto row = [&m, &v](int i) { return one_nan(m.m[i][0] * v.x + m.m[i][1] * v.y + m.m[i][2] * v.z); };
  r = {row(0), row(1), row(2)};
}

}  // namespace q7

#endif
