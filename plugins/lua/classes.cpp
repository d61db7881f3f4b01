// classes: making objects of any registered class, and what there is to know of classes.
#include <cstring>

#include "core/q7objects.h"
#include "plugins/lua/lua.hpp"

namespace q7lua {

namespace {

constexpr int kMaxTags = 32;

// A class by its id or its name; an error when there is none.
Q7Class *check_class(lua_State *L, int index) {
  if (lua_type(L, index) == LUA_TNUMBER) {
    const lua_Integer id = luaL_checkinteger(L, index);
    Call call;
    call_begin(L, call);
    Q7Class *cl = id >= 0 && id <= INT32_MAX ? Q7ClassFind(static_cast<uint32_t>(id)) : nullptr;
    call_end(call);
    call_check(L, call);
    if (!cl) luaL_error(L, "there is no class %I", Whole{id});
    return cl;
  }
  const char *name = luaL_checkstring(L, index);
  Q7Class *cl = Q7ClassFindByName(name);
  if (!cl) luaL_error(L, "there is no class '%s'", name);
  return cl;
}

// The creation tags out of a table: whole numbers are ids, "Name" is the name.
void check_tags(lua_State *L, int table, Q7TagItem *tags) {
  int count = 0;
  lua_pushnil(L);
  while (lua_next(L, table)) {
    const bool name = lua_type(L, -2) == LUA_TSTRING && std::strcmp(lua_tostring(L, -2), "Name") == 0;
    if (name || lua_isinteger(L, -2)) {
      const lua_Integer id = name ? lua_Integer{Q7A_NAME} : lua_tointeger(L, -2);
      if (id <= Q7TAG_NEXT_CURSOR || id > UINT32_MAX) luaL_error(L, "%I is no tag", Whole{id});
      if (id == Q7A_REFCOUNT || count == kMaxTags) luaL_error(L, "tag %I cannot be given", Whole{id});
      uint64_t value = 0;
      switch (lua_type(L, -1)) {
        case LUA_TBOOLEAN: value = static_cast<uint64_t>(lua_toboolean(L, -1)); break;
        case LUA_TNUMBER: value = static_cast<uint64_t>(luaL_checkinteger(L, -1)); break;
        case LUA_TSTRING: value = arg(lua_tostring(L, -1)); break;
        default: value = arg(check_object(L, lua_gettop(L)));
      }
      // Numbers as names are texts that are gone with the next step.
      if (name && lua_type(L, -1) != LUA_TSTRING) luaL_error(L, "Name: a text expected, got %s", luaL_typename(L, -1));
      tags[count++] = {static_cast<uint32_t>(id), value};
    }
    lua_pop(L, 1);
  }
  tags[count] = {Q7TAG_END, 0};
}

// object, table -> sets the attributes that the table names.
int set_attributes(lua_State *L) {
  get_rows(L, 1);
  lua_pushnil(L);
  while (lua_next(L, 2)) {
    if (lua_type(L, 4) == LUA_TSTRING && std::strcmp(lua_tostring(L, 4), "Name") != 0) {
      const Q7PublicAttribute *row = find_row(L, 3, 4);
      if (!row) return luaL_error(L, "%s has no attribute '%s'", push_title(L, check_object(L, 1)), lua_tostring(L, 4));
      set_attribute(L, 1, *row, 5);
    }
    lua_settop(L, 4);
  }
  return 0;
}

// q7.create(class, attributes)
int create(lua_State *L) {
  lua_settop(L, 2);
  Q7Class *cl = check_class(L, 1);
  const bool with_attributes = !lua_isnil(L, 2);
  if (with_attributes) luaL_checktype(L, 2, LUA_TTABLE);
  reserve_handle(L);
  Q7TagItem tags[kMaxTags + 1];
  tags[0] = {Q7TAG_END, 0};
  if (with_attributes) check_tags(L, 2, tags);
  Call call;
  call_begin(L, call);
  auto *object = pointer<Q7Object *>(send(&cl->header, Q7M_NEW, 0, 0, tags));
  call_end(call);
  if (!object) {
    call_check(L, call);
    const char *name = cl->header.name ? cl->header.name : "?";
    return luaL_error(L, "an object of class %s (%I) cannot be made", name, Whole{cl->header.clid});
  }
  push_new_object(L, object);
  if (!with_attributes) return 1;
  const int handle = lua_gettop(L);
  lua_pushcfunction(L, set_attributes);
  lua_pushvalue(L, handle);
  lua_pushvalue(L, 2);
  if (lua_pcall(L, 2, 0, 0) == LUA_OK) return 1;
  // Half an object is none.
  lua_getfield(L, handle, "delete");
  lua_pushvalue(L, handle);
  lua_pcall(L, 1, 0, 0);
  lua_settop(L, handle + 1);
  return lua_error(L);
}

void set_text(lua_State *L, const char *field, const char *text) {
  if (!text) return;
  lua_pushstring(L, text);
  lua_setfield(L, -2, field);
}

void push_class(lua_State *L, const Q7Class *cl) {
  lua_createtable(L, 0, 8);
  lua_pushinteger(L, cl->header.clid);
  lua_setfield(L, -2, "id");
  set_text(L, "name", cl->header.name);
  set_text(L, "description", cl->description);
  set_text(L, "organization", cl->organisation);
  set_text(L, "module", cl->module);
  lua_pushinteger(L, cl->version);
  lua_setfield(L, -2, "version");
  lua_pushinteger(L, cl->ninstances);
  lua_setfield(L, -2, "instances");
  if (!cl->super) return;
  lua_pushinteger(L, cl->super->header.clid);
  lua_setfield(L, -2, "super");
}

// q7.class(class)
int describe_class(lua_State *L) {
  push_class(L, check_class(L, 1));
  return 1;
}

// q7.classes(): all of them, in the order of their ids.
int list_classes(lua_State *L) {
  lua_newtable(L);
  uint32_t id = 0;
  lua_Integer count = 0;
  for (const Q7Class *cl = Q7ClassNext(0, &id); cl; cl = Q7ClassNext(id + 1, &id)) {
    push_class(L, cl);
    lua_rawseti(L, -2, ++count);
  }
  return 1;
}

}  // namespace

void open_classes(lua_State *L) {
  constexpr luaL_Reg kFunctions[] = {
      {"class", describe_class}, {"classes", list_classes}, {"create", create}, {nullptr, nullptr}};
  luaL_setfuncs(L, kFunctions, 0);
}

}  // namespace q7lua
