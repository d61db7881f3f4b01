// q7tags: iteration, look-up and copying of tag lists, and the variadic forms, which gather on the stack only.
#include "core/q7tags.h"

#include <cstdarg>
#include <cstring>

#include "core/report.hpp"
#include "core/tags.hpp"

namespace {

constexpr char kModule[] = "q7tags";

static_assert(sizeof(Q7TagItem) == 16 && offsetof(Q7TagItem, data) == 8);
static_assert(sizeof(Q7TagQuery) == 24 && offsetof(Q7TagQuery, data) == 8 && offsetof(Q7TagQuery, size) == 16);

// Where the next item of a list would be written: its end, or the null link that ends it.
Q7TagItem *q7tg_terminator(Q7TagItem *list) {
  for (;;) {
    if (list->tag == Q7TAG_END) return list;
    if (list->tag == Q7TAG_LINK) {
      if (!list->data) return list;
      list = q7::as<Q7TagItem *>(list->data);
    } else {
      ++list;
    }
  }
}

// Appends the ordinary items of src at dst; stops at `end`, which the first copy may have overwritten.
void q7tg_write(Q7TagItem *dst, Q7TagItem *src, const Q7TagItem *end) {
  Q7TagItem *state[2] = {src, nullptr};
  while (state[0] != end) {
    const Q7TagItem *item = Q7TagNext(state);
    if (!item || item == end) break;
    *dst++ = *item;
  }
  dst->tag = Q7TAG_END;
}

void q7tg_gather(q7::GatheredTags &list, uint32_t tag, va_list arguments) {
  if (!q7::gather(list, tag, arguments)) Q7_REPORT_ERROR(kModule, "too many tags");
}

}  // namespace

Q7TagItem *Q7TagNext(Q7TagItem **state) { return state ? q7::next_item(state) : nullptr; }

Q7TagQuery *Q7TagNextS(Q7TagQuery **state) { return state ? q7::next_item(state) : nullptr; }

Q7TagItem *Q7TagFind(uint32_t tag, Q7TagItem *list) {
  for (Q7TagItem &item : q7::tags(list)) {
    if (item.tag == tag) return &item;
  }
  return nullptr;
}

uint64_t Q7TagVal(const Q7TagItem *list, uint32_t tag, uint64_t fallback) {
  static_assert(Q7TAG_END == 0 && Q7TAG_LINK == 1);
  auto stops = [tag](const Q7TagItem &item) { return item.tag == tag || item.tag <= Q7TAG_LINK; };
  while (list) {
    // Eight items a round, each at a fixed place behind `list`: stepping a pointer and jumping back cost as much as the
    // comparisons. No item is touched before the one ahead of it is known not to be the last.
    size_t at = 0;
    for (;; list += 8) {
      if (stops(list[at = 0]) || stops(list[at = 1]) || stops(list[at = 2]) || stops(list[at = 3]) ||
          stops(list[at = 4]) || stops(list[at = 5]) || stops(list[at = 6]) || stops(list[at = 7])) {
        break;
      }
    }
    const Q7TagItem &item = list[at];
    if (item.tag == Q7TAG_END) break;
    if (item.tag == tag) return item.data;
    list = q7::as<const Q7TagItem *>(item.data);
  }
  return fallback;
}

int32_t Q7TagGetA(Q7TagItem *source, Q7TagItem *query) {
  int32_t all = 1;
  for (const Q7TagItem &wanted : q7::tags(query)) {
    const Q7TagItem *found = Q7TagFind(wanted.tag, source);
    if (found) {
      q7::store<uint64_t>(wanted, found->data);
    } else {
      all = 0;
    }
  }
  return all;
}

int32_t Q7TagGetSA(Q7TagItem *source, Q7TagQuery *query) {
  int32_t all = 1;
  Q7TagQuery *state[2] = {query, nullptr};
  while (const Q7TagQuery *wanted = Q7TagNextS(state)) {
    const Q7TagItem *found = Q7TagFind(wanted->tag, source);
    if (found && wanted->data) {
      std::memcpy(wanted->data, &found->data, wanted->size < 8 ? wanted->size : 8);
    } else if (!found) {
      all = 0;
    }
  }
  return all;
}

void Q7TagCopyA(Q7TagItem *dst, Q7TagItem *src) {
  if (dst) q7tg_write(dst, src, nullptr);
}

void Q7TagConcatA(Q7TagItem *dst, Q7TagItem *src) {
  if (!dst) return;
  Q7TagItem *end = q7tg_terminator(dst);
  if (src) q7tg_write(end, src, end);
}

int32_t Q7TagGet(Q7TagItem *source, uint32_t tag, ...) {
  q7::GatheredTags list;
  va_list arguments;
  va_start(arguments, tag);
  q7tg_gather(list, tag, arguments);
  va_end(arguments);
  return Q7TagGetA(source, list.items);
}

void Q7TagCopy(Q7TagItem *dst, uint32_t tag, ...) {
  q7::GatheredTags list;
  va_list arguments;
  va_start(arguments, tag);
  q7tg_gather(list, tag, arguments);
  va_end(arguments);
  Q7TagCopyA(dst, list.items);
}

void Q7TagConcat(Q7TagItem *dst, uint32_t tag, ...) {
  q7::GatheredTags list;
  va_list arguments;
  va_start(arguments, tag);
  q7tg_gather(list, tag, arguments);
  va_end(arguments);
  Q7TagConcatA(dst, list.items);
}

int32_t Q7TagGetS(Q7TagItem *source, uint32_t tag, ...) {
  // No report at the bound, unlike the tag gatherers: what does not fit is not read.
  Q7TagQuery list[Q7TAG_MAX_ITEMS + 1];
  Q7TagQuery *item = list;
  va_list arguments;
  va_start(arguments, tag);
  for (;;) {
    item->tag = item == list + Q7TAG_MAX_ITEMS ? static_cast<uint32_t>(Q7TAG_END) : tag;
    if (item->tag == Q7TAG_END) break;
    item->data = va_arg(arguments, void *);
    item->size = Q7TAG_LINK == tag ? 0 : va_arg(arguments, uint32_t);
    if (tag == Q7TAG_LINK) break;
    ++item;
    tag = va_arg(arguments, uint32_t);
  }
  va_end(arguments);
  return Q7TagGetSA(source, list);
}
