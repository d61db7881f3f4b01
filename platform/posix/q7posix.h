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
 * Pictures are drawn by Cairo, texts in "DejaVu Sans" and "DejaVu Sans Mono" (or what the system has instead of them),
 * so the bytes of a picture may differ from one version of Cairo to the next. In an SVG picture, inverted drawing has
 * the inverse of the picture's background as its colour; in a PNG picture it inverts pixels.
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
 * Frame, class 29, superclass the widget class: gives a geometry manager the insets of what lies inside it (41522 to
 * 41525, ui/q7gmanag.h), which can be set; each is Q7FRAME_DEFAULT_INSET pixels at first. The client area's offset
 * (41509, 41510) is the left and the top inset.
 */
enum { Q7FRAME_DEFAULT_INSET = 2 };

/** Splitter, class 284, superclass the widget class. */
enum {
  Q7M_SPLITTER_DRAG = 284000,    /**< Slot: int32_t, pixels: the user has dragged it that far. Keeps the distance and
                                    sends its manager (41543) 25001 with a = 284501, b = the splitter, slot = the
                                    distance; the manager's answer, the movement applied. */
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
