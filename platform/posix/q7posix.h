/* q7posix: what the default platform layer offers beyond the contract of q7platform.h: the main loop's arguments and
 * the ids and messages of its own classes. A host that uses these is bound to this layer. */
#ifndef Q7_PLATFORM_POSIX_Q7POSIX_H
#define Q7_PLATFORM_POSIX_Q7POSIX_H

#include "platform/q7platform.h"
#include "ui/q7gmanag.h"

Q7_BEGIN_DECLS

/** Ids of the layer's own choice. */
enum { Q7C_TIMER = 3, Q7C_MSGPORT = 4, Q7C_ICON = 27, Q7C_CURSOR = 28, Q7C_FRAME = 29, Q7C_DRAWING = 30 };
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
 * Drawing, class 30, superclass the draw context, 267: keeps what is drawn as a list of commands and writes it as a
 * picture. It answers the drawing messages of q7platform.h. A command that covers the same pixels as an earlier one
 * takes its place, and what is inverted twice with nothing else drawn in between is left out, so that a list stays
 * short that is drawn to for hours. A copy (method 19) holds copies of the commands. Colours are kept with 8 bits a
 * channel.
 *
 * Pictures are drawn by Cairo, texts in "DejaVu Sans" and "DejaVu Sans Mono" (or what the system has instead of them;
 * where it has no font they are boxes of the usual size), so the bytes of a picture may differ from one version of
 * Cairo to the next. In an SVG picture, inverted drawing has the inverse of the picture's background as its colour; in
 * a PNG picture it inverts pixels.
 *
 * The text form is the same everywhere, and made for tests. Its first line is "drawing WIDTH HEIGHT #RRGGBB" (the
 * background); then, in the order of drawing, a line for each shape:
 *     polyline X,Y X,Y ...      polygon, fill-polygon: the same
 *     rectangle X,Y WIDTH HEIGHT      fill-rectangle, ellipse, fill-ellipse: the same
 *     arc X,Y WIDTH HEIGHT START EXTENT (thousandths of a degree)      fill-arc: the same
 *     text X,Y "TEXT" (with \ before " and \)
 *     image X,Y WIDTH HEIGHT HASH (FNV-1a of its bytes, 64 bits)
 * and in front of it a line for each thing that it uses and that differs from what was said before: "clip X Y WIDTH
 * HEIGHT" or "clip none", "mode copy", "mode opaque" or "mode invert", "color #RRGGBB", "background #RRGGBB" (behind
 * opaque texts), "font SIZE" with "bold", "italic" and "mono", "width PIXELS", "dash solid", "dash dashed" or "dash
 * dotted". The first shape is compared with: no clipping, mode copy, colour #000000, the background of the first line,
 * font 12, width 1, solid.
 */
enum {
  Q7M_DRAWING_WRITE = 30000, /**< Slot: tags 30500 to 30503: writes the picture. 1; 0, reported, when memory or space is
                                short, when it cannot be written, and for a picture without a size. A file that could
                                not be finished is removed. */
  Q7M_DRAWING_DRAW = 30001 /**< a: another drawing; slot: const Q7Point *, null for (0,0): draws all that the other one
                              holds, its left upper pixel there. 1, or 0. */
};
/** Attributes and message tags of a drawing. */
enum {
  Q7A_DRAWING_FORMAT = 30500, /**< Message tag: Q7DRAWING_...; without it the end of the path says it (".svg", ".png",
                                 anything else is text). */
  Q7A_DRAWING_PATH = 30501,   /**< Message tag: const char *: the file to write. */
  Q7A_DRAWING_STREAM = 30502, /**< Message tag: stream (class 5 or of its kind) that receives the bytes instead. */
  Q7A_DRAWING_SCALE = 30503,  /**< Message tag: percent (int32_t, 1 to 1000): pixels of the picture to 100 of the
                                 drawing, 100 by default. */
  Q7A_DRAWING_COUNT = 30504   /**< get: int32_t: number of commands. */
};
/** Formats of a picture. */
enum { Q7DRAWING_TEXT = 0, Q7DRAWING_SVG = 1, Q7DRAWING_PNG = 2 };

/** Registers class 30, and class 267 first. Windows bring it with them. @return 1, or 0, reported */
Q7_API int32_t Q7RegisterDrawingClass(Q7App *app);

