// bridge: receivers, the objects that stand for functions of a script where the library wants an object: as a dependent
// of a model, which tells it of changes, and as the target of idle messages. A receiver holds the number of its
// function in the state and knows the state only for as long as that is there, so a message that comes later finds
// nothing to do.
//
// Receivers are counted like all dependents: a model holds its listener, a queue holds the runner; the last one to let
// go disposes of it, on whatever thread that is. Functions are only touched on the main thread.
#include <pthread.h>

#include "app/q7idle.h"
#include "core/q7memory.h"
#include "core/q7objects.h"
#include "core/q7watch.h"
#include "platform/q7platform.h"
#include "plugins/lua/lua.hpp"

namespace q7lua {

namespace {

constexpr uint32_t kModelClass = 6;
constexpr uint32_t kModelAdd = 6000;      // a: flags; b: aspect; slot: dependent
constexpr uint32_t kModelRemove = 6001;   // slot: dependent
constexpr uint64_t kDirect = 1;           // flag of 6000
constexpr uint32_t kRunMethod = 4261000;  // slot: number of the function

// Instance data.
struct Receiver {
  State *state;         // null once it is closed
  Q7Object *following;  // of the same state
  Q7Object *model;      // that it listens to, watched; null
  int function;         // in the state's registry; LUA_NOREF for a runner
  bool direct;
};

const char kReceiverName[] = "q7luareceiver";
Q7Class *receiver_class;

// Guards the chains of receivers, which change where the last reference is given back.
pthread_mutex_t chains = PTHREAD_MUTEX_INITIALIZER;

Receiver *receiver(Q7Object *obj) {
  return obj && obj->cl == receiver_class ? &data<Receiver>(receiver_class, obj) : nullptr;
}

void model_gone(Q7Object *, uint64_t object) { receiver(pointer<Q7Object *>(object))->model = nullptr; }

void leave_chain(Q7Object *obj, Receiver &r) {
  pthread_mutex_lock(&chains);
  if (r.state) {
    Q7Object **link = &r.state->first;
    while (*link && *link != obj) link = &data<Receiver>(receiver_class, *link).following;
    if (*link) *link = r.following;
  }
  pthread_mutex_unlock(&chains);
}

uint64_t dispose(Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto &r = data<Receiver>(cl, obj);
  if (r.model) Q7ObjectUnwatch(r.model, model_gone, arg(obj));
  leave_chain(obj, r);
  // Elsewhere the function stays in the registry until the state is closed.
  if (r.state && Q7IsMainThread()) luaL_unref(r.state->main, LUA_REGISTRYINDEX, r.function);
  r.state = nullptr;
  return inherit(cl, obj, Q7M_DISPOSE, a, b, tags);
}

// ---- Running functions; each of these is a protected call ----

struct Notice {
  int function;
  int32_t change, value, aspect;
};

int run_notice(lua_State *L) {
  const auto notice = *static_cast<const Notice *>(lua_touserdata(L, 1));
  lua_rawgeti(L, LUA_REGISTRYINDEX, notice.function);
  lua_pushinteger(L, notice.change);
  lua_pushinteger(L, notice.value);
  lua_pushinteger(L, notice.aspect);
  lua_call(L, 3, 0);
  return 0;
}

int run_idle(lua_State *L) {
  const int function = *static_cast<const int *>(lua_touserdata(L, 1));
  lua_rawgeti(L, LUA_REGISTRYINDEX, function);
  luaL_unref(L, LUA_REGISTRYINDEX, function);
  lua_call(L, 0, 0);
  return 0;
}

// Method 8. Functions run on the main thread alone; elsewhere the notice is passed on to it.
uint64_t take_notice(Q7Object *obj, const Receiver &r, uint64_t value, uint64_t aspect, Q7TagItem *change) {
  if (!Q7IsMainThread()) {
    Q7AppDoMsgA3WhenIdle(Q7ApplicationContext, obj, Q7M_NOTICE, value, aspect, arg(change));
    return 1;
  }
  if (!r.state || r.function == LUA_NOREF) return 0;
  Notice notice = {r.function, static_cast<int32_t>(arg(change)), static_cast<int32_t>(value),
                   static_cast<int32_t>(aspect)};
  return static_cast<uint64_t>(state_call(r.state, run_notice, &notice));
}

uint64_t run(const Receiver &r, Q7TagItem *number) {
  int function = static_cast<int>(arg(number));
  return r.state && r.function == LUA_NOREF && Q7IsMainThread()
             ? static_cast<uint64_t>(state_call(r.state, run_idle, &function))
             : 0;
}

uint64_t create(Q7Class *cl, Q7Object *obj, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto *made = pointer<Q7Object *>(inherit(cl, obj, Q7M_NEW, a, b, tags));
  if (made) data<Receiver>(cl, made).function = LUA_NOREF;
  return arg(made);
}

uint64_t dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (&obj->cl->header == obj) {
    return method == Q7M_NEW ? create(cl, obj, a, b, tags) : inherit(cl, obj, method, a, b, tags);
  }
  switch (method) {
    case Q7M_DISPOSE: return dispose(cl, obj, a, b, tags);
    case Q7M_COPY: return 0;
    case Q7M_NOTICE: return take_notice(obj, data<Receiver>(cl, obj), a, b, tags);
    case kRunMethod: return run(data<Receiver>(cl, obj), tags);
    default: return inherit(cl, obj, method, a, b, tags);
  }
}

// A receiver of the state, with one reference; null without memory. Calls nothing of Lua.
Q7Object *make_receiver(State *state) {
  Q7Object *obj = Q7ObjectCreate(Q7C_LUA_RECEIVER, 0);
  if (!obj) return nullptr;
  auto &r = data<Receiver>(receiver_class, obj);
  pthread_mutex_lock(&chains);
  r.state = state;
  r.following = state->first;
  state->first = obj;
  pthread_mutex_unlock(&chains);
  send(obj, Q7M_ADDREF);
  return obj;
}

// Takes the first receiver out of a state's chain, with a reference that keeps it for the moment.
Q7Object *take_first(State *state) {
  pthread_mutex_lock(&chains);
  Q7Object *obj = state->first;
  if (obj) {
    auto &r = data<Receiver>(receiver_class, obj);
    state->first = r.following;
    r.state = nullptr;
    send(obj, Q7M_ADDREF);
  }
  pthread_mutex_unlock(&chains);
  return obj;
}

}  // namespace

