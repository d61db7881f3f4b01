// q7idle: the idle queues. The lists lie in the application record and change only under its lock; the messages in them
// are owned by them. A message is executed outside every list and without the lock, by whoever took it out, which is
// why it runs exactly once. The count of suspensions is atomic; producers and the last look of a resume read it under
// the lock, so that no message is left behind on the held list.
#include "app/q7idle.h"

#include <atomic>

#include "app/idle.hpp"
#include "core/classdef.hpp"
#include "core/guards.hpp"
#include "core/q7memory.h"
#include "core/report.hpp"
#include "platform/q7platform.h"

namespace {

constexpr char kModule[] = "q7app";
constexpr int kRoundSize = 200;    // messages a round takes
constexpr int kRoundNormal = 100;  // of these, normal ones at most

static_assert(sizeof(Q7IdleMsg) == 80 && offsetof(Q7IdleMsg, kind) == 32 && offsetof(Q7IdleMsg, m) == 40);
static_assert(offsetof(Q7IdleMsg, first) == 48 && offsetof(Q7IdleMsg, second) == 56);
static_assert(offsetof(Q7IdleMsg, third) == 64 && offsetof(Q7IdleMsg, method) == 72);

std::atomic<int32_t> disable_count;

// Counts teardowns. Whoever executes a message that may delete the application compares before touching it again.
std::atomic<uint32_t> lifetime;
uint32_t q7id_life() { return lifetime.load(std::memory_order_relaxed); }
bool q7id_alive(uint32_t life) { return q7id_life() == life; }

// A round in progress. Its messages from `next` on are still queued in the eyes of a flush or strip from within it.
struct Round {
  Q7App *app;
  Round *outer;
  int count = 0;
  int next = 0;
  Q7IdleMsg *messages[kRoundSize];
};
thread_local Round *rounds;  // innermost first

// A flush in progress: the node it looks at next. Whoever unlinks a node moves the flushes that stand on it. Guarded by
// the application's lock.
struct Walker {
  Q7Node *next;
  Walker *other;
};
Walker *walkers;

enum class Place { kTail, kHead, kLow };

void *q7id_lock(Q7App *app) { return app ? app->lock : nullptr; }

bool q7id_empty(const Q7List &list) { return !list.head || !list.head->succ; }

// Q7AddTail, of which a round makes hundreds.
void q7id_append(Q7List &list, Q7Node *node) {
  Q7Node *last = list.tail_pred;
  node->pred = last;
  last->succ = node;
  node->succ = reinterpret_cast<Q7Node *>(&list.tail);
  list.tail_pred = node;
}

void q7id_unlink(Q7Node *node) {
  for (Walker *w = walkers; w; w = w->other) {
    if (w->next == node) w->next = node->succ;
  }
  Q7Remove(node);
}

Q7IdleMsg *q7id_take_head(Q7List *list) {
  if (!list || q7id_empty(*list)) return nullptr;
  Q7Node *node = list->head;
  q7id_unlink(node);
  return reinterpret_cast<Q7IdleMsg *>(node);
}

// Under the lock: takes up to n messages from the head into an array, with one cut of the list. Answers how many.
int q7id_take(Q7List *list, Q7IdleMsg **messages, int n) {
  if (!list || q7id_empty(*list)) return 0;
  int count = 0;
  if (walkers) {
    while (count < n && (messages[count] = q7id_take_head(list))) ++count;
    return count;
  }
  Q7Node *node = list->head;
  for (; count < n && node->succ; node = node->succ) messages[count++] = reinterpret_cast<Q7IdleMsg *>(node);
  list->head = node;
  node->pred = reinterpret_cast<Q7Node *>(list);
  return count;
}

// Under the lock: a spent message, or a new one.
Q7IdleMsg *q7id_get(Q7App *app) {
  if (app && app->idle_free) {
    if (Q7Node *node = Q7RemHead(app->idle_free)) return reinterpret_cast<Q7IdleMsg *>(node);
  }
  return static_cast<Q7IdleMsg *>(Q7AllocSilent(sizeof(Q7IdleMsg), Q7MEM_CLEAR));
}

void q7id_free(Q7IdleMsg *message) { Q7FreeMem(message, sizeof(Q7IdleMsg)); }

// Under the lock: keeps a spent message for reuse.
void q7id_recycle(Q7App *app, Q7IdleMsg *message) {
  if (app->idle_free) {
    Q7AddTail(app->idle_free, &message->node);
  } else {
    q7id_free(message);
  }
}

// Executes a message that was taken out of a list and recycles it.
void q7id_run(Q7App *app, Q7IdleMsg *message) {
  const uint32_t life = q7id_life();
  Q7AppExecIdle(app, message);
  if (!q7id_alive(life)) return q7id_free(message);
  q7::LockGuard lock(q7id_lock(app));
  q7id_recycle(app, message);
}

// Queues a message; fill(message) writes what its kind uses. The reference on the target is taken and the message added
// in one locked section.
template <class Fill>
void q7id_queue(Q7App *app, Place place, uint32_t kind, Fill fill) {
  Q7IdleMsg *message;
  {
    q7::LockGuard lock(q7id_lock(app));
    message = q7id_get(app);
    if (!message) return;
    message->kind = kind;
    fill(*message);
    if (kind >= Q7IDLE_MSG) q7::add_reference(message->m.obj);
    const bool lists_exist = app && app->idle_held.head;
    if (lists_exist && disable_count.load(std::memory_order_relaxed) > 0) {
      if (place == Place::kHead) {
        Q7AddHead(&app->idle_held, &message->node);
      } else {
        Q7AddTail(&app->idle_held, &message->node);
      }
      return;
    }
    if (lists_exist && app->idle) {
      switch (place) {
        case Place::kHead: Q7AddHead(app->idle, &message->node); break;
        case Place::kTail: q7id_append(*app->idle, &message->node); break;
        case Place::kLow: q7id_append(app->idle_low, &message->node); break;
      }
      message = nullptr;
    }
  }
  if (message) {
    Q7AppExecIdle(app, message);
    q7id_free(message);
  } else {
    Q7WakeUpGui(app);
  }
}

void q7id_queue_call(Q7App *app, Place place, Q7IdleFunction function, uint64_t data) {
  if (!function) return;
  q7id_queue(app, place, Q7IDLE_CALL, [=](Q7IdleMsg &message) {
    message.m.function = function;
    message.first = data;
    message.second = 0;
  });
}

void q7id_queue_msg(Q7App *app, Place place, Q7Object *object, uint32_t method, Q7TagItem *tags) {
  if (!object) return;
  q7id_queue(app, place, Q7IDLE_MSG, [=](Q7IdleMsg &message) {
    message.m.obj = object;
    message.first = q7::arg(tags);
    message.method = method;
  });
}

[[noreturn]] void q7id_panic(const char *text, int32_t line) {
  Q7ErrPos(kModule, line);
  Q7_Error("%s", text);
  q7::assertion_failed("0", kModule, line + 1);
}

void q7id_check_target(const Q7IdleMsg &message, int32_t line) {
  if (!message.m.obj) q7::assertion_failed("msg->m.obj != ((void *)0)", kModule, line);
}

bool q7id_is_for(const Q7IdleMsg *message, const Q7Object *object) {
  return message->kind >= Q7IDLE_MSG && message->kind <= Q7IDLE_MSG3 && message->m.obj == object;
}

// Delivers the object's messages that the running rounds still have to execute, outer rounds first: theirs are older.
int32_t q7id_flush_rounds(Q7App *app, Q7Object *object, Round *round) {
  if (!round) return 0;
  int32_t delivered = q7id_flush_rounds(app, object, round->outer);
  for (int i = round->next; i < round->count; ++i) {
    Q7IdleMsg *message = round->messages[i];
    if (!message || !q7id_is_for(message, object)) continue;
    round->messages[i] = nullptr;
    q7id_run(app, message);
    ++delivered;
  }
  return delivered;
}

int32_t q7id_flush_list(Q7App *app, Q7Object *object, const uint32_t life, Q7List *(*list_of)(Q7App *)) {
  int32_t delivered = 0;
  Walker walker;
  {
    q7::LockGuard lock(q7id_lock(app));
    Q7List *list = list_of(app);
    if (!list || q7id_empty(*list)) return 0;
    walker = {list->head, walkers};
    walkers = &walker;
  }
  for (;;) {
    Q7IdleMsg *message = nullptr;
    {
      q7::LockGuard lock(q7id_lock(app));
      // The successor is remembered before the node is handled: what is queued behind the last node meanwhile is left.
      while (!message && walker.next->succ) {
        Q7Node *node = walker.next;
        walker.next = node->succ;
        if (!q7id_is_for(reinterpret_cast<Q7IdleMsg *>(node), object)) continue;
        q7id_unlink(node);
        message = reinterpret_cast<Q7IdleMsg *>(node);
      }
      if (!message) break;
    }
    // Taken out first, so that a round run by the target does not meet it again.
    q7id_run(app, message);
    ++delivered;
    if (!q7id_alive(life)) return delivered;
  }
  q7::LockGuard lock(q7id_lock(app));
  for (Walker **w = &walkers; *w; w = &(*w)->other) {
    if (*w == &walker) {
      *w = walker.other;
      break;
    }
  }
  return delivered;
}

// Takes out and frees every message of the rounds and lists for which `matches` holds.
template <class Matches>
void q7id_strip(Q7App *app, Matches matches) {
  if (!app) return;
  for (Round *round = rounds; round; round = round->outer) {
    for (int i = round->next; i < round->count; ++i) {
      Q7IdleMsg *&message = round->messages[i];
      if (!message || !matches(message)) continue;
      q7id_free(message);
      message = nullptr;
    }
  }
  q7::LockGuard lock(q7id_lock(app));
  for (Q7List *list : {app->idle, &app->idle_low}) {
    if (!list || q7id_empty(*list)) continue;
    for (Q7Node *node = list->head, *succ; (succ = node->succ); node = succ) {
      auto *message = reinterpret_cast<Q7IdleMsg *>(node);
      if (!matches(message)) continue;
      q7id_unlink(node);
      q7id_free(message);
    }
  }
}

}  // namespace

