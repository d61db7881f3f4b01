// q7msgport: the message-port class. One lock guards the list of ports and every port's messages: they are handed over
// in a few instructions, and the main loop can look at all ports without holding anything while it delivers.
#include <pthread.h>

#include "core/q7lists.h"
#include "core/q7memory.h"
#include "core/q7root.h"
#include "platform/posix/loop.hpp"
#include "platform/posix/q7posix.h"
#include "platform/posix/shape.hpp"

using namespace q7posix;

namespace {

struct Message {
  Q7Node link;
  Q7PortMessage words;
};

struct Port {    // instance data
  Q7Node link;   // in the list of ports
  Q7List queue;  // of Message, oldest first
  uint32_t count;
  uint32_t allowance;  // how many of them the current round may deliver
  Q7Object *target;    // referenced (4500); main thread
  uint32_t method;     // 4501; main thread
};

pthread_mutex_t ports_lock = PTHREAD_MUTEX_INITIALIZER;
Q7List port_list;
bool list_made = false;

// Under the lock.
Q7List *ports() {
  if (!list_made) Q7NewList(&port_list);
  list_made = true;
  return &port_list;
}
Port *first_port() { return reinterpret_cast<Port *>(ports()->head); }
Port *next_port(Port *port) { return reinterpret_cast<Port *>(port->link.succ); }
Message *take_message(Port &port) {
  auto *message = reinterpret_cast<Message *>(Q7RemHead(&port.queue));
  if (message) --port.count;
  return message;
}

uint64_t q7mp_put(Port &port, const Q7PortMessage &words) {
  auto *message = static_cast<Message *>(Q7AllocMem(sizeof(Message), Q7MEM_CLEAR));
  if (!message) return 0;
  message->words = words;
  {
    Guard guard(ports_lock);
    Q7AddTail(&port.queue, &message->link);
    ++port.count;
  }
  Q7WakeUpGui(nullptr);
  return 1;
}

uint64_t q7mp_take(Port &port, Q7PortMessage *words) {
  if (!words) return 0;
  Message *message;
  {
    Guard guard(ports_lock);
    message = take_message(port);
  }
  if (!message) return 0;
  *words = message->words;
  Q7FreeMem(message, sizeof *message);
  return 1;
}

uint64_t q7mp_count(const Port &port) {
  Guard guard(ports_lock);
  return port.count;
}

bool q7mp_set(Port &port, const Q7TagItem &item) {
  switch (item.tag) {
    case Q7A_MSGPORT_TARGET: {
      auto *target = reinterpret_cast<Q7Object *>(item.data);
      Q7Object *old = port.target;
      send(target, Q7M_ADDREF);
      port.target = target;
      send(old, Q7M_RELEASE);
      Q7WakeUpGui(nullptr);  // what waited can be delivered now
      return true;
    }
    case Q7A_MSGPORT_METHOD: port.method = static_cast<uint32_t>(item.data); return true;
    default: return false;
  }
}

bool q7mp_get(const Port &port, const Q7TagItem &item) {
  switch (item.tag) {
    case Q7A_MSGPORT_TARGET: return store<Q7Object *>(item, port.target);
    case Q7A_MSGPORT_METHOD: return store<uint32_t>(item, port.method);
    default: return false;
  }
}

uint64_t q7mp_new(Q7Class *cl, Q7Object *receiver, uint64_t a, uint64_t b, Q7TagItem *list) {
  auto *obj = reinterpret_cast<Q7Object *>(inherit(cl, receiver, Q7M_NEW, a, b, list));
  if (!obj) return 0;
  auto &port = data<Port>(cl, obj);
  Q7NewList(&port.queue);
  {
    Guard guard(ports_lock);
    Q7AddTail(ports(), &port.link);
  }
  each_tag(list, [&](const Q7TagItem &item) { q7mp_set(port, item); });
  return word(obj);
}

uint64_t q7mp_dispose(Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *list) {
  auto &port = data<Port>(cl, obj);
  {
    Guard guard(ports_lock);
    Q7Remove(&port.link);
  }
  while (Message *message = take_message(port)) Q7FreeMem(message, sizeof *message);
  send(port.target, Q7M_RELEASE);
  port.target = nullptr;
  return inherit(cl, obj, Q7M_DISPOSE, a, b, list);
}

uint64_t q7mp_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *list) {
  switch (method) {
    case Q7M_NEW: return q7mp_new(cl, obj, a, b, list);
    case Q7M_DISPOSE: return q7mp_dispose(cl, obj, a, b, list);
    case Q7M_SET: return walk<Port>(cl, obj, method, list, q7mp_set);
    case Q7M_GET: return walk<Port>(cl, obj, method, list, q7mp_get);
    case Q7M_COPY: return 0;  // a byte copy would share the original's messages
    case Q7M_MSGPORT_PUT: return q7mp_put(data<Port>(cl, obj), {a, b, word(list)});
    case Q7M_MSGPORT_TAKE: return q7mp_take(data<Port>(cl, obj), reinterpret_cast<Q7PortMessage *>(list));
    case Q7M_MSGPORT_COUNT: return q7mp_count(data<Port>(cl, obj));
    default: return inherit(cl, obj, method, a, b, list);
  }
}

constexpr ClassDef port_class = {Q7C_MSGPORT,         Q7C_ROOT,      "q7msgport", q7mp_dispatch, sizeof(Port),
                                 Q7RegisterRootClass, "Message Port"};

// The next message that this round may deliver; null when none is left.
Message *next_delivery(Q7Object *&target, uint32_t &method) {
  Guard guard(ports_lock);
  for (Port *port = first_port(); port->link.succ; port = next_port(port)) {
    if (!port->allowance || !port->target) continue;
    --port->allowance;
    Message *message = take_message(*port);
    if (!message) continue;
    target = port->target;
    method = port->method;
    return message;
  }
  return nullptr;
}

}  // namespace

namespace q7posix {

bool deliver_messages() {
  {
    Guard guard(ports_lock);
    for (Port *port = first_port(); port->link.succ; port = next_port(port)) port->allowance = port->count;
  }
  bool delivered = false;
  Q7Object *target = nullptr;
  uint32_t method = 0;
  while (Message *message = next_delivery(target, method)) {
    Q7PortMessage words = message->words;
    Q7FreeMem(message, sizeof *message);
    // Delivering may dispose the port and with it the last reference on the target.
    send(target, Q7M_ADDREF);
    send(target, method, words.a, words.b, slot(words.slot));
    send(target, Q7M_RELEASE);
    delivered = true;
  }
  return delivered;
}

}  // namespace q7posix

int32_t Q7RegisterMsgPortClass(Q7App *app) { return register_class(app, port_class); }
