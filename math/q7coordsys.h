/* q7coordsys: a frame in space, an origin and three axes, and what one does with frames: mapping points and directions
 * in and out, combining, reshaping, measuring, turning, streaming.
 *
 * Axes need not be of unit length nor perpendicular: a frame may carry scale and skew; one whose norm points against
 * hor x vert is mirrored. Functions that need a unit or an orthonormal frame say so. Destination first, and it may be
 * an operand. Pure functions; any thread. */
#ifndef Q7_MATH_Q7COORDSYS_H
#define Q7_MATH_Q7COORDSYS_H

#include "math/q7angles.h"

Q7_BEGIN_DECLS

/** A frame: 96 bytes. */
typedef struct Q7CoordSys {
  Q7Vector orig; /**< Origin. */
  Q7Vector hor;  /**< Horizontal axis. */
  Q7Vector vert; /**< Vertical axis. */
  Q7Vector norm; /**< Normal axis. */
} Q7CoordSys;

/** The absolute frame, read-only: origin (0,0,0), axes X, Y, Z. */
extern Q7_API const Q7CoordSys _q7cs_abs;

/** Fills the four vectors. @return cs */
Q7_API Q7CoordSys *Q7CsSet(Q7CoordSys *cs, const Q7Vector *o, const Q7Vector *h, const Q7Vector *v, const Q7Vector *n);
/** cs = the absolute frame. @return cs */
Q7_API Q7CoordSys *Q7CSIdentity(Q7CoordSys *cs);
/** 1 if all four vectors are exactly equal, else 0. */
Q7_API int32_t Q7CsEq(const Q7CoordSys *a, const Q7CoordSys *b);

/* ---- Mapping ---- */

/** r = local coordinates of the world point p in an orthonormal frame. @return r */
Q7_API Q7Vector *Q7CsMapV(Q7Vector *r, const Q7Vector *p, const Q7CoordSys *cs);
/** The same for a frame with perpendicular axes of any length; lengths below 1e-8 count as 1e-8. @return r */
Q7_API Q7Vector *Q7CsMapVExt(Q7Vector *r, const Q7Vector *p, const Q7CoordSys *cs);
/** r = the world point of the local coordinates p. @return r */
Q7_API Q7Vector *Q7CsUnmapV(Q7Vector *r, const Q7Vector *p, const Q7CoordSys *cs);
/** r = the frame a expressed in the orthonormal frame cs. @return r */
Q7_API Q7CoordSys *Q7CsMapCs(Q7CoordSys *r, const Q7CoordSys *a, const Q7CoordSys *cs);
/** r = the frame a, given in cs, expressed in world coordinates. @return r */
Q7_API Q7CoordSys *Q7CsUnmapCs(Q7CoordSys *r, const Q7CoordSys *a, const Q7CoordSys *cs);
/**
 * Prepares the decomposition of vectors into the axes of a frame that may be skewed and scaled: r gets the origin of cs
 * and, as axes, the reciprocal ones, so that Q7CsMapV(x, p, r) gives the x for which p = orig + x.x hor + x.y vert +
 * x.z norm, as LinComp would for each point anew.
 * @return 1; 0, and r untouched, when the axes lie in one plane
 */
Q7_API int32_t Q7CsPrepareLinComp(Q7CoordSys *r, const Q7CoordSys *cs);

/* ---- Polar angles: azimuth in the hor-vert plane from hor (0) towards vert (pi/2), elevation towards norm ---- */

/**
 * Azimuth (-pi, pi], elevation and length of the direction v, stored at az, el, len. v is normalised in place. Along
 * the normal itself the azimuth is 0 and the elevation has the opposite sign: -pi/2 for v along +norm, pi/2 along
 * -norm.
 */
Q7_API void Q7CsVToPolar(double *az, double *el, double *len, Q7Vector *v, const Q7CoordSys *cs);
/** v = the direction of polar angles, len long. @return v */
Q7_API Q7Vector *Q7CsVFromPolar(Q7Vector *v, const Q7CoordSys *cs, double az, double el, double len);
/** Q7CsVToPolar of p - orig; p is not changed. */
Q7_API void Q7CsPToPolar(double *az, double *el, double *len, const Q7Vector *p, const Q7CoordSys *cs);
/** p = orig + Q7CsVFromPolar. @return p */
Q7_API Q7Vector *Q7CsPFromPolar(Q7Vector *p, const Q7CoordSys *cs, double az, double el, double len);

/* ---- Reshaping; the origin stays ---- */

/** Makes the frame orthonormal and right-handed, keeping the direction of hor. @return cs */
Q7_API Q7CoordSys *Q7CsNormalize(Q7CoordSys *cs);
/** Makes the frame orthonormal, keeping the direction of hor and the handedness. @return 1, or -1 for a mirrored frame
 */
Q7_API int32_t Q7CsNormalizeKeepSpin(Q7CoordSys *cs);
/** Turns the axes: about hor by a, then about the new vert by b, then about the new norm by c; counterclockwise seen
 * from each axis's tip. @return cs */
