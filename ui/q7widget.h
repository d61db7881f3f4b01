/* q7widget: the abstract base of every user-interface element (class 41): a rectangle inside its parent, a tree of
 * parent and children, names and paths, callback records, an extension object that mirrors the widget on the platform
 * side, state flags, the process-wide drop handlers and the process-wide colour scheme.
 *
 * Ownership. A widget holds a reference on each of its children (methods 9 and 10) and none on its parent, target,
 * manager, extension object, drag handler, drop handler or the objects of its callback records. When one of those is
 * itself a widget and goes first, the widget forgets it: the field becomes null, a callback record or a registered drop
 * handler is removed. For objects that are no widgets the client takes care of that.
 *
 * A child that is deleted leaves its parent's list by itself. Taking a child away from its parent (attribute 41500)
 * keeps the child alive, also when the parent held its only reference: the client then owns it with a count of 0.
 * A widget is never made its own parent or the child of one of its descendants; such a set is ignored.
 *
 * Depth. Messages travel down a tree level by level on the stack, so trees have a deepest level, Q7_WIDGET_DEEPEST: a
 * child that would lie deeper, or whose own children would, is not added, and "Widgets are nested too deep" is reported
 * (module q7widget). Layout managers nest that deep as well; a message that meets a deeper one goes no further there,
 * with the same report.
 *
 * Everything here belongs to the user-interface thread and takes no lock. */
#ifndef Q7_UI_Q7WIDGET_H
#define Q7_UI_Q7WIDGET_H

#include "core/q7oops.h"

Q7_BEGIN_DECLS

/** Ids of the user-interface classes and of the platform's classes that they stand on. */
enum {
  Q7C_WINDOW = 20,
  Q7C_GADGET = 21,
  Q7C_PACKER = 22,
  Q7C_ROWCOL = 23,
  Q7C_GMANAGER = 24,
  Q7C_PLACER = 25,
  Q7C_WIDGET = 41,
  Q7C_SPGADGET = 43,
  Q7C_SLCTBL = 74,
  Q7C_MXGADGET = 395,
  Q7C_MXILTGADGET = 828,
  Q7C_SEPARATOR = 1465
};

/** A point, as methods 41008, 41009, 41015 and 41016 and the packer's hit tests take it by address. */
typedef struct Q7Point {
  int16_t x; /**< Pixels from the left. */
  int16_t y; /**< Pixels from the top. */
} Q7Point;

