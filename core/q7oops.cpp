// q7oops: the class registry: the table by id, creation, replacement, extension methods, start and end. The registry's
// state lies in the application record; a class record is owned by the registry from creation to Q7OopsFree.
#include "core/q7oops.h"

#include <cstdio>
#include <cstring>

#include "core/classdef.hpp"
#include "core/q7memory.h"
#include "core/q7oops2.h"
#include "core/q7strings.h"
#include "core/registry.hpp"
#include "core/report.hpp"
#include "platform/q7platform.h"

Q7App *Q7ApplicationContext;

uint32_t q7::class_count;

namespace {

constexpr char kModule[] = "q7oops";
constexpr uint32_t kFirstCapacity = 5000;
constexpr uint32_t kGrowth = 100;

static_assert(sizeof(Q7Object) == 48 && offsetof(Q7Object, clid) == 24 && offsetof(Q7Object, refcount) == 28);
static_assert(offsetof(Q7Object, cl) == 32 && offsetof(Q7Object, dispatch) == 40);
static_assert(offsetof(Q7Class, super) == 48 && offsetof(Q7Class, subclasses) == 56 && offsetof(Q7Class, isize) == 80);
static_assert(offsetof(Q7Class, tag503) == 88 && offsetof(Q7Class, tag506) == 96 && offsetof(Q7Class, ioffset) == 104);
static_assert(offsetof(Q7Class, itotal) == 108 && offsetof(Q7Class, superdispatch) == 112);
static_assert(offsetof(Q7Class, extmethods) == 120 && offsetof(Q7Class, ninstances) == 144);
static_assert(offsetof(Q7Class, nsubinstances) == 148 && offsetof(Q7Class, version) == 152);
static_assert(sizeof(Q7PublicAttribute) == 80 && offsetof(Q7PublicAttribute, tag) == 8);
static_assert(offsetof(Q7PublicAttribute, type) == 12 && offsetof(Q7PublicAttribute, flags) == 16);
static_assert(offsetof(Q7PublicAttribute, index) == 64);
static_assert(offsetof(Q7App, error_handler) == 16 && offsetof(Q7App, main_task) == 24 && offsetof(Q7App, idle) == 32);
static_assert(offsetof(Q7App, error_data) == 64 && offsetof(Q7App, flags) == 72 && offsetof(Q7App, name) == 88);
static_assert(offsetof(Q7App, language) == 96 && offsetof(Q7App, info) == 232 && offsetof(Q7App, version) == 240);
static_assert(offsetof(Q7App, idle_held) == 496 && offsetof(Q7App, running) == 520);
static_assert(offsetof(Q7App, default_extension) == 536 && offsetof(Q7App, lock) == 544);
static_assert(offsetof(Q7App, idle_low) == 552 && offsetof(Q7App, product) == 576 && offsetof(Q7App, home) == 592);
static_assert(offsetof(Q7App, info_handler) == 608 && offsetof(Q7App, capacity) == 620);

Q7Class *q7oo_find(uint32_t clid) {
  const Q7App *app = Q7ApplicationContext;
  return app && app->classes && clid < app->class_capacity ? app->classes[clid] : nullptr;
}

// Makes room for an id in the class table.
bool q7oo_grow(uint32_t clid) {
  Q7App *app = Q7ApplicationContext;
  if (!app || !app->classes) return false;
  if (clid < app->class_capacity) return true;
  if (clid > q7::kHighestClassId) return false;
  const uint32_t capacity = clid + kGrowth;
  void *table =
      Q7ReAllocMem(app->classes, sizeof(Q7Class *) * app->class_capacity, sizeof(Q7Class *) * capacity, Q7MEM_CLEAR);
  if (!table) return false;
  app->classes = static_cast<Q7Class **>(table);
  app->class_capacity = capacity;
  return true;
}

void q7oo_store(Q7Class *cl, uint32_t clid) {
  Q7App *app = Q7ApplicationContext;
  app->classes[clid] = cl;
  if (clid > app->class_highest) app->class_highest = clid;
}

uint64_t q7oo_default_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  return q7::inherit(cl, obj, method, a, b, tags);
}

