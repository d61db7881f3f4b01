// q7lists: the sentinel list. Everything is relinking; nothing is owned. A walk ends at the node whose succ is null.
#include "core/q7lists.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/q7strings.h"
#include "core/report.hpp"

namespace {

constexpr char kModule[] = "q7lists";

static_assert(sizeof(Q7Node) == 32 && offsetof(Q7Node, name) == 16 && offsetof(Q7Node, pri) == 24);
static_assert(sizeof(Q7List) == 24 && offsetof(Q7List, tail) == 8 && offsetof(Q7List, tail_pred) == 16);

Q7Node *q7ls_tail(const Q7List *list) { return reinterpret_cast<Q7Node *>(const_cast<Q7Node **>(&list->tail)); }
Q7Node *q7ls_header(Q7List *list) { return reinterpret_cast<Q7Node *>(list); }
bool q7ls_real(const Q7Node *node) { return node && node->succ && node->pred; }

void q7ls_link(Q7Node *node, Q7Node *pred, Q7Node *succ) {
  node->succ = succ;
  node->pred = pred;
  pred->succ = node;
  succ->pred = node;
}

using Compare = int32_t (*)(const char *, const char *);

int32_t q7ls_compare(const char *a, const char *b) { return std::strcmp(a, b); }

Q7Node *q7ls_find_sorted(const Q7List *list, const char *name, Compare compare) {
  if (!list) return nullptr;
  if (!name) name = "";
  Q7Node *last = nullptr;
  for (Q7Node *node = list->head; node->succ; node = node->succ) {
    if (compare(name, node->name ? node->name : "") < 0) break;
    last = node;
  }
  return last;
}

}  // namespace

Q7Node *Q7NewList(Q7List *list) {
  if (!list) return nullptr;
  list->head = q7ls_tail(list);
  list->tail = nullptr;
  list->tail_pred = q7ls_header(list);
  return list->head;
}

void Q7CheckListValidity(const Q7List *list) {
  if (list && list->head && list->tail_pred && !list->tail) return;
  Q7_REPORT_ERROR(kModule, "Invalid list header");
  std::fflush(stdout);
  __builtin_trap();
}

int32_t Q7IsInList(const Q7List *list, const Q7Node *node) {
  if (!list || !node) return 0;
  for (const Q7Node *n = list->head; n->succ; n = n->succ) {
    if (n == node) return 1;
  }
  return 0;
}

Q7Node *Q7Insert(Q7List *list, Q7Node *node, Q7Node *pred) {
  if (!node || (!list && !pred)) return nullptr;
  if (!pred) pred = q7ls_header(list);
  q7ls_link(node, pred, pred->succ);
  return node->succ;
}

Q7Node *Q7Remove(Q7Node *node) {
  if (!node) return nullptr;
  node->pred->succ = node->succ;
  node->succ->pred = node->pred;
  return node;
}

void Q7AddHead(Q7List *list, Q7Node *node) {
  if (list && node) q7ls_link(node, q7ls_header(list), list->head);
}

void Q7AddTail(Q7List *list, Q7Node *node) {
  if (list && node) q7ls_link(node, list->tail_pred, q7ls_tail(list));
}

void Q7AddPri(Q7List *list, Q7Node *node) {
  if (!list || !node) return;
  Q7Node *next = list->head;
  while (next->succ && next->pri >= node->pri) next = next->succ;
  q7ls_link(node, next->pred, next);
}

Q7Node *Q7RemHead(Q7List *list) { return list && list->head->succ ? Q7Remove(list->head) : nullptr; }

Q7Node *Q7RemTail(Q7List *list) { return list && list->tail_pred->pred ? Q7Remove(list->tail_pred) : nullptr; }

Q7Node *Q7FindName(const Q7List *list, const char *name) { return Q7FindNameAndIndex(list, name, nullptr); }

Q7Node *Q7FindNameAndIndex(const Q7List *list, const char *name, int32_t *index) {
  if (!list || !name) return nullptr;
  int32_t position = 0;
  for (Q7Node *node = list->head; node->succ; node = node->succ, ++position) {
    if (!node->name || std::strcmp(node->name, name) != 0) continue;
    if (index) *index = position;
    return node;
  }
  return nullptr;
}

Q7Node *Q7FindSorted(const Q7List *list, const char *name) { return q7ls_find_sorted(list, name, q7ls_compare); }

Q7Node *Q7FindSortedIgnoreCase(const Q7List *list, const char *name) {
  return q7ls_find_sorted(list, name, Q7StrCaseCmp);
}

void Q7SortedInsert(Q7List *list, Q7Node *node) {
  if (node) Q7Insert(list, node, Q7FindSorted(list, node->name));
}

void Q7SortedInsertIgnoreCase(Q7List *list, Q7Node *node) {
  if (node) Q7Insert(list, node, Q7FindSortedIgnoreCase(list, node->name));
}

int32_t Q7IndexName(char *name, int32_t index, uint32_t maxlen) {
  if (!name || index > 999999) return 0;
  char digits[16];
  const auto count = static_cast<size_t>(std::snprintf(digits, sizeof digits, "%d", index));
  if (count > maxlen) return 0;
  size_t length = std::strlen(name);
  for (size_t i = 2; i < length; ++i) {
    if (name[i] >= '0' && name[i] <= '9') length = i;
  }
  if (length + count > maxlen) length = maxlen - count;
  std::memcpy(name + length, digits, count + 1);
  return 1;
}

void Q7SortedInsertIndexed(Q7List *list, Q7Node *node, uint32_t maxlen) {
  if (!node) return;
  // The name of an indexed node is the caller's writable buffer of maxlen + 1 bytes.
  for (int32_t index = 0; Q7FindName(list, node->name); ++index) {
    if (!Q7IndexName(const_cast<char *>(node->name), index, maxlen)) break;
  }
  Q7SortedInsert(list, node);
}

int32_t Q7NodeCount(const Q7List *list) {
  int32_t count = 0;
  if (!list) return 0;
  for (const Q7Node *node = list->head; node->succ; node = node->succ) ++count;
  return count;
}

int32_t Q7ListSeek(const Q7List *list, Q7Node **cursor, int32_t code, int32_t count) {
  if (!list || !cursor || !list->head->succ) return 0;
  switch (code) {
    case Q7SEEK_FIRST: *cursor = list->head; break;
    case Q7SEEK_LAST: *cursor = list->tail_pred; break;
    case Q7SEEK_CURRENT: break;
    default: Q7_REPORT_ERROR(kModule, "Illegal seek code"); return 0;
  }
  if (!*cursor) return 0;
  for (; count > 0; --count) {
    if (!(*cursor)->succ) return 0;
    *cursor = (*cursor)->succ;
    if (!(*cursor)->succ) return 0;
  }
  for (; count < 0; ++count) {
    if (!(*cursor)->pred) return 0;
    *cursor = (*cursor)->pred;
    if (!(*cursor)->pred) return 0;
  }
  return q7ls_real(*cursor);
}
