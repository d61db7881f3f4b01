// The same library file runs on a layer that is not ours and that the program itself brings.
#include <link.h>

#include <atomic>
#include <thread>

#include "app/q7app.h"
#include "app/q7idle.h"
#include "core/q7objects.h"
#include "platform/q7platform.h"
#include "tests/support/test_support.h"

using namespace q7test;

namespace {

class TinyLayer : public Test {
 protected:
  TinyLayer() : app_(Q7AppCreate(&argc_, nullptr, Q7APP_Interactive, uint64_t{0}, 0)) {}
  ~TinyLayer() override { Q7AppDelete(app_); }
  int32_t argc_ = 0;
  Q7App *app_;
};

// The library takes its functions from this program: no other layer is loaded with it.
TEST_F(TinyLayer, TheLibraryBringsNoLayerOfItsOwn) {
  ASSERT_NE(app_, nullptr);
  std::string loaded;
  dl_iterate_phdr(
      [](dl_phdr_info *info, size_t, void *names) {
        *static_cast<std::string *>(names) += std::string(info->dlpi_name) + "\n";
        return 0;
      },
      &loaded);
  EXPECT_NE(loaded.find("libq7common.so"), std::string::npos);
  EXPECT_EQ(loaded.find("libq7platform.so"), std::string::npos);
}

TEST_F(TinyLayer, ItsClassesAreTheOnesInUse) {
  EXPECT_STREQ(Q7ClassFind(Q7C_TASK)->header.name, "tinytask");
  EXPECT_EQ(Q7FindTask(0), app_->main_task);
}

TEST_F(TinyLayer, TheMainLoopRunsIdleWorkFromThreads) {
  static std::atomic<int> count;
  count = 0;
  auto call = [](uint64_t, Q7IdleMsg *) {
    if (++count == 400) Q7AppTerminate(Q7ApplicationContext);
  };
  std::thread threads[4];
  for (auto &thread : threads) {
    thread = std::thread([&] {
      for (int i = 0; i < 100; ++i) Q7AppDoWhenIdle(app_, call, 0);
    });
  }
  EXPECT_EQ(Q7ProcessEvents(app_, 0, 0), 1);
  for (auto &thread : threads) thread.join();
  EXPECT_EQ(count.load(), 400);
}

TEST_F(TinyLayer, TasksAndSignalsWork) {
  static Q7Object *signal;
  signal = Q7ObjectCreate(Q7C_SIGNAL, 0);
  Q7TaskEntry entry = {[](Q7Object *self, void *) {
                         Q7SendMsg(signal, Q7M_SIGNAL_WAKE, 0);
                         Q7TaskWaitTermination(self);
                       },
                       nullptr};
  Q7Object *task = Q7ObjectCreate(Q7C_TASK, Q7A_TASK_ENTRY, reinterpret_cast<uint64_t>(&entry), 0);
  EXPECT_EQ(signal->dispatch(signal->cl, signal, Q7M_SIGNAL_WAIT, 0, 0, nullptr), 1u);
  Q7ObjectDelete(task);
  Q7ObjectDelete(signal);
}

TEST_F(TinyLayer, ASecondApplicationFollowsTheFirst) {
  Q7AppDelete(app_);
  EXPECT_EQ(Q7ApplicationContext, nullptr);
  app_ = Q7AppCreate(&argc_, nullptr, Q7APP_Interactive, uint64_t{0}, 0);
  EXPECT_NE(app_, nullptr);
}

}  // namespace