void Q7AppDoWhenIdle(Q7App *app, Q7IdleFunction function, uint64_t data) {
  q7id_queue_call(app, Place::kTail, function, data);
}

void Q7AppDoWhenIdleLowPri(Q7App *app, Q7IdleFunction function, uint64_t data) {
  q7id_queue_call(app, Place::kLow, function, data);
}

void Q7AppDoWhenIdle2(Q7App *app, Q7IdleFunction2 function, uint64_t a, uint64_t b) {
  if (!function) return;
  q7id_queue(app, Place::kTail, Q7IDLE_CALL2, [=](Q7IdleMsg &message) {
    message.m.function2 = function;
    message.first = a;
    message.second = b;
  });
}

void Q7AppDoMsgAWhenIdle(Q7App *app, Q7Object *object, uint32_t method, Q7TagItem *tags) {
  q7id_queue_msg(app, Place::kTail, object, method, tags);
}

void Q7AppDoMsgAWhenIdleAlways(Q7App *app, Q7Object *object, uint32_t method, Q7TagItem *tags) {
  q7id_queue_msg(app, Place::kTail, object, method, tags);
}

void Q7AppDoMsgAWhenIdleHiPri(Q7App *app, Q7Object *object, uint32_t method, Q7TagItem *tags) {
  q7id_queue_msg(app, Place::kHead, object, method, tags);
}

