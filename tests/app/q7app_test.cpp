#include "app/q7app.h"

#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>

#include "tests/app/app_test.h"

using apptest::AppTest;
using apptest::collect;
using apptest::kProbeMethod;
using apptest::Message;
using apptest::messages;
using apptest::new_probe;
using apptest::num;
using apptest::probe;
using apptest::release;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

namespace {

class App : public AppTest {};

// The recorded calls that creation and teardown themselves make; those of the classes they register are left out.
std::vector<std::string> own_calls() {
  static const char *const own[] = {"J7",
                                    "task(",
                                    "Q7AppOpenLocale(q7common, q7appstr",
                                    "Q7AppOpenRegistry(1, App Paths)",
                                    "Q7AppReadRegistry(Home)",
                                    "Q7AppReadRegistry(NetHome)",
                                    "Q7AppCloseRegistry(App Paths)",
                                    "Q7AppCloseLocale(11)",
                                    "Q7Register",
                                    "Q7Lock",
                                    "Q7Sleep"};
  std::vector<std::string> found;
  for (const std::string &line : fake::calls()) {
    for (const char *prefix : own) {
      if (line.rfind(prefix, 0) == 0) {
        found.push_back(line);
        break;
      }
    }
  }
  return found;
}

// ---- Creation ----

TEST_F(App, CreationOrder) {
  fake::settings()["App Paths"] = {{"Home", "/opt/q7"}, {"NetHome", "/net/q7"}};
  ASSERT_TRUE(create());
  EXPECT_THAT(
      own_calls(),
      ElementsAre("J7OopsInit()", "Q7AppOpenLocale(q7common, q7appstr, 11)", "Q7RegisterTaskClass()",
                  "Q7RegisterSemaphoreClass()", "Q7LockAlloc()", "J7SystemDependInitP1(1)",
                  "Q7AppOpenRegistry(1, App Paths)", "Q7AppReadRegistry(Home)", "Q7AppReadRegistry(NetHome)",
                  "Q7AppCloseRegistry(App Paths)", "Q7RegisterIconClass()", "Q7RegisterCursorClass()",
                  "Q7RegisterTimerClass()", "Q7RegisterMsgPortClass()", "task(main, 3)", "J7SystemDependInitP2(1)"));
}

// What stands and what does not at the moment of each platform call.
TEST_F(App, StateAtEachStep) {
  int32_t count = 5;
  const char *language = "deutsch";
  Q7TagItem tags[] = {{Q7APP_Locale, num(&language)}, {Q7TAG_END, 0}};
  std::vector<std::string> seen;
  fake::set_observer([&](const std::string &line) {
    Q7App *a = Q7ApplicationContext;
    if (line == "J7OopsInit()") {
      seen.push_back("oops");
      EXPECT_TRUE(a && a->classes);
      EXPECT_STREQ("Default", a->name);
      EXPECT_STREQ("8", a->version);
      EXPECT_STREQ("english", a->language);
      EXPECT_STREQ("Karmonic7D", a->product);
      EXPECT_EQ(1, a->mode);
      EXPECT_EQ(128, a->capacity);
      EXPECT_EQ(1, a->running);
      EXPECT_EQ(5, a->argc);
      EXPECT_STREQ(".Karmonic7D/Karmonic-9.1", Q7GetUserFolder());
      EXPECT_EQ(nullptr, a->error_handler);
    } else if (line.rfind("J7SystemDependInitP1", 0) == 0) {
      seen.push_back("p1");
      EXPECT_TRUE(Q7ClassFind(1) && Q7ClassFind(2) && a->lock);
      EXPECT_EQ(nullptr, Q7ClassFind(5));
    } else if (line == "Q7AppOpenRegistry(1, App Paths)") {
      seen.push_back("paths");
      EXPECT_TRUE(Q7ClassFind(5) && Q7ClassFind(596));
      EXPECT_TRUE(std::filesystem::is_directory(home() / ".Karmonic7D/Karmonic-9.1/projects"));
      count = 99;  // overwritten after this step
    } else if (line == "Q7RegisterIconClass()") {
      seen.push_back("icon");
      EXPECT_EQ(5, count);
      EXPECT_STREQ("deutsch", a->language);
    } else if (line == "task(main, 3)") {
      seen.push_back("task");
      EXPECT_EQ(nullptr, a->idle);
      EXPECT_TRUE(Q7ClassFind(fake::kMsgPortClass));
    } else if (line.rfind("J7SystemDependInitP2", 0) == 0) {
      seen.push_back("p2");
      EXPECT_TRUE(a->idle && a->idle_free && a->idle_held.head && a->idle_low.head && a->main_task);
      EXPECT_EQ(1, a->main_task->refcount);
      EXPECT_EQ(&Q7DefAppError, a->error_handler);
      EXPECT_EQ(&Q7DefAppInfo, a->info_handler);
    }
  });
  app = Q7AppCreateA(&count, nullptr, tags);
  fake::set_observer(nullptr);
  EXPECT_TRUE(app);
  EXPECT_THAT(seen, ElementsAre("oops", "p1", "paths", "icon", "task", "p2"));
}

TEST_F(App, MakesTheUsersFolders) {
  ASSERT_TRUE(create());
  for (const char *name : {"temp", "logs", "resources", "icons", "images", "projects"}) {
    EXPECT_TRUE(std::filesystem::is_directory(home() / ".Karmonic7D/Karmonic-9.1" / name)) << name;
  }
}

TEST_F(App, WithoutHomeNoFoldersAreMade) {
  fake::set_home(nullptr);
  ASSERT_TRUE(create());
  EXPECT_FALSE(std::filesystem::exists(home() / ".Karmonic7D"));
}

TEST_F(App, ReadsTheInstallFolders) {
  fake::settings()["App Paths"] = {{"Home", "/opt/q7"}, {"NetHome", "/net/q7"}};
  ASSERT_TRUE(create());
  EXPECT_STREQ("/opt/q7", app->home);
  EXPECT_STREQ("/net/q7", app->net_home);
  EXPECT_EQ(0, fake::live().keys);
}

TEST_F(App, MissingInstallFoldersStayUnset) {
  fake::settings()["App Paths"] = {{"NetHome", "/net/q7"}};
  ASSERT_TRUE(create());
  EXPECT_EQ(nullptr, app->home);
  EXPECT_STREQ("/net/q7", app->net_home);
}

TEST_F(App, MissingKeyIsSilent) {
  ASSERT_TRUE(create());
  EXPECT_EQ(nullptr, app->home);
  EXPECT_EQ(nullptr, app->net_home);
  EXPECT_THAT(apptest::reports(), IsEmpty());
}

TEST_F(App, LongInstallFolderIsKept) {
  fake::settings()["App Paths"] = {{"Home", "/" + std::string(600, 'h')}};
  ASSERT_TRUE(create());
  EXPECT_EQ("/" + std::string(510, 'h'), app->home);
}

// ---- Tags ----

TEST_F(App, Defaults) {
  app = Q7AppCreateA(nullptr, nullptr, nullptr);
  ASSERT_TRUE(app);
  EXPECT_STREQ("Default", app->name);
  EXPECT_STREQ("8", app->version);
  EXPECT_STREQ("english", app->language);
  EXPECT_STREQ(".Karmonic7D/Karmonic-9.1", Q7GetUserFolder());
  EXPECT_EQ(&Q7DefAppError, app->error_handler);
  EXPECT_EQ(&Q7DefAppInfo, app->info_handler);
  EXPECT_EQ(0u, app->flags);
  EXPECT_EQ(1, app->mode);
  EXPECT_EQ(app, Q7ApplicationContext);
  EXPECT_TRUE(app->main_task);
}

TEST_F(App, EveryTag) {
  char *vector[] = {nullptr};
  int32_t count = 3;
  const char *language = "francais";
  Q7TagItem tags[] = {{Q7APP_Name, num("Editor")},
                      {Q7APP_Locale, num(&language)},
                      {Q7APP_Version, num("12.5")},
                      {Q7APP_ProductFolder, num("Other")},
                      {Q7APP_ClientData, 0x123456789abcdef0},
                      {Q7APP_InfoHandler, reinterpret_cast<uint64_t>(&collect)},
                      {Q7APP_ErrorHandler, reinterpret_cast<uint64_t>(&collect)},
                      {Q7APP_Mode, 7},
                      {Q7APP_NoMainTask, 1},
                      {Q7APP_Flag4, 1},
                      {Q7APP_PlatformArg1, 0x1111222233334444},
                      {Q7APP_PlatformArg2, 0x55556666},
                      {Q7APP_PlatformArg3, 0x7777888899990000},
                      {33, 1},
                      {46, 1},
                      {Q7TAG_END, 0}};
  app = Q7AppCreateA(&count, vector, tags);
  ASSERT_TRUE(app);
  EXPECT_EQ(3, app->argc);
  EXPECT_EQ(vector, app->argv);
  EXPECT_EQ(3, count);
  EXPECT_STREQ("Editor", app->name);
  EXPECT_STREQ("francais", app->language);
  EXPECT_STREQ("12.5", app->version);
  EXPECT_STREQ("Other", app->product);
  EXPECT_STREQ(".Other/Karmonic-9.1", Q7GetUserFolder());
  EXPECT_EQ(0x123456789abcdef0u, app->client_data);
  EXPECT_EQ(&collect, app->info_handler);
  EXPECT_EQ(&collect, app->error_handler);
  EXPECT_EQ(7, app->mode);
  EXPECT_EQ(nullptr, app->main_task);
  EXPECT_EQ(4u, app->flags);
  for (int phase = 1; phase <= 2; ++phase) {
    const fake::StartUp given = fake::start_up(phase);
    EXPECT_EQ(1, given.interactive);
    EXPECT_EQ(0x1111222233334444u, num(given.arg1));
    EXPECT_EQ(0x55556666u, given.arg2);
    EXPECT_EQ(0x7777888899990000u, num(given.arg3));
  }
}

TEST_F(App, LaterTagWins) {
  Q7TagItem tags[] = {{Q7APP_Name, num("One")}, {Q7APP_Name, num("Two")}, {Q7APP_Flag4, 1}, {Q7APP_Flag4, 0},
                      {Q7APP_NoMainTask, 1},    {Q7APP_NoMainTask, 0},    {Q7TAG_END, 0}};
  app = Q7AppCreateA(nullptr, nullptr, tags);
  ASSERT_TRUE(app);
  EXPECT_STREQ("Two", app->name);
  EXPECT_EQ(0u, app->flags);
  EXPECT_TRUE(app->main_task);
}

TEST_F(App, NotInteractiveInstallsTheConsoleHandler) {
  Q7TagItem tags[] = {{Q7APP_Interactive, 0}, {Q7TAG_END, 0}};
  app = Q7AppCreateA(nullptr, nullptr, tags);
  ASSERT_TRUE(app);
  EXPECT_EQ(&Q7AppConsoleError, app->error_handler);
  EXPECT_EQ(0, fake::start_up(1).interactive);
  EXPECT_EQ(0, fake::start_up(2).interactive);
}

TEST_F(App, InteractiveInstallsTheRequester) {
  Q7TagItem tags[] = {{Q7APP_Interactive, 1}, {Q7APP_Interactive, 0}, {Q7TAG_END, 0}};
  app = Q7AppCreateA(nullptr, nullptr, tags);
  ASSERT_TRUE(app);
  EXPECT_EQ(&Q7DefAppError, app->error_handler);
  EXPECT_EQ(0, fake::start_up(1).interactive);
}

TEST_F(App, InteractiveLeavesAHandlerThatIsSet) {
  ASSERT_TRUE(create({{Q7APP_Interactive, 0}}));
  EXPECT_EQ(&collect, app->error_handler);
}

TEST_F(App, LaterErrorHandlerReplacesTheInstalledOne) {
  Q7TagItem tags[] = {
      {Q7APP_Interactive, 0}, {Q7APP_ErrorHandler, reinterpret_cast<uint64_t>(&collect)}, {Q7TAG_END, 0}};
  app = Q7AppCreateA(nullptr, nullptr, tags);
  ASSERT_TRUE(app);
  EXPECT_EQ(&collect, app->error_handler);
}

TEST_F(App, LongTextsAreCut) {
  const std::string text(400, 'x');
  const char *language = text.c_str();
  Q7TagItem tags[] = {{Q7APP_Locale, num(&language)},
                      {Q7APP_Version, num(text.c_str())},
                      {Q7APP_ProductFolder, num(text.c_str())},
                      {Q7TAG_END, 0}};
  app = Q7AppCreateA(nullptr, nullptr, tags);
  ASSERT_TRUE(app);
  EXPECT_EQ(std::string(135, 'x'), app->language);
  EXPECT_EQ(std::string(255, 'x'), app->version);
  EXPECT_EQ("." + std::string(254, 'x'), Q7GetUserFolder());
}

TEST_F(App, NullLanguageIsSkipped) {
  const char *language = nullptr;
  Q7TagItem tags[] = {{Q7APP_Locale, num(&language)}, {Q7APP_Version, 0}, {Q7TAG_END, 0}};
  app = Q7AppCreateA(nullptr, nullptr, tags);
  ASSERT_TRUE(app);
  EXPECT_STREQ("english", app->language);
  EXPECT_STREQ("8", app->version);
}

TEST_F(App, UserFolderBeforeAnyApplication) { EXPECT_STREQ(".Karmonic7D/Karmonic-9.1", Q7GetUserFolder()); }

TEST_F(App, VariadicCreation) {
  int32_t count = 2;
  app = Q7AppCreate(&count, nullptr, Q7APP_Name, "Var", Q7APP_Mode, uint64_t{9}, 0);
  ASSERT_TRUE(app);
  EXPECT_STREQ("Var", app->name);
  EXPECT_EQ(9, app->mode);
}

// 256 items of one tag, then another one that is not read any more.
#define TEN(x) x, x, x, x, x, x, x, x, x, x
#define ITEM \
  Q7APP_Mode, uint64_t { 3 }
#define ITEMS_250 TEN(TEN(ITEM)), TEN(TEN(ITEM)), TEN(ITEM), TEN(ITEM), TEN(ITEM), TEN(ITEM), TEN(ITEM)

TEST_F(App, VariadicCreationWithTooManyTags) {
  q7test::Capture out(1);
  app =
      Q7AppCreate(nullptr, nullptr, ITEMS_250, ITEM, ITEM, ITEM, ITEM, ITEM, Q7APP_Name, "Last", Q7APP_Name, "Lost", 0);
  EXPECT_THAT(out.stop(), HasSubstr("q7app/1157: too many tags"));
  ASSERT_TRUE(app);
  EXPECT_STREQ("Last", app->name);
}

TEST_F(App, VariadicCreationWith255Tags) {
  q7test::Capture out(1);
  app = Q7AppCreate(nullptr, nullptr, ITEMS_250, ITEM, ITEM, ITEM, ITEM, Q7APP_Name, "Last", 0);
  EXPECT_THAT(out.stop(), Not(HasSubstr("too many tags")));
  EXPECT_STREQ("Last", app->name);
}

TEST_F(App, ProcessEvents) {
  ASSERT_TRUE(create());
  fake::set_events_result(-5);
  EXPECT_EQ(-5, Q7ProcessEvents(app, 0x123456789a, 100, uint64_t{1}, 200, uint64_t{2}, 0));
  const auto [argument, tags] = fake::events_arguments();
  EXPECT_EQ(0x123456789au, argument);
  ASSERT_EQ(2u, tags.size());
  EXPECT_EQ(100u, tags[0].tag);
  EXPECT_EQ(1u, tags[0].data);
  EXPECT_EQ(200u, tags[1].tag);
  EXPECT_EQ(2u, tags[1].data);
}

TEST_F(App, ProcessEventsWithTooManyTags) {
  ASSERT_TRUE(create());
  Q7ProcessEvents(app, 0, ITEMS_250, ITEM, ITEM, ITEM, ITEM, ITEM, ITEM, ITEM, 0);
  EXPECT_THAT(apptest::reports(), ElementsAre("q7app:1167: too many tags"));
  EXPECT_EQ(256u, fake::events_arguments().second.size());
}

// ---- Counting ----

TEST_F(App, SecondCreationAnswersTheSame) {
  ASSERT_TRUE(create());
  const auto before = fake::calls().size();
  Q7TagItem tags[] = {{Q7APP_Name, num("Other")}, {Q7TAG_END, 0}};
  int32_t count = 77;
  EXPECT_EQ(app, Q7AppCreateA(&count, nullptr, tags));
  EXPECT_EQ(77, count);
  EXPECT_STREQ("Default", app->name);
  EXPECT_EQ(before, fake::calls().size());
  Q7AppDelete(app);
  EXPECT_EQ(app, Q7ApplicationContext);
  EXPECT_EQ(before, fake::calls().size());
  destroy();
  EXPECT_EQ(nullptr, Q7ApplicationContext);
}

TEST_F(App, TwoApplicationsOneAfterTheOther) {
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(create());
    EXPECT_TRUE(Q7ClassFind(0) && Q7ClassFind(1) && Q7ClassFind(5) && Q7ClassFind(596));
    destroy();
    EXPECT_EQ(fake::Live{}, fake::live());
  }
}