/** Methods of a widget. Unless said otherwise the result is the object. */
enum {
  /** Layout request; sent on to each child in order. */
  Q7M_WIDGET_LAYOUT = 41000,
  /** Slot: tags 41514 to 41517: appends a callback record; 0 when out of memory. */
  Q7M_WIDGET_ADD_CALLBACK = 41001,
  /** Slot: the same tags: removes the first record that equals every non-zero value. */
  Q7M_WIDGET_REMOVE_CALLBACK = 41002,
  /** a: value; b: quiet; slot: data: tells the target, then the callback records. Quiet: only the records' methods. A
   * method receives (value, this widget, x), x being the data or what the record's source attribute reads. */
  Q7M_WIDGET_CHANGED = 41003,
  /** Slot: child: appends it to the children and adds a reference. Result: 1 when this widget is realized, else 0. A
   * child that is there already, or that contains this widget, is left alone. */
  Q7M_WIDGET_CHILD_ADDED = 41004,
  /** Slot: child: takes it out of the children and releases it. Result: 1, or 0 when it was no child. */
  Q7M_WIDGET_CHILD_REMOVED = 41005,
  /** Realizes each child, then marks this widget as realized. */
  Q7M_WIDGET_REALIZE = 41006,
  /** The reverse: unrealizes each child, then takes the mark back. */
  Q7M_WIDGET_UNREALIZE = 41007,
  /** Slot: address of a Q7Point in this widget's coordinates, turned into top-level coordinates. Result: 1; 0 for
   * null. */
  Q7M_WIDGET_TO_TOP = 41008,
  /** Slot: address of a Q7Point in top-level coordinates, turned into this widget's. Result: 1; 0 for null. */
  Q7M_WIDGET_FROM_TOP = 41009,
  /** Slot: data d: the drag handler receives the drag method with (this widget, d, drag data); then this widget sends
   * itself 41003 (41014, 1, d), also without a handler. Result: the handler's answer, or 0. */
  Q7M_WIDGET_START_DRAG = 41014,
  /** a: dropped object; slot: address of a Q7Point in top-level coordinates, not changed (null counts as 0, 0). The
   * drop is offered here, then to the drop handler's parent, then to this widget's parent. Result: the first non-null
   * answer, or 0. A widget that is already being asked about the same object is not asked again. */
  Q7M_WIDGET_DROP = 41015,
  /** The same question in advance: the drop handler's can-drop method first, then the registered handlers. */
  Q7M_WIDGET_CAN_DROP = 41016,
  /** Slot: argument: the drag handler receives the drag-finished method with (argument, this widget, drag data).
   * Result: its answer, or 0. */
  Q7M_WIDGET_DRAG_FINISHED = 41017,
  /** A size of this widget changed: its manager (41543), or without one its parent, is asked to lay out (41000).
   * Result: what that answers, or 0. */
  Q7M_WIDGET_REQUEST_LAYOUT = 41018,
  /** Result: the widget at the top of the tree, this widget when it has no parent. */
  Q7M_WIDGET_TOP_LEVEL = 41019,
  /** a: size; slot: buffer: Q7MakeName. Result: 1 or 0. */
  Q7M_WIDGET_MAKE_NAME = 41022,
  /** Slot: path: Q7FindByName from this widget. Result: widget or null. */
  Q7M_WIDGET_FIND_BY_NAME = 41023,
  /** Slot: address of a Q7Point in this widget's coordinates. Result: the last shown child whose rectangle holds it,
   * or null. */
  Q7M_WIDGET_CHILD_AT = 41024,
  /** Result: flags AND 3 (attributes 41547 and 41548). */
  Q7M_WIDGET_STATE = 41025,
  /** Slot: name: Q7FindByNameAnywhere with depth 0. Result: widget or null. */
  Q7M_WIDGET_FIND_ANYWHERE = 41026,
  /** Result: 1 when this widget and every ancestor is shown (41511), else 0. */
  Q7M_WIDGET_IS_SHOWN = 41030,
  /** a: class id; b: handler object; slot: method: appends a drop handler to the process-wide table. Result: 1, or 0
   * after the report "too many handlers" when 99 are there. */
  Q7M_WIDGET_ADD_DROP_HANDLER = 41031,
  /** Slot: argument: sent on with it to each child. */
  Q7M_WIDGET_BROADCAST = 41032,
  /** Sent on unchanged to the parent. Result: the parent's; 1 from a top-level widget. */
  Q7M_WIDGET_ASK_PARENT = 41033,
  /** Result: 1. */
  Q7M_WIDGET_ALWAYS = 41036,
  /** Puts the colour scheme back to the defaults. Result: 0. */
  Q7M_WIDGET_RESET_COLORS = 41037,
  /** Slot: percent: resets the scheme, multiplies each colour by percent / 100 and clips to 0..1. Result: 0. */
  Q7M_WIDGET_BRIGHTNESS = 41038,
  /** a: handler object; b: method; slot: argument. The handler receives the method for each child in order: a: the
   * child; b: this widget; slot: the argument; the first answer of 0 ends the walk. Children may come and go meanwhile.
   * Result: 1 when all answered non-zero, so also without children; else 0. */
  Q7M_WIDGET_EACH_CHILD = 41039
  /* 41010 to 41013, 41020, 41021, 41027 to 41029, 41034 and 41035 are hooks for the platform's classes (pointer, keys,
   * focus): a widget that does not implement them answers 0 without a report, so they may be sent to any widget. */
};

