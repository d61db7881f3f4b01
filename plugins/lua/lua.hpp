// lua: what the files of the plug-in share. Lua leaves a C function by a jump when something fails: no function here
// that calls into Lua holds anything that would have to be given back, and none has an object with a destructor on its
// stack. Between call_begin and call_end Lua is not called at all.
#ifndef Q7_PLUGINS_LUA_LUA_HPP
#define Q7_PLUGINS_LUA_LUA_HPP

#include <lua.hpp>
#include <type_traits>

#include "core/client.hpp"
#include "core/q7root.h"
#include "plugins/lua/q7lua.h"

namespace q7lua {

using Whole = LUAI_UACINT;  // what "%I" of messages takes

// ---- state.cpp: a Lua state, its limits and its errors ----

struct Handle;

// A state outlives its language object when that goes while a script runs.
struct State {
  lua_State *main;
  lua_State *running;  // the thread of the script that called last
  Q7Object *language;  // null once it is gone
  uint64_t used;       // bytes
  uint64_t limit;
  uint64_t steps;  // instructions of this run, as far as counted
  uint64_t step_limit;
  int32_t depth;       // protected calls that are under way
  bool closing;        // lua_close is running, or about to
  bool stopped;        // the step limit was passed
  Q7Object *runner;    // receiver that carries idle work; referenced
  Q7Object *first;     // receivers of this state
  Handle *late;        // handles that finalizers made while the state is closed; Lua finalizes those no more
  const char *folder;  // of the file that is run, with its "/" (folder_length characters); null
  uint64_t folder_length;
};

inline State *state_of(lua_State *L) { return *static_cast<State **>(lua_getextraspace(L)); }

State *state_open(Q7Object *language, uint64_t memory_limit, uint64_t step_limit);
// Closes a state, at once or, while a script runs, behind it. Finalizers still find the language object when it is at
// once.
void state_close(State *state);
// Runs function(L) with `data` as a light userdata as its argument; an error is told to the language object. While it
// runs, `folder` (with its "/") is where other files of the script are looked for; null leaves that as it is. 1 or 0.
// Afterwards the language object, and the state, may be gone.
int32_t state_call(State *state, lua_CFunction function, void *data, const char *folder = nullptr,
                   uint64_t folder_length = 0);
void state_limit_steps(State *state);
void state_interrupt(State *state);
// Tells a text to the language object, as an error or as output.
void tell(Q7Object *language, uint32_t method, const char *text);

// ---- Calls into the library ----

// One call of a script into the library. What is reported meanwhile becomes the script's error instead of the user's.
struct Call {
  Call *outer;
  Q7Handler handler;
  uint64_t data;
  State *state;
  lua_State *previous;
  bool reported;
  char text[1024];
};
void call_begin(lua_State *L, Call &call);
void call_end(Call &call);
// Raises the report of the call as an error; returns if there was none.
void call_check(lua_State *L, const Call &call);

// ---- Small things ----

using q7client::arg;
using q7client::data;
using q7client::inherit;
using q7client::send;
using q7client::slot;
template <class T>
T pointer(uint64_t value) {
  return reinterpret_cast<T>(value);
}

// A full userdata of ours, told by its first word; null for anything else.
template <class T>
T *test(lua_State *L, int index) {
  if (lua_type(L, index) != LUA_TUSERDATA || lua_rawlen(L, index) < sizeof(T)) return nullptr;
  auto *found = static_cast<T *>(lua_touserdata(L, index));
  return found->magic == T::kMagic ? found : nullptr;
}
// The metatable that was stored under a key.
inline void set_metatable(lua_State *L, const void *key) {
  lua_rawgetp(L, LUA_REGISTRYINDEX, key);
  lua_setmetatable(L, -2);
}
// Makes a metatable under a key out of metamethods, with `methods` as the upvalue of __index; scripts cannot reach it.
void make_metatable(lua_State *L, const void *key, const char *name, const luaL_Reg *metamethods,
                    const luaL_Reg *methods, lua_CFunction index);

// ---- objects.cpp: handles ----

// An attribute of an object, with its index: where a value came from.
struct Place {
  uint32_t tag;
  uint32_t type;
  uint32_t flags;
  uint64_t index;  // argument b of methods 28 and 29
};

// Stands for an object; forgets it when it goes.
struct Handle {
  static constexpr uint32_t kMagic = 0x71374F62;
  uint32_t magic;
  int32_t references;  // that scripts have taken through this handle
  Q7Object *object;    // null: gone
  bool owned;          // just made: nobody else knows it yet, so it goes with the handle
  bool deleting;       // the script is disposing of it
  Handle *next_late;   // in State::late
};

// Called for each block that a state gives back: ends the watches of late handles that lie in it.
void forget_late_handles(State *state, const void *block, uint64_t size);

// A pointer to an object is only good until Lua collects garbage, since finalizers may dispose of anything. So whoever
// is going to push an object makes sure of room for it before it reads the pointer, and pushes it at once.
void reserve_handle(lua_State *L);
void push_object(lua_State *L, Q7Object *object);
// The same for an object that was just made; if it cannot be pushed it is disposed of.
void push_new_object(lua_State *L, Q7Object *object);
// The object of the handle at an index; raises an error for another value and for an object that is gone.
Q7Object *check_object(lua_State *L, int index);
// Pushes what an object is called in messages.
const char *push_title(lua_State *L, Q7Object *object);
Q7Object *root_object(State *state);
// The object in one of whose lists an object stands, looked for from the root object on, and which attribute the list
// is. Calls nothing of Lua; null if there is none.
Q7Object *find_owner(State *state, const Q7Object *object, Place &place);
// Whether a list belongs to an object or to anything below it.
bool contains_list(Q7Object *object, const Q7List *list);
void open_objects(lua_State *L);
void open_classes(lua_State *L);

// ---- attributes.cpp: public attributes ----

// Pushes the table of an object's public attributes by name (light userdata of rows), which its handle keeps.
void push_rows(lua_State *L, Q7Object *object);
// Pushes the rows of the handle at an index, whose object is there. A handle may be met by a finalizer, or after memory
// ran out, before it has them.
void get_rows(lua_State *L, int handle);
// The row of the name at an index in the table at another; null if there is none.
const Q7PublicAttribute *find_row(lua_State *L, int rows, int name);
// Pushes an attribute's value; `owner` is the handle's place on the stack.
int push_attribute(lua_State *L, int owner, const Q7PublicAttribute &row);
void set_attribute(lua_State *L, int owner, const Q7PublicAttribute &row, int value);
// Pushes the member of an object's lists that has the name; false, and nothing pushed, if there is none.
bool push_member(lua_State *L, int owner, const char *name);
// Whether an attribute takes an index out of the script.
bool wants_index(const Q7PublicAttribute &row);
int get_by_path(lua_State *L);
int set_by_path(lua_State *L);
int list_attributes(lua_State *L);
void open_attributes(lua_State *L);

// Replaces one channel of a vector or colour in its object and updates `whole`.
void set_channel(lua_State *L, int owner, const Place &place, int channel, double value, double *whole);

// Remembers that a script stored an object in an attribute that does not count references: the attribute is emptied
// when that object goes.
void remember_link(Q7Object *holder, const Place &place, Q7Object *object);
// Remembers that an object stands in a list of its owner and may be disposed of by whoever holds the last reference,
// which scripts have brought about: it is taken out of that list then.
void remember_member(Q7Object *owner, const Place &place, Q7Object *object);
void forget_links();

// ---- values.cpp: vectors, colours, quaternions, matrices; noise.cpp ----

enum Kind { kVector, kVector4, kColor, kQuat, kMatrix, kKinds };

struct Value {
  static constexpr uint32_t kMagic = 0x71375661;
  uint32_t magic;
  uint8_t kind;
  uint8_t channels;  // components that a script sees
  bool bound;        // read from an attribute: user value 1 is the object's handle
  Place place;
  double *d() { return reinterpret_cast<double *>(this + 1); }  // 3, 4 or 16 of them
};
Value *push_value(lua_State *L, Kind kind, const double *d);
// The components of the value of a kind at an index, null for anything else.
double *test_value(lua_State *L, int index, Kind kind);
double *check_value(lua_State *L, int index, Kind kind);
void open_values(lua_State *L);
void open_noise(lua_State *L);

// ---- bridge.cpp: idle work, notices of models ----

int idle(lua_State *L);
int listen(lua_State *L);
int unlisten(lua_State *L);
// Takes the state's functions back from models and idle queues.
void drop_receivers(State *state);
int32_t register_receiver_class();

}  // namespace q7lua

#endif
