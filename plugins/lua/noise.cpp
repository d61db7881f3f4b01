// noise: the table q7.noise, the library's noise functions on vectors, and random numbers. A point of three dimensions
// or of four chooses the function.
#include "math/q7noise.h"
#include "plugins/lua/lua.hpp"

namespace q7lua {

namespace {

constexpr double kMostOctaves = 64;  // more would only take time

struct Generator {
  static constexpr uint32_t kMagic = 0x7137526E;
  uint32_t magic;
  Q7RngState state;
};
const char kGeneratorKey = 0;  // registry: metatable of generators

struct Octaves {
  double count, frequency;
};

Octaves check_octaves(lua_State *L) {
  const Octaves octaves = {luaL_optnumber(L, 2, 1), luaL_optnumber(L, 3, 2)};
  luaL_argcheck(L, octaves.count > 0 && octaves.count <= kMostOctaves, 2, "octaves are a number above 0, up to 64");
  return octaves;
}

template <double (*In3)(const Q7Vector *, double, double), double (*In4)(const Q7Vector4 *, double, double)>
int scalar(lua_State *L) {
  const Octaves octaves = check_octaves(L);
  if (const double *p = test_value(L, 1, kVector4)) {
    lua_pushnumber(L, In4(reinterpret_cast<const Q7Vector4 *>(p), octaves.frequency, octaves.count));
  } else {
    const double *q = check_value(L, 1, kVector);
    lua_pushnumber(L, In3(reinterpret_cast<const Q7Vector *>(q), octaves.frequency, octaves.count));
  }
  return 1;
}

template <Q7Vector *(*In3)(Q7Vector *, const Q7Vector *, double, double),
          Q7Vector *(*In4)(Q7Vector *, const Q7Vector4 *, double, double)>
int vector(lua_State *L) {
  const Octaves octaves = check_octaves(L);
  Q7Vector r;
  if (const double *p = test_value(L, 1, kVector4)) {
    In4(&r, reinterpret_cast<const Q7Vector4 *>(p), octaves.frequency, octaves.count);
  } else {
    const double *q = check_value(L, 1, kVector);
    In3(&r, reinterpret_cast<const Q7Vector *>(q), octaves.frequency, octaves.count);
  }
  push_value(L, kVector, &r.x);
  return 1;
}

uint32_t key(lua_State *L, int index) { return static_cast<uint32_t>(luaL_checkinteger(L, index)); }

// A number for a key, 0..1; two keys may be given.
int random(lua_State *L) {
  lua_pushnumber(L, lua_isnoneornil(L, 2) ? Q7LRand(key(L, 1)) : Q7Rand2(key(L, 1), key(L, 2)));
  return 1;
}

int make_generator(lua_State *L) {
  const auto s1 = static_cast<uint32_t>(luaL_optinteger(L, 1, 0));
  const auto s2 = static_cast<uint32_t>(luaL_optinteger(L, 2, 0));
  auto *generator = static_cast<Generator *>(lua_newuserdatauv(L, sizeof(Generator), 0));
  generator->magic = Generator::kMagic;
  Q7SetRNGSeed(&generator->state, s1, s2);
  set_metatable(L, &kGeneratorKey);
  return 1;
}

Generator *check_generator(lua_State *L) {
  auto *generator = test<Generator>(L, 1);
  if (!generator) luaL_error(L, "a generator expected, got %s", luaL_typename(L, 1));
  return generator;
}

int generator_integer(lua_State *L) {
  lua_pushinteger(L, Q7GetRNG(&check_generator(L)->state));
  return 1;
}

int generator_number(lua_State *L) {
  lua_pushnumber(L, Q7GetRNGFloat(&check_generator(L)->state));
  return 1;
}

int generator_index(lua_State *L) {
  lua_settop(L, 2);
  lua_rawget(L, lua_upvalueindex(1));
  return 1;
}

}  // namespace

void open_noise(lua_State *L) {
  constexpr luaL_Reg kNone[] = {{nullptr, nullptr}};
  constexpr luaL_Reg kGenerator[] = {{"integer", generator_integer}, {"number", generator_number}, {nullptr, nullptr}};
  make_metatable(L, &kGeneratorKey, "q7.generator", kNone, kGenerator, generator_index);
  constexpr luaL_Reg kNoise[] = {{"value", scalar<CVectorNoise, CNoise4DTo1D>},
                                 {"smooth", scalar<CSmoothNoise, CSmoothNoise4DTo1D>},
                                 {"point", scalar<CPoint3DTo1DNoise, CPoint4DTo1DNoise>},
                                 {"value_vector", vector<CVectorNoise3D, CNoise4DTo3D>},
                                 {"smooth_vector", vector<CSmoothNoise3D, CSmoothNoise4DTo3D>},
                                 {"point_vector", vector<CPoint3DTo3DNoise, CPoint4DTo3DNoise>},
                                 {nullptr, nullptr}};
  luaL_newlib(L, kNoise);
  lua_setfield(L, -2, "noise");
  constexpr luaL_Reg kRandom[] = {{"generator", make_generator}, {"random", random}, {nullptr, nullptr}};
  luaL_setfuncs(L, kRandom, 0);
}

}  // namespace q7lua
