// platform_bench: how long a sleeping thread takes to notice a wake from another one: the main loop, a signal, a lock
// that is handed over; and what queueing costs. The program says whether the main loop keeps its bound.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>
#include <vector>

#include "app/q7app.h"
#include "app/q7idle.h"
#include "core/q7objects.h"
#include "platform/posix/q7posix.h"

namespace {

using Clock = std::chrono::steady_clock;

Q7App *app;
std::vector<double> loop_latencies;  // microseconds

double median(std::vector<double> values) {
  if (values.empty()) return 0;
  std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
  return values[values.size() / 2];
}

// The main loop sleeps; another thread queues one call at a time and lets it fall asleep again in between.
void wake_main_loop(benchmark::State &state) {
  static Clock::time_point queued;
  static std::atomic<bool> done;
  static double latency;
  auto call = [](uint64_t, Q7IdleMsg *) {
    latency = std::chrono::duration<double, std::micro>(Clock::now() - queued).count();
    done.store(true);
  };
  static std::atomic<bool> stop;
  static std::atomic<int> asked;
  stop = false;
  asked = 0;
  std::thread waker([&] {
    int served = 0;
    while (!stop.load()) {
      if (asked.load() == served) {
        std::this_thread::yield();
        continue;
      }
      std::this_thread::sleep_for(std::chrono::microseconds(200));
      ++served;
      queued = Clock::now();
      Q7AppDoWhenIdle(app, call, 0);
    }
  });
  for (auto _ : state) {
    done = false;
    ++asked;
    while (!done.load()) Q7ProcessEventsA(app, Q7PROCESS_ONCE, nullptr);
    state.SetIterationTime(latency * 1e-6);
    loop_latencies.push_back(latency);
  }
  stop = true;
  waker.join();
}
BENCHMARK(wake_main_loop)->UseManualTime()->Iterations(5000);

// A wake of the loop that is answered already costs no system call.
void wake_again(benchmark::State &state) {
  Q7WakeUpGui(app);
  for (auto _ : state) Q7WakeUpGui(app);
  Q7ProcessEventsA(app, Q7PROCESS_POLL, nullptr);
}
BENCHMARK(wake_again);

// There and back between two threads through two signals.
void signal_round_trip(benchmark::State &state) {
  static Q7Object *there;
  static Q7Object *back;
  there = Q7ObjectCreate(Q7C_SIGNAL, 0);
  back = Q7ObjectCreate(Q7C_SIGNAL, 0);
  static std::atomic<bool> stop;
  stop = false;
  auto wait = [](Q7Object *signal) { signal->dispatch(signal->cl, signal, Q7M_SIGNAL_WAIT, 0, 0, nullptr); };
  auto wake = [](Q7Object *signal) { signal->dispatch(signal->cl, signal, Q7M_SIGNAL_WAKE, 0, 0, nullptr); };
  std::thread other([&] {
    for (;;) {
      wait(there);
      if (stop.load()) return;
      wake(back);
    }
  });
  for (auto _ : state) {
    wake(there);
    wait(back);
  }
  stop = true;
  wake(there);
  other.join();
  Q7ObjectDelete(there);
  Q7ObjectDelete(back);
}
BENCHMARK(signal_round_trip)->UseRealTime();

void lock_and_unlock(benchmark::State &state) {
  void *lock = Q7LockAlloc();
  for (auto _ : state) {
    Q7Lock(lock);
    Q7Unlock(lock);
  }
  Q7LockFree(lock);
}
BENCHMARK(lock_and_unlock);

void start_and_dispose_a_task(benchmark::State &state) {
  Q7TaskEntry entry = {[](Q7Object *, void *) {}, nullptr};
  for (auto _ : state) {
    Q7ObjectDelete(Q7ObjectCreate(Q7C_TASK, Q7A_TASK_ENTRY, reinterpret_cast<uint64_t>(&entry), 0));
  }
}
BENCHMARK(start_and_dispose_a_task)->UseRealTime();

}  // namespace

int main(int argc, char **argv) {
  benchmark::Initialize(&argc, argv);
  int32_t count = argc;
  app = Q7AppCreate(&count, argv, Q7APP_Interactive, uint64_t{0}, 0);
  if (!app) return 1;
  benchmark::RunSpecifiedBenchmarks();
  Q7AppDelete(app);
  if (loop_latencies.empty()) return 0;
  double latency = median(loop_latencies);
  std::printf("wake-up latency of the main loop: median %.1f us, bound 30 us: %s\n", latency,
              latency < 30 ? "pass" : "FAIL");
  return latency < 30 ? 0 : 1;
}
