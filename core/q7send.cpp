// q7send: the variadic senders. Each gathers its pairs on the stack and makes one indirect call; no table is searched,
// no lock taken, nothing allocated.
#include <cstdarg>

#include "core/classdef.hpp"
#include "core/q7oops.h"
#include "core/report.hpp"
#include "core/tags.hpp"

namespace {

constexpr char kModule[] = "q7oops";

[[gnu::cold, gnu::noinline]] void q7sn_too_many(int32_t line) {
  Q7ErrPos(kModule, line);
  Q7_Error("too many tags");
}

[[gnu::always_inline]] inline void q7sn_gather(q7::GatheredTags &list, uint32_t tag, va_list arguments, int32_t line) {
  if (!q7::gather(list, tag, arguments)) [[unlikely]]
    q7sn_too_many(line);
}

}  // namespace

// Runs `expression` with `list.items` holding the pairs behind the argument `tag`.
#define Q7SN_WITH_TAGS(expression)             \
  q7::GatheredTags list;                       \
  va_list arguments;                           \
  va_start(arguments, tag);                    \
  q7sn_gather(list, tag, arguments, __LINE__); \
  va_end(arguments);                           \
  return expression

// The sender of most messages is written by hand at its entry, where it is still known which arguments lie in which
// register. Without items it is a jump: nothing is saved, nothing copied, and the receiver returns to the caller. Up to
// two items are stored from their registers; longer lists are gathered like those of every other sender.
static_assert(offsetof(Q7Object, cl) == 32 && offsetof(Q7Object, dispatch) == 40 && Q7TAG_END == 0 && Q7TAG_LINK == 1);

extern "C" {
extern const Q7TagItem q7sn_no_items[1];
const Q7TagItem q7sn_no_items[1] = {{Q7TAG_END, 0}};

// What stands behind the first end or link is no item, but harmless: nobody reads it.
[[gnu::used]] uint64_t q7sn_send_two(Q7Object *object, uint32_t method, uint32_t tag, uint64_t data, uint32_t tag2,
                                     uint64_t data2) {
  Q7TagItem items[3];
  items[0] = {tag, data};
  items[1] = {tag2, data2};
  items[2].tag = Q7TAG_END;
  return q7::send(object, method, 0, 0, items);
}

[[gnu::used]] uint64_t q7sn_send_many(Q7Object *object, uint32_t method, uint32_t tag, ...) {
  Q7SN_WITH_TAGS(q7::send(object, method, 0, 0, list.items));
}
}

__attribute__((naked)) uint64_t Q7SendMsg(Q7Object *, uint32_t, uint32_t, ...) {
  __asm__(
      "testl %edx, %edx\n\t"  // the first tag; its value is in %rcx
      "jne 2f\n\t"
      "testq %rdi, %rdi\n\t"
      "je 1f\n\t"
      "movq 40(%rdi), %rax\n\t"  // the receiver's dispatcher
      "testq %rax, %rax\n\t"
      "je 1f\n\t"
      "movl %esi, %edx\n\t"
      "movq %rdi, %rsi\n\t"
      "movq 32(%rdi), %rdi\n\t"  // its class
      "xorl %ecx, %ecx\n\t"
      "xorl %r8d, %r8d\n\t"
      "leaq q7sn_no_items(%rip), %r9\n\t"
      "jmp *%rax\n"
      "1:\txorl %eax, %eax\n\t"
      "ret\n"
      "2:\tcmpl $1, %edx\n\t"  // behind a link the caller has passed nothing more
      "je q7sn_send_two\n\t"
      "cmpl $1, %r8d\n\t"  // the second tag, an end or a link; its value is in %r9
      "jbe q7sn_send_two\n\t"
      "cmpl $0, 8(%rsp)\n\t"  // the third tag, the first argument on the stack
      "je q7sn_send_two\n\t"
      "jmp q7sn_send_many");
}

uint64_t Q7SendMsg2(Q7Object *object, uint32_t method, uint64_t a, uint32_t tag, ...) {
  Q7SN_WITH_TAGS(q7::send(object, method, a, 0, list.items));
}

uint64_t Q7SendMsg3(Q7Object *object, uint32_t method, uint64_t a, uint64_t b, uint32_t tag, ...) {
  Q7SN_WITH_TAGS(q7::send(object, method, a, b, list.items));
}

uint64_t Q7SendClassMsg(uint32_t clid, uint32_t method, uint32_t tag, ...) {
  Q7SN_WITH_TAGS(q7::send(Q7ClassFind(clid), method, 0, 0, list.items));
}

uint64_t Q7SendClassMsg2(uint32_t clid, uint32_t method, uint64_t a, uint32_t tag, ...) {
  Q7SN_WITH_TAGS(q7::send(Q7ClassFind(clid), method, a, 0, list.items));
}

uint64_t Q7SendClassMsg3(uint32_t clid, uint32_t method, uint64_t a, uint64_t b, uint32_t tag, ...) {
  Q7SN_WITH_TAGS(q7::send(Q7ClassFind(clid), method, a, b, list.items));
}

uint64_t Q7Inherit(Q7Class *cl, Q7Object *object, uint32_t method, uint32_t tag, ...) {
  Q7SN_WITH_TAGS(cl ? q7::inherit(cl, object, method, 0, 0, list.items) : 0);
}

uint64_t Q7Inherit3(Q7Class *cl, Q7Object *object, uint32_t method, uint64_t a, uint64_t b, uint32_t tag, ...) {
  Q7SN_WITH_TAGS(cl ? q7::inherit(cl, object, method, a, b, list.items) : 0);
}

uint64_t Q7SendEMsg(Q7Object *object, const char *name, uint32_t tag, ...) {
  Q7SN_WITH_TAGS(Q7SendEMsgA3(object, name, 0, 0, list.items));
}

uint64_t Q7SendEMsg2(Q7Object *object, const char *name, uint64_t a, uint32_t tag, ...) {
  Q7SN_WITH_TAGS(Q7SendEMsgA3(object, name, a, 0, list.items));
}

uint64_t Q7SendEMsg3(Q7Object *object, const char *name, uint64_t a, uint64_t b, uint32_t tag, ...) {
  Q7SN_WITH_TAGS(Q7SendEMsgA3(object, name, a, b, list.items));
}

Q7Class *Q7ClassCreate(uint32_t superclid, uint32_t clid, Q7Dispatcher dispatcher, uint32_t isize, uint32_t tag, ...) {
  Q7SN_WITH_TAGS(Q7ClassCreateA(superclid, clid, dispatcher, isize, list.items));
}

Q7Class *Q7ClassReplace(uint32_t oldclid, uint32_t newclid, Q7Dispatcher dispatcher, uint32_t isize, uint32_t tag,
                        ...) {
  Q7SN_WITH_TAGS(Q7ClassReplaceA(oldclid, newclid, dispatcher, isize, list.items));
}

int32_t Q7SetClassAttrs(uint32_t clid, uint32_t tag, ...) { Q7SN_WITH_TAGS(Q7SetClassAttrsA(clid, list.items)); }

int32_t Q7GetClassAttrs(uint32_t clid, uint32_t tag, ...) { Q7SN_WITH_TAGS(Q7GetClassAttrsA(clid, list.items)); }
