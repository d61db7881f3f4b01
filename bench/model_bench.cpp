// model_bench: what a change costs: a direct notice, one that goes through the idle queue, one that is collected, and
// whether collecting stays linear in the number of changes.
#include <benchmark/benchmark.h>

#include <cstdint>

#include "app/q7app.h"
#include "app/q7idle.h"
#include "bench/ratios.hpp"
#include "core/q7objects.h"
#include "ui/q7model.h"

namespace {

constexpr uint32_t kViewClass = 3990;
uint64_t told;

uint64_t view_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method != Q7M_NOTICE) return cl->superdispatch(cl->super, obj, method, a, b, tags);
  ++told;
  return 1;
}

uint64_t send(Q7Object *obj, uint32_t method, uint64_t a = 0, uint64_t b = 0, Q7TagItem *tags = nullptr) {
  return obj->dispatch(obj->cl, obj, method, a, b, tags);
}

// A model with some dependents of the same flags.
class Views {
 public:
  Views(int count, uint32_t flags) : model(Q7ObjectCreate(Q7C_MODEL, 0)) {
    for (int i = 0; i < count; ++i) {
      view = Q7ObjectCreate(kViewClass, 0);
      send(model, Q7M_MODEL_ADD, flags, 0, reinterpret_cast<Q7TagItem *>(view));
    }
  }
  ~Views() { Q7ObjectDelete(model); }
  Views(const Views &) = delete;
  Views &operator=(const Views &) = delete;
  Q7Object *model;
  Q7Object *view = nullptr;
};

// What the dependent itself costs.
void dependent_alone(benchmark::State &state) {
  Views views(1, Q7MODEL_DIRECT);
  for (auto _ : state) send(views.view, Q7M_NOTICE, 1, 2, reinterpret_cast<Q7TagItem *>(3));
}
BENCHMARK(dependent_alone);

void direct_notice(benchmark::State &state) {
  Views views(1, Q7MODEL_DIRECT);
  Q7TagItem list[2] = {{100, 1}, {Q7TAG_END, 0}};
  for (auto _ : state) send(views.model, Q7M_MODEL_CHANGED, 0, 0, list);
}
BENCHMARK(direct_notice);

void direct_notice_of_a_hundred(benchmark::State &state) {
  Views views(100, Q7MODEL_DIRECT);
  Q7TagItem list[2] = {{100, 1}, {Q7TAG_END, 0}};
  for (auto _ : state) send(views.model, Q7M_MODEL_CHANGED, 0, 0, list);
}
BENCHMARK(direct_notice_of_a_hundred);

void queued_notice(benchmark::State &state) {
  Views views(1, 0);
  Q7TagItem list[2] = {{100, 1}, {Q7TAG_END, 0}};
  for (auto _ : state) {
    for (int i = 0; i < 100; ++i) send(views.model, Q7M_MODEL_CHANGED, 0, 0, list);
    while (Q7AppDoIdle(Q7ApplicationContext)) {
    }
  }
}
BENCHMARK(queued_notice);

// A batch of different changes, each raised twice.
void batch(benchmark::State &state) {
  Views views(1, Q7MODEL_DIRECT);
  const auto count = static_cast<uint64_t>(state.range(0));
  for (auto _ : state) {
    send(views.model, Q7M_MODEL_BEGIN);
    for (int pass = 0; pass < 2; ++pass) {
      for (uint64_t i = 0; i < count; ++i) {
        Q7TagItem list[2] = {{static_cast<uint32_t>(100 + i % 8), i}, {Q7TAG_END, 0}};
        send(views.model, Q7M_MODEL_CHANGED, 0, 0, list);
      }
    }
    send(views.model, Q7M_MODEL_END);
  }
}
BENCHMARK(batch)->Arg(1000)->Arg(10000);

}  // namespace

int main(int argc, char **argv) {
  Q7App *app = Q7AppCreate(nullptr, nullptr, 0);
  if (!app || !Q7RegisterModelClass(app)) return 2;
  if (!Q7ClassCreate(Q7C_ROOT, kViewClass, view_dispatch, 0, Q7CT_NAME, "view", 0)) return 2;
  const int status = q7bench::run(argc, argv,
                                  {{"the dependent alone", "dependent_alone", "", 0},
                                   {"direct notice: 15 ns and the dependent", "direct_notice", "", 17},
                                   {"direct notice, one of a hundred", "direct_notice_of_a_hundred", "", 15, 100},
                                   {"queued notice, delivery included", "queued_notice", "", 0, 100},
                                   {"batch of 10,000 changes raised twice", "batch/10000", "", 1e8},
                                   {"batch of 10,000 against ten of 1,000", "batch/10000", "batch/1000", 2, 10}});
  Q7AppDelete(app);
  return status;
}
