// tree: going through a window's widgets, to draw them and to find them. Managers and groups are widgets without an
// area of their own; what lies in them is taken as lying in their parent.
#ifndef Q7_PLATFORM_POSIX_TREE_HPP
#define Q7_PLATFORM_POSIX_TREE_HPP

#include "platform/posix/shape.hpp"
#include "platform/q7platform.h"

namespace q7posix {

template <class T>
T attribute(Q7Object *obj, uint32_t tag, T value = T{}) {
  Q7TagItem query[2] = {{tag, word(&value)}, {Q7TAG_END, 0}};
  send(obj, Q7M_GET, 0, 0, query);
  return value;
}

inline void set_attribute(Q7Object *obj, uint32_t tag, uint64_t value) {
  Q7TagItem list[2] = {{tag, value}, {Q7TAG_END, 0}};
  send(obj, Q7M_SET, 0, 0, list);
}

// A notification that is not quiet.
inline uint64_t notify(Q7Object *obj, uint32_t code, uint64_t data) {
  constexpr uint32_t kChanged = 41003;
  return send(obj, kChanged, code, 0, slot(data));
}

inline bool is_kind(Q7Object *obj, uint32_t clid) { return obj && Q7ClassIdIsOfKind(obj->cl->header.clid, clid); }

// The window that a widget lies in, itself not counted; null when there is none.
Q7Object *window_of(Q7Object *widget);
// The outermost one, itself counted.
Q7Object *outermost_window(Q7Object *widget);

// Calls each(child) for the children of a widget, in order, until it answers false. True when none did.
bool each_child(Q7Object *widget, bool (*each)(void *context, Q7Object *child), void *context);
template <class Each>
bool for_children(Q7Object *widget, Each each) {
  return each_child(
      widget, [](void *context, Q7Object *child) -> bool { return (*static_cast<Each *>(context))(child); }, &each);
}

// A widget of a window and where its coordinates begin in those of the window.
struct Spot {
  Q7Object *widget;
  int64_t x, y;
};
constexpr int kMostDeep = 200;

// The widgets at a place of the window, outermost first, the window itself not among them; how many.
int widgets_at(Q7Object *window, int64_t x, int64_t y, Spot (&path)[kMostDeep]);
// Looks for a widget below the window by its address alone, so it may be gone already.
bool locate(Q7Object *window, const Q7Object *widget, Spot *spot);

// The layer's own message to a window: its draw context when there is one, without making it.
constexpr uint32_t Q7M_WINDOW_KEPT_CONTEXT = 20091;

// Draws the window and all in it. False when the drawing's memory is short.
bool draw_tree(Q7Object *drawing, Q7Object *window);

// The gadget that Tab gives the keyboard to behind that one (null: to the first), around the ends; null when there is
// none.
Q7Object *next_focus(Q7Object *window, const Q7Object *after, bool backwards);
// The first enabled gadget with that shortcut.
Q7Object *gadget_of_key(Q7Object *window, int32_t character);

// A widget of the layer that goes: no window counts on it any more. Others are only known by their address until
// another one has it.
void widget_leaves(const Q7Object *widget);

// Registers frame and splitter.
int32_t register_frame_classes(Q7App *app);

// The layer's gadgets and windows ask for drawing, and the main loop does it; true when anything was drawn.
bool draw_windows();

}  // namespace q7posix

#endif
