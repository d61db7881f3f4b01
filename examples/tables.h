/* tables: how a class of the examples answers method 15, which collects the public attributes of an object's class and
 * its superclasses: by a node with its own table, and the superclass's answer. */
#ifndef Q7_EXAMPLES_TABLES_H
#define Q7_EXAMPLES_TABLES_H

#include "core/q7memory.h"
#include "core/q7root.h"

/** Adds a table to the list in the slot of method 15. @return 1, or 0 without memory or list */
static inline int32_t add_attribute_table(Q7TagItem *slot, const Q7PublicAttribute *table) {
  Q7AttributeTableNode *node =
      slot ? (Q7AttributeTableNode *)Q7AllocMem(sizeof(Q7AttributeTableNode), Q7MEM_CLEAR) : NULL;
  if (!node) return 0;
  node->table = table;
  Q7AddTail((Q7List *)slot, &node->node);
  return 1;
}

#endif
