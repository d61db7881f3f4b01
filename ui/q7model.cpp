// q7model: the model class. A model owns its dependent records, a reference on each dependent that is not weak, and,
// from the first begin on, a batch block with the pending changes. Invariants: a record that stands in the list is
// complete; a pending change stands both in the batch's list and in its hash table. Walks under way are known to their
// own thread, so records and models may go while their dependents are told.
#include "ui/q7model.h"

#include <atomic>

#include "app/q7idle.h"
#include "core/guards.hpp"
#include "core/q7memory.h"
#include "core/report.hpp"
#include "ui/widget.hpp"

namespace {

constexpr char kModule[] = "q7model";

// A dependent.
struct Dependent {
  Q7Node node;
  Q7Object *object;  // referenced unless weak; null when a weak widget went
  uint32_t flags;    // Q7MODEL_...; after the record was made only the telling bit changes
  int32_t aspect;    // handed back with every notice
  uint64_t serial;   // ascending in list order: tells whether it was there when a change began
  bool *emptied;     // of the model: set when the object is forgotten
  q7::Weak link;     // weak widgets only
};

// A collected change.
struct Pending {
  Q7Node node;
  int32_t tag;
  uint64_t value;
  Pending *chain;  // next of the same bucket
};

// Made by the first begin, freed with the model. Only the depth is read without the lock.
struct Batch {
  std::atomic<int32_t> depth;
  Q7List changes;     // Pending, oldest first
  void *lock;         // guards the changes; never held while a dependent is told
  Pending **buckets;  // null while there are few
  uint64_t size;      // buckets, a power of two
  uint64_t count;     // changes
};

struct Model {
  Q7List dependents;           // Dependent records in the order in which they were added
  std::atomic<Batch *> batch;  // null until the first begin
  std::atomic<uint64_t> serial;
  bool emptied;  // a record may stand without its object
};
static_assert(offsetof(Model, batch) == sizeof(Q7List));
static_assert(offsetof(Dependent, object) == 32 && offsetof(Dependent, flags) == 40 &&
              offsetof(Dependent, aspect) == 44);

// Whose idle queue carries the notices.
std::atomic<Q7App *> application;

// ---- Walks ----

class Telling;

// The walks of this thread, innermost first. Eight bytes fit into what is set aside for libraries that are loaded
// later, so they are reached without a call.
[[gnu::tls_model("initial-exec")]] thread_local Telling *tellings;

// One notice on its way through the dependents. Removing and disposing are told to the walks of the same thread; on
// other threads there are none then, as the header says.
class Telling {
 public:
  explicit Telling(Model &model) : model_(&model), outer_(tellings) { tellings = this; }
  ~Telling() { tellings = outer_; }
  Telling(const Telling &) = delete;
  Telling &operator=(const Telling &) = delete;

  // Steps onto a record: next() answers what follows it, whatever becomes of it.
  void stand_on(Dependent *record, Q7Node *next) {
    current_ = record;
    next_ = next;
  }
  bool stands() const { return current_ != nullptr; }
  Q7Node *next() const { return next_; }
  Model *model() const { return model_; }  // null when it went

  static void leaving(const Dependent *record) {
    for (Telling *t = tellings; t; t = t->outer_) {
      if (t->next_ == &record->node) t->next_ = record->node.succ;
      if (t->current_ == record) t->current_ = nullptr;
    }
  }
  static void ending(const Model *model) {
    for (Telling *t = tellings; t; t = t->outer_) {
      if (t->model_ != model) continue;
      t->model_ = nullptr;
      t->current_ = nullptr;
    }
  }