TEST_F(App, DeletingADeletedApplicationDoesNothing) {
  ASSERT_TRUE(create());
  Q7App *old = app;
  destroy();
  q7test::Capture out(1);
  setenv("USER", "kim", 1);
  Q7AppDelete(old);
  EXPECT_EQ("", out.stop());
}

TEST_F(App, ExhaustedRecordLeavesTheCountRaised) {
  q7test::AllocGate gate;
  gate.fail(1);
  EXPECT_EQ(nullptr, create());
  EXPECT_EQ(nullptr, Q7ApplicationContext);
  EXPECT_EQ(nullptr, create());
  EXPECT_EQ(1, gate.refused());
  EXPECT_THAT(fake::calls("J7OopsInit"), IsEmpty());
}

// ---- Failing steps ----

struct Step {
  const char *function;
  int sleeps;  // seconds that teardown waits: none once the task class stands
};
class FailedStep : public App, public ::testing::WithParamInterface<Step> {};

TEST_P(FailedStep, TearsDownAndAnswersNull) {
  fake::fail(GetParam().function);
  EXPECT_EQ(nullptr, create());
  EXPECT_EQ(nullptr, Q7ApplicationContext);
  EXPECT_EQ(fake::Live{}, fake::live());
  EXPECT_EQ(GetParam().sleeps, fake::count("Q7Sleep"));
  EXPECT_THAT(fake::calls("J7OopsFree"), ::testing::SizeIs(1));
  EXPECT_THAT(fake::calls("J7SystemDependFree"), ::testing::SizeIs(1));
  EXPECT_THAT(fake::calls("J7SystemDependDelete"), ::testing::SizeIs(1));
  // The count is back at 0: the next creation builds.
  fake::clear_calls();
  ASSERT_TRUE(create());
  EXPECT_THAT(fake::calls("J7SystemDependInitP2"), ::testing::SizeIs(1));
  Q7App *made = app;
  destroy();
  EXPECT_NE(nullptr, made);
  EXPECT_EQ(nullptr, Q7ApplicationContext);
  EXPECT_EQ(fake::Live{}, fake::live());
}

