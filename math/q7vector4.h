/* q7vector4: homogeneous points (x, y, z, w) and their arithmetic; the four-dimensional cross product on which matrix
 * inversion stands. Conventions are those of q7vector.h: destination first, may be an operand, V4Sub is b - a. */
#ifndef Q7_MATH_Q7VECTOR4_H
#define Q7_MATH_Q7VECTOR4_H

#include "math/q7vector.h"

Q7_BEGIN_DECLS

/** Four components: 32 bytes. As a homogeneous point it stands for (x/w, y/w, z/w). */
typedef struct Q7Vector4 {
  double x;
  double y;
  double z;
  double w;
} Q7Vector4;

/** r = (x, y, z, w). @return r */
Q7_API Q7Vector4 *V4Set(Q7Vector4 *r, double x, double y, double z, double w);
/** r = a + b. @return r */
Q7_API Q7Vector4 *V4Add(Q7Vector4 *r, const Q7Vector4 *a, const Q7Vector4 *b);
/** a = a + b. @return a */
Q7_API Q7Vector4 *V4FAdd(Q7Vector4 *a, const Q7Vector4 *b);
/** r = b - a: the second operand is subtracted from the third, as in VSub. @return r */
Q7_API Q7Vector4 *V4Sub(Q7Vector4 *r, const Q7Vector4 *a, const Q7Vector4 *b);
/** a = a - b: the ordinary order. @return a */
Q7_API Q7Vector4 *V4FSub(Q7Vector4 *a, const Q7Vector4 *b);
/** r = s a. @return r */
Q7_API Q7Vector4 *V4Mul(Q7Vector4 *r, double s, const Q7Vector4 *a);
/** a = s a. @return a */
Q7_API Q7Vector4 *V4FMul(Q7Vector4 *a, double s);
/** r = a / s. @return r */
Q7_API Q7Vector4 *V4Div(Q7Vector4 *r, double s, const Q7Vector4 *a);
/** a = a / s. @return a */
Q7_API Q7Vector4 *V4FDiv(Q7Vector4 *a, double s);
/** a = -a. @return a */
Q7_API Q7Vector4 *V4Neg(Q7Vector4 *a);
/** r = a b, component by component. @return r */
Q7_API Q7Vector4 *C4Mul(Q7Vector4 *r, const Q7Vector4 *a, const Q7Vector4 *b);
/** a = a b, component by component. @return a */
Q7_API Q7Vector4 *C4FMul(Q7Vector4 *a, const Q7Vector4 *b);
/** r = a / d, component by component. Unlike CDiv no zero divisor is replaced: infinities and NaN come out. @return r
 */
Q7_API Q7Vector4 *C4Div(Q7Vector4 *r, const Q7Vector4 *d, const Q7Vector4 *a);
/** a = a / d, component by component, plain division. @return a */
Q7_API Q7Vector4 *C4FDiv(Q7Vector4 *a, const Q7Vector4 *d);
/** The four-component scalar product. */
Q7_API double P4Mul(const Q7Vector4 *a, const Q7Vector4 *b);
/** The length, sqrt(a . a). */
Q7_API double V4Len(const Q7Vector4 *a);
/** Normalises a; if the length is not above the smallest normal double only x is set to 1. @return the length before */
Q7_API double V4Norm(Q7Vector4 *a);
/** r = a - (a . n) n for a unit n. @return r */
Q7_API Q7Vector4 *V4OrtUnit(Q7Vector4 *r, const Q7Vector4 *a, const Q7Vector4 *n);
/** The same with a normalised copy of n; a zero n acts as (1, 0, 0, 0), as V4Norm makes it. @return r */
Q7_API Q7Vector4 *V4Ort(Q7Vector4 *r, const Q7Vector4 *a, const Q7Vector4 *n);
/** r = (u . a) u: the component of a along the unit u. @return r */
Q7_API Q7Vector4 *V4Comp(Q7Vector4 *r, const Q7Vector4 *u, const Q7Vector4 *a);
/** r = (1 - t) a + t b. @return r */
Q7_API Q7Vector4 *V4Interpolate(Q7Vector4 *r, const Q7Vector4 *a, const Q7Vector4 *b, double t);
/** r = the mean of n vectors; n = 0 gives 0/0. @return r */
Q7_API Q7Vector4 *V4Average(Q7Vector4 *r, const Q7Vector4 *pts, int32_t n);
/** 1 if every component differs by less than eps (strictly), else 0. */
Q7_API int32_t V4AEq(const Q7Vector4 *a, const Q7Vector4 *b, double eps);
/** 0 if every component differs by at most eps, else 1. */
Q7_API int32_t V4Cmp(const Q7Vector4 *a, const Q7Vector4 *b, double eps);
/**
 * r = the vector perpendicular to a, b and c whose length is the volume they span: with D(ijk) the determinant of the
 * rows' components i, j, k, r = (D(yzw), -D(xzw), D(xyw), -D(xyz)). Any three of them exchanged cyclically give the
 * same r.
 * @return r
 */
Q7_API Q7Vector4 *V4Cross(Q7Vector4 *r, const Q7Vector4 *a, const Q7Vector4 *b, const Q7Vector4 *c);
/** The largest four-component distance of n points from c; the first point is always read, so n is at least 1. */
Q7_API double V4Radius(const Q7Vector4 *c, const Q7Vector4 *pts, int32_t n);
/** r = the unit normal of the hyperplane through n points: of the cross products V4Cross(p[i-2] - p[0], p[i-1] - p[0],
 * p[i] - p[0]) the first one longer than 0.001, else the longest. r is left alone when n < 4 or all are zero. @return r
 */
Q7_API Q7Vector4 *V4PlaneNormal(Q7Vector4 *r, const Q7Vector4 *pts, int32_t n);

/** r = (v.x, v.y, v.z, 1). @return r */
Q7_API Q7Vector4 *V4ClipTo3D(Q7Vector4 *r, const Q7Vector *v);
/** n points in place: (x/w, y/w, z/w, w); w is kept, so that Q7LiftTo4D undoes it. w = 0 gives infinities or NaN. */
Q7_API void Q7ProjectTo3D(Q7Vector4 *pts, int32_t n);
/** n points in place: (x w, y w, z w, w). */
Q7_API void Q7LiftTo4D(Q7Vector4 *pts, int32_t n);
/** dst[i] = (x w, y w, z w, w) of src[i]; dst may be src. */
Q7_API void Q7LiftTo4DCopy(Q7Vector4 *dst, const Q7Vector4 *src, int32_t n);
/** dst[i] = (x, y, z) of src[i]: w is dropped without a division. dst may begin at the same address as src. */
Q7_API void Q7ConvertTo3D(Q7Vector *dst, const Q7Vector4 *src, int32_t n);

/** Writes x, y, z, w as Q7VectorWrite does. @return 1; 0 at the first failure, or without vector or stream */
Q7_API int32_t Q7Vector4Write(const Q7Vector4 *v, Q7Object *stream);
/** Reads x, y, z, w. @return 1 or 0 */
Q7_API int32_t Q7Vector4Read(Q7Vector4 *v, Q7Object *stream);

Q7_END_DECLS

#endif
