// script_fuzz: scripts that make, link, move, read and dispose of objects in every order. The input chooses statements,
// four bytes each: a kind, two variables, a number. Each runs by itself and may fail; what may not happen is that
// something that is gone is touched. After a zero byte the rest of the input is a text that is run as it is.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "core/q7memory.h"
#include "core/q7root.h"
#include "core/q7typeid.h"
#include "fuzz/fuzz.hpp"
#include "plugins/lua/q7lua.h"
#include "ui/q7model.h"

extern "C" int32_t Q7LibraryRegister(Q7App *app);  // the plug-in is linked into this program

namespace {

// ---- Objects with values, members, a reference that is counted and one that is not ----

constexpr uint32_t kClass = 4510;
enum : uint32_t { kCount = 4510500, kColor, kPlace, kText, kMembers, kLink, kKept };

struct Data {
  int32_t count;
  double color[3], place[3];
  char text[32];
  Q7List members;
  Q7Object *link;  // not counted
  Q7Object *kept;  // counted
  bool disposing;
};

constexpr Q7PublicAttribute row(const char *name, uint32_t tag, uint32_t type, uint32_t flags = 0) {
  Q7PublicAttribute r = {};
  r.name = name;
  r.tag = tag;
  r.type = type;
  r.flags = flags;
  return r;
}
const Q7PublicAttribute rows[] = {row("Count", kCount, Q7TID_INT),
                                  row("Color", kColor, Q7TID_RGB),
                                  row("Place", kPlace, Q7TID_VECTOR),
                                  row("Text", kText, Q7TID_STRING),
                                  row("Members", kMembers, Q7TID_OBJECT2, Q7PAF_LIST),
                                  row("Link", kLink, Q7TID_OBJECT2),
                                  row("Kept", kKept, Q7TID_OBJECT),
                                  {}};

Data &data(Q7Object *obj) { return *reinterpret_cast<Data *>(reinterpret_cast<char *>(obj) + obj->cl->ioffset); }
uint64_t inherit(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  return cl->superdispatch(cl->super, obj, method, a, b, tags);
}

void keep(Q7Object *&field, Q7Object *obj) {
  if (obj) q7fuzz::send(obj, Q7M_ADDREF);
  if (Q7Object *old = std::exchange(field, obj)) q7fuzz::send(old, Q7M_RELEASE);
}

template <class T>
bool copy(bool set, T &mine, uint64_t theirs) {
  auto *place = reinterpret_cast<T *>(theirs);
  std::memcpy(set ? &mine : place, set ? place : &mine, sizeof(T));
  return true;
}

bool item(Data &d, bool set, const Q7TagItem &item) {
  switch (item.tag) {
    case kCount:
      if (set) d.count = static_cast<int32_t>(item.data);
      return set || copy(false, d.count, item.data);
    case kColor: return copy(set, d.color, item.data);
    case kPlace: return copy(set, d.place, item.data);
    case kText:
      if (set) std::snprintf(d.text, sizeof d.text, "%s", reinterpret_cast<const char *>(item.data));
      if (!set) *reinterpret_cast<const char **>(item.data) = d.text;
      return true;
    case kMembers: *reinterpret_cast<Q7List **>(item.data) = &d.members; return true;
    case kLink:
      if (set) d.link = reinterpret_cast<Q7Object *>(item.data);
      return set || copy(false, d.link, item.data);
    case kKept:
      if (set) keep(d.kept, reinterpret_cast<Q7Object *>(item.data));
      return set || copy(false, d.kept, item.data);
    default: return false;
  }
}

void dispose_members(Data &d) {
  while (d.members.head->succ) {
    auto *member = reinterpret_cast<Q7Object *>(d.members.head);
    q7fuzz::send(member, Q7M_REMOVE);
    if (member->refcount <= 0) q7fuzz::send(member, Q7M_DISPOSE);
  }
  keep(d.kept, nullptr);
}

uint64_t dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  switch (method) {
    case Q7M_NEW: {
      auto *made = reinterpret_cast<Q7Object *>(inherit(cl, obj, method, a, b, tags));
      if (made) Q7NewList(&data(made).members);
      return q7fuzz::arg(made);
    }
    case Q7M_DISPOSE:
      // A member that keeps its owner gives the last reference back while the owner is being disposed of.
      if (std::exchange(data(obj).disposing, true)) return 0;
      dispose_members(data(obj));
      return inherit(cl, obj, method, a, b, tags);
    case Q7M_COPY: return 0;
    case Q7M_SET:
    case Q7M_GET: {
      uint64_t unknown = 0;
      for (Q7TagItem *each = tags; each && each->tag; ++each) {
        if (item(data(obj), method == Q7M_SET, *each)) continue;
        Q7TagItem single[2] = {*each, {Q7TAG_END, 0}};
        if (inherit(cl, obj, method, 0, 0, single)) unknown = q7fuzz::arg(each);
      }
      return unknown;
    }
    case Q7M_COLLECT_TABLES: {
      auto *node = static_cast<Q7AttributeTableNode *>(Q7AllocMem(sizeof(Q7AttributeTableNode), Q7MEM_CLEAR));
      if (!node) return 0;
      node->table = rows;
      Q7AddTail(reinterpret_cast<Q7List *>(tags), &node->node);
      return inherit(cl, obj, method, a, b, tags);
    }
    default: return inherit(cl, obj, method, a, b, tags);
  }
}

