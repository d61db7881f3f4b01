// classdef: what all classes share and is not a template: registration, release and the messages about public
// attributes.
#include "core/classdef.hpp"

#include <cstring>

#include "core/q7memory.h"
#include "core/q7root.h"
#include "platform/q7platform.h"

int32_t q7::register_once(Q7App *app, const ClassDef &def) {
  if (Q7ClassFind(def.id)) return 1;
  if (!(def.needs ? def.needs(app) : Q7RegisterRootClass(app))) return 0;
  void *catalog = nullptr;
  if (def.strings) {
    catalog = Q7AppOpenLocale(app, "q7common", def.strings_module ? def.strings_module : def.name, def.strings,
                              def.string_count);
  }
  const auto *strings = static_cast<const Q7LocaleEntry *>(catalog ? catalog : def.strings);
  const char *description = def.description;
  if (def.description_string >= 0 && strings) description = strings[def.description_string].text;
  Q7TagItem tags[] = {
      {Q7CT_CATALOG, arg(strings)},
      {Q7CT_DESCRIPTION, arg(description)},
      {Q7CT_NAME, arg(def.name)},
      {Q7CT_ORGANISATION, arg(def.organisation)},
      {Q7CT_MODULE, arg(def.module)},
      {Q7CT_CREATION_FLAG, 0},
      {Q7CT_VERSION, def.version},
      {Q7CT_PUBATTRS, arg(def.attributes)},
      {Q7TAG_END, 0},
  };
  if (Q7ClassCreateA(def.super, def.id, def.dispatch, def.size, tags)) return 1;
  if (catalog) Q7AppCloseLocale(app, catalog, def.string_count);
  return 0;
}

uint64_t q7::class_free(const ClassDef &def, Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (&cl->header == obj && cl->catalog && cl->catalog != def.strings) {
    // The description may be a text of the catalogue.
    cl->description = nullptr;
    Q7AppCloseLocale(Q7ApplicationContext, const_cast<Q7LocaleEntry *>(cl->catalog), def.string_count);
    cl->catalog = nullptr;
  }
  return inherit(cl, obj, Q7M_CLASS_FREE, a, b, tags);
}

namespace {

const Q7PublicAttribute *q7cd_find_name(const Q7PublicAttribute *table, const char *name) {
  for (; table && name && table->name; ++table) {
    if (std::strcmp(table->name, name) == 0) return table;
  }
  return nullptr;
}

const Q7PublicAttribute *q7cd_find_tag(const Q7PublicAttribute *table, uint32_t tag) {
  for (; table && table->name; ++table) {
    if (table->tag == tag) return table;
  }
  return nullptr;
}

// The answer of one table, or 0 to look further up.
uint64_t q7cd_answer(const Q7PublicAttribute *table, uint32_t method, uint64_t a, Q7TagItem *tags) {
  switch (method) {
    case Q7M_NAME_OF_TAG: {
      auto *buffer = q7::slot_as<char *>(tags);
      const Q7PublicAttribute *row = q7cd_find_tag(table, q7::as<uint32_t>(a));
      return row && buffer ? q7::arg(std::strcpy(buffer, row->name)) : 0;
    }
    case Q7M_ROW_BY_NAME: {
      auto *copy = q7::slot_as<Q7PublicAttribute *>(tags);
      const Q7PublicAttribute *row = q7cd_find_name(table, q7::as<const char *>(a));
      if (!row || !copy) return 0;
      *copy = *row;
      copy->name = nullptr;  // the caller has the name; a row without one also ends a table made of it
      return 1;
    }
    case Q7M_ROW_BY_TAG: {
      auto *copy = q7::slot_as<Q7PublicAttribute *>(tags);
      const Q7PublicAttribute *row = q7cd_find_tag(table, q7::as<uint32_t>(a));
      if (!row || !copy) return 0;
      *copy = *row;
      return 1;
    }
    case Q7M_TAG_BY_NAME: {
      const Q7PublicAttribute *row = q7cd_find_name(table, q7::slot_as<const char *>(tags));
      return row ? row->tag : 0;
    }
    default: return 0;
  }
}

}  // namespace

uint64_t q7::public_attributes(const Q7PublicAttribute *table, Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a,
                               uint64_t b, Q7TagItem *tags) {
  if (method == Q7M_COLLECT_TABLES) {
    auto *list = slot_as<Q7List *>(tags);
    if (!list) return 0;
    auto *node = static_cast<Q7AttributeTableNode *>(Q7AllocMem(sizeof(Q7AttributeTableNode), Q7MEM_CLEAR));
    if (!node) return 0;
    node->table = table;
    Q7AddTail(list, &node->node);
  } else if (const uint64_t answer = q7cd_answer(table, method, a, tags)) {
    return answer;
  }
  if (cl) return inherit(cl, obj, method, a, b, tags);
  return method == Q7M_COLLECT_TABLES;
}
