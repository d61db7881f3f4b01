// q7objects: thin senders for code that uses objects, unique ids and separated lists. The only state is the last unique
// id.
#include "core/q7objects.h"

#include <cstdarg>
#include <cstring>
#include <ctime>

#include "core/classdef.hpp"
#include "core/report.hpp"

namespace {

uint32_t last_unique_id;

// Takes the piece up to the separator and moves the cursor behind it. Answers whether the piece holds anything.
bool q7ob_take_piece(char *buffer, const char **cursor, char separator) {
  const char *piece = *cursor;
  const char *end = separator ? std::strchr(piece, separator) : nullptr;
  const size_t length = end ? static_cast<size_t>(end - piece) : std::strlen(piece);
  std::memcpy(buffer, piece, length);
  buffer[length] = 0;
  *cursor = end ? end + 1 : nullptr;
  return length > 0;
}

uint64_t q7ob_set(Q7Object *object, Q7TagItem *tags) { return q7::send(object, Q7M_SET, 0, 0, tags); }
uint64_t q7ob_get(Q7Object *object, Q7TagItem *tags) { return q7::send(object, Q7M_GET, 0, 0, tags); }

}  // namespace

#define Q7OB_WITH_TAGS(expression)                        \
  q7::GatheredTags list;                                  \
  va_list arguments;                                      \
  va_start(arguments, tag);                               \
  const bool complete = q7::gather(list, tag, arguments); \
  va_end(arguments);                                      \
  if (!complete) [[unlikely]]                             \
    Q7_REPORT_ERROR("q7oops", "too many tags");           \
  return expression

// The sender `result name(to, tag, ...)` of function(to, list). At its entry it is still known which argument lies in
// which register, so lists of up to two items are stored from there; longer ones are gathered. What then stands behind
// the first end or link is no item, but harmless: nobody reads it.
#define Q7OB_SHORT_LISTS(result, name, receiver, function)                                                       \
  extern "C"                                                                                                     \
      [[gnu::used]] result name##_two(receiver to, uint32_t tag, uint64_t data, uint32_t tag2, uint64_t data2) { \
    Q7TagItem items[3];                                                                                          \
    items[0] = {tag, data};                                                                                      \
    items[1] = {tag2, data2};                                                                                    \
    items[2].tag = Q7TAG_END;                                                                                    \
    return function(to, items);                                                                                  \
  }                                                                                                              \
  extern "C" [[gnu::used]] result name##_many(receiver to, uint32_t tag, ...) {                                  \
    Q7OB_WITH_TAGS(function(to, list.items));                                                                    \
  }                                                                                                              \
  __attribute__((naked)) result name(receiver, uint32_t, ...) {                                                  \
    /* An end is 0 and a link 1; behind either the caller has passed nothing more. */                            \
    __asm__("cmpl $1, %esi\n\tjbe " #name                                                                        \
            "_two\n\t"                                                                                           \
            "cmpl $1, %ecx\n\tjbe " #name                                                                        \
            "_two\n\t"                                                                                           \
            "testl %r9d, %r9d\n\tje " #name                                                                      \
            "_two\n\t"                                                                                           \
            "jmp " #name "_many");                                                                               \
  }

Q7Object *Q7ObjectCreateA(uint32_t clid, Q7TagItem *tags) {
  return q7::as<Q7Object *>(q7::send(Q7ClassFind(clid), Q7M_NEW, 0, 0, tags));
}

Q7OB_SHORT_LISTS(Q7Object *, Q7ObjectCreate, uint32_t, Q7ObjectCreateA)

uint64_t Q7ObjectDelete(Q7Object *object) { return q7::send(object, Q7M_DISPOSE); }

Q7Object *Q7ObjectLoadA(Q7Object *stream, Q7TagItem *tags) {
  return q7::as<Q7Object *>(q7::send(Q7ClassFind(Q7C_ROOT), Q7M_LOAD, 0, q7::arg(stream), tags));
}

Q7Object *Q7ObjectLoad(Q7Object *stream, uint32_t tag, ...) { Q7OB_WITH_TAGS(Q7ObjectLoadA(stream, list.items)); }

uint64_t Q7ObjectSaveA(Q7Object *object, Q7TagItem *tags) { return q7::send(object, Q7M_SAVE, 0, 0, tags); }

uint64_t Q7ObjectSave(Q7Object *object, uint32_t tag, ...) { Q7OB_WITH_TAGS(Q7ObjectSaveA(object, list.items)); }

Q7OB_SHORT_LISTS(uint64_t, Q7Set, Q7Object *, q7ob_set)

uint64_t Q7SetAttrs(Q7Object *object, uint32_t tag, ...) {
  Q7OB_WITH_TAGS(q7::send(object, Q7M_SET, 0, 0, list.items));
}

Q7OB_SHORT_LISTS(uint64_t, Q7Get, Q7Object *, q7ob_get)

uint64_t Q7GetAttrs(Q7Object *object, uint32_t tag, ...) {
  Q7OB_WITH_TAGS(q7::send(object, Q7M_GET, 0, 0, list.items));
}

uint64_t Q7SetIndexedAttr(Q7Object *object, int32_t attribute, int32_t index, uint64_t value) {
  return q7::send(object, Q7M_SETINDEXED, q7::arg(attribute), q7::arg(index), q7::slot(value));
}

uint64_t Q7GetIndexedAttr(Q7Object *object, int32_t attribute, int32_t index, void *address) {
  return q7::send(object, Q7M_GETINDEXED, q7::arg(attribute), q7::arg(index), q7::slot(address));
}

Q7Object *Q7FindTask(uint64_t argument) {
  constexpr uint32_t kFindTaskMethod = 1001;
  return q7::as<Q7Object *>(q7::send(Q7ClassFind(Q7C_TASK), kFindTaskMethod, 0, 0, q7::slot(argument)));
}

uint32_t Q7UniqueId(void) {
  last_unique_id = last_unique_id == 0 ? (static_cast<uint32_t>(std::time(nullptr)) << 14) | 1 : last_unique_id + 1;
  return last_unique_id;
}

uint32_t Q7CopyUniqueId(uint32_t id) { return ((id & ~uint32_t{0x3FF}) + 1024) | id; }

int32_t Q7GetNextPath(char *buffer, const char **cursor) {
  if (!buffer || !cursor || !*cursor) return 0;
  while (**cursor == ' ') ++*cursor;
  return q7ob_take_piece(buffer, cursor, ';') || *cursor;
}

int32_t Q7StrNext(char *buffer, const char **cursor, int32_t separator) {
  if (!buffer || !cursor || !*cursor) return 0;
  q7ob_take_piece(buffer, cursor, static_cast<char>(separator));
  return 1;
}

static_assert(sizeof(Q7JmpBuf) == 200);

// No C++ frame may lie between the caller and the save: the context must be the caller's own. So this is a bare jump
// into the C library, with the buffer still in its register.
__attribute__((naked)) int32_t Q7SetJmp(Q7JmpBuf *) { __asm__("jmp _setjmp@PLT"); }

void Q7LongJmp(Q7JmpBuf *buffer, int32_t value) { longjmp(buffer->context, value); }
