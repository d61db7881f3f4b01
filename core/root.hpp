// root: what the files of the root class share: reporting, object streams and textual attribute access.
#ifndef Q7_CORE_ROOT_HPP
#define Q7_CORE_ROOT_HPP

#include "core/q7oops.h"

namespace q7 {

// Entries of the root class's catalogue.
enum RootString {
  kUndefinedAttribute,
  kCannotReadObject,
  kNeedNewerVersion,
  kUndefinedMethod,
  kRootName,
  kRootClassName,
  kRootDescription
};
const char *root_string(RootString entry);

// Whether missing classes are reported while loading (class tag 560).
bool report_missing_classes();

// Reports an undefined method (kind 2) or attribute (kind 3) of an object, named by the naming service where one is.
enum UndefinedKind : uint32_t { kMethodKind = 2, kAttributeKind = 3 };
void report_undefined(const Q7Object *obj, uint32_t id, UndefinedKind kind);

// Method 7 and method 21 of the root class.
uint64_t save_object(Q7Object *obj, Q7TagItem *tags);
Q7Object *load_object(uint64_t allocator, Q7Object *stream, Q7TagItem *tags);

// Methods 35 and 36 of the root class.
uint64_t get_by_path(Q7Object *obj, const char *path, Q7PublicAttribute *row, void *destination);
uint64_t set_by_path(Q7Object *obj, const char *path, uint64_t form, const void *value);

}  // namespace q7

#endif
