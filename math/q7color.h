/* q7color: colours: streaming, conversion between red, green, blue and hue, saturation, brightness, and the class
 * "q7color" whose instances hold one colour.
 *
 * Channels are nominally 0..1. The functions are pure (any thread); the class belongs to the main thread. */
#ifndef Q7_MATH_Q7COLOR_H
#define Q7_MATH_Q7COLOR_H

#include "core/q7oops.h"

Q7_BEGIN_DECLS

/** A colour: 32 bytes. */
typedef struct Q7Color {
  double red;
  double green;
  double blue;
  double fourth; /**< Carried along; not interpreted here. */
} Q7Color;

/** The first three channels: 24 bytes. */
typedef struct Q7ColorRGB {
  double red;
  double green;
  double blue;
} Q7ColorRGB;

/** Hue, saturation and brightness: 24 bytes. */
typedef struct Q7ColorHSL {
  double h; /**< Hue as a fraction of the full turn: 0 red, 1/3 green, 2/3 blue. */
  double s; /**< Saturation, 0..1. */
  double l; /**< Brightness: the largest of red, green and blue, not the mean of largest and smallest. */
} Q7ColorHSL;

/** Class id, and its one attribute: the colour, given and got through a pointer to a Q7Color. */
enum { Q7C_COLOR = 646, Q7A_COLOR_VALUE = 646500 };

/** Writes the four doubles, one stream message each. @return 1; 0 at the first failure, or without colour or stream */
Q7_API int32_t Q7ColorWrite(const Q7Color *c, Q7Object *stream);
/** Reads the four doubles. @return 1 or 0 */
Q7_API int32_t Q7ColorRead(Q7Color *c, Q7Object *stream);
/** Writes three doubles. @return 1 or 0 */
Q7_API int32_t Q7Color3Write(const Q7ColorRGB *c, Q7Object *stream);
/** Reads three doubles. @return 1 or 0 */
Q7_API int32_t Q7Color3Read(Q7ColorRGB *c, Q7Object *stream);

/**
 * hsl of rgb; both may be the same memory. Black (brightness at most 1e-6) has saturation 1 and hue 0, grey hue 0; pure
 * red has hue 1, not 0.
 * @return 1 for a chromatic colour, 0 for black or grey
 */
Q7_API int32_t Q7RgbToHsl(Q7ColorHSL *hsl, const Q7ColorRGB *rgb);
/** rgb of hsl; both may be the same memory. A hue outside 0..1 is not wrapped and can give negative channels. */
Q7_API void Q7HslToRgb(Q7ColorRGB *rgb, const Q7ColorHSL *hsl);

/** Registers the class q7color, once an application; the root class must exist. @return 1 if it exists or was created,
 * 0 if creation failed */
Q7_API int32_t Q7RegisterColorClass(Q7App *app);

Q7_END_DECLS

#endif
