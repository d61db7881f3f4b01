// q7mx: the group class. It owns a reference on its manager and the callback records on its members. Invariant: while
// it walks the manager to set states it ignores activations of its own, since those are the members' answers to being
// set; another group over the same manager, which cannot be walked at that moment, comes to its turn when idle.
#include "ui/q7mx.h"

#include "app/q7idle.h"
#include "core/q7root.h"
#include "ui/q7gmanag.h"
#include "ui/widget.hpp"

namespace {

struct Mx {
  int32_t exclusive;   // 181501
  Q7Object *manager;   // 181503; referenced
  Q7Object *active;    // 181502; null for none
  int32_t ordinal;     // 395500 as of the last activation or look-up; -1 for none
  Q7Object *parent;    // 41500
  uint32_t selecting;  // 1 while states are set
  uint32_t leaving;    // 1 from the beginning of its disposal on
  uint32_t doomed;     // 1 when its members are unhooked and it only waits for its end
  q7::WeakField active_link, parent_link;
};
static_assert(offsetof(Mx, manager) == 8 && offsetof(Mx, active) == 16 && offsetof(Mx, ordinal) == 24 &&
              offsetof(Mx, parent) == 32);

enum : uint32_t { kEnabled = 21502, kHelp = 21506, kTakesPart = 21508, kSelected = 21509 };

// A search for a member: by object, or by ordinal.
struct Search {
  Q7Object *member;
  int32_t wanted;   // ordinal that is looked for
  int32_t counter;  // members met so far
  int32_t found;    // ordinal of the member, -1
  int32_t exclusive;
};

// The n-th of all gadgets, and what is set on it.
struct Nth {
  int32_t left;
  Q7TagItem *list;
  int32_t found;
};

uint64_t q7mx_let_go(Q7Class *cl, Q7Object *self, uint64_t a, uint64_t b, Q7TagItem *tags);

// What groups are at work on, innermost first. A group that is disposed of meanwhile (its manager's walk still sends to
// it) goes when the outermost of its works is done; a manager that is being walked cannot be walked again before that.
class Work {
 public:
  Work(Q7Object *group, Q7Object *manager) : group(group), manager(manager), outer(innermost) { innermost = this; }
  ~Work() {
    innermost = outer;
    if (disposed) q7mx_let_go(q7::class_in_chain(group->cl, Q7C_MX), group, allocator, 0, nullptr);
  }
  Work(const Work &) = delete;
  Work &operator=(const Work &) = delete;

