// q7altmem: objects in memory that the caller supplies. The allocator travels as argument a of methods 0 and 1.
#include <cstdarg>

#include "core/classdef.hpp"
#include "core/q7objects.h"
#include "core/report.hpp"

namespace {

constexpr char kModule[] = "q7altmem";

}  // namespace

Q7Object *Q7AltObjectCreateA2(uint32_t clid, Q7AltMem *allocator, uint64_t b, Q7TagItem *tags) {
  Q7Class *cl = Q7ClassFind(clid);
  if (!cl) {
    Q7_REPORT_ERROR(kModule, "%s: %d", Q7AppStr(4), static_cast<int>(clid));
    return nullptr;
  }
  return q7::as<Q7Object *>(q7::send(cl, Q7M_NEW, q7::arg(allocator), b, tags));
}

Q7Object *Q7AltObjectCreate(uint32_t clid, Q7AltMem *allocator, uint32_t tag, ...) {
  q7::GatheredTags list;
  va_list arguments;
  va_start(arguments, tag);
  const bool complete = q7::gather(list, tag, arguments);
  va_end(arguments);
  if (!complete) Q7_REPORT_ERROR(kModule, "too many tags");
  return Q7AltObjectCreateA2(clid, allocator, 0, list.items);
}

uint64_t Q7AltObjectDelete(Q7Object *object, Q7AltMem *allocator) {
  return q7::send(object, Q7M_DISPOSE, q7::arg(allocator));
}
