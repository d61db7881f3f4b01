#ifndef Q7_IO_Q7PATH_H
#define Q7_IO_Q7PATH_H
#include "core/q7types.h"
Q7_BEGIN_DECLS
Q7_API char *Q7AppGetCurrentDir(Q7App *app, char *buffer);
Q7_END_DECLS
#endif
