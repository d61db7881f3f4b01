// q7errdb: the error database. It owns one array of (id, text) pairs in order of registration, which lives from the
// first registration to the release of the class.
#include "app/q7errdb.h"

#include <cstring>

#include "core/classdef.hpp"
#include "core/q7memory.h"
#include "core/q7root.h"

namespace {

constexpr uint32_t kGrowth = 20;

struct Entry {
  uint32_t id;
  const char *text;  // not owned
};

Entry *entries;
uint32_t count;
uint32_t capacity;

Entry *q7ed_find(uint32_t id) {
  for (uint32_t i = 0; i < count; ++i) {
    if (entries[i].id == id) return &entries[i];
  }
  return nullptr;
}

bool q7ed_grow() {
  auto *grown = static_cast<Entry *>(Q7AllocMem(sizeof(Entry) * (capacity + kGrowth), Q7MEM_CLEAR));
  if (!grown) return false;
  if (count) std::memcpy(grown, entries, sizeof(Entry) * count);
  Q7FreeMem(entries, sizeof(Entry) * capacity);
  entries = grown;
  capacity += kGrowth;
  return true;
}

uint64_t q7ed_register(uint32_t id, const char *text) {
  if (Entry *known = q7ed_find(id)) {
    known->text = text;
    return 1;
  }
  if (count == capacity && !q7ed_grow()) return 0;
  entries[count++] = {id, text};
  return 1;
}

uint64_t q7ed_look_up(uint32_t id) {
  const Entry *known = q7ed_find(id);
  return known ? q7::arg(known->text) : 0;
}

uint64_t q7ed_class_free(Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (obj == &cl->header) {
    Q7FreeMem(entries, sizeof(Entry) * capacity);
    entries = nullptr;
    count = capacity = 0;
  }
  return q7::inherit(cl, obj, Q7M_CLASS_FREE, a, b, tags);
}

uint64_t q7ed_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  switch (method) {
    case Q7M_CLASS_FREE: return q7ed_class_free(cl, obj, a, b, tags);
    case Q7M_ERRDB_REGISTER: return q7ed_register(q7::as<uint32_t>(a), q7::slot_as<const char *>(tags));
    case Q7M_ERRDB_LOOKUP: return q7ed_look_up(q7::slot_as<uint32_t>(tags));
    default: return q7::inherit(cl, obj, method, a, b, tags);
  }
}

constexpr q7::ClassDef errdb_class = {
    .id = Q7C_ERRDB, .name = "q7errdb", .dispatch = q7ed_dispatch, .needs = Q7RegisterRootClass};

}  // namespace

int32_t Q7RegisterErrorDatabaseClass(Q7App *app) { return q7::register_once(app, errdb_class); }
