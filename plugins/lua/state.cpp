// state: one Lua state with its limits: memory through the allocator, instructions through a hook, recursion by Lua
// itself. Everything that runs in it runs in state_call, so no error leaves the state but as a text.
#include <cstring>
#include <initializer_list>

#include "core/q7context.h"
#include "core/q7memory.h"
#include "core/q7objects.h"
#include "platform/q7platform.h"
#include "plugins/lua/libraries.hpp"
#include "plugins/lua/lua.hpp"

namespace q7lua {

namespace {

constexpr int kStepsAtOnce = 1000;  // instructions between two looks at the limit
constexpr int kMaxDepth = 40;       // scripts that call the library that calls scripts

Call *current;  // the innermost call of a script into the library

void *allocate(void *context, void *block, size_t old_size, size_t new_size) {
  auto *state = static_cast<State *>(context);
  if (!block) old_size = 0;  // says of what kind the block will be
  if (new_size == 0) {
    Q7FreeMem(block, old_size);
    state->used -= old_size;
    return nullptr;
  }
  if (new_size > old_size && state->used + (new_size - old_size) > state->limit) return nullptr;
  void *result = block ? Q7ReAllocMem(block, old_size, new_size, 0) : Q7AllocSilent(new_size, 0);
  // Lua counts on blocks that become smaller; the old one serves as well.
  if (!result && new_size <= old_size) result = block;
  if (result) state->used += new_size - old_size;
  return result;
}

void warn(void *context, const char *text, int continued) {
  auto *state = static_cast<State *>(context);
  // Lua speaks of what finalizers do wrong in several pieces; the first says what this is about.
  if (!continued || *text != '@') tell(state->language, Q7M_PRGLNG_ERROR, text);
}

// An error where the script stands; a hook is no level of its own.
void fail_here(lua_State *L, const char *text) {
  luaL_where(L, 0);
  lua_pushstring(L, text);
  lua_concat(L, 2);
  lua_error(L);
}

void step_hook(lua_State *L, lua_Debug *) {
  State *state = state_of(L);
  state->steps += state->stopped ? 1 : kStepsAtOnce;
  if (!state->stopped && state->steps < state->step_limit) return;
  // From here on every instruction fails, so that a script that catches errors ends too.
  state->stopped = true;
  lua_sethook(L, step_hook, LUA_MASKCOUNT, 1);
  fail_here(L, lua_pushfstring(L, "stopped after %I steps", static_cast<Whole>(state->step_limit)));
}

void interrupt_hook(lua_State *L, lua_Debug *) {
  state_limit_steps(state_of(L));
  fail_here(L, "interrupted");
}

void gone_hook(lua_State *L, lua_Debug *) { fail_here(L, "the language object is gone"); }

void hook_every_step(State *state, lua_Hook hook) {
  constexpr int kEverything = LUA_MASKCALL | LUA_MASKRET | LUA_MASKLINE | LUA_MASKCOUNT;
  lua_sethook(state->main, hook, kEverything, 1);
  if (state->running != state->main) lua_sethook(state->running, hook, kEverything, 1);
}

void finish(State *state) {
  state->closing = true;
  drop_receivers(state);
  lua_close(state->main);
  Q7FreeMem(state, sizeof(State));
}

int open_libraries_protected(lua_State *L) {
  open_libraries(L);
  return 0;
}

// What an uncaught error says, with where it happened.
int describe(lua_State *L) {
  const char *text = lua_tostring(L, 1);
  if (!text) {
    if (luaL_callmeta(L, 1, "__tostring") && lua_type(L, -1) == LUA_TSTRING) {
      text = lua_tostring(L, -1);
    } else {
      text = lua_pushfstring(L, "(error object is a %s value)", luaL_typename(L, 1));
    }
  }
  luaL_traceback(L, L, text, 1);
  return 1;
}

Q7Handler first_handler(const Call *call) {
  while (call->outer) call = call->outer;
  return call->handler;
}

int capture(const char *module, int line, const char *text, ...) {
  if (!current) return 0;
  // What another thread says meanwhile is none of the script's business.
  if (!Q7IsMainThread()) {
    const Q7Handler handler = first_handler(current);
    if (handler) handler(module, line, text, current->data);
    return 0;
  }
  // The first report names the cause.
  if (current->reported) return 0;
  current->reported = true;
  std::strncpy(current->text, text, sizeof current->text - 1);
  current->text[sizeof current->text - 1] = 0;
  return 0;
}

uint64_t send_format(Q7Object *receiver, uint32_t method, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const uint64_t result = send(receiver, method, arg(format), 0, slot(&arguments));
  va_end(arguments);
  return result;
}

}  // namespace

void tell(Q7Object *language, uint32_t method, const char *text) {
  if (!language) return;
  // Its own words are no report of a call that a script has made.
  Q7App *app = Q7ApplicationContext;
  Call *call = current;
  const bool captured = app && call && app->error_handler == capture;
  if (captured) app->error_handler = first_handler(call);
  current = nullptr;
  send_format(language, method, "%s", text);
  current = call;
  if (captured && Q7ApplicationContext == app) app->error_handler = capture;
}

State *state_open(Q7Object *language, uint64_t memory_limit, uint64_t step_limit) {
  auto *state = static_cast<State *>(Q7AllocSilent(sizeof(State), Q7MEM_CLEAR));
  if (!state) return nullptr;
  state->language = language;
  state->limit = memory_limit;
  state->step_limit = step_limit;
  state->main = state->running = lua_newstate(allocate, state);
  if (!state->main) {
    Q7FreeMem(state, sizeof(State));
    return nullptr;
  }
  *static_cast<State **>(lua_getextraspace(state->main)) = state;
  lua_setwarnf(state->main, warn, state);
  lua_pushcfunction(state->main, open_libraries_protected);
  if (lua_pcall(state->main, 0, 0, 0) != LUA_OK) {
    finish(state);
    return nullptr;
  }
  state_limit_steps(state);
  return state;
}

void state_close(State *state) {
  if (state->depth == 0) {
    finish(state);
    return;
  }
  state->language = nullptr;
  state->closing = true;
  hook_every_step(state, gone_hook);
}

void state_limit_steps(State *state) {
  for (lua_State *L : {state->main, state->running}) {
    lua_sethook(L, state->step_limit ? step_hook : nullptr, state->step_limit ? LUA_MASKCOUNT : 0, kStepsAtOnce);
  }
}

void state_interrupt(State *state) { hook_every_step(state, interrupt_hook); }

int32_t state_call(State *state, lua_CFunction function, void *data, const char *folder, uint64_t folder_length) {
  if (state->closing) return 0;
  lua_State *L = state->running;
  if (state->depth == kMaxDepth || !lua_checkstack(L, LUA_MINSTACK)) {
    tell(state->language, Q7M_PRGLNG_ERROR, "scripts call each other too deeply");
    return 0;
  }
  if (state->depth == 0) {
    state->steps = 0;
    state->stopped = false;
    state_limit_steps(state);
  }
  ++state->depth;
  const char *outer_folder = state->folder;
  const uint64_t outer_length = state->folder_length;
  if (folder) {
    state->folder = folder;
    state->folder_length = folder_length;
  }
  const int top = lua_gettop(L);
  lua_pushcfunction(L, describe);
  lua_pushcfunction(L, function);
  lua_pushlightuserdata(L, data);
  const int status = lua_pcall(L, 1, 0, top + 1);
  if (status != LUA_OK) {
    const char *text = lua_type(L, -1) == LUA_TSTRING ? lua_tostring(L, -1) : "error in the handling of an error";
    tell(state->language, Q7M_PRGLNG_ERROR, text);
  }
  lua_settop(L, top);
  state->folder = outer_folder;
  state->folder_length = outer_length;
  if (--state->depth == 0 && state->closing) finish(state);
  return status == LUA_OK;
}

void call_begin(lua_State *L, Call &call) {
  Q7App *app = Q7ApplicationContext;
  call.state = state_of(L);
  call.outer = current;
  call.previous = call.state->running;
  call.handler = app ? app->error_handler : nullptr;
  call.data = app ? app->error_data : 0;
  call.reported = false;
  call.state->running = L;
  current = &call;
  if (app) app->error_handler = capture;
}

void call_end(Call &call) {
  Q7App *app = Q7ApplicationContext;
  call.state->running = call.previous;
  current = call.outer;
  // Somebody may have installed another handler for good.
  if (app && app->error_handler == capture) app->error_handler = call.handler;
}

void call_check(lua_State *L, const Call &call) {
  if (call.reported) luaL_error(L, "%s", call.text);
}

void make_metatable(lua_State *L, const void *key, const char *name, const luaL_Reg *metamethods,
                    const luaL_Reg *methods, lua_CFunction index) {
  lua_newtable(L);
  luaL_setfuncs(L, metamethods, 0);
  lua_newtable(L);
  luaL_setfuncs(L, methods, 0);
  lua_pushcclosure(L, index, 1);
  lua_setfield(L, -2, "__index");
  lua_pushstring(L, name);
  lua_pushvalue(L, -1);
  lua_setfield(L, -3, "__name");
  lua_setfield(L, -2, "__metatable");
  lua_rawsetp(L, LUA_REGISTRYINDEX, key);
}

}  // namespace q7lua
