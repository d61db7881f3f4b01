/* q7wide: the geometry and noise functions that renderers call a million times, for n points at once, and the paths
 * they take.
 *
 * Every function has one implementation a path: "baseline" (any x86-64), "avx2" and "avx512". The best one that the
 * machine can run is chosen once, when the library is loaded; it never changes afterwards. All paths and the one-point
 * functions give the same bits for the same arguments (no fused multiply-add, the same order of operations; a result
 * that is not a number is the one NaN whose bits are all ones), so a picture does not depend on the machine.
 *
 * Arrays: n values in, n values out; n <= 0 does nothing. Where points come out, the destination may be the source
 * itself; otherwise arrays do not overlap. Any thread; no allocation. */
#ifndef Q7_MATH_Q7WIDE_H
#define Q7_MATH_Q7WIDE_H

#include "math/q7matrix.h"

Q7_BEGIN_DECLS

/** r[i] = Q7MxTransform of p[i]. */
Q7_API void Q7MxTransformArray(Q7Vector *r, const Q7Matrix *m, const Q7Vector *p, int32_t n);
/** r[i] = Q7MxTransformL of v[i]. */
Q7_API void Q7MxTransformLArray(Q7Vector *r, const Q7Matrix *m, const Q7Vector *v, int32_t n);
/** VNorm of each vector, in place. */
Q7_API void VNormArray(Q7Vector *v, int32_t n);
/** r[i] = Q7Noise3D of p[i], 0..32767. */
Q7_API void Q7Noise3DArray(double *r, const Q7Vector *p, int32_t n);
/** r[i] = _Q7SmoothNoise of p[i], 0..32767. */
Q7_API void Q7SmoothNoise3DArray(double *r, const Q7Vector *p, int32_t n);
/** r[i] = Q7VecNoise3D of p[i], each component 0..32767. */
Q7_API void Q7VecNoise3DArray(Q7Vector *r, const Q7Vector *p, int32_t n);
/** r[i] = Q7VectorNoise of p[i], 0..1. */
Q7_API void Q7VectorNoiseArray(double *r, const Q7Vector *p, int32_t n, int32_t octaves, double f);
/** r[i] = Q7SmoothNoise of p[i], 0..1. */
Q7_API void Q7SmoothNoiseArray(double *r, const Q7Vector *p, int32_t n, int32_t octaves, double f);

/** One path: its name and its implementations, with the arguments of the functions above and of Q7MxConcat and
 * Q7MxInvert. Lets tests and benchmarks run any path that the machine has; everybody else calls the functions. */
typedef struct Q7MathPath {
  const char *name; /**< "baseline", "avx2" or "avx512". */
  Q7Matrix *(*concat)(Q7Matrix *r, const Q7Matrix *a, const Q7Matrix *b);
  int32_t (*invert)(Q7Matrix *r, const Q7Matrix *m);
  void (*transform_array)(Q7Vector *r, const Q7Matrix *m, const Q7Vector *p, int32_t n);
  void (*transform_l_array)(Q7Vector *r, const Q7Matrix *m, const Q7Vector *v, int32_t n);
  void (*norm_array)(Q7Vector *v, int32_t n);
  void (*noise_array)(double *r, const Q7Vector *p, int32_t n);
  void (*smooth_noise_array)(double *r, const Q7Vector *p, int32_t n);
  void (*vec_noise_array)(Q7Vector *r, const Q7Vector *p, int32_t n);
} Q7MathPath;

/** The path number index, from 0 for "baseline" to the one that the functions use; null beyond it. */
Q7_API const Q7MathPath *Q7MathPathAt(int32_t index);

Q7_END_DECLS

#endif
