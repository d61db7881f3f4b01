// q7prglng_tables: what the language class keeps for the whole process: the registered languages and the mappers. Both
// live until class 260 is freed, which comes after the classes of all languages, and start empty with the next
// application.
#include <cstring>
#include <utility>

#include "app/q7appstr.h"
#include "core/classdef.hpp"
#include "core/q7memory.h"
#include "core/q7strings.h"
#include "core/report.hpp"
#include "lang/prglng.hpp"
#include "lang/q7prglng.h"

namespace {

constexpr char kModule[] = "q7prglng";
constexpr uint64_t kCompared = 256;  // characters of an extension
constexpr uint32_t kEveryMapper = 0xFFFFFFFFu;

// The arrays have one slot more than the bound lets in; it stays empty.
constexpr int32_t kSlots = 20;
static_assert(Q7PRGLNG_MAX_LANGUAGES == kSlots - 1);
uint32_t language_ids[kSlots];
const char *language_names[kSlots];
const char *language_extensions[kSlots];
int32_t language_count;

struct Mapper {
  uint32_t id;
  Q7LanguageMapper function;
};
constexpr int32_t kMapperStep = 20;
Mapper *mappers;
int32_t mapper_count;
int32_t mapper_capacity;

int32_t q7pl_mapper_index(uint32_t id, Q7LanguageMapper function) {
  for (int32_t i = 0; i < mapper_count; ++i) {
    if (mappers[i].id == id && mappers[i].function == function) return i;
  }
  return -1;
}

bool q7pl_make_room() {
  if (mapper_count < mapper_capacity) return true;
  const uint64_t old_size = static_cast<uint64_t>(mapper_capacity) * sizeof(Mapper);
  const uint64_t new_size = static_cast<uint64_t>(mapper_capacity + kMapperStep) * sizeof(Mapper);
  auto *grown = static_cast<Mapper *>(Q7ReAllocMem(mappers, old_size, new_size, Q7MEM_CLEAR));
  if (!grown) return false;
  mappers = grown;
  mapper_capacity += kMapperStep;
  return true;
}

uint32_t q7pl_owner(uint64_t id, int32_t kind) {
  const auto number = static_cast<uint32_t>(id);
  switch (kind) {
    case Q7PRGLNG_MAP_METHOD: return number / 1000;
    case Q7PRGLNG_MAP_ATTRIBUTE: return (number - 500) / 1000;
    default: return number;
  }
}

}  // namespace

void *q7::map_language_id(uint64_t id, int32_t kind) {
  const uint32_t owner = q7pl_owner(id, kind);
  // The table is read anew for each step: a mapper may add others.
  for (int32_t i = 0; i < mapper_count; ++i) {
    if (owner != kEveryMapper && mappers[i].id != owner) continue;
    if (void *answer = mappers[i].function(id, kind)) return answer;
  }
  return nullptr;
}

void q7::free_language_tables() {
  language_count = 0;
  Q7FreeMem(std::exchange(mappers, nullptr), 0);
  mapper_count = mapper_capacity = 0;
}

int32_t Q7RegisterLanguage(Q7Class *, uint32_t clid, const char *name, const char *extension) {
  for (int32_t i = 0; i < language_count; ++i) {
    if (language_ids[i] == clid) return 1;
  }
  if (language_count >= Q7PRGLNG_MAX_LANGUAGES) {
    return Q7_REPORT_ERROR(kModule, "%s: %d", Q7AppStr(Q7STR_CANNOT_INSTALL), static_cast<int>(clid));
  }
  language_ids[language_count] = clid;
  language_names[language_count] = name;
  language_extensions[language_count] = extension;
  ++language_count;
  return 1;
}

int32_t Q7EnumLanguages(Q7Class *, Q7Object *handler, uint32_t method, uint64_t argument) {
  for (int32_t i = 0; i < language_count; ++i) {
    q7::send(handler, method, q7::arg(language_names[i]), language_ids[i], q7::slot(argument));
  }
  return 1;
}

uint32_t Q7FindLanguage(Q7Class *, const char *extension) {
  for (int32_t i = 0; extension && i < language_count; ++i) {
    const char *known = language_extensions[i];
    if (known && Q7StrNCaseCmp(known, extension, kCompared) == 0) return language_ids[i];
  }
  return 0;
}

int32_t Q7AddLanguageMapper(uint32_t id, Q7LanguageMapper mapper) {
  if (!mapper) return 0;
  if (q7pl_mapper_index(id, mapper) >= 0) return 1;
  if (!q7pl_make_room()) return 0;
  mappers[mapper_count++] = {id, mapper};
  return 1;
}

int32_t Q7RemoveLanguageMapper(uint32_t id, Q7LanguageMapper mapper) {
  const int32_t index = q7pl_mapper_index(id, mapper);
  if (index < 0) return 0;
  --mapper_count;
  std::memmove(&mappers[index], &mappers[index + 1], static_cast<size_t>(mapper_count - index) * sizeof(Mapper));
  return 1;
}
