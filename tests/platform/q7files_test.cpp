#include <sys/stat.h>
#include <unistd.h>

#include <ctime>

#include "tests/platform/mini_app.h"

using namespace q7test;

namespace {

class Files : public Test {};

TEST_F(Files, DateAndTimeHaveAStableForm) {
  setenv("TZ", "UTC", 1);
  char date[64];
  char time[64];
  EXPECT_EQ(Q7GetDateTime(1000000000, date, time), 1);
  EXPECT_STREQ(date, "2001-09-09");
  EXPECT_STREQ(time, "01:46:40");
}

TEST_F(Files, DateAndTimeAreLocal) {
  setenv("TZ", "XXX-2", 1);  // two hours east
  char time[64];
  EXPECT_EQ(Q7GetDateTime(1000000000, nullptr, time), 1);
  EXPECT_STREQ(time, "03:46:40");
}

TEST_F(Files, TimeZeroIsNow) {
  setenv("TZ", "UTC", 1);
  char date[64];
  char before[64];
  char after[64];
  time_t now = time(nullptr);
  strftime(before, sizeof before, "%Y-%m-%d", gmtime(&now));
  EXPECT_EQ(Q7GetDateTime(0, date, nullptr), 1);
  now = time(nullptr);
  strftime(after, sizeof after, "%Y-%m-%d", gmtime(&now));
  EXPECT_TRUE(std::string(date) == before || std::string(date) == after);
}

TEST_F(Files, DateTakesNullBuffers) { EXPECT_EQ(Q7GetDateTime(1, nullptr, nullptr), 1); }

TEST_F(Files, TimesBeyond2038AreNotNegative) {
  setenv("TZ", "UTC", 1);
  char date[64];
  EXPECT_EQ(Q7GetDateTime(4294967295u, date, nullptr), 1);
  EXPECT_STREQ(date, "2106-02-07");
}

TEST_F(Files, HomeIsTheVariable) { EXPECT_STREQ(Q7GetUserHome(), home().c_str()); }

TEST_F(Files, AnEmptyHomeIsNone) {
  setenv("HOME", "", 1);
  EXPECT_EQ(Q7GetUserHome(), nullptr);
}

TEST_F(Files, WithoutTheVariableTheUserDatabaseAnswers) {
  unsetenv("HOME");
  const char *found = Q7GetUserHome();
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(*found, '/');
}

TEST_F(Files, PathsAreCopied) {
  char buffer[16];
  EXPECT_EQ(Q7ToSystemPath(buffer, "a\\b/c", 16), buffer);
  EXPECT_STREQ(buffer, "a\\b/c");
  EXPECT_EQ(Q7FromSystemPath(buffer, "x/y", 16), buffer);
  EXPECT_STREQ(buffer, "x/y");
}

TEST_F(Files, PathsAreBounded) {
  char buffer[8];
  memset(buffer, '#', sizeof buffer);
  Q7FromSystemPath(buffer, "abcdefgh", 4);
  EXPECT_STREQ(buffer, "abc");
  EXPECT_EQ(buffer[4], '#');
  Q7ToSystemPath(buffer, "xyz", 0);
  EXPECT_STREQ(buffer, "abc");
}

TEST_F(Files, PathsAreConvertedInPlace) {
  char buffer[] = "/a/b/c";
  Q7FromSystemPath(buffer, buffer, sizeof buffer);
  EXPECT_STREQ(buffer, "/a/b/c");
  Q7FromSystemPath(buffer, buffer + 2, sizeof buffer);
  EXPECT_STREQ(buffer, "/b/c");
}

TEST_F(Files, ANullPathIsEmpty) {
  char buffer[4] = "x";
  Q7FromSystemPath(buffer, nullptr, 4);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(Q7FromSystemPath(nullptr, "x", 4), nullptr);
}

TEST_F(Files, NativeNameIsCopied) {
  char buffer[512];
  EXPECT_EQ(Q7FileNameToNative(buffer, "dir/name"), buffer);
  EXPECT_STREQ(buffer, "dir/name");
}

TEST_F(Files, NativeNameThatDoesNotFitIsEmpty) {
  char buffer[512];
  Q7FileNameToNative(buffer, std::string(511, 'x').c_str());
  EXPECT_EQ(strlen(buffer), 511u);
  Q7FileNameToNative(buffer, std::string(512, 'x').c_str());
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(Q7FileNameToNative(nullptr, "x"), nullptr);
}

TEST_F(Files, AbsoluteMeansALeadingSlash) {
  EXPECT_EQ(Q7IsAbsolutePathName("/x"), 1);
  EXPECT_EQ(Q7IsAbsolutePathName("x/y"), 0);
  EXPECT_EQ(Q7IsAbsolutePathName(""), 0);
  EXPECT_EQ(Q7IsAbsolutePathName(nullptr), 0);
}

struct Seen {
  std::vector<std::string> lines;
  size_t stop_after = 1000;
};
int32_t see(int32_t is_folder, const char *path, void *context) {
  auto *seen = static_cast<Seen *>(context);
  seen->lines.push_back(std::string(is_folder ? "d " : "f ") + path);
  return seen->lines.size() < seen->stop_after;
}

TEST_F(Files, ScanVisitsEveryEntryInByteOrder) {
  std::string folder = home().string();
  write_file(home() / "b", "");
  write_file(home() / "A", "");
  write_file(home() / ".hidden", "");
  mkdir((folder + "/c").c_str(), 0755);
  ASSERT_EQ(symlink("c", (folder + "/link").c_str()), 0);
  Seen seen;
  EXPECT_EQ(Q7ExamineDir(folder.c_str(), see, &seen), 1);
  EXPECT_EQ(seen.lines,
            (std::vector<std::string>{"f " + folder + "/.hidden", "f " + folder + "/A", "f " + folder + "/b",
                                      "d " + folder + "/c", "d " + folder + "/link"}));
}

TEST_F(Files, ScanDoesNotDoubleASlash) {
  write_file(home() / "a", "");
  Seen seen;
  EXPECT_EQ(Q7ExamineDir((home().string() + "/").c_str(), see, &seen), 1);
  EXPECT_EQ(seen.lines, std::vector<std::string>{"f " + home().string() + "/a"});
}

TEST_F(Files, ScanEndsWhenTheCallbackSaysSo) {
  for (char c = 'a'; c < 'f'; ++c) write_file(home() / std::string(1, c), "");
  Seen seen;
  seen.stop_after = 2;
  EXPECT_EQ(Q7ExamineDir(home().c_str(), see, &seen), 1);
  EXPECT_EQ(seen.lines.size(), 2u);
}

TEST_F(Files, ScanOfNoFolderFails) {
  Seen seen;
  EXPECT_EQ(Q7ExamineDir((home() / "none").c_str(), see, &seen), 0);
  EXPECT_EQ(Q7ExamineDir("", see, &seen), 0);
  EXPECT_EQ(Q7ExamineDir(nullptr, see, &seen), 0);
  EXPECT_EQ(Q7ExamineDir(home().c_str(), nullptr, nullptr), 0);
  EXPECT_TRUE(seen.lines.empty());
}

TEST_F(Files, ScanSurvivesExhaustion) {
  write_file(home() / "a", "");
  Seen seen;
  AllocGate gate;
  gate.fail(1);
  EXPECT_EQ(Q7ExamineDir(home().c_str(), see, &seen), 0);
}

}  // namespace
