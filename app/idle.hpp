// idle: the life of the idle queues, for the application that owns them.
#ifndef Q7_APP_IDLE_HPP
#define Q7_APP_IDLE_HPP

#include "core/q7context.h"

namespace q7 {

// Makes the lists; false on exhaustion.
bool idle_create(Q7App *app);

// The steps of teardown, in this order. Each tolerates lists that were never made.
void idle_flush_all(Q7App *app);  // runs rounds until nothing is left
void idle_drain(Q7App *app);      // executes what came since, normal messages first; requests run at once from here on
void idle_free(Q7App *app);       // frees spent and held messages, the latter without executing them

}  // namespace q7

#endif
