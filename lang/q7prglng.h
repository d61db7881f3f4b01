/* q7prglng: the base class of scripting languages. As a class it keeps the table of languages that plug-ins have
 * registered, so that a script file finds the class that runs it. As an object it is an interactive shell over the tree
 * of objects: it has a root object and a current path, moves through the tree, reads and writes public attributes by
 * path, lists attributes and describes classes; what it has to say goes to an output object, or to standard output.
 *
 * A language derives a class from it, overrides Q7M_PRGLNG_LOAD and registers itself with Q7RegisterLanguage.
 *
 * Paths. A path that begins with "." is absolute and starts at the root object. An empty or null path stands for the
 * current path, and where that is empty too, for the root object. Every other path is joined to the current path with a
 * "." between them unless the current path ends with one: with "scene.obj", "light" becomes "scene.obj.light". The
 * joined path is cut to 511 characters. It is resolved by the root object's method 35; q7root.h has the syntax of
 * components, indices and channels. What counts as an object is an attribute of type 22 that leads to one; a list
 * of objects is a value. Where the public attributes do not name the path, the root object's class answers it in its
 * own way: the commands give it the places for the record and for the value, and never null.
 *
 * The class belongs to the main thread. */
#ifndef Q7_LANG_Q7PRGLNG_H
#define Q7_LANG_Q7PRGLNG_H

#include "core/q7oops.h"

Q7_BEGIN_DECLS

/** Class id of the programming-language class; superclass the root class. */
enum { Q7C_PRGLNG = 260 };

/** Languages that can be registered in one process. */
enum { Q7PRGLNG_MAX_LANGUAGES = 19 };

/** Methods. Those without "to objects" may also be sent to the class record. "A path command" sets the status
 * (Q7A_PRGLNG_STATUS) and answers 0 when the path leads nowhere. */
enum {
  Q7M_PRGLNG_PRINT = 260002,    /**< a: format; slot: address of its arguments (va_list *), null if it has none.
                                     Formats as printf does, at any length. An output object is sent the output method
                                     with "%s" in a and the text in the slot; without one the text is written to
                                     standard output, with a line end behind it. Answers 1; 0 for a null format. */
  Q7M_PRGLNG_REGISTER = 260003, /**< a: class id; b: name; slot: extension. Q7RegisterLanguage. */
  Q7M_PRGLNG_ENUM = 260004,     /**< a: handler; b: method; slot: argument. Q7EnumLanguages. */
  Q7M_PRGLNG_FIND = 260005,     /**< Slot: file extension. Q7FindLanguage. */
  Q7M_PRGLNG_LOAD = 260008,     /**< Slot: name of a script file. Languages override it to run the file and answer 1;
                                     here it reports "Load not implemented" and answers 0. */
  Q7M_PRGLNG_ERROR = 260010,    /**< As Q7M_PRGLNG_PRINT, for errors: goes to the error object with the error method,
                                     without one to the output object with the output method, without either to the
                                     error reporter. */
  Q7M_PRGLNG_MAKE_CURRENT = 260011, /**< Slot: path. To objects; a path command: the joined path, if it names an object,
                                         becomes the current path; a value sets the status to Q7PRGLNG_NO_OBJECT. */
  Q7M_PRGLNG_GET = 260012,          /**< a: path; b: address of a Q7PublicAttribute that receives the type record; slot:
                                         address that receives the value. To objects; a path command. As method 35, whose
                                         result it answers. The root object itself comes with an empty record of type 22. */
  Q7M_PRGLNG_SET = 260013,  /**< a: path; b: 0 and slot: address of a value in its own form, or b: 12 and slot: a text.
                                 To objects; a path command. As method 36, whose result it answers. */
  Q7M_PRGLNG_LIST = 260014, /**< Slot: path. To objects; a path command. Prints one line for every public attribute of
                                 the object, the own class's first: type word, "list ", "indexed array " or "array ",
                                 the name, " (read only) ", as far as they apply. For a value with channels, a line for
                                 each; nothing for numbers, texts and booleans; "???" for others. */
  Q7M_PRGLNG_PRINT_PATH = 260015,  /**< To objects: prints the current path. */
  Q7M_PRGLNG_PARENT = 260016,      /**< To objects: removes the current path's last component, from its last dot on. It
                                        does not ask whether the shorter path leads anywhere. 0 without a dot. */
  Q7M_PRGLNG_PREVIOUS = 260017,    /**< To objects: makes the object in front of the current one in its list current; 0
                                        with Q7PRGLNG_NO_CURRENT if there is none, or none with a name. */
  Q7M_PRGLNG_NEXT = 260018,        /**< To objects: likewise the object behind it. */
  Q7M_PRGLNG_PRINT_CLASS = 260019, /**< Slot: path. To objects; a path command. Prints what is known of the object's
                                        class; for a value its type word. */
  Q7M_PRGLNG_RESOLVE = 260020,     /**< Slot: path. To objects; a path command: 1 if the path names an object. As
                                        Q7M_PRGLNG_MAKE_CURRENT, but nothing changes except the status. */
  Q7M_PRGLNG_MAP = 260021          /**< a: id; slot: what it is, Q7PRGLNG_MAP_... Asks the mappers. */
};

