#include "app/q7appstr.h"

#include "tests/app/app_test.h"

using apptest::AppTest;
using ::testing::ElementsAre;

namespace {

class q7appstr : public AppTest {};

const char *const kDefaults[] = {"OK",
                                 "Cancel",
                                 "Cannot allocate %du bytes",
                                 "Conflicting ClassID",
                                 "Class Not Installed",
                                 "Cannot Install Extension",
                                 "Cannot Replace Class",
                                 "Error",
                                 "Warning",
                                 "Info",
                                 "Debug"};

TEST_F(q7appstr, DefaultTextsBeforeAnyApplication) {
  for (int i = 0; i < 11; ++i) EXPECT_STREQ(kDefaults[i], Q7AppStr(i)) << i;
}

TEST_F(q7appstr, OpensTheCatalogueWithElevenEntries) {
  ASSERT_TRUE(create());
  const auto opened = fake::calls("Q7AppOpenLocale");
  ASSERT_FALSE(opened.empty());
  EXPECT_EQ("Q7AppOpenLocale(q7common, q7appstr, 11)", opened[0]);
  for (int i = 0; i < 11; ++i) EXPECT_STREQ(kDefaults[i], Q7AppStr(i)) << i;
}

TEST_F(q7appstr, TextsComeFromTheCatalogueByKey) {
  const char *const keys[] = {"OK",
                              "Cancel",
                              "NotEnoughMemory",
                              "ConflictingClassId",
                              "ClassNotInstalled",
                              "CannotInstallExtension",
                              "CannotReplaceClass",
                              "Error",
                              "Warning",
                              "Info",
                              "Debug"};
  for (const char *key : keys) fake::set_text("q7appstr", key, std::string("text of ") + key);
  ASSERT_TRUE(create());
  for (int i = 0; i < 11; ++i) EXPECT_EQ(std::string("text of ") + keys[i], Q7AppStr(i));
}

TEST_F(q7appstr, OpenTwiceOpensOnce) {
  EXPECT_EQ(1, Q7AppInitStrings(nullptr));
  EXPECT_EQ(1, Q7AppInitStrings(nullptr));
  EXPECT_EQ(1, fake::count("Q7AppOpenLocale"));
  Q7AppCloseStrings(nullptr);
}

TEST_F(q7appstr, CloseTwiceClosesOnce) {
  Q7AppInitStrings(nullptr);
  Q7AppCloseStrings(nullptr);
  Q7AppCloseStrings(nullptr);
  EXPECT_THAT(fake::calls("Q7AppCloseLocale"), ElementsAre("Q7AppCloseLocale(11)"));
  EXPECT_EQ(0, fake::live().catalogues);
}

TEST_F(q7appstr, ClosedWithoutOpeningDoesNothing) {
  Q7AppCloseStrings(nullptr);
  EXPECT_EQ(0, fake::count("Q7AppCloseLocale"));
}

TEST_F(q7appstr, ClosedStringsAnswerTheDefaults) {
  fake::set_text("q7appstr", "OK", "Jawohl");
  Q7AppInitStrings(nullptr);
  EXPECT_STREQ("Jawohl", Q7AppStr(0));
  Q7AppCloseStrings(nullptr);
  EXPECT_STREQ("OK", Q7AppStr(0));
}

TEST_F(q7appstr, OpenedOncePerProcess) {
  ASSERT_TRUE(create());
  destroy();
  const auto count = [] {
    int n = 0;
    for (const auto &line : fake::calls()) n += line == "Q7AppOpenLocale(q7common, q7appstr, 11)";
    return n;
  };
  EXPECT_EQ(1, count());
  ASSERT_TRUE(create());
  EXPECT_EQ(1, count());
  EXPECT_STREQ("Debug", Q7AppStr(10));
}

TEST_F(q7appstr, FailedOpeningIsTriedAgain) {
  fake::fail("Q7AppOpenLocale");
  EXPECT_EQ(0, Q7AppInitStrings(nullptr));
  EXPECT_STREQ("OK", Q7AppStr(0));
  EXPECT_EQ(1, Q7AppInitStrings(nullptr));
  Q7AppCloseStrings(nullptr);
}

TEST_F(q7appstr, IndexOutsideTheTableReadsNothing) {
  EXPECT_STREQ("", Q7AppStr(-1));
  EXPECT_STREQ("", Q7AppStr(11));
}

}  // namespace
