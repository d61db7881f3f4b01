/* q7rowcol: a packer (class 23) whose slaves are packers: rows that wrap. A slave that is added goes into the current
 * row until that is full, by count (23500) or by size (41507, 41508), then a new row is made. Rows are named "row0",
 * "row1" and so on, and keep counting when the rows are rebuilt. The first slave of a row is always accepted.
 *
 * Options of a slave (24006, 24007) and its removal (24001) reach it through the packer's search of nested managers.
 * Removing a slave leaves its row as it is: the room in the current row is not given to later slaves. A slave's manager
 * (41543) is its row. */
#ifndef Q7_UI_Q7ROWCOL_H
#define Q7_UI_Q7ROWCOL_H

#include "ui/q7packer.h"

Q7_BEGIN_DECLS

/** Methods besides the packer's. */
enum {
  /** Takes all slaves out of all rows, drops the rows and adds the slaves anew in the same order with the same options.
   * A slave for which memory is short is left out. Result: the object. */
  Q7M_ROWCOL_REBUILD = 23000
};

/** Attributes besides the packer's. 22500 (41546 is the same): the direction of the rows, 0 (the default): rows stack
 * their slaves top to bottom and lie side by side, 1: rows run left to right, one below the other. The row-column as a
 * packer always has the other orientation. A change rebuilds the rows.
 *
 * 41507 and 41508 (set): the width, resp. height, that a row may have while the orientation is 1, resp. 0, and 23500 is
 * 0. A change rebuilds the rows when 23500 is 0. */
enum {
  Q7A_ROWCOL_PER_ROW = 23500 /**< int32_t: slaves a row; 0: as many as fit the limit; negative: one row for all. */
};

/** Registers the class, the packer first. Later calls answer 1. @return 1, or 0 */
Q7_API int32_t Q7RegisterRowColClass(Q7App *app);

Q7_END_DECLS

#endif
