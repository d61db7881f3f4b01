// batch: the batch in which queues are measured, and how the worker of its last item tells the producer.
#ifndef Q7_BENCH_PEERS_BATCH_HPP
#define Q7_BENCH_PEERS_BATCH_HPP

#include <atomic>

namespace q7bench {

constexpr int kBatch = 1000;

class Batch {
 public:
  void tell() {
    done_.store(1, std::memory_order_release);
    done_.notify_one();
  }
  void await() {
    done_.wait(0, std::memory_order_acquire);
    done_.store(0, std::memory_order_relaxed);
  }

 private:
  std::atomic<int> done_{0};
};

}  // namespace q7bench

#endif
