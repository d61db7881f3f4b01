/* q7oops: the object system. Classes are numbered; each has one dispatcher that receives every message to the class or
 * its instances and passes on to its superclass what it does not know, ending at the root class (q7root.h).
 *
 * Class k owns the method and attribute ids k * 1000 to k * 1000 + 999; the root class owns 0 to 999.
 *
 * The registry takes no lock: classes are created, replaced and freed on the main thread. Sending a message takes no
 * lock either; a class that is used from several threads guards its own data. Only reference counts and the counts of
 * live objects change atomically.
 *
 * Where a message's arguments go: one argument travels in the tag-list slot; two travel in a and the slot; three in a,
 * b and the slot, unless a method says otherwise. */
#ifndef Q7_CORE_Q7OOPS_H
#define Q7_CORE_Q7OOPS_H

#include "core/q7context.h"
#include "core/q7lists.h"
#include "core/q7tags.h"
#include "core/q7types.h"

Q7_BEGIN_DECLS

/** Superclass id of a class without superclass. */
#define Q7C_NONE 0xFFFFFFFFu
/** Ids of the classes that the library itself asks for by number. */
enum { Q7C_ROOT = 0, Q7C_TASK = 1, Q7C_SIGNAL = 2, Q7C_FILE = 5 };

/**
 * Receives a message.
 * @param cl the class that is to act: the receiver's own, or, when a class passes a message on, its superclass
 * @param obj the receiver: an object, or the class record itself for a message to a class
 * @param tags a tag list, or, for some methods, a plain number or pointer in the same slot
 * @return the method's result; 0 means failure or not handled unless the method says otherwise
 */
typedef uint64_t (*Q7Dispatcher)(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags);

/** The header that every object and every class record begins with: 48 bytes. Its first fields read as a Q7Node. */
struct Q7Object {
  Q7Node *succ; /**< List links: any object can stand in a list. */
  Q7Node *pred;
  const char *name;      /**< Owned name or null; for a class record the class name, not owned. */
  uint32_t clid;         /**< Class id. */
  int32_t refcount;      /**< References; changed by methods 9 and 10 only, atomically. */
  Q7Class *cl;           /**< Class record; a class record points to itself. */
  Q7Dispatcher dispatch; /**< Copied from the class at creation. */
};

/** A class record; made by Q7ClassCreateA, freed by Q7OopsFree. */
struct Q7Class {
  Q7Object header;              /**< name: class name; cl: this record; dispatch: the class's dispatcher. */
  Q7Class *super;               /**< Superclass, or null. */
  Q7List subclasses;            /**< Direct subclasses, newest first. */
  uint32_t isize;               /**< Bytes of this class's own instance data, as given. */
  uint64_t tag503;              /**< Class tag 503; the registry gives it no meaning. */
  uint64_t tag506;              /**< Class tag 506; the registry gives it no meaning. */
  uint32_t ioffset;             /**< Offset of this class's data within an instance. */
  uint32_t itotal;              /**< Bytes of an instance. */
  Q7Dispatcher superdispatch;   /**< The superclass's dispatcher, copied at creation; the target of inheritance. */
  Q7List extmethods;            /**< Extension methods, in order of installation. */
  uint32_t ninstances;          /**< Live instances of exactly this class. */
  uint32_t nsubinstances;       /**< Live instances of this class and its subclasses. */
  uint32_t version;             /**< Class tag 507; written into object streams. */
  uint64_t stream_cache;        /**< For the class stream code. */
  const Q7LocaleEntry *catalog; /**< Class tag 508: the opened catalogue. */
  const struct Q7PublicAttribute *pubattrs; /**< Class tag 510: public attributes, ended by a null name. */
  const char *description;  /**< Class tag 546: printable description; also the registration category. */
  const char *organisation; /**< Class tag 547: maker. */
  const char *module;       /**< Class tag 548: library that defines the class. */
};

