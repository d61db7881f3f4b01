#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <clocale>

#include "tests/platform/mini_app.h"

using namespace q7test;

namespace {

class Settings : public PlatformTest {
 protected:
  Settings() { std::filesystem::create_directories(user_folder()); }
  std::string file() const { return user_folder() + "/settings.sqlite3"; }
  int32_t write_int(const char *key, const char *name, int32_t value) {
    void *handle = Q7AppCreateRegistry(app(), 1, key);
    int32_t result = Q7AppWriteRegistryInt(app(), handle, name, value);
    Q7AppCloseRegistry(app(), handle);
    return result;
  }
  int32_t write_text(const char *key, const char *name, const char *text) {
    void *handle = Q7AppCreateRegistry(app(), 1, key);
    int32_t result = Q7AppWriteRegistryString(app(), handle, name, text);
    Q7AppCloseRegistry(app(), handle);
    return result;
  }
  // The value, or the default when it is missing.
  int32_t read_int(const char *key, const char *name, int32_t missing = -1) {
    void *handle = Q7AppOpenRegistry(app(), 1, key);
    int32_t value = missing;
    Q7AppReadRegistryInt(app(), handle, name, &value);
    Q7AppCloseRegistry(app(), handle);
    return value;
  }
  // Makes the next call open the file anew.
  void reopen() { J7SystemDependDelete(app()); }
};

TEST_F(Settings, AMissingKeyDoesNotOpen) {
  EXPECT_EQ(Q7AppOpenRegistry(app(), 1, "none"), nullptr);
  EXPECT_TRUE(errors().empty());
  EXPECT_FALSE(std::filesystem::exists(file()));
}

TEST_F(Settings, ACreatedKeyOpens) {
  void *key = Q7AppCreateRegistry(app(), 1, "k");
  ASSERT_NE(key, nullptr);
  EXPECT_EQ(Q7AppCloseRegistry(app(), key), 1);
  key = Q7AppOpenRegistry(app(), 1, "k");
  EXPECT_NE(key, nullptr);
  Q7AppCloseRegistry(app(), key);
}

TEST_F(Settings, TheStoreIsOneFileInTheUserFolder) {
  write_int("k", "n", 1);
  reopen();
  int count = 0;
  for (auto &entry : std::filesystem::directory_iterator(user_folder())) {
    EXPECT_EQ(entry.path().filename(), "settings.sqlite3");
    ++count;
  }
  EXPECT_EQ(count, 1);
}

TEST_F(Settings, TheUserFolderIsMadeWhenItIsMissing) {
  std::filesystem::remove_all(home() / ".Karmonic7D");
  EXPECT_EQ(write_int("k", "n", 1), 1);
  EXPECT_TRUE(std::filesystem::exists(file()));
}

TEST_F(Settings, IntegersKeepTheirValueAndType) {
  write_int("k", "n", INT32_MIN);
  reopen();
  EXPECT_EQ(read_int("k", "n"), INT32_MIN);
  void *key = Q7AppOpenRegistry(app(), 1, "k");
  char text[512] = "untouched";
  EXPECT_EQ(Q7AppReadRegistry(app(), key, "n", text), 0);
  EXPECT_STREQ(text, "untouched");
  Q7AppCloseRegistry(app(), key);
}

TEST_F(Settings, TextsKeepTheirValueAndType) {
  write_text("k", "n", "42");
  reopen();
  void *key = Q7AppOpenRegistry(app(), 1, "k");
  char text[512];
  EXPECT_EQ(Q7AppReadRegistry(app(), key, "n", text), 1);
  EXPECT_STREQ(text, "42");
  int32_t value = 7;
  EXPECT_EQ(Q7AppReadRegistryInt(app(), key, "n", &value), 0);
  EXPECT_EQ(value, 7);
  Q7AppCloseRegistry(app(), key);
}

TEST_F(Settings, WritingReplacesValueAndType) {
  write_int("k", "n", 1);
  write_text("k", "n", "one");
  EXPECT_EQ(read_int("k", "n"), -1);
  write_int("k", "n", 2);
  EXPECT_EQ(read_int("k", "n"), 2);
}

TEST_F(Settings, ALongTextIsCutTo511Characters) {
  std::string text(2000, 'x');
  write_text("k", "n", text.c_str());
  void *key = Q7AppOpenRegistry(app(), 1, "k");
  char buffer[520];
  memset(buffer, '#', sizeof buffer);
  EXPECT_EQ(Q7AppReadRegistry(app(), key, "n", buffer), 1);
  EXPECT_EQ(std::string(buffer), text.substr(0, 511));
  EXPECT_EQ(buffer[512], '#');
  Q7AppCloseRegistry(app(), key);
}

TEST_F(Settings, FloatsAreReadFromTextsAndIntegers) {
  write_text("k", "text", "0.1");
  write_text("k", "exponent", "-2.5e3");
  write_text("k", "word", "0.1x");
  write_text("k", "empty", "");
  write_int("k", "integer", 3);
  void *key = Q7AppOpenRegistry(app(), 1, "k");
  double value = 9;
  EXPECT_EQ(Q7AppReadRegistryFloat(app(), key, "text", &value), 1);
  EXPECT_EQ(value, 0.1);
  EXPECT_EQ(Q7AppReadRegistryFloat(app(), key, "exponent", &value), 1);
  EXPECT_EQ(value, -2500.0);
  EXPECT_EQ(Q7AppReadRegistryFloat(app(), key, "integer", &value), 1);
  EXPECT_EQ(value, 3.0);
  EXPECT_EQ(Q7AppReadRegistryFloat(app(), key, "word", &value), 0);
  EXPECT_EQ(Q7AppReadRegistryFloat(app(), key, "empty", &value), 0);
  EXPECT_EQ(Q7AppReadRegistryFloat(app(), key, "missing", &value), 0);
  EXPECT_EQ(value, 3.0);
  Q7AppCloseRegistry(app(), key);
}

TEST_F(Settings, ScopesAndKeysAreSeparate) {
  write_int("k", "n", 1);
  EXPECT_EQ(read_int("K", "n"), -1);
  EXPECT_EQ(Q7AppOpenRegistry(app(), 2, "k"), nullptr);
}

TEST_F(Settings, NullsAndStrangersFail) {
  int32_t value;
  double number;
  char text[512];
  int stranger;
  EXPECT_EQ(Q7AppOpenRegistry(app(), 1, nullptr), nullptr);
  EXPECT_EQ(Q7AppCreateRegistry(app(), 1, nullptr), nullptr);
  EXPECT_EQ(Q7AppCloseRegistry(app(), nullptr), 0);
  EXPECT_EQ(Q7AppCloseRegistry(app(), &stranger), 0);
  EXPECT_EQ(Q7AppReadRegistryInt(app(), nullptr, "n", &value), 0);
  EXPECT_EQ(Q7AppReadRegistryFloat(app(), &stranger, "n", &number), 0);
  EXPECT_EQ(Q7AppReadRegistry(app(), nullptr, "n", text), 0);
  EXPECT_EQ(Q7AppWriteRegistryInt(app(), nullptr, "n", 1), 0);
  void *key = Q7AppCreateRegistry(app(), 1, "k");
  EXPECT_EQ(Q7AppWriteRegistryString(app(), key, "n", nullptr), 0);
  EXPECT_EQ(Q7AppWriteRegistryInt(app(), key, nullptr, 1), 0);
  EXPECT_EQ(Q7AppReadRegistryInt(app(), key, "n", nullptr), 0);
  EXPECT_EQ(Q7AppReadRegistry(app(), key, "n", nullptr), 0);
  Q7AppCloseRegistry(app(), key);
  EXPECT_EQ(Q7AppCloseRegistry(app(), key), 0);
}

TEST_F(Settings, AGroupTakesEffectAtItsEnd) {
  write_int("k", "n", 1);
  EXPECT_EQ(Q7AppBeginRegistryWrite(app(), 1), 1);
  write_int("k", "n", 2);
  pid_t child = fork();
  if (child == 0) _exit(read_int("k", "n") == 1 ? 0 : 1);
  int status;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0) << "another process saw the group before its end";
  EXPECT_EQ(Q7AppEndRegistryWrite(app(), 1), 1);
  EXPECT_EQ(read_int("k", "n"), 2);
}

