// q7prglng: the language class as an object: a shell over the tree of objects. It owns the text of its current path;
// the objects it knows belong to others. Every command resolves its path anew, so nothing is remembered of objects that
// may be gone.
#include "lang/q7prglng.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "core/classdef.hpp"
#include "core/guards.hpp"
#include "core/q7memory.h"
#include "core/q7root.h"
#include "core/q7strings.h"
#include "core/q7typeid.h"
#include "core/report.hpp"
#include "core/root.hpp"
#include "lang/prglng.hpp"

namespace {

constexpr char kModule[] = "q7prglng";
constexpr size_t kPathSize = 512;    // of a joined path, NUL included
constexpr size_t kLineSize = 1024;   // of a line of a listing
constexpr int kMaxForwarding = 16;   // languages that speak through languages
constexpr char kPlainText[] = "%s";  // format that output objects are sent

// Instance data.
struct Language {
  Q7Object *root;         // Q7A_PRGLNG_ROOT; not referenced
  char *path;             // Q7A_PRGLNG_PATH; owned, may be null
  int32_t status;         // Q7A_PRGLNG_STATUS
  Q7Object *output;       // Q7A_PRGLNG_OUTPUT; not referenced
  int32_t output_method;  // Q7A_PRGLNG_OUTPUT_METHOD
  Q7Object *error;        // Q7A_PRGLNG_ERROR; not referenced
  int32_t error_method;   // Q7A_PRGLNG_ERROR_METHOD
};

// Where a path leads.
struct Target {
  Q7PublicAttribute row;
  Q7Object *object;  // null: a value
};

using Path = char[kPathSize];

uint64_t q7pl_finish(Language &l, int32_t status) {
  l.status = status;
  return status == Q7PRGLNG_DONE;
}

// ---- Speaking ----

// A format with its arguments filled in, at any length; cut only when memory is exhausted.
class Formatted {
 public:
  Formatted(const char *format, va_list *arguments) {
    if (arguments) {
      print(format, *arguments);
    } else {
      copy(format);
    }
  }
  const char *text() const { return long_ ? long_.get() : room_; }

 private:
  void print(const char *format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(room_, sizeof room_, format, again);
    va_end(again);
    if (length < static_cast<int>(sizeof room_)) return;
    const auto size = static_cast<size_t>(length) + 1;
    if (!long_.allocate(size)) return;
    va_copy(again, arguments);
    std::vsnprintf(long_.get(), size, format, again);
    va_end(again);
  }
  // Without arguments only "%%" has a meaning; whatever else asks for one stays as it stands.
  void copy(const char *format) {
    const size_t length = std::strlen(format);
    if (length >= sizeof room_) long_.allocate(length + 1);
    char *out = long_ ? long_.get() : room_;
    const char *end = out + (long_ ? length : sizeof room_ - 1);
    for (; *format && out < end; ++format) {
      if (format[0] == '%' && format[1] == '%') ++format;
      *out++ = *format;
    }
    *out = 0;
  }

