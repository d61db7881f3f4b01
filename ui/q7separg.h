/* q7separg: the separator (class 1465): a thin line between gadgets, a window of the platform's (class 20). */
#ifndef Q7_UI_Q7SEPARG_H
#define Q7_UI_Q7SEPARG_H

#include "ui/q7widget.h"

Q7_BEGIN_DECLS

/** Attributes: 41546 is the orientation (int32_t, 1 at first: the line runs from left to right, 0: from top to bottom;
 * a change redraws the separator). It draws itself when the platform asks it to (41010). 41505 and 41506 read 3, 41547
 * reads 0 and 41548 reads 1 whatever was set; method 41025 answers 2. Everything else is the window's. */

/** Registers the class, the platform's window class first; once per application. @return 1, or 0 */
Q7_API int32_t Q7RegisterSeparatorGadgetClass(Q7App *app);

Q7_END_DECLS

#endif
