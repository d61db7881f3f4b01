// objects: handles, by which scripts hold objects without counting a reference. A handle watches its object and becomes
// empty when it goes, whoever disposes of it; every access looks first. The same object has the same handle for as long
// as the script keeps it.
#include <cstring>

#include "app/q7app.h"
#include "core/q7memory.h"
#include "core/q7objects.h"
#include "core/q7typeid.h"
#include "core/q7watch.h"
#include "plugins/lua/lua.hpp"

namespace q7lua {

namespace {

const char kHandleKey = 0;   // registry: metatable of handles
const char kHandlesKey = 0;  // registry: handles by address, weak
const char kSpareKey = 0;    // registry: a handle in reserve

constexpr uint32_t kWidgetClass = 41;
constexpr uint32_t kWidgetParent = 41500;
constexpr int kMaxTags = 64;
constexpr int kMaxTreeDepth = 200;

void handle_gone(Q7Object *, uint64_t data) {
  __atomic_store_n(&pointer<Handle *>(data)->object, nullptr, __ATOMIC_RELAXED);
}

Handle *check_handle(lua_State *L, int index) {
  auto *handle = test<Handle>(L, index);
  if (!handle) luaL_error(L, "an object expected, got %s", luaL_typename(L, index));
  return handle;
}

// Turns the handle in reserve into one for an object. Up to the watch nothing here runs a finalizer, and from then on a
// failure leaves a handle that will be collected.
void push_handle(lua_State *L, Q7Object *object, bool owned) {
  lua_rawgetp(L, LUA_REGISTRYINDEX, &kSpareKey);
  Handle *handle = test<Handle>(L, -1);
  if (!handle || !Q7ObjectWatch(object, handle_gone, arg(handle))) {
    if (owned) send(object, Q7M_DISPOSE);
    luaL_error(L, "not enough memory for a handle");
    return;
  }
  handle->object = object;
  handle->owned = owned;
  State *state = state_of(L);
  if (state->closing) {
    handle->next_late = state->late;
    state->late = handle;
  }
  lua_pushnil(L);
  lua_rawsetp(L, LUA_REGISTRYINDEX, &kSpareKey);
  lua_rawgetp(L, LUA_REGISTRYINDEX, &kHandlesKey);
  lua_pushvalue(L, -2);
  lua_rawsetp(L, -2, object);
  lua_pop(L, 1);
  push_rows(L, object);
  lua_setiuservalue(L, -2, 1);
}

// Gives a reference back. If it was the last one the object goes, out of the list in which it stands too.
void give_back(Q7Object *object) {
  if (object->refcount <= 1 && object->succ && object->pred) send(object, Q7M_REMOVE);
  send(object, Q7M_RELEASE);
}

// ---- Metamethods ----

int handle_collect(lua_State *L) {
  Handle *handle = test<Handle>(L, 1);
  if (!handle || !handle->object) return 0;
  Q7Object *object = handle->object;
  Q7ObjectUnwatch(object, handle_gone, arg(handle));
  handle->object = nullptr;
  Call call;
  call_begin(L, call);
  for (; handle->references > 0; --handle->references) give_back(object);
  if (handle->owned) send(object, Q7M_DISPOSE);
  call_end(call);
  return 0;
}

// Field of an object: an attribute, a method, or a member of its lists by name.
int handle_index(lua_State *L) {
  const Handle *handle = test<Handle>(L, 1);
  if (!handle || lua_type(L, 2) != LUA_TSTRING) return 0;
  lua_settop(L, 2);
  if (handle->object) {
    get_rows(L, 1);
    if (const Q7PublicAttribute *row = find_row(L, 3, 2)) return push_attribute(L, 1, *row);
  }
  lua_pushvalue(L, 2);
  if (lua_rawget(L, lua_upvalueindex(1)) != LUA_TNIL) return 1;
  check_object(L, 1);
  return push_member(L, 1, lua_tostring(L, 2)) ? 1 : 0;
}

int handle_newindex(lua_State *L) {
  check_object(L, 1);
  get_rows(L, 1);
  // Asking for the rows has run code of the object's class.
  Q7Object *object = check_object(L, 1);
  const Q7PublicAttribute *row = lua_type(L, 2) == LUA_TSTRING ? find_row(L, 4, 2) : nullptr;
  if (!row) {
    const char *title = push_title(L, object);
    return luaL_error(L, "%s has no attribute '%s'", title, luaL_tolstring(L, 2, nullptr));
  }
  set_attribute(L, 1, *row, 3);
  return 0;
}

int handle_tostring(lua_State *L) {
  const Handle *handle = check_handle(L, 1);
  if (handle->object) {
    push_title(L, handle->object);
  } else {
    lua_pushliteral(L, "a deleted object");
  }
  return 1;
}

// ---- Disposal and references ----

int object_alive(lua_State *L) {
  lua_pushboolean(L, check_handle(L, 1)->object != nullptr);
  return 1;
}

// object:delete(), and the end of a variable declared <close>. What references are counted on is somebody else's too.
int object_delete(lua_State *L) {
  Handle *handle = check_handle(L, 1);
  if (!handle->object || handle->deleting) return 0;
  const State *state = state_of(L);
  if (state->closing && handle->object == state->language) return luaL_error(L, "the language object is going already");
  const int32_t others = __atomic_load_n(&handle->object->refcount, __ATOMIC_RELAXED) - handle->references;
  if (others > 0) {
    const char *title = push_title(L, handle->object);
    return luaL_error(L, "%s is in use (%d references)", title, static_cast<int>(others));
  }
  handle->deleting = true;
  Call call;
  call_begin(L, call);
  while (handle->object && handle->references > 1) {
    --handle->references;
    send(handle->object, Q7M_RELEASE);
  }
  if (handle->object && handle->object->succ && handle->object->pred) send(handle->object, Q7M_REMOVE);
  if (handle->object) send(handle->object, handle->references > 0 ? Q7M_RELEASE : Q7M_DISPOSE);
  handle->references = 0;
  handle->deleting = false;
  call_end(call);
  call_check(L, call);
  return 0;
}

int object_retain(lua_State *L) {
  Q7Object *object = check_object(L, 1);
  Call call;
  call_begin(L, call);
  send(object, Q7M_ADDREF);
  call_end(call);
  ++test<Handle>(L, 1)->references;
  lua_settop(L, 1);
  return 1;
}

int object_release(lua_State *L) {
  Q7Object *object = check_object(L, 1);
  Handle *handle = test<Handle>(L, 1);
  if (handle->references == 0) return luaL_error(L, "the script holds no reference on %s", push_title(L, object));
  --handle->references;
  Call call;
  call_begin(L, call);
  give_back(object);
  call_end(call);
  call_check(L, call);
  return 0;
}

int object_copy(lua_State *L) {
  reserve_handle(L);
  Q7Object *object = check_object(L, 1);
  Call call;
  call_begin(L, call);
  auto *copy = pointer<Q7Object *>(send(object, Q7M_COPY));
  call_end(call);
  if (!copy) {
    call_check(L, call);
    return luaL_error(L, "%s cannot be copied", push_title(L, object));
  }
  push_new_object(L, copy);
  return 1;
}

// ---- The tree ----

Q7Object *sibling(Q7Object *object, uint32_t attribute) {
  Q7Object *found = nullptr;
  Q7TagItem get[2] = {{attribute, arg(&found)}, {Q7TAG_END, 0}};
  send(object, Q7M_GET, 0, 0, get);
  return found && found->succ && found->pred ? found : nullptr;
}

int push_sibling(lua_State *L, uint32_t attribute) {
  reserve_handle(L);
  Q7Object *object = check_object(L, 1);
  Call call;
  call_begin(L, call);
  Q7Object *found = sibling(object, attribute);
  call_end(call);
  call_check(L, call);
  push_object(L, found);
  return 1;
}

int object_next(lua_State *L) { return push_sibling(L, Q7A_NEXT); }
int object_previous(lua_State *L) { return push_sibling(L, Q7A_PREVIOUS); }

// The list in which an object stands, by its header's address.
const Q7List *list_of(const Q7Object *object) {
  if (!object->succ || !object->pred) return nullptr;
  const Q7Node *node = object->pred;
  while (node->pred) node = node->pred;
  return reinterpret_cast<const Q7List *>(node);
}

// What is looked for in the tree, and where it was found.
struct Search {
  const Q7List *wanted;
  Q7Object *owner;
  Place place;
};

// Looks at the lists of an object and of what stands in them. Calls nothing of Lua.
bool search(Q7Object *from, Search &found, int depth);

bool search_row(Q7Object *from, const Q7PublicAttribute &row, Search &found, int depth) {
  const Q7List *list = nullptr;
  Q7TagItem get[2] = {{row.tag, arg(&list)}, {Q7TAG_END, 0}};
  if (send(from, Q7M_GET, 0, 0, get) != 0 || !list) return false;
  if (list == found.wanted) {
    found.owner = from;
    found.place = {row.tag, row.type, row.flags, 0};
    return true;
  }
  for (Q7Node *node = list->head; node && node->succ; node = node->succ) {
    if (search(reinterpret_cast<Q7Object *>(node), found, depth + 1)) return true;
  }
  return false;
}

bool search(Q7Object *from, Search &found, int depth) {
  if (!from || depth == kMaxTreeDepth) return false;
  Q7List tables;
  Q7NewList(&tables);
  send(from, Q7M_COLLECT_TABLES, 0, 0, slot(&tables));
  bool done = false;
  for (const Q7Node *node = tables.head; node->succ && !done; node = node->succ) {
    const Q7PublicAttribute *row = reinterpret_cast<const Q7AttributeTableNode *>(node)->table;
    for (; row && row->name && !done; ++row) {
      const bool list = row->flags & Q7PAF_LIST && !(row->flags & (Q7PAF_INDEXED | Q7PAF_SECOND_INDEX));
      if (list && (row->type == Q7TID_OBJECT || row->type == Q7TID_OBJECT2))
        done = search_row(from, *row, found, depth);
    }
  }
  while (Q7Node *node = Q7RemHead(&tables)) Q7FreeMem(node, sizeof(Q7AttributeTableNode));
  return done;
}

// object:parent(): the object whose list it stands in, looked for from the root object on; a widget knows its own.
int object_parent(lua_State *L) {
  reserve_handle(L);
  Q7Object *object = check_object(L, 1);
  Q7Object *parent = nullptr;
  Call call;
  call_begin(L, call);
  if (Q7ObjectIsOfKind(object, kWidgetClass)) {
    Q7TagItem get[2] = {{kWidgetParent, arg(&parent)}, {Q7TAG_END, 0}};
    send(object, Q7M_GET, 0, 0, get);
  } else {
    Place place = {};
    parent = find_owner(state_of(L), object, place);
  }
  call_end(call);
  push_object(L, parent);
  return 1;
}

int object_is(lua_State *L) {
  const Q7Object *object = check_object(L, 1);
  bool kind = false;
  if (lua_type(L, 2) == LUA_TNUMBER) {
    kind = Q7ObjectIsOfKind(check_object(L, 1), static_cast<uint32_t>(luaL_checkinteger(L, 2))) != 0;
  } else {
    const char *name = luaL_checkstring(L, 2);
    for (const Q7Class *cl = object->cl; cl && !kind; cl = cl->super) {
      kind = cl->header.name && std::strcmp(cl->header.name, name) == 0;
    }
  }
  lua_pushboolean(L, kind);
  return 1;
}

int object_name(lua_State *L) {
  Q7Object *object = check_object(L, 1);
  const char *name = nullptr;
  Q7TagItem get[2] = {{Q7A_NAME, arg(&name)}, {Q7TAG_END, 0}};
  Call call;
  call_begin(L, call);
  send(object, Q7M_GET, 0, 0, get);
  call_end(call);
  lua_pushstring(L, name);
  return 1;
}

int object_classname(lua_State *L) {
  const Q7Object *object = check_object(L, 1);
  lua_pushstring(L, object->cl->header.name);
  lua_pushinteger(L, object->cl->header.clid);
  return 2;
}

// ---- Messages ----

// An argument as it goes into a message: numbers as they are, texts, objects and values by address.
uint64_t check_argument(lua_State *L, int index) {
  switch (lua_type(L, index)) {
    case LUA_TNONE:
    case LUA_TNIL: return 0;
    case LUA_TBOOLEAN: return static_cast<uint64_t>(lua_toboolean(L, index));
    case LUA_TNUMBER: return static_cast<uint64_t>(luaL_checkinteger(L, index));
    case LUA_TSTRING: return arg(lua_tostring(L, index));
    case LUA_TUSERDATA:
      if (test<Handle>(L, index)) return arg(check_object(L, index));
      for (int kind = 0; kind < kKinds; ++kind) {
        if (double *d = test_value(L, index, static_cast<Kind>(kind))) return arg(d);
      }
      [[fallthrough]];
    default: luaL_error(L, "a %s cannot be sent", luaL_typename(L, index)); return 0;
  }
}

// A table as a tag list: pairs {tag, value}, in order. The list is pushed as a userdata.
uint64_t push_tags(lua_State *L, int table) {
  const lua_Unsigned count = lua_rawlen(L, table);
  if (count > kMaxTags) luaL_error(L, "at most %d tags can be sent", kMaxTags);
  auto *tags = static_cast<Q7TagItem *>(lua_newuserdatauv(L, (count + 1) * sizeof(Q7TagItem), 0));
  for (lua_Unsigned i = 0; i < count; ++i) {
    tags[i + 1] = {Q7TAG_END, 0};
    if (lua_rawgeti(L, table, static_cast<lua_Integer>(i + 1)) != LUA_TTABLE)
      luaL_error(L, "a tag is a pair {id, value}");
    const int pair = lua_gettop(L);
    lua_rawgeti(L, pair, 1);
    lua_rawgeti(L, pair, 2);
    const auto tag = static_cast<uint32_t>(luaL_checkinteger(L, pair + 1));
    // These steer the walk along a list.
    if (tag == Q7TAG_END || tag == Q7TAG_LINK || tag == Q7TAG_NEXT_CURSOR) luaL_error(L, "%I is no tag", Whole{tag});
    tags[i] = {tag, check_argument(L, pair + 2)};
    lua_settop(L, pair - 1);
  }
  tags[count] = {Q7TAG_END, 0};
  return arg(tags);
}

struct Arguments {
  uint64_t a, b, slot;
};

// One argument goes into the slot, two into a and the slot, three into a, b and the slot.
Arguments check_arguments(lua_State *L, int first) {
  const int count = lua_gettop(L) - first + 1;
  if (count > 3) luaL_error(L, "a message has at most three arguments");
  uint64_t values[3] = {0, 0, 0};
  for (int i = 0; i < count; ++i) {
    const bool last_table = i == count - 1 && lua_type(L, first + i) == LUA_TTABLE;
    values[i] = last_table ? push_tags(L, first + i) : check_argument(L, first + i);
  }
  if (count == 3) return {values[0], values[1], values[2]};
  if (count == 2) return {values[0], 0, values[1]};
  return {0, 0, values[0]};
}

// Methods of the root class that take no address; for the others there are functions here.
bool may_be_sent(lua_Integer method) {
  switch (method) {
    case Q7M_REMOVE:
    case Q7M_ISOFKIND:
    case Q7M_OWNS_ID: return true;
    default: return method >= 1000 && method <= UINT32_MAX;
  }
}

// object:send(method, ...)
int object_send(lua_State *L) {
  check_object(L, 1);
  const lua_Integer method = luaL_checkinteger(L, 2);
  if (!may_be_sent(method)) return luaL_error(L, "method %I cannot be sent by a script", Whole{method});
  const Arguments arguments = check_arguments(L, 3);
  Q7Object *object = check_object(L, 1);
  Call call;
  call_begin(L, call);
  const uint64_t result = send(object, static_cast<uint32_t>(method), arguments.a, arguments.b, slot(arguments.slot));
  call_end(call);
  call_check(L, call);
  lua_pushinteger(L, static_cast<lua_Integer>(result));
  return 1;
}

// object:call(name, ...): an extension method.
int object_call(lua_State *L) {
  check_object(L, 1);
  const char *name = luaL_checkstring(L, 2);
  const Arguments arguments = check_arguments(L, 3);
  Q7Object *object = check_object(L, 1);
  // An object whose class the registry does not know stops the process.
  if (!Q7ClassFind(object->clid)) return luaL_error(L, "%s has no class", push_title(L, object));
  Call call;
  call_begin(L, call);
  const uint64_t result = Q7SendEMsgA3(object, name, arguments.a, arguments.b, slot(arguments.slot));
  call_end(call);
  call_check(L, call);
  lua_pushinteger(L, static_cast<lua_Integer>(result));
  return 1;
}

// ---- The language's own shell ----

int shell_command(lua_State *L, uint32_t method) {
  const char *path = luaL_optstring(L, 1, "");
  Q7Object *language = state_of(L)->language;
  Call call;
  call_begin(L, call);
  const uint64_t done = send(language, method, 0, 0, slot(path));
  call_end(call);
  call_check(L, call);
  return done ? 0 : luaL_error(L, "cannot find '%s'", path);
}

int shell_list(lua_State *L) { return shell_command(L, Q7M_PRGLNG_LIST); }
int shell_describe(lua_State *L) { return shell_command(L, Q7M_PRGLNG_PRINT_CLASS); }

int root(lua_State *L) {
  reserve_handle(L);
  push_object(L, root_object(state_of(L)));
  return 1;
}

}  // namespace

void forget_late_handles(State *state, const void *block, uint64_t size) {
  const auto begin = reinterpret_cast<uint64_t>(block);
  for (Handle **link = &state->late; *link;) {
    Handle *handle = *link;
    if (arg(handle) < begin || arg(handle) >= begin + size) {
      link = &handle->next_late;
      continue;
    }
    *link = handle->next_late;
    if (handle->object) Q7ObjectUnwatch(handle->object, handle_gone, arg(handle));
  }
}

void reserve_handle(lua_State *L) {
  if (lua_rawgetp(L, LUA_REGISTRYINDEX, &kSpareKey) == LUA_TNIL) {
    auto *handle = static_cast<Handle *>(lua_newuserdatauv(L, sizeof(Handle), 1));
    *handle = {Handle::kMagic, 0, nullptr, false, false, nullptr};
    set_metatable(L, &kHandleKey);
    lua_rawsetp(L, LUA_REGISTRYINDEX, &kSpareKey);
  }
  lua_pop(L, 1);
}

void push_object(lua_State *L, Q7Object *object) {
  if (!object) {
    lua_pushnil(L);
    return;
  }
  lua_rawgetp(L, LUA_REGISTRYINDEX, &kHandlesKey);
  lua_rawgetp(L, -1, object);
  const Handle *known = test<Handle>(L, -1);
  lua_remove(L, -2);
  if (known && known->object == object) return;
  lua_pop(L, 1);
  push_handle(L, object, false);
}

void push_new_object(lua_State *L, Q7Object *object) {
  push_handle(L, object, true);
  test<Handle>(L, -1)->owned = false;
}

Q7Object *check_object(lua_State *L, int index) {
  const Handle *handle = check_handle(L, index);
  if (!handle->object) luaL_error(L, "the object has been deleted");
  return handle->object;
}

const char *push_title(lua_State *L, Q7Object *object) {
  const char *class_name = object->cl->header.name ? object->cl->header.name : "object";
  if (!object->name || !*object->name) return lua_pushfstring(L, "%s", class_name);
  return lua_pushfstring(L, "%s '%s'", class_name, object->name);
}

Q7Object *root_object(State *state) {
  Q7Object *found = nullptr;
  Q7TagItem get[2] = {{Q7A_PRGLNG_ROOT, arg(&found)}, {Q7TAG_END, 0}};
  send(state->language, Q7M_GET, 0, 0, get);
  return found ? found : Q7AppGetRoot(Q7ApplicationContext);
}

Q7Object *find_owner(State *state, const Q7Object *object, Place &place) {
  Search found = {list_of(object), nullptr, {}};
  if (!found.wanted || !search(root_object(state), found, 0)) return nullptr;
  place = found.place;
  return found.owner;
}

bool contains_list(Q7Object *object, const Q7List *list) {
  Search found = {list, nullptr, {}};
  return search(object, found, 0);
}

void open_objects(lua_State *L) {
  lua_newtable(L);
  lua_newtable(L);
  lua_pushliteral(L, "v");
  lua_setfield(L, -2, "__mode");
  lua_setmetatable(L, -2);
  lua_rawsetp(L, LUA_REGISTRYINDEX, &kHandlesKey);
  constexpr luaL_Reg kMeta[] = {{"__gc", handle_collect},
                                {"__close", object_delete},
                                {"__newindex", handle_newindex},
                                {"__tostring", handle_tostring},
                                {nullptr, nullptr}};
  constexpr luaL_Reg kMethods[] = {{"alive", object_alive},
                                   {"attributes", list_attributes},
                                   {"call", object_call},
                                   {"class", object_classname},
                                   {"copy", object_copy},
                                   {"delete", object_delete},
                                   {"get", get_by_path},
                                   {"is", object_is},
                                   {"listen", listen},
                                   {"name", object_name},
                                   {"next", object_next},
                                   {"parent", object_parent},
                                   {"previous", object_previous},
                                   {"release", object_release},
                                   {"retain", object_retain},
                                   {"send", object_send},
                                   {"set", set_by_path},
                                   {"unlisten", unlisten},
                                   {nullptr, nullptr}};
  make_metatable(L, &kHandleKey, "q7.object", kMeta, kMethods, handle_index);
  constexpr luaL_Reg kFunctions[] = {
      {"describe", shell_describe}, {"get", get_by_path}, {"idle", idle}, {"list", shell_list}, {"root", root},
      {"set", set_by_path},         {nullptr, nullptr}};
  luaL_setfuncs(L, kFunctions, 0);
}

}  // namespace q7lua