INSTANTIATE_TEST_SUITE_P(Steps, FailedStep,
                         ::testing::Values(Step{"J7OopsInit", 3}, Step{"Q7AppOpenLocale", 3},
                                           Step{"Q7RegisterTaskClass", 3}, Step{"Q7RegisterSemaphoreClass", 0},
                                           Step{"Q7LockAlloc", 0}, Step{"J7SystemDependInitP1", 0},
                                           Step{"Q7RegisterIconClass", 0}, Step{"Q7RegisterCursorClass", 0},
                                           Step{"Q7RegisterTimerClass", 0}, Step{"Q7RegisterMsgPortClass", 0},
                                           Step{"task", 0}, Step{"J7SystemDependInitP2", 0}),
                         [](const auto &info) { return info.param.function; });

TEST_F(App, NothingIsCalledBehindAFailedStep) {
  fake::fail("Q7LockAlloc");
  EXPECT_EQ(nullptr, create());
  EXPECT_THAT(own_calls(),
              ElementsAre("J7OopsInit()", "Q7AppOpenLocale(q7common, q7appstr, 11)", "Q7RegisterTaskClass()",
                          "Q7RegisterSemaphoreClass()", "Q7LockAlloc()", "J7OopsFree()", "J7SystemDependFree()",
                          "J7SystemDependDelete()", "Q7AppCloseLocale(11)"));
}

