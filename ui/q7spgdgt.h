/* q7spgdgt: the SP gadget (class 43): a gadget of its own kind that behaves like any gadget. */
#ifndef Q7_UI_Q7SPGDGT_H
#define Q7_UI_Q7SPGDGT_H

#include "ui/q7gadget.h"

Q7_BEGIN_DECLS

/** Registers the class, the gadget class first; once per application. @return 1, or 0 */
Q7_API int32_t Q7RegisterSPGadgetClass(Q7App *app);

/** The class's dispatcher: passes everything on to the gadget class, attributes one by one. */
Q7_API uint64_t Q7SpgadgetDispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b,
                                   Q7TagItem *tags);

Q7_END_DECLS

#endif
