// Tests of core/q7report.cpp.
#include "core/q7report.h"

#include <sys/stat.h>

#include "tests/core/core_test.h"

namespace {

using q7test::read_file;
using q7test::reports;
namespace fs = std::filesystem;

// Reports before any application exists.
class EarlyReports : public q7test::Test {
 protected:
  EarlyReports() { fake::reset(); }
  fs::path folder() const { return home() / ".Karmonic7D" / "Karmonic-9.1" / "logs"; }
};

class Reports : public q7test::Core {
 protected:
  fs::path folder() const { return home() / ".Karmonic7D" / "Karmonic-9.1" / "logs"; }
  std::string log() const { return read_file(folder() / "Default.log"); }
  // The lines of the log without the header.
  std::string body() const {
    const std::string text = log();
    return text.substr(text.find('\n') + 1);
  }
};

TEST_F(EarlyReports, GoToTheFileKarmonic7DWithAHeaderBeforeEachLine) {
  Q7ErrPos("q7app", 123);
  EXPECT_EQ(Q7_Error("first %d", 1), 0);
  EXPECT_EQ(Q7_Info("second"), 0);
  const std::string header = ": date: 2001-02-03:\n";
  EXPECT_EQ(read_file(folder() / "Karmonic 7D.log"),
            header + "04:05:06        q7app/ 123: first 1\n" + header + "04:05:06        q7app/ 123: second\n");
}

TEST_F(EarlyReports, FoldersAreMadeForTheUserWithTheMissingParent) {
  const mode_t old = umask(0);
  Q7_WriteLog("x");
  umask(old);
  for (const fs::path &path : {home() / ".Karmonic7D", folder().parent_path(), folder()}) {
    struct stat status;
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0755u);
  }
}

TEST_F(EarlyReports, WithoutAHomeTheLineGoesToStandardOutputOnly) {
  fake::set_home("/proc/no such home");
  q7test::Capture out(1);
  EXPECT_EQ(Q7_WriteLog("text %s", "x"), 0);
  EXPECT_NE(out.stop().find("04:05:06             /   0: text x\n"), std::string::npos);
}

TEST_F(EarlyReports, ANullFormatIsNothing) {
  const char *format = nullptr;
  EXPECT_EQ(Q7_Error(format, 1), 0);
  EXPECT_EQ(Q7_Info(format, 1), 0);
  EXPECT_EQ(Q7_WriteLog(format, 1), 0);
}

TEST_F(Reports, TheHeaderStandsBeforeTheFirstLineOfARunOnly) {
  EXPECT_EQ(Q7_WriteLog("one"), 1);
  EXPECT_EQ(Q7_WriteLog("two"), 1);
  EXPECT_EQ(log(), "Default:8: date: 2001-02-03:\n04:05:06             /   0: one\n04:05:06             /   0: two\n");
}

TEST_F(Reports, ALineShowsTimeModuleLineAndText) {
  Q7ErrPos("q7app", 123);
  Q7_WriteLog("text");
  EXPECT_EQ(body(), "04:05:06        q7app/ 123: text\n");
}

TEST_F(Reports, EveryLineShowsTheErrorPositionInformationsIncluded) {
  Q7ErrPos("errors", 1);
  Q7InfoPos("infos", 2);
  Q7_Info("text");
  EXPECT_EQ(body(), "04:05:06       errors/   1: text\n");
}

TEST_F(Reports, ALineIsEchoedToStandardOutput) {
  q7test::Capture out(1);
  Q7_WriteLog("echo");
  EXPECT_EQ(out.stop(), "04:05:06             /   0: echo\n");
}

TEST_F(Reports, ModuleNamesAreCutAtSeventyNineCharacters) {
  const std::string name(100, 'm');
  Q7ErrPos(name.c_str(), 5);
  Q7_Error("x");
  ASSERT_EQ(reports().size(), 1u);
  EXPECT_EQ(reports()[0].module, std::string(79, 'm'));
  EXPECT_EQ(reports()[0].line, 5);
}

TEST_F(Reports, TheErrorHandlerGetsPositionTextAndUserData) {
  EXPECT_EQ(Q7AppSetErrorHandler(&app_, q7test::collect_report, 0x1122334455667788), q7test::collect_report);
  Q7ErrPos("mod", 42);
  Q7_Error("%s-%d", "a", 7);
  ASSERT_EQ(reports().size(), 1u);
  EXPECT_EQ(reports()[0].module, "mod");
  EXPECT_EQ(reports()[0].line, 42);
  EXPECT_EQ(reports()[0].text, "a-7");
  EXPECT_EQ(reports()[0].data, 0x1122334455667788u);
}