  char room_[kLineSize] = "";
  q7::Block<char> long_;
};

// A language takes a format and its arguments, unlike other output objects.
bool q7pl_takes_arguments(Q7Object *receiver, int32_t method) {
  return (method == Q7M_PRGLNG_PRINT || method == Q7M_PRGLNG_ERROR) && Q7ObjectIsOfKind(receiver, Q7C_PRGLNG);
}

uint64_t q7pl_send_format(Q7Object *receiver, uint32_t method, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const uint64_t result = q7::send(receiver, method, q7::arg(format), 0, q7::slot(&arguments));
  va_end(arguments);
  return result;
}

// Sends a text to an output object. False when there is none, when nobody has said by which method (0 would have it
// make an object), or when languages that speak through each other go round in a circle.
bool q7pl_deliver(Q7Object *receiver, int32_t method, const char *text) {
  static int forwarding;
  if (!receiver || method == 0 || forwarding == kMaxForwarding) return false;
  ++forwarding;
  if (q7pl_takes_arguments(receiver, method)) {
    q7pl_send_format(receiver, static_cast<uint32_t>(method), kPlainText, text);
  } else {
    q7::send(receiver, static_cast<uint32_t>(method), q7::arg(kPlainText), 0, q7::slot(text));
  }
  --forwarding;
  return true;
}

// Method 260002. A class record has no output object.
uint64_t q7pl_print(const Language *l, const char *format, va_list *arguments) {
  if (!format) return 0;
  const Formatted formatted(format, arguments);
  if (!l || !q7pl_deliver(l->output, l->output_method, formatted.text())) std::puts(formatted.text());
  return 1;
}

// Method 260010.
uint64_t q7pl_error(const Language *l, const char *format, va_list *arguments) {
  if (!format) return 0;
  const Formatted formatted(format, arguments);
  const char *text = formatted.text();
  if (l && q7pl_deliver(l->error, l->error_method, text)) return 1;
  if (l && q7pl_deliver(l->output, l->output_method, text)) return 1;
  Q7_REPORT_ERROR(kModule, "%s", text);
  return 1;
}

// What the commands say goes through the object's own print method, which a language may override.
void q7pl_say(Q7Object *self, const char *format, ...) Q7_PRINTF(2, 3);
void q7pl_say(Q7Object *self, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  q7::send(self, Q7M_PRGLNG_PRINT, q7::arg(format), 0, q7::slot(&arguments));
  va_end(arguments);
}

// ---- Paths ----

const char *q7pl_current(const Language &l) { return l.path ? l.path : ""; }

void q7pl_join(Path &full, const Language &l, const char *path) {
  const char *current = q7pl_current(l);
  if (!path || !*path) {
    std::snprintf(full, sizeof full, "%s", current);
  } else if (*path == '.') {
    std::snprintf(full, sizeof full, "%s", path);
  } else {
    const size_t length = std::strlen(current);
    const bool dotted = length > 0 && current[length - 1] == '.';
    std::snprintf(full, sizeof full, "%s%s%s", current, dotted ? "" : ".", path);
  }
}

bool q7pl_object_row(const Q7PublicAttribute &row) { return row.type == Q7TID_OBJECT2 && !(row.flags & Q7PAF_LIST); }

bool q7pl_resolve(const Language &l, const char *full, Target &target) {
  target = {};
  if (!*full) {
    target.row.type = Q7TID_OBJECT2;
    target.object = l.root;
    return l.root != nullptr;
  }
  // Of a value only the record is asked for, since not every type can be handed over. Whatever the tables do not know
  // as a value is asked with both places: a class that answers the method in its own way may fill both unseen.
  Q7PublicAttribute known = {};
  const bool value = q7::get_by_path(l.root, full, &known, nullptr) && !q7pl_object_row(known);
  uint64_t place[16] = {};
  if (!q7::send(l.root, Q7M_GET_BY_PATH, q7::arg(full), q7::arg(&target.row), value ? nullptr : q7::slot(&place[0]))) {
    return false;
  }
  if (q7pl_object_row(target.row)) target.object = q7::as<Q7Object *>(place[0]);
  return true;
}

// Resolves a full path that must name an object; the status it gives.
int32_t q7pl_find_object(const Language &l, const char *full, Target &target) {
  if (!q7pl_resolve(l, full, target)) return Q7PRGLNG_NOT_FOUND;
  return target.object ? Q7PRGLNG_DONE : Q7PRGLNG_NO_OBJECT;
}

bool q7pl_replace_path(Language &l, const char *path) {
  char *copy = path ? Q7StrDup(path) : nullptr;
  if (path && !copy) return false;
  Q7StrFree(l.path);
  l.path = copy;
  return true;
}

uint64_t q7pl_go_to(Language &l, const char *full) {
  Target target;
  int32_t status = q7pl_find_object(l, full, target);
  if (status == Q7PRGLNG_DONE && !q7pl_replace_path(l, full)) status = Q7PRGLNG_NOT_FOUND;
  return q7pl_finish(l, status);
}

uint64_t q7pl_make_current(Language &l, const char *path) {
  Path full;
  q7pl_join(full, l, path);
  return q7pl_go_to(l, full);
}

uint64_t q7pl_resolve_path(Language &l, const char *path) {
  Path full;
  q7pl_join(full, l, path);
  Target target;
  return q7pl_finish(l, q7pl_find_object(l, full, target));
}

uint64_t q7pl_print_path(Language &l, Q7Object *self) {
  q7pl_say(self, "%s", q7pl_current(l));
  return q7pl_finish(l, Q7PRGLNG_DONE);
}

uint64_t q7pl_parent(Language &l) {
  char *dot = l.path ? std::strrchr(l.path, '.') : nullptr;
  if (!dot) return q7pl_finish(l, Q7PRGLNG_NOT_FOUND);
  *dot = 0;
  return q7pl_finish(l, Q7PRGLNG_DONE);
}

// The neighbour of an object; at either end of a list the link leads to a sentinel, which is no object.
Q7Object *q7pl_sibling(Q7Object *obj, uint32_t attribute) {
  Q7Object *sibling = nullptr;
  Q7TagItem get[2] = {{attribute, q7::arg(&sibling)}, {Q7TAG_END, 0}};
  q7::send(obj, Q7M_GET, 0, 0, get);
  const bool link = sibling && (q7::arg(sibling) == q7::arg(obj->succ) || q7::arg(sibling) == q7::arg(obj->pred));
  return link && (!sibling->succ || !sibling->pred) ? nullptr : sibling;
}

const char *q7pl_name(Q7Object *obj) {
  const char *name = nullptr;
  Q7TagItem get[2] = {{Q7A_NAME, q7::arg(&name)}, {Q7TAG_END, 0}};
  q7::send(obj, Q7M_GET, 0, 0, get);
  return name;
}

uint64_t q7pl_go_beside(Language &l, uint32_t attribute) {
  Path full;
  q7pl_join(full, l, nullptr);
  Target target;
  const int32_t status = q7pl_find_object(l, full, target);
  if (status != Q7PRGLNG_DONE) return q7pl_finish(l, status);
  Q7Object *sibling = q7pl_sibling(target.object, attribute);
  const char *name = sibling ? q7pl_name(sibling) : nullptr;
  if (!name || !*name) return q7pl_finish(l, Q7PRGLNG_NO_CURRENT);
  char *dot = std::strrchr(full, '.');
  char *component = dot ? dot + 1 : full;
  const size_t room = static_cast<size_t>(full + sizeof full - component);
  // A name that does not fit would become another object's.
  if (std::strlen(name) >= room) return q7pl_finish(l, Q7PRGLNG_NOT_FOUND);
  std::strcpy(component, name);
  return q7pl_go_to(l, full);
}

// ---- Attributes by path ----

uint64_t q7pl_get_public(Language &l, const char *path, uint64_t row, Q7TagItem *destination) {
  Path full;
  q7pl_join(full, l, path);
  if (*full) {
    const uint64_t result = q7::send(l.root, Q7M_GET_BY_PATH, q7::arg(full), row, destination);
    q7pl_finish(l, result ? Q7PRGLNG_DONE : Q7PRGLNG_NOT_FOUND);
    return result;
  }
  Target target;
  if (!q7pl_resolve(l, full, target)) return q7pl_finish(l, Q7PRGLNG_NOT_FOUND);
  if (row) *q7::as<Q7PublicAttribute *>(row) = target.row;
  if (destination) *q7::slot_as<Q7Object **>(destination) = target.object;
  return q7pl_finish(l, Q7PRGLNG_DONE);
}

uint64_t q7pl_set_public(Language &l, const char *path, uint64_t form, Q7TagItem *value) {
  Path full;
  q7pl_join(full, l, path);
  const uint64_t result = q7::send(l.root, Q7M_SET_BY_PATH, q7::arg(full), form, value);
  q7pl_finish(l, result ? Q7PRGLNG_DONE : Q7PRGLNG_NOT_FOUND);
  return result;
}

// ---- Listings ----

void q7pl_list_row(Q7Object *self, const Q7PublicAttribute &row) {
  char type[32] = "";
  Q7TidToStr(type, row.type);
  const uint32_t both = row.flags & (Q7PAF_INDEXED | Q7PAF_SECOND_INDEX);
  const char *array = both == (Q7PAF_INDEXED | Q7PAF_SECOND_INDEX) ? "indexed array " : both ? "array " : "";
  char line[kLineSize];
  std::snprintf(line, sizeof line, "%s%s%s%s%s", type, row.flags & Q7PAF_LIST ? "list " : "", array, row.name,
                row.flags & Q7PAF_READ_ONLY ? " (read only) " : "");
  q7pl_say(self, "%s\n", line);
}

// Has the object free the nodes it gave out; a node that a class forgets is freed here.
void q7pl_free_tables(Q7Object *obj, Q7List &list) {
  while (list.head->succ) {
    const Q7Node *first = list.head;
    q7::send(obj, Q7M_FREE_TABLE_NODE, 0, 0, q7::slot(&list));
    if (list.head == first) Q7FreeMem(Q7RemHead(&list), sizeof(Q7AttributeTableNode));
  }
}

uint64_t q7pl_list_attributes(Language &l, Q7Object *self, Q7Object *obj) {
  Q7List list;
  Q7NewList(&list);
  const bool collected = q7::send(obj, Q7M_COLLECT_TABLES, 0, 0, q7::slot(&list)) != 0;
  for (const Q7Node *node = list.head; collected && node->succ; node = node->succ) {
    const Q7PublicAttribute *row = reinterpret_cast<const Q7AttributeTableNode *>(node)->table;
    for (; row && row->name; ++row) q7pl_list_row(self, *row);
  }
  q7pl_free_tables(obj, list);
  return q7pl_finish(l, collected ? Q7PRGLNG_DONE : Q7PRGLNG_NO_LIST);
}

// The channels of a value: four of some types, three of others, as a shell offers them behind the attribute's name.
void q7pl_list_channels(Q7Object *self, uint32_t type) {
  int channels = 0;
  switch (type) {
    case Q7TID_INT:
    case Q7TID_FLOAT:
    case Q7TID_WORD:
    case Q7TID_BYTE:
    case Q7TID_STRING:
    case Q7TID_BOOL: return;
    case Q7TID_RGBA:
    case Q7TID_VECTOR4: channels = 4; break;
    case Q7TID_RGB:
    case Q7TID_RGB_BYTE:
    case Q7TID_VECTOR: channels = 3; break;
    default: q7pl_say(self, "%s\n", "???"); return;
  }
  for (int i = 0; i < channels; ++i) {
    char line[32] = "";
    Q7TidToStr(line, type);
    Q7SubTidToStr(line, type, i);
    q7pl_say(self, "%s\n", line);
  }
}

uint64_t q7pl_list(Language &l, Q7Object *self, const char *path) {
  Path full;
  q7pl_join(full, l, path);
  Target target;
  if (!q7pl_resolve(l, full, target)) return q7pl_finish(l, Q7PRGLNG_NOT_FOUND);
  if (target.object) return q7pl_list_attributes(l, self, target.object);
  q7pl_list_channels(self, target.row.type);
  return q7pl_finish(l, Q7PRGLNG_DONE);
}

const char *q7pl_or_empty(const char *text) { return text ? text : ""; }

void q7pl_describe(Q7Object *self, const Q7Class &cl) {
  q7pl_say(self, "ID: %d\n", static_cast<int>(cl.header.clid));
  q7pl_say(self, "Name: %s\n", q7pl_or_empty(cl.header.name));
  if (cl.description) q7pl_say(self, "Description: %s\n", cl.description);
  q7pl_say(self, "Version: %d\n", static_cast<int>(cl.version));
  if (cl.organisation) q7pl_say(self, "Organization: %s\n", cl.organisation);
  if (cl.module) q7pl_say(self, "Module: %s\n", cl.module);
  if (!cl.super) return;
  // The line has an end of its own and is printed as a line: the empty one behind it ends the description, and readers
  // of several descriptions part them there.
  const Q7Class &super = *cl.super;
  char line[kLineSize];
  std::snprintf(line, sizeof line, "Super class: %d, %s, %s\n", static_cast<int>(super.header.clid),
                q7pl_or_empty(super.header.name), q7pl_or_empty(super.description));
  q7pl_say(self, "%s\n", line);
}

uint64_t q7pl_print_class(Language &l, Q7Object *self, const char *path) {
  Path full;
  q7pl_join(full, l, path);
  Target target;
  if (!q7pl_resolve(l, full, target)) return q7pl_finish(l, Q7PRGLNG_NOT_FOUND);
  if (!target.object) {
    char type[32] = "";
    Q7TidToStr(type, target.row.type);
    q7pl_say(self, "%s\n", type);
    return q7pl_finish(l, Q7PRGLNG_DONE);
  }
  uint32_t clid = 0;
  Q7TagItem get[2] = {{Q7A_CLASS_ID, q7::arg(&clid)}, {Q7TAG_END, 0}};
  q7::send(target.object, Q7M_GET, 0, 0, get);
  const Q7Class *cl = Q7ClassFind(clid);
  if (!cl) return q7pl_finish(l, Q7PRGLNG_NOT_FOUND);
  q7pl_describe(self, *cl);
  return q7pl_finish(l, Q7PRGLNG_DONE);
}

// ---- The class ----

bool q7pl_set(Language &l, const Q7TagItem &item) {
  switch (item.tag) {
    case Q7A_PRGLNG_OUTPUT: l.output = q7::value<Q7Object *>(item); return true;
    case Q7A_PRGLNG_OUTPUT_METHOD: l.output_method = q7::value<int32_t>(item); return true;
    case Q7A_PRGLNG_ROOT: l.root = q7::value<Q7Object *>(item); return true;
    case Q7A_PRGLNG_PATH: q7pl_replace_path(l, q7::value<const char *>(item)); return true;
    case Q7A_PRGLNG_ERROR: l.error = q7::value<Q7Object *>(item); return true;
    case Q7A_PRGLNG_ERROR_METHOD: l.error_method = q7::value<int32_t>(item); return true;
    default: return false;
  }
}

bool q7pl_get(const Language &l, const Q7TagItem &item) {
  switch (item.tag) {
    case Q7A_PRGLNG_OUTPUT: return q7::store<Q7Object *>(item, l.output);
    case Q7A_PRGLNG_OUTPUT_METHOD: return q7::store<int32_t>(item, l.output_method);
    case Q7A_PRGLNG_STATUS: return q7::store<int32_t>(item, l.status);
    case Q7A_PRGLNG_ROOT: return q7::store<Q7Object *>(item, l.root);
    case Q7A_PRGLNG_PATH: return q7::store<const char *>(item, l.path);
    case Q7A_PRGLNG_ERROR: return q7::store<Q7Object *>(item, l.error);
    case Q7A_PRGLNG_ERROR_METHOD: return q7::store<int32_t>(item, l.error_method);
    default: return false;
  }
}

uint64_t q7pl_dispose(Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto &l = q7::data<Language>(cl, obj);
  Q7StrFree(l.path);
  l.path = nullptr;
  return q7::inherit(cl, obj, Q7M_DISPOSE, a, b, tags);
}

// The copy has a path of its own; without memory for it, it stands at the root object.
uint64_t q7pl_copy(Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto *copy = q7::as<Q7Object *>(q7::inherit(cl, obj, Q7M_COPY, a, b, tags));
  if (!copy) return 0;
  auto &l = q7::data<Language>(cl, copy);
  l.path = l.path ? Q7StrDup(l.path) : nullptr;
  return q7::arg(copy);
}

uint64_t q7pl_load() {
  Q7_REPORT_ERROR(kModule, "Load not implemented");
  return 0;
}

extern const q7::ClassDef language_class;

uint64_t q7pl_class_free(Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *tags) {
  // A language's class passes the message on too; the tables stay until the last of them is gone.
  if (&cl->header == obj) q7::free_language_tables();
  return q7::class_free(language_class, cl, obj, a, b, tags);
}

// What a class record answers: everything that needs no object.
uint64_t q7pl_class_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  switch (method) {
    case Q7M_NEW: return q7::create<Language>(cl, obj, a, b, tags, q7pl_set);
    case Q7M_CLASS_FREE: return q7pl_class_free(cl, obj, a, b, tags);
    case Q7M_PRGLNG_PRINT: return q7pl_print(nullptr, q7::as<const char *>(a), q7::slot_as<va_list *>(tags));
    case Q7M_PRGLNG_ERROR: return q7pl_error(nullptr, q7::as<const char *>(a), q7::slot_as<va_list *>(tags));
    case Q7M_PRGLNG_MAKE_CURRENT:
    case Q7M_PRGLNG_GET:
    case Q7M_PRGLNG_SET:
    case Q7M_PRGLNG_LIST:
    case Q7M_PRGLNG_PRINT_PATH:
    case Q7M_PRGLNG_PARENT:
    case Q7M_PRGLNG_PREVIOUS:
    case Q7M_PRGLNG_NEXT:
    case Q7M_PRGLNG_PRINT_CLASS:
    case Q7M_PRGLNG_RESOLVE: return 0;
    default: return q7::inherit(cl, obj, method, a, b, tags);
  }
}

