/* q7matrix: the 4x4 homogeneous matrix: placing, turning, scaling, skewing, projecting, inverting.
 *
 * Conventions:
 * - Stored row after row: m[i][j] is row i, column j. Vectors are COLUMNS: a point p goes to M (p.x, p.y, p.z, 1). The
 *   translation lies in column 3 (m[0][3], m[1][3], m[2][3]); row 3 is (0, 0, 0, 1) unless the matrix projects.
 * - A placement has the axes of a frame as its columns: 0 the horizontal axis, 1 the vertical axis, 2 the normal, 3 the
 *   origin.
 * - Q7MxConcat(r, a, b) is the ordinary product a b, so b acts on a point first. Every Q7MxConcat...(m, ...) multiplies
 *   on the right, m = m X: the new operation acts before what m already did.
 * - A positive angle turns CLOCKWISE seen from the tip of the axis towards the origin: about Z, by pi/2, (1,0,0) goes
 * to (0,-1,0). Quaternions made from an axis and an angle turn the same way.
 * - Destination first, then points and vectors, then scalars; constructors overwrite the whole matrix and return it.
 * The destination may be an operand except in Q7MxTranspose and Q7MxConcat.
 * - Pure functions: no allocation, no report; any thread. */
#ifndef Q7_MATH_Q7MATRIX_H
#define Q7_MATH_Q7MATRIX_H

#include "math/q7vector4.h"

Q7_BEGIN_DECLS

/** A 4x4 matrix, row after row: 128 bytes. */
typedef struct Q7Matrix {
  double m[4][4];
} Q7Matrix;

/* ---- Elementary ---- */

/** All 16 elements 0. @return m */
Q7_API Q7Matrix *Q7MxNull(Q7Matrix *m);
/** The identity. @return m */
Q7_API Q7Matrix *Q7MxIdentity(Q7Matrix *m);
/** r = m. @return r */
Q7_API Q7Matrix *Q7MxCopy(Q7Matrix *r, const Q7Matrix *m);
/** r = the transpose of m; r must not be m. @return r */
Q7_API Q7Matrix *Q7MxTranspose(Q7Matrix *r, const Q7Matrix *m);
/** 1 if all 16 elements are exactly equal, else 0. */
Q7_API int32_t Q7MxEqual(const Q7Matrix *a, const Q7Matrix *b);
/** 1 if every element differs by at most 1e-8, else 0. */
Q7_API int32_t Q7MxAlmostEqual(const Q7Matrix *a, const Q7Matrix *b);
/** v[i] = m[i][j] for i below n, at most 4; n <= 0, or a j that is no column, copies nothing. */
Q7_API void Q7MxColumnToVector(double *v, const Q7Matrix *m, int32_t j, int32_t n);
/** m[i][j] = v[i] for i below n, at most 4. */
Q7_API void Q7MxVectorToColumn(const double *v, Q7Matrix *m, int32_t j, int32_t n);
/** The first n elements, at most 4, of row i into v. */
Q7_API void Q7MxRowToVector(double *v, const Q7Matrix *m, int32_t i, int32_t n);
/** v into the first n elements, at most 4, of row i. */
Q7_API void Q7MxVectorToRow(const double *v, Q7Matrix *m, int32_t i, int32_t n);
/** r = a b: b acts first. r must not be a or b (Q7MxFConcat works in place). @return r */
Q7_API Q7Matrix *Q7MxConcat(Q7Matrix *r, const Q7Matrix *a, const Q7Matrix *b);
/** a = a b. @return a */
Q7_API Q7Matrix *Q7MxFConcat(Q7Matrix *a, const Q7Matrix *b);
/** a = b a. @return a */
Q7_API Q7Matrix *Q7MxFConcatLeft(Q7Matrix *a, const Q7Matrix *b);
/**
 * r = the inverse of m, by four-dimensional cross products of the columns. r may be m.
 * @return 1; 0 when m is singular (a product of a column with the cross product of the others is below 1e-40): r is a
 * finite matrix all the same, large in the directions that m loses
 */
Q7_API int32_t Q7MxInvert(Q7Matrix *r, const Q7Matrix *m);
/** Q7MxInvert(m, m). */
Q7_API int32_t Q7MxFInvert(Q7Matrix *m);

/* ---- Transforming ---- */

/** r = M q for a four-component vector. @return r */
Q7_API Q7Vector4 *Q7MxTransform4(Q7Vector4 *r, const Q7Matrix *m, const Q7Vector4 *q);
/** r = the point M (p, 1) divided by its w. A point at infinity, w exactly 0, goes to (0, 0, 0). @return r */
Q7_API Q7Vector *Q7MxTransform(Q7Vector *r, const Q7Matrix *m, const Q7Vector *p);
/** p = M p as Q7MxTransform; mind the order of the arguments. @return p */
Q7_API Q7Vector *Q7MxFTransform(Q7Vector *p, const Q7Matrix *m);
/** r = the upper 3x3 of M times the direction v: no translation, no division. @return r */
Q7_API Q7Vector *Q7MxTransformL(Q7Vector *r, const Q7Matrix *m, const Q7Vector *v);
/** v = M v as Q7MxTransformL. @return v */
Q7_API Q7Vector *Q7MxFTransformL(Q7Vector *v, const Q7Matrix *m);
/** r = p + f (M p - p): f = 0 leaves p, f = 1 transforms it. @return r */
Q7_API Q7Vector *Q7MxDeform(Q7Vector *r, const Q7Matrix *m, const Q7Vector *p, double f);

