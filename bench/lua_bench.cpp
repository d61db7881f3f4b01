// lua_bench: what an access from a script costs. Each benchmark runs a loop in a script and divides its time by the
// accesses, so the loop itself is part of the figure.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "app/q7app.h"
#include "bench/ratios.hpp"
#include "core/q7memory.h"
#include "core/q7objects.h"
#include "core/q7plugin.h"
#include "core/q7root.h"
#include "core/q7typeid.h"
#include "plugins/lua/q7lua.h"

namespace {

constexpr int kAccesses = 10000;  // a run of a script

enum : uint32_t {
  kClass = 4100,
  kSize = 4100500,
  kColor = 4100501,
  kText = 4100502,
  kMembers = 4100503,
  kLight = 4100504
};

struct Scene {
  double size;
  double color[3];
  const char *text;
  Q7List members;
  Q7Object *light;
};

constexpr Q7PublicAttribute row(const char *name, uint32_t tag, uint32_t type, uint32_t flags = 0) {
  Q7PublicAttribute r = {};
  r.name = name;
  r.tag = tag;
  r.type = type;
  r.flags = flags;
  return r;
}
const Q7PublicAttribute rows[] = {
    row("Size", kSize, Q7TID_FLOAT),     row("Color", kColor, Q7TID_RGB),
    row("Text", kText, Q7TID_STRING),    row("Members", kMembers, Q7TID_OBJECT2, Q7PAF_LIST),
    row("Light", kLight, Q7TID_OBJECT2), {}};

uint64_t arg(const void *pointer) { return reinterpret_cast<uint64_t>(pointer); }
uint64_t inherit(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  return cl->superdispatch(cl->super, obj, method, a, b, tags);
}
bool item(Scene &s, bool set, const Q7TagItem &item) {
  auto *doubles = reinterpret_cast<double *>(item.data);
  double *mine = item.tag == kSize ? &s.size : s.color;
  switch (item.tag) {
    case kSize:
    case kColor: std::memcpy(set ? mine : doubles, set ? doubles : mine, item.tag == kSize ? 8 : 24); return true;
    case kText: *reinterpret_cast<const char **>(item.data) = "a text"; return true;
    case kMembers: *reinterpret_cast<Q7List **>(item.data) = &s.members; return true;
    case kLight:
      if (set) s.light = reinterpret_cast<Q7Object *>(item.data);
      if (!set) *reinterpret_cast<Q7Object **>(item.data) = s.light;
      return true;
    default: return false;
  }
}
uint64_t dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto scene = [](Q7Object *of) -> Scene & {
    return *reinterpret_cast<Scene *>(reinterpret_cast<char *>(of) + of->cl->ioffset);
  };
  switch (method) {
    case Q7M_NEW: {
      auto *made = reinterpret_cast<Q7Object *>(inherit(cl, obj, method, a, b, tags));
      if (made) Q7NewList(&scene(made).members);
      return arg(made);
    }
    case Q7M_SET:
    case Q7M_GET: {
      uint64_t unknown = 0;
      for (Q7TagItem *each = tags; each && each->tag; ++each) {
        if (item(scene(obj), method == Q7M_SET, *each)) continue;
        Q7TagItem single[2] = {*each, {Q7TAG_END, 0}};
        if (inherit(cl, obj, method, 0, 0, single)) unknown = arg(each);
      }
      return unknown;
    }
    case Q7M_COLLECT_TABLES: {
      auto *node = static_cast<Q7AttributeTableNode *>(Q7AllocMem(sizeof(Q7AttributeTableNode), Q7MEM_CLEAR));
      node->table = rows;
      Q7AddTail(reinterpret_cast<Q7List *>(tags), &node->node);
      return inherit(cl, obj, method, a, b, tags);
    }
    default: return inherit(cl, obj, method, a, b, tags);
  }
}

Q7Object *lua;

void tell(const std::string &text) {
  if (lua->dispatch(lua->cl, lua, Q7M_LUA_RUN, 0, 0, reinterpret_cast<Q7TagItem *>(arg(text.c_str())))) return;
  std::fprintf(stderr, "lua_bench: a script failed\n");
  std::exit(2);
}

