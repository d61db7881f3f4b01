// manager: what the layout managers share: the geometry manager's data, slave records, frames, the shown state and the
// guard against managers that contain each other.
#ifndef Q7_UI_MANAGER_HPP
#define Q7_UI_MANAGER_HPP

#include "ui/q7gmanag.h"
#include "ui/widget.hpp"

namespace q7 {

struct GmanagerData {
  int32_t pending;   // 1 while a requested layout is outstanding
  Q7Object *master;  // 24506
  WeakField master_link;
};

inline Q7Object *master_of(Q7Object *manager) {
  const auto *g = data_of<GmanagerData>(manager, Q7C_GMANAGER);
  return g ? g->master : nullptr;
}

// Whether slaves are to be shown when the manager is asked to show them: a manager within another one asks that one.
inline bool shown_by_master(Q7Object *manager) {
  Q7Object *master = master_of(manager);
  return !master || send(master, Q7M_WIDGET_IS_SHOWN) != 0;
}

inline bool is_manager(Q7Object *obj) { return obj && Q7ObjectIsOfKind(obj, Q7C_GMANAGER); }

inline Q7Object *slave_tag(Q7TagItem *tags) { return as<Q7Object *>(Q7TagVal(tags, Q7A_GMANAGER_SLAVE, 0)); }

inline void set_rectangle(Q7Object *obj, int32_t x, int32_t y, int32_t width, int32_t height) {
  Q7TagItem list[] = {{Q7A_WIDGET_X, arg(x)},
                      {Q7A_WIDGET_Y, arg(y)},
                      {Q7A_WIDGET_WIDTH, arg(width)},
                      {Q7A_WIDGET_HEIGHT, arg(height)},
                      {Q7TAG_END, 0}};
  send(obj, Q7M_SET, 0, 0, list);
}

// Sums of sizes wrap rather than overflow.
inline int32_t narrow(int64_t value) { return static_cast<int32_t>(value); }

// What a manager is doing; a manager that contains itself through others would do it for ever.
enum Busy : uint32_t { kLayingOut = 1, kSizing = 2, kShowing = 4, kSearching = 8, kVisiting = 16 };

class BusyGuard {
 public:
  BusyGuard(uint32_t &busy, uint32_t what) : busy_(busy & what ? nullptr : &busy), what_(what) {
    if (busy_) *busy_ |= what_;
  }
  ~BusyGuard() {
    if (busy_) *busy_ &= ~what_;
  }
  BusyGuard(const BusyGuard &) = delete;
  BusyGuard &operator=(const BusyGuard &) = delete;
  explicit operator bool() const { return busy_ != nullptr; }
  // The manager was disposed meanwhile.
  void abandon() { busy_ = nullptr; }

 private:
  uint32_t *busy_;
  uint32_t what_;
};

// The frame of a packer or placer: a reference on the object, and its insets.
struct Insets {
  int32_t left, top, right, bottom;
};
inline Insets read_insets(Q7Object *frame) {
  Insets i = {0, 0, 0, 0};
  Q7TagItem list[] = {{Q7A_FRAME_LEFT, arg(&i.left)},
                      {Q7A_FRAME_TOP, arg(&i.top)},
                      {Q7A_FRAME_RIGHT, arg(&i.right)},
                      {Q7A_FRAME_BOTTOM, arg(&i.bottom)},
                      {Q7TAG_END, 0}};
  send(frame, Q7M_GET, 0, 0, list);
  return i;
}
// Old one out, new one in, in this order; setting the same frame again keeps its reference.
inline void replace_frame(Q7Object *&field, Q7Object *frame) {
  if (field == frame) return;
  Q7Object *old = field;
  field = nullptr;
  release(old);
  add_reference(frame);
  field = frame;
}

// Slave records begin with their node and the slave.
template <class Record>
Record *find_record(Q7List &slaves, const Q7Object *slave) {
  if (!slave) return nullptr;
  for (Q7Node *node = slaves.head; node->succ; node = node->succ) {
    auto *record = reinterpret_cast<Record *>(node);
    if (record->slave == slave) return record;
  }
  return nullptr;
}

// Sends a message to each slave that is a geometry manager until one answers non-zero.
template <class Record>
uint64_t ask_nested(Q7List &slaves, uint32_t &busy, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  BusyGuard guard(busy, kSearching);
  if (!guard) return 0;
  Walk walk(slaves);
  while (auto *record = walk.take<Record>()) {
    if (!is_manager(record->slave)) continue;
    const uint64_t answer = send(record->slave, method, a, b, tags);
    if (!walk.valid()) guard.abandon();
    if (answer) return answer;
  }
  return 0;
}

// Method 24004 over a list of records.
template <class Record>
uint64_t for_each_gadget(Q7List &slaves, uint32_t &busy, uint64_t handler, uint64_t method, Q7TagItem *argument) {
  BusyGuard guard(busy, kVisiting);
  if (!guard) return 1;
  Walk walk(slaves);
  while (auto *record = walk.take<Record>()) {
    Q7Object *slave = record->slave;
    uint64_t answer = 1;
    if (is_manager(slave)) {
      answer = send(slave, Q7M_GMANAGER_FOR_EACH, handler, method, argument);
    } else if (slave && Q7ObjectIsOfKind(slave, Q7C_GADGET)) {
      answer = send(as<Q7Object *>(handler), as<uint32_t>(method), arg(slave), 0, argument);
    }
    if (!walk.valid()) guard.abandon();
    if (!answer) return 0;
  }
  return 1;
}

// The first slave of a packer that is not null, passing over records without a slave (q7packer.cpp).
Q7Object *packer_first_slave(Q7Object *packer);

}  // namespace q7

#endif
