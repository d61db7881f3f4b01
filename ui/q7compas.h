/* q7compas: the compass (class 899, derived from the root class), an input device that pops up under the mouse. While
 * the mouse moves it shows a rose and a needle and reports which of eight directions, and which ring, the needle points
 * at. Directions are numbered clockwise from 0, up: N, NE, E, SE, S, SW, W, NW.
 *
 * The target receives its method (899502) with a: 0 while the mouse moves, 1 for the final choice; b: the ring, from 0
 * at the centre; slot: the direction. Both are -1 (in all 64 bits) in the dead zone. In between it is only told of
 * changes; it may close or delete the compass, or delete the pop-up's parent, when it is told.
 *
 * Directions and rings are computed in whole numbers, so that equal positions give equal answers everywhere. The
 * sectors' borders have irrational slopes and hold no pixel but the centre.
 *
 * The needle is drawn by inverting pixels, and drawn once more to take it away. What lies beyond the pop-up's edges is
 * clipped by its draw context. User-interface thread. */
#ifndef Q7_UI_Q7COMPAS_H
#define Q7_UI_Q7COMPAS_H

#include "core/q7oops.h"

Q7_BEGIN_DECLS

enum { Q7C_COMPASS = 899 };

/** Methods. */
enum {
  /** Slot: a mouse event (int16_t x at byte 12, y at byte 14, in the parent's pixels). Opens the pop-up around that
   * point, moved inside the parent; the needle begins at its centre. Result: 1, also without a parent, when nothing
   * happens; 0 for null. An open compass reports "Internal error: compass already open" and stays as it is. */
  Q7M_COMPASS_OPEN = 899000,
  /** Tells the target, if there is one, the final choice, then closes. Result: 1. */
  Q7M_COMPASS_FINAL = 899001,
  /** Closes; nothing happens when it is not open. Result: 1. */
  Q7M_COMPASS_CLOSE = 899002,
  /** Slot: a mouse event: moves the needle; nothing happens while it is not open. Result: 1; 0 for null. */
  Q7M_COMPASS_MOVE = 899003,
  /** The pop-up's pixels were lost: draws rose, labels and needle. Nothing happens while 899504 is null. Result: 1. */
  Q7M_COMPASS_REDRAW = 899004
};

/** Attributes of a compass, set at creation or later. Neither object is referenced; a widget that goes is forgotten. */
enum {
  Q7A_COMPASS_PARENT = 899500, /**< Window in which the compass opens; its 20523 is read when it is set. */
  Q7A_COMPASS_TARGET = 899501, /**< Object that is told. */
  Q7A_COMPASS_METHOD = 899502, /**< int32_t: method that it receives. */
  Q7A_COMPASS_RINGS = 899503,  /**< int32_t: number of rings. */
  Q7A_COMPASS_VALUE = 899504,  /**< 64 bits; while it is 0 the compass is not redrawn (899004). */
  /* Class attributes (methods 2 and 3), the same for all; kept as settings. */
  Q7A_COMPASS_RADIUS = 899505,           /**< "Radius", int32_t, 60: pixels from ring to ring. */
  Q7A_COMPASS_DEAD_RADIUS = 899506,      /**< "DeadRadius", int32_t, 5: pixels of the dead zone. */
  Q7A_COMPASS_SPEED = 899507,            /**< "MouseSpeed", double by address, 0.5: needle pixels to mouse pixels. */
  Q7A_COMPASS_INVISIBLE = 899508,        /**< "CompassInvisible", boolean, 0: no rose. */
  Q7A_COMPASS_NEEDLE_INVISIBLE = 899509, /**< "NeedleInvisible", boolean, 0. */
  Q7A_COMPASS_SIMPLE_NEEDLE = 899510     /**< "SimpleNeedle", boolean, 1: a line; else an arrow. */
};

/* Attributes of the parent window that say how the compass is drawn: pen numbers (int32_t): 20535 the rose, 20536 the
 * chosen spoke, 20537 the labels, 20538 the chosen label, 20539 the needle. Of the pop-up's font (41513), 11501 is the
 * height of the labels, 10 without a font, and 11504 their height above the base line, 8 of 10 parts without one. */

/** Registers the class; once per application. @return 1, or 0 */
Q7_API int32_t Q7RegisterCompassClass(Q7App *app);

Q7_END_DECLS

#endif
