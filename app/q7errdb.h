/* q7errdb: the error database, a class without instances that maps numeric error ids to message texts. Classes fill it
 * at registration; whoever meets an error id asks it for the words. Messages go to the class record,
 * Q7ClassFind(Q7C_ERRDB). Main thread only. */
#ifndef Q7_APP_Q7ERRDB_H
#define Q7_APP_Q7ERRDB_H

#include "core/q7oops.h"

Q7_BEGIN_DECLS

enum { Q7C_ERRDB = 596 }; /**< Class id, "q7errdb". */

/** Methods of the class record. */
enum {
  /** a: error id; slot: text (not copied; it stays the caller's). The last registration of an id wins.
   * Answers 1; 0 if the table could not grow, which leaves it as it was. */
  Q7M_ERRDB_REGISTER = 596000,
  /** Slot: error id. Unlike registration it reads the slot alone, a is ignored. Answers the text, or 0. */
  Q7M_ERRDB_LOOKUP = 596001
};

/** Registers the class once an application; registers the root class first. @return 1, or 0 on failure */
Q7_API int32_t Q7RegisterErrorDatabaseClass(Q7App *app);

Q7_END_DECLS

#endif
