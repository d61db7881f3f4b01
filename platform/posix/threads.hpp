// threads: what the task and signal classes know about the calling thread together.
#ifndef Q7_PLATFORM_POSIX_THREADS_HPP
#define Q7_PLATFORM_POSIX_THREADS_HPP

#include "core/q7oops.h"

namespace q7posix {

// Makes the calling thread the main one, from the start of the object system to its end.
void claim_main_thread();
void release_main_thread();

// The last signal object that woke the calling thread; null when none did. The object may be gone by now.
Q7Object *last_signal();
void set_last_signal(Q7Object *signal);
// Forgets a signal that is being disposed, as far as the calling thread is concerned.
void forget_signal(const Q7Object *signal);

}  // namespace q7posix

#endif
