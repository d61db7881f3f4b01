// window: the window's instance data, shared by its attributes (q7window) and its events (q7events).
#ifndef Q7_PLATFORM_POSIX_WINDOW_HPP
#define Q7_PLATFORM_POSIX_WINDOW_HPP

#include "core/q7lists.h"
#include "platform/posix/q7posix.h"
#include "platform/posix/shape.hpp"

namespace q7posix {

struct Window {  // instance data
  Q7Node link;   // in the list of all windows
  Q7Object *self;
  uint64_t values[Q7A_WINDOW_LAST - Q7A_WINDOW_FIRST + 1];  // the numbers among the attributes
  char *title;                                              // owned (20502)
  Q7Object *cursor;                                         // referenced (20503)
  Q7Object *content;                                        // referenced (20512)
  Q7Object *pointer_object;                                 // referenced (20540)
  Q7Object *font;                                           // referenced (41513)
  Q7Object *own_font;                                       // referenced: made because nobody gave one
  Q7Object *context;                                        // 20523: referenced when it is the window's own
  int32_t own_context;
  Q7Object *picture;  // referenced (20524); null before the first drawing
  int32_t realized;
  int32_t dirty;  // to be drawn by the main loop
  // Widgets that are known by their address alone: looked for in the tree before they are used.
  Q7Object *focus;  // has the keyboard (20504)
  Q7Object *grab;   // took the press that is still held; the window itself for its pointer object
  int32_t grab_button;
  Q7Object *drag_source;  // can be dragged from, and took the press or is dragged from
  Q7Object *dragged;      // referenced: what is being dragged
  int32_t press_x, press_y;

  uint64_t &value(uint32_t tag) { return values[tag - Q7A_WINDOW_FIRST]; }
};

// The window part of an object; null when it has none.
Window *window_data(Q7Object *obj);

// Q7M_WINDOW_EVENT.
uint64_t window_event(Window &window, const Q7Event &event);
// Gives the keyboard to a widget below the window, null: to nobody. False when it does not take it.
bool give_focus(Q7Object *self, Q7Object *widget);
// A window that goes: whoever is at work for it learns so.
void window_leaves(const Q7Object *self);

// Gives the content the window's size.
void lay_out_content(Window &window);

}  // namespace q7posix

#endif
