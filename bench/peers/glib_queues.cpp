// glib_queues: GLib's idle sources and its thread pool as peers of the idle queues and the executor.
#include <benchmark/benchmark.h>
#include <glib.h>

#include "bench/peers/batch.hpp"

namespace {

using q7bench::kBatch;

q7bench::Batch batch;
int64_t worked;

gboolean work(gpointer) {
  ++worked;
  return G_SOURCE_REMOVE;
}

void peer_glib_idle(benchmark::State &state) {
  for (auto _ : state) {
    for (int i = 0; i < kBatch; ++i) g_idle_add(work, nullptr);
    while (g_main_context_iteration(nullptr, FALSE)) {
    }
  }
}
BENCHMARK(peer_glib_idle);

void peer_glib_thread_pool(benchmark::State &state) {
  GThreadPool *pool = g_thread_pool_new(
      [](gpointer data, gpointer) {
        ++worked;
        if (GPOINTER_TO_INT(data) == kBatch) batch.tell();
      },
      nullptr, 1, TRUE, nullptr);
  for (auto _ : state) {
    for (int i = 1; i <= kBatch; ++i) g_thread_pool_push(pool, GINT_TO_POINTER(i), nullptr);
    batch.await();
  }
  g_thread_pool_free(pool, FALSE, TRUE);
}
BENCHMARK(peer_glib_thread_pool)->UseRealTime();

}  // namespace