constexpr uint64_t kLargest = 0xFFFFFFF8;  // bytes of an instance that 32 bits can count

bool q7oo_fits(const Q7Class *super, uint32_t isize) {
  return (super ? super->itotal : 0) + q7::round_up_8(isize) < kLargest;
}

void q7oo_lay_out(Q7Class *cl) {
  cl->ioffset = cl->super ? cl->super->itotal : 0;
  const uint64_t total = cl->ioffset + q7::round_up_8(cl->isize);
  cl->itotal = static_cast<uint32_t>(total < kLargest ? total : kLargest);
}

// The class behind cl in a walk over everything below top, parents first.
Q7Class *q7oo_next_below(Q7Class *cl, const Q7Class *top) {
  if (cl->subclasses.head->succ) return reinterpret_cast<Q7Class *>(cl->subclasses.head);
  while (cl != top && !cl->header.succ->succ) cl = cl->super;
  return cl == top ? nullptr : reinterpret_cast<Q7Class *>(cl->header.succ);
}

uint64_t q7oo_send_class_tags(Q7Class *cl, uint32_t method, Q7TagItem *tags) {
  return q7::send(cl, method, 0, 0, tags);
}

void q7oo_link(Q7Class *cl) {
  Q7List *list = cl->super ? &cl->super->subclasses : &Q7ApplicationContext->top_classes;
  Q7AddHead(list, reinterpret_cast<Q7Node *>(cl));
}

void q7oo_free_libraries(Q7App *app) {
  while (Q7Node *node = Q7RemHead(&app->libraries)) {
    Q7LibraryClose(app, reinterpret_cast<q7::LibraryNode *>(node)->handle, 1);
    Q7FreeMem(node, sizeof(q7::LibraryNode));
  }
}

}  // namespace

void q7::report_unknown_class(uint32_t clid, int32_t line) {
  const char *name = class_name(clid);
  Q7ErrPos(kModule, line);
  Q7_Error("%s: %d (%s)", Q7AppStr(4), static_cast<int>(clid), name);
}

void q7::recompute_layout(Q7Class *top) {
  for (Q7Class *cl = q7oo_next_below(top, top); cl; cl = q7oo_next_below(cl, top)) q7oo_lay_out(cl);
}

int32_t Q7RegisterClient(Q7App *app) {
  Q7ApplicationContext = app;
  return 1;
}

int32_t Q7OopsInit(Q7App *app) {
  if (!app) return 0;
  Q7ApplicationContext = app;
  app->classes = static_cast<Q7Class **>(Q7AllocMem(sizeof(Q7Class *) * kFirstCapacity, Q7MEM_CLEAR));
  app->class_capacity = app->classes ? kFirstCapacity : 0;
  app->class_highest = 0;
  Q7NewList(&app->top_classes);
  Q7NewList(&app->libraries);
  if (!app->classes) return 0;
  if (Q7ClassFind(0)) q7::assertion_failed("Q7ClassFind(0) == 0", kModule, __LINE__);
  return J7OopsInit(app);
}

int32_t Q7OopsFree(Q7App *app) {
  if (!app) return 0;
  if (Q7Object *project = app->project) {
    q7::release(project);
    app->project = nullptr;
  }
  Q7AppBeginRegistryWrite(app, 1);
  Q7Class *root = q7oo_find(Q7C_ROOT);
  if (root) {
    for (Q7Node *node = root->subclasses.head; node->succ; node = node->succ) {
      free_cache(reinterpret_cast<Q7Class *>(node));
    }
    Q7ClassWrite(root);
    q7::send(root, Q7M_FREE_CACHES);
  }
  Q7AppEndRegistryWrite(app, 1);
  if (root) free_class(root);
  if (app->classes) {
    while (app->top_classes.head->succ) free_class(reinterpret_cast<Q7Class *>(app->top_classes.head));
    q7oo_free_libraries(app);
  }
  Q7FreeMem(app->classes, sizeof(Q7Class *) * app->class_capacity);
  app->classes = nullptr;
  app->class_capacity = 0;
  q7::class_count = 0;
  return J7OopsFree(app);
}

