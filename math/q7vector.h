/* q7vector: the three-dimensional vector, the value that every other geometry function takes and gives.
 *
 * Conventions, here and in the whole room:
 * - Double precision; angles are radians; lengths have the caller's unit.
 * - The destination comes first and is returned. It may be the same object as any operand unless the function says
 *   otherwise.
 * - The letters of a name carry meaning: V a vector result, P a scalar product, C component by component, F in place on
 *   the first argument.
 * - The functions are pure: no allocation, no report, no state; any thread may call them. Pointers are not checked,
 *   except those to streams.
 *
 * Mind VSub and VSubF: the second vector is subtracted FROM the third (b - a), so that VSub(r, from, to) is the way
 * from one point to the other. VFSub has the ordinary order. */
#ifndef Q7_MATH_Q7VECTOR_H
#define Q7_MATH_Q7VECTOR_H

#include "core/q7types.h"

Q7_BEGIN_DECLS

/** A point or direction: 24 bytes, nothing but the three components, so that n points are 3n doubles. */
typedef struct Q7Vector {
  double x;
  double y;
  double z;
} Q7Vector;

/** Two components; only streamed. 16 bytes. */
typedef struct Q7Vector2 {
  double x;
  double y;
} Q7Vector2;

/** The unit axes and the zero vector, read-only: horizontal (1,0,0), vertical (0,1,0), normal (0,0,1), null (0,0,0). */
extern Q7_API const Q7Vector q7v_hor, q7v_vert, q7v_norm, q7v_null;

/** The address of q7v_hor, (1,0,0). */
Q7_API const Q7Vector *VIdentityX(void);
/** The address of q7v_vert, (0,1,0). */
Q7_API const Q7Vector *VIdentityY(void);
/** The address of q7v_norm, (0,0,1). */
Q7_API const Q7Vector *VIdentityZ(void);
/** The address of q7v_null, (0,0,0). */
Q7_API const Q7Vector *VIdentityO(void);

/* ---- Construction and arithmetic ---- */

/** r = (x, y, z). @return r */
Q7_API Q7Vector *VSet(Q7Vector *r, double x, double y, double z);
/** r = a. @return r */
Q7_API Q7Vector *VCopy(Q7Vector *r, const Q7Vector *a);
/** r = (0, 0, 0). @return r */
Q7_API Q7Vector *VNull(Q7Vector *r);
/** r = a + b. @return r */
Q7_API Q7Vector *VAdd(Q7Vector *r, const Q7Vector *a, const Q7Vector *b);
/** r = b - a: the second operand is subtracted from the third. @return r */
Q7_API Q7Vector *VSub(Q7Vector *r, const Q7Vector *a, const Q7Vector *b);
/** a = b - a, in place, with the order of VSub. @return a */
Q7_API Q7Vector *VSubF(Q7Vector *a, const Q7Vector *b);
/** a = a + b. @return a */
Q7_API Q7Vector *VFAdd(Q7Vector *a, const Q7Vector *b);
/** a = a - b: the ordinary order, unlike VSub. @return a */
Q7_API Q7Vector *VFSub(Q7Vector *a, const Q7Vector *b);
/** r = s a; the scalar stands between destination and vector. @return r */
Q7_API Q7Vector *VMul(Q7Vector *r, double s, const Q7Vector *a);
/** a = s a. @return a */
Q7_API Q7Vector *VFMul(Q7Vector *a, double s);
/** r = a / s, component by component; s = 0 gives infinities or NaN. @return r */
Q7_API Q7Vector *VDiv(Q7Vector *r, double s, const Q7Vector *a);
/** a = a / s. @return a */
Q7_API Q7Vector *VFDiv(Q7Vector *a, double s);
/** a = -a. @return a */
Q7_API Q7Vector *VNeg(Q7Vector *a);
/** r = -a. @return r */
Q7_API Q7Vector *VSetNeg(Q7Vector *r, const Q7Vector *a);
/** r = 0.5 (a + b), the middle of two points. @return r */
Q7_API Q7Vector *VMid(Q7Vector *r, const Q7Vector *a, const Q7Vector *b);
/** Exchanges two vectors. */
Q7_API void VSwap(Q7Vector *a, Q7Vector *b);
/** Exchanges two doubles. */
Q7_API void FSwap(double *a, double *b);
/** Exchanges two integers. */
Q7_API void ISwap(int32_t *a, int32_t *b);
/** r = (a.x b.x, a.y b.y, a.z b.z). @return r */
Q7_API Q7Vector *CMul(Q7Vector *r, const Q7Vector *a, const Q7Vector *b);
/** a = a b, component by component. @return a */
Q7_API Q7Vector *CFMul(Q7Vector *a, const Q7Vector *b);
/** r = a / d, component by component. Components of d that are exactly 0 are first replaced by 1 in d itself. @return r
 */
