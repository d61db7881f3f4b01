// q7attrib: attribute descriptions as objects. The object owns the name in its description and nothing else.
#include "ui/q7attrib.h"

#include "core/classdef.hpp"
#include "core/q7strings.h"

namespace {

struct Attribute {
  uint64_t value;                 // 1682500
  Q7PublicAttribute description;  // 1682501; the name is owned
  int32_t number;                 // 1682502
};
static_assert(sizeof(Q7PublicAttribute) == 80 && offsetof(Attribute, description) == 8);
static_assert(offsetof(Attribute, number) == 88);

void q7at_free_name(Attribute &at) {
  Q7StrFree(const_cast<char *>(at.description.name));
  at.description.name = nullptr;
}

// The new name is made before the old one goes: the record that is handed in may hold the old one.
void q7at_describe(Attribute &at, const Q7PublicAttribute *record) {
  Q7PublicAttribute copy = {};
  if (record) copy = *record;
  if (copy.name) {
    copy.name = Q7StrDup(copy.name);
    if (!copy.name) return;
  }
  q7at_free_name(at);
  at.description = copy;
}

bool q7at_set(Attribute &at, const Q7TagItem &item) {
  switch (item.tag) {
    case Q7A_ATTRIBUTE_VALUE: at.value = item.data; return true;
    case Q7A_ATTRIBUTE_DESCRIPTION: q7at_describe(at, q7::value<const Q7PublicAttribute *>(item)); return true;
    case Q7A_ATTRIBUTE_NUMBER: at.number = q7::value<int32_t>(item); return true;
    default: return false;
  }
}

bool q7at_get(const Attribute &at, const Q7TagItem &item) {
  switch (item.tag) {
    case Q7A_ATTRIBUTE_VALUE: return q7::store<uint64_t>(item, at.value);
    case Q7A_ATTRIBUTE_DESCRIPTION: return q7::store<Q7PublicAttribute>(item, at.description);
    case Q7A_ATTRIBUTE_NUMBER: return q7::store<int32_t>(item, at.number);
    default: return false;
  }
}

uint64_t q7at_copy(Q7Class *cl, Q7Object *self, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto *copy = q7::as<Q7Object *>(q7::inherit(cl, self, Q7M_COPY, a, b, tags));
  if (!copy) return 0;
  const char *name = q7::data<Attribute>(cl, self).description.name;
  auto &at = q7::data<Attribute>(cl, copy);
  at.description.name = Q7StrDup(name);
  if (!name || at.description.name) return q7::arg(copy);
  q7::inherit(cl, copy, Q7M_DISPOSE, a, 0, nullptr);
  return 0;
}

uint64_t q7at_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  // Messages to the class itself have no instance behind them.
  if (&obj->cl->header == obj && method != Q7M_NEW) return q7::inherit(cl, obj, method, a, b, tags);
  switch (method) {
    case Q7M_NEW: return q7::create<Attribute>(cl, obj, a, b, tags, q7at_set);
    case Q7M_DISPOSE: q7at_free_name(q7::data<Attribute>(cl, obj)); return q7::inherit(cl, obj, method, a, b, tags);
    case Q7M_SET: return q7::set_attributes<Attribute>(cl, obj, tags, q7at_set);
    case Q7M_GET: return q7::get_attributes<Attribute>(cl, obj, tags, q7at_get);
    case Q7M_COPY: return q7at_copy(cl, obj, a, b, tags);
    default: return q7::inherit(cl, obj, method, a, b, tags);
  }
}

constexpr q7::ClassDef attribute_class = {.id = Q7C_ATTRIBUTE,
                                          .name = "q7attrib",
                                          .dispatch = q7at_dispatch,
                                          .size = sizeof(Attribute),
                                          .description = "Attribute"};

}  // namespace

int32_t Q7RegisterAttributeClass(Q7App *app) { return q7::register_once(app, attribute_class); }
