/* q7attrib: an object that carries the description of one public attribute (class 1682, derived from the root class),
 * so that descriptions can be passed around and stored as objects. */
#ifndef Q7_UI_Q7ATTRIB_H
#define Q7_UI_Q7ATTRIB_H

#include "core/q7oops.h"

Q7_BEGIN_DECLS

enum { Q7C_ATTRIBUTE = 1682 };

/** Attributes; all may be given at creation, set and got. */
enum {
  Q7A_ATTRIBUTE_VALUE = 1682500, /**< 64 bits for the client. */
  /** Q7PublicAttribute, by address. set: copied whole, its name duplicated (null stays null); null empties the
   * description; when memory is short the old one stays. get: copied out; the name is the object's own and lasts until
   * the next set or the object's end. */
  Q7A_ATTRIBUTE_DESCRIPTION = 1682501,
  Q7A_ATTRIBUTE_NUMBER = 1682502 /**< int32_t for the client. */
};

/** Registers the class; once per application. A copy (19) has a name of its own. @return 1, or 0 */
Q7_API int32_t Q7RegisterAttributeClass(Q7App *app);

Q7_END_DECLS

#endif
