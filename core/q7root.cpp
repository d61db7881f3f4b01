// q7root: the root class. Creation, disposal, class tags, object attributes, reference counts and the wording of
// reports about undefined members. Its instance data is the object header. Saving, loading and textual attribute access
// are in files of their own.
#include "core/q7root.h"

#include <sys/single_threaded.h>

#include <cstring>

#include "core/classdef.hpp"
#include "core/q7memory.h"
#include "core/q7objects.h"
#include "core/q7strings.h"
#include "core/q7typeid.h"
#include "core/registry.hpp"
#include "core/report.hpp"
#include "core/root.hpp"
#include "core/watch.hpp"
#include "platform/q7platform.h"

namespace {

constexpr char kModule[] = "q7root";

static_assert(sizeof(Q7AttributeTableNode) == 40 && offsetof(Q7AttributeTableNode, table) == 32);

constexpr uint32_t kStringCount = 7;
Q7LocaleEntry root_strings[kStringCount] = {
    {"UndefinedAttribute", "Undefined Attribute", 0},
    {"CannotReadObject", "Cannot Read Object", 0},
    {"NeedNewerVersion", "Need Newer Version", 0},
    {"UndefinedMethod", "Undefined Method", 0},
    {"Name", "Name", 0},
    {"ClassName", "Root", 0},
    {"ClassDescription", "Root", 0},
};
Q7LocaleEntry *opened_strings;  // owned by the locale service, from registration to method 24

constexpr Q7PublicAttribute root_attributes[] = {
    {"Name", Q7A_NAME, Q7TID_STRING, 0, {}, 0, {}},
    {"Next", Q7A_NEXT, Q7TID_OBJECT2, Q7PAF_READ_ONLY, {}, 0, {}},
    {"Previous", Q7A_PREVIOUS, Q7TID_OBJECT2, Q7PAF_READ_ONLY, {}, 0, {}},
    {nullptr, 0, 0, 0, {}, 0, {}},
};

uint32_t naming_class;         // class tag 558
uint32_t naming_method;        // class tag 559
bool missing_reported = true;  // class tag 560

Q7Class *q7rt_class(Q7Object *receiver) { return reinterpret_cast<Q7Class *>(receiver); }

// A class record points to itself. Methods for classes only, or for objects only, answer 0 to the other kind.
bool q7rt_is_class(const Q7Object *receiver) { return &receiver->cl->header == receiver; }

// ---- Memory of objects: the allocator in argument a, or the heap ----

void *q7rt_allocate(Q7AltMem *allocator, uint64_t size) {
  return allocator ? allocator->allocate(allocator->context, size, Q7MEM_CLEAR) : Q7AllocMem(size, Q7MEM_CLEAR);
}

void q7rt_free(Q7AltMem *allocator, void *block, uint64_t size) {
  if (!block) return;
  if (allocator) {
    allocator->release(allocator->context, block, size);
  } else {
    Q7FreeMem(block, size);
  }
}

// Gives an object its own copy of a name; false on exhaustion.
bool q7rt_copy_name(Q7Object *obj, Q7AltMem *allocator, const char *name) {
  obj->name = nullptr;
  if (!name) return true;
  const size_t size = std::strlen(name) + 1;
  // The heap need not clear what is written over at once.
  void *copy = allocator ? q7rt_allocate(allocator, size) : Q7AllocMem(size, 0);
  if (!copy) return false;
  obj->name = static_cast<const char *>(std::memcpy(copy, name, size));
  return true;
}

// The block of a new object, zero-filled. Small ones are cleared here, where it is known that they consist of words:
// the call of memset would cost more than its work.
Q7Object *q7rt_zero_object(Q7AltMem *allocator, uint32_t size) {
  constexpr uint32_t kSmall = 256;
  if (allocator || size > kSmall || size % sizeof(uint64_t) || size < sizeof(Q7Object)) {
    return static_cast<Q7Object *>(q7rt_allocate(allocator, size));
  }
  auto *obj = static_cast<Q7Object *>(Q7AllocMem(size, 0));
  if (!obj) [[unlikely]]
    return nullptr;
  *obj = {};
  auto *words = reinterpret_cast<uint64_t *>(obj);
  for (uint32_t i = sizeof(Q7Object) / sizeof *words; i < size / sizeof *words; ++i) {
    words[i] = 0;
    __asm__("" : "+r"(words));  // must not be made a memset again
  }
  return obj;
}

// Workers make and dispose of objects of their own (signals, executors) while the main thread does, so the counters
// change atomically as soon as the process has a second thread.
inline void q7rt_count(Q7Class *cl, uint32_t by) {
  if (__libc_single_threaded) {
    cl->ninstances += by;
    for (; cl; cl = cl->super) cl->nsubinstances += by;
  } else {
    __atomic_add_fetch(&cl->ninstances, by, __ATOMIC_RELAXED);
    for (; cl; cl = cl->super) __atomic_add_fetch(&cl->nsubinstances, by, __ATOMIC_RELAXED);
  }
}

[[gnu::noinline]] uint64_t q7rt_new(Q7Class *cl, Q7AltMem *allocator, Q7TagItem *tags) {
  Q7Object *obj = q7rt_zero_object(allocator, cl->itotal);
  if (!obj) [[unlikely]]
    return 0;
  const char *name = nullptr;
  Q7List *list = nullptr;
  for (const Q7TagItem &item : q7::tags(tags)) {
    if (item.tag == Q7A_NAME) name = q7::value<const char *>(item);
    if (item.tag == Q7A_ADD_TO_LIST) list = q7::value<Q7List *>(item);
  }
  if (!q7rt_copy_name(obj, allocator, name)) {
    q7rt_free(allocator, obj, cl->itotal);
    return 0;
  }
  obj->clid = cl->header.clid;
  obj->cl = cl;
  obj->dispatch = cl->header.dispatch;
  if (list) Q7AddTail(list, reinterpret_cast<Q7Node *>(obj));
  // Objects in an allocator's memory are not counted here although their disposal lowers the counters: pools rely on
  // it.
  if (!allocator) q7rt_count(cl, 1);
  return q7::arg(obj);
}

[[gnu::noinline]] uint64_t q7rt_dispose(Q7Object *obj, Q7AltMem *allocator) {
  q7::object_goes(obj);
  Q7Class *cl = obj->cl;
  q7rt_count(cl, static_cast<uint32_t>(-1));
  if (obj->name) {
    // Only an allocator is told the size.
    const uint64_t size = allocator ? std::strlen(obj->name) + 1 : 0;
    q7rt_free(allocator, const_cast<char *>(obj->name), size);
  }
  q7rt_free(allocator, obj, cl->itotal);
  return 1;
}

[[gnu::noinline]] uint64_t q7rt_copy(Q7Object *obj, Q7AltMem *allocator) {
  Q7Class *cl = obj->cl;
  auto *copy = static_cast<Q7Object *>(q7rt_allocate(allocator, cl->itotal));
  if (!copy) return 0;
  std::memcpy(static_cast<void *>(copy), obj, cl->itotal);
  copy->refcount = 0;
  copy->clid = cl->header.clid;
  // The copy stands in no list, whatever the original's links say.
  copy->succ = copy->pred = nullptr;
  if (!q7rt_copy_name(copy, allocator, obj->name)) {
    q7rt_free(allocator, copy, cl->itotal);
    return 0;
  }
  if (!allocator) q7rt_count(cl, 1);
  return q7::arg(copy);
}

// ---- Class tags ----

// The class to which a dispatcher tag applies: the one the table holds under the receiver's id.
Q7Class *q7rt_registered(Q7Class *cl) {
  Q7Class *registered = Q7ClassFind(cl->header.clid);
  return registered ? registered : cl;
}

bool q7rt_set_class_tag(Q7Class *cl, const Q7TagItem &item) {
  const bool root = cl->header.clid == Q7C_ROOT;
  switch (item.tag) {
    case 3:
    case 4:
    case Q7CT_CREATION_FLAG: return true;
    case Q7CT_DISPATCHER: q7rt_registered(cl)->header.dispatch = q7::value<Q7Dispatcher>(item); return true;
    case Q7CT_NAME: cl->header.name = q7::value<const char *>(item); return true;
    case Q7CT_VALUE503: cl->tag503 = item.data; return true;
    // Layout and table stay as they are: creation has computed both before the tags arrive.
    case Q7CT_SIZE: cl->isize = q7::value<uint32_t>(item); return true;
    case Q7CT_ID:
      cl->header.clid = q7::value<uint32_t>(item);
      cl->stream_cache = 1;
      return true;
    case Q7CT_VALUE506: cl->tag506 = item.data; return true;
    case Q7CT_VERSION: cl->version = q7::value<uint32_t>(item); return true;
    case Q7CT_CATALOG: cl->catalog = q7::value<const Q7LocaleEntry *>(item); return true;
    case Q7CT_PUBATTRS: cl->pubattrs = q7::value<const Q7PublicAttribute *>(item); return true;
    case Q7CT_DESCRIPTION: cl->description = q7::value<const char *>(item); return true;
    case Q7CT_ORGANISATION: cl->organisation = q7::value<const char *>(item); return true;
    case Q7CT_MODULE: cl->module = q7::value<const char *>(item); return true;
    case Q7CT_NAMING_CLASS:
      if (root) naming_class = q7::value<uint32_t>(item);
      return root;
    case Q7CT_NAMING_METHOD:
      if (root) naming_method = q7::value<uint32_t>(item);
      return root;
    case Q7CT_REPORT_MISSING:
      if (root) missing_reported = q7::flag(item);
      return root;
    default: return false;
  }
}

bool q7rt_get_class_tag(Q7Class *cl, const Q7TagItem &item) {
  const bool root = cl->header.clid == Q7C_ROOT;
  switch (item.tag) {
    case 3:
    case 4: return true;
    case Q7CT_NINSTANCES: return q7::store<uint32_t>(item, cl->ninstances);
    case Q7CT_DISPATCHER: return q7::store<Q7Dispatcher>(item, cl->header.dispatch);
    case Q7CT_NAME: return q7::store<const char *>(item, cl->header.name);
    case Q7CT_VALUE503: return q7::store<uint64_t>(item, cl->tag503);
    case Q7CT_SIZE: return q7::store<uint32_t>(item, cl->itotal);
    case Q7CT_ID: return q7::store<uint32_t>(item, cl->header.clid);
    case Q7CT_VALUE506: return q7::store<uint64_t>(item, cl->tag506);
    case Q7CT_VERSION: return q7::store<uint32_t>(item, cl->version);
    case Q7CT_NSUBINSTANCES: return q7::store<uint32_t>(item, cl->nsubinstances);
    case Q7CT_PUBATTRS: return q7::store<const Q7PublicAttribute *>(item, cl->pubattrs);
    case Q7CT_DESCRIPTION: return q7::store<const char *>(item, cl->description);
    case Q7CT_ORGANISATION: return q7::store<const char *>(item, cl->organisation);
    case Q7CT_MODULE: return q7::store<const char *>(item, cl->module);
    case Q7CT_SUPER: return q7::store<uint32_t>(item, cl->super ? cl->super->header.clid : Q7C_NONE);
    case Q7CT_NAMING_CLASS: return root && q7::store<uint32_t>(item, naming_class);
    case Q7CT_NAMING_METHOD: return root && q7::store<uint32_t>(item, naming_method);
    default: return false;
  }
}

// ---- Object attributes ----

[[noreturn]] void q7rt_refuse_refcount() {
  Q7_REPORT_ERROR(kModule, "Cannot set refcount");
  q7::assertion_failed("reference counts change by methods 9 and 10 only", kModule, __LINE__);
}

void q7rt_set_name(Q7Object *obj, const char *name) {
  char *copy = Q7StrDup(name);
  if (name && !copy) return;  // out of memory: the old name is better than none
  Q7StrFree(const_cast<char *>(obj->name));
  obj->name = copy;
}

bool q7rt_set_attribute(Q7Object *obj, const Q7TagItem &item) {
  switch (item.tag) {
    case 3:
    case 4:
    case Q7A_IGNORED: return true;
    case Q7A_NAME: q7rt_set_name(obj, q7::value<const char *>(item)); return true;
    case Q7A_CLASS_ID: obj->clid = q7::value<uint32_t>(item); return true;
    case Q7A_NEXT: obj->succ = q7::value<Q7Node *>(item); return true;
    case Q7A_PREVIOUS: obj->pred = q7::value<Q7Node *>(item); return true;
    case Q7A_ADD_TO_LIST:
      if (item.data) Q7AddTail(q7::value<Q7List *>(item), reinterpret_cast<Q7Node *>(obj));
      return true;
    case Q7A_NAME_TAKEN: obj->name = q7::value<const char *>(item); return true;
    case Q7A_REFCOUNT: q7rt_refuse_refcount();
    case Q7A_DISPATCHER: obj->dispatch = q7::value<Q7Dispatcher>(item); return true;
    default: return false;
  }
}

bool q7rt_get_attribute(Q7Object *obj, const Q7TagItem &item) {
  switch (item.tag) {
    case 3:
    case 4: return true;
    case Q7A_ERROR: return q7::store<int32_t>(item, 0);
    case Q7A_NAME:
    case Q7A_NAME_TAKEN: return q7::store<const char *>(item, obj->name);
    case Q7A_CLASS_ID: return q7::store<uint32_t>(item, obj->clid);
    case Q7A_CLASS: return q7::store<Q7Class *>(item, obj->cl);
    case Q7A_CLASS_NAME: return q7::store<const char *>(item, obj->cl->header.name);
    case Q7A_NEXT: return q7::store<Q7Node *>(item, obj->succ);
    case Q7A_PREVIOUS: return q7::store<Q7Node *>(item, obj->pred);
    case Q7A_SELF: return q7::store<Q7Object *>(item, obj);
    case Q7A_CLASS_VERSION: return q7::store<uint32_t>(item, obj->cl->version);
    case Q7A_REFCOUNT: return q7::store<int32_t>(item, __atomic_load_n(&obj->refcount, __ATOMIC_RELAXED));
    case Q7A_DISPATCHER: return q7::store<Q7Dispatcher>(item, obj->dispatch);
    case Q7A_RESERVED545: return q7::store<uint64_t>(item, 0);
    default: return false;
  }
}

// Goes through a list; every unknown item is reported (or not) and the last one is the answer.
template <class Receiver>
uint64_t q7rt_walk(Receiver *receiver, Q7Object *obj, Q7TagItem *tags, bool (*known)(Receiver *, const Q7TagItem &),
                   bool report) {
  uint64_t unknown = 0;
  for (Q7TagItem &item : q7::tags(tags)) {
    if (known(receiver, item)) continue;
    if (report) q7::report_undefined(obj, item.tag, q7::kAttributeKind);
    unknown = q7::arg(&item);
  }
  return unknown;
}

// ---- References ----

// A process that has never started a thread needs no bus lock, which is most of what a reference costs.
template <int Order>
int32_t q7rt_change_references(Q7Object *obj, int32_t by) {
  if (__libc_single_threaded) return obj->refcount += by;
  return __atomic_add_fetch(&obj->refcount, by, Order);
}

uint64_t q7rt_add_reference(Q7Object *obj) {
  q7rt_change_references<__ATOMIC_RELAXED>(obj, 1);
  return q7::arg(obj);
}

// The release orders everything done through this reference before the disposal on whichever thread drops the last one.
uint64_t q7rt_release(Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (q7rt_change_references<__ATOMIC_ACQ_REL>(obj, -1) > 0) return q7::arg(obj);
  q7::send(obj, Q7M_DISPOSE, a, b, tags);
  return 0;
}

// ---- Lists ----

[[gnu::noinline]] uint64_t q7rt_insert(Q7Object *obj, Q7List *list, void (*insert)(Q7List *, Q7Node *)) {
  if (list) insert(list, reinterpret_cast<Q7Node *>(obj));
  return 1;
}

[[gnu::noinline]] uint64_t q7rt_insert_behind(Q7Object *obj, Q7Node *pred, Q7List *list) {
  if (list) Q7Insert(list, reinterpret_cast<Q7Node *>(obj), pred);
  return 1;
}

// Takes an object out of its list; its links are cleared so that doing it twice harms nobody.
[[gnu::noinline]] uint64_t q7rt_remove(Q7Object *obj) {
  if (obj->succ && obj->pred) {
    Q7Remove(reinterpret_cast<Q7Node *>(obj));
    obj->succ = obj->pred = nullptr;
  }
  return q7::arg(obj);
}

[[gnu::noinline]] uint64_t q7rt_free_table_node(Q7List *list) {
  if (list) Q7FreeMem(Q7RemHead(list), sizeof(Q7AttributeTableNode));
  return 1;
}

// ---- Streams ----

[[gnu::noinline]] uint64_t q7rt_call(Q7Object *obj, Q7TagItem *tags, uint32_t function_tag, uint32_t data_tag) {
  auto function = q7::as<Q7StreamFunction>(Q7TagVal(tags, function_tag, 0));
  if (function) function(obj, q7::as<Q7Object *>(Q7TagVal(tags, Q7A_STREAM, 0)), Q7TagVal(tags, data_tag, 0));
  return 1;
}

[[gnu::noinline]] uint64_t q7rt_save(Q7Object *obj, Q7TagItem *tags) {
  return q7::save_object(obj, tags) ? q7rt_call(obj, tags, Q7A_WRITER, Q7A_WRITER_DATA) : 0;
}

// ---- Forwarding, kinds, names ----

[[gnu::noinline]] uint64_t q7rt_forward(Q7Object *obj, Q7TagItem *tags) {
  const auto method = q7::as<uint32_t>(Q7TagVal(tags, Q7A_METHOD, 0));
  auto *target = q7::as<Q7Object *>(Q7TagVal(tags, Q7A_TARGET, 0));
  if (!target) return q7::send(obj, method, 0, 0, tags);
  Q7TagItem list[2] = {{Q7A_SENDER, q7::arg(obj)}, {Q7TAG_LINK, q7::arg(tags)}};
  return q7::send(target, method, 0, 0, list);
}

[[gnu::noinline]] uint64_t q7rt_depth(const Q7Object *obj, uint32_t clid) {
  uint64_t depth = 1;
  for (const Q7Class *cl = obj->cl; cl; cl = cl->super, ++depth) {
    if (cl->header.clid == clid) return depth;
  }
  return 0;
}

// Kept as it is, although no id passes for classes from 1 upwards: callers take the answer for "one of the root's own".
[[gnu::noinline]] uint64_t q7rt_owns_id(const Q7Object *obj, uint32_t id) {
  const uint32_t clid = obj->cl->header.clid;
  return clid * 1000 < id && id < clid + 1000;
}

[[gnu::noinline]] uint64_t q7rt_string(Q7Object *obj, int32_t index) {
  const Q7LocaleEntry *catalog = obj->cl->catalog;
  if (catalog && index >= 0) return q7::arg(catalog[index].text);
  Q7_REPORT_ERROR(kModule, "String %d not found", index);
  return 0;
}

[[gnu::noinline]] uint64_t q7rt_undefined_indexed(Q7Object *obj, uint64_t attribute) {
  q7::report_undefined(obj, static_cast<uint32_t>(attribute), q7::kAttributeKind);
  return static_cast<uint32_t>(attribute);
}

[[gnu::noinline]] const Q7PublicAttribute *q7rt_nearest_table(const Q7Class *cl) {
  for (; cl->super; cl = cl->super) {
    if (cl->pubattrs) return cl->pubattrs;
  }
  return cl->pubattrs ? cl->pubattrs : root_attributes;
}

[[gnu::noinline]] uint64_t q7rt_class_free(Q7Object *receiver) {
  if (!q7rt_is_class(receiver) || receiver->clid != Q7C_ROOT || !opened_strings) return 1;
  Q7AppCloseLocale(Q7ApplicationContext, opened_strings, kStringCount);
  opened_strings = nullptr;
  naming_class = naming_method = 0;
  missing_reported = true;
  return 1;
}

// The naming service; null without one. A service that does not know its own method ends up here again, with the report
// about that method: while a question is open there is no service.
thread_local bool asking;

Q7Class *q7rt_naming_service() { return naming_class && !asking ? Q7ClassFind(naming_class) : nullptr; }

// Asks the naming service; null without a service or an answer.
const char *q7rt_ask_name(uint64_t a, uint64_t b, uint32_t id) {
  Q7Class *service = q7rt_naming_service();
  if (!service) return nullptr;
  asking = true;
  const uint64_t name = q7::send(service, naming_method, a, b, q7::slot(id));
  asking = false;
  return q7::as<const char *>(name);
}

[[gnu::noinline]] const char *q7rt_class_name(uint32_t clid) {
  const char *name = q7rt_ask_name(clid, 1, clid);
  return name ? name : "?";
}

}  // namespace

