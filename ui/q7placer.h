/* q7placer: a geometry manager (class 25) that puts each slave at a place and size given in pixels or as a fraction of
 * the placer's inner rectangle. Slaves can be joined by splitters: a splitter is a slave whose record names its
 * neighbours; when the user drags it the boundary moves, both neighbours keep at least their minimum size, and the
 * placer lays itself out again.
 *
 * The placer holds a reference on every slave and on its frame.
 *
 * Relative or absolute. A relative value of 0 or more is used, and relative values start at 0.0. Absolute x, y, width
 * and height therefore count only where the matching relative value was made negative through its pointer form
 * (25508 to 25511): a slave added with absolute values alone lies at the inner corner with size 0 x 0. Computing the
 * natural size, in contrast, only looks at relative values above 0.
 *
 * Natural size. Every get of an object attribute computes it: each slave is to have its minimum size at its place. Once
 * laid out, a placer that is too small for a slave beside a splitter first shifts the fractions on both sides of the
 * splitter, and grows only by what that does not give.
 *
 * A splitter is any widget that notifies (41003) with the value 284501 and answers the attribute 284501 with the
 * distance in pixels that it was dragged. */
#ifndef Q7_UI_Q7PLACER_H
#define Q7_UI_Q7PLACER_H

#include "ui/q7gmanag.h"

Q7_BEGIN_DECLS

/** Methods besides the manager's. 24000 takes 24500 and 25500 to 25516; 24006 replaces each field that is given; 24007
 * reads 25500 to 25503 as int32_t, 25504 to 25507 as percent (int32_t, rounded; -1 for a negative fraction) and 25508
 * to 25511 as doubles. */
enum {
  /** Slot: 24500, 25500 to 25511: replaces a slave's placement: an absolute field that is not given becomes -1, a
   * relative one stays. Result: the object, or 0 when the slave is not a direct one. */
  Q7M_PLACER_REPLACE = 25000,
  /** a: 284501; b: the splitter: what a dragged splitter's callback sends. Result: the pixels by which the boundary
   * moved (after that the placer is laid out); 0 for any other code, an unknown splitter, one that does not lie between
   * two slaves and a placer of width or height 0. */
  Q7M_PLACER_SPLITTER_DRAGGED = 25001
};

/** Message tags of a slave's placement, and attributes. */
enum {
  Q7A_PLACER_X = 25500, /**< Pixels from the inner corner, int32_t; -1: not given. */
  Q7A_PLACER_Y = 25501,
  Q7A_PLACER_WIDTH = 25502, /**< Not given: the slave's minimum width. */
  Q7A_PLACER_HEIGHT = 25503,
  Q7A_PLACER_PERCENT_X = 25504, /**< Percent of the inner width, int32_t; negative: not given. */
  Q7A_PLACER_PERCENT_Y = 25505,
  Q7A_PLACER_PERCENT_WIDTH = 25506,
  Q7A_PLACER_PERCENT_HEIGHT = 25507,
  Q7A_PLACER_RELATIVE_X = 25508, /**< Address of a double fraction; wins over the percent; null: not given. */
  Q7A_PLACER_RELATIVE_Y = 25509,
  Q7A_PLACER_RELATIVE_WIDTH = 25510,
  Q7A_PLACER_RELATIVE_HEIGHT = 25511,
  Q7A_PLACER_SPLITTER = 25512, /**< Boolean: the slave is a splitter. */
  Q7A_PLACER_LEFT = 25513,     /**< A splitter's neighbours: slaves that are in the placer already. */
  Q7A_PLACER_RIGHT = 25514,
  Q7A_PLACER_TOP = 25515,
  Q7A_PLACER_BOTTOM = 25516,
  Q7A_PLACER_SPLITTERS_SHOWN = 25517, /**< Attribute, set: boolean, 1 at creation; 0: showing the placer leaves the
                                         splitters as they are. */
  Q7A_PLACER_DATA = 25518,            /**< Attribute, get: address of the placer's own data. */
  Q7A_PLACER_SPLITTER_SIZE = 25519    /**< Class attribute "Splitter Size" (int32_t, 6): thickness of every splitter
                                         of the process; takes effect with the next layout. */
};

/** Notification code of a splitter, and its attribute that holds the dragged distance (int32_t). */
enum { Q7_SPLITTER_DRAGGED = 284501 };

/** Registers the class, the geometry manager first. Later calls answer 1. @return 1, or 0 */
Q7_API int32_t Q7RegisterPlacerClass(Q7App *app);

Q7_END_DECLS

#endif
