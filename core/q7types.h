/* q7types: what every public header stands on: linkage, visibility and the names of the library's records. */
#ifndef Q7_CORE_Q7TYPES_H
#define Q7_CORE_Q7TYPES_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define Q7_BEGIN_DECLS extern "C" {
#define Q7_END_DECLS }
#else
#define Q7_BEGIN_DECLS
#define Q7_END_DECLS
#endif

/** Marks a function or object that leaves the library. */
#define Q7_API __attribute__((visibility("default")))
/** Lets the compiler check a format against its arguments. */
#define Q7_PRINTF(text, first) __attribute__((format(printf, text, first)))

typedef struct Q7App Q7App;         /**< The application record, q7context.h. */
typedef struct Q7Class Q7Class;     /**< A class record, q7oops.h. */
typedef struct Q7Object Q7Object;   /**< The header every object begins with, q7oops.h. */
typedef struct Q7TagItem Q7TagItem; /**< One (tag, value) pair, q7tags.h. */
typedef struct Q7Node Q7Node;       /**< A list node, q7lists.h. */
typedef struct Q7List Q7List;       /**< A list header, q7lists.h. */

/**
 * One text of a catalogue: a module declares a static table of these and opens it with Q7AppOpenLocale; the handle it
 * gets back is an array of the same layout with the texts of the application's language.
 */
typedef struct Q7LocaleEntry {
  const char *key;   /**< Language-independent key. */
  const char *text;  /**< Default (English) text; in an opened catalogue the text to show. */
  uint64_t reserved; /**< Null in the table; belongs to the locale service. */
} Q7LocaleEntry;

#endif
