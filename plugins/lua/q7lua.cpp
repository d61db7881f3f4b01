// q7lua: the class of the language Lua and the entry of its plug-in library. An object owns a Lua state, made when it
// is needed first; the limits are kept here so that a state that is made anew gets them too.
#include "plugins/lua/q7lua.h"

#include <cstdio>
#include <cstring>
#include <utility>

#include "core/q7memory.h"
#include "core/q7objects.h"
#include "core/q7report.h"
#include "platform/q7platform.h"
#include "plugins/lua/libraries.hpp"
#include "plugins/lua/lua.hpp"

namespace {

using namespace q7lua;

constexpr char kModule[] = "q7lua";
constexpr uint64_t kDefaultMemory = 256ull << 20;
constexpr size_t kNameSize = 512;

// Instance data.
struct Lua {
  State *state;           // owned; null until a script runs
  uint64_t memory_limit;  // Q7A_LUA_MEMORY_LIMIT
  uint64_t step_limit;    // Q7A_LUA_STEP_LIMIT
};

// What a protected call is to run.
struct Job {
  const char *name;
  const char *text;
};

State *q7lu_state(Lua &lua, Q7Object *self) {
  if (!lua.state) {
    lua.state = state_open(self, lua.memory_limit, lua.step_limit);
    if (!lua.state) tell(self, Q7M_PRGLNG_ERROR, "not enough memory");
  }
  return lua.state;
}

// ---- Jobs ----

void q7lu_load(lua_State *L, const char *text, const char *name) {
  if (luaL_loadbufferx(L, text, std::strlen(text), name, "t") != LUA_OK) lua_error(L);
}

int q7lu_file_job(lua_State *L) {
  const auto job = *static_cast<const Job *>(lua_touserdata(L, 1));
  load_file(L, job.name);
  lua_call(L, 0, 0);
  return 0;
}

int q7lu_text_job(lua_State *L) {
  const auto job = *static_cast<const Job *>(lua_touserdata(L, 1));
  q7lu_load(L, job.text, job.name);
  lua_call(L, 0, 0);
  return 0;
}

// An expression is a text that is a script with "return" in front of it.
int q7lu_evaluate_job(lua_State *L) {
  const auto job = *static_cast<const Job *>(lua_touserdata(L, 1));
  lua_settop(L, 0);
  lua_pushfstring(L, "return %s", job.text);
  const char *expression = lua_tostring(L, 1);
  if (luaL_loadbufferx(L, expression, std::strlen(expression), job.name, "t") != LUA_OK) {
    lua_settop(L, 0);
    q7lu_load(L, job.text, job.name);
  } else {
    lua_remove(L, 1);
  }
  lua_call(L, 0, LUA_MULTRET);
  const int count = lua_gettop(L);
  if (count == 0) return 0;
  luaL_checkstack(L, LUA_MINSTACK, "too many results");
  lua_getglobal(L, "print");
  lua_insert(L, 1);
  lua_call(L, count, 0);
  return 0;
}

// As Lua's own shell finds out: what is missing is the end.
int q7lu_incomplete_job(lua_State *L) {
  auto *job = static_cast<Job *>(lua_touserdata(L, 1));
  const char *text = job->text;
  job->name = nullptr;
  lua_pushfstring(L, "return %s", text);
  const char *expression = lua_tostring(L, -1);
  if (luaL_loadbufferx(L, expression, std::strlen(expression), "=", "t") == LUA_OK) return 0;
  if (luaL_loadbufferx(L, text, std::strlen(text), "=", "t") != LUA_ERRSYNTAX) return 0;
  constexpr char kEnd[] = "<eof>";
  size_t length = 0;
  const char *message = lua_tolstring(L, -1, &length);
  if (length >= sizeof kEnd - 1 && std::strcmp(message + length - (sizeof kEnd - 1), kEnd) == 0) job->name = text;
  return 0;
}

// ---- Methods ----

uint64_t q7lu_run_file(Lua &lua, Q7Object *self, const char *path) {
  State *state = q7lu_state(lua, self);
  if (!state) return 0;
  char name[kNameSize] = "";
  if (path && std::strlen(path) < sizeof name) Q7FileNameToNative(name, path);
  if (!*name) {
    tell(self, Q7M_PRGLNG_ERROR, path && *path ? "the file name is too long" : "no file name");
    return 0;
  }
  const char *slash = std::strrchr(name, '/');
  Job job = {name, nullptr};
  const uint64_t folder_length = slash ? static_cast<uint64_t>(slash + 1 - name) : 0;
  return static_cast<uint64_t>(state_call(state, q7lu_file_job, &job, name, folder_length));
}

uint64_t q7lu_run_text(Lua &lua, Q7Object *self, lua_CFunction function, const char *name, const char *text) {
  State *state = text ? q7lu_state(lua, self) : nullptr;
  Job job = {name ? name : "=script", text};
  return state ? static_cast<uint64_t>(state_call(state, function, &job)) : 0;
}

uint64_t q7lu_incomplete(Lua &lua, Q7Object *self, const char *text) {
  State *state = text ? q7lu_state(lua, self) : nullptr;
  Job job = {nullptr, text};
  return state && state_call(state, q7lu_incomplete_job, &job) && job.name;
}

uint64_t q7lu_reset(Lua &lua) {
  if (!lua.state) return 1;
  if (lua.state->depth > 0) return 0;
  state_close(std::exchange(lua.state, nullptr));
  return 1;
}

uint64_t q7lu_interrupt(const Lua &lua) {
  if (!lua.state || lua.state->depth == 0) return 0;
  state_interrupt(lua.state);
  return 1;
}

// ---- The class ----

bool q7lu_set(Lua &lua, const Q7TagItem &item) {
  switch (item.tag) {
    case Q7A_LUA_MEMORY_LIMIT:
      lua.memory_limit = item.data;
      if (lua.state) lua.state->limit = item.data;
      return true;
    case Q7A_LUA_STEP_LIMIT:
      lua.step_limit = item.data;
      if (lua.state) {
        lua.state->step_limit = item.data;
        state_limit_steps(lua.state);
      }
      return true;
    default: return false;
  }
}

bool q7lu_get(const Lua &lua, const Q7TagItem &item) {
  uint64_t value = 0;
  switch (item.tag) {
    case Q7A_LUA_MEMORY_LIMIT: value = lua.memory_limit; break;
    case Q7A_LUA_MEMORY_USED: value = lua.state ? lua.state->used : 0; break;
    case Q7A_LUA_STEP_LIMIT: value = lua.step_limit; break;
    default: return false;
  }
  if (item.data) std::memcpy(pointer<void *>(item.data), &value, sizeof value);
  return true;
}

uint64_t q7lu_walk(Q7Class *cl, Q7Object *obj, uint32_t method, Q7TagItem *tags) {
  auto &lua = data<Lua>(cl, obj);
  uint64_t unknown = 0;
  Q7TagItem *state[2] = {tags, nullptr};
  while (Q7TagItem *item = Q7TagNext(state)) {
    if (method == Q7M_SET ? q7lu_set(lua, *item) : q7lu_get(lua, *item)) continue;
    Q7TagItem single[2] = {*item, {Q7TAG_END, 0}};
    if (inherit(cl, obj, method, 0, 0, single)) unknown = arg(item);
  }
  return unknown;
}

uint64_t q7lu_create(Q7Class *cl, Q7Object *receiver, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto *obj = pointer<Q7Object *>(inherit(cl, receiver, Q7M_NEW, a, b, tags));
  if (!obj) return 0;
  auto &lua = data<Lua>(cl, obj);
  lua.memory_limit = kDefaultMemory;
  Q7TagItem *state[2] = {tags, nullptr};
  while (const Q7TagItem *item = Q7TagNext(state)) q7lu_set(lua, *item);
  return arg(obj);
}

uint64_t q7lu_dispose(Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto &lua = data<Lua>(cl, obj);
  if (lua.state) state_close(std::exchange(lua.state, nullptr));
  return inherit(cl, obj, Q7M_DISPOSE, a, b, tags);
}

// The copy is a shell at the same place; it has no state yet.
uint64_t q7lu_copy(Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto *copy = pointer<Q7Object *>(inherit(cl, obj, Q7M_COPY, a, b, tags));
  if (copy) data<Lua>(cl, copy).state = nullptr;
  return arg(copy);
}

uint64_t q7lu_class_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  switch (method) {
    case Q7M_NEW: return q7lu_create(cl, obj, a, b, tags);
    case Q7M_CLASS_FREE: forget_links(); return inherit(cl, obj, method, a, b, tags);
    case Q7M_PRGLNG_LOAD:
    case Q7M_LUA_RUN:
    case Q7M_LUA_EVALUATE:
    case Q7M_LUA_RESET:
    case Q7M_LUA_INTERRUPT:
    case Q7M_LUA_INCOMPLETE: return 0;
    default: return inherit(cl, obj, method, a, b, tags);
  }
}

