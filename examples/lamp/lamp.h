/* lamp: a small class of a host's own, as an example of one: attributes that texts and settings can reach, a class-wide
 * setting, own data in object streams. The example plug-in replaces it. */
#ifndef Q7_EXAMPLES_LAMP_H
#define Q7_EXAMPLES_LAMP_H

#include "core/q7oops.h"

Q7_BEGIN_DECLS

enum {
  Q7C_LAMP = 4100,
  Q7M_LAMP_SWITCH = 4100001,     /**< Off (0) when it shines, else to the default brightness; the new brightness. */
  Q7A_LAMP_BRIGHTNESS = 4100500, /**< int32_t, percent, 0 to 100; "Brightness". */
  Q7A_LAMP_COLOR = 4100501,      /**< Address of three doubles; "Color". */
  Q7A_LAMP_POWER = 4100502,      /**< get: double, watts at this brightness; "Power". */
  Q7A_LAMP_DEFAULT_BRIGHTNESS = 4100503 /**< Class attribute: int32_t, percent; kept in the settings. */
};

/** Registers the class. @return 1, or 0 */
int32_t register_lamp_class(Q7App *app);

Q7_END_DECLS

#endif
