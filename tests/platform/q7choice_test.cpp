#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <unistd.h>

#include <thread>

#include "tests/platform/mini_app.h"

using namespace q7test;

namespace {

class Choices : public Test {
 protected:
  // Makes a pseudo terminal standard input and error, types the keys, and asks.
  static int32_t ask(const char *buttons, const std::string &keys, std::string *shown = nullptr) {
    int master;
    int slave;
    if (openpty(&master, &slave, nullptr, nullptr, nullptr)) return -1;
    int in = dup(0);
    int err = dup(2);
    if (write(master, keys.data(), keys.size()) < 0) return -1;
    fflush(stderr);
    dup2(slave, 0);
    dup2(slave, 2);
    int32_t result = Q7GetChoice(buttons, "Really?", nullptr);
    fflush(stderr);
    dup2(in, 0);
    dup2(err, 2);
    // What was shown may come in pieces.
    char text[2048];
    pollfd entry = {master, POLLIN, 0};
    while (poll(&entry, 1, 50) > 0) {
      ssize_t got = read(master, text, sizeof text);
      if (got <= 0) break;
      if (shown) shown->append(text, static_cast<size_t>(got));
    }
    for (int fd : {master, slave, in, err}) close(fd);
    return result;
  }
};

TEST_F(Choices, WithoutATerminalTheFirstButtonIsTaken) {
  int in = dup(0);
  int none = open("/dev/null", O_RDONLY);
  dup2(none, 0);
  Capture capture(2);
  EXPECT_EQ(Q7GetChoice("Yes|No", "Really?", nullptr), 1);
  EXPECT_EQ(capture.stop(), "Really?\n");
  dup2(in, 0);
  close(in);
  close(none);
}

TEST_F(Choices, ANumberChooses) {
  std::string shown;
  EXPECT_EQ(ask("Yes|No|Cancel", "2\n", &shown), 2);
  EXPECT_NE(shown.find("Really?"), std::string::npos);
  EXPECT_NE(shown.find("[1 = Yes, 2 = No, 3 = Cancel]"), std::string::npos);
}

TEST_F(Choices, ALabelOrItsBeginningChooses) {
  EXPECT_EQ(ask("Yes|No|Cancel", "cancel\n"), 3);
  EXPECT_EQ(ask("Yes|No|Cancel", "n\n"), 2);
}

TEST_F(Choices, AnEmptyLineTakesTheFirst) { EXPECT_EQ(ask("Yes|No", "\n"), 1); }

TEST_F(Choices, TheEndOfTheInputTakesTheFirst) { EXPECT_EQ(ask("Yes|No", "\x04"), 1); }

TEST_F(Choices, AnUnknownOrAmbiguousAnswerIsAskedAgain) { EXPECT_EQ(ask("Save|Skip|No", "7\nx\ns\nsk\n"), 2); }

TEST_F(Choices, ALabelThatBeginsAnotherIsFound) { EXPECT_EQ(ask("Noon|No", "no\n"), 2); }

TEST_F(Choices, NoButtonsMeanOk) {
  std::string shown;
  EXPECT_EQ(ask(nullptr, "ok\n", &shown), 1);
  EXPECT_NE(shown.find("[1 = OK]"), std::string::npos);
  EXPECT_EQ(ask("", "\n"), 1);
}

TEST_F(Choices, ANullTextFails) { EXPECT_EQ(Q7GetChoice("OK", nullptr, nullptr), 0); }

TEST_F(Choices, EveryColourIsFourDoublesFromZeroToOne) {
  for (auto *colour : {Q7GetBackgroundColor, Q7GetForegroundColor, Q7GetTopshadowColor, Q7GetBottomshadowColor,
                       Q7GetDownColor, Q7GetDownForegroundColor, Q7GetInputBackgroundColor,
                       Q7GetActiveTitleBackgroundColor, Q7GetInactiveTitleBackgroundColor, Q7GetTitleTextColor}) {
    double rgba[5] = {-1, -1, -1, -1, -7};
    EXPECT_EQ(colour(rgba), 1);
    for (int i = 0; i < 4; ++i) EXPECT_TRUE(rgba[i] >= 0 && rgba[i] <= 1);
    EXPECT_EQ(rgba[4], -7);
    EXPECT_EQ(colour(nullptr), 0);
  }
}

TEST_F(Choices, TextsCanBeReadOnTheirBackground) {
  auto light = [](int32_t (*colour)(double *)) {
    double c[4];
    colour(c);
    return 0.3 * c[0] + 0.6 * c[1] + 0.1 * c[2];
  };
  EXPECT_GT(std::abs(light(Q7GetBackgroundColor) - light(Q7GetForegroundColor)), 0.4);
  EXPECT_GT(std::abs(light(Q7GetDownColor) - light(Q7GetDownForegroundColor)), 0.4);
  EXPECT_GT(std::abs(light(Q7GetInputBackgroundColor) - light(Q7GetForegroundColor)), 0.4);
  EXPECT_GT(std::abs(light(Q7GetActiveTitleBackgroundColor) - light(Q7GetTitleTextColor)), 0.4);
  EXPECT_GT(std::abs(light(Q7GetInactiveTitleBackgroundColor) - light(Q7GetTitleTextColor)), 0.4);
  EXPECT_GT(light(Q7GetTopshadowColor), light(Q7GetBottomshadowColor));
}

}  // namespace