const char *q7::root_string(RootString entry) { return (opened_strings ? opened_strings : root_strings)[entry].text; }

bool q7::report_missing_classes() { return missing_reported; }

const char *q7::class_name(uint32_t clid) {
  const auto *name = as<const char *>(send(Q7ClassFind(Q7C_ROOT), Q7M_CLASSNAME, 0, 0, slot(clid)));
  return name ? name : "?";
}

void q7::report_undefined(const Q7Object *obj, uint32_t id, UndefinedKind kind) {
  const uint32_t clid = obj->clid;
  const int clid_text = static_cast<int>(clid);
  const int id_text = static_cast<int>(id);
  if (!q7rt_naming_service()) {
    // Without a naming service attributes are called methods too: whoever filters logs by this text counts on one word.
    Q7_REPORT_ERROR(kModule, "%s %d:%d", root_string(kUndefinedMethod), clid_text, id_text);
    return;
  }
  const char *prefix = root_string(kind == kMethodKind ? kUndefinedMethod : kUndefinedAttribute);
  const char *class_text = q7rt_ask_name(clid, 1, clid);
  const char *member = q7rt_ask_name(clid, kind, id);
  Q7ErrPos(kModule, __LINE__);
  if (class_text && member) {
    Q7_Error("%s %s:%s", prefix, class_text, member);
  } else if (class_text) {
    Q7_Error("%s %s:%d", prefix, class_text, id_text);
  } else if (member) {
    Q7_Error("%s %d:%s", prefix, clid_text, member);
  } else {
    Q7_Error("%s %d:%d", prefix, clid_text, id_text);
  }
}

