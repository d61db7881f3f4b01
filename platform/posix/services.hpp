// services: what start-up and teardown ask of the layer's other files.
#ifndef Q7_PLATFORM_POSIX_SERVICES_HPP
#define Q7_PLATFORM_POSIX_SERVICES_HPP

#include "core/q7types.h"

namespace q7posix {

// Gives every open catalogue its texts in the application's language, in place.
void refresh_catalogues(Q7App *app);

// Closes the settings store and whatever keys were left open.
void close_settings();

}  // namespace q7posix

#endif