/**
 * Window, class 20: beside what q7platform.h says. It needs no display: it is drawn into a picture, and its events come
 * with Q7M_WINDOW_EVENT. Nothing is lost to borders, so the inner size is the size. Attributes 20500 to 20549 that have
 * no meaning here and there are int32_t that are kept for the client. Windows cannot be copied.
 *
 * A window and all in it is drawn when the main loop finds that something asked for it (Q7Refresh, a change of a
 * gadget, a child that came or went), and whenever its picture is asked for: from back to front the window's own area,
 * its children in order (method 41010), each moved to its place and clipped to its rectangle, without those that are
 * not shown; then what was drawn into the window's context. The children of a frame begin at its client area. Geometry
 * managers and groups are no areas themselves: what is drawn and hit is what they manage.
 *
 * The context (20523) is a drawing (class 30) that is made when it is first asked for. The pens 20535 to 20539 are
 * Q7PEN_FOREGROUND, Q7PEN_ACTIVE_TITLE, Q7PEN_FOREGROUND, Q7PEN_ACTIVE_TITLE and Q7PEN_FOREGROUND at first. A window
 * that was given no font (41513) has its parent's, and at the top one of its own, made when it is asked for; get
 * answers null when memory is short.
 */
enum {
  Q7A_WINDOW_FIRST = 20500,
  Q7A_WINDOW_TITLE = 20502,   /**< const char *, UTF-8, copied; null for none. */
  Q7A_WINDOW_CURSOR = 20503,  /**< Q7Object *, referenced: the pointer's shape over it. */
  Q7A_WINDOW_FOCUS = 20504,   /**< Q7Object *, set and get: the widget that has the keyboard; null for none. */
  Q7A_WINDOW_CLOSED = 20505,  /**< Boolean: the user has asked for it to be closed. */
  Q7A_WINDOW_CONTENT = 20512, /**< Q7Object *, referenced: a geometry manager (or a widget) that gets all of the window:
                                 at each resize and when it is realized it is given the window's size and laid out. A
                                 window without a size takes the content's natural one when it is realized. */
  Q7A_WINDOW_PICTURE = 20524, /**< get: Q7Object *: the drawing that the window was drawn into last, the window's own;
                                 null before. */
  /* The four below feed an object that is no widget, such as the compass (class 899), with what happens in a window
   * where no widget takes it: the object receives the method with a: the window, slot: const Q7Event *, coordinates of
   * the window; a method of 0 is not sent. */
  Q7A_WINDOW_POINTER_OBJECT = 20540,  /**< Q7Object *, referenced. */
  Q7A_WINDOW_POINTER_PRESS = 20541,   /**< Method for a press of button 1 (899000 opens a compass), */
  Q7A_WINDOW_POINTER_MOTION = 20542,  /**< for the motion while it is held down (899003), */
  Q7A_WINDOW_POINTER_RELEASE = 20543, /**< and for its release (899001). */
  Q7A_WINDOW_LAST = 20549             /**< Last of the attributes that are kept. */
};
/** Messages of a window. */
enum {
  Q7M_WINDOW_DRAW = 20000,    /**< Slot: drawing, null for its own (20524): draws the window with all in it. 1; 0,
                                 reported, when memory is short. */
  Q7M_WINDOW_PICTURE = 20001, /**< Slot: tags as of Q7M_DRAWING_WRITE: draws the window and writes its picture. 1, or 0
                                 as that message. */
  Q7M_WINDOW_EVENT = 20002, /**< Slot: const Q7Event *, coordinates of the window, copied: does what such an event of a
                               display would do. 1 when somebody took it, else 0; see below. */
  Q7M_WINDOW_WIDGET_AT = 20003 /**< Slot: const Q7Point *: the innermost shown widget at that place, of several the last
                                  one; the window itself where there is no other, null outside of it. */
};
/* What events do:
 *  - Press: goes to the innermost widget at that place and, until one takes it (41011), to its parents. A gadget takes
 *    button 1 and the keyboard; one that is disabled takes it and does nothing. A splitter begins to be dragged. A
 * canvas (class 264) that does not answer 41011 has all of its pointer events come out as change notifications: a:
 * 41011, data: const Q7Event *. Where nobody takes it, the window's pointer object gets it.
 *  - Motion and release: go to who took the press, else motion goes to the widget at that place. A button is pressed
 * when it is released inside. A splitter that is moved sends itself Q7M_SPLITTER_DRAG.
 *  - A widget with a drag handler (41531) is dragged from when the pointer goes "DragThreshold" pixels with button 1
 *    held: it is sent 41014 with the event, and what its handler answers is the object that is dragged (0: none). The
 *    release asks the widget at that place whether it may be dropped (41016), drops it (41015), and tells the source
 * how that went (41017 with the answer).
 *  - Key: goes to the widget that has the keyboard, and to its parents; where nobody takes it, Tab (with shift: back)
 *    gives the keyboard to the next gadget, and a character presses the gadget that has it as its shortcut (21510).
 *  - Resize, where 20501 allows it: sets 41503 and 41504, lays out the content, and notifies (41003) with 20510 and the
 * width as data.
 *  - Close: sets 20505 and notifies with 20505 and 1 as data; what is closed is up to who hears it.
 * While another window is modal (20519), realized and shown, all but a resize is refused. A handler may delete the
 * window or any widget in it. */