Q7_API Q7Vector *CDiv(Q7Vector *r, Q7Vector *d, const Q7Vector *a);

/* ---- Products, lengths, comparisons ---- */

/** The scalar product a . b. */
Q7_API double PMul(const Q7Vector *a, const Q7Vector *b);
/** The squared length a . a. */
Q7_API double PFMul(const Q7Vector *a);
/** The length of a: the root of the plain sum of squares, so components below about 1e-162 do not count. */
Q7_API double VLen(const Q7Vector *a);
/** The distance of two points. */
Q7_API double VDist(const Q7Vector *a, const Q7Vector *b);
/** r = a x b, right-handed: X x Y = Z. @return r */
Q7_API Q7Vector *VCross(Q7Vector *r, const Q7Vector *a, const Q7Vector *b);
/** r = a x b divided by its length; the zero product of parallel vectors is stored as it is. @return r */
Q7_API Q7Vector *NormCross(Q7Vector *r, const Q7Vector *a, const Q7Vector *b);
/** r = (u . a) u: the component of a along the unit vector u. @return r */
Q7_API Q7Vector *VComp(Q7Vector *r, const Q7Vector *u, const Q7Vector *a);
/** 1 if all three components are exactly equal (so -0 equals 0, NaN equals nothing), else 0. */
Q7_API int32_t VEq(const Q7Vector *a, const Q7Vector *b);
/** 1 if every component differs by less than eps (strictly), else 0. */
Q7_API int32_t VAEq(const Q7Vector *a, const Q7Vector *b, double eps);
/** 0 if every component differs by at most eps, else 1: a comparison, with the opposite sense of VAEq. */
Q7_API int32_t VCompare(const Q7Vector *a, const Q7Vector *b, double eps);
/** Index 0, 1 or 2 of the component of largest absolute value; of equal ones the later. */
Q7_API int32_t VMaxComp(const Q7Vector *a);
/** Index 0, 1 or 2 of the component of smallest absolute value; of equal ones the earlier. */
Q7_API int32_t VMinComp(const Q7Vector *a);
/** Prints "%f %f %f" of the components to standard output, without a newline; the decimal sign is always a point. */
Q7_API void VPrint(const Q7Vector *a);

/* ---- Normalising and projecting ---- */

/** Divides a by its length L. If L is not above the smallest normal double only x is set to 1 and y, z stay: a (near)
 * zero vector becomes the X axis. @return L, the length before */
Q7_API double VNorm(Q7Vector *a);
/** As VNorm, but a (near) zero vector is left alone. @return the length before */
Q7_API double TNorm(Q7Vector *a);
/** r = the part of a that is perpendicular to n, which need not be a unit vector; r = a if n . n < 1e-12. @return r */
Q7_API Q7Vector *VOrt(Q7Vector *r, const Q7Vector *a, const Q7Vector *n);
/** r = a - (a . n) n for a unit n, without a test. @return r */
Q7_API Q7Vector *VOrtUnit(Q7Vector *r, const Q7Vector *a, const Q7Vector *n);
/** r = the projection of point p onto the plane through o with unit normal n. @return r */
Q7_API Q7Vector *VPtoPlane(Q7Vector *r, const Q7Vector *p, const Q7Vector *o, const Q7Vector *n);
/** r = the mirror image of point p in the plane through o with unit normal n. @return r */
Q7_API Q7Vector *VMirr(Q7Vector *r, const Q7Vector *p, const Q7Vector *o, const Q7Vector *n);
/** r = where the line p + t d meets the plane through o with normal n (any length).
 * @return 1; 0, and r untouched, when |d . n| is at most twice the smallest normal double */