TEST_F(Settings, GroupsNest) {
  Q7AppBeginRegistryWrite(app(), 1);
  EXPECT_EQ(Q7AppBeginRegistryWrite(app(), 1), 1);
  write_int("k", "n", 5);
  EXPECT_EQ(Q7AppEndRegistryWrite(app(), 1), 1);
  reopen();  // as if the process died: the outer group is not ended
  EXPECT_EQ(read_int("k", "n"), -1);
  EXPECT_EQ(Q7AppEndRegistryWrite(app(), 1), 0);
}

TEST_F(Settings, AnEndWithoutABeginFails) { EXPECT_EQ(Q7AppEndRegistryWrite(app(), 1), 0); }

TEST_F(Settings, SeveralProcessesWriteAtOnce) {
  constexpr int kProcesses = 4;
  constexpr int kValues = 25;
  write_int("k", "n", 0);
  reopen();
  for (int p = 0; p < kProcesses; ++p) {
    if (fork() == 0) {
      for (int i = 0; i < kValues; ++i) {
        std::string name = std::to_string(p) + "/" + std::to_string(i);
        if (!write_int("k", name.c_str(), i) || read_int("k", name.c_str()) != i) _exit(1);
      }
      _exit(0);
    }
  }
  for (int p = 0; p < kProcesses; ++p) {
    int status;
    wait(&status);
    EXPECT_EQ(status, 0);
  }
  for (int p = 0; p < kProcesses; ++p) {
    for (int i = 0; i < kValues; ++i) {
      EXPECT_EQ(read_int("k", (std::to_string(p) + "/" + std::to_string(i)).c_str()), i);
    }
  }
}

