// q7memory: the allocator front. Every block of the library comes from here, so exhaustion has one report and tests
// have one gate to fail allocations at.
#include "core/q7memory.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/q7context.h"
#include "core/report.hpp"

namespace {

constexpr char kModule[] = "q7memory";
constexpr uint64_t kSmallestBlock = 8;
constexpr uint64_t kClearByHand = 1024;  // below this, memset behind malloc beats calloc

Q7AllocGate gate;
void *gate_data;
Q7MessageHook message_hook;

uint64_t q7mem_rounded(uint64_t size) { return size < kSmallestBlock ? kSmallestBlock : size; }

// Sizes beyond what pointers can span are exhaustion without asking anybody.
bool q7mem_permitted(uint64_t size) { return size <= PTRDIFF_MAX && (!gate || gate(size, gate_data)); }

[[gnu::cold, gnu::noinline]] void q7mem_report_exhaustion(uint64_t size) {
  // String 2 is the library's own text or its translation; it takes one integer.
  char text[256];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  std::snprintf(text, sizeof text, Q7AppStr(2), static_cast<int>(size));
#pragma GCC diagnostic pop
  Q7ErrPos(kModule, __LINE__);
  Q7_WriteLog("%s", text);
  if (message_hook) message_hook(Q7ApplicationContext, "", text);
}

void *q7mem_allocate(uint64_t size, uint32_t flags) {
  if (!q7mem_permitted(size)) return nullptr;
  if (!(flags & Q7MEM_CLEAR)) return std::malloc(size);
  if (size > kClearByHand) return std::calloc(1, size);
  void *block = std::malloc(size);
  // The two calls must not be joined into a calloc, which takes the allocator's long way also for small blocks.
  __asm__("" : "+r"(block));
  return block ? std::memset(block, 0, size) : nullptr;  // NOLINT(clang-analyzer-unix.Malloc): the block is answered
}

}  // namespace

void *Q7AllocSilent(uint64_t size, uint32_t flags) { return q7mem_allocate(q7mem_rounded(size), flags); }

void *Q7AllocMem(uint64_t size, uint32_t flags) {
  // Most blocks are small, are written over at once and meet no gate.
  const bool plain = !flags && !gate && size - kSmallestBlock <= PTRDIFF_MAX - kSmallestBlock;
  void *block = plain ? std::malloc(size) : q7mem_allocate(q7mem_rounded(size), flags);
  if (!block) [[unlikely]]
    q7mem_report_exhaustion(size);
  return block;
}

void Q7FreeMem(void *block, uint64_t) { std::free(block); }

void *Q7ReAllocMem(void *block, uint64_t oldsize, uint64_t newsize, uint32_t flags) {
  if (oldsize == newsize) return block;
  if (!block) return Q7AllocMem(newsize, flags);
  const uint64_t kept = q7mem_rounded(oldsize);
  const uint64_t size = q7mem_rounded(newsize);
  if (!q7mem_permitted(size)) return nullptr;
  void *grown = std::realloc(block, size);
  if (grown && (flags & Q7MEM_CLEAR) && size > kept) std::memset(static_cast<char *>(grown) + kept, 0, size - kept);
  return grown;
}

void Q7SetAllocGate(Q7AllocGate new_gate, void *data) {
  gate_data = data;
  gate = new_gate;
}

Q7MessageHook Q7AppSetMessageHook(Q7App *, Q7MessageHook hook) {
  Q7MessageHook previous = message_hook;
  message_hook = hook;
  return previous;
}