uint64_t q7lu_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (!obj) return 0;
  if (&obj->cl->header == obj) return q7lu_class_dispatch(cl, obj, method, a, b, tags);
  auto &lua = data<Lua>(cl, obj);
  auto *name = pointer<const char *>(a);
  auto *text = reinterpret_cast<const char *>(tags);
  switch (method) {
    case Q7M_DISPOSE: return q7lu_dispose(cl, obj, a, b, tags);
    case Q7M_SET:
    case Q7M_GET: return q7lu_walk(cl, obj, method, tags);
    case Q7M_COPY: return q7lu_copy(cl, obj, a, b, tags);
    case Q7M_PRGLNG_LOAD: return q7lu_run_file(lua, obj, text);
    case Q7M_LUA_RUN: return q7lu_run_text(lua, obj, q7lu_text_job, name, text);
    case Q7M_LUA_EVALUATE: return q7lu_run_text(lua, obj, q7lu_evaluate_job, name, text);
    case Q7M_LUA_RESET: return q7lu_reset(lua);
    case Q7M_LUA_INTERRUPT: return q7lu_interrupt(lua);
    case Q7M_LUA_INCOMPLETE: return q7lu_incomplete(lua, obj, text);
    default: return inherit(cl, obj, method, a, b, tags);
  }
}

}  // namespace

// What Q7LibraryOpen calls.
extern "C" Q7_API int32_t Q7LibraryRegister(Q7App *app) {
  if (!Q7RegisterPrgLngClass(app) || !register_receiver_class()) return 0;
  const Q7Class *cl = Q7ClassCreate(Q7C_PRGLNG, Q7C_LUA, q7lu_dispatch, sizeof(Lua), Q7CT_NAME, arg("q7lua"),
                                    Q7CT_DESCRIPTION, arg("Programming Language"), Q7CT_MODULE, arg(kModule),
                                    Q7CT_ORGANISATION, arg("Karmonic"), Q7CT_VERSION, uint64_t{1}, 0);
  return cl && Q7RegisterLanguage(nullptr, Q7C_LUA, "Lua", "lua");
}
