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

class Work : public QRunnable {
 public:
  void run() override {
    ++worked;
    if (last) batch.tell();
  }
  bool last = false;
};

void peer_qt_thread_pool(benchmark::State &state) {
  QThreadPool pool;
  pool.setMaxThreadCount(1);
  Work works[kBatch];
  for (Work &work : works) work.setAutoDelete(false);
  works[kBatch - 1].last = true;
  for (auto _ : state) {
    for (Work &work : works) pool.start(&work);
    batch.await();
  }
  pool.waitForDone();
}
BENCHMARK(peer_qt_thread_pool)->UseRealTime();

}  // namespace
