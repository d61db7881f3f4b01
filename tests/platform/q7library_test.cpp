#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>

#include "core/q7plugin.h"
#include "tests/platform/mini_app.h"

using namespace q7test;

namespace {

class Libraries : public PlatformTest {
 protected:
  Libraries() {
    unsetenv("PLUGIN_REGISTERED");
    unsetenv("PLUGIN_UNREGISTERED");
  }
  static std::string path(const char *name) { return std::string(Q7_TEST_PLUGINS) + "/lib" + name + ".so"; }
  static bool is_loaded(const char *name) {
    void *handle = dlopen(path(name).c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (handle) dlclose(handle);
    return handle != nullptr;
  }
  static std::string counted(const char *variable) { return getenv(variable) ? getenv(variable) : "0"; }
};

// The library's classes are gone, as at the end of the object system.
void close_at_shutdown(Q7App *app, void *library) {
  Q7OopsFree(app);
  EXPECT_EQ(Q7LibraryClose(app, library, 1), 1);
  Q7OopsInit(app);
}

TEST_F(Libraries, OpeningRegistersTheClasses) {
  void *library = Q7LibraryOpen(app(), path("plugin_good").c_str(), 0, 0);
  ASSERT_NE(library, nullptr);
  ASSERT_NE(Q7ClassFind(777), nullptr);
  EXPECT_EQ(Q7SendClassMsg(777, 777000, 0), 42u);
  close_at_shutdown(app(), library);
  EXPECT_FALSE(is_loaded("plugin_good"));
  EXPECT_EQ(counted("PLUGIN_UNREGISTERED"), "1");
}

TEST_F(Libraries, ASecondOpeningDoesNotRegisterAgain) {
  void *first = Q7LibraryOpen(app(), path("plugin_good").c_str(), 0, 0);
  void *second = Q7LibraryOpen(app(), path("plugin_good").c_str(), 0, 0);
  ASSERT_NE(second, nullptr);
  EXPECT_NE(first, second);
  EXPECT_EQ(counted("PLUGIN_REGISTERED"), "1");
  EXPECT_EQ(Q7LibraryClose(app(), first, 0), 1) << "the second opening keeps the code";
  EXPECT_EQ(Q7SendClassMsg(777, 777000, 0), 42u);
  close_at_shutdown(app(), second);
  EXPECT_FALSE(is_loaded("plugin_good"));
}

TEST_F(Libraries, ALibraryWithClassesIsNotClosed) {
  void *library = Q7LibraryOpen(app(), path("plugin_good").c_str(), 0, 0);
  EXPECT_EQ(Q7LibraryClose(app(), library, 0), 0);
  ASSERT_EQ(errors().size(), 1u);
  EXPECT_EQ(errors()[0], "q7library: A library whose classes are registered cannot be closed");
  EXPECT_EQ(Q7SendClassMsg(777, 777000, 0), 42u);
  close_at_shutdown(app(), library);
}

TEST_F(Libraries, TheObjectSystemClosesRecordedLibraries) {
  EXPECT_EQ(Q7SetPluginDir(app(), Q7_TEST_PLUGINS), 1);
  EXPECT_EQ(Q7LoadPluginLibrary(app(), "plugin_good"), 1);
  EXPECT_TRUE(is_loaded("plugin_good"));
  Q7OopsFree(app());
  EXPECT_FALSE(is_loaded("plugin_good"));
  Q7OopsInit(app());
}

TEST_F(Libraries, WhatIsNoLibraryIsPassedOverSilently) {
  write_file(home() / "x.so", "no library");
  write_file(home() / "empty.so", "");
  for (const char *name : {"x.so", "empty.so", "missing.so", ""}) {
    EXPECT_EQ(Q7LibraryOpen(app(), (home() / name).c_str(), 0, 0), nullptr) << name;
  }
  EXPECT_TRUE(errors().empty());
}

TEST_F(Libraries, ALibraryThatCannotBeLoadedIsReported) {
  write_file(home() / "x.so", std::string("\177ELF") + std::string(100, 'x'));
  EXPECT_EQ(Q7LibraryOpen(app(), (home() / "x.so").c_str(), 0, 0), nullptr);
  ASSERT_EQ(errors().size(), 1u);
  EXPECT_EQ(errors()[0].find("q7library: Cannot open " + (home() / "x.so").string() + ": "), 0u);
}

TEST_F(Libraries, AWholeFolderCanBeOffered) {
  write_file(home() / "README", "text");
  std::filesystem::create_directory(home() / "folder.so");
  std::filesystem::copy(path("plugin_good"), home() / "libgood.so");
  EXPECT_EQ(Q7AutoConfig(app(), home().c_str()), 1);
  EXPECT_NE(Q7ClassFind(777), nullptr);
  EXPECT_TRUE(errors().empty());
}

TEST_F(Libraries, ABareNameIsAFileInTheCurrentFolder) {
  ASSERT_EQ(chdir(home().c_str()), 0);
  EXPECT_EQ(Q7LibraryOpen(app(), "libc.so.6", 0, 0), nullptr) << "the system's folders are not searched";
}

TEST_F(Libraries, ALibraryWithoutAnEntryIsClosedAndReported) {
  EXPECT_EQ(Q7LibraryOpen(app(), path("plugin_none").c_str(), 0, 0), nullptr);
  EXPECT_FALSE(is_loaded("plugin_none"));
  ASSERT_EQ(errors().size(), 1u);
  EXPECT_EQ(errors()[0], "q7library: " + path("plugin_none") + " is no plug-in library: it has no Q7LibraryRegister");
}

TEST_F(Libraries, ALibraryThatFailsToRegisterIsClosedAndReported) {
  EXPECT_EQ(Q7LibraryOpen(app(), path("plugin_refuses").c_str(), 0, 0), nullptr);
  EXPECT_FALSE(is_loaded("plugin_refuses"));
  ASSERT_EQ(errors().size(), 1u);
  EXPECT_EQ(errors()[0], "q7library: " + path("plugin_refuses") + " could not be registered");
}

TEST_F(Libraries, TheCodeOfAClassThatWasLeftBehindStays) {
  EXPECT_EQ(Q7LibraryOpen(app(), path("plugin_leaves").c_str(), 0, 0), nullptr);
  EXPECT_TRUE(is_loaded("plugin_leaves"));
  EXPECT_EQ(errors().size(), 2u);
  ASSERT_NE(Q7ClassFind(778), nullptr);
  EXPECT_EQ(Q7SendClassMsg(778, 777000, 0), 42u);
}

TEST_F(Libraries, NullsAndStrangersFail) {
  int stranger;
  EXPECT_EQ(Q7LibraryOpen(app(), nullptr, 0, 0), nullptr);
  EXPECT_EQ(Q7LibraryOpen(app(), "", 0, 0), nullptr);
  EXPECT_EQ(Q7LibraryClose(app(), nullptr, 1), 0);
  EXPECT_EQ(Q7LibraryClose(app(), &stranger, 1), 0);
}

TEST_F(Libraries, EveryFailingAllocationGivesNull) {
  for (int64_t n = 1; n <= 2; ++n) {
    AllocGate gate;
    gate.fail(n);
    EXPECT_EQ(Q7LibraryOpen(app(), path("plugin_refuses").c_str(), 0, 0), nullptr);
  }
  EXPECT_FALSE(is_loaded("plugin_refuses"));
}

}  // namespace
