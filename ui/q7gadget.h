/* q7gadget: the base class of what the user operates (class 21): buttons, fields, check boxes. The gadgets with a
 * native look are the platform layer's; they derive from this class. A gadget lives in a window, its parent, and may
 * show a model, on which it holds a reference. The class's catalogue holds the texts of the standard buttons. */
#ifndef Q7_UI_Q7GADGET_H
#define Q7_UI_Q7GADGET_H

#include "ui/q7widget.h"

Q7_BEGIN_DECLS

/** Methods; 21000 and 21001 are the subclasses': a gadget answers null. */
enum { Q7M_GADGET_HOOK0 = 21000, Q7M_GADGET_HOOK1 = 21001 };

/** Attributes besides the widget's. */
enum {
  Q7A_GADGET_MODEL = 21501,    /**< Object; referenced. */
  Q7A_GADGET_VALUE502 = 21502, /**< Accepted and ignored; get: 0 (int32_t). So are the next three. */
  Q7A_GADGET_VALUE508 = 21508,
  Q7A_GADGET_VALUE509 = 21509,
  Q7A_GADGET_VALUE510 = 21510,
  Q7A_GADGET_CONFLICT_TEXT = 21512,  /**< Class attribute, set: the conflict colour as a text of three numbers separated
                                        by commas, "1,0.5,0"; ignored up to five characters. Numbers that are missing
                                        leave their channels as they are. */
  Q7A_GADGET_VALUE513 = 21513,       /**< Accepted and ignored. */
  Q7A_GADGET_CONFLICT_COLOR = 21515, /**< Class attribute "ConflictColor": three doubles by address; red at first. */
  Q7A_GADGET_FLAG1 = 21516,          /**< Boolean flags for subclasses. */
  Q7A_GADGET_FLAG2 = 21517,
  Q7A_GADGET_FLAG4 = 21518
};

/** Texts of the catalogue, for method 25 (index in the slot). */
enum {
  Q7GADGET_NO_WINDOW = 0,
  Q7GADGET_CLOSE = 1,
  Q7GADGET_NAME = 2,
  Q7GADGET_YES = 3,
  Q7GADGET_NO = 4,
  Q7GADGET_CANCEL = 5,
  Q7GADGET_OK = 6,
  Q7GADGET_APPLY = 7,
  Q7GADGET_CLOSE_KEY = 8, /**< Keyboard shortcuts of the standard buttons. Close and Cancel share "C" by default. */
  Q7GADGET_YES_KEY = 9,
  Q7GADGET_NO_KEY = 10,
  Q7GADGET_CANCEL_KEY = 11,
  Q7GADGET_OK_KEY = 12,
  Q7GADGET_APPLY_KEY = 13,
  Q7GADGET_DESCRIPTION = 20
};

/** Registers the class, the widget class first; once per application. A gadget needs a window (41500) at creation:
 * without one "No window for gadget" is reported and creation answers null. @return 1, or 0 */
Q7_API int32_t Q7RegisterGadgetClass(Q7App *app);

/** The gadget class's dispatcher. */
Q7_API uint64_t Q7GadgetDispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags);

/**
 * Steps the digit under the cursor of a numeric field: value plus or minus 10 to the power (digits - position), its
 * integer part. With the cursor on the minus sign (value < 0, position <= 1) the sign changes instead.
 * @param digits digits of the number
 * @param position cursor position
 * @param direction negative steps down, anything else up
 * @return the new value, kept within 32 bits
 */
Q7_API int32_t Q7ScrollNumber(int32_t value, int32_t digits, int32_t position, int32_t direction);

Q7_END_DECLS

#endif