Q7Class *Q7ClassFind(uint32_t clid) {
  const Q7App *app = Q7ApplicationContext;
  if (!app || !app->classes) return nullptr;
  if (clid > app->class_capacity) {
    // The capacity itself passes without a word: callers probe it to learn where the table ends.
    Q7_REPORT_ERROR(kModule, "PANIC: %d\n", static_cast<int>(clid));
    std::fflush(stdout);
  }
  if (q7::class_count == 0) return nullptr;
  return q7oo_find(clid);
}

Q7Class *Q7ClassFindByName(const char *name) {
  if (!name) return nullptr;
  uint32_t id = 0;
  for (Q7Class *cl = Q7ClassNext(0, &id); cl; cl = Q7ClassNext(id + 1, &id)) {
    if (cl->header.name && std::strcmp(cl->header.name, name) == 0) return cl;
  }
  return nullptr;
}

Q7Class *Q7ClassNext(uint32_t clid, uint32_t *id) {
  const Q7App *app = Q7ApplicationContext;
  if (!app || !app->classes || q7::class_count == 0) return nullptr;
  for (; clid <= app->class_highest && clid < app->class_capacity; ++clid) {
    if (!app->classes[clid]) continue;
    if (id) *id = clid;
    return app->classes[clid];
  }
  return nullptr;
}

Q7Class *Q7ClassCreateA(uint32_t superclid, uint32_t clid, Q7Dispatcher dispatcher, uint32_t isize, Q7TagItem *tags) {
  if (!q7oo_grow(clid)) return nullptr;
  if (Q7Class *existing = q7oo_find(clid)) return existing;
  (void)Q7TagVal(tags, Q7CT_CREATION_FLAG, 0);
  auto *cl = static_cast<Q7Class *>(Q7AllocMem(sizeof(Q7Class), Q7MEM_CLEAR));
  if (!cl) return nullptr;
  if (superclid != Q7C_NONE) {
    cl->super = Q7ClassFind(superclid);
    if (!cl->super) {
      q7::report_unknown_class(superclid, __LINE__);
      Q7FreeMem(cl, sizeof(Q7Class));
      return nullptr;
    }
  }
  if (!q7oo_fits(cl->super, isize)) {
    Q7FreeMem(cl, sizeof(Q7Class));
    return nullptr;
  }
  cl->header.dispatch = dispatcher;
  cl->header.clid = clid;
  cl->header.cl = cl;
  cl->isize = isize;
  Q7NewList(&cl->subclasses);
  if (cl->super) {
    cl->superdispatch = cl->super->header.dispatch;
    if (!dispatcher) cl->header.dispatch = q7oo_default_dispatch;
  }
  q7oo_lay_out(cl);
  q7oo_store(cl, clid);
  Q7NewList(&cl->extmethods);
  ++q7::class_count;
  q7oo_send_class_tags(cl, Q7M_SETCLASSATTRS, tags);
  if (!cl->header.name) cl->header.name = "private";
  q7oo_link(cl);
  Q7ClassRead(cl);
  return cl;
}

Q7Class *Q7ClassReplaceA(uint32_t oldclid, uint32_t newclid, Q7Dispatcher dispatcher, uint32_t isize, Q7TagItem *tags) {
  if (!q7oo_grow(newclid)) return nullptr;
  Q7Class *cl = Q7ClassFind(oldclid);
  if (!cl) {
    q7::report_unknown_class(oldclid, __LINE__);
    return nullptr;
  }
  if (cl->ninstances != 0) {
    Q7_REPORT_ERROR(kModule, "%s: %d->%d", Q7AppStr(6), static_cast<int>(oldclid), static_cast<int>(newclid));
    return nullptr;
  }
  if (!q7oo_fits(cl->super, isize)) return nullptr;
  cl->isize = isize;
  cl->header.dispatch = dispatcher;
  cl->header.clid = newclid;
  cl->header.cl = cl;
  q7oo_lay_out(cl);
  // The old id keeps its entry: stored objects and callers that name it still find the class.
  q7oo_store(cl, newclid);
  cl->stream_cache = 1;
  q7oo_send_class_tags(cl, Q7M_SETCLASSATTRS, tags);
  q7::recompute_layout(cl);
  return cl;
}