/** Attributes of a language object. Object references are stored as they are: they are not counted, so whoever sets one
 * takes it out again before the object goes. An output or error object counts only together with a method other than 0;
 * it must not dispose of the language object that speaks to it. */
enum {
  Q7A_PRGLNG_OUTPUT = 260500,        /**< set, get: object that receives printed texts, or null. */
  Q7A_PRGLNG_OUTPUT_METHOD = 260501, /**< set, get: method it is sent (int32_t). */
  Q7A_PRGLNG_STATUS = 260502,        /**< get: result of the last command (int32_t), Q7PRGLNG_... */
  Q7A_PRGLNG_ROOT = 260503,          /**< set, get: object from which paths are resolved. */
  Q7A_PRGLNG_PATH = 260505,          /**< set: the current path, copied as it is; null removes it, and
                                          without memory the old one stays. get: the object's own text, valid
                                          until the path changes; null before one was set. */
  Q7A_PRGLNG_ERROR = 260507,         /**< set, get: object that receives error texts, or null. */
  Q7A_PRGLNG_ERROR_METHOD = 260508   /**< set, get: method it is sent (int32_t). */
};

/** Results of commands. */
enum {
  Q7PRGLNG_NOT_FOUND = 0,  /**< The path leads nowhere, or the value cannot be read or set. */
  Q7PRGLNG_DONE = 1,       /**< Success. */
  Q7PRGLNG_NO_OBJECT = 3,  /**< The path names a value. */
  Q7PRGLNG_NO_CURRENT = 4, /**< There is no object to go to. */
  Q7PRGLNG_NO_LIST = 5     /**< The list of attributes could not be had. */
};

/** Registers class 260, and the root class before it, once an application. @return 1, or 0 */
Q7_API int32_t Q7RegisterPrgLngClass(Q7App *app);

/**
 * Enters a language into the process's table. A class id that is in it already is left as it is.
 * @param cl not looked at, may be null
 * @param clid id of the language's class, derived from Q7C_PRGLNG
 * @param name, extension not copied: they live as long as the class. The table is emptied when class 260 is freed.
 * @return 1; 0, reported, when there are Q7PRGLNG_MAX_LANGUAGES languages already
 */
Q7_API int32_t Q7RegisterLanguage(Q7Class *cl, uint32_t clid, const char *name, const char *extension);

/** Sends the handler, for each language in the order of registration, the method with a = name, b = class id, slot =
 * argument; its answers are not looked at. @param cl not looked at, may be null @return 1 */
Q7_API int32_t Q7EnumLanguages(Q7Class *cl, Q7Object *handler, uint32_t method, uint64_t argument);

/** Class id of the first language with that file extension, whatever the case of its letters (256 characters are
 * compared); 0 if there is none. @param cl not looked at, may be null */
Q7_API uint32_t Q7FindLanguage(Q7Class *cl, const char *extension);

/** What the id in Q7M_PRGLNG_MAP is; every other kind stands for a class id, or -1. */
enum {
  Q7PRGLNG_MAP_METHOD = 2,   /**< A method: the mappers of its class (id / 1000) are asked. */
  Q7PRGLNG_MAP_ATTRIBUTE = 3 /**< An attribute: the mappers of its class ((id - 500) / 1000) are asked. */
};

/** Translates an id for a language, into a name or a description for example: what it answers is between the mapper and
 * who asks. @param id as it was asked for @param kind as it was asked for @return null if the mapper does not know */
typedef void *(*Q7LanguageMapper)(uint64_t id, int32_t kind);

/**
 * Adds a mapper for the ids of one class behind those there are. Q7M_PRGLNG_MAP calls, in this order, the mappers of
 * the class it derives from its id, or all of them when that is -1, until one answers something.
 * @param id class id the mapper is for; several mappers may have the same
 * @return 1, also when this function is there for this id already; 0 for null or when out of memory
 */
Q7_API int32_t Q7AddLanguageMapper(uint32_t id, Q7LanguageMapper mapper);

/** Removes a mapper; all are removed when class 260 is freed. @return 1, or 0 if it was not there */
Q7_API int32_t Q7RemoveLanguageMapper(uint32_t id, Q7LanguageMapper mapper);

Q7_END_DECLS

#endif
