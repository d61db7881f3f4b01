/* q7angles: orientations as angle triples. Every conversion here has an inverse that reproduces the axes to rounding
 * everywhere, straight up and down included, and the triple within the principal ranges.
 *
 * An orientation is three axes: hor, vert, norm (q7coordsys.h); the zero triple of every kind is hor = (1,0,0),
 * vert = (0,1,0), norm = (0,0,1). Angles are radians. The kinds of triples, each three consecutive doubles:
 *
 *   HPB    heading, pitch, bank. Heading turns the normal from +Z towards +X about Y; a positive pitch tilts it towards
 *          -Y; bank turns the horizontal axis towards -Y.
 *   HPT    heading, pitch, twist. The same normal; the twist turns the frame, clockwise seen from the normal's tip,
 *          starting from the shortest rotation of +Z onto the normal.
 *   Intui  the three turns of the rotation handles (Q7CsRotate): about the horizontal axis, then about the new vertical
 *          axis, then about the new normal, each counterclockwise seen from the axis's tip.
 *   Euler  three turns about axes in any of twelve orders: the body turns about its own first axis, then about its own
 *          new second, then about its own new third; clockwise seen from the axis's tip, as Q7MxRotate. The matrix is
 *          Q7MxRotate(first) Q7MxRotate(second) Q7MxRotate(third).
 *
 * Principal ranges: heading, bank, twist, first and third turns (-pi, pi]; pitch and the second turn [-pi/2, pi/2], for
 * Euler orders that use an axis twice [0, pi]. Where the first and the third turn act about the same line (a vertical
 * normal for HPB) the first is 0 and the third carries the whole turn. Axes are expected to be orthonormal.
 *
 * Matrices as in q7matrix.h: the axes are columns 0, 1, 2. Pure functions; any thread. */
#ifndef Q7_MATH_Q7ANGLES_H
#define Q7_MATH_Q7ANGLES_H

#include "math/q7matrix.h"

Q7_BEGIN_DECLS

/* ---- Heading, pitch, bank and heading, pitch, twist ---- */

/** The three axes of an HPB triple. */
Q7_API void Q7HPBToXYZ(double h, double p, double b, Q7Vector *hor, Q7Vector *vert, Q7Vector *norm);
/** The three axes of an HPT triple. */
Q7_API void Q7HPTToXYZ(double h, double p, double t, Q7Vector *hor, Q7Vector *vert, Q7Vector *norm);
/** The HPB triple of three axes, stored at h, p, b. */
Q7_API void Q7HPBFromXYZ(double *h, double *p, double *b, const Q7Vector *hor, const Q7Vector *vert,
                         const Q7Vector *norm);
/** The HPT triple of three axes, stored at h, p, t. Near a normal of -Z the shortest rotation, and with it the twist,
 * changes quickly; the axes come back exactly all the same. */
Q7_API void Q7HPTFromXYZ(double *h, double *p, double *t, const Q7Vector *hor, const Q7Vector *vert,
                         const Q7Vector *norm);
/** dir = the direction (the normal axis) of a heading and a pitch. @return dir */
Q7_API Q7Vector *Q7HPToDir(double h, double p, Q7Vector *dir);
/** Stores the heading of a unit direction, 0 for a vertical one, at h. @return the pitch */
Q7_API double Q7DirToHP(double *h, const Q7Vector *dir);
/** Replaces the HPB triple in angles by the equivalent one (other whole turns, or the heading turned over by pi) that
 * lies nearest to previous, so that an animated or edited orientation does not jump. With a vertical normal heading and
 * bank are also traded against each other. @return angles */
Q7_API double *Q7ChooseNearestHPB(double *angles, const double *previous);
/** The same for an HPT triple; with a vertical normal the heading is taken from previous. @return angles */
Q7_API double *Q7ChooseNearestHPT(double *angles, const double *previous);

/** angles = the HPB triple of the first three columns of m. */
Q7_API void Q7MxToHPB(const Q7Matrix *m, double *angles);
/** m = the matrix whose first three columns are the axes of the HPB triple; column 3 and row 3 as in the identity. */
Q7_API void Q7MxFromHPB(Q7Matrix *m, const double *angles);

/* ---- Intui triples ---- */

/** angles = the Intui triple of the first three columns of m. */
Q7_API void Q7MxToIntui(const Q7Matrix *m, double *angles);
/** m = the matrix whose first three columns are the axes of the Intui triple; the rest as in the identity. */
Q7_API void Q7MxFromIntui(Q7Matrix *m, const double *angles);
/** m = the placement at origin o with the axes of the Intui triple. @return m */
Q7_API Q7Matrix *Q7MxIntuiSpace(Q7Matrix *m, const Q7Vector *o, const double *angles);
/** The handles at rest: m = the identity and angles = (0, 0, 0); either may be null. */
Q7_API void Q7MxIntuiIdentity(Q7Matrix *m, double *angles);

/* ---- Euler triples ---- */

/** Axis orders: the axes of the first, second and third turn. */
enum {
  Q7EULER_XYZ = 0,
  Q7EULER_XZY = 1,
  Q7EULER_YXZ = 2,
  Q7EULER_YZX = 3,
  Q7EULER_ZXY = 4,
  Q7EULER_ZYX = 5,
  Q7EULER_XYX = 6,
  Q7EULER_XZX = 7,
  Q7EULER_YXY = 8,
  Q7EULER_YZY = 9,
  Q7EULER_ZXZ = 10,
  Q7EULER_ZYZ = 11
};

/** angles = the Euler triple, in the given order, of three axes. @return 1; 0, and angles untouched, for an unknown
 * order */
Q7_API int32_t Q7EulerFromXYZ(double *angles, const Q7Vector *hor, const Q7Vector *vert, const Q7Vector *norm,
                              int32_t order);
/** The same of the first three columns of m. @return 1 or 0 */
Q7_API int32_t Q7EulerFromMx(double *angles, const Q7Matrix *m, int32_t order);
/** m = the rotation about the coordinate origin by an Euler triple in the order Q7EULER_XYZ. @return m */
Q7_API Q7Matrix *Q7MxRotateEuler(Q7Matrix *m, const double *angles);
/** The same in the given order. @return 1; 0, and m untouched, for an unknown order */
Q7_API int32_t Q7MxRotateEulerGeneral(Q7Matrix *m, const double *angles, int32_t order);

Q7_END_DECLS

#endif
