// ratios: how every benchmark program of the project ends: it runs its benchmarks, each several times and interleaved
// with the others, takes the best time of each (on a shared machine the others hold somebody else's work too), and
// prints the bars it has to keep, with pass or FAIL for each. Ratios only compare times of the same run. The exit
// status is 0 when no bar was missed; bars whose benchmarks were filtered out are not looked at.
#ifndef Q7_BENCH_RATIOS_HPP
#define Q7_BENCH_RATIOS_HPP

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace q7bench {

// One bar: the time of `name` may be at most `limit` times that of `peer`, or, without a peer, at most `limit`
// nanoseconds. A limit of 0 prints the figure and asks nothing of it. `scale` divides a time into what one unit of the
// bar is (5000 for a benchmark that makes 5000 things an iteration).
struct Bar {
  std::string what;
  std::string name;
  std::string peer;
  double limit;
  double scale = 1;
};

class Times : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context &) override { return true; }
  void ReportRuns(const std::vector<Run> &runs) override {
    for (const Run &run : runs) {
      if (run.run_type != Run::RT_Iteration || run.error_occurred || run.iterations == 0) continue;
      // A benchmark that waits for other threads asks for the time on the clock.
      const bool clock = run.run_name.time_type == "real_time";
      const double total = clock ? run.real_accumulated_time : run.cpu_accumulated_time;
      const double time = total / static_cast<double>(run.iterations) * 1e9;
      auto [entry, fresh] = best_.try_emplace(run.run_name.function_name + arguments(run), time);
      if (fresh) {
        order_.push_back(entry->first);
      } else {
        entry->second = std::min(entry->second, time);
      }
    }
  }
  void print() const {
    for (const std::string &name : order_) std::printf("%-60s %14.2f ns\n", name.c_str(), best_.at(name));
  }
  // Nanoseconds of an iteration; 0 for a benchmark that did not run.
  double of(const std::string &name) const {
    const auto found = best_.find(name);
    return found == best_.end() ? 0 : found->second;
  }

 private:
  static std::string arguments(const Run &run) { return run.run_name.args.empty() ? "" : "/" + run.run_name.args; }
  std::map<std::string, double> best_;
  std::vector<std::string> order_;
};

// Prints one bar; false when it was missed.
inline bool judge(const Bar &bar, const Times &times) {
  const double time = times.of(bar.name) / bar.scale;
  const double peer = bar.peer.empty() ? 1 : times.of(bar.peer);
  if (time <= 0 || peer <= 0) return true;
  const double figure = time / peer;
  const char *unit = bar.peer.empty() ? "ns" : "times";
  if (bar.limit <= 0) {
    std::printf("        %-66s %9.2f %s\n", bar.what.c_str(), figure, unit);
    return true;
  }
  const bool kept = figure <= bar.limit;
  std::printf("%-7s %-66s %9.2f %s (at most %.2f)\n", kept ? "pass" : "FAIL", bar.what.c_str(), figure, unit,
              bar.limit);
  return kept;
}

// The main function of a benchmark program: bench/<room>_bench.cpp ends with `return q7bench::run(argc, argv, bars);`.
// Google Benchmark's own options work; what the command line says comes after the defaults here and wins.
inline int run(int argc, char **argv, const std::vector<Bar> &bars) {
  std::vector<std::string> words = {argv[0], "--benchmark_repetitions=9", "--benchmark_min_time=0.02",
                                    "--benchmark_enable_random_interleaving=true"};
  words.insert(words.end(), argv + 1, argv + argc);
  std::vector<char *> pointers;
  for (std::string &word : words) pointers.push_back(word.data());
  int count = static_cast<int>(pointers.size());
  pointers.push_back(nullptr);
  benchmark::Initialize(&count, pointers.data());
  if (benchmark::ReportUnrecognizedArguments(count, pointers.data())) return 2;
  Times times;
  benchmark::RunSpecifiedBenchmarks(&times);
  benchmark::Shutdown();
  times.print();
  std::printf("\n");
  bool kept = true;
  for (const Bar &bar : bars) kept = judge(bar, times) && kept;
  return kept ? 0 : 1;
}

}  // namespace q7bench

#endif
