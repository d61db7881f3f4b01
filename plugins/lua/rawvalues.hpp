// rawvalues: attribute values as the messages of the object system carry them. Nothing here calls Lua.
#ifndef Q7_LUA_RAWVALUES_HPP
#define Q7_LUA_RAWVALUES_HPP

#include "plugins/lua/lua.hpp"

namespace q7lua {

constexpr uint32_t kIndexFlags = Q7PAF_INDEXED | Q7PAF_SECOND_INDEX;

// A value of any type on its way.
union Raw {
  double doubles[16];
  int32_t integer;
  int16_t word;
  int8_t byte;
  const char *text;
  Q7Object *object;
  Q7List *list;
};

// Gets or sets the value of a place; false when the object has refused.
bool read_raw(Q7Object *obj, const Place &place, Raw &raw);
bool write_raw(Q7Object *obj, const Place &place, const Raw &raw);

}  // namespace q7lua

#endif
