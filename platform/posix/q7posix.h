/* q7posix: what the default platform layer offers beyond the contract of q7platform.h: the main loop's arguments and
 * the ids and messages of its own classes. A host that uses these is bound to this layer. */
#ifndef Q7_PLATFORM_POSIX_Q7POSIX_H
#define Q7_PLATFORM_POSIX_Q7POSIX_H

#include "platform/q7platform.h"

Q7_BEGIN_DECLS

/** Ids of the layer's own choice. */
enum { Q7C_TIMER = 3, Q7C_MSGPORT = 4, Q7C_ICON = 27, Q7C_CURSOR = 28, Q7C_FRAME = 29 };
/** Ids that the library and its clients ask for. */
enum { Q7C_FONT = 11, Q7C_OSGADGET = 26, Q7C_OSGADGET2 = 80, Q7C_SPLITTER = 284 };

/** What Q7ProcessEventsA does (its argument). */
enum {
  Q7PROCESS_RUN = 0,  /**< Runs until Q7AppTerminate; the result is 1. */
  Q7PROCESS_POLL = 1, /**< One round without waiting; 1 if anything ran. */
  Q7PROCESS_ONCE = 2  /**< Waits until something ran; 1 when it did. */
};
/** Tag of Q7ProcessEventsA: it ends after that many milliseconds (uint32_t) with 0, unless it ended before. */
enum { Q7A_PROCESS_TIMEOUT = 3520 };

/**
 * Timer, class 3, superclass the root class: sends a message from the main loop when its time has come. Main thread
 * only. Creation does not start it. A timer that is late by several intervals fires once.
 */
enum {
  Q7M_TIMER_START = 3000, /**< Starts, or starts anew; the first message follows one interval later. 1, or 0 without a
                             target. */
  Q7M_TIMER_STOP = 3001   /**< 1 if it was running, else 0. */
};
/** Attributes of a timer; all but the last can be set at any time. */
enum {
  Q7A_TIMER_INTERVAL = 3500, /**< uint32_t, milliseconds, at least 1. Takes effect with the next start or firing. */
  Q7A_TIMER_REPEAT = 3501,   /**< Boolean: goes on until stopped; otherwise it stops before its one message. */
  Q7A_TIMER_TARGET = 3502,   /**< Object, referenced. */
  Q7A_TIMER_METHOD = 3503,   /**< uint32_t: sent to the target with a = the timer, b = 0, slot = the argument. */
  Q7A_TIMER_ARGUMENT = 3504, /**< 64-bit value. */
  Q7A_TIMER_RUNNING = 3505   /**< get: int32_t, 1 while started. */
};

/**
 * Message port, class 4, superclass the root class: brings messages from any thread to the main thread, in the order in
 * which each thread put them. With a target the main loop delivers them; without one they wait to be taken. What is
 * left in a port is dropped with it. Nobody may put a message into a port that is being disposed.
 */
enum {
  Q7M_MSGPORT_PUT = 4000,  /**< Any thread. a, b, slot: three 64-bit values. 1; 0 on exhaustion. */
  Q7M_MSGPORT_TAKE = 4001, /**< Any thread. Slot: struct Q7PortMessage * to fill. 1; 0 when the port is empty. */
  Q7M_MSGPORT_COUNT = 4002 /**< Any thread. Number of messages that wait. */
};
/** Attributes of a message port; main thread. */
enum {
  Q7A_MSGPORT_TARGET = 4500, /**< Object, referenced; null (the default) keeps messages for Q7M_MSGPORT_TAKE. */
  Q7A_MSGPORT_METHOD = 4501  /**< uint32_t: sent to the target with the message's three values as a, b and slot. */
};

/** A message as Q7M_MSGPORT_TAKE gives it out. */
typedef struct Q7PortMessage {
  uint64_t a;    /**< First value. */
  uint64_t b;    /**< Second value. */
  uint64_t slot; /**< Third value. */
} Q7PortMessage;

/**
 * Window, class 20, superclass the widget class, 41. Attributes 20500 to 20549 are kept as they are set and given back;
 * all are int32_t but the draw context. Windows cannot be copied.
 */
enum {
  Q7A_WINDOW_FIRST = 20500,        /**< First of the attributes that are kept. */
  Q7A_WINDOW_INNER_WIDTH = 20510,  /**< get: int32_t, width inside the border. */
  Q7A_WINDOW_INNER_HEIGHT = 20511, /**< get: int32_t. */
  Q7A_WINDOW_DRAW_CONTEXT = 20523, /**< Q7Object *, not referenced; null until one is set. */
  Q7A_WINDOW_LAST = 20549,         /**< Last of them. */
  Q7A_WINDOW_FONT = 41513          /**< Q7Object *, referenced: the font its texts are measured with; null at first. */
};

/**
 * Frame, class 29, superclass the widget class: gives a geometry manager the insets of what lies inside it. The client
 * area's offset (41509, 41510) is the left and the top inset.
 */
enum {
  Q7A_FRAME_LEFT = 41522,   /**< int32_t, pixels; Q7FRAME_DEFAULT_INSET at first, as are the others. */
  Q7A_FRAME_TOP = 41523,    /**< int32_t */
  Q7A_FRAME_RIGHT = 41524,  /**< int32_t */
  Q7A_FRAME_BOTTOM = 41525, /**< int32_t */
  Q7FRAME_DEFAULT_INSET = 2
};

/** Splitter, class 284, superclass the widget class. */
enum {
  Q7M_SPLITTER_DRAG = 284000,    /**< Slot: int32_t, pixels: the user has dragged it that far. Keeps the distance and
                                    sends its manager (41543) 25001 with a = 284501, b = the splitter, slot = the
                                    distance; the manager's answer, the movement applied. */
  Q7A_SPLITTER_DISTANCE = 284501 /**< int32_t: the distance of the last drag. */
};

/** Font, class 11, superclass the root class. Attributes 11500 to 11515 are kept as int32_t. */
enum {
  Q7A_FONT_FIRST = 11500,  /**< First of the attributes that are kept. */
  Q7A_FONT_HEIGHT = 11501, /**< Pixels from line to line; 10 at first. */
  Q7A_FONT_ASCENT = 11504, /**< Pixels above the base line; 8 at first. */
  Q7A_FONT_LAST = 11515,   /**< Last of them. */
  Q7FONT_DEFAULT_HEIGHT = 10,
  Q7FONT_DEFAULT_ASCENT = 8
};

/** Icon, class 27, and cursor, class 28, superclass the root class: an object names a picture (513). */
enum {
  Q7A_ICON_WIDTH = 27500,  /**< int32_t, pixels. */
  Q7A_ICON_HEIGHT = 27501, /**< int32_t, pixels. */
  Q7A_CURSOR_X = 28500,    /**< int32_t, pixels from the left edge to the point that the cursor shows. */
  Q7A_CURSOR_Y = 28501     /**< int32_t, pixels from the top edge. */
};

Q7_END_DECLS

#endif