uint64_t q7pl_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (!obj) return 0;
  auto *text = q7::as<const char *>(a);
  switch (method) {
    case Q7M_PRGLNG_REGISTER:
      return q7::arg(
          Q7RegisterLanguage(cl, q7::as<uint32_t>(a), q7::as<const char *>(b), q7::slot_as<const char *>(tags)));
    case Q7M_PRGLNG_ENUM:
      return q7::arg(Q7EnumLanguages(cl, q7::as<Q7Object *>(a), q7::as<uint32_t>(b), q7::slot_as<uint64_t>(tags)));
    case Q7M_PRGLNG_FIND: return Q7FindLanguage(cl, q7::slot_as<const char *>(tags));
    case Q7M_PRGLNG_LOAD: return q7pl_load();
    case Q7M_PRGLNG_MAP: return q7::arg(q7::map_language_id(a, q7::slot_int(tags)));
    default: break;
  }
  if (&obj->cl->header == obj) return q7pl_class_dispatch(cl, obj, method, a, b, tags);
  auto &l = q7::data<Language>(cl, obj);
  auto *path = q7::slot_as<const char *>(tags);
  switch (method) {
    case Q7M_DISPOSE: return q7pl_dispose(cl, obj, a, b, tags);
    case Q7M_SET: return q7::set_attributes<Language>(cl, obj, tags, q7pl_set);
    case Q7M_GET: return q7::get_attributes<Language>(cl, obj, tags, q7pl_get);
    case Q7M_COPY: return q7pl_copy(cl, obj, a, b, tags);
    case Q7M_PRGLNG_PRINT: return q7pl_print(&l, text, q7::slot_as<va_list *>(tags));
    case Q7M_PRGLNG_ERROR: return q7pl_error(&l, text, q7::slot_as<va_list *>(tags));
    case Q7M_PRGLNG_MAKE_CURRENT: return q7pl_make_current(l, path);
    case Q7M_PRGLNG_GET: return q7pl_get_public(l, text, b, tags);
    case Q7M_PRGLNG_SET: return q7pl_set_public(l, text, b, tags);
    case Q7M_PRGLNG_LIST: return q7pl_list(l, obj, path);
    case Q7M_PRGLNG_PRINT_PATH: return q7pl_print_path(l, obj);
    case Q7M_PRGLNG_PARENT: return q7pl_parent(l);
    case Q7M_PRGLNG_PREVIOUS: return q7pl_go_beside(l, Q7A_PREVIOUS);
    case Q7M_PRGLNG_NEXT: return q7pl_go_beside(l, Q7A_NEXT);
    case Q7M_PRGLNG_PRINT_CLASS: return q7pl_print_class(l, obj, path);
    case Q7M_PRGLNG_RESOLVE: return q7pl_resolve_path(l, path);
    default: return q7::inherit(cl, obj, method, a, b, tags);
  }
}

constexpr q7::ClassDef language_class = {.id = Q7C_PRGLNG,
                                         .name = "q7prglng",
                                         .dispatch = q7pl_dispatch,
                                         .size = sizeof(Language),
                                         .description = "Programming Language"};

}  // namespace

int32_t Q7RegisterPrgLngClass(Q7App *app) { return q7::register_once(app, language_class); }
