/* q7oops2: class settings, kept per class in the application's settings store under the class's path name, and the
 * orderly freeing of classes.
 *
 * A class with a table of public attributes (class tag 510) answers class methods 2 and 3 for those that are
 * class-wide; rows it does not know there are passed over. Stored forms, by the row's type: int and bool as integers;
 * float as text with ten digits; four-double colours, three-double colours and vectors as texts with six digits a
 * channel; text as itself. A class method 2 gets integers by value and everything else by address (a three-double
 * colour as four doubles); the text is only valid during the call. */
#ifndef Q7_CORE_Q7OOPS2_H
#define Q7_CORE_Q7OOPS2_H

#include "core/q7oops.h"

Q7_BEGIN_DECLS

/** Loads a class's settings from the store. @return 1 when the class has no public attributes or no name, else 0 */
Q7_API int32_t Q7ClassRead(Q7Class *cl);
/** Stores a class's settings. @return 1 when the class has no public attributes or no name, else 0 */
Q7_API int32_t Q7ClassWrite(Q7Class *cl);
/** Writes the settings of a class and all below it, children first, and lets each free its caches (method 27). @return
 * 1 */
Q7_API int32_t free_cache(Q7Class *cl);
/** Frees a class and all below it, children first: method 24, extension methods, record. @return 1 */
Q7_API int32_t free_class(Q7Class *cl);

Q7_END_DECLS

#endif