Q7_API Q7CoordSys *Q7CsRotate(Q7CoordSys *cs, double a, double b, double c);
/** Turns the axes by the rotation of Q7MxRotate2VUnit(a, b, fallback). @return cs */
Q7_API Q7CoordSys *Q7CsFRotate2V(Q7CoordSys *cs, const Q7Vector *a, const Q7Vector *b, const Q7Vector *fallback);
/** Makes the axes perpendicular and keeps their lengths; a mirrored frame stays mirrored. @return cs */
Q7_API Q7CoordSys *Q7CsRemoveSkew(Q7CoordSys *cs);
/** Makes the axes unit vectors of the same directions. @return cs */
Q7_API Q7CoordSys *Q7CsRemoveScale(Q7CoordSys *cs);
/** Lays the axes along X, Y and Z and keeps their lengths. @return cs */
Q7_API Q7CoordSys *Q7CsRemoveRotation(Q7CoordSys *cs);

/* ---- Extents ---- */

/** Smallest and largest coordinates of n points (n at least 1) along the axes, measured by products with the axes as
 * they are, from the origin. */
Q7_API void Q7CsBoundingBox(const Q7CoordSys *cs, const Q7Vector *pts, int32_t n, Q7Vector *min, Q7Vector *max);
/** Grows cs towards containing the box of another frame (its origin, the tips of its axes and the opposite corner):
 * moves the origin where the box begins before it, lengthens axes that the box exceeds. One call does not lengthen an
 * axis to make up for its own moving of the origin; call again until it answers 0. @return 1 if cs changed, else 0 */
Q7_API int32_t Q7CsFit(Q7CoordSys *cs, const Q7CoordSys *other);

/* ---- Orientation of a frame relative to another, as angles (q7angles.h) ----
 *
 * A null reference is the absolute frame. Lengths do not count; a mirrored frame is looked at with its normal reversed.
 * Setting keeps the origin, the lengths of the axes and the mirroring, and removes skew. */

/** angles = heading, pitch, bank of cs relative to reference. */
Q7_API void Q7CsGetAngles(double *angles, const Q7CoordSys *cs, const Q7CoordSys *reference);
/** Turns cs to the heading, pitch, bank relative to reference. @return cs */
Q7_API Q7CoordSys *Q7CsSetAngles(Q7CoordSys *cs, const Q7CoordSys *reference, const double *angles);
/** angles = heading, pitch, twist of cs relative to reference. */
Q7_API void Q7CsGetAnglesT(double *angles, const Q7CoordSys *cs, const Q7CoordSys *reference);
/** Turns cs to the heading, pitch, twist relative to reference. @return cs */
Q7_API Q7CoordSys *Q7CsSetAnglesT(Q7CoordSys *cs, const Q7CoordSys *reference, const double *angles);

/* Fast angles: heading, pitch, bank without trigonometry. A fast angle runs once around the square |c| + |s| = 1
 * instead of the circle: 0 at 0, 1 at pi/2, 2 at pi, -1 at -pi/2, monotonic between; s / (|c| + |s|) on the right half.
 * Fast angles compare and sort as angles do, and conversion to and from axes takes only products, quotients and roots,
 * so it gives the same bits on every machine. Whole turns (4) are ignored. Ranges: (-2, 2], pitch [-1, 1]. */

/** fast = the fast angles of cs relative to reference. */
Q7_API void Q7CsGetFastAngles(double *fast, const Q7CoordSys *cs, const Q7CoordSys *reference);
/** Turns cs to the fast angles relative to reference. @return cs */
Q7_API Q7CoordSys *Q7CsSetFastAngles(Q7CoordSys *cs, const Q7CoordSys *reference, const double *fast);
/** fast = the fast angles of the angles hpb. @return fast */
Q7_API double *Q7CsHPBToFastAngle(double *fast, const double *hpb);
/** hpb = the angles, (-pi, pi], of fast angles. @return hpb */
Q7_API double *Q7CsHPBFromFastAngle(double *hpb, const double *fast);

/* The conversions of q7angles.h on arrays: a triple, and three consecutive axes hor, vert, norm. */

/** fast = the fast angles of three axes. */
Q7_API void Q7C_FastFromXYZ(double *fast, const Q7Vector *axes);
/** axes = the axes of fast angles. */
Q7_API void Q7C_FastToXYZ(Q7Vector *axes, const double *fast);
/** axes = the axes of an HPB triple. */
Q7_API void Q7C_HPBToXYZ(Q7Vector *axes, const double *angles);
/** angles = the HPB triple of three axes. */
Q7_API void Q7C_HPBFromXYZ(double *angles, const Q7Vector *axes);
/** axes = the axes of an HPT triple. */
Q7_API void Q7C_HPTToXYZ(Q7Vector *axes, const double *angles);
/** angles = the HPT triple of three axes. */
Q7_API void Q7C_HPTFromXYZ(double *angles, const Q7Vector *axes);

/* ---- Streaming and printing ---- */

/** Writes orig, hor, vert, norm as Q7VectorWrite does. @return 1; 0 at the first failure */
Q7_API int32_t Q7CsWrite(const Q7CoordSys *cs, Q7Object *stream);
/** Reads orig, hor, vert, norm. @return 1; 0 at the first failure */
Q7_API int32_t Q7CsRead(Q7CoordSys *cs, Q7Object *stream);
/** Prints the four vectors to standard output, a line each: "orig ", "hor  ", "vert ", "norm " and the vector. */
Q7_API void Q7CsPrint(const Q7CoordSys *cs);

Q7_END_DECLS

#endif
