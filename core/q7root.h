/* q7root: the root class (id 0), the ancestor of every class. Its dispatcher answers the common methods 0 to 39 for
 * every object and class; higher method ids that reach it are reported as undefined and give 0.
 *
 * Methods beside those that Q7M_... lists (q7oops.h) and what they take:
 *  - 7 save: tags 517 stream, 551 writer(object, stream, user data), 552 user data. Writes the stream header, then
 * calls the writer. A name of more than 199 characters is saved whole, but loading refuses it.
 *  - 6 read: tags 517 stream, 549 reader(object, stream, user data), 550 user data.
 *  - 14 forward: tags 519 target, 526 method. Without a target the object sends itself the method with the same slot;
 * with one, the target gets the method with the tags 525 = this object, then a link to the received list.
 *  - 19 copy: byte copy with a reference count of 0, an own copy of the name and no list links.
 *  - 22 forward to: sends method b with the same slot to the object a; its answer, 0 without a target.
 *  - 23 forward to class: sends method b with the same slot to the receiver's class record; its answer.
 *  - 26 attribute table: the public-attribute table of the receiver's class or of its nearest superclass that has one.
 *  - 33 row by tag: as 34, for the attribute tag in a; the copy's name pointer is kept.
 *  - 37 tag by name: the attribute tag of the public name in the slot; 0 if there is none.
 *
 * Textual access (35 get, 36 set). A path is a dotted list of components; empty components at its beginning are
 * skipped, so
 * ".scene.light" starts at the receiver like "scene.light" does. A component is
 *  - the public name of an attribute, as the tables collected by method 15 list it. An object (types 18 and 22) leads
 * on; a list row (flag 0x80) leads on to the member that the next component names; an indexed row takes "[i]" unless
 * its index is fixed, a row with a second index "[i][j]" (methods 28 and 29 then get j in the upper 32 bits of b);
 *  - else the name (513) of an object in one of the receiver's list rows;
 *  - at the end, behind a vector or colour: the name of a channel ("Color.r").
 * 35 copies the row to b (for a channel: type 2, for an object: type 22, for the empty path an empty row of type 22)
 * and stores the value, in the form of its type, at the address in the slot; either may be 0. 36 takes the address of a
 * value in the same form in the slot, or, with 12 in b, a text: numbers in "C" notation separated by blanks, as the
 * values are printed. Rows with flag 0x100 cannot be set. Both answer 1, or 0 when something of the path does not exist
 * or a value cannot be converted; types 19 and 20 report "Axis/coordsys not implemented yet", other types without a
 * conversion "Not supported type %d". */
#ifndef Q7_CORE_Q7ROOT_H
#define Q7_CORE_Q7ROOT_H

#include "core/q7oops.h"

Q7_BEGIN_DECLS

/** Further methods of the root class; see above. */
enum {
  Q7M_FORWARD_TO = 22,
  Q7M_FORWARD_TO_CLASS = 23,
  Q7M_ATTRIBUTE_TABLE = 26,
  Q7M_ROW_BY_TAG = 33,
  Q7M_TAG_BY_NAME = 37
};

/** Attributes and message tags of the root class. Get stores a pointer unless another type is given. */
enum {
  Q7A_ERROR = 512,         /**< get: 0 (int32_t); streams answer their error id. As a creation tag of streams: address
                              that receives the error id. */
  Q7A_NAME = 513,          /**< set: copied, the old name is freed, null removes it. get: the name. */
  Q7A_CLASS_ID = 514,      /**< set: overwrites the class id field. get: it (uint32_t). */
  Q7A_CLASS = 515,         /**< get: the class record. */
  Q7A_CLASS_NAME = 516,    /**< get: the class name. */
  Q7A_STREAM = 517,        /**< message tag: the stream. */
  Q7A_IGNORED = 518,       /**< set: accepted and ignored. */
  Q7A_TARGET = 519,        /**< message tag: target of method 14. */
  Q7A_NEXT = 521,          /**< set, get: the successor link. */
  Q7A_PREVIOUS = 522,      /**< set, get: the predecessor link. */
  Q7A_ADD_TO_LIST = 524,   /**< set: appends the object to the Q7List. */
  Q7A_SENDER = 525,        /**< message tag: who forwarded (method 14). */
  Q7A_METHOD = 526,        /**< message tag: method to forward (method 14). */
  Q7A_SELF = 528,          /**< get: the object itself. */
  Q7A_NAME_TAKEN = 529,    /**< set: stores the pointer as it is; the object frees it at disposal (a text of Q7StrDup),
                              the old name is not freed: the caller took it out before. get: the name. */
  Q7A_CLASS_VERSION = 530, /**< get: the version of the object's class (uint32_t). */
  Q7A_REFCOUNT = 532,      /**< set: refused, stops the process. get: the reference count (int32_t). */
  Q7A_DISPATCHER = 543,    /**< set, get: the object's dispatcher. */
  Q7A_RESERVED545 = 545,   /**< get: 0 (64 bits). */
  Q7A_READER = 549,        /**< message tag of method 6. */
  Q7A_READER_DATA = 550,   /**< message tag of method 6. */
  Q7A_WRITER = 551,        /**< message tag of method 7. */
  Q7A_WRITER_DATA = 552    /**< message tag of method 7. */
};

/** Reads or writes an object's own data; tags 549 and 551. The result is ignored. */
typedef uint64_t (*Q7StreamFunction)(Q7Object *object, Q7Object *stream, uint64_t data);

/** One node of the list that method 15 fills and method 16 empties. */
typedef struct Q7AttributeTableNode {
  Q7Node node;                    /**< Zero-filled but for the links. */
  const Q7PublicAttribute *table; /**< Not owned. */
} Q7AttributeTableNode;

/** Registers the root class; nothing happens when it stands. @return 1, or 0 */
Q7_API int32_t Q7RegisterRootClass(Q7App *app);

/** The root class's dispatcher. */
Q7_API uint64_t Q7RootDispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags);

Q7_END_DECLS

#endif