void bench(benchmark::State &state, const std::string &statement) {
  tell("local scene, size, n = scene, 0, 0 function run() for i = 1, " + std::to_string(kAccesses) + " do " +
       statement + " end end");
  const std::string call = "run()";
  for (auto _ : state) tell(call);
}

void empty_loop(benchmark::State &state) { bench(state, "n = i"); }
void read_number(benchmark::State &state) { bench(state, "n = scene.Size"); }
void write_number(benchmark::State &state) { bench(state, "scene.Size = i"); }
void read_text(benchmark::State &state) { bench(state, "n = scene.Text"); }
void read_colour(benchmark::State &state) { bench(state, "n = scene.Color"); }
void write_colour(benchmark::State &state) { bench(state, "scene.Color = red"); }
void read_object(benchmark::State &state) { bench(state, "n = scene.Light"); }
void write_object(benchmark::State &state) { bench(state, "scene.Light = scene"); }
void read_channel(benchmark::State &state) { bench(state, "n = scene.Light.Color.r"); }
void write_channel(benchmark::State &state) { bench(state, "scene.Light.Color.r = 0.5"); }
void read_by_path(benchmark::State &state) { bench(state, "n = scene:get('Light.Color.r')"); }
void add_vectors(benchmark::State &state) { bench(state, "n = here + there"); }
BENCHMARK(empty_loop);
BENCHMARK(read_number);
BENCHMARK(write_number);
BENCHMARK(read_text);
BENCHMARK(read_colour);
BENCHMARK(write_colour);
BENCHMARK(read_object);
BENCHMARK(write_object);
BENCHMARK(read_channel);
BENCHMARK(write_channel);
BENCHMARK(read_by_path);
BENCHMARK(add_vectors);

}  // namespace

int main(int argc, char **argv) {
  int32_t count = argc;
  Q7App *app = Q7AppCreate(&count, argv, Q7APP_Interactive, uint64_t{0}, Q7APP_Name, arg("bench"), 0);
  if (!app) return 1;
  Q7ClassCreate(Q7C_ROOT, kClass, dispatch, sizeof(Scene), Q7CT_NAME, arg("scene"), 0);
  const auto program = std::filesystem::canonical("/proc/self/exe");
  Q7SetPluginDir(app, (program.parent_path().parent_path() / "plugins").c_str());
  if (!Q7LoadPluginLibrary(app, "q7lua")) {
    std::printf("The plug-in for Lua was not built: nothing to measure.\n");
    Q7AppDelete(app);
    return 0;
  }
  Q7Object *root = Q7ObjectCreate(kClass, Q7A_NAME, arg("root"), 0);
  lua = Q7ObjectCreate(Q7C_LUA, Q7A_PRGLNG_ROOT, arg(root), 0);
  tell(
      "scene = q7.create('scene', {Name = 'scene'}) light = q7.create('scene', {Name = 'light'}) scene.Light = light "
      "red = q7.color(1, 0, 0) here = q7.vector(1, 2, 3) there = q7.vector(4, 5, 6)");
  constexpr double kBar = 400;
  const std::vector<q7bench::Bar> bars = {
      {"an attribute read from Lua: a number", "read_number", "", kBar, kAccesses},
      {"a text", "read_text", "", kBar, kAccesses},
      {"a colour", "read_colour", "", kBar, kAccesses},
      {"an object", "read_object", "", kBar, kAccesses},
      {"an attribute written from Lua: a number", "write_number", "", kBar, kAccesses},
      {"a colour", "write_colour", "", kBar, kAccesses},
      {"an object", "write_object", "", kBar, kAccesses},
      {"three steps, scene.Light.Color.r, read", "read_channel", "", 0, kAccesses},
      {"three steps, written", "write_channel", "", 0, kAccesses},
      {"the same by a textual path, read", "read_by_path", "", 0, kAccesses},
      {"a sum of vectors", "add_vectors", "", 0, kAccesses},
      {"a turn of the loop itself", "empty_loop", "", 0, kAccesses}};
  const int result = q7bench::run(argc, argv, bars);
  tell("light:delete() scene:delete()");
  lua->dispatch(lua->cl, lua, Q7M_DISPOSE, 0, 0, nullptr);
  root->dispatch(root->cl, root, Q7M_DISPOSE, 0, 0, nullptr);
  Q7AppDelete(app);
  return result;
}
