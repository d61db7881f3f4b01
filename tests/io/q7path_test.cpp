// q7path: every function against results worked out by hand.
#include "io/q7path.h"

#include <unistd.h>

#include "tests/support/test_support.h"

namespace {

std::string directory(const char *path) {
  char buffer[Q7PATH_SIZE];
  EXPECT_EQ(Q7DirectoryOfPath(path, buffer), buffer);
  return buffer;
}
std::string joined(const char *folder, const char *name) {
  char buffer[Q7PATH_SIZE];
  EXPECT_EQ(Q7MakeFileName(buffer, folder, name), buffer);
  return buffer;
}

TEST(Path, AbsoluteWithLeadingSeparatorOrDevice) {
  for (const char *path : {"\\x", "/x", "C:/x", "C:\\x", "a/b:/c", "/", "\\"})
    EXPECT_EQ(Q7IsAbsolutePath(path), 1) << path;
  for (const char *path : {"C:x", "x/y", "", "x", "x\\y", ":"}) EXPECT_EQ(Q7IsAbsolutePath(path), 0) << path;
}

TEST(Path, FileNameOfPath) {
  EXPECT_STREQ(Q7FileNameOfPath("C:x"), "x");
  EXPECT_STREQ(Q7FileNameOfPath("a/b\\c"), "c");
  EXPECT_STREQ(Q7FileNameOfPath("a\\b/c"), "c");
  EXPECT_STREQ(Q7FileNameOfPath("name"), "name");
  EXPECT_STREQ(Q7FileNameOfPath("folder/"), "");
  EXPECT_STREQ(Q7FileNameOfPath("C:"), "C:");
  EXPECT_STREQ(Q7FileNameOfPath("C:/x"), "x");
  EXPECT_STREQ(Q7FileNameOfPath(""), "");
}

TEST(Path, DirectoryOfPath) {
  EXPECT_EQ(directory("name.txt"), ".");
  EXPECT_EQ(directory("a/b/c"), "a/b");
  EXPECT_EQ(directory("a\\b/c"), "a\\b");
  EXPECT_EQ(directory("/x"), "");
  EXPECT_EQ(directory("C:/a/b"), "/a");
  EXPECT_EQ(directory("C:x"), ".");
  EXPECT_EQ(directory("C:"), ".");
  EXPECT_EQ(directory(""), ".");
}

TEST(Path, DirectoryOfALongPathIsCut) {
  const std::string folder(400, 'f');
  EXPECT_EQ(directory((folder + "/x").c_str()), std::string(255, 'f'));
}

TEST(Path, DirectoryInPlace) {
  char path[Q7PATH_SIZE] = "C:/a/b";
  Q7DirectoryOfPath(path, path);
  EXPECT_STREQ(path, "/a");
}

TEST(Path, MakeFileName) {
  EXPECT_EQ(joined("C:", "x"), "C:x");
  EXPECT_EQ(joined("a", "x"), "a/x");
  EXPECT_EQ(joined("a/", "x"), "a/x");
  EXPECT_EQ(joined("a\\", "x"), "a\\x");
  EXPECT_EQ(joined("a", ""), "a");
  EXPECT_EQ(joined("a", nullptr), "a");
  EXPECT_EQ(joined("", "x"), "x");
  EXPECT_EQ(joined(nullptr, "x"), "x");
  EXPECT_EQ(joined(nullptr, nullptr), "");
  EXPECT_EQ(joined("", nullptr), "");
}

TEST(Path, MakeFileNameInPlaceAndCut) {
  char buffer[Q7PATH_SIZE] = "folder";
  Q7MakeFileName(buffer, buffer, "name");
  EXPECT_STREQ(buffer, "folder/name");
  const std::string part(200, 'p');
  EXPECT_EQ(joined(part.c_str(), part.c_str()), (part + "/" + part).substr(0, 255));
}

TEST(Path, CompareFileNames) {
  EXPECT_EQ(Q7CmpFileNames("a/b", "a/b"), 1);
  EXPECT_EQ(Q7CmpFileNames("a/b", "a/B"), 0);
  EXPECT_EQ(Q7CmpFileNames("a/b", "a\\b"), 0);
}

TEST(Path, SkipDevicePart) {
  EXPECT_STREQ(Q7SkipDevicePartOfPath("C:/x"), "x");
  EXPECT_STREQ(Q7SkipDevicePartOfPath("C:\\x"), "x");
  EXPECT_STREQ(Q7SkipDevicePartOfPath("C:x"), "x");
  EXPECT_STREQ(Q7SkipDevicePartOfPath("/x/y"), "x/y");
  EXPECT_STREQ(Q7SkipDevicePartOfPath("\\x"), "x");
  EXPECT_STREQ(Q7SkipDevicePartOfPath("x/y"), "x/y");
  EXPECT_STREQ(Q7SkipDevicePartOfPath("a:b:/c"), "c");  // ":/" goes first, wherever it is
  EXPECT_STREQ(Q7SkipDevicePartOfPath(""), "");
}

TEST(Path, MatchExtension) {
  EXPECT_EQ(Q7FileMatchExtension(".Q7D", "scene.q7d"), 1);
  EXPECT_EQ(Q7FileMatchExtension(".Q7D", "scene.q7dx"), 0);
  EXPECT_EQ(Q7FileMatchExtension(nullptr, "anything"), 1);
  EXPECT_EQ(Q7FileMatchExtension(".q7d", "q7d"), 0);
  EXPECT_EQ(Q7FileMatchExtension(".b", "x.a.b"), 1);
  EXPECT_EQ(Q7FileMatchExtension(".?7d", "x.q7d"), 1);
  EXPECT_EQ(Q7FileMatchExtension(".*", "x.q"), 1);
  EXPECT_EQ(Q7FileMatchExtension(".*", "x.q7"), 0);  // as long as the extension, wildcards or not
}

TEST(Path, NullsAreHarmless) {
  char buffer[Q7PATH_SIZE] = "x";
  EXPECT_EQ(Q7IsAbsolutePath(nullptr), 0);
  EXPECT_EQ(Q7FileNameOfPath(nullptr), nullptr);
  EXPECT_EQ(Q7DirectoryOfPath("x", nullptr), nullptr);
  EXPECT_STREQ(Q7DirectoryOfPath(nullptr, buffer), ".");
  EXPECT_EQ(Q7MakeFileName(nullptr, "a", "b"), nullptr);
  EXPECT_EQ(Q7CmpFileNames(nullptr, nullptr), 0);
  EXPECT_EQ(Q7SkipDevicePartOfPath(nullptr), nullptr);
  EXPECT_EQ(Q7FileMatchExtension(".x", nullptr), 0);
  EXPECT_EQ(Q7AppGetCurrentDir(nullptr, nullptr), nullptr);
}

class CurrentDir : public q7test::Test {};

TEST_F(CurrentDir, IsTheWorkingFolder) {
  ASSERT_EQ(chdir(home().c_str()), 0);
  char buffer[Q7PATH_SIZE];
  EXPECT_EQ(Q7AppGetCurrentDir(nullptr, buffer), buffer);
  EXPECT_EQ(std::filesystem::path(buffer), std::filesystem::canonical(home()));
  ASSERT_EQ(chdir("/"), 0);
}

TEST_F(CurrentDir, TooLongIsRefused) {
  std::filesystem::path deep = home();
  for (int i = 0; i < 3; ++i) deep /= std::string(100, 'd');
  std::filesystem::create_directories(deep);
  ASSERT_EQ(chdir(deep.c_str()), 0);
  char buffer[Q7PATH_SIZE];
  EXPECT_EQ(Q7AppGetCurrentDir(nullptr, buffer), nullptr);
  ASSERT_EQ(chdir("/"), 0);
}

}  // namespace
