// path_fuzz: paths that people type: joining them to the current one, resolving them, reading and setting what they
// name, listing it. The input is a list of commands, one a line: a letter, then a path, for "s" with "=" and a text
// behind it. A command succeeds exactly when its status says so, and one that fails leaves the current path where it
// was.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "core/q7memory.h"
#include "core/q7root.h"
#include "core/q7typeid.h"
#include "fuzz/fuzz.hpp"
#include "lang/q7prglng.h"

namespace {

[[noreturn]] void broken(const char *what) {
  std::fprintf(stderr, "path_fuzz: %s\n", what);
  std::abort();
}

// ---- Objects with an attribute of every type that can be handed over, and with members

constexpr uint32_t kClass = 4500;
constexpr uint32_t kSpeak = (kClass + 1) * 1000;  // the output object's method
constexpr uint32_t kValue = 4500500;              // and the type id
constexpr uint32_t kText = 4500600;
constexpr uint32_t kMembers = 4500601;
constexpr uint32_t kSelf = 4500602;
constexpr uint32_t kIndexed = 4500603;

constexpr Q7PublicAttribute row(const char *name, uint32_t tag, uint32_t type, uint32_t flags = 0,
                                uint32_t index = Q7PA_INDEX_IN_TEXT) {
  Q7PublicAttribute r = {};
  r.name = name;
  r.tag = tag;
  r.type = type;
  r.flags = flags;
  r.index = index;
  return r;
}
const Q7PublicAttribute rows[] = {
    row("i", kValue + Q7TID_INT, Q7TID_INT),
    row("f", kValue + Q7TID_FLOAT, Q7TID_FLOAT),
    row("w", kValue + Q7TID_WORD, Q7TID_WORD),
    row("b", kValue + Q7TID_BYTE, Q7TID_BYTE),
    row("rgba", kValue + Q7TID_RGBA, Q7TID_RGBA),
    row("rgb", kValue + Q7TID_RGB, Q7TID_RGB),
    row("v", kValue + Q7TID_VECTOR, Q7TID_VECTOR),
    row("v4", kValue + Q7TID_VECTOR4, Q7TID_VECTOR4),
    row("text", kText, Q7TID_STRING),
    row("list", kMembers, Q7TID_OBJECT2, Q7PAF_LIST),
    row("self", kSelf, Q7TID_OBJECT2),
    row("old", kSelf, Q7TID_OBJECT),
    row("a", kIndexed, Q7TID_INT, Q7PAF_INDEXED),
    row("aa", kIndexed, Q7TID_INT, Q7PAF_INDEXED | Q7PAF_SECOND_INDEX),
    row("fixed", kIndexed, Q7TID_INT, Q7PAF_INDEXED, 3),
    {},
};

struct Data {
  Q7List members;
  double values[32][4];  // by type id; whole numbers lie in the first bytes
  char text[32];
};
Data &data_of(Q7Object *obj) {
  return *reinterpret_cast<Data *>(reinterpret_cast<char *>(obj) + Q7ClassFind(kClass)->ioffset);
}

size_t size_of(uint32_t type) { return static_cast<size_t>(Q7SizeofType(type)); }
bool by_address(uint32_t type) { return Q7SubTypeOf(type) == Q7TID_FLOAT; }

bool attribute(Q7Object *obj, bool set, const Q7TagItem &item) {
  Data &d = data_of(obj);
  auto *place = reinterpret_cast<void *>(item.data);
  if (item.tag > kValue && item.tag < kValue + 32) {
    const uint32_t type = item.tag - kValue;
    if (!set) {
      std::memcpy(place, d.values[type], size_of(type));
    } else {
      std::memcpy(d.values[type], by_address(type) ? place : &item.data, size_of(type));
    }
    return true;
  }
  const void *answer = nullptr;
  switch (item.tag) {
    case kText:
      if (set) std::snprintf(d.text, sizeof d.text, "%s", static_cast<const char *>(place));
      answer = d.text;
      break;
    case kMembers: answer = &d.members; break;
    case kSelf: answer = obj; break;
    default: return false;
  }
  if (!set) std::memcpy(place, &answer, sizeof answer);
  return true;
}

uint64_t dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  switch (method) {
    case Q7M_SET:
    case Q7M_GET: {
      uint64_t unknown = 0;
      for (Q7TagItem *item = tags; item && item->tag; ++item) {
        if (attribute(obj, method == Q7M_SET, *item)) continue;
        Q7TagItem single[] = {*item, {Q7TAG_END, 0}};
        if (cl->superdispatch(cl->super, obj, method, 0, 0, single)) unknown = q7fuzz::arg(item);
      }
      return unknown;
    }
    case Q7M_SETINDEXED: return 0;
    case Q7M_GETINDEXED: {
      const auto index = static_cast<int32_t>(b);
      std::memcpy(tags, &index, sizeof index);
      return 0;
    }
    case Q7M_COLLECT_TABLES: {
      auto *node = static_cast<Q7AttributeTableNode *>(Q7AllocMem(sizeof(Q7AttributeTableNode), Q7MEM_CLEAR));
      if (!node) return 0;
      node->table = rows;
      Q7AddTail(reinterpret_cast<Q7List *>(tags), &node->node);
      break;
    }
    default: break;
  }
  return cl->superdispatch(cl->super, obj, method, a, b, tags);
}

