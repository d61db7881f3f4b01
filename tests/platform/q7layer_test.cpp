// The default layer under a whole application.
#include <malloc.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "app/q7app.h"
#include "app/q7appstr.h"
#include "app/q7async.h"
#include "app/q7idle.h"
#include "core/q7objects.h"
#include "platform/posix/q7posix.h"
#include "tests/support/test_support.h"

using namespace q7test;

namespace {

uint64_t word(const void *pointer) { return reinterpret_cast<uint64_t>(pointer); }

std::vector<std::string> errors;
int record_error(const char *module, int, const char *text, ...) {
  errors.push_back(std::string(module) + ": " + text);
  return 0;
}

}  // namespace

// Stands in front of the layer's: an application that could not be made waits for tasks that it has no class for.
extern "C" void Q7Sleep(uint32_t) {}

namespace {

Q7App *create(const char *language = nullptr) {
  struct {
    const char *language;
  } locale = {language};
  int32_t argc = 0;
  auto handler = reinterpret_cast<uint64_t>(record_error);
  return Q7AppCreate(&argc, nullptr, Q7APP_ErrorHandler, handler, Q7APP_InfoHandler, handler, Q7APP_Locale,
                     word(&locale), 0);
}

class Layer : public Test {
 protected:
  Layer() { errors.clear(); }
};

size_t open_descriptors() {
  size_t count = 0;
  for ([[maybe_unused]] auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) ++count;
  return count;
}

const char *root_text(uint64_t index) {
  Q7Object *root = &Q7ClassFind(Q7C_ROOT)->header;
  return reinterpret_cast<const char *>(
      root->dispatch(root->cl, root, Q7M_STRING, 0, 0, reinterpret_cast<Q7TagItem *>(index)));
}

// The first test of the program: the application's own texts are opened once a process.
TEST_F(Layer, TheApplicationSpeaksItsLanguage) {
  Q7App *app = create("german");
  EXPECT_STREQ(Q7AppStr(1), "Abbrechen");
  EXPECT_STREQ(Q7AppStr(7), "Fehler");
  // The root class opened its texts before the language was known.
  EXPECT_STREQ(root_text(0), "Undefiniertes Attribut");
  Q7AppDelete(app);
  app = create("finnish");
  EXPECT_STREQ(root_text(0), "Määrittelemätön attribuutti");
  Q7AppDelete(app);
  app = create();
  EXPECT_STREQ(root_text(0), "Undefined Attribute");
  Q7AppDelete(app);
}

TEST_F(Layer, AnApplicationIsCreatedAndDeleted) {
  Q7App *app = create();
  ASSERT_NE(app, nullptr);
  EXPECT_EQ(Q7FindTask(0), app->main_task);
  EXPECT_EQ(Q7IsMainThread(), 1);
  Q7AppDelete(app);
  EXPECT_EQ(Q7ApplicationContext, nullptr);
  EXPECT_TRUE(errors.empty()) << errors[0];
}

TEST_F(Layer, AThousandApplicationsLeaveNothingBehind) {
  Capture quiet(1);
  // The first ones fill what the process keeps: the date's zone, the settings library's own.
  for (int i = 0; i < 3; ++i) Q7AppDelete(create());
  size_t descriptors = open_descriptors();
  int threads = thread_count();
#if defined __SANITIZE_ADDRESS__ || defined __SANITIZE_THREAD__
  constexpr int kRounds = 100;
#else
  constexpr int kRounds = 1000;
#endif
  for (int i = 0; i < kRounds; ++i) {
    Q7App *app = create(i % 2 ? "german" : "finnish");
    ASSERT_NE(app, nullptr) << i;
    Q7WakeUpGui(app);
    Q7AppDelete(app);
    ASSERT_EQ(open_descriptors(), descriptors) << i;
  }
  EXPECT_EQ(thread_count(), threads);
  EXPECT_TRUE(errors.empty()) << errors[0];
}

// A window with gadgets in a whole application, drawn by the main loop, told an event, and written as pictures.
void draw_a_window(Q7App *app, const std::string &folder, bool pictures) {
  ASSERT_EQ(Q7RegisterOSGadgetClass(app), 1);
  ASSERT_EQ(Q7RegisterWindowClass(app), 1);
  Q7Object *window = Q7ObjectCreate(20, 41503, uint64_t{100}, 41504, uint64_t{60}, 0);
  Q7Object *gadget = Q7ObjectCreate(26, 41500, word(window), 21500, word("Draw"), 0);
  ASSERT_NE(gadget, nullptr);
  Q7SendMsg(window, 41006, 0);
  const Q7Event press = {Q7EVENT_PRESS, 1, 0, 5, 5, 0, 0, 0, 0, nullptr};
  window->dispatch(window->cl, window, Q7M_WINDOW_EVENT, 0, 0,
                   reinterpret_cast<Q7TagItem *>(const_cast<Q7Event *>(&press)));
  Q7ProcessEvents(app, Q7PROCESS_POLL, 0);
  for (const char *name : {"/a.svg", "/a.png", "/a.txt"}) {
    if (!pictures) break;
    const std::string path = folder + name;
    ASSERT_EQ(Q7SendMsg(window, Q7M_WINDOW_PICTURE, Q7A_DRAWING_PATH, word(path.c_str()), 0), 1u);
  }
  Q7ObjectDelete(window);
}

TEST_F(Layer, AThousandApplicationsThatDrawLeaveNothingBehind) {
  Capture quiet(1);
#if defined __SANITIZE_ADDRESS__ || defined __SANITIZE_THREAD__
  constexpr int kRounds = 50;
#else
  constexpr int kRounds = 1000;
#endif
  size_t descriptors = 0;
  [[maybe_unused]] size_t bytes = 0;
  const int threads = thread_count();
  for (int i = -100; i < kRounds; ++i) {
    // The first ones fill what the process keeps: fonts, the drawing library's own stores.
    if (i == 0) {
      descriptors = open_descriptors();
      bytes = mallinfo2().uordblks;
    }
    Q7App *app = create();
    ASSERT_NE(app, nullptr) << i;
    draw_a_window(app, home(), i % 10 == 0);
    Q7AppDelete(app);
  }
  const size_t left = open_descriptors();
  quiet.stop();
  EXPECT_EQ(left, descriptors);
  EXPECT_EQ(thread_count(), threads);
#if !defined __SANITIZE_ADDRESS__ && !defined __SANITIZE_THREAD__
  // What the process keeps grows a little still, and ever slower; the smallest block a round would be more.
  EXPECT_LT(mallinfo2().uordblks, bytes + 32 * kRounds);
#endif
  EXPECT_TRUE(errors.empty()) << errors[0];
}

TEST_F(Layer, AWindowThatWasLeftBehindDoesNotReachTheNextApplication) {
  Capture quiet(1);
  Q7App *app = create();
  ASSERT_EQ(Q7RegisterWindowClass(app), 1);
  static Q7Object *left;  // stays known, or it would count as lost
  left = Q7ObjectCreate(20, 41503, uint64_t{100}, 41504, uint64_t{60}, 0);
  Q7SendMsg(left, 41006, 0);
  Q7AppDelete(app);
  app = create();
  ASSERT_EQ(Q7RegisterWindowClass(app), 1);
  EXPECT_EQ(Q7ProcessEvents(app, Q7PROCESS_POLL, 0), 0);
  Q7AppDelete(app);
}

TEST_F(Layer, TheMainLoopRunsAndEnds) {
  Q7App *app = create();
  static int count;
  count = 0;
  Q7AppDoWhenIdle(
      app, [](uint64_t, Q7IdleMsg *) { ++count; }, 0);
  std::thread other([&] {
    Q7SleepMs(10);
    Q7AppDoWhenIdle(
        app, [](uint64_t, Q7IdleMsg *) { Q7AppTerminate(Q7ApplicationContext); }, 0);
  });
  EXPECT_EQ(Q7ProcessEvents(app, 0, 0), 1);
  other.join();
  EXPECT_EQ(count, 1);
  EXPECT_EQ(app->running, 0);
  Q7AppDelete(app);
}

TEST_F(Layer, TheNextApplicationsLoopRunsAgain) {
  Q7App *app = create();
  Q7AppTerminate(app);
  EXPECT_EQ(Q7ProcessEvents(app, 0, 0), 1);
  Q7AppDelete(app);
  app = create();
  EXPECT_EQ(Q7ProcessEvents(app, 0, Q7A_PROCESS_TIMEOUT, uint64_t{5}, 0), 0);
  Q7AppDelete(app);
}

TEST_F(Layer, InstallFoldersComeFromTheStore) {
  Q7App *app = create();
  void *key = Q7AppCreateRegistry(app, 1, "App Paths");
  Q7AppWriteRegistryString(app, key, "Home", "/opt/here");
  Q7AppWriteRegistryString(app, key, "NetHome", "/net/there");
  Q7AppCloseRegistry(app, key);
  Q7AppDelete(app);
  app = create();
  EXPECT_STREQ(app->home, "/opt/here");
  EXPECT_STREQ(app->net_home, "/net/there");
  Q7AppDelete(app);
}

TEST_F(Layer, WithoutAUsableHomeTheApplicationStillStarts) {
  for (const char *unusable : {"/dev/null", "", "/proc"}) {
    setenv("HOME", unusable, 1);
    Q7App *app = create();
    EXPECT_NE(app, nullptr) << unusable;
    Q7AppDelete(app);
  }
}

TEST_F(Layer, ADamagedStoreDoesNotStopTheApplication) {
  auto folder = home() / ".Karmonic7D/Karmonic-9.1";
  std::filesystem::create_directories(folder);
  write_file(folder / "settings.sqlite3", "SQLite format 3 and then nothing of the kind");
  Q7App *app = create();
  ASSERT_NE(app, nullptr);
  Q7AppDelete(app);
  EXPECT_TRUE(std::filesystem::exists(folder / "settings.sqlite3.damaged-1"));
}

TEST_F(Layer, RefusedDescriptorsFailTheCreationCleanly) {
  size_t descriptors = open_descriptors();
  rlimit before;
  getrlimit(RLIMIT_NOFILE, &before);
  rlimit none = {0, before.rlim_max};
  setrlimit(RLIMIT_NOFILE, &none);
  Q7App *app = create();
  setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_EQ(app, nullptr);
  EXPECT_EQ(Q7ApplicationContext, nullptr);
  EXPECT_EQ(open_descriptors(), descriptors);
  app = create();
  EXPECT_NE(app, nullptr);
  Q7AppDelete(app);
}

TEST_F(Layer, EveryFailingAllocationOfTheCreationIsSurvived) {
  Capture quiet(1);
  Q7AppDelete(create());
  size_t descriptors = open_descriptors();
  bool failed = true;
  for (int64_t n = 1; failed; ++n) {
    ASSERT_LT(n, 5000);
    AllocGate gate;
    gate.fail(n);
    // The record itself is the first allocation; without it the reference count stays, so that one is left out.
    if (n == 1) continue;
    Q7App *app = create();
    failed = gate.refused() != 0;
    gate.pass();
    if (app) Q7AppDelete(app);
    ASSERT_EQ(Q7ApplicationContext, nullptr) << n;
    ASSERT_EQ(open_descriptors(), descriptors) << n;
  }
}

// The executor is the library's own code on the layer's tasks and signals.
TEST_F(Layer, ExecutorsRunAndLeaveNoThread) {
  Q7App *app = create();
  ASSERT_EQ(Q7RegisterAsyncExecutorClass(app), 1);
  static std::atomic<int64_t> sum;
  static std::atomic<int> off_main;
  sum = 0;
  off_main = 0;
  Q7ClassCreate(
      Q7C_ROOT, 104,
      [](Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) -> uint64_t {
        if (method != 104000) return cl->superdispatch(cl->super, obj, method, a, b, tags);
        sum += static_cast<int64_t>(a);
        off_main += !Q7IsMainThread();
        return 1;
      },
      0, 0);
  Q7Object *target = Q7ObjectCreate(104, 0);
  int threads = thread_count();
  for (int round = 0; round < 5; ++round) {
    Q7Object *executors[4];
    for (auto *&executor : executors) {
      executor = Q7ObjectCreate(Q7C_ASYNC, 0);
      ASSERT_NE(executor, nullptr);
    }
    for (uint64_t i = 0; i < 100; ++i) {
      Q7TagItem tags[2] = {{Q7A_ASYNC_ARG1, i}, {0, 0}};
      Q7Object *executor = executors[i % 4];
      EXPECT_EQ(executor->dispatch(executor->cl, executor, Q7M_ASYNC_QUEUE, word(target), 104000, tags), 1u);
    }
    for (auto *executor : executors) Q7ObjectDelete(executor);
  }
  EXPECT_EQ(sum.load(), 5 * 4950);
  EXPECT_EQ(off_main.load(), 500);
  for (int tries = 0; tries < 1000 && thread_count() > threads; ++tries) Q7SleepMs(1);
  EXPECT_EQ(thread_count(), threads);
  Q7ObjectDelete(target);
  Q7AppDelete(app);
}

// ---- The shutdown write under kill -9 ----

constexpr int kValues = 20;
int32_t values[kValues];
Q7PublicAttribute rows[kValues + 1];
char names[kValues][8];

uint64_t keeper_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  bool set = method == Q7M_SETCLASSATTRS;
  if ((set || method == Q7M_GETCLASSATTRS) && tags && tags->tag >= 103500 && tags->tag < 103500 + kValues) {
    int32_t &value = values[tags->tag - 103500];
    if (set) {
      value = static_cast<int32_t>(tags->data);
    } else {
      *reinterpret_cast<int32_t *>(tags->data) = value;
    }
    return 0;
  }
  return cl->superdispatch(cl->super, obj, method, a, b, tags);
}

