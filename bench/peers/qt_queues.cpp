// qt_queues: Qt's queued calls and its thread pool as peers of the idle queues and the executor.
#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QMetaObject>
#include <QObject>
#include <QThreadPool>

#include "bench/peers/batch.hpp"

namespace {

using q7bench::kBatch;

q7bench::Batch batch;
int64_t worked;

void peer_qt_queued_call(benchmark::State &state) {
  static int argc = 1;
  static char name[] = "app_bench", *argv[] = {name, nullptr};
  static QCoreApplication application(argc, argv);
  QObject object;
  for (auto _ : state) {
    for (int i = 0; i < kBatch; ++i)
      QMetaObject::invokeMethod(
          &object, [] { ++worked; }, Qt::QueuedConnection);
    QCoreApplication::processEvents();
  }
}
BENCHMARK(peer_qt_queued_call);

// A task of its own for every request, as the pool's users write it; the pool deletes it.
class Work : public QRunnable {
 public:
  explicit Work(int number) : number_(number) {}
  void run() override {
    ++worked;
    if (number_ == kBatch) batch.tell();
  }

 private:
  int number_;
};

void peer_qt_thread_pool(benchmark::State &state) {
  QThreadPool pool;
  pool.setMaxThreadCount(1);
  for (auto _ : state) {
    for (int i = 1; i <= kBatch; ++i) pool.start(new Work(i));
    batch.await();
  }
  pool.waitForDone();
}
BENCHMARK(peer_qt_thread_pool)->UseRealTime();

}  // namespace
