// weak: the table of links without a reference. Chains are doubly linked so that a link leaves in one step, however
// many lead to the same object.
#include "ui/weak.hpp"

namespace {

constexpr uint32_t kBuckets = 4096;
q7::Weak *buckets[kBuckets];
uint32_t entered;

uint32_t q7wk_bucket(const Q7Object *object) {
  return static_cast<uint32_t>((reinterpret_cast<uint64_t>(object) >> 4) * 0x9E3779B97F4A7C15u >> 52);
}

void q7wk_take_out(q7::Weak &link) {
  if (!link.back) return;
  *link.back = link.next;
  if (link.next) link.next->back = link.back;
  link.next = nullptr;
  link.back = nullptr;
  link.object = nullptr;
  --entered;
}

}  // namespace

void q7::weak_assign(Weak &link, Q7Object *object, void (*gone)(Weak *)) {
  q7wk_take_out(link);
  if (!object) return;
  Weak *&head = buckets[q7wk_bucket(object)];
  link.object = object;
  link.gone = gone;
  link.next = head;
  link.back = &head;
  if (head) head->back = &link.next;
  head = &link;
  ++entered;
}

void q7::weak_object_gone(Q7Object *object) {
  // Whoever is told may take out, or free, other links: the search starts anew after each.
  Weak *&head = buckets[q7wk_bucket(object)];
  for (Weak *link = head; link;) {
    if (link->object != object) {
      link = link->next;
      continue;
    }
    q7wk_take_out(*link);
    link->gone(link);
    link = head;
  }
}

uint32_t q7::weak_count() { return entered; }