// q7.idle(function): runs it in the application's next idle round.
int idle(lua_State *L) {
  luaL_checktype(L, 1, LUA_TFUNCTION);
  lua_settop(L, 1);
  State *state = state_of(L);
  const int function = luaL_ref(L, LUA_REGISTRYINDEX);
  Call call;
  call_begin(L, call);
  if (!state->runner && !state->closing) state->runner = make_receiver(state);
  Q7Object *runner = state->runner;
  bool queued = false;
  if (runner) {
    send(runner, Q7M_ADDREF);
    // A message that is stored holds a reference; without an application it has run by now, and is no longer there.
    const int32_t before = __atomic_load_n(&runner->refcount, __ATOMIC_RELAXED);
    const Q7App *app = Q7ApplicationContext;
    const bool at_once = !app || !app->idle;
    Q7AppDoMsgAWhenIdle(Q7ApplicationContext, runner, kRunMethod, slot(function));
    queued = at_once || __atomic_load_n(&runner->refcount, __ATOMIC_RELAXED) > before;
    send(runner, Q7M_RELEASE);
  }
  call_end(call);
  if (queued) return 0;
  luaL_unref(L, LUA_REGISTRYINDEX, function);
  return luaL_error(L, "not enough memory for idle work");
}

// model:listen(function, options): the function is called with (change, value, aspect). Options: direct, to be told at
// once instead of through the idle queue; aspect, a number that is handed back.
int listen(lua_State *L) {
  lua_settop(L, 3);
  check_object(L, 1);
  luaL_checktype(L, 2, LUA_TFUNCTION);
  bool direct = false;
  lua_Integer aspect = 0;
  if (!lua_isnil(L, 3)) {
    luaL_checktype(L, 3, LUA_TTABLE);
    lua_getfield(L, 3, "direct");
    direct = lua_toboolean(L, -1) != 0;
    lua_getfield(L, 3, "aspect");
    aspect = luaL_optinteger(L, -1, 0);
  }
  if (!Q7ObjectIsOfKind(check_object(L, 1), kModelClass)) {
    return luaL_error(L, "%s is no model", push_title(L, check_object(L, 1)));
  }
  reserve_handle(L);
  lua_pushvalue(L, 2);
  const int function = luaL_ref(L, LUA_REGISTRYINDEX);
  State *state = state_of(L);
  const Handle *handle = test<Handle>(L, 1);
  Q7Object *obj = nullptr;
  Call call;
  call_begin(L, call);
  if (handle->object && !state->closing) obj = make_receiver(state);
  if (obj) {
    auto &r = data<Receiver>(receiver_class, obj);
    r.function = function;
    if (Q7ObjectWatch(handle->object, model_gone, arg(obj))) {
      r.model = handle->object;
      send(r.model, kModelAdd, direct ? kDirect : 0, static_cast<uint64_t>(aspect), slot(obj));
    }
    // If the model could not take it, this was the last reference.
    if (!send(obj, Q7M_RELEASE)) obj = nullptr;
  } else {
    luaL_unref(state->main, LUA_REGISTRYINDEX, function);
  }
  call_end(call);
  call_check(L, call);
  if (!obj) return luaL_error(L, "not enough memory for a listener");
  push_object(L, obj);
  return 1;
}

// model:unlisten(listener): true if it was one of the model's.
int unlisten(lua_State *L) {
  check_object(L, 1);
  const Handle *handle = test<Handle>(L, 2);
  Q7Object *model = check_object(L, 1);
  bool removed = false;
  Call call;
  call_begin(L, call);
  const Receiver *r = handle ? receiver(handle->object) : nullptr;
  if (r && r->model == model) removed = send(model, kModelRemove, 0, 0, slot(handle->object)) != 0;
  call_end(call);
  call_check(L, call);
  lua_pushboolean(L, removed);
  return 1;
}

void drop_receivers(State *state) {
  while (Q7Object *obj = take_first(state)) {
    auto &r = data<Receiver>(receiver_class, obj);
    if (r.model) send(r.model, kModelRemove, 0, 0, slot(obj));
    if (obj == state->runner) {
      state->runner = nullptr;
      send(obj, Q7M_RELEASE);
    }
    send(obj, Q7M_RELEASE);
  }
}

int32_t register_receiver_class() {
  receiver_class =
      Q7ClassCreate(Q7C_ROOT, Q7C_LUA_RECEIVER, dispatch, sizeof(Receiver), Q7CT_NAME, arg(kReceiverName), Q7CT_MODULE,
                    arg("q7lua"), Q7CT_ORGANISATION, arg("Karmonic"), Q7CT_VERSION, uint64_t{1}, 0);
  return receiver_class != nullptr;
}

}  // namespace q7lua