int32_t Q7ClassIdIsOfKind(uint32_t clid, uint32_t ancestor) {
  for (const Q7Class *cl = Q7ClassFind(clid); cl; cl = cl->super) {
    if (cl->header.clid == ancestor) return 1;
  }
  return 0;
}

int32_t Q7ObjectIsOfKind(Q7Object *object, uint32_t clid) {
  return static_cast<int32_t>(q7::send(object, Q7M_ISOFKIND, 0, 0, q7::slot(clid)));
}

int32_t Q7SetClassAttrsA(uint32_t clid, Q7TagItem *tags) {
  return q7oo_send_class_tags(Q7ClassFind(clid), Q7M_SETCLASSATTRS, tags) != 0;
}

int32_t Q7GetClassAttrsA(uint32_t clid, Q7TagItem *tags) {
  return q7oo_send_class_tags(Q7ClassFind(clid), Q7M_GETCLASSATTRS, tags) != 0;
}

size_t q7::class_path_length(const Q7Class *cl) {
  size_t length = 0;
  for (; cl; cl = cl->super) length += 1 + std::strlen(cl->header.name ? cl->header.name : "");
  return length;
}

bool q7::class_path(char *buffer, size_t size, const Q7Class *cl) {
  const size_t length = class_path_length(cl);
  if (length >= size) return false;
  // From the class at the end of the text upwards to the topmost ancestor at its beginning.
  char *p = buffer + length;
  *p = 0;
  for (; cl; cl = cl->super) {
    const char *name = cl->header.name ? cl->header.name : "";
    const size_t n = std::strlen(name);
    p -= n;
    std::memcpy(p, name, n);
    *--p = '/';
  }
  return true;
}

int32_t Q7MakeClassName(char *buffer, uint32_t clid) {
  const Q7Class *cl = Q7ClassFind(clid);
  return cl && buffer ? q7::class_path(buffer, SIZE_MAX, cl) : 0;
}

int32_t Q7ClassAddExtensionMethod(uint32_t clid, const char *name, Q7ExtensionMethod function) {
  if (!name || !function) return 0;
  Q7Class *cl = Q7ClassFind(clid);
  if (!cl) {
    q7::report_unknown_class(clid, __LINE__);
    return 0;
  }
  auto *method = static_cast<q7::ExtensionNode *>(Q7AllocMem(sizeof(q7::ExtensionNode), Q7MEM_CLEAR));
  if (!method) return 0;
  method->name = Q7StrDup(name);
  if (!method->name) {
    Q7FreeMem(method, sizeof(q7::ExtensionNode));
    return 0;
  }
  method->function = function;
  Q7AddTail(&cl->extmethods, &method->node);
  return 1;
}

uint64_t Q7SendEMsgA3(Q7Object *object, const char *name, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (!name || !object) return 0;
  const Q7Class *cl = Q7ClassFind(object->clid);
  if (!cl) {
    q7::report_unknown_class(object->clid, __LINE__);
    q7::assertion_failed("an object belongs to a registered class", kModule, __LINE__);
  }
  for (; cl; cl = cl->super) {
    for (Q7Node *node = cl->extmethods.head; node->succ; node = node->succ) {
      const auto *method = reinterpret_cast<const q7::ExtensionNode *>(node);
      if (std::strcmp(method->name, name) == 0) return method->function(object, a, b, tags);
    }
  }
  Q7_REPORT_ERROR(kModule, "Extension method %s not installed for class %d", name, static_cast<int>(object->clid));
  return 0;
}
