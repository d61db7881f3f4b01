#include "app/q7filename.h"

#include <unistd.h>

#include <cstring>
#include <filesystem>

#include "tests/app/app_test.h"

using apptest::AppTest;

namespace {

// A 256-byte buffer between guard bytes.
struct Guarded {
  char before[64];
  char text[256];
  char after[64];
  Guarded() {
    std::memset(before, '#', sizeof before);
    std::memset(text, '?', sizeof text);
    std::memset(after, '#', sizeof after);
  }
  bool intact() const {
    for (char c : before)
      if (c != '#') return false;
    for (char c : after)
      if (c != '#') return false;
    return true;
  }
};

class FileName : public AppTest {
 protected:
  void SetUp() override {
    ASSERT_TRUE(create());
    fake::set_home("/home/u");
  }
  std::string config(const char *subfolder, const char *name) {
    Guarded g;
    EXPECT_EQ(g.text, Q7AppConfigFileName(app, g.text, subfolder, name));
    EXPECT_TRUE(g.intact());
    return g.text;
  }
  std::string external(const char *subfolder, const char *name) {
    Guarded g;
    EXPECT_EQ(g.text, Q7AppConfigExternalFileName(app, g.text, subfolder, name));
    EXPECT_TRUE(g.intact());
    return g.text;
  }
  std::string user(const char *subfolder, const char *name) {
    Guarded g;
    EXPECT_EQ(g.text, Q7AppConfigUserFileName(app, g.text, subfolder, name));
    EXPECT_TRUE(g.intact());
    return g.text;
  }
  std::string complete(const char *name) {
    Guarded g;
    EXPECT_EQ(g.text, Q7AppCompleteFileName(app, g.text, name));
    EXPECT_TRUE(g.intact());
    return g.text;
  }
  std::string relative(const std::string &path, const char *list = nullptr) {
    std::vector<char> buffer(path.begin(), path.end());
    buffer.push_back(0);
    EXPECT_EQ(buffer.data(), Q7AppMakeRelativeFileName(app, buffer.data(), list));
    return buffer.data();
  }
  const std::string long_ = std::string(300, 'a');
};

// ---- Configuration file name ----

TEST_F(FileName, ConfigWithoutHome) { EXPECT_EQ("./a.cfg", config(nullptr, "a.cfg")); }
TEST_F(FileName, ConfigWithHomeSubfolderAndName) {
  Q7AppSetHome(app, "C:\\x", nullptr);
  EXPECT_EQ("C:/x/s/n", config("s", "n"));
}
TEST_F(FileName, ConfigHomeEndingInSlash) {
  Q7AppSetHome(app, "/opt/q7/", nullptr);
  EXPECT_EQ("/opt/q7/n", config(nullptr, "n"));
}
TEST_F(FileName, ConfigHomeEndingInBackslash) {
  Q7AppSetHome(app, "C:\\x\\", nullptr);
  EXPECT_EQ("C:/x/n", config("", "n"));
}
TEST_F(FileName, ConfigSubfolderEndingInSeparator) {
  EXPECT_EQ("./s/n", config("s/", "n"));
  EXPECT_EQ("./s/n", config("s\\", "n"));
}
TEST_F(FileName, ConfigAbsoluteSubfolderReplacesHome) {
  Q7AppSetHome(app, "/opt/q7", nullptr);
  EXPECT_EQ("/data/s/n", config("/data/s", "n"));
  EXPECT_EQ("C:/s/n", config("C:\\s", "n"));
}
TEST_F(FileName, ConfigFolderAlone) {
  Q7AppSetHome(app, "/opt/q7", nullptr);
  EXPECT_EQ("/opt/q7/", config(nullptr, nullptr));
  EXPECT_EQ("/opt/q7/s/", config("s", ""));
}
TEST_F(FileName, ConfigNameMayHoldSeparators) { EXPECT_EQ("./a/b", config(nullptr, "a\\b")); }
TEST_F(FileName, ConfigWithoutApplication) {
  char buffer[256];
  EXPECT_STREQ("./n", Q7AppConfigFileName(nullptr, buffer, nullptr, "n"));
}
TEST_F(FileName, ConfigBufferMayBeTheName) {
  char buffer[256] = "n";
  EXPECT_STREQ("./s/n", Q7AppConfigFileName(app, buffer, "s", buffer));
}
TEST_F(FileName, ConfigLongComponentsAreCut) {
  EXPECT_EQ(("./" + long_).substr(0, 255), config(nullptr, long_.c_str()));
  EXPECT_EQ(("./" + long_).substr(0, 255), config(long_.c_str(), "n"));
  Q7AppSetHome(app, long_.c_str(), nullptr);
  EXPECT_EQ(long_.substr(0, 255), config("s", "n"));
  EXPECT_EQ(("/" + long_).substr(0, 255), config(("/" + long_).c_str(), long_.c_str()));
}
TEST_F(FileName, ConfigExactFit) {
  const std::string fits(253, 'b');
  EXPECT_EQ("./" + fits, config(nullptr, fits.c_str()));
  EXPECT_EQ("./" + fits, config(nullptr, (fits + "c").c_str()));
}

// ---- External file name ----

TEST_F(FileName, ExternalPrefersNetHome) {
  Q7AppSetHome(app, "/home1", "/net1");
  EXPECT_EQ("/net1/s/n", external("s", "n"));
}
TEST_F(FileName, ExternalFallsBackToHome) {
  Q7AppSetHome(app, "/home1", nullptr);
  EXPECT_EQ("/home1/n", external(nullptr, "n"));
}
TEST_F(FileName, ExternalFallsBackToCurrentFolder) { EXPECT_EQ("./n", external(nullptr, "n")); }
TEST_F(FileName, ExternalEmptySubfolderAddsNothing) { EXPECT_EQ("./n", external("", "n")); }
TEST_F(FileName, ExternalKeepsBackslashes) {
  Q7AppSetHome(app, nullptr, "\\\\server\\share\\");
  EXPECT_EQ("\\\\server\\share\\/s\\/n\\m", external("s\\", "n\\m"));
}
TEST_F(FileName, ExternalDoesNotKnowAbsoluteSubfolders) {
  Q7AppSetHome(app, nullptr, "/net1/");
  EXPECT_EQ("/net1//data/n", external("/data/", "n"));
}
TEST_F(FileName, ExternalLongComponentsAreCut) {
  EXPECT_EQ(("./" + long_).substr(0, 255), external(long_.c_str(), long_.c_str()));
  Q7AppSetHome(app, nullptr, long_.c_str());
  EXPECT_EQ(long_.substr(0, 255), external("s", "n"));
}

// ---- User file name ----

TEST_F(FileName, UserFolderItself) { EXPECT_EQ("/home/u/.Karmonic7D/Karmonic-9.1", user(nullptr, nullptr)); }
TEST_F(FileName, UserSubfolder) { EXPECT_EQ("/home/u/.Karmonic7D/Karmonic-9.1/temp", user("temp", nullptr)); }
TEST_F(FileName, UserSubfolderWithEmptyName) { EXPECT_EQ("/home/u/.Karmonic7D/Karmonic-9.1/temp/", user("temp", "")); }
TEST_F(FileName, UserSubfolderAndName) { EXPECT_EQ("/home/u/.Karmonic7D/Karmonic-9.1/s/n", user("s", "n")); }
TEST_F(FileName, UserName) { EXPECT_EQ("/home/u/.Karmonic7D/Karmonic-9.1/n", user(nullptr, "n")); }
TEST_F(FileName, UserEmptySubfolderCountsAsGiven) {
  EXPECT_EQ("/home/u/.Karmonic7D/Karmonic-9.1/", user("", nullptr));
  EXPECT_EQ("/home/u/.Karmonic7D/Karmonic-9.1/n", user("", "n"));
  EXPECT_EQ("/home/u/.Karmonic7D/Karmonic-9.1/", user(nullptr, ""));
}
TEST_F(FileName, UserWithoutHome) {
  fake::set_home(nullptr);
  EXPECT_EQ("s/n", user("s", "n"));
  EXPECT_EQ("s", user("s", nullptr));
  EXPECT_EQ("s/", user("s", ""));
  EXPECT_EQ("n", user(nullptr, "n"));
  EXPECT_EQ("", user(nullptr, nullptr));
}
TEST_F(FileName, UserEmptyHomeCountsAsNone) {
  fake::set_home("");
  EXPECT_EQ("s/n", user("s", "n"));
}
TEST_F(FileName, UserLongComponentsAreCut) {
  const std::string folder = "/home/u/.Karmonic7D/Karmonic-9.1/";
  EXPECT_EQ((folder + long_).substr(0, 255), user(long_.c_str(), "n"));
  EXPECT_EQ((folder + long_).substr(0, 255), user(nullptr, long_.c_str()));
  fake::set_home(long_.c_str());
  EXPECT_EQ(long_.substr(0, 255), user("s", "n"));
}

// ---- Complete file name ----

TEST_F(FileName, CompleteFindsTheConfigurationFile) {
  const std::string folder = (home() / "local").string(), net = (home() / "net").string();
  std::filesystem::create_directories(folder);
  std::filesystem::create_directories(net);
  q7test::write_file(folder + "/a.cfg", "x");
  q7test::write_file(net + "/a.cfg", "x");
  q7test::write_file(net + "/b.cfg", "x");
  Q7AppSetHome(app, folder.c_str(), net.c_str());
  EXPECT_EQ(folder + "/a.cfg", complete("a.cfg"));
  EXPECT_EQ(net + "/b.cfg", complete("b.cfg"));
  EXPECT_EQ("c.cfg", complete("c.cfg"));
  EXPECT_EQ(0u, Q7ClassFind(5)->ninstances);
}
TEST_F(FileName, CompleteBareNameIsCut) { EXPECT_EQ(long_.substr(0, 255), complete(long_.c_str())); }

// ---- Relative file name ----

class Relative : public FileName {
 protected:
  void SetUp() override {
    FileName::SetUp();
    Q7AppSetHome(app, "/opt/q7", nullptr);
  }
};

TEST_F(Relative, BelowTheConfigurationFolder) { EXPECT_EQ("a/b.obj", relative("/opt/q7/a/b.obj")); }
TEST_F(Relative, BackslashesCompareAsSlashes) { EXPECT_EQ("a/b.obj", relative("\\opt\\q7\\a\\b.obj")); }
TEST_F(Relative, TheFolderItself) { EXPECT_EQ("", relative("/opt/q7/")); }
TEST_F(Relative, FolderWithoutSeparatorIsNotBelow) { EXPECT_EQ("/opt/q7", relative("/opt/q7")); }
TEST_F(Relative, NothingMatchesGivesTheConvertedPath) { EXPECT_EQ("/data/a/b", relative("\\data\\a/b", "/xx;/yy")); }
TEST_F(Relative, CurrentFolderIsConfigurationFolder) {
  // Both texts are "/": only there does the folder with its closing separator equal the current one.
  Q7AppSetHome(app, "/", nullptr);
  const auto previous = std::filesystem::current_path();
  ASSERT_EQ(0, chdir("/"));
  EXPECT_EQ("/a\\b", relative("/a\\b"));
  std::filesystem::current_path(previous);
  EXPECT_EQ("a/b", relative("/a\\b"));
}
TEST_F(Relative, LastEntryWithSeparator) { EXPECT_EQ("a.obj", relative("/data/a.obj", "/data/")); }
TEST_F(Relative, LastEntryWithoutSeparator) { EXPECT_EQ("a.obj", relative("/data/a.obj", "/data")); }
TEST_F(Relative, LastEntryWithBackslashes) { EXPECT_EQ("a.obj", relative("/data/s/a.obj", "\\data\\s\\")); }
TEST_F(Relative, LastEntryEqualToThePath) { EXPECT_EQ("", relative("/data", "/data")); }
TEST_F(Relative, FirstEntryWithSeparator) { EXPECT_EQ("a.obj", relative("/data/a.obj", "/data/;/x")); }
TEST_F(Relative, FirstEntryWithoutSeparator) { EXPECT_EQ("a.obj", relative("/data/a.obj", "/data;/x")); }
TEST_F(Relative, FirstEntryMatchesWithoutItsLastCharacter) {
  // "/data" is compared as "/dat"; what follows the full entry's length is the result.
  EXPECT_EQ("a.obj", relative("/date/a.obj", "/data;/x"));
  EXPECT_EQ("xy/a.obj", relative("/dataxy/a.obj", "/data;/x"));
}
TEST_F(Relative, PathShorterThanTheEntry) { EXPECT_EQ("", relative("/dat", "/data;/x")); }
TEST_F(Relative, OneCharacterEntryMatchesEverything) {
  EXPECT_EQ("data/a", relative("/data/a", "/;/x"));
  EXPECT_EQ("a", relative("//a", "x;/y"));
}
TEST_F(Relative, EmptyEntriesAreSkipped) { EXPECT_EQ("a.obj", relative("/data/a.obj", ";;/data")); }
TEST_F(Relative, EmptyLastEntryMatchesNothing) { EXPECT_EQ("/data/a.obj", relative("/data/a.obj", "/x/y;")); }
TEST_F(Relative, EarlierEntryWins) { EXPECT_EQ("s/a", relative("/data/s/a", "/none;/data/;/data/s/")); }
TEST_F(Relative, EmptyListIsNoList) { EXPECT_EQ("/data/a", relative("/data/a", "")); }
TEST_F(Relative, NullPath) { EXPECT_EQ(nullptr, Q7AppMakeRelativeFileName(app, nullptr, "/data")); }
TEST_F(Relative, LongPathsAndEntries) {
  const std::string path = "/" + std::string(400, 'p') + "/x";
  EXPECT_EQ(path, relative(path, "/none"));
  EXPECT_EQ("x", relative(path, ("/" + std::string(400, 'p') + ";/y").c_str()));
  // The last entry is compared by its first 254 characters.
  EXPECT_EQ("x", relative(path, ("/" + std::string(400, 'p')).c_str()));
  EXPECT_EQ("", relative("/" + std::string(260, 'p'), ("/" + std::string(400, 'p')).c_str()));
}

// ---- Extensions ----

class Extension : public FileName {
 protected:
  std::string replace(const std::string &name, const char *extension, bool appended) {
    char buffer[256];
    std::snprintf(buffer, sizeof buffer, "%s", name.c_str());
    EXPECT_EQ(appended ? apptest::num(buffer) : 0, Q7AppReplaceExtension(app, buffer, extension));
    return buffer;
  }
};

TEST_F(Extension, BuiltInDefault) { EXPECT_STREQ(".q7d", Q7AppDefaultExtension(app)); }
TEST_F(Extension, BuiltInDefaultWithoutApplication) { EXPECT_STREQ(".q7d", Q7AppDefaultExtension(nullptr)); }
TEST_F(Extension, StoredDefaultIsACopy) {
  char text[] = ".abc";
  char *stored = Q7AppSetDefaultExtension(app, text);
  EXPECT_NE(text, stored);
  text[1] = 'x';
  EXPECT_STREQ(".abc", stored);
  EXPECT_EQ(stored, Q7AppDefaultExtension(app));
  EXPECT_EQ(nullptr, Q7AppSetDefaultExtension(app, nullptr));
  EXPECT_STREQ(".q7d", Q7AppDefaultExtension(app));
}
TEST_F(Extension, PresentOneIsLeft) { EXPECT_EQ("scene.TXT", replace("scene.TXT", ".txt", false)); }
TEST_F(Extension, MissingOneIsAppended) { EXPECT_EQ("scene.txt", replace("scene", ".txt", true)); }
TEST_F(Extension, BuiltInDefaultDoesNotCount) { EXPECT_EQ("scene.q7d.txt", replace("scene.q7d", ".txt", true)); }
TEST_F(Extension, StoredDefaultIsCutOff) {
  Q7AppSetDefaultExtension(app, ".q7d");
  EXPECT_EQ("scene.txt", replace("scene.Q7D", ".txt", true));
  EXPECT_EQ("scene.txt", replace("scene", ".txt", true));
  // The default taken off and asked for again comes back as it is asked for.
  EXPECT_EQ("scene.q7d", replace("scene.Q7D", ".q7d", true));
}
TEST_F(Extension, NameShorterThanTheExtension) { EXPECT_EQ("a.txt", replace("a", ".txt", true)); }
TEST_F(Extension, NameIsTheExtension) { EXPECT_EQ(".txt", replace(".txt", ".txt", false)); }
TEST_F(Extension, LongNameIsCut) {
  Guarded g;
  std::snprintf(g.text, sizeof g.text, "%s", std::string(252, 'n').c_str());
  Q7AppReplaceExtension(app, g.text, ".txt");
  EXPECT_EQ(std::string(252, 'n') + ".t", g.text);
  EXPECT_TRUE(g.intact());
}
TEST_F(Extension, NullArguments) {
  EXPECT_EQ(0u, Q7AppReplaceExtension(app, nullptr, ".txt"));
  char name[256] = "scene";
  EXPECT_EQ(0u, Q7AppReplaceExtension(app, name, nullptr));
  EXPECT_STREQ("scene", name);
}

// ---- Error codes ----

TEST(ErrorCode, ExtensionIsCut) {
  char buffer[300];
  EXPECT_EQ(8 + 0, Q7FileLineToErrorCode(buffer, "q7app.c", 12));
  EXPECT_STREQ("q7app:12", buffer);
}
TEST(ErrorCode, FirstPointCounts) {
  char buffer[300];
  Q7FileLineToErrorCode(buffer, "a.b.c", -3);
  EXPECT_STREQ("a:-3", buffer);
}
TEST(ErrorCode, LongModuleIsCut) {
  char buffer[300];
  EXPECT_EQ(257, Q7FileLineToErrorCode(buffer, std::string(300, 'm').c_str(), 1));
  EXPECT_EQ(std::string(255, 'm') + ":1", buffer);
}
TEST(ErrorCode, NullArguments) {
  char buffer[300];
  EXPECT_EQ(2, Q7FileLineToErrorCode(buffer, nullptr, 7));
  EXPECT_STREQ(":7", buffer);
  EXPECT_EQ(0, Q7FileLineToErrorCode(nullptr, "m", 7));
}

}  // namespace
