// attributes: public attributes of objects as fields. The rows of a class are asked for once and kept in a table by
// name; an attribute is then read and set by its id, without a path. Types that cannot be handed over are left to the
// root class, which says so.
#include <cstdio>
#include <cstring>

#include "core/q7memory.h"
#include "core/q7typeid.h"
#include "plugins/lua/lua.hpp"
#include "plugins/lua/rawvalues.hpp"

namespace q7lua {

namespace {

const char kClassesKey = 0;  // registry: rows by class record
const char kListKey = 0;     // registry: metatable of lists
const char kIndexKey = 0;    // registry: metatable of indexed attributes
constexpr size_t kTitleSize = 256;
constexpr uint32_t kWidgetClass = 41;  // keeps books of its own about who contains whom

// The rows of a class, in the order in which paths look for them.
struct Rows {
  Q7Dispatcher dispatch;  // of the class, with its id: another pair means that it was replaced
  uint32_t clid;
  uint32_t count;
  Q7PublicAttribute *rows() { return reinterpret_cast<Q7PublicAttribute *>(this + 1); }
};

// An indexed attribute on its way to its value; user value 1 is the handle.
struct Indexed {
  static constexpr uint32_t kMagic = 0x71374978;
  uint32_t magic;
  bool has_first;
  uint32_t first;
  Q7PublicAttribute row;
};

// A list attribute; user value 1 is the handle.
struct ListProxy {
  static constexpr uint32_t kMagic = 0x71374C69;
  uint32_t magic;
  Q7PublicAttribute row;
};

Place place_of(const Q7PublicAttribute &row, uint64_t index) { return {row.tag, row.type, row.flags, index}; }

bool is_object_type(uint32_t type) { return type == Q7TID_OBJECT || type == Q7TID_OBJECT2; }

// What kind of value a type of doubles becomes; kKinds for all other types.
Kind kind_of(uint32_t type) {
  switch (type) {
    case Q7TID_RGBA:
    case Q7TID_RGB: return kColor;
    case Q7TID_VECTOR: return kVector;
    case Q7TID_VECTOR4: return kVector4;
    default: return kKinds;
  }
}

bool is_convertible(uint32_t type) {
  switch (type) {
    case Q7TID_INT:
    case Q7TID_FLOAT:
    case Q7TID_WORD:
    case Q7TID_BYTE:
    case Q7TID_STRING: return true;
    default: return is_object_type(type) || kind_of(type) != kKinds;
  }
}

// ---- Rows ----

void free_tables(Q7List &list) {
  while (Q7Node *node = Q7RemHead(&list)) Q7FreeMem(node, sizeof(Q7AttributeTableNode));
}

// Copies at most `room` rows of an object's tables; how many there are.
uint32_t collect_rows(Q7Object *object, Q7PublicAttribute *rows, uint32_t room) {
  Q7List list;
  Q7NewList(&list);
  send(object, Q7M_COLLECT_TABLES, 0, 0, slot(&list));
  uint32_t count = 0;
  for (const Q7Node *node = list.head; node->succ; node = node->succ) {
    const Q7PublicAttribute *row = reinterpret_cast<const Q7AttributeTableNode *>(node)->table;
    for (; row && row->name; ++row, ++count) {
      if (count < room) rows[count] = *row;
    }
  }
  free_tables(list);
  return count;
}

uint32_t collect_in_call(lua_State *L, Q7Object *object, Q7PublicAttribute *rows, uint32_t room) {
  Call call;
  call_begin(L, call);
  const uint32_t count = collect_rows(object, rows, room);
  call_end(call);
  return count;
}

// Pushes a fresh table of rows. The object is on the stack as a handle that keeps watch over it.
void make_rows(lua_State *L, const Handle *handle) {
  lua_newtable(L);
  const uint32_t count = handle->object ? collect_in_call(L, handle->object, nullptr, 0) : 0;
  auto *rows = static_cast<Rows *>(lua_newuserdatauv(L, sizeof(Rows) + count * sizeof(Q7PublicAttribute), 0));
  *rows = {nullptr, 0, 0};
  if (const Q7Object *object = handle->object) {
    rows->dispatch = object->cl->header.dispatch;
    rows->clid = object->cl->header.clid;
    const uint32_t now = collect_in_call(L, handle->object, rows->rows(), count);
    rows->count = now < count ? now : count;
  }
  // Of rows with the same name the first one counts, so it is entered last.
  for (uint32_t i = rows->count; i-- > 0;) {
    lua_pushlightuserdata(L, &rows->rows()[i]);
    lua_setfield(L, -3, rows->rows()[i].name);
  }
  lua_rawseti(L, -2, 1);
}

Rows *rows_of(lua_State *L, int table) {
  lua_rawgeti(L, table, 1);
  auto *rows = static_cast<Rows *>(lua_touserdata(L, -1));
  lua_pop(L, 1);
  return rows;
}

// ---- Messages ----

int fail(lua_State *L, const Call &call, Q7Object *object, const char *what, const char *name) {
  call_check(L, call);
  return luaL_error(L, "%s: %s %s", push_title(L, object), what, name);
}

// Has the root class say why values of a type cannot be handed over.
int fail_type(lua_State *L, Q7Object *object, const Q7PublicAttribute &row) {
  char path[kTitleSize];
  const bool first = row.flags & Q7PAF_INDEXED && row.index == Q7PA_INDEX_IN_TEXT;
  const bool second = row.flags & Q7PAF_SECOND_INDEX;
  std::snprintf(path, sizeof path, "%s%s%s", row.name, first ? "[0]" : "", second ? "[0]" : "");
  double room[32];
  Call call;
  call_begin(L, call);
  send(object, Q7M_GET_BY_PATH, arg(path), 0, slot(&room[0]));
  call_end(call);
  return fail(L, call, object, "cannot hand over", row.name);
}

// ---- Values to and from Lua ----

void push_raw(lua_State *L, int owner, const Place &place, const Raw &raw) {
  switch (place.type) {
    case Q7TID_INT: lua_pushinteger(L, raw.integer); return;
    case Q7TID_WORD: lua_pushinteger(L, raw.word); return;
    case Q7TID_BYTE: lua_pushinteger(L, raw.byte); return;
    case Q7TID_FLOAT: lua_pushnumber(L, raw.doubles[0]); return;
    case Q7TID_STRING: lua_pushstring(L, raw.text); return;
    case Q7TID_OBJECT:
    case Q7TID_OBJECT2: push_object(L, raw.object); return;
    default: break;
  }
  double d[4] = {raw.doubles[0], raw.doubles[1], raw.doubles[2], raw.doubles[3]};
  // A colour of three channels looks opaque.
  if (place.type == Q7TID_RGB) d[3] = 1;
  Value *value = push_value(L, kind_of(place.type), d);
  value->bound = owner != 0;
  value->place = place;
  value->channels = static_cast<uint8_t>(Q7SubChannelCountOfType(place.type));
  if (owner == 0) return;
  lua_pushvalue(L, owner);
  lua_setiuservalue(L, -2, 1);
}

lua_Integer check_range(lua_State *L, int index, lua_Integer lowest, lua_Integer highest, const char *name) {
  int whole = 0;
  const lua_Integer number = lua_type(L, index) == LUA_TNUMBER ? lua_tointegerx(L, index, &whole) : 0;
  if (!whole) luaL_error(L, "%s: a whole number expected, got %s", name, luaL_tolstring(L, index, nullptr));
  if (number < lowest || number > highest) luaL_error(L, "%s: %I is out of range", name, Whole{number});
  return number;
}

// A value of doubles: one of its own kind, or a table of numbers.
void check_doubles(lua_State *L, int index, uint32_t type, const char *name, double *d) {
  const int count = Q7SubChannelCountOfType(type);
  const Kind kind = kind_of(type);
  const double *found = test_value(L, index, kind);
  if (!found && kind == kVector4) found = test_value(L, index, kQuat);
  if (found) {
    std::memcpy(d, found, static_cast<size_t>(count) * sizeof(double));
    return;
  }
  if (lua_type(L, index) != LUA_TTABLE || lua_rawlen(L, index) != static_cast<lua_Unsigned>(count)) {
    char word[32] = "";
    Q7TidToStr(word, type);
    luaL_error(L, "%s: %s or a table of %d numbers expected, got %s", name,
               kind == kColor    ? "a colour"
               : kind == kVector ? "a vector"
                                 : "a vector4",
               count, luaL_typename(L, index));
  }
  for (int i = 0; i < count; ++i) {
    int is_number = 0;
    lua_rawgeti(L, index, i + 1);
    d[i] = lua_tonumberx(L, -1, &is_number);
    lua_pop(L, 1);
    if (!is_number) luaL_error(L, "%s: number %d of the table is none", name, i + 1);
  }
}

const char *check_text(lua_State *L, int index, const char *name) {
  size_t length = 0;
  const char *text = lua_type(L, index) == LUA_TSTRING ? lua_tolstring(L, index, &length) : nullptr;
  if (!text) {
    luaL_error(L, "%s: a text expected, got %s", name, luaL_typename(L, index));
    return "";  // never reached: errors jump
  }
  if (std::strlen(text) != length) luaL_error(L, "%s: the text holds a zero", name);
  return text;
}

void check_raw(lua_State *L, int index, uint32_t type, const char *name, Raw &raw) {
  std::memset(&raw, 0, sizeof raw);
  switch (type) {
    case Q7TID_INT: raw.integer = static_cast<int32_t>(check_range(L, index, INT32_MIN, INT32_MAX, name)); return;
    case Q7TID_WORD: raw.word = static_cast<int16_t>(check_range(L, index, INT16_MIN, INT16_MAX, name)); return;
    case Q7TID_BYTE: raw.byte = static_cast<int8_t>(check_range(L, index, INT8_MIN, INT8_MAX, name)); return;
    case Q7TID_FLOAT:
      if (lua_type(L, index) != LUA_TNUMBER) {
        luaL_error(L, "%s: a number expected, got %s", name, luaL_typename(L, index));
      }
      raw.doubles[0] = lua_tonumber(L, index);
      return;
    case Q7TID_STRING: raw.text = check_text(L, index, name); return;
    case Q7TID_OBJECT:
    case Q7TID_OBJECT2:
      if (lua_isnil(L, index)) return;
      if (!test<Handle>(L, index)) luaL_error(L, "%s: an object expected, got %s", name, luaL_typename(L, index));
      raw.object = check_object(L, index);
      return;
    default: check_doubles(L, index, type, name, raw.doubles);
  }
}

int push_place(lua_State *L, int owner, const Q7PublicAttribute &row, uint64_t index) {
  reserve_handle(L);
  Q7Object *object = check_object(L, owner);
  const Place place = place_of(row, index);
  Raw raw;
  Call call;
  call_begin(L, call);
  const bool known = read_raw(object, place, raw);
  call_end(call);
  if (!known || call.reported) return fail(L, call, object, "cannot read", row.name);
  push_raw(L, owner, place, raw);
  return 1;
}

void set_place(lua_State *L, int owner, const Q7PublicAttribute &row, uint64_t index, int value) {
  const Place place = place_of(row, index);
  Raw raw;
  check_raw(L, value, row.type, row.name, raw);
  Q7Object *object = check_object(L, owner);
  const int32_t references = is_object_type(row.type) && raw.object ? raw.object->refcount : 0;
  Call call;
  call_begin(L, call);
  const bool known = write_raw(object, place, raw);
  call_end(call);
  if (!known || call.reported) {
    fail(L, call, check_object(L, owner), "cannot set", row.name);
    return;
  }
  if (!is_object_type(row.type)) return;
  // Either may have gone meanwhile.
  const Handle *holder = test<Handle>(L, owner);
  const Handle *stored = test<Handle>(L, value);
  if (holder->object) remember_link(holder->object, place, stored ? stored->object : nullptr);
  if (!stored || !stored->object || references > 0 || stored->object->refcount <= 0) return;
  // A class has begun to count references on an object that only a list held: when it lets go, the object goes.
  Place list = {};
  call_begin(L, call);
  if (Q7Object *keeper = find_owner(state_of(L), stored->object, list)) remember_member(keeper, list, stored->object);
  call_end(call);
}

void check_settable(lua_State *L, Q7Object *object, const Q7PublicAttribute &row) {
  if (row.flags & Q7PAF_READ_ONLY) luaL_error(L, "%s: %s is read only", push_title(L, object), row.name);
  if (row.flags & Q7PAF_LIST) luaL_error(L, "%s: %s is a list", push_title(L, object), row.name);
  if (!is_convertible(row.type)) fail_type(L, object, row);
}

// ---- Indexed attributes ----

uint32_t check_index(lua_State *L, int index) {
  return static_cast<uint32_t>(check_range(L, index, INT32_MIN, INT32_MAX, "index"));
}

void push_indexed(lua_State *L, int owner, const Q7PublicAttribute &row, bool has_first, uint32_t first) {
  auto *indexed = static_cast<Indexed *>(lua_newuserdatauv(L, sizeof(Indexed), 1));
  *indexed = {Indexed::kMagic, has_first, first, row};
  lua_pushvalue(L, owner);
  lua_setiuservalue(L, -2, 1);
  set_metatable(L, &kIndexKey);
}

// The complete index of an element, with `last` as what the script gave last.
uint64_t whole_index(const Indexed &indexed, uint32_t last) {
  const bool second = indexed.row.flags & Q7PAF_SECOND_INDEX;
  if (!second) return last;
  return indexed.has_first ? indexed.first | static_cast<uint64_t>(last) << 32 : last;
}

// Whether one more index is missing behind the one that is just given.
bool wants_more(const Indexed &indexed) {
  return !indexed.has_first && indexed.row.flags & Q7PAF_INDEXED && indexed.row.flags & Q7PAF_SECOND_INDEX;
}

Indexed *check_indexed(lua_State *L) {
  auto *indexed = test<Indexed>(L, 1);
  if (!indexed) luaL_error(L, "an indexed attribute expected, got %s", luaL_typename(L, 1));
  lua_settop(L, 3);
  lua_getiuservalue(L, 1, 1);
  return indexed;
}

int indexed_index(lua_State *L) {
  lua_settop(L, 2);
  const Indexed *indexed = check_indexed(L);
  const uint32_t index = check_index(L, 2);
  check_object(L, 4);
  if (wants_more(*indexed)) {
    push_indexed(L, 4, indexed->row, true, index);
    return 1;
  }
  return push_place(L, 4, indexed->row, whole_index(*indexed, index));
}

int indexed_newindex(lua_State *L) {
  const Indexed *indexed = check_indexed(L);
  const uint32_t index = check_index(L, 2);
  Q7Object *object = check_object(L, 4);
  if (wants_more(*indexed)) return luaL_error(L, "%s: a second index is missing", indexed->row.name);
  check_settable(L, object, indexed->row);
  set_place(L, 4, indexed->row, whole_index(*indexed, index), 3);
  return 0;
}

// ---- Lists ----

ListProxy *check_list(lua_State *L) {
  auto *list = test<ListProxy>(L, 1);
  if (!list) luaL_error(L, "a list expected, got %s", luaL_typename(L, 1));
  return list;
}

// The list behind a row; nothing here calls Lua.
const Q7List *read_list(Q7Object *object, const Q7PublicAttribute &row) {
  Raw raw;
  return read_raw(object, place_of(row, row.index), raw) ? raw.list : nullptr;
}

const char *name_of(Q7Object *object) {
  const char *name = nullptr;
  Q7TagItem get[2] = {{Q7A_NAME, arg(&name)}, {Q7TAG_END, 0}};
  send(object, Q7M_GET, 0, 0, get);
  return name;
}

Q7Object *find_named(const Q7List *list, const char *name) {
  for (Q7Node *node = list ? list->head : nullptr; node && node->succ; node = node->succ) {
    auto *object = reinterpret_cast<Q7Object *>(node);
    const char *found = name_of(object);
    if (found && std::strcmp(found, name) == 0) return object;
  }
  return nullptr;
}

// The list of the proxy in slot 1, whose handle is pushed.
const Q7List *proxy_list(lua_State *L, Call &call) {
  const ListProxy *list = check_list(L);
  lua_getiuservalue(L, 1, 1);
  reserve_handle(L);
  Q7Object *object = check_object(L, -1);
  call_begin(L, call);
  const Q7List *found = read_list(object, list->row);
  return found;
}

int list_index(lua_State *L) {
  lua_settop(L, 2);
  if (lua_type(L, 2) == LUA_TSTRING) {
    lua_pushvalue(L, 2);
    if (lua_rawget(L, lua_upvalueindex(1)) != LUA_TNIL) return 1;
    lua_pop(L, 1);
  }
  Call call;
  const Q7List *list = proxy_list(L, call);
  Q7Object *object = nullptr;
  if (lua_type(L, 2) == LUA_TSTRING) {
    object = find_named(list, lua_tostring(L, 2));
  } else if (lua_isinteger(L, 2)) {
    lua_Integer number = lua_tointeger(L, 2);
    Q7Node *node = list && number > 0 ? list->head : nullptr;
    while (node && node->succ && --number > 0) node = node->succ;
    if (node && node->succ) object = reinterpret_cast<Q7Object *>(node);
  }
  call_end(call);
  push_object(L, object);
  return 1;
}

int list_length(lua_State *L) {
  Call call;
  const Q7List *list = proxy_list(L, call);
  lua_Integer count = 0;
  for (const Q7Node *node = list ? list->head : nullptr; node && node->succ; node = node->succ) ++count;
  call_end(call);
  lua_pushinteger(L, count);
  return 1;
}

// next(list, object): the object behind it; the first one behind nil.
int list_next(lua_State *L) {
  lua_settop(L, 2);
  Q7Node *node = nullptr;
  if (lua_isnil(L, 2)) {
    Call call;
    const Q7List *list = proxy_list(L, call);
    node = list ? list->head : nullptr;
    call_end(call);
  } else {
    reserve_handle(L);
    node = check_object(L, 2)->succ;
  }
  push_object(L, node && node->succ ? reinterpret_cast<Q7Object *>(node) : nullptr);
  return 1;
}

int list_pairs(lua_State *L) {
  check_list(L);
  lua_pushcfunction(L, list_next);
  lua_pushvalue(L, 1);
  lua_pushnil(L);
  return 3;
}

// list:add(object): appends it, out of the list in which it stands.
int list_add(lua_State *L) {
  lua_settop(L, 2);
  if (Q7ObjectIsOfKind(check_object(L, 2), kWidgetClass)) {
    return luaL_error(L, "a widget is moved by its parent attribute");
  }
  Call call;
  const Q7List *list = proxy_list(L, call);
  const Handle *handle = test<Handle>(L, 2);
  // What is its own part would never be reached again, and disposed of while it is being disposed of.
  const bool inside = list && handle->object && contains_list(handle->object, list);
  if (inside) list = nullptr;
  if (list && handle->object && handle->object->succ && handle->object->pred) send(handle->object, Q7M_REMOVE);
  if (list && handle->object) send(handle->object, Q7M_ADDTAIL, 0, 0, slot(list));
  const Handle *owner = test<Handle>(L, 3);
  if (list && handle->object && owner->object) {
    remember_member(owner->object, place_of(test<ListProxy>(L, 1)->row, 0), handle->object);
  }
  call_end(call);
  call_check(L, call);
  if (inside) return luaL_error(L, "an object cannot be put into itself");
  lua_settop(L, 2);
  return 1;
}

void push_list(lua_State *L, int owner, const Q7PublicAttribute &row) {
  auto *list = static_cast<ListProxy *>(lua_newuserdatauv(L, sizeof(ListProxy), 1));
  *list = {ListProxy::kMagic, row};
  lua_pushvalue(L, owner);
  lua_setiuservalue(L, -2, 1);
  set_metatable(L, &kListKey);
}

// ---- Paths ----

// The path without its last component.
void push_owner_path(lua_State *L, const char *path) {
  const char *dot = std::strrchr(path, '.');
  lua_pushlstring(L, path, dot ? static_cast<size_t>(dot - path) : 0);
}

// Pushes what a path leads to from the object at `owner`; false, with nothing pushed, when it leads nowhere.
bool push_path(lua_State *L, int owner, const char *path) {
  reserve_handle(L);
  Q7Object *object = check_object(L, owner);
  Q7PublicAttribute row = {};
  Raw raw = {};
  Call call;
  call_begin(L, call);
  bool found = send(object, Q7M_GET_BY_PATH, arg(path), arg(&row)) != 0;
  const bool is_list = found && row.flags & Q7PAF_LIST;
  if (found && !is_list) found = send(object, Q7M_GET_BY_PATH, arg(path), arg(&row), slot(&raw)) != 0;
  call_end(call);
  call_check(L, call);
  if (!found) return false;
  if (!is_list) {
    push_raw(L, 0, place_of(row, 0), raw);
    return true;
  }
  push_owner_path(L, path);
  if (!push_path(L, owner, lua_tostring(L, -1))) return false;
  push_list(L, lua_gettop(L), row);
  return true;
}

// Takes an optional object in front of a path: methods have one, the functions of q7 start at the root object.
int path_owner(lua_State *L) {
  if (test<Handle>(L, 1)) return 1;
  reserve_handle(L);
  push_object(L, root_object(state_of(L)));
  if (lua_isnil(L, -1)) luaL_error(L, "there is no root object");
  lua_insert(L, 1);
  return 1;
}

}  // namespace

void push_rows(lua_State *L, Q7Object *object) {
  const Handle *handle = test<Handle>(L, -1);
  const Q7Class *cl = object->cl;
  const Q7Dispatcher dispatch = cl->header.dispatch;
  // An object with a dispatcher of its own may have attributes of its own.
  const bool usual = object->dispatch == dispatch;
  const uint32_t clid = cl->header.clid;
  lua_rawgetp(L, LUA_REGISTRYINDEX, &kClassesKey);
  if (usual && lua_rawgetp(L, -1, cl) == LUA_TTABLE) {
    const Rows *rows = rows_of(L, lua_gettop(L));
    if (rows->dispatch == dispatch && rows->clid == clid) {
      lua_remove(L, -2);
      return;
    }
  }
  if (usual) lua_pop(L, 1);
  make_rows(L, handle);
  if (usual) {
    lua_pushvalue(L, -1);
    lua_rawsetp(L, -3, cl);
  }
  lua_remove(L, -2);
}

void get_rows(lua_State *L, int handle) {
  const int place = lua_absindex(L, handle);
  if (lua_getiuservalue(L, place, 1) == LUA_TTABLE) return;
  lua_pop(L, 1);
  lua_pushvalue(L, place);
  push_rows(L, check_object(L, place));
  lua_pushvalue(L, -1);
  lua_setiuservalue(L, place, 1);
  lua_remove(L, -2);
}

const Q7PublicAttribute *find_row(lua_State *L, int rows, int name) {
  lua_pushvalue(L, name);
  lua_rawget(L, rows);
  auto *row =
      lua_type(L, -1) == LUA_TLIGHTUSERDATA ? static_cast<const Q7PublicAttribute *>(lua_touserdata(L, -1)) : nullptr;
  lua_pop(L, 1);
  return row;
}

bool wants_index(const Q7PublicAttribute &row) {
  return row.flags & Q7PAF_SECOND_INDEX || (row.flags & Q7PAF_INDEXED && row.index == Q7PA_INDEX_IN_TEXT);
}

int push_attribute(lua_State *L, int owner, const Q7PublicAttribute &row) {
  if (row.flags & Q7PAF_LIST) {
    push_list(L, owner, row);
    return 1;
  }
  if (!is_convertible(row.type)) return fail_type(L, check_object(L, owner), row);
  if (!wants_index(row)) return push_place(L, owner, row, row.flags & Q7PAF_INDEXED ? row.index : 0);
  const bool fixed = row.flags & Q7PAF_INDEXED && row.index != Q7PA_INDEX_IN_TEXT;
  push_indexed(L, owner, row, fixed, fixed ? row.index : 0);
  return 1;
}

void set_attribute(lua_State *L, int owner, const Q7PublicAttribute &row, int value) {
  check_settable(L, check_object(L, owner), row);
  if (wants_index(row)) luaL_error(L, "%s: an index is missing", row.name);
  set_place(L, owner, row, row.flags & Q7PAF_INDEXED ? row.index : 0, value);
}

bool push_member(lua_State *L, int owner, const char *name) {
  get_rows(L, owner);
  Rows *rows = rows_of(L, lua_gettop(L));
  lua_pop(L, 1);
  reserve_handle(L);
  Q7Object *object = check_object(L, owner);
  Q7Object *member = nullptr;
  Call call;
  call_begin(L, call);
  for (uint32_t i = 0; i < rows->count && !member; ++i) {
    const Q7PublicAttribute &row = rows->rows()[i];
    if (row.flags & Q7PAF_LIST && is_object_type(row.type)) member = find_named(read_list(object, row), name);
  }
  call_end(call);
  if (!member) return false;
  push_object(L, member);
  return true;
}

void set_channel(lua_State *L, int owner, const Place &place, int channel, double value, double *whole) {
  Q7Object *object = check_object(L, owner);
  if (place.flags & Q7PAF_READ_ONLY) luaL_error(L, "%s: the attribute is read only", push_title(L, object));
  Raw raw;
  Call call;
  call_begin(L, call);
  bool done = read_raw(object, place, raw);
  if (done) {
    raw.doubles[channel] = value;
    done = write_raw(object, place, raw);
  }
  call_end(call);
  if (!done || call.reported) fail(L, call, check_object(L, owner), "cannot set the", "value");
  std::memcpy(whole, raw.doubles, static_cast<size_t>(Q7SubChannelCountOfType(place.type)) * sizeof(double));
}

// object:get(path), q7.get(path)
int get_by_path(lua_State *L) {
  const int owner = path_owner(L);
  const char *path = luaL_checkstring(L, 2);
  if (!push_path(L, owner, path)) lua_pushnil(L);
  return 1;
}

// object:set(path, value), q7.set(path, value): a text is converted by the attribute's type, as in the shell.
int set_by_path(lua_State *L) {
  const int owner = path_owner(L);
  lua_settop(L, 3);
  const char *path = luaL_checkstring(L, 2);
  Q7Object *object = check_object(L, owner);
  Q7PublicAttribute row = {};
  Raw raw = {};
  Call call;
  if (lua_type(L, 3) == LUA_TSTRING) {
    const char *text = check_text(L, 3, path);
    call_begin(L, call);
    const bool done = send(object, Q7M_SET_BY_PATH, arg(path), Q7TID_STRING, slot(text)) != 0;
    call_end(call);
    call_check(L, call);
    return done ? 0 : luaL_error(L, "cannot set %s to '%s'", path, text);
  }
  call_begin(L, call);
  const bool found = send(object, Q7M_GET_BY_PATH, arg(path), arg(&row)) != 0;
  call_end(call);
  call_check(L, call);
  if (!found) return luaL_error(L, "cannot find %s", path);
  if (row.flags & Q7PAF_READ_ONLY) return luaL_error(L, "%s is read only", path);
  if (row.flags & Q7PAF_LIST) return luaL_error(L, "%s is a list", path);
  if (is_object_type(row.type)) {
    // The object that has the attribute is known to a handle, so that what is stored can be watched.
    if (!row.name) return luaL_error(L, "%s is an object, no attribute", path);
    push_owner_path(L, path);
    const char *dot = std::strrchr(path, '.');
    lua_pushstring(L, dot ? dot + 1 : path);
    if (!push_path(L, owner, lua_tostring(L, -2))) return luaL_error(L, "cannot find %s", path);
    lua_pushvalue(L, -2);
    lua_pushvalue(L, 3);
    lua_settable(L, -3);
    return 0;
  }
  if (is_convertible(row.type)) check_raw(L, 3, row.type, path, raw);
  object = check_object(L, owner);
  call_begin(L, call);
  const bool done = send(object, Q7M_SET_BY_PATH, arg(path), 0, slot(&raw)) != 0;
  call_end(call);
  call_check(L, call);
  return done ? 0 : luaL_error(L, "cannot set %s", path);
}

// object:attributes(): an array of rows.
int list_attributes(lua_State *L) {
  check_object(L, 1);
  get_rows(L, 1);
  Rows *rows = rows_of(L, lua_gettop(L));
  lua_createtable(L, static_cast<int>(rows->count), 0);
  for (uint32_t i = 0; i < rows->count; ++i) {
    const Q7PublicAttribute &row = rows->rows()[i];
    char type[32] = "";
    Q7TidToStr(type, row.type);
    for (size_t end = std::strlen(type); end > 0 && type[end - 1] == ' '; --end) type[end - 1] = 0;
    lua_createtable(L, 0, 7);
    lua_pushstring(L, row.name);
    lua_setfield(L, -2, "name");
    lua_pushinteger(L, row.tag);
    lua_setfield(L, -2, "id");
    lua_pushinteger(L, row.type);
    lua_setfield(L, -2, "typeid");
    lua_pushstring(L, type);
    lua_setfield(L, -2, "type");
    lua_pushboolean(L, (row.flags & Q7PAF_LIST) != 0);
    lua_setfield(L, -2, "list");
    lua_pushboolean(L, (row.flags & kIndexFlags) != 0);
    lua_setfield(L, -2, "indexed");
    lua_pushboolean(L, (row.flags & Q7PAF_READ_ONLY) != 0);
    lua_setfield(L, -2, "readonly");
    lua_rawseti(L, -2, i + 1);
  }
  return 1;
}

void open_attributes(lua_State *L) {
  lua_newtable(L);
  lua_rawsetp(L, LUA_REGISTRYINDEX, &kClassesKey);
  constexpr luaL_Reg kIndexedMeta[] = {{"__newindex", indexed_newindex}, {nullptr, nullptr}};
  constexpr luaL_Reg kListMeta[] = {{"__len", list_length}, {"__pairs", list_pairs}, {nullptr, nullptr}};
  constexpr luaL_Reg kListMethods[] = {{"add", list_add}, {nullptr, nullptr}};
  constexpr luaL_Reg kNone[] = {{nullptr, nullptr}};
  make_metatable(L, &kIndexKey, "q7.indexed", kIndexedMeta, kNone, indexed_index);
  make_metatable(L, &kListKey, "q7.list", kListMeta, kListMethods, list_index);
}

}  // namespace q7lua