TEST_F(Settings, KillingAWriterLeavesTheSettingsWhole) {
  // Each child writes generation after generation, all values alike, until it is killed. Whatever is found afterwards
  // must be one whole generation, and never an older one than the last that a child said was stored.
  constexpr int kValues = 20;
  struct Shared {
    std::atomic<int32_t> stored;
    std::atomic<int32_t> begun;
  };
  auto *shared =
      static_cast<Shared *>(mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  write_int("k", "v0", 0);
  for (int i = 0; i < kValues; ++i) write_int("k", ("v" + std::to_string(i)).c_str(), 0);
  reopen();
  unsigned random = 1;
  for (int round = 0; round < 200; ++round) {
    int32_t first = shared->begun.load() + 1;
    int32_t stored_before = shared->stored.load();
    pid_t child = fork();
    if (child == 0) {
      for (int32_t generation = first;; ++generation) {
        shared->begun = generation;
        Q7AppBeginRegistryWrite(app(), 1);
        for (int i = 0; i < kValues; ++i) write_int("k", ("v" + std::to_string(i)).c_str(), generation);
        if (Q7AppEndRegistryWrite(app(), 1)) shared->stored = generation;
      }
    }
    // On a slow disk no generation would be finished by chance, so some rounds wait for one first.
    for (int tries = 0; round % 8 == 0 && tries < 20000 && shared->stored.load() < first; ++tries) usleep(500);
    random = random * 1103515245 + 12345;
    usleep(500 + (random >> 16) % 6000);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    int32_t value = read_int("k", "v0");
    ASSERT_GE(value, std::max(stored_before, shared->stored.load())) << "round " << round;
    ASSERT_LE(value, shared->begun.load()) << "round " << round;
    for (int i = 1; i < kValues; ++i) ASSERT_EQ(read_int("k", ("v" + std::to_string(i)).c_str()), value);
    reopen();
  }
  EXPECT_TRUE(errors().empty()) << errors()[0];
  EXPECT_GT(shared->stored.load(), 10);
  munmap(shared, sizeof(Shared));
}

TEST_F(Settings, ADamagedStoreIsMovedAsideAndReported) {
  write_file(file(), std::string(5000, 'x'));
  EXPECT_EQ(read_int("k", "n"), -1);
  ASSERT_EQ(errors().size(), 1u);
  EXPECT_EQ(errors()[0],
            "q7settings: The settings were damaged and are kept as " + file() + ".damaged-1; the defaults are used");
  EXPECT_EQ(read_file(file() + ".damaged-1"), std::string(5000, 'x'));
  EXPECT_EQ(write_int("k", "n", 3), 1);
  EXPECT_EQ(read_int("k", "n"), 3);
}

TEST_F(Settings, ASecondDamagedStoreDoesNotReplaceTheFirst) {
  write_file(file(), std::string(5000, 'x'));
  write_int("k", "n", 3);
  reopen();
  write_file(file(), std::string(5000, 'y'));
  write_int("k", "n", 3);
  EXPECT_EQ(read_file(file() + ".damaged-1"), std::string(5000, 'x'));
  EXPECT_EQ(read_file(file() + ".damaged-2"), std::string(5000, 'y'));
}

TEST_F(Settings, ADamagedPageIsFound) {
  std::string text(3000, 't');
  for (int i = 0; i < 20; ++i) write_text("k", std::to_string(i).c_str(), text.c_str());
  reopen();
  std::string content = read_file(file());
  ASSERT_GT(content.size(), 30000u);
  for (size_t i = 4096; i < content.size(); ++i) content[i] = static_cast<char>(0x5A);
  write_file(file(), content);
  EXPECT_EQ(write_int("k", "n", 1), 1);
  EXPECT_EQ(read_int("k", "n"), 1);
  EXPECT_EQ(errors().size(), 1u);
  EXPECT_EQ(read_file(file() + ".damaged-1"), content);
}

TEST_F(Settings, AnEmptyFileIsAnEmptyStore) {
  write_file(file(), "");
  EXPECT_EQ(read_int("k", "n"), -1);
  EXPECT_EQ(write_int("k", "n", 1), 1);
  EXPECT_EQ(read_int("k", "n"), 1);
  EXPECT_TRUE(errors().empty());
}

TEST_F(Settings, WithoutAHomeNothingIsKept) {
  setenv("HOME", "", 1);
  EXPECT_EQ(Q7AppOpenRegistry(app(), 1, "k"), nullptr);
  EXPECT_TRUE(errors().empty());
  EXPECT_EQ(Q7AppCreateRegistry(app(), 1, "k"), nullptr);
  EXPECT_EQ(Q7AppCreateRegistry(app(), 1, "k"), nullptr);
  EXPECT_EQ(Q7AppBeginRegistryWrite(app(), 1), 0);
  EXPECT_EQ(Q7AppEndRegistryWrite(app(), 1), 0);
  EXPECT_EQ(errors().size(), 1u) << "one report an application";
}

TEST_F(Settings, AHomeThatCannotHoldFoldersIsReportedOnce) {
  setenv("HOME", "/dev/null", 1);
  EXPECT_EQ(Q7AppOpenRegistry(app(), 1, "k"), nullptr);
  EXPECT_TRUE(errors().empty());
  EXPECT_EQ(write_int("k", "n", 1), 0);
  EXPECT_EQ(write_int("k", "n", 1), 0);
  EXPECT_EQ(errors().size(), 1u);
}

int32_t handled;
int reading_handler(const char *, int, const char *, ...) {
  ++handled;
  Q7AppCloseRegistry(nullptr, Q7AppOpenRegistry(nullptr, 1, "k"));
  return 0;
}

TEST_F(Settings, AReportsHandlerMayReadSettings) {
  handled = 0;
  app()->error_handler = reading_handler;
  write_file(file(), std::string(5000, 'x'));
  EXPECT_EQ(write_int("k", "n", 1), 1);
  EXPECT_EQ(handled, 1);
}

TEST_F(Settings, AFullDiskFailsTheGroupAndKeepsTheSettings) {
  write_int("k", "n", 1);
  struct sigaction ignore = {};
  ignore.sa_handler = SIG_IGN;
  sigaction(SIGXFSZ, &ignore, nullptr);
  rlimit before;
  getrlimit(RLIMIT_FSIZE, &before);
  auto size = std::filesystem::file_size(file());
  rlimit full = {size, before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &full);
  Q7AppBeginRegistryWrite(app(), 1);
  write_int("k", "n", 2);
  write_text("k", "large", std::string(100000, 'x').c_str());
  EXPECT_EQ(Q7AppEndRegistryWrite(app(), 1), 0);
  setrlimit(RLIMIT_FSIZE, &before);
  EXPECT_EQ(errors().size(), 1u);
  EXPECT_EQ(read_int("k", "n"), 1);
  EXPECT_EQ(write_int("k", "n", 4), 1);
  EXPECT_EQ(read_int("k", "n"), 4);
}

TEST_F(Settings, AnOpenKeySurvivesTheReplacementOfTheStore) {
  void *key = Q7AppCreateRegistry(app(), 1, "k");
  std::filesystem::remove(file());
  // Closing and opening the store as a change of the user folder does.
  setenv("HOME", (home() / "other").c_str(), 1);
  int32_t value = 0;
  EXPECT_EQ(Q7AppReadRegistryInt(app(), key, "n", &value), 0);
  EXPECT_EQ(Q7AppWriteRegistryInt(app(), key, "n", 8), 1);
  EXPECT_EQ(Q7AppReadRegistryInt(app(), key, "n", &value), 1);
  EXPECT_EQ(value, 8);
  Q7AppCloseRegistry(app(), key);
}

TEST_F(Settings, ExhaustionGivesNull) {
  write_int("k", "n", 1);
  for (int64_t n = 1; n <= 2; ++n) {
    AllocGate gate;
    gate.fail(n);
    EXPECT_EQ(Q7AppOpenRegistry(app(), 1, "k"), nullptr) << n;
  }
  EXPECT_EQ(read_int("k", "n"), 1);
}

TEST_F(Settings, TheProcessesLocaleDoesNotMatter) {
  // Writers that use a decimal comma and readers that do not would not understand each other.
  write_text("k", "n", "1.5");
  setlocale(LC_ALL, "de_DE.UTF-8");
  void *key = Q7AppOpenRegistry(app(), 1, "k");
  double value = 0;
  EXPECT_EQ(Q7AppReadRegistryFloat(app(), key, "n", &value), 1);
  EXPECT_EQ(value, 1.5);
  Q7AppCloseRegistry(app(), key);
}

}  // namespace