/** One row of a table of public attributes: 80 bytes. */
typedef struct Q7PublicAttribute {
  const char *name;      /**< Public name, also the name in the settings store; null ends the table. */
  uint32_t tag;          /**< Attribute id. */
  uint32_t type;         /**< Type id, q7typeid.h. */
  uint32_t flags;        /**< Q7PAF_... */
  uint32_t reserved[11]; /**< 0. */
  uint32_t index;        /**< Byte 64: fixed index of an indexed attribute, or Q7PA_INDEX_IN_TEXT. */
  uint32_t reserved2[3]; /**< 0. */
} Q7PublicAttribute;

/** Flags of a public attribute row. */
enum {
  Q7PAF_INDEXED = 0x20,      /**< Read and set by methods 28 and 29 with an index. */
  Q7PAF_SECOND_INDEX = 0x40, /**< A second index follows in the text. */
  Q7PAF_LIST = 0x80,         /**< The attribute is a Q7List of objects, found by name. */
  Q7PAF_READ_ONLY = 0x100    /**< A link; cannot be set by text. */
};
/** The index of the attribute is read from the text behind its name. */
#define Q7PA_INDEX_IN_TEXT 0xFFFFFFFFu

/** Methods that the root class answers (q7root.h says how). */
enum {
  Q7M_NEW = 0,              /**< To a class: a: allocator or 0; slot: attribute tags; the new object or null. */
  Q7M_DISPOSE = 1,          /**< a: allocator or 0. */
  Q7M_SETCLASSATTRS = 2,    /**< To a class: slot: class tags; the last unknown item, or 0. */
  Q7M_GETCLASSATTRS = 3,    /**< To a class: slot: class tags with destinations; the last unknown item, or 0. */
  Q7M_SET = 4,              /**< Slot: attribute tags; the last unknown item, or 0. */
  Q7M_GET = 5,              /**< Slot: attribute tags with destinations; the last unknown item, or 0. */
  Q7M_READ = 6,             /**< Reads the object's own data; tags 517, 549, 550. */
  Q7M_SAVE = 7,             /**< Writes the stream header and the own data; tags 517, 551, 552. */
  Q7M_NOTICE = 8,           /**< A model's notice; answered 0 where nobody takes it. */
  Q7M_ADDREF = 9,           /**< Adds a reference; the object. */
  Q7M_RELEASE = 10,         /**< Gives one back; the object, or 0 once it was disposed. */
  Q7M_ADDHEAD = 11,         /**< Slot: the list. */
  Q7M_ADDTAIL = 12,         /**< Slot: the list. */
  Q7M_REMOVE = 13,          /**< Unlinks the object; the object. */
  Q7M_FORWARD = 14,         /**< Sends a method on to a target; tags 519, 526. */
  Q7M_COLLECT_TABLES = 15,  /**< Slot: list that receives one node a public attribute table. */
  Q7M_FREE_TABLE_NODE = 16, /**< Slot: that list; frees its first node. */
  Q7M_NAME_OF_TAG = 17,     /**< a: attribute tag; slot: buffer. */
  Q7M_COPY = 19,            /**< a: allocator or 0; the copy. */
  Q7M_LOAD = 21,            /**< To the root class: a: allocator or 0; b: stream; slot: load tags. */
  Q7M_CLASS_FREE = 24,      /**< To a class: release class-wide resources. */
  Q7M_STRING = 25,          /**< Slot: index of a catalogue text. */
  Q7M_FREE_CACHES = 27,     /**< To a class, at shutdown. */
  Q7M_SETINDEXED = 28,      /**< a: attribute; b: index; slot: value. */
  Q7M_GETINDEXED = 29,      /**< a: attribute; b: index; slot: destination. */
  Q7M_ISOFKIND = 30,        /**< Slot: class id; depth from 1, or 0. */
  Q7M_OWNS_ID = 31,         /**< Slot: id. */
  Q7M_INSERT = 32,          /**< b: node to insert behind; slot: list. */
  Q7M_ROW_BY_NAME = 34,     /**< a: public name; slot: an 80-byte row. */
  Q7M_GET_BY_PATH = 35,     /**< a: path; b: row; slot: destination. */
  Q7M_SET_BY_PATH = 36,     /**< a: path; b: 0 or 12; slot: value or text. */
  Q7M_CLASSNAME = 39        /**< To the root class: slot: class id; a printable name. */
};

