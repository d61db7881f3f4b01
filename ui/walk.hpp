// walk: going through a list whose members receive messages and may, while they are told, leave the list, be freed, or
// free the list's owner. Every walk under way is known; whoever takes a node out of such a list says so first.
// User-interface thread only.
#ifndef Q7_UI_WALK_HPP
#define Q7_UI_WALK_HPP

#include "core/q7lists.h"

namespace q7 {

class Walk {
 public:
  explicit Walk(Q7List &list) : list_(&list), next_(list.head), outer_(active_) { active_ = this; }
  ~Walk() { active_ = outer_; }
  Walk(const Walk &) = delete;
  Walk &operator=(const Walk &) = delete;

  // The next node, or null at the end.
  Q7Node *take() {
    if (!list_ || !next_ || !next_->succ) return nullptr;
    current_ = next_;
    next_ = current_->succ;
    return current_;
  }
  template <class T>
  T *take() {
    return reinterpret_cast<T *>(take());
  }
  // Whether the node taken last still stands in the list.
  bool stands() const { return current_ != nullptr; }
  // False once the list's owner was freed: the caller must not touch it any more.
  bool valid() const { return list_ != nullptr; }

  // Before a node leaves its list.
  static void leaving(const Q7Node *node) {
    for (Walk *walk = active_; walk; walk = walk->outer_) {
      if (walk->next_ == node) walk->next_ = node->succ;
      if (walk->current_ == node) walk->current_ = nullptr;
    }
  }
  // Before a list goes with its owner.
  static void ending(const Q7List *list) {
    for (Walk *walk = active_; walk; walk = walk->outer_) {
      if (walk->list_ == list) {
        walk->list_ = nullptr;
        walk->current_ = nullptr;
      }
    }
  }

 private:
  Q7List *list_;
  Q7Node *next_;
  Q7Node *current_ = nullptr;
  Walk *outer_;
  static inline Walk *active_;
};

}  // namespace q7

#endif