uint64_t quiet(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  return method >= (kClass + 1) * 1000 ? 1 : inherit(cl, obj, method, a, b, tags);
}

// ---- Statements; $a and $b are variables, $n a number ----

const char *const kStatements[] = {
    "$a = q7.create('thing', {Name = 'n$n'})",
    "$a = q7.root()",
    "$a = $b",
    "$a = nil collectgarbage()",
    "$a:delete()",
    "$a.Link = $b",
    "$a.Kept = $b",
    "$a.Link = nil $b.Kept = nil",
    "$a = $b.Link",
    "$a = $b.Kept",
    "$a.Members:add($b)",
    "$a = $b.Members[$n]",
    "$a = $b.Members['n$n']",
    "$a = $b['n$n']",
    "for m in pairs($a.Members) do local x = m.Count end",
    "for m in pairs($a.Members) do m:delete() end",
    "$a = $b:next()",
    "$a = $b:previous()",
    "$a = $b:parent()",
    "$a.Count = $n local x = $b.Count",
    "$a = $b.Color",
    "$a.r = $n",
    "$a.Color.g = $n",
    "$a.Place = $b.Color",
    "$a.Text = $b.Text",
    "$a.Name = 'n$n'",
    "$a:retain()",
    "$a:release()",
    "$a = q7.create('q7model')",
    "$a = $b:listen(function() $b:delete() end, {direct = true})",
    "$a = $b:listen(function(c) $a:unlisten($a) $b.Count = c end, {direct = $n % 2 == 0})",
    "$a:unlisten($b)",
    "$a:send(6002, {{100 + $n, $n}})",
    "$a:send(6003) $a:send(6002, {{100, 1}}) $a:send(6004)",
    "q7.idle(function() $a:delete() end)",
    "q7.idle(function() $a = $b.Link end)",
    "setmetatable({}, {__gc = function() $a:delete() end})",
    "setmetatable({}, {__gc = function() $a = $b.Members[1] end})",
    "$a = q7.get('n$n.Link.Color.r')",
    "$a:set('Members.n$n.Color', '1 2 3')",
    "$a:set('Link.Kept', $b)",
    "$a = $b:attributes()",
    "local t <close> = q7.create('thing') t.Kept = $a $b.Link = t",
    "coroutine.wrap(function() $a:send(6002, {{$n + 6, 1}}) $b:delete() end)()",
    "local x = tostring($a) .. tostring($b) .. tostring($a == $b)",
    "local x = $a * $b + $a - $b / $n",
    "local x = #$a == #$b and -$a",
    "q7.list('n$n') q7.describe('n$n.Link')",
};
constexpr size_t kCountOfStatements = sizeof kStatements / sizeof kStatements[0];