TEST_F(App, RegistryFailuresAreSilent) {
  fake::settings()["App Paths"] = {{"Home", "/opt/q7"}, {"NetHome", "/net/q7"}};
  fake::fail("Q7AppReadRegistry");
  ASSERT_TRUE(create());
  EXPECT_EQ(nullptr, app->home);
  EXPECT_STREQ("/net/q7", app->net_home);
}

TEST_F(App, EveryAllocationFailedInTurn) {
  bool file_class_failed = false;
  for (int64_t n = 2;; ++n) {
    q7test::AllocGate gate;
    q7test::Capture err(2), out(1);
    gate.fail(n);
    create();
    const bool refused = gate.refused() > 0;
    gate.pass();
    const bool made = app != nullptr;
    destroy();
    const std::string text = err.stop();
    if (text.find("Error: Q7RegisterFileClass() failed") != std::string::npos) {
      file_class_failed = true;
      EXPECT_FALSE(made);
    }
    EXPECT_EQ(nullptr, Q7ApplicationContext);
    EXPECT_EQ(fake::Live{}, fake::live()) << n;
    if (!refused) {
      EXPECT_TRUE(made);
      break;
    }
    ASSERT_LT(n, 500);
  }
  EXPECT_TRUE(file_class_failed);
}

using AppDeathTest = App;

