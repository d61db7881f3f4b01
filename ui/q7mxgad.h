/* q7mxgad: classes without behaviour that mark a kind, for Q7ObjectIsOfKind: mutual-exclusion gadgets (395, and 828
 * below it) and selectable objects (74). Messages to them go to the gadget class, resp. the root class. */
#ifndef Q7_UI_Q7MXGAD_H
#define Q7_UI_Q7MXGAD_H

#include "ui/q7gadget.h"

Q7_BEGIN_DECLS

/** Class 395 "q7mxgad" below the gadget class; once per application, the superclass first. @return 1, or 0 */
Q7_API int32_t Q7RegisterMxGadgetClass(Q7App *app);
/** Class 828 "q7mxiltg" below class 395. @return 1, or 0 */
Q7_API int32_t Q7RegisterMxIltGadgetClass(Q7App *app);
/** Class 74 "q7slctbl" below the root class. @return 1, or 0 */
Q7_API int32_t Q7RegisterSlctblClass(Q7App *app);

Q7_END_DECLS

#endif
