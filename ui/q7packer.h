/* q7packer: a geometry manager (class 22) that stacks its slaves top to bottom or left to right. Each slave gets a
 * cell, spare room goes to the slaves that expand, and an anchor places the slave in its cell. It can align the slaves'
 * client areas (41509, 41510: where the field behind a label begins) on a common column or row.
 *
 * The packer holds a reference on every slave and on its frame. It is laid out by giving it a rectangle (41501 to
 * 41504, kept by the packer itself) and sending 41000; its natural size is read with 41505 and 41506.
 *
 * Size. A slave of minimum w x h with outer padding px, py and inner padding ix, iy (each on both sides) takes
 * w + 2 ix + 2 px by h + 2 iy + 2 py. With keep size, a size that was once larger is kept until it reaches the maximum.
 * A frame's minimum width widens the packer; its minimum height does not.
 *
 * Layout. What the rectangle has more than the natural size is divided evenly by the number of slaves that expand and
 * may be stretched (41556, 41557) and have a size; the remainder of the division goes to nobody. Slaves of minimum size
 * 0 x 0 take no room. Nothing is done while the packer is hidden or its width or height is 0.
 *
 * A slave may be added twice; each record is laid out, and removed, for itself. A record without a slave takes the room
 * of its paddings in the size and none in the layout. Managers that contain each other are laid out once. */
#ifndef Q7_UI_Q7PACKER_H
#define Q7_UI_Q7PACKER_H

#include "ui/q7gmanag.h"

Q7_BEGIN_DECLS

/** Methods besides the manager's (24000 to 24007). */
enum {
  Q7M_PACKER_FIRST = 22000, /**< Result: the slave of the first record, or null. */
  /** Slot: address of a Q7Point. Result: the last slave whose middle along the stacking direction (y + height / 2, or
   * x + width / 2) is less than the point's coordinate; null when there is none. A middle equal to it does not count. A
   * slave that is inserted behind the answer comes to stand at the point. */
  Q7M_PACKER_SLAVE_BEFORE = 22001,
  /** The same point. Result: the last slave whose span along the stacking direction holds it (from y up to, but not
   * including, y + height), null between and outside the slaves. */
  Q7M_PACKER_SLAVE_AT = 22002,
  /** a: flags; b: anchor; slot: slave. Sends itself 24000 with them. Result: what that answers. */
  Q7M_PACKER_PACK = 22003
};

/** Options of a slave (tags of 24000, 24006 and 24007; int32_t) and attributes. */
enum {
  Q7A_PACKER_ORIENTATION = 22500, /**< Attribute, int32_t: 0 stacks top to bottom, anything else (read as 1) left to
                                     right. 41546 is the same attribute. As a message tag: which of a slave's two sets
                                     of options is meant, by default that of the packer's orientation. 24000 copies the
                                     set that it fills into the other one. */
  Q7A_PACKER_FLAGS = 22501,       /**< Q7PACK_... */
  Q7A_PACKER_ANCHOR = 22502,      /**< Q7ANCHOR_...; any other value puts the slave at 0, 0. */
  Q7A_PACKER_PAD_X = 22503,       /**< Outer padding on both sides. */
  Q7A_PACKER_PAD_Y = 22504,
  Q7A_PACKER_INNER_X = 22505, /**< Inner padding: enlarges the slave. */
  Q7A_PACKER_INNER_Y = 22506,
  Q7A_PACKER_DATA = 22507, /**< get: address of the packer's own data (pointer). */
  Q7A_PACKER_AFTER = 22508 /**< Message tag of 24000: null inserts at the head, a slave behind it. A slave that is not
                              in the packer leaves the new record counted and referenced but in no list, so it is
                              neither sized nor laid out nor found. Without the tag a slave goes to the tail. */
};

/** Option flags. */
enum {
  Q7PACK_EXPAND = 1, /**< Takes a share of the spare room. */
  Q7PACK_FILL_X = 2, /**< As wide as its cell. */
  Q7PACK_FILL_Y = 4  /**< As high as its cell. */
};

/** Where a slave lies in its cell. */
enum {
  Q7ANCHOR_CENTER = 0,
  Q7ANCHOR_TOP = 1,
  Q7ANCHOR_TOP_RIGHT = 2,
  Q7ANCHOR_RIGHT = 3,
  Q7ANCHOR_BOTTOM_RIGHT = 4,
  Q7ANCHOR_BOTTOM = 5,
  Q7ANCHOR_BOTTOM_LEFT = 6,
  Q7ANCHOR_LEFT = 7,
  Q7ANCHOR_TOP_LEFT = 8,
  Q7ANCHOR_ALIGNED = 9 /**< Client origin on the packer's alignment column (or row). */
};

/** Registers the class, the geometry manager first. Later calls answer 1. @return 1, or 0 */
Q7_API int32_t Q7RegisterPackerClass(Q7App *app);

Q7_END_DECLS

#endif