TEST_F(AppDeathTest, Trap) { EXPECT_EXIT(create({{Q7APP_Trap, 0}}), ::testing::KilledBySignal(SIGILL), ""); }

// ---- Deletion ----

TEST_F(App, DeletionOrder) {
  ASSERT_TRUE(create());
  fake::clear_calls();
  destroy();
  std::vector<std::string> calls;
  for (const std::string &line : fake::calls()) {
    if (line.find("Locale") == std::string::npos || line == "Q7AppCloseLocale(11)") calls.push_back(line);
  }
  std::vector<std::string> own;
  for (const std::string &line : calls) {
    for (const char *name :
         {"Q7LockFree(", "Q7AppBeginRegistryWrite(1", "Q7AppEndRegistryWrite(1", "J7", "Q7AppCloseLocale"}) {
      if (line.rfind(name, 0) == 0) own.push_back(line);
    }
  }
  EXPECT_THAT(own, ElementsAre("Q7LockFree()", "Q7AppBeginRegistryWrite(1)", "Q7AppEndRegistryWrite(1)", "J7OopsFree()",
                               "J7SystemDependFree()", "J7SystemDependDelete()", "Q7AppCloseLocale(11)"));
  EXPECT_EQ(fake::Live{}, fake::live());
}

TEST_F(App, DeletionWaitsForTasks) {
  ASSERT_TRUE(create());
  Q7ClassFind(1)->ninstances += 1;
  destroy();
  EXPECT_THAT(fake::calls("Q7Sleep"), ElementsAre("Q7Sleep(1)", "Q7Sleep(1)", "Q7Sleep(1)"));
}

