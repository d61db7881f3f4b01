/* lamps: what the example plug-in libq7lamps.so adds to a host that has the lamp class. */
#ifndef Q7_EXAMPLES_LAMPS_H
#define Q7_EXAMPLES_LAMPS_H

#include "examples/lamp/lamp.h"

enum {
  Q7C_DIMMER = 4101,         /**< "dimmer", superclass the lamp class. */
  Q7M_DIMMER_DIM = 4101001,  /**< Takes one step of brightness off; the new brightness. */
  Q7A_DIMMER_STEP = 4101500, /**< int32_t, percent, 10 at first. */
  Q7C_LEDLAMP = 4102 /**< Takes the place of the lamp class, under its name: needs less than a sixth of the power. */
};

#endif