/** Attributes of a widget; int32_t and set and got unless another type is given. Booleans read as 0 or 1. */
enum {
  Q7A_WIDGET_PARENT = 41500,     /**< Object: parent, null for a top-level widget. */
  Q7A_WIDGET_X = 41501,          /**< Left edge relative to the parent. */
  Q7A_WIDGET_Y = 41502,          /**< Top edge relative to the parent. */
  Q7A_WIDGET_WIDTH = 41503,      /**< Stored as given; also becomes the minimum while that is 0. */
  Q7A_WIDGET_HEIGHT = 41504,     /**< The same for the height. */
  Q7A_WIDGET_MIN_WIDTH = 41505,  /**< Raises the width to it. */
  Q7A_WIDGET_MIN_HEIGHT = 41506, /**< Raises the height to it. */
  Q7A_WIDGET_ROOM_WIDTH = 41507, /**< Width that a manager's user offers to the manager's slaves; a row-column wraps its
                                    rows at it, a widget ignores it. get: 0. */
  Q7A_WIDGET_ROOM_HEIGHT = 41508,   /**< The same for heights. */
  Q7A_WIDGET_CLIENT_X = 41509,      /**< get: offset of the client area; 0 unless a subclass has a label or border. */
  Q7A_WIDGET_CLIENT_Y = 41510,      /**< get: the same downwards. */
  Q7A_WIDGET_SHOWN = 41511,         /**< Boolean; 1 at creation. A change is passed on to the extension object. */
  Q7A_WIDGET_VALUE512 = 41512,      /**< 64 bits for the client, stored unchanged. */
  Q7A_CALLBACK_OBJECT = 41514,      /**< Message tag: object of a callback record. */
  Q7A_CALLBACK_SOURCE = 41515,      /**< Message tag: attribute read from this widget. */
  Q7A_CALLBACK_DESTINATION = 41516, /**< Message tag: attribute set on the object. */
  Q7A_CALLBACK_METHOD = 41517,      /**< Message tag: method sent to the object. */
  Q7A_WIDGET_TARGET = 41518,        /**< Object told of changes. Also shows the widget when it is not null and hides it
                                       when it is; a change of that is passed on to the extension object. */
  Q7A_WIDGET_TARGET_ATTRIBUTE = 41519, /**< Attribute set on the target, 0 for none. */
  Q7A_WIDGET_TARGET_METHOD = 41520,    /**< Method sent to the target when there is no target attribute. */
  Q7A_WIDGET_DRAG_HANDLER = 41531,     /**< Object. 41531 to 41545 live in a block made when the first is set; when
                                          memory is short the value is dropped. */
  Q7A_WIDGET_DRAG_METHOD = 41532,
  Q7A_WIDGET_DRAG_DATA = 41533,       /**< 64 bits. */
  Q7A_WIDGET_DROP_HANDLER = 41534,    /**< Object. */
  Q7A_WIDGET_CAN_DROP_METHOD = 41535, /**< Receives (object, local point, drop data). */
  Q7A_WIDGET_DROP_METHOD = 41536,     /**< The same. */
  Q7A_WIDGET_DROP_DATA = 41537,       /**< 64 bits. */
  Q7A_WIDGET_EXTENSION = 41539,       /**< Object that mirrors the widget on the platform side. */
  Q7A_WIDGET_DRAW_DROP_FRAME = 41540, /**< Class attribute "DrawDropFrame" (boolean, 0). */
  Q7A_WIDGET_VALUE541 = 41541,        /**< For the client's drag handler. */
  Q7A_WIDGET_DRAG_FINISHED_METHOD = 41542,
  Q7A_WIDGET_MANAGER = 41543,        /**< Object: geometry manager, set by it. */
  Q7A_WIDGET_VALUE545 = 41545,       /**< For the client's drop handler. */
  Q7A_WIDGET_INHERITED = 41546,      /**< A change is set on all children as well. */
  Q7A_WIDGET_FLAG1 = 41547,          /**< Boolean, bit 1 of the state (41025). */
  Q7A_WIDGET_FLAG2 = 41548,          /**< Boolean, bit 2 of the state. */
  Q7A_WIDGET_FLAG4 = 41549,          /**< Boolean. */
  Q7A_WIDGET_ORIGIN_X = 41550,       /**< get: 0; what the platform's origin is off from the parent's. */
  Q7A_WIDGET_ORIGIN_Y = 41551,       /**< get: 0. */
  Q7A_WIDGET_DRAG_THRESHOLD = 41552, /**< Class attribute "DragThreshold" (20). */
  Q7A_WIDGET_TARGET_INDEX = 41553,   /**< Index of an indexed target attribute; -1, the start value: not indexed. */
  Q7A_WIDGET_DRAG_TIME_THRESHOLD = 41554, /**< Class attribute "DragTimeThreshold" (0). */
  Q7A_WIDGET_VALUE555 = 41555,            /**< For the client; starts at 0. */
  Q7A_WIDGET_STRETCH_DOWN = 41556,   /**< Boolean: a packer stacking top to bottom may stretch it; 1 at creation. */
  Q7A_WIDGET_STRETCH_ACROSS = 41557, /**< Boolean: the same for left to right. */
  Q7A_WIDGET_VALUE558 = 41558,       /**< Ignored; get: 0. */
  Q7A_WIDGET_SHIFT_X = 41559,        /**< Alignment shift from a packer; ignored by a widget. */
  Q7A_WIDGET_SHIFT_Y = 41560,
  /* Class attributes: the colour scheme. Colours are four doubles by address. While "DefineColorScheme" is 0 reading
   * one asks the platform, whatever was stored. */
  Q7A_WIDGET_BACKGROUND_COLOR = 41561,
  Q7A_WIDGET_FOREGROUND_COLOR = 41562,
  Q7A_WIDGET_TOP_SHADOW_COLOR = 41563,
  Q7A_WIDGET_BOTTOM_SHADOW_COLOR = 41564,
  Q7A_WIDGET_DOWN_COLOR = 41565,
  Q7A_WIDGET_DEFINE_COLOR_SCHEME = 41566, /**< Boolean, 0. */
  Q7A_WIDGET_DOWN_FOREGROUND_COLOR = 41567,
  Q7A_WIDGET_INPUT_BACKGROUND_COLOR = 41568,
  Q7A_WIDGET_ACTIVE_TITLE_COLOR = 41569,
  Q7A_WIDGET_INACTIVE_TITLE_COLOR = 41570,
  Q7A_WIDGET_TITLE_TEXT_COLOR = 41571
};