TEST_F(App, DeletionDoesNotWaitWhenOnlyTheMainTaskIsLeft) {
  ASSERT_TRUE(create());
  destroy();
  EXPECT_EQ(0, fake::count("Q7Sleep"));
}

TEST_F(App, DeletionStopsWaitingWhenTasksEnd) {
  ASSERT_TRUE(create());
  Q7ClassFind(1)->ninstances += 1;
  fake::set_observer([](const std::string &line) {
    if (line == "Q7Sleep(1)") Q7ClassFind(1)->ninstances -= 1;
  });
  destroy();
  EXPECT_EQ(1, fake::count("Q7Sleep"));
}

TEST_F(App, DeletionReleasesTheMacros) {
  ASSERT_TRUE(create());
  ASSERT_TRUE(apptest::register_probe(app));
  Q7Object *macros = new_probe();
  Q7AppSetMacros(app, macros);
  release(macros);
  EXPECT_EQ(1, apptest::live_probes());
  destroy();
  EXPECT_EQ(0, apptest::live_probes());
}

TEST_F(App, DeletionDisposesOfTheHostsObject) {
  ASSERT_TRUE(create());
  ASSERT_TRUE(apptest::register_probe(app));
  app->delete_object = new_probe();
  destroy();
  EXPECT_EQ(0, apptest::live_probes());
}

TEST_F(App, DeletionFreesTheDefaultExtension) {
  ASSERT_TRUE(create());
  EXPECT_TRUE(Q7AppSetDefaultExtension(app, ".abc"));
  destroy();
}

// ---- Farewell ----

