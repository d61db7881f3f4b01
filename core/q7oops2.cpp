// q7oops2: class settings to and from the settings store, and the walks that write and free classes at shutdown.
#include "core/q7oops2.h"

#include <cfloat>
#include <cstring>

#include "core/classdef.hpp"
#include "core/guards.hpp"
#include "core/numbers.hpp"
#include "core/q7memory.h"
#include "core/q7typeid.h"
#include "core/registry.hpp"
#include "core/report.hpp"
#include "platform/q7platform.h"

namespace {

constexpr char kReadModule[] = "q7oops";
constexpr char kWriteModule[] = "q7oops2";
constexpr size_t kTextSize = 512;  // what a settings store hands out at most
constexpr int32_t kUnsetInteger = 1234567890;
constexpr double kDefaultColour[2] = {0.7, 0.7};  // what a colour's first two channels hold before a class answers
constexpr int kFloatDigits = 10;
constexpr int kChannelDigits = 6;

// How many doubles a row's type holds; 0 for types that are none.
int q7st_channels(uint32_t type) {
  switch (type) {
    case Q7TID_FLOAT: return 1;
    case Q7TID_RGBA: return 4;
    case Q7TID_RGB:
    case Q7TID_VECTOR: return 3;
    default: return 0;
  }
}

// Reads numbers until one is missing; answers how many there were.
int q7st_parse(const char *text, double *values, int count) {
  int read = 0;
  while (read < count && q7::parse_number(text, values[read])) ++read;
  return read;
}

// A settings key that is open for a scope.
class Key {
 public:
  Key(Q7Class *cl, bool create) {
    // Names of classes are bounded by nothing, so the key is as long as it has to be.
    const size_t size = q7::class_path_length(cl) + 1;
    q7::Block<char> path(size);
    if (!path || !q7::class_path(path.get(), size, cl)) return;
    handle_ = create ? Q7AppCreateRegistry(Q7ApplicationContext, 1, path.get())
                     : Q7AppOpenRegistry(Q7ApplicationContext, 1, path.get());
  }
  ~Key() {
    if (handle_) Q7AppCloseRegistry(Q7ApplicationContext, handle_);
  }
  Key(const Key &) = delete;
  Key &operator=(const Key &) = delete;
  explicit operator bool() const { return handle_ != nullptr; }

  bool read(const char *name, int32_t &value) const {
    return Q7AppReadRegistryInt(Q7ApplicationContext, handle_, name, &value) != 0;
  }
  bool read(const char *name, double &value) const {
    return Q7AppReadRegistryFloat(Q7ApplicationContext, handle_, name, &value) != 0;
  }
  bool read(const char *name, char (&text)[kTextSize + 1]) const {
    text[0] = text[kTextSize] = 0;
    const bool found = Q7AppReadRegistry(Q7ApplicationContext, handle_, name, text) != 0;
    text[kTextSize] = 0;
    return found;
  }
  void write(const char *name, int32_t value) const {
    Q7AppWriteRegistryInt(Q7ApplicationContext, handle_, name, value);
  }
  void write(const char *name, const char *text) const {
    Q7AppWriteRegistryString(Q7ApplicationContext, handle_, name, text);
  }