  Q7Object *group;
  Q7Object *manager;  // the one that is walked, or null
  Work *outer;
  bool disposed = false;
  uint64_t allocator = 0;
  static inline Work *innermost;
};

bool q7mx_walked(const Q7Object *manager) {
  for (const Work *w = Work::innermost; w; w = w->outer) {
    if (w->manager == manager) return true;
  }
  return false;
}

// Sends a method of the group to it for every gadget of its manager. False when the group was disposed of meanwhile; it
// then lives as long as the work of the message that is being handled.
bool q7mx_each(const Mx &m, Q7Object *self, uint32_t method, const void *argument) {
  if (!m.manager) return true;
  Work work(self, m.manager);
  q7::send(m.manager, Q7M_GMANAGER_FOR_EACH, q7::arg(self), method, q7::slot(argument));
  return !m.doomed;
}

bool q7mx_takes_part(Q7Object *gadget) { return q7::get_attribute<int32_t>(gadget, kTakesPart) != 0; }

// ---- What the walks do with a gadget ----

uint64_t q7mx_hook(Q7Object *self, Q7Object *gadget, bool on) {
  if (!gadget || !q7mx_takes_part(gadget)) return 1;
  Q7TagItem list[] = {{Q7A_CALLBACK_OBJECT, q7::arg(self)},
                      {Q7A_CALLBACK_METHOD, Q7M_MX_ACTIVATE},
                      {Q7A_CALLBACK_SOURCE, Q7A_SELF},
                      {Q7TAG_END, 0}};
  q7::send(gadget, on ? Q7M_WIDGET_ADD_CALLBACK : Q7M_WIDGET_REMOVE_CALLBACK, 0, 0, list);
  return 1;
}

uint64_t q7mx_set_state(Mx &m, Q7Object *gadget, Search *search) {
  if (!search || !gadget || !q7mx_takes_part(gadget)) return 1;
  const bool is_it = gadget == search->member;
  if (is_it) {
    search->found = search->counter;
    // From here on it is forgotten when it goes, which setting the next one may bring about.
    m.active_link.assign(m.active, gadget);
  }
  ++search->counter;
  if (search->exclusive || !is_it) q7::set_attribute(gadget, kSelected, is_it);
  return 1;
}

// Ends the walk at the member that is looked for.
uint64_t q7mx_find(Q7Object *gadget, Search *search) {
  if (!search || !gadget || !q7mx_takes_part(gadget)) return 1;
  const bool is_it = search->member ? gadget == search->member : search->counter == search->wanted;
  if (is_it) {
    search->member = gadget;
    search->found = search->counter;
    return 0;
  }
  ++search->counter;
  return 1;
}

uint64_t q7mx_set_nth(Q7Object *gadget, Nth *nth) {
  if (!nth || !gadget) return 1;
  if (nth->left-- > 0) return 1;
  nth->found = 1;
  q7::send(gadget, Q7M_SET, 0, 0, nth->list);
  return 0;
}

uint64_t q7mx_set_item(Q7Object *gadget, const Q7TagItem *item) {
  if (item && gadget) q7::set_attribute(gadget, item->tag, item->data);
  return 1;
}

// ---- Activation ----

// Answers false when the group went, or when it could not be done now.
bool q7mx_activate(Mx &m, Q7Object *self, Q7Object *member) {
  if (m.selecting) return false;
  Search search = {member, -1, 0, -1, m.exclusive};
  m.selecting = 1;
  if (!q7mx_each(m, self, Q7M_MX_SET_STATE, &search)) return false;
  m.selecting = 0;
  if (search.found < 0) m.active_link.assign(m.active, nullptr);
  m.ordinal = m.active ? search.found : -1;
  return true;
}

void q7mx_activate_ordinal(Mx &m, Q7Object *self, int32_t ordinal) {
  Search search = {nullptr, ordinal, 0, -1, 0};
  if (ordinal >= 0 && !q7mx_each(m, self, Q7M_MX_FIND, &search)) return;
  q7mx_activate(m, self, search.member);
}

uint64_t q7mx_user_activates(Mx &m, Q7Object *self, Q7Object *member) {
  if (m.selecting) return q7::arg(self);
  if (m.manager && q7mx_walked(m.manager)) {
    Q7AppDoMsgA2WhenIdle(Q7ApplicationContext, self, Q7M_MX_ACTIVATE, 0, q7::arg(member));
    return q7::arg(self);
  }
  const Work work(self, nullptr);
  if (!q7mx_activate(m, self, member)) return 0;
  q7::send(self, Q7M_WIDGET_CHANGED, q7::arg(m.ordinal), 0, q7::slot(m.ordinal));
  return q7::arg(self);
}

// Looks the active member up; members may have come, gone, or changed whether they take part.
bool q7mx_look_up(Mx &m, Q7Object *self) {
  if (m.manager && q7mx_walked(m.manager)) return m.ordinal >= 0;
  Search search = {m.active, -1, 0, -1, 0};
  if (m.active && !q7mx_each(m, self, Q7M_MX_FIND, &search)) return false;
  m.ordinal = search.found;
  return search.found >= 0;
}

// ---- Attributes ----

bool q7mx_hook_all(const Mx &m, Q7Object *self, bool on) {
  return q7mx_each(m, self, Q7M_MX_HOOK, reinterpret_cast<const void *>(static_cast<uint64_t>(on)));
}

// Also for the same manager again: then its gadgets are hooked anew, each once.
void q7mx_set_manager(Mx &m, Q7Object *self, Q7Object *manager) {
  if (manager == self) return;
  if (!q7mx_hook_all(m, self, false)) return;
  q7::replace_reference(m.manager, manager);
  q7mx_hook_all(m, self, true);
}

void q7mx_set_parent(Q7Class *cl, Mx &m, Q7Object *self, const Q7TagItem &item) {
  auto *parent = q7::value<Q7Object *>(item);
  if (parent == m.parent) return;
  m.parent_link.assign(m.parent, parent);
  if (q7mx_each(m, self, Q7M_MX_SET_ITEM, &item)) q7::inherit_item(cl, self, Q7M_SET, item);
}

uint64_t q7mx_set(Q7Class *cl, Q7Object *self, Q7TagItem *list) {
  auto &m = q7::data<Mx>(cl, self);
  const Work work(self, nullptr);
  return q7::walk_items(cl, self, Q7M_SET, list, [&](const Q7TagItem &item) {
    switch (item.tag) {
      case Q7A_MX_ACTIVATE: q7mx_activate(m, self, q7::value<Q7Object *>(item)); return true;
      case Q7A_MX_ORDINAL: q7mx_activate_ordinal(m, self, q7::value<int32_t>(item)); return true;
      case Q7A_MX_EXCLUSIVE: m.exclusive = q7::value<int32_t>(item); return true;
      case Q7A_MX_MANAGER: q7mx_set_manager(m, self, q7::value<Q7Object *>(item)); return true;
      case Q7A_WIDGET_PARENT: q7mx_set_parent(cl, m, self, item); return true;
      case kEnabled:
      case kHelp: q7mx_each(m, self, Q7M_MX_SET_ATTRIBUTE, &item); return true;
      case Q7A_WIDGET_X:
      case Q7A_WIDGET_Y:
      case Q7A_WIDGET_WIDTH:
      case Q7A_WIDGET_HEIGHT:
      case Q7A_WIDGET_SHOWN:
        if (!m.manager) return false;
        q7::set_attribute(m.manager, item.tag, item.data);
        return true;
      default: return false;
    }
  });
}

uint64_t q7mx_get(Q7Class *cl, Q7Object *self, Q7TagItem *list) {
  auto &m = q7::data<Mx>(cl, self);
  const Work work(self, nullptr);
  return q7::walk_items(cl, self, Q7M_GET, list, [&](const Q7TagItem &item) {
    switch (item.tag) {
      case Q7A_MX_EXCLUSIVE: return q7::store<int32_t>(item, m.exclusive);
      case Q7A_MX_MANAGER: return q7::store<Q7Object *>(item, m.manager);
      case Q7A_MX_ACTIVE: return q7::store<Q7Object *>(item, q7mx_look_up(m, self) ? m.active : nullptr);
      case Q7A_MX_ORDINAL: q7mx_look_up(m, self); return q7::store<int32_t>(item, m.ordinal);
      case Q7A_WIDGET_X:
      case Q7A_WIDGET_Y:
      case Q7A_WIDGET_WIDTH:
      case Q7A_WIDGET_HEIGHT:
      case Q7A_WIDGET_MIN_WIDTH:
      case Q7A_WIDGET_MIN_HEIGHT:
      case Q7A_WIDGET_CLIENT_X:
      case Q7A_WIDGET_CLIENT_Y: {
        if (!m.manager) return false;
        Q7TagItem single[2] = {item, {Q7TAG_END, 0}};
        q7::send(m.manager, Q7M_GET, 0, 0, single);
        return true;
      }
      default: return false;
    }
  });
}

// ---- Life ----

uint64_t q7mx_new(Q7Class *cl, Q7Object *receiver, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto *self = q7::as<Q7Object *>(q7::inherit(cl, receiver, Q7M_NEW, a, b, tags));
  if (!self) return 0;
  auto &m = q7::data<Mx>(cl, self);
  m.ordinal = -1;
  int32_t ordinal = -1;
  for (const Q7TagItem &item : q7::tags(tags)) {
    switch (item.tag) {
      case Q7A_MX_EXCLUSIVE: m.exclusive = q7::value<int32_t>(item); break;
      case Q7A_MX_MANAGER: q7::replace_reference(m.manager, q7::value<Q7Object *>(item)); break;
      case Q7A_MX_ORDINAL: ordinal = q7::value<int32_t>(item); break;
      case Q7A_WIDGET_PARENT: m.parent_link.assign(m.parent, q7::value<Q7Object *>(item)); break;
      default: break;
    }
  }
  q7mx_hook_all(m, self, true);
  if (ordinal >= 0) q7mx_activate_ordinal(m, self, ordinal);
  return q7::arg(self);
}

// The end itself, when no work is under way.
uint64_t q7mx_let_go(Q7Class *cl, Q7Object *self, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto &m = q7::data<Mx>(cl, self);
  Q7Object *manager = m.manager;
  m.manager = nullptr;
  q7::release(manager);
  m.active_link.drop();
  m.parent_link.drop();
  return q7::inherit(cl, self, Q7M_DISPOSE, a, b, tags);
}

uint64_t q7mx_dispose(Q7Class *cl, Q7Object *self, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto &m = q7::data<Mx>(cl, self);
  if (m.leaving) return 1;
  m.leaving = 1;
  Work *outermost = nullptr;
  for (Work *w = Work::innermost; w; w = w->outer) {
    if (w->group == self) outermost = w;
  }
  q7mx_hook_all(m, self, false);
  m.doomed = 1;
  if (!outermost) return q7mx_let_go(cl, self, a, b, tags);
  outermost->disposed = true;
  outermost->allocator = a;
  return 1;
}

uint64_t q7mx_set_member(const Mx &m, Q7Object *self, int32_t number, Q7TagItem *list) {
  const Work work(self, nullptr);
  Nth nth = {number, list, 0};
  if (number >= 0) q7mx_each(m, self, Q7M_MX_SET_NTH, &nth);
  return q7::arg(nth.found);
}

uint64_t q7mx_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method == Q7M_NEW) return q7mx_new(cl, obj, a, b, tags);
  // Messages to the class itself have no instance behind them.
  if (&obj->cl->header == obj) return q7::inherit(cl, obj, method, a, b, tags);
  auto &m = q7::data<Mx>(cl, obj);
  auto *gadget = q7::as<Q7Object *>(a);
  // Whatever still walks for it ends, and nothing begins any more.
  if (m.doomed && method >= 181000 && method <= 181499) return 0;
  switch (method) {
    case Q7M_DISPOSE: return q7mx_dispose(cl, obj, a, b, tags);
    case Q7M_SET: return q7mx_set(cl, obj, tags);
    case Q7M_GET: return q7mx_get(cl, obj, tags);
    case Q7M_MX_HOOK: return q7mx_hook(obj, gadget, tags != nullptr);
    case Q7M_MX_SET_STATE: return q7mx_set_state(m, gadget, q7::slot_as<Search *>(tags));
    case Q7M_MX_FIND: return q7mx_find(gadget, q7::slot_as<Search *>(tags));
    case Q7M_MX_SET_NTH: return q7mx_set_nth(gadget, q7::slot_as<Nth *>(tags));
    case Q7M_MX_SET_MEMBER: return q7mx_set_member(m, obj, q7::as<int32_t>(a), tags);
    case Q7M_MX_SET_ATTRIBUTE:
    case Q7M_MX_SET_ITEM: return q7mx_set_item(gadget, tags);
    default: break;
  }
  if (method >= 181000 && method <= 181499) {
    return q7mx_user_activates(m, obj, b ? q7::as<Q7Object *>(b) : q7::slot_as<Q7Object *>(tags));
  }
  return q7::inherit(cl, obj, method, a, b, tags);
}

int32_t q7mx_needs(Q7App *app) { return Q7RegisterGmanagerClass(app) && Q7RegisterMxGadgetClass(app); }

constexpr q7::ClassDef mx_class = {.id = Q7C_MX,
                                   .super = Q7C_MXGADGET,
                                   .name = "q7mx",
                                   .dispatch = q7mx_dispatch,
                                   .size = sizeof(Mx),
                                   .needs = q7mx_needs,
                                   .description = "Mutual Exclusion Group"};

}  // namespace

int32_t Q7RegisterMxClass(Q7App *app) { return q7::register_once(app, mx_class); }