TEST_F(App, Farewell) {
  ASSERT_TRUE(create());
  setenv("USER", "kim", 1);
  q7test::Capture out(1);
  destroy();
  EXPECT_EQ("\nHave a nice day kim\n", out.stop());
}
TEST_F(App, NoFarewellForRoot) {
  ASSERT_TRUE(create());
  setenv("USER", "root", 1);
  q7test::Capture out(1);
  destroy();
  EXPECT_EQ("", out.stop());
}
TEST_F(App, NoFarewellWithoutUser) {
  ASSERT_TRUE(create());
  q7test::Capture out(1);
  destroy();
  EXPECT_EQ("", out.stop());
}
TEST_F(App, NoFarewellWhileOneUserIsLeft) {
  ASSERT_TRUE(create());
  ASSERT_TRUE(Q7AppCreateA(nullptr, nullptr, nullptr));
  setenv("USER", "kim", 1);
  q7test::Capture out(1);
  Q7AppDelete(app);
  EXPECT_EQ("", out.stop());
}
TEST_F(App, FarewellForNull) {
  setenv("USER", "kim", 1);
  q7test::Capture out(1);
  Q7AppDelete(nullptr);
  EXPECT_EQ("\nHave a nice day kim\n", out.stop());
}
TEST_F(App, FarewellAfterFailedCreation) {
  setenv("USER", "kim", 1);
  fake::fail("J7SystemDependInitP2");
  q7test::Capture out(1);
  create();
  EXPECT_EQ("\nHave a nice day kim\n", out.stop());
}

// ---- Accessors ----

TEST_F(App, RootWindowAndInfo) {
  ASSERT_TRUE(create());
  auto *object = app->main_task;
  Q7AppSetRoot(app, object);
  EXPECT_EQ(object, Q7AppGetRoot(app));
  Q7AppSetMainWindow(app, object);
  EXPECT_EQ(object, app->main_window);
  Q7AppSetInfo(app, object);
  EXPECT_EQ(object, app->info);
  EXPECT_EQ(1, object->refcount);
  Q7AppSetRoot(app, nullptr);
  EXPECT_EQ(nullptr, Q7AppGetRoot(app));
  Q7AppSetInfo(app, nullptr);
}

TEST_F(App, NullApplicationIsTolerated) {
  Q7AppSetRoot(nullptr, nullptr);
  EXPECT_EQ(nullptr, Q7AppGetRoot(nullptr));
  Q7AppSetMainWindow(nullptr, nullptr);
  Q7AppSetInfo(nullptr, nullptr);
  Q7AppSetHome(nullptr, "/a", "/b");
  EXPECT_EQ(nullptr, Q7AppMacros(nullptr));
  EXPECT_EQ(0u, Q7AppSetMacros(nullptr, nullptr));
  EXPECT_EQ(nullptr, Q7AppSetDefaultExtension(nullptr, ".x"));
  Q7AppInfo(nullptr, 0, "x");
}

TEST_F(App, Macros) {
  ASSERT_TRUE(create());
  ASSERT_TRUE(apptest::register_probe(app));
  Q7Object *one = new_probe(), *two = new_probe();
  EXPECT_EQ(nullptr, Q7AppMacros(app));
  EXPECT_EQ(0u, Q7AppSetMacros(app, nullptr));
  EXPECT_EQ(num(one), Q7AppSetMacros(app, one));
  EXPECT_EQ(one, Q7AppMacros(app));
  EXPECT_EQ(2, one->refcount);
  EXPECT_EQ(num(two), Q7AppSetMacros(app, two));
  EXPECT_EQ(1, one->refcount);
  EXPECT_EQ(2, two->refcount);
  // The old object's answer to method 10: itself, or 0 once it is gone.
  EXPECT_EQ(num(two), Q7AppSetMacros(app, nullptr));
  EXPECT_EQ(nullptr, Q7AppMacros(app));
  Q7AppSetMacros(app, two);
  release(two);
  EXPECT_EQ(0u, Q7AppSetMacros(app, nullptr));
  EXPECT_EQ(1, apptest::live_probes());
  release(one);
}

TEST_F(App, MacrosSetToTheSameObjectSurvive) {
  ASSERT_TRUE(create());
  ASSERT_TRUE(apptest::register_probe(app));
  Q7Object *macros = new_probe();
  Q7AppSetMacros(app, macros);
  release(macros);
  EXPECT_EQ(num(macros), Q7AppSetMacros(app, macros));
  EXPECT_EQ(1, macros->refcount);
  Q7AppSetMacros(app, nullptr);
  EXPECT_EQ(0, apptest::live_probes());
}