/** Class tags, for Q7ClassCreate, Q7ClassReplace, Q7SetClassAttrs and Q7GetClassAttrs. */
enum {
  Q7CT_NINSTANCES = 500, /**< get: live instances of exactly this class (uint32_t). */
  Q7CT_DISPATCHER = 501, /**< The dispatcher. */
  Q7CT_NAME = 502,       /**< Class name, kept as given. */
  Q7CT_VALUE503 = 503,
  Q7CT_SIZE = 504, /**< set: the own size (no layout is recomputed); get: the total size (uint32_t). */
  Q7CT_ID = 505,   /**< Class id (uint32_t); the class table is not changed. */
  Q7CT_VALUE506 = 506,
  Q7CT_VERSION = 507,       /**< uint32_t. */
  Q7CT_CATALOG = 508,       /**< set only. */
  Q7CT_NSUBINSTANCES = 509, /**< get: live instances including subclasses (uint32_t). */
  Q7CT_PUBATTRS = 510,      /**< Table of public attributes. */
  Q7CT_DESCRIPTION = 546,
  Q7CT_ORGANISATION = 547,
  Q7CT_MODULE = 548,
  Q7CT_CREATION_FLAG = 556, /**< Read at creation and ignored. */
  Q7CT_SUPER = 557,         /**< get: superclass id, Q7C_NONE for none (uint32_t). */
  Q7CT_NAMING_CLASS = 558,  /**< Root class: class id of the naming service (uint32_t). */
  Q7CT_NAMING_METHOD = 559, /**< Root class: its method (uint32_t). */
  Q7CT_REPORT_MISSING = 560 /**< Root class, set only: report missing classes while loading; true by default. */
};

/* ---- Registry ---- */

/** Starts the object system on an application record: an empty class table of 5000 entries, then the platform layer's
 * J7OopsInit. @return what J7OopsInit answers; 0 on exhaustion */
Q7_API int32_t Q7OopsInit(Q7App *app);

/** Stops the object system: writes every class's settings, frees the classes (subclasses first) and closes the plug-in
 * libraries. @return what J7OopsFree answers */
Q7_API int32_t Q7OopsFree(Q7App *app);

/** The class record of an id, or null. An id beyond the table's capacity is reported as "PANIC: ..."; the capacity
 * itself is not, since callers probe it to learn where the table ends. */
Q7_API Q7Class *Q7ClassFind(uint32_t clid);
/** The first class, in id order, of that name; null if none. */
Q7_API Q7Class *Q7ClassFindByName(const char *name);
/** The registered class with the lowest id at or above clid, or null: for (cl = Q7ClassNext(0); cl; cl =
 * Q7ClassNext(id + 1)) visits all in id order without reports. *id (may be null) receives the id under which the table
 * holds it, which for a replaced class may differ from the id in the record. */
Q7_API Q7Class *Q7ClassNext(uint32_t clid, uint32_t *id);

/**
 * Creates a class. An id that is taken returns the class that has it, unchanged: creating a class twice is harmless.
 * @param superclid superclass, or Q7C_NONE
 * @param dispatcher null means: pass everything on (without superclass: answer 0)
 * @param isize bytes of own instance data
 * @return the class record, or null (unknown superclass, reported; exhaustion)
 */
Q7_API Q7Class *Q7ClassCreateA(uint32_t superclid, uint32_t clid, Q7Dispatcher dispatcher, uint32_t isize,
                               Q7TagItem *tags);
Q7_API Q7Class *Q7ClassCreate(uint32_t superclid, uint32_t clid, Q7Dispatcher dispatcher, uint32_t isize, uint32_t tag,
                              ...);

/**
 * Gives an existing class without live instances another id, dispatcher and size and recomputes the layout of all
 * classes below it. The table keeps answering the old id too, so stored objects and callers that know the old id still
 * find the class. Subclasses keep the superdispatch they copied at creation.
 * @return the class record, or null, reported (unknown class, live instances)
 */
Q7_API Q7Class *Q7ClassReplaceA(uint32_t oldclid, uint32_t newclid, Q7Dispatcher dispatcher, uint32_t isize,
                                Q7TagItem *tags);