std::string formatted_again;
int format_again(const char *, int, const char *format, ...) {
  char text[64];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  formatted_again = text;
  return 0;
}

TEST_F(Reports, AHandlerThatFormatsAgainSeesTheUserDataAsTheFirstValue) {
  Q7AppSetErrorHandler(&app_, format_again, 4711);
  Q7_Error("data %%d");
  EXPECT_EQ(formatted_again, "data 4711");
}

TEST_F(Reports, TheInformationHandlerGetsItsOwnPositionAndZero) {
  EXPECT_EQ(Q7AppSetInfoHandler(&app_, q7test::collect_report), nullptr);
  app_.error_data = 99;
  Q7ErrPos("err", 1);
  Q7InfoPos("info", 2);
  Q7_Info("text");
  ASSERT_EQ(reports().size(), 1u);
  EXPECT_EQ(reports()[0].module, "info");
  EXPECT_EQ(reports()[0].line, 2);
  EXPECT_EQ(reports()[0].data, 0u);
}

TEST_F(Reports, ANullErrorHandlerRestoresTheDefaultAndKeepsTheUserData) {
  Q7AppSetErrorHandler(&app_, q7test::collect_report, 5);
  EXPECT_EQ(Q7AppSetErrorHandler(&app_, nullptr, 6), q7test::collect_report);
  EXPECT_EQ(app_.error_handler, Q7DefAppError);
  EXPECT_EQ(app_.error_data, 5u);
  EXPECT_EQ(Q7AppSetInfoHandler(&app_, nullptr), nullptr);
  EXPECT_EQ(app_.info_handler, Q7DefAppInfo);
}

TEST_F(Reports, OverlongTextsAreCut) {
  Q7AppSetInfoHandler(&app_, q7test::collect_report);
  const std::string text(3000, 't');
  Q7_Error("%s", text.c_str());
  Q7_Info("%s", text.c_str());
  ASSERT_EQ(reports().size(), 2u);
  EXPECT_EQ(reports()[0].text, std::string(1023, 't'));
  EXPECT_EQ(reports()[1].text, std::string(255, 't'));
  const std::string prefix = "04:05:06             /   0: ";
  EXPECT_EQ(body(), prefix + std::string(511, 't') + "\n" + prefix + std::string(255, 't') + "\n");
}

TEST_F(Reports, ThePercentSignLeftInATextIsInterpretedOnceMoreByTheLog) {
  Q7_Error("100%%%% done");
  EXPECT_EQ(reports()[0].text, "100%% done");
  EXPECT_EQ(body(), "04:05:06             /   0: 100% done\n");
}

TEST_F(Reports, HostilePercentSignsInATextAreHarmless) {
  for (const char *text :
       {"%s", "%n", "%9999d", "%s%s%s%s%n", "%1$s", "%*d", "%", "%%", "%hhn", "%999999999999s", "a%"}) {
    Q7_Error("%s", text);
    Q7_Info("%s", text);
    Q7_WriteLog("%s", text);
  }
  EXPECT_NE(body().find(": %s%s%s%s%n\n"), std::string::npos) << "what has no argument stays as it stands";
  EXPECT_NE(body().find(": a%\n"), std::string::npos);
}

TEST_F(Reports, HostilePercentSignsAreHarmlessInTheDefaultHandlersToo) {
  Q7AppSetErrorHandler(&app_, Q7AppConsoleError, 12);
  Q7AppSetInfoHandler(&app_, Q7DefAppInfo);
  Q7ErrPos("mod", 3);
  q7test::Capture err(2);
  for (const char *text : {"%s%n", "%d and %d", "%-9d|", "%2000000000d", "%.999999999d", "%f", "%lx"}) {
    Q7_Error("%s", text);
    Q7_Info("%s", text);
  }
  const std::string tail = "\nFile mod, Line 3\n";
  EXPECT_EQ(err.stop(), "%s%n" + tail + "12 and %d" + tail + "12       |" + tail + "%2000000000d" + tail +
                            "%.999999999d" + tail + "%f" + tail + "c" + tail);
}

TEST_F(Reports, ADisabledPluginSilencesTextsThatEndWithItsName) {
  EXPECT_EQ(Q7DisablePlugin(0, "foo"), 0);
  EXPECT_EQ(Q7DisablePlugin(1, "b?r"), 1);
  Q7_Error("error in foo");
  Q7_Error("error in bxr");
  Q7_Error("foo is bad");
  EXPECT_EQ(q7test::report_texts(), std::vector<std::string>{"foo is bad"});
  EXPECT_EQ(body(), "04:05:06             /   0: foo is bad\n");
  Q7_Info("nothing filters foo");
  EXPECT_NE(body().find("nothing filters foo"), std::string::npos);
}