Q7Object *make(const char *name, Q7Object *parent) {
  Q7Object *obj = Q7ObjectCreate(kClass, Q7A_NAME, q7fuzz::arg(name), 0);
  if (!obj) std::abort();
  Q7NewList(&data_of(obj).members);
  if (parent) Q7AddTail(&data_of(parent).members, reinterpret_cast<Q7Node *>(obj));
  return obj;
}
void remove_tree(Q7Object *obj) {
  while (Q7Node *member = Q7RemHead(&data_of(obj).members)) remove_tree(reinterpret_cast<Q7Object *>(member));
  Q7ObjectDelete(obj);
}

// ---- The shell

// Takes what is printed; the base class would write it to standard output.
uint64_t quiet(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method == kSpeak && std::strlen(reinterpret_cast<const char *>(tags)) > 100000) broken("a line without end");
  return method == kSpeak ? 1 : cl->superdispatch(cl->super, obj, method, a, b, tags);
}

struct State {
  std::string path;
  int32_t status;
};
State state(Q7Object *shell) {
  const char *path = nullptr;
  int32_t status = -1;
  Q7TagItem get[] = {{Q7A_PRGLNG_PATH, q7fuzz::arg(&path)}, {Q7A_PRGLNG_STATUS, q7fuzz::arg(&status)}, {Q7TAG_END, 0}};
  q7fuzz::put(shell, Q7M_GET, get);
  return {path ? path : "", status};
}

uint64_t run(Q7Object *shell, char letter, std::string path) {
  alignas(16) char value[256];
  Q7PublicAttribute record;
  switch (letter) {
    case 'c': return q7fuzz::put(shell, Q7M_PRGLNG_MAKE_CURRENT, path.data());
    case 'r': return q7fuzz::put(shell, Q7M_PRGLNG_RESOLVE, path.data());
    case 'l': return q7fuzz::put(shell, Q7M_PRGLNG_LIST, path.data());
    case 'k': return q7fuzz::put(shell, Q7M_PRGLNG_PRINT_CLASS, path.data());
    case 'u': return q7fuzz::send(shell, Q7M_PRGLNG_PARENT);
    case 'n': return q7fuzz::send(shell, Q7M_PRGLNG_NEXT);
    case 'b': return q7fuzz::send(shell, Q7M_PRGLNG_PREVIOUS);
    case 's': {
      const size_t equals = path.find('=');
      std::string text = equals == std::string::npos ? "" : path.substr(equals + 1);
      path.resize(std::min(equals, path.size()));
      return shell->dispatch(shell->cl, shell, Q7M_PRGLNG_SET, q7fuzz::arg(path.data()), Q7TID_STRING,
                             reinterpret_cast<Q7TagItem *>(text.data()));
    }
    case 'g':
      return shell->dispatch(shell->cl, shell, Q7M_PRGLNG_GET, q7fuzz::arg(path.data()), q7fuzz::arg(&record),
                             reinterpret_cast<Q7TagItem *>(value));
    default: {
      Q7TagItem set[] = {{Q7A_PRGLNG_PATH, q7fuzz::arg(path.data())}, {Q7TAG_END, 0}};
      q7fuzz::put(shell, Q7M_SET, set);
      return q7fuzz::send(shell, Q7M_PRGLNG_PRINT_PATH);
    }
  }
}

void command(Q7Object *shell, const std::string &line) {
  const char letter = line[0];
  const State before = state(shell);
  const bool done = run(shell, letter, line.substr(1).c_str()) != 0;
  const State after = state(shell);
  if (done != (after.status == Q7PRGLNG_DONE)) broken("the status says something else than the result");
  const bool moves = std::strchr("cunb", letter) != nullptr;
  if (std::strchr("crlkunbsg", letter) && !(moves && done) && before.path != after.path) broken("the path changed");
  if (std::strchr("cnb", letter) && done) {
    if (after.path.size() > 511) broken("the path is too long");
    if (!q7fuzz::put(shell, Q7M_PRGLNG_RESOLVE, nullptr)) broken("the current path leads nowhere");
  }
}

void start() {
  q7fuzz::start();
  if (Q7ClassFind(kClass)) return;
  if (!Q7RegisterPrgLngClass(Q7ApplicationContext)) std::abort();
  Q7ClassCreate(Q7C_ROOT, kClass, dispatch, sizeof(Data), Q7CT_NAME, q7fuzz::arg("scene"), 0);
  Q7ClassCreate(Q7C_ROOT, kClass + 1, quiet, 0, Q7CT_NAME, q7fuzz::arg("quiet"), 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  start();
  Q7Object *root = make("root", nullptr);
  Q7Object *scene = make("scene", root);
  make("x", root);
  make("one", scene);
  make("two", make("three", scene));
  Q7Object *output = Q7ObjectCreate(kClass + 1, 0);
  Q7Object *shell = Q7ObjectCreate(Q7C_PRGLNG, Q7A_PRGLNG_ROOT, q7fuzz::arg(root), Q7A_PRGLNG_OUTPUT,
                                   q7fuzz::arg(output), Q7A_PRGLNG_OUTPUT_METHOD, uint64_t{kSpeak}, 0);
  const char *p = reinterpret_cast<const char *>(data);
  const char *const end = p + size;
  while (p < end) {
    const char *next = std::find(p, end, '\n');
    if (next > p && *p) command(shell, std::string(p, next));
    p = next < end ? next + 1 : end;
  }
  Q7ObjectDelete(shell);
  Q7ObjectDelete(output);
  remove_tree(root);
  return 0;
}
