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

// What a packer or placer reads from its frame. All at once: a frame may be a manager with a frame of its own, and two
// questions at every level would be asked exponentially often.
struct FrameSize {
  int32_t left, top, right, bottom;
  int32_t width;  // what its title needs
};
inline FrameSize ask_frame(Q7Object *frame) {
  FrameSize f = {};
  Q7TagItem list[] = {{Q7A_FRAME_LEFT, arg(&f.left)},        {Q7A_FRAME_TOP, arg(&f.top)},
                      {Q7A_FRAME_RIGHT, arg(&f.right)},      {Q7A_FRAME_BOTTOM, arg(&f.bottom)},
                      {Q7A_WIDGET_MIN_WIDTH, arg(&f.width)}, {Q7TAG_END, 0}};
  send(frame, Q7M_GET, 0, 0, list);
  return f;
}

// Slaves and frames go with the manager that held the last reference on them, their own slaves with them, and so on: a
// chain of managers would go on one stack. Below the deepest level the releases wait until the outermost one is
// through. Widgets that dispose of their children count as levels, since managers may lie in between.
class ReleaseLevel {
 public:
  ReleaseLevel() { ++depth_; }
  ~ReleaseLevel() {
    if (depth_ == 1) drain();
    --depth_;
  }
  ReleaseLevel(const ReleaseLevel &) = delete;
  ReleaseLevel &operator=(const ReleaseLevel &) = delete;
  static bool deep() { return depth_ > Q7_WIDGET_DEEPEST / 2; }

 private:
  static void drain();
  static inline int depth_;
};
void release_member(Q7Object *obj);

template <class Manager>
void frame_gone(Weak *link) {
  auto &m = *reinterpret_cast<Manager *>(reinterpret_cast<char *>(link) - offsetof(Manager, frame_link));
  m.frame = nullptr;
  m.left = m.top = m.right = m.bottom = 0;
}
// Reads the insets and the width; all 0 without a frame. False when that took the manager away. It happens within a
// walk, so that frames with frames end where walks do.
template <class Manager>
bool read_frame(Manager &m, const Walk &life, int32_t &width) {
  const FrameSize frame = m.frame && !life.refused() ? ask_frame(m.frame) : FrameSize{};
  if (!life.valid()) return false;
  m.left = frame.left;
  m.top = frame.top;
  m.right = frame.right;
  m.bottom = frame.bottom;
  width = frame.width;
  return true;
}

// Old one out, new one in, in this order; setting the same frame again keeps its reference.
template <class Manager>
void set_frame(Manager &m, Q7Object *frame) {
  const Walk life(m.slaves);
  if (m.frame != frame) {
    Q7Object *old = m.frame;
    weak_drop(m.frame_link);
    m.frame = nullptr;
    release_member(old);
    if (life.valid()) add_reference(frame);
    if (!life.valid()) return;
    m.frame = frame;
    weak_assign(m.frame_link, frame, frame_gone<Manager>);
  }
  int32_t width = 0;
  read_frame(m, life, width);
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

// Sets the shown state of a manager's frame and slaves but those that are to be skipped.
template <class Record, class Manager, class Skip>
void show_members(Manager &m, bool shown, Skip skip) {
  BusyGuard guard(m.busy, kShowing);
  if (!guard) return;
  Walk walk(m.slaves);
  if (m.frame && !walk.refused()) set_attribute(m.frame, Q7A_WIDGET_SHOWN, shown);
  while (auto *record = walk.take<Record>()) {
    if (!skip(*record)) set_attribute(record->slave, Q7A_WIDGET_SHOWN, shown);
  }
  if (!walk.valid()) guard.abandon();
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
