// ui_bench: what layout, geometry attributes and search cost. The slaves of the layout benchmarks answer their sizes
// and nothing else, so that what is measured is the manager; with widgets as slaves the same pass is shown beside it.
#include "bench/ratios.hpp"

#include <string>
#include <vector>

#include "app/q7app.h"
#include "core/q7objects.h"
#include "core/q7root.h"
#include "ui/q7packer.h"
#include "ui/q7placer.h"

namespace {

constexpr int kCount = 10000;
constexpr uint32_t kBareClass = 2999;
const double kWhole = 1;

uint64_t message(Q7Object *obj, uint32_t method, void *slot = nullptr) {
  return obj->dispatch(obj->cl, obj, method, 0, 0, static_cast<Q7TagItem *>(slot));
}
template <class T>
uint64_t num(T *value) {
  return reinterpret_cast<uint64_t>(value);
}

// A slave that costs next to nothing.
uint64_t bare(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  switch (method) {
    case Q7M_SET:
    case Q7M_WIDGET_LAYOUT: return 0;
    case Q7M_GET:
      for (; tags->tag; ++tags) *reinterpret_cast<int32_t *>(tags->data) = 3;
      return 0;
    default: return cl->superdispatch(cl->super, obj, method, a, b, tags);
  }
}

Q7Object *full_manager(uint32_t clid, uint32_t slave_class) {
  Q7Object *manager = Q7ObjectCreateA(clid, nullptr);
  for (int i = 0; i < kCount; ++i) {
    Q7TagItem size[] = {{Q7A_WIDGET_MIN_WIDTH, 20}, {Q7A_WIDGET_MIN_HEIGHT, 3}, {0, 0}};
    Q7TagItem *tags = slave_class == Q7C_WIDGET ? size : nullptr;
    Q7TagItem add[] = {{Q7A_GMANAGER_SLAVE, num(Q7ObjectCreateA(slave_class, tags))},
                       {Q7A_PACKER_FLAGS, Q7PACK_EXPAND | Q7PACK_FILL_X},
                       {Q7A_PLACER_RELATIVE_WIDTH, num(&kWhole)},
                       {Q7A_PLACER_RELATIVE_HEIGHT, num(&kWhole)},
                       {0, 0}};
    message(manager, Q7M_GMANAGER_ADD, add);
  }
  Q7TagItem rectangle[] = {{Q7A_WIDGET_WIDTH, 200}, {Q7A_WIDGET_HEIGHT, 4 * kCount}, {0, 0}};
  message(manager, Q7M_SET, rectangle);
  return manager;
}

int32_t natural_height(Q7Object *manager) {
  int32_t height = 0;
  Q7TagItem ask[] = {{Q7A_WIDGET_MIN_HEIGHT, num(&height)}, {0, 0}};
  message(manager, Q7M_GET, ask);
  return height;
}

void layout(benchmark::State &state, uint32_t clid, uint32_t slave_class) {
  Q7Object *manager = full_manager(clid, slave_class);
  natural_height(manager);
  for (auto _ : state) message(manager, Q7M_WIDGET_LAYOUT);
  Q7ObjectDelete(manager);
}
BENCHMARK_CAPTURE(layout, packer, Q7C_PACKER, kBareClass);
BENCHMARK_CAPTURE(layout, packer_of_widgets, Q7C_PACKER, Q7C_WIDGET);
BENCHMARK_CAPTURE(layout, placer, Q7C_PLACER, kBareClass);
BENCHMARK_CAPTURE(layout, placer_of_widgets, Q7C_PLACER, Q7C_WIDGET);

void size(benchmark::State &state, uint32_t clid) {
  Q7Object *manager = full_manager(clid, kBareClass);
  for (auto _ : state) benchmark::DoNotOptimize(natural_height(manager));
  Q7ObjectDelete(manager);
}
BENCHMARK_CAPTURE(size, packer, Q7C_PACKER);
BENCHMARK_CAPTURE(size, placer, Q7C_PLACER);

void set_geometry(benchmark::State &state) {
  Q7Object *w = Q7ObjectCreateA(Q7C_WIDGET, nullptr);
  Q7TagItem list[] = {{Q7A_WIDGET_X, 5}, {0, 0}};
  for (auto _ : state) message(w, Q7M_SET, list);
  Q7ObjectDelete(w);
}
BENCHMARK(set_geometry);

void get_geometry(benchmark::State &state) {
  Q7Object *w = Q7ObjectCreateA(Q7C_WIDGET, nullptr);
  int32_t x = 0;
  Q7TagItem list[] = {{Q7A_WIDGET_X, num(&x)}, {0, 0}};
  for (auto _ : state) message(w, Q7M_GET, list);
  Q7ObjectDelete(w);
}
BENCHMARK(get_geometry);

void find_anywhere(benchmark::State &state) {
  std::vector<Q7Object *> all = {Q7ObjectCreateA(Q7C_WIDGET, nullptr)};
  for (size_t i = 1; i < kCount; ++i) {
    const std::string name = "widget" + std::to_string(i);
    Q7TagItem list[] = {{Q7A_NAME, num(name.c_str())}, {Q7A_WIDGET_PARENT, num(all[i / 10])}, {0, 0}};
    all.push_back(Q7ObjectCreateA(Q7C_WIDGET, list));
  }
  for (auto _ : state) benchmark::DoNotOptimize(Q7FindByNameAnywhere(nullptr, all[0], "nowhere", 0));
  Q7ObjectDelete(all[0]);
}
BENCHMARK(find_anywhere);

}  // namespace

int main(int argc, char **argv) {
  Q7App *app = Q7AppCreate(nullptr, nullptr, Q7APP_Interactive, uint64_t{0}, 0);
  if (!app || !Q7RegisterPackerClass(app) || !Q7RegisterPlacerClass(app)) return 2;
  if (!Q7ClassCreate(Q7C_ROOT, kBareClass, bare, 0, 0)) return 2;
  const int status =
      q7bench::run(argc, argv,
                   {{"packer: layout pass over 10,000 slaves, a slave", "layout/packer", "", 100, kCount},
                    {"packer: the same with widgets", "layout/packer_of_widgets", "", 0, kCount},
                    {"packer: natural size of 10,000 slaves, a slave", "size/packer", "", 0, kCount},
                    {"placer: layout pass over 10,000 slaves, a slave", "layout/placer", "", 100, kCount},
                    {"placer: the same with widgets", "layout/placer_of_widgets", "", 0, kCount},
                    {"placer: natural size of 10,000 slaves, a slave", "size/placer", "", 0, kCount},
                    {"set of a geometry attribute", "set_geometry", "", 20},
                    {"get of a geometry attribute", "get_geometry", "", 0},
                    {"Q7FindByNameAnywhere over 10,000 widgets, a widget", "find_anywhere", "", 100, kCount}});
  Q7AppDelete(app);
  return status;
}