 private:
  void *handle_ = nullptr;
};

uint64_t q7st_class_tag(Q7Class *cl, uint32_t method, uint32_t tag, uint64_t value) {
  Q7TagItem list[2] = {{tag, value}, {Q7TAG_END, 0}};
  return q7::send(cl, method, 0, 0, list);
}

void q7st_read_row(Q7Class *cl, const Key &key, const Q7PublicAttribute &row) {
  char text[kTextSize + 1];
  double values[4] = {};
  int32_t integer = 0;
  switch (row.type) {
    case Q7TID_INT:
    case Q7TID_BOOL:
      if (key.read(row.name, integer)) q7st_class_tag(cl, Q7M_SETCLASSATTRS, row.tag, q7::arg(integer));
      break;
    case Q7TID_FLOAT:
      if (key.read(row.name, values[0])) q7st_class_tag(cl, Q7M_SETCLASSATTRS, row.tag, q7::arg(&values[0]));
      break;
    case Q7TID_RGBA:
    case Q7TID_RGB:
    case Q7TID_VECTOR:
      // A text without any number says nothing; channels that a shorter text leaves out are 0.
      if (key.read(row.name, text) && q7st_parse(text, values, q7st_channels(row.type)) > 0) {
        q7st_class_tag(cl, Q7M_SETCLASSATTRS, row.tag, q7::arg(&values[0]));
      }
      break;
    case Q7TID_STRING:
      if (key.read(row.name, text)) q7st_class_tag(cl, Q7M_SETCLASSATTRS, row.tag, q7::arg(&text[0]));
      break;
    default: Q7_REPORT_ERROR(kReadModule, "Type not supported"); break;
  }
}

// A row the class does not know class-wide answers non-zero and is left as it is in the store.
void q7st_write_row(Q7Class *cl, const Key &key, const Q7PublicAttribute &row) {
  char text[kTextSize + 1];
  double values[4] = {DBL_MAX, DBL_MAX, DBL_MAX, DBL_MAX};
  int32_t integer[2] = {kUnsetInteger, 0};
  const char *string = nullptr;
  switch (row.type) {
    case Q7TID_INT:
    case Q7TID_BOOL:
      if (q7st_class_tag(cl, Q7M_GETCLASSATTRS, row.tag, q7::arg(&integer[0]))) return;
      key.write(row.name, integer[0]);
      break;
    case Q7TID_RGBA:
    case Q7TID_RGB:
      values[0] = kDefaultColour[0];
      values[1] = kDefaultColour[1];
      [[fallthrough]];
    case Q7TID_VECTOR:
    case Q7TID_FLOAT:
      if (q7st_class_tag(cl, Q7M_GETCLASSATTRS, row.tag, q7::arg(&values[0]))) return;
      if (q7::print_doubles(text, sizeof text, values, q7st_channels(row.type),
                            row.type == Q7TID_FLOAT ? kFloatDigits : kChannelDigits)) {
        key.write(row.name, text);
      }
      break;
    case Q7TID_STRING:
      if (q7st_class_tag(cl, Q7M_GETCLASSATTRS, row.tag, q7::arg(&string))) return;
      if (string) key.write(row.name, string);
      break;
    default: Q7_REPORT_ERROR(kWriteModule, "Type not supported"); break;
  }
}

bool q7st_has_settings(const Q7Class *cl) { return cl && cl->pubattrs && cl->header.name; }

template <class Row>
void q7st_each_row(Q7Class *cl, bool create, Row row) {
  const Key key(cl, create);
  if (!key) return;
  for (const Q7PublicAttribute *attribute = cl->pubattrs; attribute->name; ++attribute) row(cl, key, *attribute);
}

// Calls visit for the classes below top and then for top, children before their superclass. A visit may free its class.
template <class Visit>
void q7st_children_first(Q7Class *top, Visit visit) {
  Q7Class *cl = top;
  for (;;) {
    while (cl->subclasses.head->succ) cl = reinterpret_cast<Q7Class *>(cl->subclasses.head);
    // Without children left: visit, then go on with the next sibling's deepest child, or else the superclass itself.
    for (;;) {
      Q7Node *sibling = cl->header.succ;
      Q7Class *super = cl->super;
      const bool last = cl == top;
      visit(cl);
      if (last) return;
      if (sibling->succ) {
        cl = reinterpret_cast<Q7Class *>(sibling);
        break;
      }
      cl = super;
    }
  }
}

void q7st_forget(Q7Class *cl) {
  Q7App *app = Q7ApplicationContext;
  if (!app || !app->classes) return;
  if (cl->header.clid < app->class_capacity && app->classes[cl->header.clid] == cl) {
    app->classes[cl->header.clid] = nullptr;
  }
  // A replaced class, or one whose id was set by tag, stands in the table under other ids as well.
  if (!cl->stream_cache) return;
  for (uint32_t id = 0; id <= app->class_highest && id < app->class_capacity; ++id) {
    if (app->classes[id] == cl) app->classes[id] = nullptr;
  }
}

void q7st_free_record(Q7Class *cl) {
  q7::send(cl, Q7M_CLASS_FREE);
  while (Q7Node *node = Q7RemHead(&cl->extmethods)) {
    Q7FreeMem(reinterpret_cast<q7::ExtensionNode *>(node)->name, 0);
    Q7FreeMem(node, sizeof(q7::ExtensionNode));
  }
  q7st_forget(cl);
  Q7Remove(reinterpret_cast<Q7Node *>(cl));
  Q7FreeMem(cl, sizeof(Q7Class));
}

}  // namespace

int32_t Q7ClassRead(Q7Class *cl) {
  if (!q7st_has_settings(cl)) return 1;
  q7st_each_row(cl, false, q7st_read_row);
  return 0;
}

int32_t Q7ClassWrite(Q7Class *cl) {
  if (!q7st_has_settings(cl)) return 1;
  q7st_each_row(cl, true, q7st_write_row);
  return 0;
}

int32_t free_cache(Q7Class *cl) {
  if (!cl) return 0;
  q7st_children_first(cl, [](Q7Class *each) {
    Q7ClassWrite(each);
    q7::send(each, Q7M_FREE_CACHES);
  });
  return 1;
}

int32_t free_class(Q7Class *cl) {
  if (!cl) return 0;
  q7st_children_first(cl, q7st_free_record);
  return 1;
}