Q7_API Q7Class *Q7ClassReplace(uint32_t oldclid, uint32_t newclid, Q7Dispatcher dispatcher, uint32_t isize,
                               uint32_t tag, ...);

/** 1 if clid or one of its superclasses has the id ancestor, else 0. */
Q7_API int32_t Q7ClassIdIsOfKind(uint32_t clid, uint32_t ancestor);
/** Depth at which the class is found (1 = the object's own class), or 0. */
Q7_API int32_t Q7ObjectIsOfKind(Q7Object *object, uint32_t clid);

/** Sends method 2, resp. 3, to the class. @return 1 if the dispatcher answered non-zero, which means that some tag was
 * not known; 0 if all were known, or if the class does not exist */
Q7_API int32_t Q7SetClassAttrsA(uint32_t clid, Q7TagItem *tags);
Q7_API int32_t Q7SetClassAttrs(uint32_t clid, uint32_t tag, ...);
Q7_API int32_t Q7GetClassAttrsA(uint32_t clid, Q7TagItem *tags);
Q7_API int32_t Q7GetClassAttrs(uint32_t clid, uint32_t tag, ...);

/** Path name of a class, "/q7root/x" for a direct subclass x of the root class, into a buffer that the caller knows to
 * be large enough. @return 1, or 0 for an unknown class (buffer untouched) */
Q7_API int32_t Q7MakeClassName(char *buffer, uint32_t clid);

/* ---- Extension methods ---- */

/** A named method attached to a class at run time. */
typedef uint64_t (*Q7ExtensionMethod)(Q7Object *object, uint64_t a, uint64_t b, Q7TagItem *tags);

/** Attaches function to a class under a name (copied). The first of a name wins; a class's own hide its superclass's.
 * @return 1; 0 for a null argument, an unknown class (reported) or exhaustion */
Q7_API int32_t Q7ClassAddExtensionMethod(uint32_t clid, const char *name, Q7ExtensionMethod function);

/** Calls the extension method for the object's class or the nearest superclass that has one. @return its result; 0 for
 * a null name, and, reported, if there is none. An object of an unknown class stops the process. */
Q7_API uint64_t Q7SendEMsgA3(Q7Object *object, const char *name, uint64_t a, uint64_t b, Q7TagItem *tags);
Q7_API uint64_t Q7SendEMsg(Q7Object *object, const char *name, uint32_t tag, ...);
Q7_API uint64_t Q7SendEMsg2(Q7Object *object, const char *name, uint64_t a, uint32_t tag, ...);
Q7_API uint64_t Q7SendEMsg3(Q7Object *object, const char *name, uint64_t a, uint64_t b, uint32_t tag, ...);

/* ---- Sending. Variadic senders take (tag, value) pairs ended by 0: the tag a 32-bit, the value a 64-bit argument.
 * ---- */

Q7_API uint64_t Q7SendMsg(Q7Object *object, uint32_t method, uint32_t tag, ...);
Q7_API uint64_t Q7SendMsg2(Q7Object *object, uint32_t method, uint64_t a, uint32_t tag, ...);
Q7_API uint64_t Q7SendMsg3(Q7Object *object, uint32_t method, uint64_t a, uint64_t b, uint32_t tag, ...);

/** To the class record of clid, which must exist. */
Q7_API uint64_t Q7SendClassMsg(uint32_t clid, uint32_t method, uint32_t tag, ...);
Q7_API uint64_t Q7SendClassMsg2(uint32_t clid, uint32_t method, uint64_t a, uint32_t tag, ...);
Q7_API uint64_t Q7SendClassMsg3(uint32_t clid, uint32_t method, uint64_t a, uint64_t b, uint32_t tag, ...);

/** Passes a message to the superclass of cl, the record that the calling dispatcher got as its first argument. A class
 * without superclass answers 0. */
Q7_API uint64_t Q7Inherit(Q7Class *cl, Q7Object *object, uint32_t method, uint32_t tag, ...);
Q7_API uint64_t Q7Inherit3(Q7Class *cl, Q7Object *object, uint32_t method, uint64_t a, uint64_t b, uint32_t tag, ...);

Q7_END_DECLS

#endif
