// q7get: the program as a user calls it, against a real HTTP server: what it stores, what it says, its exit status.
#include <csignal>
#include <thread>

#include "tests/io/http_server.h"
#include "tests/support/test_support.h"

namespace {

using q7test::read_file;
using q7test::write_file;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;
namespace fs = std::filesystem;

class Get : public q7test::Test {
 protected:
  Get() {
    setenv("no_proxy", "*", 1);
    fs::create_directory(home() / "in");
  }
  // Runs the program in the folder "in"; answers the exit status.
  int run(const std::string &words, const std::string &before = "") {
    const std::string command =
        "cd '" + home().string() + "/in' && " + before + "'" Q7_GET "' " + words + " > ../out 2> ../err";
    const int status = std::system(command.c_str());
    out_ = read_file(home() / "out");
    err_ = read_file(home() / "err");
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  std::string url(const std::string &path) const { return server_.url(path); }
  std::string file(const std::string &name) const { return read_file(home() / "in" / name); }
  std::vector<std::string> files() const {
    std::vector<std::string> names;
    for (const auto &entry : fs::directory_iterator(home() / "in")) names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
  }
  const iotest::HttpServer server_;
  std::string out_, err_;
};

TEST_F(Get, StoresUnderTheLastPartOfThePath) {
  EXPECT_EQ(run(url("/a/text?b=/c")), 0);
  EXPECT_THAT(files(), ::testing::ElementsAre("text"));
  EXPECT_EQ(file("text"), "text");
  EXPECT_EQ(out_, "text: 4 bytes from " + url("/a/text?b=/c") + "\n");
  EXPECT_EQ(err_, "");
}

TEST_F(Get, AFolderIsStoredAsItsIndex) {
  EXPECT_EQ(run(url("/path/") + " "), 0);
  EXPECT_EQ(file("index.html"), "/path/");
}

TEST_F(Get, NoUrlLeadsOutOfTheFolder) {
  EXPECT_EQ(run(url("/path/..")), 0);
  EXPECT_THAT(files(), ::testing::ElementsAre("index.html"));
}

TEST_F(Get, AnOutputFileOrAFolderCanBeNamed) {
  fs::create_directory(home() / "in/sub");
  EXPECT_EQ(run("-o other " + url("/text")), 0);
  EXPECT_EQ(file("other"), "text");
  EXPECT_EQ(run("-d sub " + url("/text")), 0);
  EXPECT_EQ(file("sub/text"), "text");
}

TEST_F(Get, SeveralUrlsOnFewerExecutors) {
  std::string words = "-j 3";
  for (int i = 0; i < 10; ++i) words += " " + url("/path/" + std::to_string(i));
  EXPECT_EQ(run(words), 0);
  for (int i = 0; i < 10; ++i) EXPECT_EQ(file(std::to_string(i)), "/path/" + std::to_string(i));
  EXPECT_EQ(files().size(), 10u);
  EXPECT_EQ(std::count(out_.begin(), out_.end(), '\n'), 10);
}

TEST_F(Get, OneFailureDoesNotStopTheOthers) {
  EXPECT_EQ(run("-q " + url("/early") + " " + url("/empty") + " http://127.0.0.1:1/x " + url("/text")), 1);
  EXPECT_THAT(files(), ::testing::ElementsAre("text"));
  EXPECT_EQ(out_, "");
  EXPECT_THAT(err_, HasSubstr("q7get: " + url("/early") + ": A file transfer was shorter or larger than expected."));
  EXPECT_THAT(err_, HasSubstr("q7get: " + url("/empty") + ": the server sent nothing: no file is made\n"));
  EXPECT_THAT(err_, HasSubstr("q7get: http://127.0.0.1:1/x: Failed to connect() to host or proxy.\n"));
  EXPECT_EQ(std::count(err_.begin(), err_.end(), '\n'), 3);
}

TEST_F(Get, AFailureLeavesTheFileThatWasThere) {
  write_file(home() / "in/early", "old");
  EXPECT_EQ(run(url("/early")), 1);
  EXPECT_EQ(file("early"), "old");
  EXPECT_THAT(files(), ::testing::ElementsAre("early"));
}

TEST_F(Get, AFileThatCannotBeWrittenIsTold) {
  fs::create_directory(home() / "in/text");
  EXPECT_EQ(run(url("/text")), 1);
  EXPECT_EQ(err_, "q7get: " + url("/text") + ": text: Is a directory\n");
  EXPECT_EQ(run("-o no/where " + url("/text")), 1);
  EXPECT_EQ(err_, "q7get: " + url("/text") + ": no/where.part: No such file or directory\n");
}

TEST_F(Get, AFullDiskIsTold) {
  EXPECT_EQ(run(url("/bytes/1000000"), "ulimit -f 100; "), 1);
  EXPECT_THAT(err_, HasSubstr("An error occurred when writing received data to a local file"));
  EXPECT_THAT(files(), IsEmpty());
}

TEST_F(Get, HttpsIsRefusedUnlessInsecure) {
  for (const char *url : {"https://127.0.0.1:1/x", "HTTPS://127.0.0.1:1/x"}) {
    EXPECT_EQ(run(url), 2);
    EXPECT_EQ(err_, "q7get: " + std::string(url) +
                        ": certificates are not checked: whoever sits in between can replace what is downloaded; "
                        "--insecure downloads all the same\n");
  }
  EXPECT_EQ(run("--insecure https://127.0.0.1:1/x"), 1);
  EXPECT_THAT(err_, StartsWith("q7get: warning: certificates are not checked: whoever sits in between can replace what "
                               "is downloaded\n"));
  EXPECT_THAT(err_, HasSubstr("Failed to connect() to host or proxy."));
}

TEST_F(Get, OneRefusedUrlRefusesAll) {
  EXPECT_EQ(run(url("/text") + " https://127.0.0.1:1/x"), 2);
  EXPECT_THAT(files(), IsEmpty());
}

TEST_F(Get, OtherKindsOfUrlsAreRefused) {
  for (const char *url : {"ftps://x/y", "file:///etc/passwd", "127.0.0.1/x", " https://x/", "httpx://a/b", "x"}) {
    EXPECT_EQ(run("'" + std::string(url) + "'"), 2) << url;
    EXPECT_THAT(err_, HasSubstr("the URL has to begin with http:// or https://"));
  }
}

TEST_F(Get, UrlsThatWouldBeCutAreRefused) {
  const std::string prefix = url("/path/");
  EXPECT_EQ(run(prefix + std::string(256 - prefix.size(), 'p')), 2);
  EXPECT_THAT(err_, HasSubstr(": the URL has 256 characters, at most 255 are possible\n"));
  EXPECT_EQ(run("-o whole " + prefix + std::string(255 - prefix.size(), 'p')), 0);
  EXPECT_EQ(file("whole").size(), 255 - url("").size());
}

TEST_F(Get, TwoUrlsForOneFileAreRefused) {
  EXPECT_EQ(run(url("/a/text") + " " + url("/b/text")), 2);
  EXPECT_EQ(err_, "q7get: " + url("/b/text") + ": another URL would be stored as text too\n");
  EXPECT_THAT(files(), IsEmpty());
}

TEST_F(Get, WrongCommandLines) {
  EXPECT_EQ(run(""), 2);
  EXPECT_EQ(run("--nonsense " + url("/text")), 2);
  EXPECT_EQ(run("-j 0 " + url("/text")), 2);
  EXPECT_EQ(run("-d nowhere " + url("/text")), 2);
  EXPECT_EQ(run("-o x " + url("/a/text") + " " + url("/b/other")), 2);
  EXPECT_THAT(files(), IsEmpty());
}

TEST_F(Get, HelpTellsThatCertificatesAreNotChecked) {
  EXPECT_EQ(run("--help"), 0);
  EXPECT_THAT(out_, HasSubstr("certificates are not checked"));
  EXPECT_THAT(out_, HasSubstr("--insecure"));
  EXPECT_THAT(out_, HasSubstr("Exit status"));
}

TEST_F(Get, BarsAreDrawnWhenAskedFor) {
  // Two seconds of a slow download are far from all of it: the bar has begun, and not ended.
  EXPECT_EQ(run("--bar always " + url("/slow"), "timeout --preserve-status -s INT 2 "), 130);
  EXPECT_THAT(err_, HasSubstr("[#"));
  EXPECT_THAT(err_, HasSubstr("% slow\n"));
  EXPECT_THAT(err_, HasSubstr("\033[1A\033[J"));
  EXPECT_EQ(run(url("/text")), 0);
  EXPECT_THAT(err_, Not(HasSubstr("\033")));
}

TEST_F(Get, AnInterruptionStopsAndCleansUp) {
  EXPECT_EQ(run("-j 1 " + url("/slow") + " " + url("/text"), "timeout --preserve-status -s INT 1 "), 130);
  EXPECT_THAT(err_, HasSubstr("q7get: " + url("/slow") + ": stopped\n"));
  EXPECT_THAT(err_, HasSubstr("q7get: " + url("/text") + ": stopped\n"));
  EXPECT_THAT(files(), IsEmpty());
}

}  // namespace
