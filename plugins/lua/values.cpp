// values: vectors, four-dimensional vectors, colours, quaternions and matrices as values with operators. A value that
// was read from an attribute is a copy that remembers where it came from: assigning one of its components also sets
// that component in the object. What operators and functions make is nobody's.
#include <cmath>
#include <cstdio>
#include <cstring>

#include "math/q7angles.h"
#include "math/q7color.h"
#include "math/q7matrix.h"
#include "math/q7quat.h"
#include "math/q7vector.h"
#include "math/q7vector4.h"
#include "plugins/lua/lua.hpp"

namespace q7lua {

namespace {

struct KindInfo {
  const char *name;
  const char *letters;  // names of the components
  int count;
};
constexpr KindInfo kInfo[kKinds] = {
    {"vector", "xyz", 3}, {"vector4", "xyzw", 4}, {"colour", "rgba", 4}, {"quaternion", "xyzw", 4}, {"matrix", "", 16}};
const char kMetaKeys[kKinds] = {};  // registry: their metatables

static_assert(sizeof(Value) % alignof(double) == 0);

Value *test_any(lua_State *L, int index) { return test<Value>(L, index); }

Value *check_any(lua_State *L, int index) {
  Value *value = test_any(L, index);
  if (!value) luaL_error(L, "a value expected, got %s", luaL_typename(L, index));
  return value;
}

const Q7Vector *vector(const double *d) { return reinterpret_cast<const Q7Vector *>(d); }
const Q7Vector4 *vector4(const double *d) { return reinterpret_cast<const Q7Vector4 *>(d); }
const Q7Matrix *matrix(const double *d) { return reinterpret_cast<const Q7Matrix *>(d); }
const Q7Vector *check_vector(lua_State *L, int index) { return vector(check_value(L, index, kVector)); }

int push_vector(lua_State *L, const Q7Vector &v) {
  push_value(L, kVector, &v.x);
  return 1;
}
int push_matrix(lua_State *L, const Q7Matrix &m) {
  push_value(L, kMatrix, &m.m[0][0]);
  return 1;
}
int push_quat(lua_State *L, const Q7Quat &q) {
  push_value(L, kQuat, &q.x);
  return 1;
}
int push_numbers(lua_State *L, const double *d, int count) {
  for (int i = 0; i < count; ++i) lua_pushnumber(L, d[i]);
  return count;
}

// ---- Components ----

// The component that a key names, from 0; -1 if it names none.
int component(lua_State *L, const Value &value, int key) {
  const KindInfo &info = kInfo[value.kind];
  if (lua_type(L, key) == LUA_TSTRING) {
    const char *name = lua_tostring(L, key);
    if (!name[0] || name[1]) return -1;
    const char *found = std::strchr(info.letters, name[0]);
    return found ? static_cast<int>(found - info.letters) : -1;
  }
  if (!lua_isinteger(L, key)) return -1;
  const lua_Integer number = lua_tointeger(L, key);
  return number >= 1 && number <= info.count ? static_cast<int>(number - 1) : -1;
}

int value_index(lua_State *L) {
  Value *value = check_any(L, 1);
  const int i = component(L, *value, 2);
  if (i >= 0) {
    lua_pushnumber(L, value->d()[i]);
    return 1;
  }
  lua_pushvalue(L, 2);
  lua_rawget(L, lua_upvalueindex(1));
  return 1;
}

int value_newindex(lua_State *L) {
  lua_settop(L, 3);
  Value *value = check_any(L, 1);
  const int i = component(L, *value, 2);
  if (i < 0 || (value->bound && i >= value->channels)) {
    return luaL_error(L, "a %s has no component '%s'", kInfo[value->kind].name, luaL_tolstring(L, 2, nullptr));
  }
  if (lua_type(L, 3) != LUA_TNUMBER) return luaL_error(L, "a number expected, got %s", luaL_typename(L, 3));
  const double number = lua_tonumber(L, 3);
  if (!value->bound) {
    value->d()[i] = number;
    return 0;
  }
  lua_getiuservalue(L, 1, 1);
  set_channel(L, 4, value->place, i, number, value->d());
  return 0;
}

int value_length(lua_State *L) {
  lua_pushinteger(L, kInfo[check_any(L, 1)->kind].count);
  return 1;
}

int value_tostring(lua_State *L) {
  Value *value = check_any(L, 1);
  const KindInfo &info = kInfo[value->kind];
  char text[16 * 32];
  size_t length = 0;
  for (int i = 0; i < info.count; ++i) {
    const char *separator = i == 0 ? "(" : info.count == 16 && i % 4 == 0 ? "; " : ", ";
    length +=
        static_cast<size_t>(std::snprintf(text + length, sizeof text - length, "%s%.14g", separator, value->d()[i]));
  }
  lua_pushfstring(L, "%s)", text);
  return 1;
}

int value_copy(lua_State *L) {
  Value *value = check_any(L, 1);
  push_value(L, static_cast<Kind>(value->kind), value->d());
  return 1;
}

int value_unpack(lua_State *L) {
  Value *value = check_any(L, 1);
  const int count = kInfo[value->kind].count;
  luaL_checkstack(L, count, nullptr);
  return push_numbers(L, value->d(), count);
}

// ---- Operators on all components ----

int value_equal(lua_State *L) {
  Value *a = test_any(L, 1);
  Value *b = test_any(L, 2);
  bool equal = a && b && a->kind == b->kind;
  for (int i = 0; equal && i < kInfo[a->kind].count; ++i) equal = a->d()[i] == b->d()[i];
  lua_pushboolean(L, equal);
  return 1;
}

// Both operands, of the same kind.
Kind check_pair(lua_State *L, const char *what) {
  const Value *a = test_any(L, 1);
  const Value *b = test_any(L, 2);
  if (!a || !b || a->kind != b->kind) {
    luaL_error(L, "cannot %s %s and %s", what, a ? kInfo[a->kind].name : luaL_typename(L, 1),
               b ? kInfo[b->kind].name : luaL_typename(L, 2));
  }
  return static_cast<Kind>(a->kind);
}

template <class Operation>
int componentwise(lua_State *L, const char *what, Operation operation) {
  const Kind kind = check_pair(L, what);
  const double *a = test_any(L, 1)->d();
  const double *b = test_any(L, 2)->d();
  double d[16];
  for (int i = 0; i < kInfo[kind].count; ++i) d[i] = operation(a[i], b[i]);
  push_value(L, kind, d);
  return 1;
}

int value_add(lua_State *L) {
  return componentwise(L, "add", [](double a, double b) { return a + b; });
}
int value_subtract(lua_State *L) {
  return componentwise(L, "subtract", [](double a, double b) { return a - b; });
}

template <class Operation>
int push_each(lua_State *L, int index, Operation operation) {
  Value *value = check_any(L, index);
  double d[16];
  for (int i = 0; i < kInfo[value->kind].count; ++i) d[i] = operation(value->d()[i]);
  push_value(L, static_cast<Kind>(value->kind), d);
  return 1;
}

int value_negate(lua_State *L) {
  return push_each(L, 1, [](double a) { return -a; });
}

int value_divide(lua_State *L) {
  if (lua_type(L, 2) != LUA_TNUMBER || !test_any(L, 1)) {
    return luaL_error(L, "only a value can be divided, and only by a number");
  }
  const double by = lua_tonumber(L, 2);
  return push_each(L, 1, [by](double a) { return a / by; });
}

// p acts first, as with matrices.
Q7Quat quat_product(const double *q, const double *p) {
  return {q[3] * p[0] + q[0] * p[3] + q[1] * p[2] - q[2] * p[1], q[3] * p[1] - q[0] * p[2] + q[1] * p[3] + q[2] * p[0],
          q[3] * p[2] + q[0] * p[1] - q[1] * p[0] + q[2] * p[3], q[3] * p[3] - q[0] * p[0] - q[1] * p[1] - q[2] * p[2]};
}

int matrix_times(lua_State *L, const double *a, int index) {
  if (const double *b = test_value(L, index, kMatrix)) {
    Q7Matrix m;
    Q7MxConcat(&m, matrix(a), matrix(b));
    return push_matrix(L, m);
  }
  if (const double *p = test_value(L, index, kVector)) {
    Q7Vector v;
    Q7MxTransform(&v, matrix(a), vector(p));
    return push_vector(L, v);
  }
  if (const double *p = test_value(L, index, kVector4)) {
    Q7Vector4 v;
    Q7MxTransform4(&v, matrix(a), vector4(p));
    push_value(L, kVector4, &v.x);
    return 1;
  }
  check_pair(L, "multiply");
  return 0;
}

int quat_times(lua_State *L, const double *a, int index) {
  if (const double *b = test_value(L, index, kQuat)) return push_quat(L, quat_product(a, b));
  if (const double *p = test_value(L, index, kVector)) {
    Q7Matrix m;
    Q7Vector v;
    Q7QToMatrix(vector4(a), &m);
    Q7MxTransformL(&v, &m, vector(p));
    return push_vector(L, v);
  }
  check_pair(L, "multiply");
  return 0;
}

int value_multiply(lua_State *L) {
  for (int number = 1; number <= 2; ++number) {
    if (lua_type(L, number) != LUA_TNUMBER) continue;
    const double by = lua_tonumber(L, number);
    return push_each(L, 3 - number, [by](double a) { return by * a; });
  }
  if (const double *m = test_value(L, 1, kMatrix)) return matrix_times(L, m, 2);
  if (const double *q = test_value(L, 1, kQuat)) return quat_times(L, q, 2);
  return componentwise(L, "multiply", [](double a, double b) { return a * b; });
}

// ---- Methods ----

double sum_of_products(const double *a, const double *b, int count) {
  double sum = 0;
  for (int i = 0; i < count; ++i) sum += a[i] * b[i];
  return sum;
}

int value_dot(lua_State *L) {
  const Kind kind = check_pair(L, "multiply");
  lua_pushnumber(L, sum_of_products(test_any(L, 1)->d(), test_any(L, 2)->d(), kInfo[kind].count));
  return 1;
}

int value_norm(lua_State *L) {
  Value *value = check_any(L, 1);
  lua_pushnumber(L, std::sqrt(sum_of_products(value->d(), value->d(), kInfo[value->kind].count)));
  return 1;
}

// The zero vector has no direction and stays.
int value_normalize(lua_State *L) {
  Value *value = check_any(L, 1);
  const double length = std::sqrt(sum_of_products(value->d(), value->d(), kInfo[value->kind].count));
  return push_each(L, 1, [length](double a) { return length > 0 ? a / length : a; });
}

// a:mix(b, t) = (1 - t) a + t b
int value_mix(lua_State *L) {
  const double t = luaL_checknumber(L, 3);
  return componentwise(L, "mix", [t](double a, double b) { return (1 - t) * a + t * b; });
}

int vector_cross(lua_State *L) {
  Q7Vector v;
  VCross(&v, check_vector(L, 1), check_vector(L, 2));
  return push_vector(L, v);
}

int vector_distance(lua_State *L) {
  lua_pushnumber(L, VDist(check_vector(L, 1), check_vector(L, 2)));
  return 1;
}

int vector_angle(lua_State *L) {
  Q7Vector a = *check_vector(L, 1);
  Q7Vector b = *check_vector(L, 2);
  TNorm(&a);
  TNorm(&b);
  lua_pushnumber(L, FindAngleUnit(&a, &b));
  return 1;
}

int color_hsl(lua_State *L) {
  const double *d = check_value(L, 1, kColor);
  const Q7ColorRGB rgb = {d[0], d[1], d[2]};
  Q7ColorHSL hsl;
  Q7RgbToHsl(&hsl, &rgb);
  lua_pushnumber(L, hsl.h);
  lua_pushnumber(L, hsl.s);
  lua_pushnumber(L, hsl.l);
  return 3;
}

int quat_matrix(lua_State *L) {
  Q7Matrix m;
  Q7QToMatrix(vector4(check_value(L, 1, kQuat)), &m);
  return push_matrix(L, m);
}

int quat_conjugate(lua_State *L) {
  const double *d = check_value(L, 1, kQuat);
  return push_quat(L, {-d[0], -d[1], -d[2], d[3]});
}

// The axis and the angle.
int quat_axis(lua_State *L) {
  Q7Vector axis;
  const double angle = Q7QToAxAngle(vector4(check_value(L, 1, kQuat)), &axis);
  push_vector(L, axis);
  lua_pushnumber(L, angle);
  return 2;
}

// Heading, pitch, bank.
int quat_hpb(lua_State *L) {
  Q7Quat q = *vector4(check_value(L, 1, kQuat));
  double angles[3];
  Q7QToHPB(&q, angles);
  return push_numbers(L, angles, 3);
}

int matrix_inverse(lua_State *L) {
  Q7Matrix m;
  if (!Q7MxInvert(&m, matrix(check_value(L, 1, kMatrix)))) return luaL_error(L, "the matrix is singular");
  return push_matrix(L, m);
}

int matrix_transpose(lua_State *L) {
  Q7Matrix m;
  Q7MxTranspose(&m, matrix(check_value(L, 1, kMatrix)));
  return push_matrix(L, m);
}

// Without the translation.
int matrix_direction(lua_State *L) {
  Q7Vector v;
  Q7MxTransformL(&v, matrix(check_value(L, 1, kMatrix)), check_vector(L, 2));
  return push_vector(L, v);
}

int matrix_quat(lua_State *L) {
  Q7Quat q;
  Q7MatrixToQ(&q, matrix(check_value(L, 1, kMatrix)));
  return push_quat(L, q);
}

int matrix_at(lua_State *L) {
  const double *d = check_value(L, 1, kMatrix);
  const lua_Integer row = luaL_checkinteger(L, 2);
  const lua_Integer column = luaL_checkinteger(L, 3);
  luaL_argcheck(L, row >= 1 && row <= 4, 2, "a row is a number from 1 to 4");
  luaL_argcheck(L, column >= 1 && column <= 4, 3, "a column is a number from 1 to 4");
  lua_pushnumber(L, d[(row - 1) * 4 + column - 1]);
  return 1;
}

// ---- Functions of q7 ----

// Numbers from the arguments, or one table of numbers, or a value with that many components.
void check_numbers(lua_State *L, double *d, int least, int count) {
  if (Value *value = test_any(L, 1)) {
    const int there = kInfo[value->kind].count;
    if (there < least) luaL_error(L, "%d numbers expected, got a %s", count, kInfo[value->kind].name);
    std::memcpy(d, value->d(), static_cast<size_t>(there < count ? there : count) * sizeof(double));
    return;
  }
  const bool table = lua_istable(L, 1);
  for (int i = 0; i < count; ++i) {
    if (table) {
      lua_rawgeti(L, 1, i + 1);
    } else {
      lua_pushvalue(L, i + 1 <= lua_gettop(L) ? i + 1 : lua_gettop(L) + 1);
    }
    if (lua_type(L, -1) == LUA_TNUMBER) {
      d[i] = lua_tonumber(L, -1);
    } else if (i < least || !lua_isnil(L, -1)) {
      luaL_error(L, "number %d: a number expected, got %s", i + 1, luaL_typename(L, -1));
    }
    lua_pop(L, 1);
  }
}

int make_vector(lua_State *L) {
  double d[3] = {0, 0, 0};
  if (lua_gettop(L) > 0) check_numbers(L, d, 3, 3);
  push_value(L, kVector, d);
  return 1;
}

int make_vector4(lua_State *L) {
  double d[4] = {0, 0, 0, 0};
  if (lua_gettop(L) > 0) check_numbers(L, d, 3, 4);
  push_value(L, kVector4, d);
  return 1;
}

int make_color(lua_State *L) {
  double d[4] = {0, 0, 0, 1};
  if (lua_gettop(L) > 0) check_numbers(L, d, 3, 4);
  push_value(L, kColor, d);
  return 1;
}

int make_hsl(lua_State *L) {
  const Q7ColorHSL hsl = {luaL_checknumber(L, 1), luaL_checknumber(L, 2), luaL_checknumber(L, 3)};
  Q7ColorRGB rgb;
  Q7HslToRgb(&rgb, &hsl);
  const double d[4] = {rgb.red, rgb.green, rgb.blue, 1};
  push_value(L, kColor, d);
  return 1;
}

// q7.quat(axis, angle), q7.quat(x, y, z, w), q7.quat(matrix), or no rotation.
int make_quat(lua_State *L) {
  if (lua_gettop(L) == 2 && test_value(L, 1, kVector)) {
    Q7Vector axis = *check_vector(L, 1);
    VNorm(&axis);
    Q7Quat q;
    Q7AxAngleToQ(&q, &axis, luaL_checknumber(L, 2));
    return push_quat(L, q);
  }
  if (test_value(L, 1, kMatrix)) return matrix_quat(L);
  double d[4] = {0, 0, 0, 1};
  if (lua_gettop(L) > 0) check_numbers(L, d, 4, 4);
  push_value(L, kQuat, d);
  return 1;
}

int make_hpb(lua_State *L) {
  const double angles[3] = {luaL_checknumber(L, 1), luaL_checknumber(L, 2), luaL_checknumber(L, 3)};
  Q7Quat q;
  Q7HPBToQ(&q, angles);
  return push_quat(L, q);
}

int make_matrix(lua_State *L) {
  Q7Matrix m;
  Q7MxIdentity(&m);
  if (lua_gettop(L) > 0) check_numbers(L, &m.m[0][0], 16, 16);
  return push_matrix(L, m);
}

// A matrix that is made of three numbers.
template <auto Make>
int make_of_three(lua_State *L) {
  double d[3] = {};
  check_numbers(L, d, 3, 3);
  Q7Matrix m;
  Make(&m, d[0], d[1], d[2]);
  return push_matrix(L, m);
}

// q7.rotation(axis, angle, origin)
int make_rotation(lua_State *L) {
  const Q7Vector *axis = check_vector(L, 1);
  const double angle = luaL_checknumber(L, 2);
  const Q7Vector *origin = lua_isnoneornil(L, 3) ? VIdentityO() : check_vector(L, 3);
  Q7Matrix m;
  Q7MxRotate(&m, origin, axis, angle);
  return push_matrix(L, m);
}

void open_kind(lua_State *L, Kind kind, const char *name, const luaL_Reg *methods) {
  constexpr luaL_Reg kMeta[] = {{"__add", value_add},      {"__div", value_divide},
                                {"__eq", value_equal},     {"__len", value_length},
                                {"__mul", value_multiply}, {"__newindex", value_newindex},
                                {"__sub", value_subtract}, {"__tostring", value_tostring},
                                {"__unm", value_negate},   {nullptr, nullptr}};
  make_metatable(L, &kMetaKeys[kind], name, kMeta, methods, value_index);
}

}  // namespace

Value *push_value(lua_State *L, Kind kind, const double *d) {
  const auto size = static_cast<size_t>(kInfo[kind].count) * sizeof(double);
  auto *value = static_cast<Value *>(lua_newuserdatauv(L, sizeof(Value) + size, 1));
  *value = {Value::kMagic, static_cast<uint8_t>(kind), static_cast<uint8_t>(kInfo[kind].count), false, {}};
  std::memcpy(value->d(), d, size);
  set_metatable(L, &kMetaKeys[kind]);
  return value;
}

double *test_value(lua_State *L, int index, Kind kind) {
  Value *value = test_any(L, index);
  return value && value->kind == kind ? value->d() : nullptr;
}

double *check_value(lua_State *L, int index, Kind kind) {
  double *d = test_value(L, index, kind);
  if (!d) {
    const Value *other = test_any(L, index);
    luaL_error(L, "a %s expected, got %s", kInfo[kind].name, other ? kInfo[other->kind].name : luaL_typename(L, index));
  }
  return d;
}

void open_values(lua_State *L) {
  constexpr luaL_Reg kVectorMethods[] = {
      {"angle", vector_angle},  {"copy", value_copy},   {"cross", vector_cross}, {"distance", vector_distance},
      {"dot", value_dot},       {"length", value_norm}, {"mix", value_mix},      {"normalize", value_normalize},
      {"unpack", value_unpack}, {nullptr, nullptr}};
  constexpr luaL_Reg kVector4Methods[] = {
      {"copy", value_copy},           {"dot", value_dot},       {"length", value_norm}, {"mix", value_mix},
      {"normalize", value_normalize}, {"unpack", value_unpack}, {nullptr, nullptr}};
  constexpr luaL_Reg kColorMethods[] = {
      {"copy", value_copy}, {"hsl", color_hsl}, {"mix", value_mix}, {"unpack", value_unpack}, {nullptr, nullptr}};
  constexpr luaL_Reg kQuatMethods[] = {{"axis", quat_axis},      {"conjugate", quat_conjugate},
                                       {"copy", value_copy},     {"dot", value_dot},
                                       {"hpb", quat_hpb},        {"length", value_norm},
                                       {"matrix", quat_matrix},  {"normalize", value_normalize},
                                       {"unpack", value_unpack}, {nullptr, nullptr}};
  constexpr luaL_Reg kMatrixMethods[] = {
      {"at", matrix_at},           {"copy", value_copy},  {"direction", matrix_direction},
      {"inverse", matrix_inverse}, {"quat", matrix_quat}, {"transpose", matrix_transpose},
      {"unpack", value_unpack},    {nullptr, nullptr}};
  open_kind(L, kVector, "q7.vector", kVectorMethods);
  open_kind(L, kVector4, "q7.vector4", kVector4Methods);
  open_kind(L, kColor, "q7.color", kColorMethods);
  open_kind(L, kQuat, "q7.quat", kQuatMethods);
  open_kind(L, kMatrix, "q7.matrix", kMatrixMethods);
  constexpr luaL_Reg kFunctions[] = {{"color", make_color},
                                     {"hpb", make_hpb},
                                     {"hsl", make_hsl},
                                     {"matrix", make_matrix},
                                     {"quat", make_quat},
                                     {"rotation", make_rotation},
                                     {"scaling", make_of_three<Q7MxScale>},
                                     {"translation", make_of_three<Q7MxTranslate>},
                                     {"vector", make_vector},
                                     {"vector4", make_vector4},
                                     {nullptr, nullptr}};
  luaL_setfuncs(L, kFunctions, 0);
}

}  // namespace q7lua
