// Tests of models whose changes are raised on several threads.
#include <atomic>
#include <thread>

#include "app/q7idle.h"
#include "tests/ui/views_test.h"
#include "ui/q7model.h"

using namespace views;

namespace {

constexpr int kThreads = 8;
constexpr int kChanges = 200;

class ModelThreads : public ViewsTest {
 protected:
  void SetUp() override {
    ViewsTest::SetUp();
    ASSERT_EQ(Q7RegisterModelClass(Q7ApplicationContext), 1);
    model = make(6);
  }
  // Each thread raises its changes: tag: the thread, value: the number.
  void raise() {
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([this, t] {
        for (int i = 0; i < kChanges; ++i) {
          Q7TagItem list[2] = {{static_cast<uint32_t>(100 + t), num(i)}, {0, 0}};
          message(model, 6002, 0, 0, num(&list[0]));
        }
      });
    }
    for (std::thread &t : threads) t.join();
  }
  static void idle() {
    while (Q7AppDoIdle(Q7ApplicationContext)) {
    }
  }
  static void expect_all_in_order(Q7Object *d, size_t threads) {
    std::map<uint64_t, uint64_t> next;
    for (const Message &m : record(d).of(8)) EXPECT_EQ(m.a, next[m.slot]++);
    EXPECT_EQ(next.size(), threads);
    for (const auto &[tag, count] : next) EXPECT_EQ(count, static_cast<uint64_t>(kChanges)) << tag;
  }
  Q7Object *model = nullptr;
};

// What a counting dependent received, and where. References come and go on all threads, so it records notices alone.
struct Notices {
  std::vector<Message> messages;
  bool elsewhere = false;
  std::thread::id main = std::this_thread::get_id();
};
Notices *&notices_of(const Q7Class *cl, Q7Object *obj) {
  return *reinterpret_cast<Notices **>(reinterpret_cast<char *>(obj) + cl->ioffset);
}
uint64_t count_notices(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method != 8) return cl->superdispatch(cl->super, obj, method, a, b, tags);
  Notices *notices = notices_of(cl, obj);
  if (std::this_thread::get_id() != notices->main) notices->elsewhere = true;
  notices->messages.push_back({method, a, b, num(tags)});
  return 1;
}

TEST_F(ModelThreads, MainThreadDependentsAreReachedThroughTheIdleQueueOnly) {
  Q7Class *cl = Q7ClassCreate(0, 3960, count_notices, sizeof(Notices *), Q7CT_NAME, "counter", 0);
  ASSERT_NE(cl, nullptr);
  constexpr uint64_t kFlags[3] = {0, 1, 8};
  Notices notices[3];
  for (uint64_t i = 0; i < 3; ++i) {
    Q7Object *d = make(3960);
    notices_of(cl, d) = &notices[i];
    message(model, 6000, kFlags[i], i, num(d));
  }
  raise();
  for (const Notices &n : notices) EXPECT_TRUE(n.messages.empty());
  idle();
  for (uint64_t i = 0; i < 3; ++i) {
    EXPECT_FALSE(notices[i].elsewhere);
    std::map<uint64_t, uint64_t> next;
    for (const Message &m : notices[i].messages) {
      EXPECT_EQ(m.b, i);
      EXPECT_EQ(m.a, next[m.slot]++);
    }
    EXPECT_EQ(next.size(), static_cast<size_t>(kThreads));
    for (const auto &[tag, count] : next) EXPECT_EQ(count, static_cast<uint64_t>(kChanges)) << tag;
  }
  Q7ObjectDelete(model);
}

// Bits 1 and 8: told at once, on the thread that raised the change.
TEST_F(ModelThreads, AnyThreadDependentsAreToldAtOnce) {
  static std::atomic<int> told;
  told = 0;
  struct Atomic {
    static uint64_t dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
      if (method != 8) return cl->superdispatch(cl->super, obj, method, a, b, tags);
      told.fetch_add(1);
      return 1;
    }
  };
  ASSERT_TRUE(Q7ClassCreate(0, 3961, Atomic::dispatch, 0, Q7CT_NAME, "atomic", 0));
  Q7Object *d = make(3961);
  message(model, 6000, 9, 0, num(d));
  raise();
  EXPECT_EQ(told, kThreads * kChanges);
  Q7ObjectDelete(model);
}

// The end of a batch looks at bit 1 alone: the thread that ends it tells.
TEST_F(ModelThreads, EndOfABatchTellsOnItsThread) {
  Q7Object *d = make(kRecorder);
  message(model, 6000, 1, 0, num(d));
  std::thread::id told;
  record(d).hook = [&](const Message &m) {
    if (m.method == 8) told = std::this_thread::get_id();
  };
  message(model, 6003);
  list_message(model, 6002, {{101, 1}});
  std::thread::id other;
  std::thread ender([&] {
    other = std::this_thread::get_id();
    message(model, 6004);
  });
  ender.join();
  EXPECT_EQ(told, other);
  Q7ObjectDelete(model);
}

// Changes of all threads are collected in one batch, each once.
TEST_F(ModelThreads, ThreadsShareABatch) {
  Q7Object *d = make(kRecorder);
  message(model, 6000, 1, 0, num(d));
  message(model, 6003);
  raise();
  raise();
  EXPECT_TRUE(record(d).of(8).empty());
  message(model, 6004);
  expect_all_in_order(d, kThreads);
  Q7ObjectDelete(model);
}

TEST_F(ModelThreads, ThreadsBeginAndEndBatchesOfTheirOwn) {
  Q7Object *d = make(3950);
  message(d, 9);
  message(model, 6000, 2, 0, num(d));  // muted: the list is walked, nobody is told
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([this, t] {
      for (int i = 0; i < kChanges; ++i) {
        message(model, 6003);
        Q7TagItem list[2] = {{static_cast<uint32_t>(100 + t), num(i)}, {0, 0}};
        message(model, 6002, 0, 0, num(&list[0]));
        message(model, 6004);
      }
    });
  }
  for (std::thread &t : threads) t.join();
  message(model, 6001, 0, 0, num(d));
  message(model, 6000, 1, 0, num(d));
  record(d).messages.clear();
  list_message(model, 6002, {{107, 7}});  // no batch is left open
  EXPECT_EQ(record(d).of(8).size(), 1u);
  Q7ObjectDelete(model);
  message(d, 10);
}

}  // namespace