void Q7AppDoMsgAWhenIdleLowPri(Q7App *app, Q7Object *object, uint32_t method, Q7TagItem *tags) {
  q7id_queue_msg(app, Place::kLow, object, method, tags);
}

void Q7AppDoMsgA2WhenIdle(Q7App *app, Q7Object *object, uint32_t method, uint64_t a, uint64_t b) {
  if (!object) return;
  q7id_queue(app, Place::kTail, Q7IDLE_MSG2, [=](Q7IdleMsg &message) {
    message.m.obj = object;
    message.first = a;
    message.second = b;
    message.method = method;
  });
}

void Q7AppDoMsgA3WhenIdle(Q7App *app, Q7Object *object, uint32_t method, uint64_t a, uint64_t b, uint64_t c) {
  if (!object) return;
  q7id_queue(app, Place::kTail, Q7IDLE_MSG3, [=](Q7IdleMsg &message) {
    message.m.obj = object;
    message.first = a;
    message.second = b;
    message.third = c;
    message.method = method;
  });
}

void Q7AppExecIdle(Q7App *app, Q7IdleMsg *message) {
  if (!message) q7id_panic("Panic, idle msg is NULL", 151);
  const uint32_t life = q7id_life();
  switch (message->kind) {
    case Q7IDLE_CALL:
      if (message->m.function) message->m.function(message->first, message);
      return;
    case Q7IDLE_CALL2:
      if (message->m.function2) message->m.function2(message->first, message->second);
      return;
    case Q7IDLE_MSG:
      q7id_check_target(*message, 94);
      q7::send(message->m.obj, message->method, 0, 0, q7::slot(message->first));
      break;
    case Q7IDLE_MSG2:
      q7id_check_target(*message, 111);
      q7::send(message->m.obj, message->method, message->first, 0, q7::slot(message->second));
      break;
    case Q7IDLE_MSG3:
      q7id_check_target(*message, 128);
      q7::send(message->m.obj, message->method, message->first, message->second, q7::slot(message->third));
      break;
    default: q7id_panic("Panic, unknown idle message type", 145);
  }
  // A target that deleted the application has no class any more that could take the reference back.
  if (q7id_alive(life)) {
    q7::LockGuard lock(q7id_lock(app));
    q7::release(message->m.obj);
  }
  message->m.obj = nullptr;
}

