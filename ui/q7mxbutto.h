/* q7mxbutto: a native button (class 827, superclass the platform's gadget class 26) that steps through arrays of
 * labels, images and values at each press, and that can be a member of a group. */
#ifndef Q7_UI_Q7MXBUTTO_H
#define Q7_UI_Q7MXBUTTO_H

#include "ui/q7mx.h"

Q7_BEGIN_DECLS

enum { Q7C_MXBUTTON = 827 };

/**
 * Registers class 827 behind the platform's native gadgets. A button with items (828500 to 828502, at creation or
 * later) shows the item of its ordinal: when that is set (395500), the item's label (21500), its image (21507) if it
 * has one, and its value (21513) are set on the gadget. A press (41003, not quiet) goes on to the next item, after the
 * last one to the first, and is passed on with the new ordinal as value and data; without items it is passed on as it
 * is. 21508 (1 at first) and 21509 are kept, so that the button can be a member of a group.
 * @return 1, or 0
 */
Q7_API int32_t Q7RegisterMxButtonClass(Q7App *app);
enum {
  Q7M_MXBUTTON_NEXT = 827000 /**< Slot: how many items to go on (int32_t, negative: back), around the ends, without
                                notification. Result: 1, 0 when there are no items. */
};

Q7_END_DECLS

#endif
