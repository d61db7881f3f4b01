/* q7easymx: a whole group of radio buttons in one call (class 304, superclass the group class 181): its packer, and one
 * native gadget a label. The group owns both and takes them away again when it goes. */
#ifndef Q7_UI_Q7EASYMX_H
#define Q7_UI_Q7EASYMX_H

#include "ui/q7mx.h"

Q7_BEGIN_DECLS

enum { Q7C_EASYMX = 304 };

/**
 * Registers class 304, class 181, class 828 and the packer first; the platform's native gadgets are asked for too.
 *
 * At creation: 41500 the window; 828500, 828501 and 828502 the arrays; 395500 the active ordinal (-1: none);
 * 181501 exclusive mode, which is on unless it is given as 0; 22500 the orientation (0: top to bottom, else left to
 * right), also settable later. Each item becomes a gadget of class 26, or of class 80 where it has an image, with
 * 41500, 21500, 21507 (if any), 21513, 21508 = 1 and 21509 = whether it is the active one, packed to fill its row or
 * column. Creation answers null when a gadget or the packer cannot be made. 181503 is the group's own packer: it can be
 * read, and packed into another manager. A layout request (41000) to the group goes to its packer as well.
 * 181505 reads the value of the active item. At disposal the members are taken from packer and window and released.
 * @return 1, or 0
 */
Q7_API int32_t Q7RegisterEasyMxClass(Q7App *app);
enum {
  Q7A_EASYMX_COUNT = 181504, /**< get: int32_t: number of items. */
  Q7A_EASYMX_VALUE = 181505  /**< get: 64 bits: value of the active item, 0 when there is none. */
};

Q7_END_DECLS

#endif
