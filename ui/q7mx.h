/* q7mx: groups of which one member is active at a time, as in a set of radio buttons. "Mx" stands for mutual exclusion.
 *
 * Class 181, the group, superclass the mutual-exclusion gadgets (395). It does not lay out its members: a geometry
 * manager holds them, and the group walks that manager's slaves (24004) to find, count, select and configure them. A
 * gadget takes part while its attribute 21508 is not 0; ordinals count the gadgets that take part, in the manager's
 * order, from 0. Attribute 21509 is whether a member shows as the active one.
 * q7easymx.h makes whole groups from arrays of labels; q7mxbutto.h is a button that steps through such arrays.
 *
 * The group holds a reference on its manager and none on its members and its parent. What a group reads as its active
 * member and ordinal is looked up when it is asked for, so it stays right when members come, go, or change whether they
 * take part. A gadget is hooked when the manager is set (at creation, or with 181503, which may be the same manager
 * again): one that comes to the manager or begins to take part later is hooked by setting 181503 once more.
 *
 * User-interface thread. */
#ifndef Q7_UI_Q7MX_H
#define Q7_UI_Q7MX_H

#include "ui/q7mxgad.h"

Q7_BEGIN_DECLS

enum { Q7C_MX = 181 };

/** Methods of a group. 181001 to 181004, 181006 and 181007 are what the group passes to its manager's walk; each
 * receives a slave in a and answers non-zero to go on. */
enum {
  /** What a member's callback sends: a: value; b: the member; slot: the member again (its attribute 528). Without b the
   * member is the slot. Activates it and notifies: the group sends itself 41003 with the ordinal as value and data.
   * Every other id from 181000 to 181499 that is not listed does the same. Answers the group. While the group itself is
   * setting the states of its members these messages are ignored. */
  Q7M_MX_ACTIVATE = 181000,
  Q7M_MX_HOOK = 181001,       /**< Slot: non-zero adds the callback record of a member, 0 removes it. */
  Q7M_MX_SET_STATE = 181002,  /**< The group's own; slot: its search record. */
  Q7M_MX_FIND = 181003,       /**< The group's own. */
  Q7M_MX_SET_NTH = 181004,    /**< The group's own. */
  Q7M_MX_SET_MEMBER = 181005, /**< a: number of a gadget, counting all of the manager's; slot: tag list that is set on
                                 it. 1, or 0 when there is no such gadget. */
  Q7M_MX_SET_ATTRIBUTE = 181006, /**< Slot: address of a Q7TagItem that is set on the slave. */
  Q7M_MX_SET_ITEM = 181007       /**< The same. */
};

/** Attributes of a group. 181501, 181503, 395500 and 41500 (a window, as for every gadget) are taken at creation. */
enum {
  Q7A_MX_ACTIVATE = 181500,  /**< set: object: activates this member (null: none) without notification. */
  Q7A_MX_EXCLUSIVE = 181501, /**< int32_t: not 0: the group sets 21509 of every member; 0: it only clears the others',
                                since the activated member has selected itself. */
  Q7A_MX_ACTIVE = 181502,    /**< get: object: the active member, or null. */
  Q7A_MX_MANAGER = 181503,   /**< Object, referenced: the geometry manager; its members are hooked, those of the old one
                                are unhooked. */
  Q7A_MX_ORDINAL = 395500    /**< int32_t: ordinal of the active member, -1 for none. set: activates by ordinal, without
                                notification; an ordinal that nobody has activates none. */
  /* 41500, when it changes, is also set on every member; 21502 and 21506 are set on every member; 41501 to 41504 and
   * 41511 are the manager's, as are 41501 to 41506, 41509 and 41510 when they are read. Without a manager they are the
   * group's own. */
};

/** Arrays from which classes 304 and 827 make their items. They are copied. */
enum {
  /** Labels: const char *const *, ended by null; they say how many items there are. A label is attribute 21500. */
  Q7A_MX_LABELS = 828500,
  /** Values: const uint64_t *, one an item, attribute 21513; without them the values are the ordinals. */
  Q7A_MX_VALUES = 828501,
  /** Images: Q7Object *const *, one an item, null for none, attribute 21507. Referenced by class 827. */
  Q7A_MX_IMAGES = 828502
};

/** Registers class 181, the geometry manager and class 395 first; once per application. @return 1, or 0 */
Q7_API int32_t Q7RegisterMxClass(Q7App *app);

Q7_END_DECLS

#endif