void make_keeper() {
  for (uint32_t i = 0; i < kValues; ++i) {
    snprintf(names[i], sizeof names[i], "V%u", i);
    rows[i] = {};
    rows[i].name = names[i];
    rows[i].tag = 103500 + i;
    rows[i].type = 1;
  }
  Q7ClassCreate(Q7C_ROOT, 103, keeper_dispatch, 0, Q7CT_PUBATTRS, word(rows), Q7CT_NAME, word("keeper"), 0);
}

TEST_F(Layer, KillingTheShutdownWriteLeavesWholeSettings) {
  auto *stored = static_cast<std::atomic<int32_t> *>(
      mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  auto *leaving = stored + 1;
  unsigned random = 7;
  for (int round = 1; round <= 200; ++round) {
    leaving->store(0);
    pid_t child = fork();
    if (child == 0) {
      Q7App *app = create();
      make_keeper();
      std::fill(std::begin(values), std::end(values), round);
      leaving->store(1);
      Q7AppDelete(app);
      stored->store(round);
      _exit(0);
    }
    while (!leaving->load()) usleep(50);
    // On a slow disk no write would be finished by chance, so some rounds wait for it.
    for (int tries = 0; round % 10 == 0 && tries < 20000 && stored->load() < round; ++tries) usleep(500);
    random = random * 1103515245 + 12345;
    usleep((random >> 16) % 30000);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    // A reader of its own process, as the next start is one.
    pid_t reader = fork();
    if (reader == 0) {
      create();
      std::fill(std::begin(values), std::end(values), 0);
      make_keeper();
      bool whole = std::all_of(std::begin(values), std::end(values), [](int32_t v) { return v == values[0]; });
      bool recent = values[0] >= stored->load() && values[0] <= round;
      _exit(!whole ? 1 : !recent ? 2 : errors.empty() ? 0 : 3);
    }
    int status = 0;
    waitpid(reader, &status, 0);
    ASSERT_EQ(WEXITSTATUS(status), 0) << "round " << round;
  }
  EXPECT_GT(stored->load(), 0);
  munmap(stored, 4096);
}

}  // namespace
