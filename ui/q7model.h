/* q7model: the observable half of a model and its views (class 6, derived from the root class). A model keeps a list of
 * dependents and tells each of them when it changes. Changes can be collected between a begin and an end; then each
 * different change is told once.
 *
 * A notice is message 8 to the dependent: a: change value; b: the dependent's aspect value; slot: change tag (int32_t,
 * as the aspect extended with its sign). It is delivered at once or through the application's idle queue, which is how
 * notices of worker threads reach the main thread:
 *
 *  | raised by                 | delivered at once                                                     |
 *  |---------------------------|-----------------------------------------------------------------------|
 *  | 6002 outside of a batch   | with Q7MODEL_DIRECT, on the main thread or with Q7MODEL_ANY_THREAD     |
 *  | 6004, the end of a batch  | with Q7MODEL_DIRECT, whatever the thread: whoever ends a batch chooses  |
 *  |                           | the thread on which it is delivered                                   |
 *
 * While a dependent is told, it may do anything: add and remove dependents (itself too), raise further changes, begin
 * and end batches, dispose of itself or of the model. A record that is removed is told nothing more. A dependent that
 * is added is told of changes that begin after that.
 *
 * Changes may be raised, and batches begun and ended, on any thread. The list of dependents has no lock: dependents are
 * added and removed, and the model is disposed of, while no other thread raises a change. A weak dependent that is a
 * widget and goes without being removed is forgotten; other weak dependents are removed before they go. */
#ifndef Q7_UI_Q7MODEL_H
#define Q7_UI_Q7MODEL_H

#include "core/q7oops.h"

Q7_BEGIN_DECLS

enum { Q7C_MODEL = 6 };

/** Methods of a model. */
enum {
  /** a: flags (Q7MODEL_...); b: aspect value (int32_t), handed back with every notice; slot: the dependent. Appends it;
   * the same object may be added several times. Unless it is weak it receives method 9 with the model in the slot.
   * Result: the model, also when memory is short and nothing was added; 0 for null, reported as "Model: Adding NULL
   * dependent". */
  Q7M_MODEL_ADD = 6000,
  /** Slot: the dependent. Its first record goes; unless it is weak it receives method 10 with the model in the slot.
   * Result: the model, 0 when it was no dependent. */
  Q7M_MODEL_REMOVE = 6001,
  /** Slot: list of changes (tag, value). Tells every dependent of one change after the other, or, inside a batch,
   * collects those that are not collected yet. Result: the model; 0 when there are no dependents (then nothing is
   * collected either), or when the model went meanwhile. */
  Q7M_MODEL_CHANGED = 6002,
  /** Begins a batch; batches nest. Result: 1, 0 when out of memory. */
  Q7M_MODEL_BEGIN = 6003,
  /** Ends a batch; the end of the outermost one tells the collected changes in the order in which they came. Without a
   * begin nothing happens. Result: 1. */
  Q7M_MODEL_END = 6004
};

/** Flags of a dependent. */
enum {
  Q7MODEL_DIRECT = 1,       /**< Deliver at once instead of through the idle queue. */
  Q7MODEL_MUTED = 2,        /**< Deliver nothing. */
  Q7MODEL_WEAK = 4,         /**< The model holds no reference. */
  Q7MODEL_ANY_THREAD = 8,   /**< Deliver at once on every thread. */
  Q7MODEL_TELLING = 0x10000 /**< Set by the model while it tells the dependent; ignored when it is given. */
};

/** Registers the class and remembers the application, whose idle queue carries the notices; once per application.
 * Copies of a model (19) have no dependents and no batch. @return 1, or 0 */
Q7_API int32_t Q7RegisterModelClass(Q7App *app);

Q7_END_DECLS

#endif
