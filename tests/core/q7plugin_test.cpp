// Tests of core/q7plugin.cpp.
#include "core/q7plugin.h"

#include "tests/core/core_test.h"

namespace {

namespace fs = std::filesystem;
using Texts = std::vector<std::string>;

// The plug-in directory is one for the process; every test has a process of its own.
class Plugins : public q7test::Core {
 protected:
  std::string opened(const std::string &path) { return "Q7LibraryOpen(" + path + ")"; }
  Texts opens() { return fake::calls("Q7LibraryOpen"); }
};

TEST_F(Plugins, TheDefaultDirectoryIsBelowTheHomeWhenTheNetworkHomeIsEmpty) {
  app_.net_home = "";
  app_.home = "/h";
  init_plugin_dir(&app_, nullptr);
  Q7LoadPluginLibrary(&app_, "foo");
  EXPECT_EQ(opens(), Texts{opened("/h/plugins/libfoo.so")});
}

TEST_F(Plugins, TheNetworkHomeWins) {
  app_.net_home = "/net";
  app_.home = "/h";
  Q7LoadPluginLibrary(&app_, "foo");
  EXPECT_EQ(opens(), Texts{opened("/net/plugins/libfoo.so")});
}

TEST_F(Plugins, ADirectoryThatIsSetIsNeverReplacedByTheDefault) {
  Q7SetPluginDir(&app_, "/set");
  app_.home = "/h";
  init_plugin_dir(&app_, nullptr);
  Q7LoadPluginLibrary(&app_, "foo");
  EXPECT_EQ(opens(), Texts{opened("/set/libfoo.so")});
  init_plugin_dir(&app_, "/other/");
  Q7LoadPluginLibrary(&app_, "foo");
  EXPECT_EQ(opens().back(), opened("/other/libfoo.so"));
}

TEST_F(Plugins, WithoutAnyDirectoryTheNameStandsAlone) {
  init_plugin_dir(&app_, nullptr);
  EXPECT_EQ(Q7LoadPluginLibrary(&app_, "foo"), 0);
  EXPECT_EQ(opens(), Texts{opened("libfoo.so")});
}

TEST_F(Plugins, ADirectoryLongerThan255CharactersIsCut) {
  const std::string directory = "/" + std::string(299, 'd');
  Q7SetPluginDir(&app_, directory.c_str());
  Q7LoadPluginLibrary(&app_, "foo");
  EXPECT_EQ(opens(), Texts{opened(directory.substr(0, 255) + "/libfoo.so")});
}

TEST_F(Plugins, ShortNamesAreCompleted) {
  Q7SetPluginDir(&app_, "/p");
  for (const char *name : {"foo", "libbar", "LIBBAZ.SO", "mylib.so.2", "Libx"}) Q7LoadPluginLibrary(&app_, name);
  EXPECT_EQ(opens(), (Texts{opened("/p/libfoo.so"), opened("/p/libbar.so"), opened("/p/LIBBAZ.SO"),
                            opened("/p/libmylib.so.2"), opened("/p/Libx.so")}));
}

TEST_F(Plugins, HostileNamesAreRefused) {
  EXPECT_EQ(Q7LoadPluginLibrary(&app_, std::string(600, 'x').c_str()), 0);
  EXPECT_EQ(Q7LoadPluginLibrary(&app_, ""), 0);
  EXPECT_EQ(Q7LoadPluginLibrary(&app_, nullptr), 0);
  EXPECT_TRUE(opens().empty());
}

TEST_F(Plugins, LoadAnswersWhetherTheLibraryOpened) {
  Q7SetPluginDir(&app_, "/p");
  fake::set_library("/p/libfoo.so", [](Q7App *) { return true; });
  EXPECT_EQ(Q7LoadPluginLibrary(&app_, "foo"), 1);
  EXPECT_EQ(Q7LoadPluginLibrary(&app_, "bar"), 0);
}

class Folder : public Plugins {
 protected:
  Folder() : folder_(home() / "plug") {
    fs::create_directories(folder_ / "dir.so");
    for (const char *name : {"a.so", "b.so.bak", "c.so", "d.txt"}) q7test::write_file(folder_ / name, "x");
  }
  std::vector<std::string> scanned() {
    Texts names = opens();
    std::sort(names.begin(), names.end());
    return names;
  }
  std::string in_folder(const char *name) { return opened((folder_ / name).string()); }
  fs::path folder_;
};

TEST_F(Folder, ExternalClassesAreTheFilesThatEndInSo) {
  EXPECT_EQ(Q7RegisterExternalClasses(&app_, folder_.c_str()), 1);
  EXPECT_EQ(scanned(), (Texts{in_folder("a.so"), in_folder("c.so")}));
}

TEST_F(Folder, TheFirstDirectoryBecomesThePluginDirectory) {
  Q7RegisterExternalClasses(&app_, folder_.c_str());
  fake::clear_calls();
  Q7RegisterExternalClasses(&app_, nullptr);
  EXPECT_EQ(scanned(), (Texts{in_folder("a.so"), in_folder("c.so")}));
  fake::clear_calls();
  fs::create_directories(home() / "more");
  q7test::write_file(home() / "more" / "z.so", "x");
  Q7RegisterExternalClasses(&app_, (home() / "more").c_str());
  EXPECT_EQ(scanned(), Texts{opened((home() / "more" / "z.so").string())})
      << "a given directory is scanned all the same";
}

TEST_F(Folder, WithoutAnyDirectoryNothingIsFound) {
  EXPECT_EQ(Q7RegisterExternalClasses(&app_, nullptr), 1);
  EXPECT_TRUE(opens().empty());
}

TEST_F(Folder, AutoConfigOffersEveryEntry) {
  Q7AutoConfig(&app_, folder_.c_str());
  EXPECT_EQ(scanned(), (Texts{in_folder("a.so"), in_folder("b.so.bak"), in_folder("c.so"), in_folder("d.txt"),
                              in_folder("dir.so")}));
  EXPECT_EQ(Q7AutoConfig(&app_, nullptr), 0);
}

TEST_F(Plugins, OpenedLibrariesAreRecordedOnceAndClosedAtTheEndInOrder) {
  Q7SetPluginDir(&app_, "/p");
  fake::set_library("/p/liba.so", [](Q7App *) { return true; });
  fake::set_library("/p/libb.so", [](Q7App *) { return true; });
  Q7LoadPluginLibrary(&app_, "a");
  Q7LoadPluginLibrary(&app_, "b");
  int other = 0;
  EXPECT_EQ(Q7RecordLibrary(&app_, app_.libraries.head), 1);
  EXPECT_EQ(Q7NodeCount(&app_.libraries), 3);
  EXPECT_EQ(Q7RecordLibrary(&app_, app_.libraries.head), 1) << "once";
  EXPECT_EQ(Q7NodeCount(&app_.libraries), 3);
  EXPECT_EQ(Q7RecordLibrary(&app_, nullptr), 0);
  EXPECT_EQ(Q7RecordLibrary(nullptr, &other), 0);
  Q7Node *last = Q7RemTail(&app_.libraries);
  Q7FreeMem(last, 0);
  fake::clear_calls();
  free_oops();
  EXPECT_EQ(fake::calls("Q7LibraryClose").size(), 2u);
}

TEST_F(Plugins, ALibraryThatCannotBeRecordedIsStillOpen) {
  q7test::AllocGate gate;
  gate.fail(1);
  int library = 0;
  EXPECT_EQ(Q7RecordLibrary(&app_, &library), 0);
}

}  // namespace