 private:
  Model *model_;
  Q7Node *next_ = nullptr;
  Dependent *current_ = nullptr;
  Telling *outer_;
};

// ---- Dependents ----

// The handlers stay out of line, so that the dispatcher, which every notice passes, needs no frame of its own.

void q7mo_take_out(Dependent *record) {
  Telling::leaving(record);
  Q7Remove(&record->node);
  q7::weak_drop(record->link);
}

// Frees a record that was taken out; the dependent is told last, since it may remove others or dispose of the model.
void q7mo_free(Dependent *record, Q7Object *self) {
  Q7Object *object = record->flags & Q7MODEL_WEAK ? nullptr : record->object;
  Q7FreeMem(record, sizeof(Dependent));
  q7::send(object, Q7M_RELEASE, 0, 0, q7::slot(self));
}

void q7mo_widget_gone(q7::Weak *link) {
  auto *record = reinterpret_cast<Dependent *>(reinterpret_cast<char *>(link) - offsetof(Dependent, link));
  record->object = nullptr;
  *record->emptied = true;
}

[[gnu::noinline]] uint64_t q7mo_add(Model &m, Q7Object *self, uint32_t flags, int32_t aspect, Q7Object *object) {
  if (!object) {
    Q7_REPORT_ERROR(kModule, "Model: Adding NULL dependent");
    return 0;
  }
  auto *record = static_cast<Dependent *>(Q7AllocSilent(sizeof(Dependent), Q7MEM_CLEAR));
  if (!record) return q7::arg(self);
  record->object = object;
  record->flags = flags & ~static_cast<uint32_t>(Q7MODEL_TELLING);
  record->aspect = aspect;
  record->emptied = &m.emptied;
  record->serial = m.serial.load(std::memory_order_relaxed) + 1;
  m.serial.store(record->serial, std::memory_order_relaxed);
  Q7AddTail(&m.dependents, &record->node);
  if (!(flags & Q7MODEL_WEAK)) {
    q7::send(object, Q7M_ADDREF, 0, 0, q7::slot(self));
  } else if (q7::widget_data(object) && Q7IsMainThread()) {
    q7::weak_assign(record->link, object, q7mo_widget_gone);
  }
  return q7::arg(self);
}

[[gnu::noinline]] uint64_t q7mo_remove(Model &m, Q7Object *self, const Q7Object *object) {
  if (!object) return 0;
  for (Q7Node *node = m.dependents.head; node->succ; node = node->succ) {
    auto *record = reinterpret_cast<Dependent *>(node);
    if (record->object != object) continue;
    q7mo_take_out(record);
    q7mo_free(record, self);
    return q7::arg(self);
  }
  return 0;
}

// Records whose dependent went; those that are being told are left to the next time.
void q7mo_clean_up(Model &m) {
  if (!m.emptied) return;
  bool left = false;
  for (Q7Node *node = m.dependents.head; node->succ;) {
    auto *record = reinterpret_cast<Dependent *>(node);
    node = node->succ;
    if (record->object) continue;
    if (__atomic_load_n(&record->flags, __ATOMIC_RELAXED) & Q7MODEL_TELLING) {
      left = true;
      continue;
    }
    q7mo_take_out(record);
    Q7FreeMem(record, sizeof(Dependent));
  }
  m.emptied = left;
}

// ---- Telling ----

// Which flags a dependent needs to be told at once; bit 8 alone never suffices.
bool q7mo_at_once(uint32_t flags, bool end_of_batch, int &main_thread) {
  if (!(flags & Q7MODEL_DIRECT)) [[unlikely]]
    return false;
  // The end of a batch asks for no thread: whoever ends it has chosen where its notices arrive.
  if (end_of_batch || flags & Q7MODEL_ANY_THREAD) return true;
  if (main_thread < 0) main_thread = Q7IsMainThread() != 0;
  return main_thread != 0;
}

// Tells every dependent of one change; those that are added meanwhile are left out. False when the model went.
[[gnu::always_inline]] inline bool q7mo_tell(Telling &telling, int32_t tag, uint64_t value, bool end_of_batch) {
  int main_thread = -1;  // asked for at most once
  const uint64_t last = telling.model()->serial.load(std::memory_order_relaxed);
  for (Q7Node *node = telling.model()->dependents.head, *next; (next = node->succ); node = telling.next()) {
    auto *record = reinterpret_cast<Dependent *>(node);
    if (record->serial > last) [[unlikely]]
      break;
    telling.stand_on(record, next);
    const uint32_t flags = __atomic_load_n(&record->flags, __ATOMIC_RELAXED);
    // Only the thread that set the bit takes it back, so with several at work it is never left behind.
    const bool mark = !(flags & Q7MODEL_TELLING);
    if (mark) __atomic_store_n(&record->flags, flags | Q7MODEL_TELLING, __ATOMIC_RELAXED);
    Q7Object *object = record->object;
    if (object && !(flags & Q7MODEL_MUTED)) [[likely]] {
      const uint64_t aspect = q7::arg(record->aspect);
      if (q7mo_at_once(flags, end_of_batch, main_thread)) {
        q7::send(object, Q7M_NOTICE, value, aspect, q7::slot(tag));
      } else {
        Q7AppDoMsgA3WhenIdle(application.load(std::memory_order_relaxed), object, Q7M_NOTICE, value, aspect,
                             q7::arg(tag));
      }
    }
    if (mark && telling.stands()) __atomic_store_n(&record->flags, flags, __ATOMIC_RELAXED);
    if (!telling.model()) [[unlikely]]
      return false;
  }
  return true;
}

// ---- Batches ----

constexpr uint64_t kFewChanges = 16;  // so many are looked through one by one

uint64_t q7mo_bucket(const Batch &batch, int32_t tag, uint64_t value) {
  const uint64_t mixed = (value ^ static_cast<uint64_t>(static_cast<uint32_t>(tag)) << 32) * 0x9E3779B97F4A7C15u;
  return (mixed ^ mixed >> 32) & (batch.size - 1);
}

void q7mo_chain(Batch &batch, Pending *change) {
  Pending *&head = batch.buckets[q7mo_bucket(batch, change->tag, change->value)];
  change->chain = head;
  head = change;
}

// Keeps the buckets as many as the changes. Without memory for more of them the chains grow, and nothing is lost.
void q7mo_grow(Batch &batch) {
  if (batch.count < kFewChanges || batch.count < batch.size) return;
  const uint64_t size = batch.size ? batch.size * 4 : kFewChanges * 4;
  auto **buckets = static_cast<Pending **>(Q7AllocSilent(size * sizeof(Pending *), Q7MEM_CLEAR));
  if (!buckets) return;
  Q7FreeMem(batch.buckets, 0);
  batch.buckets = buckets;
  batch.size = size;
  for (Q7Node *node = batch.changes.head; node->succ; node = node->succ) {
    q7mo_chain(batch, reinterpret_cast<Pending *>(node));
  }
}

bool q7mo_is_pending(const Batch &batch, int32_t tag, uint64_t value) {
  if (batch.buckets) {
    for (const Pending *p = batch.buckets[q7mo_bucket(batch, tag, value)]; p; p = p->chain) {
      if (p->tag == tag && p->value == value) return true;
    }
    return false;
  }
  for (const Q7Node *node = batch.changes.head; node->succ; node = node->succ) {
    const auto *p = reinterpret_cast<const Pending *>(node);
    if (p->tag == tag && p->value == value) return true;
  }
  return false;
}

// False when no batch is open any more.
[[gnu::noinline]] bool q7mo_collect(Batch &batch, int32_t tag, uint64_t value) {
  q7::LockGuard guard(batch.lock);
  if (batch.depth.load(std::memory_order_relaxed) < 1) return false;
  if (q7mo_is_pending(batch, tag, value)) return true;
  auto *change = static_cast<Pending *>(Q7AllocSilent(sizeof(Pending), Q7MEM_CLEAR));
  if (!change) return true;
  change->tag = tag;
  change->value = value;
  q7mo_grow(batch);
  Q7AddTail(&batch.changes, &change->node);
  if (batch.buckets) q7mo_chain(batch, change);
  ++batch.count;
  return true;
}

// Takes the oldest change; null when there is none, or when a batch is open (again).
Pending *q7mo_next(Batch &batch) {
  q7::LockGuard guard(batch.lock);
  if (batch.depth.load(std::memory_order_relaxed) > 0) return nullptr;
  auto *change = reinterpret_cast<Pending *>(Q7RemHead(&batch.changes));
  if (!change) return nullptr;
  --batch.count;
  if (!batch.buckets) return change;
  Pending **place = &batch.buckets[q7mo_bucket(batch, change->tag, change->value)];
  while (*place != change) place = &(*place)->chain;
  *place = change->chain;
  return change;
}

void q7mo_free_batch(Batch *batch) {
  if (!batch) return;
  while (Q7Node *node = Q7RemHead(&batch->changes)) Q7FreeMem(node, sizeof(Pending));
  Q7FreeMem(batch->buckets, 0);
  Q7LockFree(batch->lock);
  Q7FreeMem(batch, sizeof(Batch));
}

// The model's batch block, made when it is missing.
Batch *q7mo_batch(Model &m) {
  Batch *batch = m.batch.load(std::memory_order_acquire);
  if (batch) return batch;
  batch = static_cast<Batch *>(Q7AllocMem(sizeof(Batch), Q7MEM_CLEAR));
  if (!batch) return nullptr;
  Q7NewList(&batch->changes);
  batch->lock = Q7LockAlloc();
  Batch *standing = nullptr;
  if (!batch->lock) {
    Q7FreeMem(batch, sizeof(Batch));
    return nullptr;
  }
  // Another thread may have begun first. The release lets whoever finds the block see it complete.
  if (m.batch.compare_exchange_strong(standing, batch, std::memory_order_acq_rel)) return batch;
  q7mo_free_batch(batch);
  return standing;
}

[[gnu::noinline]] uint64_t q7mo_begin(Model &m) {
  Batch *batch = q7mo_batch(m);
  if (!batch) return 0;
  q7::LockGuard guard(batch->lock);
  batch->depth.fetch_add(1, std::memory_order_relaxed);
  return 1;
}

[[gnu::noinline]] uint64_t q7mo_end(Model &m) {
  Batch *batch = m.batch.load(std::memory_order_acquire);
  if (!batch) return 1;
  {
    q7::LockGuard guard(batch->lock);
    // An end too many leaves the depth at 0, so that the next begin opens a batch all the same.
    if (batch->depth.load(std::memory_order_relaxed) < 1) return 1;
    if (batch->depth.fetch_sub(1, std::memory_order_relaxed) > 1) return 1;
  }
  Telling telling(m);
  while (Pending *change = q7mo_next(*batch)) {
    const int32_t tag = change->tag;
    const uint64_t value = change->value;
    Q7FreeMem(change, sizeof(Pending));
    if (!q7mo_tell(telling, tag, value, true)) return 1;
  }
  q7mo_clean_up(m);
  return 1;
}

bool q7mo_is_open(const Model &m, Batch *&batch) {
  batch = m.batch.load(std::memory_order_acquire);
  return batch && batch->depth.load(std::memory_order_relaxed) > 0;
}

[[gnu::noinline]] uint64_t q7mo_changed(Model &m, Q7Object *self, Q7TagItem *changes) {
  if (!m.dependents.head->succ) return 0;
  Telling telling(m);
  Batch *batch;
  for (const Q7TagItem &item : q7::tags(changes)) {
    const auto tag = static_cast<int32_t>(item.tag);
    // A dependent that was told of the change before may have begun a batch.
    if (q7mo_is_open(m, batch) && q7mo_collect(*batch, tag, item.data)) [[unlikely]]
      continue;
    if (!q7mo_tell(telling, tag, item.data, false)) return 0;
  }
  if (m.emptied && !q7mo_is_open(m, batch)) q7mo_clean_up(m);
  return q7::arg(self);
}

// ---- Life ----

[[gnu::noinline]] uint64_t q7mo_new(Q7Class *cl, Q7Object *receiver, uint64_t a, uint64_t b, Q7TagItem *tags) {
  return q7::create<Model>(
      cl, receiver, a, b, tags, [](Model &, const Q7TagItem &) { return true; },
      [](Model &m, Q7Object *) {
        Q7NewList(&m.dependents);
        return true;
      });
}

[[gnu::noinline]] uint64_t q7mo_dispose(Q7Class *cl, Q7Object *self, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto &m = q7::data<Model>(cl, self);
  Telling::ending(&m);
  // The record leaves first: a dependent that goes with its reference finds itself removed already.
  while (m.dependents.head->succ) {
    auto *record = reinterpret_cast<Dependent *>(m.dependents.head);
    q7mo_take_out(record);
    q7mo_free(record, self);
  }
  q7mo_free_batch(m.batch.exchange(nullptr, std::memory_order_acquire));
  return q7::inherit(cl, self, Q7M_DISPOSE, a, b, tags);
}

[[gnu::noinline]] uint64_t q7mo_copy(Q7Class *cl, Q7Object *self, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto *copy = q7::as<Q7Object *>(q7::inherit(cl, self, Q7M_COPY, a, b, tags));
  if (!copy) return 0;
  auto &m = q7::data<Model>(cl, copy);
  Q7NewList(&m.dependents);
  m.batch.store(nullptr, std::memory_order_relaxed);
  return q7::arg(copy);
}

uint64_t q7mo_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  const bool to_class = &obj->cl->header == obj;
  // The one that is sent all the time comes first.
  if (method == Q7M_MODEL_CHANGED && !to_class) return q7mo_changed(q7::data<Model>(cl, obj), obj, tags);
  switch (method) {
    case Q7M_NEW: return q7mo_new(cl, obj, a, b, tags);
    case Q7M_CLASS_FREE: return 0;
    case Q7M_FREE_CACHES: return 1;
    default:
      if (to_class) return q7::inherit(cl, obj, method, a, b, tags);
      break;
  }
  auto &m = q7::data<Model>(cl, obj);
  switch (method) {
    case Q7M_DISPOSE: return q7mo_dispose(cl, obj, a, b, tags);
    case Q7M_COPY: return q7mo_copy(cl, obj, a, b, tags);
    case Q7M_MODEL_ADD: return q7mo_add(m, obj, q7::as<uint32_t>(a), q7::as<int32_t>(b), q7::slot_as<Q7Object *>(tags));
    case Q7M_MODEL_REMOVE: return q7mo_remove(m, obj, q7::slot_as<Q7Object *>(tags));
    case Q7M_MODEL_BEGIN: return q7mo_begin(m);
    case Q7M_MODEL_END: return q7mo_end(m);
    default: return q7::inherit(cl, obj, method, a, b, tags);
  }
}

constexpr q7::ClassDef model_class = {
    .id = Q7C_MODEL, .name = "q7model", .dispatch = q7mo_dispatch, .size = sizeof(Model), .description = "Model"};

}  // namespace

int32_t Q7RegisterModelClass(Q7App *app) {
  application.store(app, std::memory_order_relaxed);
  return q7::register_once(app, model_class);
}
