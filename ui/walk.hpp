// walk: going through a list whose members receive messages and may, while they are told, leave the list, be freed, or
// free the list's owner. Every walk under way is known; whoever takes a node out of such a list says so first.
// User-interface thread only.
//
// Messages that travel down a tree walk at every level, each within the one before. A walk that would lie deeper than
// the deepest level meets nobody and reports: a tree is cut there, and the stack holds.
#ifndef Q7_UI_WALK_HPP
#define Q7_UI_WALK_HPP

#include "core/q7lists.h"
#include "ui/q7widget.h"

namespace q7 {

// Says that widgets are nested too deep (q7widget_tree.cpp).
void report_too_deep();

class Walk {
 public:
  explicit Walk(Q7List &list)
      : list_(&list), next_(list.head), outer_(active_), level_(outer_ ? outer_->level_ + 1 : 1) {
    active_ = this;
    if (refused()) refuse();
  }
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
  // Whether the walk lay too deep to meet anybody.
  bool refused() const { return level_ > Q7_WIDGET_DEEPEST; }
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
  // One report for everything that is refused within one outermost walk.
  void refuse() {
    next_ = nullptr;
    Walk *outermost = outer_;
    while (outermost->outer_) outermost = outermost->outer_;
    if (!outermost->reported_) report_too_deep();
    outermost->reported_ = true;
  }
  Q7List *list_;
  Q7Node *next_;
  Q7Node *current_ = nullptr;
  Walk *outer_;
  int level_;
  bool reported_ = false;
  static inline Walk *active_;
};

}  // namespace q7

#endif
