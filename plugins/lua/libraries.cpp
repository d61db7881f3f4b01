// libraries: Lua's own libraries, without what would end, block or break the host (leaving the process, running
// programs, compiled chunks, foreign shared libraries, the debugger), the table "q7", and the globals that lead to the
// root object.
#include "plugins/lua/libraries.hpp"

#include <cstring>

#include "plugins/lua/lua.hpp"

namespace q7lua {

namespace {

// load(chunk, name, mode, env): the mode is always text.
int load_text(lua_State *L) {
  const int count = lua_gettop(L) < 3 ? 3 : lua_gettop(L);
  lua_settop(L, count);
  lua_pushliteral(L, "t");
  lua_replace(L, 3);
  lua_pushvalue(L, lua_upvalueindex(1));
  lua_insert(L, 1);
  lua_call(L, count, LUA_MULTRET);
  return lua_gettop(L);
}

// loadfile(name, mode, env)
int load_file_text(lua_State *L) {
  const char *name = luaL_checkstring(L, 1);
  if (luaL_loadfilex(L, name, "t") != LUA_OK) {
    lua_pushnil(L);
    lua_insert(L, -2);
    return 2;
  }
  if (!lua_isnone(L, 3)) {
    lua_pushvalue(L, 3);
    if (!lua_setupvalue(L, -2, 1)) lua_pop(L, 1);
  }
  return 1;
}

int do_file(lua_State *L) {
  load_file(L, luaL_checkstring(L, 1));
  lua_replace(L, 1);
  lua_settop(L, 1);
  lua_call(L, 0, LUA_MULTRET);
  return lua_gettop(L);
}

// require(name): a file beside the script that is run; a dot in the name stands for a folder.
int require(lua_State *L) {
  const char *name = luaL_checkstring(L, 1);
  lua_settop(L, 1);
  luaL_getsubtable(L, LUA_REGISTRYINDEX, LUA_LOADED_TABLE);
  if (lua_getfield(L, 2, name) != LUA_TNIL) return 1;
  const State *state = state_of(L);
  lua_pushlstring(L, state->folder ? state->folder : "", state->folder ? state->folder_length : 0);
  luaL_gsub(L, name, ".", "/");
  lua_pushliteral(L, ".lua");
  lua_concat(L, 3);
  load_file(L, lua_tostring(L, -1));
  lua_pushvalue(L, 1);
  lua_call(L, 1, 1);
  if (lua_isnil(L, -1)) {
    lua_pop(L, 1);
    lua_pushboolean(L, 1);
  }
  lua_pushvalue(L, -1);
  lua_setfield(L, 2, name);
  return 1;
}

int print(lua_State *L) {
  const int count = lua_gettop(L);
  luaL_Buffer text;
  luaL_buffinit(L, &text);
  for (int i = 1; i <= count; ++i) {
    if (i > 1) luaL_addchar(&text, '\t');
    luaL_tolstring(L, i, nullptr);
    luaL_addvalue(&text);
  }
  luaL_pushresult(&text);
  const char *line = lua_tostring(L, -1);
  Call call;
  call_begin(L, call);
  tell(call.state->language, Q7M_PRGLNG_PRINT, line);
  call_end(call);
  return 0;
}

void keep_only(lua_State *L, const char *library, const char *const *names) {
  lua_getglobal(L, library);
  lua_newtable(L);
  for (; *names; ++names) {
    lua_getfield(L, -2, *names);
    lua_setfield(L, -2, *names);
  }
  lua_pushvalue(L, -1);
  lua_setglobal(L, library);
  luaL_getsubtable(L, LUA_REGISTRYINDEX, LUA_LOADED_TABLE);
  lua_pushvalue(L, -2);
  lua_setfield(L, -2, library);
  lua_pop(L, 3);
}

void remove_field(lua_State *L, const char *library, const char *name) {
  lua_getglobal(L, library);
  lua_pushnil(L);
  lua_setfield(L, -2, name);
  lua_pop(L, 1);
}

void open_standard(lua_State *L) {
  constexpr luaL_Reg kLibraries[] = {
      {LUA_GNAME, luaopen_base},       {LUA_COLIBNAME, luaopen_coroutine}, {LUA_TABLIBNAME, luaopen_table},
      {LUA_IOLIBNAME, luaopen_io},     {LUA_OSLIBNAME, luaopen_os},        {LUA_STRLIBNAME, luaopen_string},
      {LUA_MATHLIBNAME, luaopen_math}, {LUA_UTF8LIBNAME, luaopen_utf8},    {LUA_DBLIBNAME, luaopen_debug}};
  for (const luaL_Reg &library : kLibraries) {
    luaL_requiref(L, library.name, library.func, 1);
    lua_pop(L, 1);
  }
  constexpr const char *kOs[] = {"clock", "date", "difftime", "getenv", "time", nullptr};
  constexpr const char *kDebug[] = {"traceback", nullptr};
  keep_only(L, LUA_OSLIBNAME, kOs);
  keep_only(L, LUA_DBLIBNAME, kDebug);
  remove_field(L, LUA_IOLIBNAME, "popen");
  remove_field(L, LUA_STRLIBNAME, "dump");
  lua_getglobal(L, "load");
  lua_pushcclosure(L, load_text, 1);
  lua_setglobal(L, "load");
  constexpr luaL_Reg kOwn[] = {
      {"loadfile", load_file_text}, {"dofile", do_file}, {"require", require}, {"print", print}};
  for (const luaL_Reg &function : kOwn) lua_register(L, function.name, function.func);
}

// A global that is not there is looked for in the root object.
int find_global(lua_State *L) {
  if (lua_type(L, 2) != LUA_TSTRING) return 0;
  reserve_handle(L);
  push_object(L, root_object(state_of(L)));
  if (lua_isnil(L, -1)) return 0;
  const int root = lua_gettop(L);
  get_rows(L, root);
  if (const Q7PublicAttribute *row = find_row(L, root + 1, 2)) return push_attribute(L, root, *row);
  return push_member(L, root, lua_tostring(L, 2)) ? 1 : 0;
}

void open_globals(lua_State *L) {
  lua_pushglobaltable(L);
  lua_newtable(L);
  lua_pushcfunction(L, find_global);
  lua_setfield(L, -2, "__index");
  lua_pushboolean(L, 0);
  lua_setfield(L, -2, "__metatable");
  lua_setmetatable(L, -2);
  lua_pop(L, 1);
}

}  // namespace

void load_file(lua_State *L, const char *name) {
  if (luaL_loadfilex(L, name, "t") != LUA_OK) lua_error(L);
}

void open_libraries(lua_State *L) {
  open_standard(L);
  lua_newtable(L);
  open_attributes(L);
  open_objects(L);
  open_classes(L);
  open_values(L);
  open_noise(L);
  lua_pushvalue(L, -1);
  lua_setglobal(L, "q7");
  luaL_getsubtable(L, LUA_REGISTRYINDEX, LUA_LOADED_TABLE);
  lua_pushvalue(L, -2);
  lua_setfield(L, -2, "q7");
  lua_pop(L, 2);
  open_globals(L);
}

}  // namespace q7lua