/** Levels of a tree of widgets, and of layout managers within one another. A level takes less than 1 KiB of stack in
 * the library's classes. */
enum { Q7_WIDGET_DEEPEST = 4096 };

/** Registers the class; a second call for the same application answers 1. @return 1, or 0 when refused */
Q7_API int32_t Q7RegisterWidgetClass(Q7App *app);

/** The widget class's dispatcher. */
Q7_API uint64_t Q7WidgetDispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags);

/**
 * Applies attributes. Those that a widget does not know go to the superclass one by one, unless init is non-zero: then
 * they are left alone, since creation has handed them to the superclass already.
 * @return the last item that the superclass answered non-zero for (the last unknown one), or null
 */
Q7_API Q7TagItem *Q7WidgetSet(Q7Class *cl, Q7Object *widget, Q7TagItem *tags, int32_t init);

/**
 * Resolves a path of names that begins with the starting widget's own name ("dialog/ok"). A leading "/" starts at the
 * top of the tree, leading "../" at the parent, "./" is skipped. A widget's name is its object name, else its class's
 * name, else "noname".
 * @param cl not used; may be null
 * @return the first match in list order, or null
 */
Q7_API Q7Object *Q7FindByName(Q7Class *cl, Q7Object *widget, const char *path);

/**
 * Searches depth first, the widget before its children. With depth 0 the search starts at the top of the tree and only
 * what follows the name's last "/" is used; any other depth searches from the given widget for the name as it is.
 * @return widget or null
 */
Q7_API Q7Object *Q7FindByNameAnywhere(Q7Class *cl, Q7Object *widget, const char *name, int32_t depth);

/**
 * Appends "/" and the name of every widget from the top of the tree to this one to the text in buffer. A part is
 * appended while the current length + its name's length + 1 is less than size.
 * @return 1; 0 when a part does not fit (the buffer keeps what was appended), for a null buffer and for a buffer whose
 * text is not ended within size
 */
Q7_API int32_t Q7MakeName(Q7Class *cl, Q7Object *widget, int32_t size, char *buffer);

Q7_END_DECLS

#endif
