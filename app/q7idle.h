/* q7idle: work for later. Any thread queues a function call or a message to an object on the application; the main loop
 * runs what is queued, in rounds, when it is idle. A queued message holds a reference on its target until it has been
 * delivered. Processing can be suspended, in nested fashion: what is queued meanwhile is held back.
 *
 * While there is no application, before it has made its lists and after they are gone, every request runs at once, in
 * the caller. A request that cannot be stored (memory) is dropped silently, and so is one without target or function.
 *
 * Any thread may queue, suspend and resume. Rounds, flushes and strips belong to the main thread. No lock is held while
 * a message runs, so it may queue, flush, strip and run rounds itself. Messages that a round has taken and not yet
 * executed still count as queued for flushes and strips made from within that round. */
#ifndef Q7_APP_Q7IDLE_H
#define Q7_APP_Q7IDLE_H

#include "core/q7lists.h"
#include "core/q7oops.h"

Q7_BEGIN_DECLS

typedef struct Q7IdleMsg Q7IdleMsg;

/** A call made later, kind 0: receives its data and the idle message that carries it. */
typedef void (*Q7IdleFunction)(uint64_t data, Q7IdleMsg *message);
/** A call made later, kind 1. */
typedef void (*Q7IdleFunction2)(uint64_t a, uint64_t b);

/** Kinds of idle messages. */
enum {
  Q7IDLE_CALL = 0,  /**< function(first argument, the message) */
  Q7IDLE_CALL2 = 1, /**< function(first argument, second argument) */
  Q7IDLE_MSG = 2,   /**< the method with (0, 0, first argument) */
  Q7IDLE_MSG2 = 3,  /**< the method with (first argument, 0, second argument) */
  Q7IDLE_MSG3 = 4   /**< the method with (first, second, third argument) */
};

/** One queued call or message: 80 bytes. Owned by the queue; a kind-0 function may look at its own while it runs. */
struct Q7IdleMsg {
  Q7Node node;
  uint32_t kind; /**< Q7IDLE_... */
  union {
    Q7Object *obj;             /**< Kinds 2 to 4: the target; null once delivered. */
    Q7IdleFunction function;   /**< Kind 0. */
    Q7IdleFunction2 function2; /**< Kind 1. */
  } m;
  uint64_t first;  /**< First argument. */
  uint64_t second; /**< Second argument; 0 for kind 0. */
  uint64_t third;  /**< Third argument. */
  uint32_t method; /**< Method of kinds 2 to 4. */
};

/** Queues function(data, message) at the tail. */
Q7_API void Q7AppDoWhenIdle(Q7App *app, Q7IdleFunction function, uint64_t data);
/** Queues function(a, b) at the tail. */
Q7_API void Q7AppDoWhenIdle2(Q7App *app, Q7IdleFunction2 function, uint64_t a, uint64_t b);
/** Queues a method at the tail. The tag list is not copied: it lives until the message was delivered. */
Q7_API void Q7AppDoMsgAWhenIdle(Q7App *app, Q7Object *object, uint32_t method, Q7TagItem *tags);
/** The same as Q7AppDoMsgAWhenIdle, also while processing is suspended; kept for callers that ask for it by name. */
Q7_API void Q7AppDoMsgAWhenIdleAlways(Q7App *app, Q7Object *object, uint32_t method, Q7TagItem *tags);
/** Queues a method at the head, in front of everything queued so far. */
Q7_API void Q7AppDoMsgAWhenIdleHiPri(Q7App *app, Q7Object *object, uint32_t method, Q7TagItem *tags);
/** Queues a method with message arguments (a, 0, b). */
Q7_API void Q7AppDoMsgA2WhenIdle(Q7App *app, Q7Object *object, uint32_t method, uint64_t a, uint64_t b);
/** Queues a method with message arguments (a, b, c). */
Q7_API void Q7AppDoMsgA3WhenIdle(Q7App *app, Q7Object *object, uint32_t method, uint64_t a, uint64_t b, uint64_t c);
/** Queues function(data, message) on the low-priority list. */
Q7_API void Q7AppDoWhenIdleLowPri(Q7App *app, Q7IdleFunction function, uint64_t data);
/** Queues a method on the low-priority list. */
Q7_API void Q7AppDoMsgAWhenIdleLowPri(Q7App *app, Q7Object *object, uint32_t method, Q7TagItem *tags);

/**
 * Runs one round: at most 100 normal messages, then low-priority ones up to 200 in all. What is queued while the round
 * runs waits for the next one.
 * @return 1 if anything ran, else 0
 */
Q7_API int32_t Q7AppDoIdle(Q7App *app);
/** Runs two rounds. @return 1 if the normal queue or the low-priority list still holds messages, else 0 */
Q7_API int32_t Q7AppFlushIdle(Q7App *app);
/** 1 if the normal queue, the held list or the low-priority list holds messages, else 0. */
Q7_API int32_t Q7AppIdleMessagesPending(Q7App *app);

/** Suspends processing: what is queued from now on is held. Nests. */
Q7_API void Q7AppDisableIdleProcessing(void);
/**
 * Runs everything that is held, in order, on the calling thread, then takes back one suspension. It empties the held
 * list even while an outer suspension is in force, messages queued meanwhile included. Without a suspension it changes
 * nothing.
 */
Q7_API void Q7AppEnableIdleProcessing(Q7App *app);

/**
 * Delivers every queued message (kinds 2 to 4) for the object now, normal ones before low-priority ones; held ones stay
 * held.
 * @return how many were delivered
 */
Q7_API int32_t Q7AppFlushIdlesToObj(Q7App *app, Q7Object *object);
/**
 * Discards every queued message (kinds 2 to 4) for the object; held ones stay held. The references that the discarded
 * messages hold on it are not given back: an object usually strips its messages while it is being disposed.
 */
Q7_API void Q7AppStripIdleMsgs(Q7App *app, Q7Object *object);
/** Discards every queued call of kind 0 with that function and that data; held ones stay held. */
Q7_API void Q7AppStripIdle(Q7App *app, Q7IdleFunction function, uint64_t data);

/**
 * Executes one message, then, for kinds 2 to 4, gives back the reference on its target and clears m.obj. The message
 * itself stays the caller's. A null message, an unknown kind and a message without target are program errors: they are
 * reported and stop the process.
 */
Q7_API void Q7AppExecIdle(Q7App *app, Q7IdleMsg *message);

/** Does nothing; the cursor is the platform layer's. */
Q7_API void Q7AppWaitCursor(void);
/** Does nothing. */
Q7_API void Q7AppResetCursor(void);

Q7_END_DECLS

#endif
