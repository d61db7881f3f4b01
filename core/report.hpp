// report: reporting inside the library: the position of the call site, then the text; and the end of the process when
// an invariant is broken.
#ifndef Q7_CORE_REPORT_HPP
#define Q7_CORE_REPORT_HPP

#include "core/q7report.h"

namespace q7 {

// Prints a failed assertion to standard error, logs it and stops the process.
[[noreturn]] void assertion_failed(const char *text, const char *module, int32_t line);

}  // namespace q7

#define Q7_REPORT_ERROR(module, ...) (Q7ErrPos(module, __LINE__), Q7_Error(__VA_ARGS__))
#define Q7_REPORT_INFO(module, ...) (Q7InfoPos(module, __LINE__), Q7_Info(__VA_ARGS__))

#endif