uint64_t Q7RootDispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  (void)cl;
  if (!obj) return 0;
  auto *allocator = q7::as<Q7AltMem *>(a);
  switch (method) {
    case Q7M_NEW: return q7rt_is_class(obj) ? q7rt_new(q7rt_class(obj), allocator, tags) : 0;
    case Q7M_DISPOSE: return q7rt_is_class(obj) ? 0 : q7rt_dispose(obj, allocator);
    case Q7M_SETCLASSATTRS:
      return q7rt_is_class(obj) ? q7rt_walk(q7rt_class(obj), obj, tags, q7rt_set_class_tag, true) : 0;
    case Q7M_GETCLASSATTRS:
      return q7rt_is_class(obj) ? q7rt_walk(q7rt_class(obj), obj, tags, q7rt_get_class_tag, false) : 0;
    case Q7M_SET: return q7rt_walk(obj, obj, tags, q7rt_set_attribute, true);
    case Q7M_GET: return q7rt_walk(obj, obj, tags, q7rt_get_attribute, true);
    case Q7M_READ: return q7rt_call(obj, tags, Q7A_READER, Q7A_READER_DATA);
    case Q7M_SAVE: return q7rt_save(obj, tags);
    case Q7M_NOTICE: return 0;
    case Q7M_ADDREF: return q7rt_add_reference(obj);
    case Q7M_RELEASE: return q7rt_release(obj, a, b, tags);
    case Q7M_ADDHEAD: return q7rt_insert(obj, q7::slot_as<Q7List *>(tags), Q7AddHead);
    case Q7M_ADDTAIL: return q7rt_insert(obj, q7::slot_as<Q7List *>(tags), Q7AddTail);
    case Q7M_REMOVE: return q7rt_remove(obj);
    case Q7M_FORWARD: return q7rt_forward(obj, tags);
    case Q7M_FREE_TABLE_NODE: return q7rt_free_table_node(q7::slot_as<Q7List *>(tags));
    case Q7M_COLLECT_TABLES:
    case Q7M_NAME_OF_TAG:
    case Q7M_ROW_BY_NAME:
    case Q7M_ROW_BY_TAG:
    case Q7M_TAG_BY_NAME: return q7::public_attributes(root_attributes, nullptr, obj, method, a, b, tags);
    case 18:
    case 20:
    case Q7M_FREE_CACHES: return 1;
    case Q7M_COPY: return q7rt_is_class(obj) ? 0 : q7rt_copy(obj, allocator);
    case Q7M_LOAD: return q7::arg(q7::load_object(a, q7::as<Q7Object *>(b), tags));
    case Q7M_FORWARD_TO: return q7::send(q7::as<Q7Object *>(a), q7::as<uint32_t>(b), 0, 0, tags);
    case Q7M_FORWARD_TO_CLASS: return q7::send(obj->cl, q7::as<uint32_t>(b), 0, 0, tags);
    case Q7M_CLASS_FREE: return q7rt_class_free(obj);
    case Q7M_STRING: return q7rt_string(obj, q7::slot_int(tags));
    case Q7M_ATTRIBUTE_TABLE: return q7::arg(q7rt_nearest_table(obj->cl));
    case Q7M_SETINDEXED:
    case Q7M_GETINDEXED: return q7rt_undefined_indexed(obj, a);
    case Q7M_ISOFKIND: return q7rt_depth(obj, q7::slot_as<uint32_t>(tags));
    case Q7M_OWNS_ID: return q7rt_owns_id(obj, q7::slot_as<uint32_t>(tags));
    case Q7M_INSERT: return q7rt_insert_behind(obj, q7::as<Q7Node *>(b), q7::slot_as<Q7List *>(tags));
    case Q7M_GET_BY_PATH:
      return q7::get_by_path(obj, q7::as<const char *>(a), q7::as<Q7PublicAttribute *>(b), q7::slot_as<void *>(tags));
    case Q7M_SET_BY_PATH: return q7::set_by_path(obj, q7::as<const char *>(a), b, q7::slot_as<const void *>(tags));
    case 38: return 0;
    case Q7M_CLASSNAME: return q7::arg(q7rt_class_name(q7::slot_as<uint32_t>(tags)));
    default: q7::report_undefined(obj, method, q7::kMethodKind); return 0;
  }
}

int32_t Q7RegisterRootClass(Q7App *app) {
  if (Q7ClassFind(Q7C_ROOT)) return 1;
  opened_strings = static_cast<Q7LocaleEntry *>(Q7AppOpenLocale(app, "q7common", kModule, root_strings, kStringCount));
  const Q7LocaleEntry *strings = opened_strings ? opened_strings : root_strings;
  Q7TagItem tags[] = {
      {Q7CT_CATALOG, q7::arg(strings)},
      {Q7CT_DESCRIPTION, q7::arg(strings[q7::kRootDescription].text)},
      {Q7CT_NAME, q7::arg(kModule)},
      {Q7CT_ORGANISATION, q7::arg("Karmonic")},
      {Q7CT_MODULE, q7::arg("q7common")},
      {Q7CT_CREATION_FLAG, 0},
      {Q7CT_VERSION, 1},
      {Q7TAG_END, 0},
  };
  if (Q7ClassCreateA(Q7C_NONE, Q7C_ROOT, Q7RootDispatch, sizeof(Q7Object), tags)) return 1;
  if (opened_strings) Q7AppCloseLocale(app, opened_strings, kStringCount);
  opened_strings = nullptr;
  return 0;
}
