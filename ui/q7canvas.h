/* q7canvas: the base of widgets into which a renderer draws images (class 264, superclass the widget class), and the
 * process-wide registry of canvas kinds, by which plug-ins say what they can draw into. The class itself shows nothing
 * and answers its attributes with neutral values; concrete canvases derive from it. Main thread. */
#ifndef Q7_UI_Q7CANVAS_H
#define Q7_UI_Q7CANVAS_H

#include "ui/q7widget.h"

Q7_BEGIN_DECLS

enum { Q7C_CANVAS = 264 };

/** Methods; the first two go to the class or to any canvas. */
enum {
  /** a: the kind, 64 bits (a class, a name), kept as it is; slot: a number (int32_t). Appends a record to the registry.
   * Result: 1, 0 when out of memory. */
  Q7M_CANVAS_REGISTER_KIND = 264004,
  /** a: handler object; b: method id; slot: argument. The handler receives the method for each record in the order of
   * registration: a: the kind; b: its number, with its sign; slot: the argument; the first answer of 0 ends the walk.
   * Kinds that are registered meanwhile are left out. Result: 1 when all answered non-zero, so also when there is no
   * record; else 0. */
  Q7M_CANVAS_EACH_KIND = 264005
  /* 264006 to 264009 are a renderer's: before and after drawing and the like. A canvas without pixels has nothing to do
   * and answers 1. */
};

/* Attributes. 264500 to 264509, 264511 to 264517 and 264519 read 0 (int32_t). Setting 264506 and 264510 to 264513 is
 * ignored. Concrete canvases give them their meaning. */

/** Registers the class, the widget class first, with an empty registry of kinds; once per application. A canvas is
 * created without attributes: the tags of the creating call are deliberately ignored, a name or a parent is set
 * afterwards. @return 1, or 0 */
Q7_API int32_t Q7RegisterCanvasClass(Q7App *app);

Q7_END_DECLS

#endif
