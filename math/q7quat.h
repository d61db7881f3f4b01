/* q7quat: unit quaternions, and their conversion from and to axis and angle, rotation matrices and angle triples.
 *
 * A quaternion is vector part first, scalar last. One made of an axis and an angle turns clockwise seen from the axis's
 * tip, as Q7MxRotateUnit does: the half angle is negative. Every function takes the quaternion first, whether it is
 * read or written. Angle triples as in q7angles.h: heading, pitch, bank or heading, pitch, twist. Pure functions. */
#ifndef Q7_MATH_Q7QUAT_H
#define Q7_MATH_Q7QUAT_H

#include "math/q7angles.h"

Q7_BEGIN_DECLS

/** A quaternion: x, y, z the vector part, w the scalar; the layout of Q7Vector4. */
typedef Q7Vector4 Q7Quat;

/** q = the rotation about the unit axis by the angle. */
Q7_API void Q7AxAngleToQ(Q7Quat *q, const Q7Vector *axis, double angle);
/**
 * Writes the unit axis of q (the zero vector for no rotation) and returns the angle. The axis's largest component is
 * always positive; the angle lies in [-2 pi, 0], or in [2 pi, 4 pi] when the axis had to be turned over for that. Of x
 * and y equally large y decides, of those and z the first.
 */
Q7_API double Q7QToAxAngle(const Q7Quat *q, Q7Vector *axis);
/** m = the rotation matrix of q, which is not normalised first. */
Q7_API void Q7QToMatrix(const Q7Quat *q, Q7Matrix *m);
/** q = the quaternion of the rotation part of m. Normalised only when the trace of the 3x3 part is above -1. Where the
 * trace is above -1 by little more than rounding (within about 1e-6 of a half turn) the digits of q are lost with it.
 */
Q7_API void Q7MatrixToQ(Q7Quat *q, const Q7Matrix *m);
/** angles = heading, pitch, bank of q; q is normalised in place if its length is at least 1e-8. */
Q7_API void Q7QToHPB(Q7Quat *q, double *angles);
/** angles = heading, pitch, twist of q; q is normalised in place if its length is at least 1e-8. */
Q7_API void Q7QToHPT(Q7Quat *q, double *angles);
/** q = the quaternion of heading, pitch, bank. */
Q7_API void Q7HPBToQ(Q7Quat *q, const double *angles);
/** q = the quaternion of heading, pitch, twist. */
Q7_API void Q7HPTToQ(Q7Quat *q, const double *angles);
/** Writes the axis of an HPB triple. @return the angle, as Q7QToAxAngle */
Q7_API double Q7HPBToAxAngle(Q7Vector *axis, const double *angles);
/** Writes the axis of an HPT triple. @return the angle, as Q7QToAxAngle */
Q7_API double Q7HPTToAxAngle(Q7Vector *axis, const double *angles);
/** angles = heading, pitch, bank of a rotation; the axis is normalised in place (a zero one stays). */
Q7_API void Q7AxAngleToHPB(double *angles, Q7Vector *axis, double angle);
/** angles = heading, pitch, twist of a rotation; the axis is normalised in place (a zero one stays). */
Q7_API void Q7AxAngleToHPT(double *angles, Q7Vector *axis, double angle);
/** Checks the conversions of this module against each other over a grid of rotations, half turns included.
 * @return 1 if all agree to 1e-9, else 0 */
Q7_API int32_t Q7TestQ(void);

Q7_END_DECLS

#endif
