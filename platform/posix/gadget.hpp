// gadget: what a native gadget is, shared by its behaviour (q7osgadget) and its look (gadget_look).
#ifndef Q7_PLATFORM_POSIX_GADGET_HPP
#define Q7_PLATFORM_POSIX_GADGET_HPP

#include "platform/posix/drawing.hpp"
#include "platform/posix/shape.hpp"

namespace q7posix {

struct Gadget {        // instance data
  char *label;         // owned (21500); null for none
  char *text;          // owned (21504); null stands for the empty text
  Q7Object *image;     // referenced (21507)
  uint64_t value;      // 21513
  int32_t disabled;    // not 21502
  int32_t look;        // 21503
  int32_t caret;       // 21505: 0 to the length of the text, in front of a whole character
  int32_t help;        // 21506
  int32_t takes_part;  // 21508
  int32_t selected;    // 21509
  int32_t shortcut;    // 21510
  int32_t pressed;     // 1: the pointer went down on it and is inside; -1: it is outside now
  int32_t has_keyboard;
  int32_t edited;  // the text was changed and nobody was told yet
  // The natural size, and what it was computed for.
  struct Natural {
    int32_t known;
    FontSpec font;
    int32_t look, width, height, client_x;
  } natural;
};

// The look that an automatic one has become.
int32_t look_of(const Gadget &g, Q7Object *self);

// Size that the gadget's label and look need, and where its field begins.
const Gadget::Natural &natural_size(Gadget &g, Q7Object *self);

// Draws it. False when there is nothing to see.
bool draw_gadget(Gadget &g, Q7Object *self, const Q7Rect &rect, Q7Object *dc);

}  // namespace q7posix

#endif
