// libraries: what a script finds in its globals.
#ifndef Q7_PLUGINS_LUA_LIBRARIES_HPP
#define Q7_PLUGINS_LUA_LIBRARIES_HPP

#include <lua.hpp>

namespace q7lua {

void open_libraries(lua_State *L);

// Loads a script as text: a compiled chunk could do anything. Pushes the function or raises the error.
void load_file(lua_State *L, const char *name);

}  // namespace q7lua

#endif