std::string statement(const uint8_t *bytes) {
  std::string text = "pcall(function() ";
  for (const char *p = kStatements[bytes[0] % kCountOfStatements]; *p; ++p) {
    if (*p != '$') {
      text += *p;
    } else if (*++p == 'n') {
      text += std::to_string(bytes[3] % 8);
    } else {
      text += std::string("v") + std::to_string(bytes[*p == 'a' ? 1 : 2] % 5);
    }
  }
  return text + " end)\n";
}

void start() {
  q7fuzz::start();
  if (Q7ClassFind(kClass)) return;
  if (!Q7LibraryRegister(Q7ApplicationContext) || !Q7RegisterModelClass(Q7ApplicationContext)) std::abort();
  Q7ClassCreate(Q7C_ROOT, kClass, dispatch, sizeof(Data), Q7CT_NAME, q7fuzz::arg("thing"), 0);
  Q7ClassCreate(Q7C_ROOT, kClass + 1, quiet, 0, Q7CT_NAME, q7fuzz::arg("quiet"), 0);
}

// What scripts have forgotten is found by its class and given back, so that nothing adds up from input to input.
constexpr uint64_t kMemory = 8 << 20;
constexpr uint64_t kSteps = 200000;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
  start();
  if (size > 1024) return 0;
  Q7Object *root = Q7ObjectCreate(kClass, Q7A_NAME, q7fuzz::arg("root"), 0);
  Q7Object *output = Q7ObjectCreate(kClass + 1, 0);
  q7fuzz::send(root, Q7M_ADDREF);
  q7fuzz::send(output, Q7M_ADDREF);
  Q7Object *lua = Q7ObjectCreate(Q7C_LUA, Q7A_PRGLNG_ROOT, q7fuzz::arg(root), Q7A_PRGLNG_OUTPUT, q7fuzz::arg(output),
                                 Q7A_PRGLNG_OUTPUT_METHOD, uint64_t{(kClass + 1) * 1000}, Q7A_PRGLNG_ERROR,
                                 q7fuzz::arg(output), Q7A_PRGLNG_ERROR_METHOD, uint64_t{(kClass + 1) * 1000 + 1},
                                 Q7A_LUA_MEMORY_LIMIT, kMemory, Q7A_LUA_STEP_LIMIT, kSteps, 0);
  // Everything that a script makes is listed, so that it can be deleted in the end.
  const char prelude[] =
      "local create, all = q7.create, {} "
      "q7.create = function(...) local o = create(...) all[#all + 1] = o return o end "
      "function finish() for i = 0, 5 do _G['v' .. i] = nil end collectgarbage() "
      "for _ = 1, 50 do for _, o in ipairs(all) do pcall(function() o.Kept = nil o.Link = nil end) "
      "pcall(function() o:delete() end) end end end "
      "io = nil dofile = nil loadfile = nil require = nil";
  q7fuzz::send(lua, Q7M_LUA_RUN, 0, const_cast<char *>(prelude));
  const uint8_t *end = bytes + size;
  std::string script;
  for (; end - bytes >= 4 && *bytes; bytes += 4) script += statement(bytes);
  q7fuzz::send(lua, Q7M_LUA_RUN, 0, script.data());
  Q7AppDoIdle(Q7ApplicationContext);
  if (bytes < end && !*bytes) {
    std::string text(bytes + 1, end);
    q7fuzz::send(lua, Q7M_LUA_EVALUATE, 0, text.data());
  }
  Q7AppDoIdle(Q7ApplicationContext);
  char finish[] = "finish()";
  q7fuzz::send(lua, Q7M_LUA_RUN, 0, finish);
  q7fuzz::send(lua, Q7M_DISPOSE);
  while (Q7AppFlushIdle(Q7ApplicationContext)) {
  }
  q7fuzz::send(root, Q7M_RELEASE);
  q7fuzz::send(output, Q7M_RELEASE);
  return 0;
}