int32_t Q7AppDoIdle(Q7App *app) {
  if (!app) return 0;
  Round round;
  {
    q7::LockGuard lock(q7id_lock(app));
    round.count = q7id_take(app->idle, round.messages, kRoundNormal);
    round.count += q7id_take(&app->idle_low, round.messages + round.count, kRoundSize - round.count);
  }
  if (round.count == 0) return 0;
  const uint32_t life = q7id_life();
  round.app = app;
  round.outer = rounds;
  rounds = &round;
  while (round.next < round.count) {
    if (Q7IdleMsg *message = round.messages[round.next++]) Q7AppExecIdle(app, message);
  }
  rounds = round.outer;
  if (!q7id_alive(life)) {
    for (int i = 0; i < round.count; ++i) q7id_free(round.messages[i]);
    return 1;
  }
  // Chained up outside the lock, so that the free list grows by one link.
  Q7List spent;
  Q7NewList(&spent);
  for (int i = 0; i < round.count; ++i) {
    if (Q7IdleMsg *message = round.messages[i]) q7id_append(spent, &message->node);
  }
  if (q7id_empty(spent)) return 1;
  q7::LockGuard lock(q7id_lock(app));
  if (app->idle_free) {
    Q7List &list = *app->idle_free;
    spent.head->pred = list.tail_pred;
    list.tail_pred->succ = spent.head;
    spent.tail_pred->succ = reinterpret_cast<Q7Node *>(&list.tail);
    list.tail_pred = spent.tail_pred;
  } else {
    while (Q7Node *node = Q7RemHead(&spent)) q7id_free(reinterpret_cast<Q7IdleMsg *>(node));
  }
  return 1;
}

int32_t Q7AppFlushIdle(Q7App *app) {
  if (!app) return 0;
  const uint32_t life = q7id_life();
  for (int i = 0; i < 2; ++i) {
    Q7AppDoIdle(app);
    if (!q7id_alive(life)) return 0;
  }
  q7::LockGuard lock(q7id_lock(app));
  return !q7id_empty(app->idle_low) || (app->idle && !q7id_empty(*app->idle));
}

int32_t Q7AppIdleMessagesPending(Q7App *app) {
  if (!app) return 0;
  q7::LockGuard lock(q7id_lock(app));
  return (app->idle && !q7id_empty(*app->idle)) || !q7id_empty(app->idle_held) || !q7id_empty(app->idle_low);
}

void Q7AppDisableIdleProcessing(void) { disable_count.fetch_add(1, std::memory_order_relaxed); }

