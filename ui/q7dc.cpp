// q7dc: the abstract draw context. It knows the task that made it; all else is the concrete contexts' business.
#include "ui/q7dc.h"

#include "core/classdef.hpp"
#include "core/q7objects.h"

namespace {

struct DrawContext {
  Q7Object *task;  // the creating one; not referenced, and compared rather than used
};

// Takes over another context's state.
constexpr uint32_t kAssign = 20;

bool q7dc_set(DrawContext &, const Q7TagItem &item) {
  switch (item.tag) {
    case 267502:
    case 267503:
    case 267504:
    case 267505:
    case 267506:
    case 267520:
    case 267521:
    case 267522:
    case 267523:
    case 267524:
    case Q7A_DC_SCALE:
    case 267533:
    case 267534:
    case 267536: return true;
    default: return false;
  }
}

bool q7dc_get(const DrawContext &, const Q7TagItem &item) {
  return item.tag == Q7A_DC_SCALE && q7::store<double>(item, 1.0);
}

uint64_t q7dc_new(Q7Class *cl, Q7Object *receiver, uint64_t a, uint64_t b, Q7TagItem *tags) {
  return q7::create<DrawContext>(
      cl, receiver, a, b, tags, [](DrawContext &, const Q7TagItem &) { return true; },
      [](DrawContext &dc, Q7Object *) {
        dc.task = Q7FindTask(0);
        return true;
      });
}

uint64_t q7dc_copy(Q7Class *cl, Q7Object *self, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto *copy = q7::as<Q7Object *>(q7::inherit(cl, self, Q7M_COPY, a, b, tags));
  if (copy) q7::data<DrawContext>(cl, copy).task = Q7FindTask(0);
  return q7::arg(copy);
}

// Whatever a context takes over, it stays with its own thread.
uint64_t q7dc_assign(Q7Class *cl, Q7Object *self, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto &dc = q7::data<DrawContext>(cl, self);
  Q7Object *task = dc.task;
  const uint64_t answer = q7::inherit(cl, self, kAssign, a, b, tags);
  dc.task = task;
  return answer;
}

uint64_t q7dc_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method >= Q7M_DC_FIRST_DRAWING && method <= Q7M_DC_LAST_DRAWING) return 0;
  if ((method >= 267092 && method <= 267095) || (method >= 267098 && method <= 267114) || method == 267122) return 0;
  if (method == 267096 || method == 267097) return 1;
  if (method == Q7M_NEW) return q7dc_new(cl, obj, a, b, tags);
  if (&obj->cl->header == obj) return method == Q7M_DC_TASK ? 0 : q7::inherit(cl, obj, method, a, b, tags);
  switch (method) {
    case Q7M_SET: return q7::set_attributes<DrawContext>(cl, obj, tags, q7dc_set);
    case Q7M_GET: return q7::get_attributes<DrawContext>(cl, obj, tags, q7dc_get);
    case Q7M_COPY: return q7dc_copy(cl, obj, a, b, tags);
    case kAssign: return q7dc_assign(cl, obj, a, b, tags);
    case Q7M_DC_TASK: return q7::arg(q7::data<DrawContext>(cl, obj).task);
    default: return q7::inherit(cl, obj, method, a, b, tags);
  }
}

constexpr q7::ClassDef dc_class = {.id = Q7C_DRAW_CONTEXT,
                                   .name = "q7dc",
                                   .dispatch = q7dc_dispatch,
                                   .size = sizeof(DrawContext),
                                   .description = "Draw Context"};

}  // namespace

int32_t Q7RegisterDrawContextClass(Q7App *app) { return q7::register_once(app, dc_class); }
