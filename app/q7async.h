/* q7async: the asynchronous executor. Each instance owns one worker thread and a queue of requests: send this method
 * with these arguments to that object, then tell somebody the result. A request may also be fanned out: N executors
 * send it at once, each with its own element of the argument arrays, and the request waits for all of them.
 *
 * Targets and reply objects are sent to on the worker's thread, so they must be safe to call from it; a bracket object
 * can take a lock of the caller's around each send. Requests may be queued from any thread.
 *
 * Stopping and disposing: requests queued before the stop run, and so do those queued behind it until the worker finds
 * its list empty; from then on queueing answers 0. An executor may be disposed of by work that runs on its own worker
 * (a target or a reply): what is queued is then finished at once, within that call, and the thread ends by itself when
 * the call returns. Work that an executor waits for (a fan-out's, on another thread) cannot dispose of it, nor of the
 * executor it runs on: that is reported and refused with 0. */
#ifndef Q7_APP_Q7ASYNC_H
#define Q7_APP_Q7ASYNC_H

#include "core/q7lists.h"
#include "core/q7oops.h"

Q7_BEGIN_DECLS

enum { Q7C_ASYNC = 1909 }; /**< Class id, "q7async". */

/** Methods of an executor. */
enum {
  /** a: target; b: method; slot: request tags. As Q7M_ASYNC_QUEUE, and the target is referenced (methods 9 and 10) from
   * queueing until it was executed. */
  Q7M_ASYNC_QUEUE_HELD = 1909000,
  /** a: target; b: method (0: the worker is to stop); slot: request tags. Queues a request. Answers 1; 0 if the worker
   * is not running or there is no memory; with Q7A_ASYNC_AT_ONCE the result of the run. A null target is sent nothing,
   * and no reply is made for it. */
  Q7M_ASYNC_QUEUE = 1909001,
  /** Appends an empty request, which is a request to stop, without waking the worker: it stops after what it is woken
   * for next. Answers 1; 0 if the worker is not running. */
  Q7M_ASYNC_APPEND_EMPTY = 1909002,
  /** The reply that the executor of a fan-out receives: a: the slot of the fan-out; slot: the result. Stores the slot's
   * error word, 1 for a result of 0 and else 0, clears its busy flag and wakes whoever waits. Answers 1; 0 for no slot.
   */
  Q7M_ASYNC_FANOUT_REPLY = 1909003,
  /** a: count; slot: size of a result in bytes. One zero-filled block: count pointers, then count results of that size
   * behind one another, each pointed to by its pointer (null ones for size 0). Given as an argument array of a fan-out
   * it hands each thread a place for its result. Answers the block, or 0 (count 0, memory). */
  Q7M_ASYNC_ALLOC_RESULTS = 1909004,
  /** a: the block; b: count; slot: size. Frees the block; null is allowed. Answers 1. */
  Q7M_ASYNC_FREE_RESULTS = 1909005
};

/** Attributes of an executor. */
enum {
  Q7A_ASYNC_NEWEST_FIRST = 1909500,  /**< Boolean (int32_t): the worker takes the newest request first. */
  Q7A_ASYNC_THREAD_SETTING = 1909501 /**< int32_t, at creation: handed to the worker's task as its tag 1505. */
};

/** Request tags. The first one of each id counts. */
enum {
  Q7A_ASYNC_ARG1 = 534,               /**< Message argument a; of a fan-out: an array of one uint64_t a thread. */
  Q7A_ASYNC_ARG2 = 535,               /**< Message argument b, or such an array. */
  Q7A_ASYNC_ARG3 = 536,               /**< The tag-list slot, or such an array. */
  Q7A_ASYNC_REPLY_OBJECT = 1909502,   /**< Object that receives the reply: (reply argument, 0, result). */
  Q7A_ASYNC_REPLY_METHOD = 1909503,   /**< uint32_t */
  Q7A_ASYNC_REPLY_ARG = 1909504,      /**< Pointer-sized. */
  Q7A_ASYNC_THREADS = 1909505,        /**< uint32_t; non-zero makes the request a fan-out over that many executors. */
  Q7A_ASYNC_AT_ONCE = 1909506,        /**< Boolean: fan out now, in the caller's thread; arguments are arrays. */
  Q7A_ASYNC_BRACKET_OBJECT = 1909507, /**< Object that receives the bracket methods around each send. */
  Q7A_ASYNC_BRACKET_BEFORE = 1909508, /**< uint32_t; all ones, the default, sends nothing. */
  Q7A_ASYNC_BRACKET_AFTER = 1909509   /**< uint32_t; all ones, the default, sends nothing. */
};

/** A request: 128 bytes. Records belong to their executor and are recycled. */
typedef struct Q7AsyncRequest {
  Q7Node node;            /**< While a fan-out runs, node.name holds its slots. */
  Q7Object *target;       /**< Receiver of the method; may be null. */
  uint32_t method;        /**< 0 asks the worker to stop. */
  uint32_t kind;          /**< 1 if method is not 0, else 0. */
  uint32_t hold;          /**< Bit 1: the target is referenced until executed. */
  uint32_t parallel;      /**< 1 if a thread count was given. */
  uint64_t arg[3];        /**< Message arguments, or their arrays. */
  Q7Object *reply_object; /**< Receives the reply; may be null. */
  uint32_t reply_method;
  uint64_t reply_arg;    /**< First argument of the reply. */
  uint32_t thread_count; /**< Executors of a fan-out; never 0 once queued. */
  Q7Object *bracket_object;
  uint32_t bracket_before; /**< 0xFFFFFFFF: none. */
  uint32_t bracket_after;  /**< 0xFFFFFFFF: none. */
} Q7AsyncRequest;

/** Registers the class once an application; registers the root class first. @return 1, or 0 on failure */
Q7_API int32_t Q7RegisterAsyncExecutorClass(Q7App *app);

/** Makes the executors of a fan-out, thread_count of them (0 counts as 1). @return 1; 0, with nothing left behind, if
 * one could not be made */
Q7_API int32_t Q7AllocThreads(Q7AsyncRequest *request);
/** Queues the request's method on each of its executors, with the elements of its argument arrays; the replies go to
 * the calling executor. A slot whose executor takes no request counts as done, with an error. @return 1; 0 without
 * executors */
Q7_API int32_t Q7ExecuteThreads(Q7Object *executor, Q7AsyncRequest *request);
/** Waits for all of them. @return 1 if every one answered non-zero, else 0 */
Q7_API int32_t Q7SynchronizeThreads(Q7Object *executor, Q7AsyncRequest *request);
/** Disposes of the executors. */
Q7_API void Q7FreeThreads(Q7AsyncRequest *request);

Q7_END_DECLS

#endif