Q7_API int32_t LinePlaneHit(Q7Vector *r, const Q7Vector *p, const Q7Vector *d, const Q7Vector *o, const Q7Vector *n);
/** Negates a if it points away from b (a . b < 0). @return a */
Q7_API Q7Vector *CoDir(Q7Vector *a, const Q7Vector *b);
/** Negates a if it points to the side of b (a . b > 0). @return a */
Q7_API Q7Vector *OppDir(Q7Vector *a, const Q7Vector *b);
/** |a . b| / (|a| |b|); 0 if either length is 0. */
Q7_API double AbsCos(const Q7Vector *a, const Q7Vector *b);
/** Builds a and b perpendicular to n: a horizontal, in the XZ plane ((1,0,0) when n is along Y), and b = n x a. For a
 * unit n all three are an orthonormal system. */
Q7_API void VGetPerpVect(const Q7Vector *n, Q7Vector *a, Q7Vector *b);

/* ---- Sets of points ---- */

/** r = (b - a) x (c - a), normalised by VNorm. @return r */
Q7_API Q7Vector *J7Normal(Q7Vector *r, const Q7Vector *a, const Q7Vector *b, const Q7Vector *c);
/** r = the unit normal of a polygon of n points: of the triangles of its fan the first one whose doubled area exceeds
 * 0.001, else the largest. r is left alone when n < 3 or all points are collinear. @return r */
Q7_API Q7Vector *PlaneNormal(Q7Vector *r, const Q7Vector *pts, int32_t n);
/** r = the mean of n points; n = 0 gives 0/0. @return r */
Q7_API Q7Vector *VAverage(Q7Vector *r, const Q7Vector *pts, int32_t n);
/** The largest distance of n points from c; the first point is always read, so n is at least 1. */
Q7_API double VRadius(const Q7Vector *c, const Q7Vector *pts, int32_t n);

/* ---- Linear combinations ---- */

/**
 * Coefficients of v = r.x a + r.y b + r.z c, by elimination with the x components: r.z from the determinant of the
 * reduced y and z components, then r.y from the reduced y, then r.x from the x components. A coefficient whose divisor
 * is exactly zero is not written: r keeps the value that the caller has set, and the remaining coefficients are found
 * with it.
 * @return r
 */
Q7_API Q7Vector *LinComp(Q7Vector *r, const Q7Vector *v, const Q7Vector *a, const Q7Vector *b, const Q7Vector *c);
/**
 * LinComp with the three vectors as one consecutive triple. The components x, y, z are first rearranged (the same way
 * in all vectors) into the first of the orders xyz, xzy, yxz, yzx, zxy, zyx that leaves no divisor zero; with none,
 * the first order that leaves as many coefficients as possible determined.
 * @return r
 */
Q7_API Q7Vector *VLinComp(Q7Vector *r, const Q7Vector *v, const Q7Vector *abc);
/** r = (1 - t) a + t b. @return r */
Q7_API Q7Vector *VInterpolate(Q7Vector *r, const Q7Vector *a, const Q7Vector *b, double t);

/* ---- Orthonormal systems: m is three consecutive vectors, horizontal axis, vertical axis, normal ---- */

/** r = (a . m[0], a . m[1], a . m[2]): into the system. r must not be a: r.x is stored before a.y is read. @return r */
Q7_API Q7Vector *VRot(Q7Vector *r, const Q7Vector *a, const Q7Vector *m);
/** r = a.x m[0] + a.y m[1] + a.z m[2]: out of the system; also in place. @return r */
Q7_API Q7Vector *VUnRot(Q7Vector *r, const Q7Vector *a, const Q7Vector *m);

/* ---- Angles, radians ---- */