/* ---- Streaming and printing ---- */

/** Writes the 16 elements, row by row, one stream message each. @return 1; 0 at the first failure */
Q7_API int32_t Q7MxWrite(const Q7Matrix *m, Q7Object *stream);
/** Reads the 16 elements. @return 1; 0 at the first failure, the elements before it already read */
Q7_API int32_t Q7MxRead(Q7Matrix *m, Q7Object *stream);
/** Prints each row to standard output as four "%.2f " items and a newline. @return 1 */
Q7_API int32_t Q7MxPrint(const Q7Matrix *m);

/* ---- Translation, scaling, rotation, skew; X is what the constructor builds ---- */

/** The identity with column 3 = (x, y, z). @return m */
Q7_API Q7Matrix *Q7MxTranslate(Q7Matrix *m, double x, double y, double z);
/** m = m X. @return m */
Q7_API Q7Matrix *Q7MxConcatTranslate(Q7Matrix *m, double x, double y, double z);
/** The diagonal (sx, sy, sz, 1). @return m */
Q7_API Q7Matrix *Q7MxScale(Q7Matrix *m, double sx, double sy, double sz);
/** m = m X: columns 0, 1, 2 are multiplied by sx, sy, sz. @return m */
Q7_API Q7Matrix *Q7MxConcatScale(Q7Matrix *m, double sx, double sy, double sz);
/** Scaling about the point c, which stays fixed. @return m */
Q7_API Q7Matrix *Q7MxScaleEx(Q7Matrix *m, double sx, double sy, double sz, const Q7Vector *c);
/** m = m X. @return m */
Q7_API Q7Matrix *Q7MxConcatScaleEx(Q7Matrix *m, double sx, double sy, double sz, const Q7Vector *c);
/** Rotation about the line through o along the unit axis; clockwise seen from the axis's tip. @return m */
Q7_API Q7Matrix *Q7MxRotateUnit(Q7Matrix *m, const Q7Vector *o, const Q7Vector *axis, double angle);
/** The same with a normalised copy of the axis (VNorm: a zero axis is X). @return m */
Q7_API Q7Matrix *Q7MxRotate(Q7Matrix *m, const Q7Vector *o, const Q7Vector *axis, double angle);
/** m = m X. @return m */
Q7_API Q7Matrix *Q7MxConcatRotate(Q7Matrix *m, const Q7Vector *o, const Q7Vector *axis, double angle);
/** Skew about o: the a axis is turned towards b by the angle, b and their common normal stay. @return m */
Q7_API Q7Matrix *Q7MxSkew(Q7Matrix *m, const Q7Vector *o, const Q7Vector *a, const Q7Vector *b, double angle);
/** m = m X. @return m */
Q7_API Q7Matrix *Q7MxConcatSkew(Q7Matrix *m, const Q7Vector *o, const Q7Vector *a, const Q7Vector *b, double angle);
/**
 * Skew by three points: with u the unit direction from p0 to p1, d the one from p0 to p2 and n the unit normal of both,
 * maps the orthogonal frame (u, n x u, n) at p0 onto the skewed frame (u, d, n) at p0. So p0, the direction p1 and the
 * normal stay, and the perpendicular to p1 is bent into the direction of p2. If p1 - p0, p2 - p0 or their cross product
 * is zero, the identity.
 * @return m
 */
Q7_API Q7Matrix *Q7MxSkew3p(Q7Matrix *m, const Q7Vector *p0, const Q7Vector *p1, const Q7Vector *p2);

/* ---- Projections; bounds are divided by without checks ---- */

/** Maps the rectangle x0..x1, y0..y1 to -0.5..0.5 in x and y; z is unchanged. @return m */
Q7_API Q7Matrix *Q7MxOrthogonal(Q7Matrix *m, double x0, double x1, double y0, double y1);
/** m = m X. @return m */
Q7_API Q7Matrix *Q7MxConcatOrthogonal(Q7Matrix *m, double x0, double x1, double y0, double y1);
/** Orthographic projection of a box. The y pair enters as (y0 - y1) and m[3][3] is -1. @return m */
Q7_API Q7Matrix *Q7MxOrtho(Q7Matrix *m, double x0, double x1, double y0, double y1, double z0, double z1);
/** Perspective from a viewing rectangle at distance d: Q7MxOrthogonal of the rectangle divided by d, after exchanging z
 * and w. e has no effect. @return m */
