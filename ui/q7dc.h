/* q7dc: the draw context (class 267, derived from the root class): the interface through which widgets draw. This class
 * is abstract: its drawing methods draw nothing and answer 0, which callers take as a failure to draw. Concrete
 * contexts are the platform layer's; they derive from this class and answer the methods that they can draw. A context
 * remembers the task that created it, since drawing belongs to one thread. */
#ifndef Q7_UI_Q7DC_H
#define Q7_UI_Q7DC_H

#include "core/q7oops.h"

Q7_BEGIN_DECLS

enum { Q7C_DRAW_CONTEXT = 267 };

/** Methods. Ids 267000 to 267090 draw; what those that are not listed here do is a concrete context's business. Results
 * of drawing methods are non-zero when something was drawn; this class answers 0. */
enum {
  Q7M_DC_FIRST_DRAWING = 267000,
  Q7M_DC_SET_PEN = 267006,  /**< Slot: number of the pen that is used from here on (int32_t). */
  Q7M_DC_SET_MODE = 267007, /**< Slot: Q7DC_MODE_... */
  /** a: count; slot: address of that many Q7Point (pairs of int16_t): lines from each to the next one. */
  Q7M_DC_POLYLINE = 267014,
  Q7M_DC_LAST_DRAWING = 267090,
  Q7M_DC_TASK = 267091 /**< Result: the task that created (or copied) the context; null if its thread had none. */
  /* 267092 to 267095, 267098 to 267114 and 267122 answer 0; 267096 and 267097 answer 1: questions about what a context
   * can do, with the answers of one that can do nothing. */
};

/** How a pen changes what is there. */
enum {
  Q7DC_MODE_COPY = 0,   /**< Pixels take the pen's colour. */
  Q7DC_MODE_OPAQUE = 1, /**< The same; gaps of texts and patterns take the background's colour. */
  Q7DC_MODE_INVERT = 4  /**< Pixels are inverted, so that drawing the same again takes it away. */
};

/** Attributes. 267502 to 267506, 267520 to 267524, 267529, 267533, 267534 and 267536 can be set on every context; this
 * class ignores them. */
enum {
  Q7A_DC_SCALE = 267529 /**< double, get: pixels of the device to a pixel of the context; 1.0. */
};

/** Registers the class; once per application. @return 1, or 0 */
Q7_API int32_t Q7RegisterDrawContextClass(Q7App *app);

Q7_END_DECLS

#endif
