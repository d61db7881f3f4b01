#ifndef Q7_IO_Q7FILE_H
#define Q7_IO_Q7FILE_H
#include "core/q7oops.h"
Q7_BEGIN_DECLS
Q7_API int32_t Q7RegisterFileClass(Q7App *app);
Q7_END_DECLS
#endif