TEST_F(Reports, TheSixtyFifthDisabledPluginIsRefusedWithAReport) {
  for (int i = 0; i < 64; ++i) EXPECT_EQ(Q7DisablePlugin(0, "name"), i);
  EXPECT_EQ(Q7DisablePlugin(0, "more"), 64);
  EXPECT_EQ(Q7DisablePlugin(0, "more"), 64);
  EXPECT_EQ(reports().size(), 2u);
  Q7_Error("some more");
  EXPECT_EQ(reports().size(), 3u) << "the refused name silences nothing";
}

TEST_F(Reports, DefAppErrorShowsTheTextWithItsPosition) {
  EXPECT_EQ(Q7DefAppError("mod", 12, "a %s", "b"), 0);
  EXPECT_EQ(fake::choices(), std::vector<std::string>{"a b\nError Code:mod/12"});
  EXPECT_NE(fake::calls("Q7GetChoice").at(0).find("OK"), std::string::npos);
}

TEST_F(Reports, DefAppInfoShowsTheTextAlone) {
  EXPECT_EQ(Q7DefAppInfo("mod", 12, "a %d", 5), 0);
  EXPECT_EQ(fake::choices(), std::vector<std::string>{"a 5"});
}

TEST_F(Reports, TheConsoleHandlerWritesToStandardError) {
  q7test::Capture err(2);
  EXPECT_EQ(Q7AppConsoleError("mod", 12, "a %d", 5), 0);
  EXPECT_EQ(err.stop(), "a 5\nFile mod, Line 12\n");
}

TEST_F(Reports, HandlersCutTheTextAndKeepThePosition) {
  const std::string text(900, 't');
  q7test::Capture err(2);
  Q7AppConsoleError("mod", 12, "%s", text.c_str());
  EXPECT_EQ(err.stop(), std::string(255, 't') + "\nFile mod, Line 12\n");
}

TEST_F(Reports, ThePathIsFixedByTheFirstCallWithAnApplication) {
  Q7_WriteLog("one");
  app_.name = "Other";
  Q7_WriteLog("two");
  EXPECT_NE(log().find("two"), std::string::npos);
  EXPECT_FALSE(fs::exists(folder() / "Other.log"));
}

// Answers the status query like the file class does.
uint64_t status_size;
std::string status_path;
uint64_t status_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method != 5027) return cl->superdispatch(cl->super, obj, method, a, b, tags);
  struct Status {
    uint64_t size;
    uint32_t changed, modified;
  };
  status_path = reinterpret_cast<const char *>(a);
  reinterpret_cast<Status *>(tags)->size = status_size;
  return 1;
}

class Rotation : public Reports {
 protected:
  void SetUp() override {
    Reports::SetUp();
    ASSERT_NE(q7test::make_class(0, 5, status_dispatch), nullptr);
    fs::create_directories(folder());
    q7test::write_file(folder() / "Default", "now");
    q7test::write_file(folder() / "Default.1", "first");
    q7test::write_file(folder() / "Default.2", "second");
    q7test::write_file(folder() / "Default.3", "third");
    q7test::write_file(folder() / "Default.log", std::string(20000, 'x'));
  }
};

TEST_F(Rotation, AFileWithoutExtensionAboveTheLimitIsRotated) {
  status_size = 10241;
  Q7_WriteLog("x");
  EXPECT_EQ(status_path, (folder() / "Default").string());
  EXPECT_FALSE(fs::exists(folder() / "Default"));
  EXPECT_EQ(read_file(folder() / "Default.1"), "now");
  EXPECT_EQ(read_file(folder() / "Default.2"), "first");
  EXPECT_EQ(read_file(folder() / "Default.3"), "second");
}

TEST_F(Rotation, TheLogThatIsWrittenIsNeverRotated) {
  status_size = 10241;
  Q7_WriteLog("x");
  EXPECT_EQ(log().size(), 20000 + std::strlen("Default:8: date: 2001-02-03:\n04:05:06             /   0: x\n"));
}

TEST_F(Rotation, AtTheLimitNothingMoves) {
  status_size = 10240;
  Q7_WriteLog("x");
  EXPECT_EQ(read_file(folder() / "Default"), "now");
  EXPECT_EQ(read_file(folder() / "Default.1"), "first");
}

}  // namespace
