/* q7context: the application record that the whole process shares, and what the core needs of the application: its
 * texts and its user folder. app/ fills the record and supplies the functions; the core only reads. */
#ifndef Q7_CORE_Q7CONTEXT_H
#define Q7_CORE_Q7CONTEXT_H

#include "core/q7lists.h"
#include "core/q7report.h"
#include "core/q7types.h"

Q7_BEGIN_DECLS

/** Bit of Q7App.flags set or cleared by creation tag 45. */
enum { Q7APPF_FLAG4 = 4 };

/** The application record. Owned by Q7AppCreateA/Q7AppDelete; behind the listed fields follows the class registry. */
struct Q7App {
  int32_t argc;            /**< The host's argument count. */
  char **argv;             /**< The host's argument vector; not owned. */
  Q7Handler error_handler; /**< Receives errors; may be null before creation is complete. */
  Q7Object *main_task;     /**< Task object of the main thread, or null. */
  Q7List *idle;            /**< Normal idle queue; null before creation has made it and after deletion. */
  Q7List *idle_free;       /**< Spent idle messages. */
  Q7Object *delete_object; /**< Deleted at shutdown; set by the host. */
  Q7Object *macros;        /**< Referenced (Q7AppSetMacros). */
  uint64_t error_data;     /**< Handed to the error handler. */
  uint32_t flags;          /**< Q7APPF_... */
  Q7Object *root;          /**< Q7AppSetRoot; not referenced. */
  const char *name;        /**< Application and log file name; not copied. */
  char language[136];      /**< Language of the catalogues, "english" by default. */
  Q7Object *info;          /**< Receives Q7AppInfo texts; not referenced. */
  char version[256];       /**< Version text, "8" by default. */
  Q7List idle_held;        /**< Idle messages queued while processing is suspended. */
  int32_t running;         /**< 1 from creation to Q7AppTerminate. */
  Q7Object *main_window;   /**< Q7AppSetMainWindow; not referenced. */
  char *default_extension; /**< Owned; null means ".q7d". */
  void *lock;              /**< Recursive platform lock; guards the idle lists. */
  Q7List idle_low;         /**< Low-priority idle messages. */
  const char *product;     /**< Product folder, "Karmonic7D" by default; not copied. */
  uint64_t client_data;    /**< For the platform layer and the host. */
  const char *home;        /**< Install folder, or null. */
  const char *net_home;    /**< Shared install folder, or null. */
  Q7Handler info_handler;  /**< Receives informations. */
  int32_t mode;            /**< For the platform layer; 1 by default. */
  int32_t capacity;        /**< For the platform layer; 128. */
  /* The registry's state; not part of the contract. */
  Q7Class **classes;       /**< Class records by id. */
  uint32_t class_capacity; /**< Entries of classes. */
  uint32_t class_highest;  /**< Highest id in use. */
  Q7List top_classes;      /**< Classes without superclass, newest first. */
  Q7List libraries;        /**< Opened plug-in libraries, in order of opening. */
  Q7Object *project;       /**< Current project object; released at shutdown. */
};

/** The one application of the process; null before Q7AppCreateA and after the last Q7AppDelete. */
extern Q7_API Q7App *Q7ApplicationContext;

/** Makes app the application of the process (null: none). @return 1 */
Q7_API int32_t Q7RegisterClient(Q7App *app);

/** Application string by index (q7appstr.h); the built-in text when the strings are not open, the empty text for an
 * index that no string has. Never null. */
Q7_API const char *Q7AppStr(int32_t index);

/** Name of the user folder below the home folder, ".Karmonic7D/Karmonic-9.1" by default. */
Q7_API const char *Q7GetUserFolder(void);

Q7_END_DECLS

#endif
