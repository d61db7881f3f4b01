// qdatastream: doubles through Qt's data stream into a file and back, one operator call each; the stream's own byte
// order, highest byte first.
#include <benchmark/benchmark.h>

#include <QDataStream>
#include <QFile>
#include <cstdio>

namespace {

constexpr int kDoubles = 1 << 20;

void qdatastream_write(benchmark::State &state) {
  for (auto _ : state) {
    QFile file("q7bench.tmp");
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) return state.SkipWithError("cannot write");
    QDataStream stream(&file);
    for (int i = 0; i < kDoubles; ++i) stream << i * 0.5;
    file.close();
  }
  std::remove("q7bench.tmp");
}
BENCHMARK(qdatastream_write)->Unit(benchmark::kMillisecond);

void qdatastream_read(benchmark::State &state) {
  {
    QFile file("q7bench.tmp");
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) return state.SkipWithError("cannot write");
    QDataStream stream(&file);
    for (int i = 0; i < kDoubles; ++i) stream << i * 0.5;
  }
  for (auto _ : state) {
    QFile file("q7bench.tmp");
    if (!file.open(QIODevice::ReadOnly)) return state.SkipWithError("cannot read");
    QDataStream stream(&file);
    double sum = 0, value = 0;
    for (int i = 0; i < kDoubles; ++i) {
      stream >> value;
      sum += value;
    }
    benchmark::DoNotOptimize(sum);
  }
  std::remove("q7bench.tmp");
}
BENCHMARK(qdatastream_read)->Unit(benchmark::kMillisecond);

}  // namespace