/**
 * Frame, class 29, superclass the widget class: gives a geometry manager the insets of what lies inside it. The client
 * area's offset (41509, 41510) is the left and the top inset, and its children and the points of 41008 and 41009 are
 * counted from there. The insets (41522 left, 41523 top, 41524 right, 41525 bottom; ui/q7gmanag.h) are int32_t,
 * Q7FRAME_DEFAULT_INSET at first.
 */
enum {
  Q7A_FRAME_TITLE = 29500, /**< const char *, UTF-8, copied; null for none. Setting one raises a top inset that was not
                              set to the height of a line. */
  Q7FRAME_DEFAULT_INSET = 2
};

/** Splitter, class 284, superclass the widget class: the strip between two panes. It is dragged sideways when it is
 * higher than wide, else up and down. */
enum {
  Q7M_SPLITTER_DRAG = 284000,    /**< Slot: int32_t, pixels: the user has dragged it that far. Keeps the distance and
                                    notifies (41003, not quiet) with a = 284501 and the distance as data, which a placer
                                    hears as 25001. 1; what was moved shows in its place afterwards. */
  Q7A_SPLITTER_DISTANCE = 284501 /**< int32_t: the distance of the last drag. */
};

/**
 * Font, class 11, superclass the root class: a size and a style of the layer's one family. The height and the ascent
 * are measured unless they are set, so that whoever lays out by a font of known measures can have one.
 */
enum {
  Q7A_FONT_FIRST = 11500,   /**< First of the attributes that are kept, all as int32_t. */
  Q7A_FONT_SIZE = 11500,    /**< Pixels of the em square, 1 to 1000; Q7FONT_DEFAULT_SIZE at first. */
  Q7A_FONT_HEIGHT = 11501,  /**< Pixels from line to line. */
  Q7A_FONT_STYLE = 11502,   /**< Q7FONT_BOLD and so on, added; 0 at first. */
  Q7A_FONT_DESCENT = 11503, /**< Pixels below the base line. */
  Q7A_FONT_ASCENT = 11504,  /**< Pixels above the base line. */
  Q7A_FONT_LAST = 11515,    /**< Last of the attributes; 11505 to 11515 are the client's. */
  Q7FONT_DEFAULT_SIZE = 12
};
/** Messages of a font. */
enum { Q7M_FONT_EXTENTS = 11000 /**< a: text; slot: Q7TextExtents * to fill. 1; 0 for null. */ };
/** Styles of a font. */
enum { Q7FONT_BOLD = 1, Q7FONT_ITALIC = 2, Q7FONT_MONO = 4 };

/** Icon, class 27, superclass the root class: a picture, named by 513. */
enum {
  Q7A_ICON_WIDTH = 27500,  /**< int32_t, pixels; setting an image sets both. */
  Q7A_ICON_HEIGHT = 27501, /**< int32_t, pixels. */
  Q7A_ICON_IMAGE = 27502   /**< const Q7Image *: set: copied with its pixels, null takes them away; get: the icon's own,
                              null when it has none. When memory is short, reported, the icon stays as it was. */
};

/** Cursor, class 28, superclass the root class: the same, and the point that it shows. */
enum {
  Q7A_CURSOR_X = 28500,      /**< int32_t, pixels from the left edge to the point that the cursor shows. */
  Q7A_CURSOR_Y = 28501,      /**< int32_t, pixels from the top edge. */
  Q7A_CURSOR_WIDTH = 28502,  /**< As 27500. */
  Q7A_CURSOR_HEIGHT = 28503, /**< As 27501. */
  Q7A_CURSOR_IMAGE = 28504   /**< As 27502. */
};

Q7_END_DECLS

#endif