/** r = cos(t) u + sin(t) v. @return r */
Q7_API Q7Vector *AngleToVec(Q7Vector *r, const Q7Vector *u, const Q7Vector *v, double t);
/** Angle between two unit vectors, 0 to pi; a product outside [-1, 1] is clamped. */
Q7_API double FindAngleUnit(const Q7Vector *a, const Q7Vector *b);
/** Angle of v in the plane of the unit vectors u (angle 0) and w (angle pi/2), over the full circle; 0 for a zero v. A
 * v that is a rounding error below u gives 2 pi itself. */
Q7_API double FindAngle(const Q7Vector *v, const Q7Vector *u, const Q7Vector *w);
/** Parameter of v, over the full circle, on the ellipse with the conjugate semi-axes u (angle 0) and w (pi/2). */
Q7_API double FindEllipticAngle(const Q7Vector *v, const Q7Vector *u, const Q7Vector *w);
/** The whole turns in a: k 2 pi with k = floor((a + pi) / 2 pi). Note the name: Q7AngleDiv gives the remainder. */
Q7_API double Q7AngleMod(double a);
/** a wrapped into [-pi, pi): a - Q7AngleMod(a). */
Q7_API double Q7AngleDiv(double a);
/** The shorter way from one angle to the other, 0 to pi. */
Q7_API double Q7AngleDist(double a, double b);
/** The angle equal to b modulo 2 pi that lies nearest to a. */
Q7_API double Q7NearestAngle(double a, double b);

/* ---- Principal axes ---- */

/** One search for the angle at which |cos(t) u + sqrt(1 - cos(t)^2) v| is largest, halving the step pi / (2n) from t;
 * la and lb are the lengths at the ends of the interval. The second factor is the non-negative root, not the sine.
 * n < 1 returns t. @return the angle */
Q7_API double MaxTrace(int32_t n, double la, double lb, double t, const Q7Vector *u, const Q7Vector *v);
/** As MaxTrace for the smallest length. */
Q7_API double MinTrace(int32_t n, double la, double lb, double t, const Q7Vector *u, const Q7Vector *v);
/** Turns two conjugate semi-diameters u, v of an ellipse into its perpendicular semi-axes, a the longer, b the shorter,
 * with the handedness of u, v. The search is accurate to about 1e-4; perpendicularity is exact to rounding. */
Q7_API void Q7OrthSys2(Q7Vector *a, Q7Vector *b, const Q7Vector *u, const Q7Vector *v);
/** Makes three vectors mutually perpendicular, in place. Skewed ones may come out in another order: the least skewed
 * first. */
Q7_API void Q7OrthSys3(Q7Vector *m);

/** Which components are non-zero (absolute value at least 1e-8). */
enum {
  Q7VECTYPE_X = 1,
  Q7VECTYPE_Y = 2,
  Q7VECTYPE_Z = 4, /**< x and y are zero, whatever z is: also the zero vector. */
  Q7VECTYPE_XY = 8,
  Q7VECTYPE_XZ = 16,
  Q7VECTYPE_YZ = 32,
  Q7VECTYPE_XYZ = 64
};
/** One of Q7VECTYPE_... */
Q7_API int32_t Q7FindVecType(const Q7Vector *a);
/** Writes n points c + cos(t) u + sin(t) v with t = 2 pi k / n; n <= 0 writes nothing. c, u and v are read before the
 * first point is written. */
Q7_API void Q7VEllipse(Q7Vector *pts, int32_t n, const Q7Vector *c, const Q7Vector *u, const Q7Vector *v);

/* ---- Streaming: one stream message (write or read one double) a component ---- */

/** Writes x, y, z. @return 1; 0 at the first failure, or without vector or stream */
Q7_API int32_t Q7VectorWrite(const Q7Vector *v, Q7Object *stream);
/** Reads x, y, z. @return 1; 0 at the first failure, with the components before it already read */
Q7_API int32_t Q7VectorRead(Q7Vector *v, Q7Object *stream);
/** Writes x and y. @return 1 or 0 */
Q7_API int32_t Q7Vector2Write(const Q7Vector2 *v, Q7Object *stream);
/** Reads x and y. @return 1 or 0 */
Q7_API int32_t Q7Vector2Read(Q7Vector2 *v, Q7Object *stream);

Q7_END_DECLS

#endif