void Q7AppEnableIdleProcessing(Q7App *app) {
  const uint32_t life = q7id_life();
  for (;;) {
    const bool alive = app && q7id_alive(life);
    q7::LockGuard lock(alive ? app->lock : nullptr);
    Q7IdleMsg *message = alive ? q7id_take_head(&app->idle_held) : nullptr;
    if (!message) {
      // In the section that saw the list empty: a producer that comes later counts one suspension less.
      int32_t count = disable_count.load(std::memory_order_relaxed);
      while (count > 0 && !disable_count.compare_exchange_weak(count, count - 1, std::memory_order_relaxed)) {
      }
      return;
    }
    lock.unlock();
    q7id_run(app, message);
  }
}

int32_t Q7AppFlushIdlesToObj(Q7App *app, Q7Object *object) {
  if (!app || !object) return 0;
  const uint32_t life = q7id_life();
  int32_t delivered = q7id_flush_rounds(app, object, rounds);
  if (!q7id_alive(life)) return delivered;
  delivered += q7id_flush_list(app, object, life, [](Q7App *a) { return a->idle; });
  if (!q7id_alive(life)) return delivered;
  return delivered + q7id_flush_list(app, object, life, [](Q7App *a) { return &a->idle_low; });
}

void Q7AppStripIdleMsgs(Q7App *app, Q7Object *object) {
  if (object) q7id_strip(app, [=](const Q7IdleMsg *message) { return q7id_is_for(message, object); });
}

void Q7AppStripIdle(Q7App *app, Q7IdleFunction function, uint64_t data) {
  q7id_strip(app, [=](const Q7IdleMsg *message) {
    return message->kind == Q7IDLE_CALL && message->m.function == function && message->first == data;
  });
}

void Q7AppWaitCursor(void) {}
void Q7AppResetCursor(void) {}

bool q7::idle_create(Q7App *app) {
  auto *idle = static_cast<Q7List *>(Q7AllocMem(sizeof(Q7List), Q7MEM_CLEAR));
  auto *spent = static_cast<Q7List *>(Q7AllocMem(sizeof(Q7List), Q7MEM_CLEAR));
  if (!idle || !spent) {
    Q7FreeMem(idle, sizeof(Q7List));
    Q7FreeMem(spent, sizeof(Q7List));
    return false;
  }
  Q7NewList(idle);
  Q7NewList(spent);
  LockGuard lock(app->lock);
  Q7NewList(&app->idle_held);
  Q7NewList(&app->idle_low);
  app->idle_free = spent;
  app->idle = idle;
  return true;
}

void q7::idle_flush_all(Q7App *app) {
  // Deletion from within a message: what its round still holds is older than everything in the lists.
  for (Round *round = rounds; round; round = round->outer) {
    while (round->next < round->count) {
      if (Q7IdleMsg *message = round->messages[round->next++]) Q7AppExecIdle(app, message);
    }
  }
  while (Q7AppFlushIdle(app)) {
  }
}

void q7::idle_drain(Q7App *app) {
  const auto drain = [app](Q7List *list) {
    for (;;) {
      Q7IdleMsg *message;
      {
        LockGuard lock(app->lock);
        message = q7id_take_head(list);
      }
      if (!message) return;
      Q7AppExecIdle(app, message);
      q7id_free(message);
    }
  };
  drain(app->idle);
  {
    LockGuard lock(app->lock);
    Q7FreeMem(app->idle, sizeof(Q7List));
    app->idle = nullptr;
  }
  drain(&app->idle_low);
}

void q7::idle_free(Q7App *app) {
  LockGuard lock(app->lock);
  while (Q7IdleMsg *message = q7id_take_head(app->idle_free)) q7id_free(message);
  Q7FreeMem(app->idle_free, sizeof(Q7List));
  app->idle_free = nullptr;
  while (Q7IdleMsg *message = q7id_take_head(&app->idle_held)) q7id_free(message);
  app->idle_held = {};
  app->idle_low = {};
  walkers = nullptr;
  lifetime.fetch_add(1, std::memory_order_relaxed);
}
