/* q7gmanag: the geometry manager (class 24), the abstract base of the layout managers. It tells slaves who manages
 * them, coalesces layout requests and answers neutral sizing queries. Packer, placer and row-column derive from it.
 *
 * A manager is a widget, so managers nest: a manager that is given another one as a slave lays it out like any widget
 * and hands on what concerns the inner one's slaves. */
#ifndef Q7_UI_Q7GMANAG_H
#define Q7_UI_Q7GMANAG_H

#include "ui/q7widget.h"

Q7_BEGIN_DECLS

/** Methods of every geometry manager. All but 24003 take a tag list in the slot unless said otherwise. */
enum {
  /** 24500: slave. The slave's 41543 is set to this manager. Result: the object; null on failure. A manager is never
   * made its own slave. */
  Q7M_GMANAGER_ADD = 24000,
  /** 24500: slave. The slave's 41543 is set to null. Result: non-zero when a manager found and removed it; the base
   * class itself has no slaves and answers 0. */
  Q7M_GMANAGER_REMOVE = 24001,
  /** Lays out at once. Managers implement it; the base class has no layout. Result: the object. */
  Q7M_GMANAGER_LAYOUT = 24002,
  /** Runs a layout that was requested (41000) and is still outstanding. Result: the object. */
  Q7M_GMANAGER_RUN_PENDING = 24003,
  /** a: handler object; b: method; slot: argument. For each slave in order: a gadget (class 21) is handed to the
   * handler, which receives the method with a = the gadget and the argument in the slot; a geometry manager receives
   * 24004 itself. Result: 1; 0 as soon as one answers 0. Implemented by packer, row-column and placer. */
  Q7M_GMANAGER_FOR_EACH = 24004,
  /** 24500 and options: changes how a slave is laid out. Result of packer and placer: the object, 0 when the slave is
   * nowhere below. The base class answers the object. */
  Q7M_GMANAGER_SET_OPTIONS = 24006,
  /** 24500 and places: reads them back; results as 24006. */
  Q7M_GMANAGER_GET_OPTIONS = 24007
};

/** Attributes and message tags. */
enum {
  Q7A_GMANAGER_SLAVE = 24500,      /**< Message tag: the slave. */
  Q7A_GMANAGER_FRAME = 24501,      /**< Object drawn around the slaves (packer, placer). */
  Q7A_GMANAGER_HIDDEN = 24502,     /**< Boolean (packer, placer). */
  Q7A_GMANAGER_KEEP_SIZE = 24503,  /**< Boolean (packer, placer); the base class reads 0. */
  Q7A_GMANAGER_MAX_WIDTH = 24504,  /**< int32_t (packer); the base class reads 16777215. */
  Q7A_GMANAGER_MAX_HEIGHT = 24505, /**< int32_t (packer); the base class reads 16777215. */
  Q7A_GMANAGER_MASTER = 24506      /**< Object: the enclosing manager, or null. Not referenced; forgotten when it
                                      goes. */
};

/** Attributes of a frame, an object of the platform's that is drawn around the slaves of a manager (int32_t, get). */
enum { Q7A_FRAME_LEFT = 41522, Q7A_FRAME_TOP = 41523, Q7A_FRAME_RIGHT = 41524, Q7A_FRAME_BOTTOM = 41525 };

/** "No limit": the largest size a manager asks for. */
enum { Q7_GMANAGER_NO_LIMIT = 16777215 };

/** Registers the class, the widget class first. Later calls answer 1. @return 1, or 0 */
Q7_API int32_t Q7RegisterGmanagerClass(Q7App *app);

Q7_END_DECLS

#endif