Q7_API Q7Matrix *Q7MxPerspective(Q7Matrix *m, double x0, double x1, double y0, double y1, double d, double e);
/** m = m X. @return m */
Q7_API Q7Matrix *Q7MxConcatPerspective(Q7Matrix *m, double x0, double x1, double y0, double y1, double d, double e);
/** Perspective frustum with the rectangle on the near plane z0 and the far plane z1, looking along -z. The y pair
 * enters as (y0 - y1). @return m */
Q7_API Q7Matrix *Q7MxPersp(Q7Matrix *m, double x0, double x1, double y0, double y1, double z0, double z1);
/** Central projection from the coordinate origin onto the plane through o with normal n. @return m */
Q7_API Q7Matrix *Q7MxPlaneHitByDirection(Q7Matrix *m, const Q7Vector *o, const Q7Vector *n);
/** Maps z to the height of the plane through o with normal n above (x, y), minus z; the identity if n.z is 0. @return m
 */
Q7_API Q7Matrix *Q7MxPlaneHitBySource(Q7Matrix *m, const Q7Vector *o, const Q7Vector *n);

/* ---- Frames: origin o and axes h (horizontal), v (vertical), n (normal) ---- */

/** Local to world: columns h, v, n, o. (x, y, z) goes to o + x h + y v + z n. @return m */
Q7_API Q7Matrix *Q7MxSpace(Q7Matrix *m, const Q7Vector *o, const Q7Vector *h, const Q7Vector *v, const Q7Vector *n);
/** The transpose of Q7MxSpace: rows h, v, n, o. @return m */
Q7_API Q7Matrix *Q7MxSpaceTranspose(Q7Matrix *m, const Q7Vector *o, const Q7Vector *h, const Q7Vector *v,
                                    const Q7Vector *n);
/** World to local: the inverse of Q7MxSpace. @return m */
Q7_API Q7Matrix *Q7MxInvSpace(Q7Matrix *m, const Q7Vector *o, const Q7Vector *h, const Q7Vector *v, const Q7Vector *n);
/** The rotation that takes the axes a onto the axes b, both orthonormal. @return m */
Q7_API Q7Matrix *Q7MxSpaceRotation(Q7Matrix *m, const Q7Vector *ha, const Q7Vector *va, const Q7Vector *na,
                                   const Q7Vector *hb, const Q7Vector *vb, const Q7Vector *nb);
/** Maps frame a onto frame b, any frames. @return m */
Q7_API Q7Matrix *Q7MxSpaceWarp(Q7Matrix *m, const Q7Vector *oa, const Q7Vector *ha, const Q7Vector *va,
                               const Q7Vector *na, const Q7Vector *ob, const Q7Vector *hb, const Q7Vector *vb,
                               const Q7Vector *nb);
/** Maps frame a onto frame b, orthonormal frames, without inversion. @return m */
Q7_API Q7Matrix *Q7MxOrthoWarp(Q7Matrix *m, const Q7Vector *oa, const Q7Vector *ha, const Q7Vector *va,
                               const Q7Vector *na, const Q7Vector *ob, const Q7Vector *hb, const Q7Vector *vb,
                               const Q7Vector *nb);
/** Reads the columns of m into the axes h, v, n and the origin o: the reverse of Q7MxSpace. */
Q7_API void Q7MxSpaceFromMatrix(const Q7Matrix *m, Q7Vector *o, Q7Vector *h, Q7Vector *v, Q7Vector *n);
/** m = b a^-1: the matrix that carries a to b. @return m */
Q7_API Q7Matrix *Q7MxDelta(Q7Matrix *m, const Q7Matrix *a, const Q7Matrix *b);
/** The shortest rotation about the origin that takes the unit vector a onto the unit vector b. Equal vectors give the
 * identity; opposite ones turn by pi about the fallback axis. @return m */
Q7_API Q7Matrix *Q7MxRotate2VUnit(Q7Matrix *m, const Q7Vector *a, const Q7Vector *b, const Q7Vector *fallback);
/** The same for vectors of any length (normalised copies). @return m */
Q7_API Q7Matrix *Q7MxRotate2V(Q7Matrix *m, const Q7Vector *a, const Q7Vector *b, const Q7Vector *fallback);
/** Q7MxRotate2VUnit about the point o, which stays fixed. @return m */
Q7_API Q7Matrix *Q7MxWarp2VUnit(Q7Matrix *m, const Q7Vector *o, const Q7Vector *a, const Q7Vector *b,
                                const Q7Vector *fallback);
/** r = the matrix that transforms normals when m transforms points: the cofactors of m's upper 3x3, not divided by the
 * determinant, so directions are right and lengths are not. @return r */
Q7_API Q7Matrix *Q7MxNormal(Q7Matrix *r, const Q7Matrix *m);

Q7_END_DECLS

#endif
