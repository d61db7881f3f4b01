// loop: what the main loop runs besides the application's idle queues. Each source is a file of its own; the loop asks
// them in turn.
#ifndef Q7_PLATFORM_POSIX_LOOP_HPP
#define Q7_PLATFORM_POSIX_LOOP_HPP

#include <cstdint>

#include "core/q7types.h"

namespace q7posix {

// Makes and closes the descriptor that wakes the loop. Opening twice keeps the first.
bool open_loop();
void close_loop();
// Ends every main loop of the application. Any thread.
void terminate_loop();

// Nanoseconds of the monotonic clock.
int64_t monotonic_ns();
constexpr int64_t kNever = INT64_MAX;

// Timers: fires what is due; true if anything was. When the next one is due, or kNever.
bool fire_timers();
int64_t next_timer();

// Message ports: delivers what waited when the round began; true if anything did.
bool deliver_messages();

}  // namespace q7posix

#endif
