// fcm: the class-level methods of the file class, called by its dispatcher.
#ifndef Q7_IO_FCM_HPP
#define Q7_IO_FCM_HPP

#include "core/q7oops.h"

namespace q7 {

// Answers a class-level method; false for any other method id.
bool file_system_request(uint32_t method, uint64_t a, Q7TagItem *slot, uint64_t &result);

// Removes the file of a path in the library's form.
bool remove_file(const char *path);

}  // namespace q7

#endif
