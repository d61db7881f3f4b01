// weak: what user-interface classes know of each other without holding a reference: parents, targets, managers, frames,
// drag and drop handlers, the slaves of records. Each such link is entered under the address of the object it leads to;
// when a widget is disposed, everything that still leads to it is told and forgets it. Entering a link never looks at
// the object, allocates nothing and costs one hash step. User-interface thread only.
#ifndef Q7_UI_WEAK_HPP
#define Q7_UI_WEAK_HPP

#include "core/q7oops.h"

namespace q7 {

// One link; part of the structure that holds it, zero-filled at first.
struct Weak {
  Weak *next;            // in the same hash chain
  Weak **back;           // what points here; null while not entered
  Q7Object *object;      // what the link leads to
  void (*gone)(Weak *);  // told after the link was taken out
};

// Makes a link lead to another object; null takes it out.
void weak_assign(Weak &link, Q7Object *object, void (*gone)(Weak *));
inline void weak_drop(Weak &link) { weak_assign(link, nullptr, nullptr); }

// Tells everyone who leads to the object.
void weak_object_gone(Q7Object *object);

// How many links are entered; for tests of what is left behind.
uint32_t weak_count();

// The common case: a field and its link side by side; the field becomes null when its object goes.
struct WeakField {
  Q7Object **field;  // the documented field, which may lie apart
  Weak link;

  void assign(Q7Object *&target, Q7Object *object) {
    target = object;
    field = &target;
    weak_assign(link, object, [](Weak *w) {
      auto *self = reinterpret_cast<WeakField *>(reinterpret_cast<char *>(w) - offsetof(WeakField, link));
      *self->field = nullptr;
    });
  }
  void drop() { weak_drop(link); }
};

}  // namespace q7

#endif
