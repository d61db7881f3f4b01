// manager: the releases that wait because the managers they come from are nested too deep.
#include "ui/manager.hpp"

#include "core/q7memory.h"

namespace {

struct Waiting {
  Q7Node node;
  Q7Object *object;
  q7::Weak link;  // somebody else may dispose of the object first
};

// Made on first use: a list head is no constant.
Q7List *q7mg_waiting() {
  static Q7List list;
  if (!list.head) Q7NewList(&list);
  return &list;
}

void q7mg_forget(Waiting *waiting) {
  Q7Remove(&waiting->node);
  q7::weak_drop(waiting->link);
  Q7FreeMem(waiting, sizeof(Waiting));
}

void q7mg_gone(q7::Weak *link) {
  q7mg_forget(reinterpret_cast<Waiting *>(reinterpret_cast<char *>(link) - offsetof(Waiting, link)));
}

}  // namespace

void q7::ReleaseLevel::drain() {
  Q7List *list = q7mg_waiting();
  while (list->head->succ) {
    auto *waiting = reinterpret_cast<Waiting *>(list->head);
    Q7Object *object = waiting->object;
    q7mg_forget(waiting);
    release(object);
  }
}

void q7::release_member(Q7Object *obj) {
  if (!obj) return;
  const ReleaseLevel level;
  // Without memory for waiting the stack has to do.
  auto *waiting = ReleaseLevel::deep() ? static_cast<Waiting *>(Q7AllocMem(sizeof(Waiting), Q7MEM_CLEAR)) : nullptr;
  if (!waiting) {
    release(obj);
    return;
  }
  waiting->object = obj;
  weak_assign(waiting->link, obj, q7mg_gone);
  Q7AddTail(q7mg_waiting(), &waiting->node);
}