TEST_F(App, SetHomeSkipsEmptyTexts) {
  ASSERT_TRUE(create());
  static const char home[] = "/h", net[] = "/n";
  Q7AppSetHome(app, home, net);
  EXPECT_EQ(home, app->home);
  EXPECT_EQ(net, app->net_home);
  Q7AppSetHome(app, "", nullptr);
  EXPECT_EQ(home, app->home);
  EXPECT_EQ(net, app->net_home);
  Q7AppSetHome(app, nullptr, "");
  EXPECT_EQ(net, app->net_home);
}

TEST_F(App, TerminateHandsOnItsArguments) {
  ASSERT_TRUE(create());
  EXPECT_EQ(1, app->running);
  EXPECT_EQ(1, Q7AppTerminate(app, uint64_t{11}, uint64_t{12}, uint64_t{13}, uint64_t{14}, ~uint64_t{0}));
  EXPECT_EQ(0, app->running);
  EXPECT_THAT(fake::terminate_arguments(), ElementsAre(11, 12, 13, 14, ~uint64_t{0}));
}

uint64_t sum(uint64_t first, ...) {
  va_list rest;
  va_start(rest, first);
  for (uint64_t i = 2; i <= 6; ++i) first += i * va_arg(rest, uint64_t);
  va_end(rest);
  return first;
}

TEST_F(App, RunModeCallback) {
  EXPECT_EQ(0u, M7DRunMode(1));
  Q7AppSetRunModeCallback(nullptr, sum);
  EXPECT_EQ(1u + 2 * 10 + 3 * 100 + 4 * 1000 + 5 * 10000 + 6 * (uint64_t{1} << 40),
            M7DRunMode(1, uint64_t{10}, uint64_t{100}, uint64_t{1000}, uint64_t{10000}, uint64_t{1} << 40));
  Q7AppSetRunModeCallback(nullptr, nullptr);
  EXPECT_EQ(0u, M7DRunMode(1));
}

// ---- Informations ----

std::vector<std::string> shown;
uint64_t info_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method != 604000) return cl->superdispatch(cl->super, obj, method, a, b, tags);
  EXPECT_EQ(0u, b);
  shown.push_back(std::to_string(static_cast<int64_t>(a)) + "|" + reinterpret_cast<const char *>(tags));
  return 1;
}

class Info : public App {
 protected:
  void SetUp() override {
    shown.clear();
    ASSERT_TRUE(create());
    Q7Class *cl = Q7ClassCreate(Q7C_ROOT, 604, info_dispatch, 0, Q7TAG_END);
    ASSERT_TRUE(cl);
    object_ = reinterpret_cast<Q7Object *>(info_dispatch(cl, &cl->header, Q7M_NEW, 0, 0, nullptr));
    Q7AppSetInfo(app, object_);
  }
  void TearDown() override { object_->dispatch(object_->cl, object_, Q7M_DISPOSE, 0, 0, nullptr); }
  Q7Object *object_ = nullptr;
};

TEST_F(Info, Levels) {
  for (int level = 0; level <= 3; ++level) Q7AppInfo(app, level, "text %d", level);
  EXPECT_THAT(shown, ElementsAre("0|Error: text 0", "1|Warning: text 1", "2|Info: text 2", "3|Debug: text 3"));
}
TEST_F(Info, UnknownLevelShowsTwoColons) {
  Q7AppInfo(app, 7, "%s", "text");
  Q7AppInfo(app, -1, "%s", "text");
  EXPECT_THAT(shown, ElementsAre("7|???: : text", "-1|???: : text"));
}
TEST_F(Info, LevelsAreInTheApplicationsLanguage) {
  object_->dispatch(object_->cl, object_, Q7M_DISPOSE, 0, 0, nullptr);
  destroy();
  // Opened once a process: the second application shows the built-in texts.
  SetUp();
  Q7AppInfo(app, 1, "x");
  EXPECT_THAT(shown, ElementsAre("1|Warning: x"));
}
TEST_F(Info, LongTextIsCut) {
  Q7AppInfo(app, 0, "%s", std::string(600, 'x').c_str());
  EXPECT_THAT(shown, ElementsAre("0|Error: " + std::string(511, 'x')));
}
TEST_F(Info, NothingWithoutAnInfoObject) {
  Q7AppSetInfo(app, nullptr);
  Q7AppInfo(app, 0, "x");
  Q7AppInfo(app, 0, nullptr);
  EXPECT_THAT(shown, IsEmpty());
}

}  // namespace
