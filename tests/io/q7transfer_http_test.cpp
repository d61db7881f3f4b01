// q7transf against a real HTTP server in another process, on the default platform layer.
#include <sys/resource.h>

#include <chrono>
#include <csignal>
#include <fstream>

#include "app/q7app.h"
#include "core/q7objects.h"
#include "core/q7root.h"
#include "io/q7transf.h"
#include "tests/io/http_server.h"
#include "tests/support/test_support.h"

namespace {

using q7test::read_file;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;
namespace fs = std::filesystem;

std::vector<std::string> reports;
int keep_report(const char *module, int, const char *text, ...) {
  reports.push_back(std::string(module) + ": " + text);
  return 0;
}

// What a progress object is told, and the position from which on it wants the download to stop.
std::vector<int> positions;
int stop_from;
uint64_t progress_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method / 1000 != 247) return cl->superdispatch(cl->super, obj, method, a, b, tags);
  if (method != Q7M_PROGRESS_POSITION) return 0;
  positions.push_back(static_cast<int>(reinterpret_cast<uint64_t>(tags)));
  return positions.back() >= stop_from;
}

template <class T>
uint64_t arg(T *pointer) {
  return reinterpret_cast<uint64_t>(pointer);
}

class Http : public q7test::Test {
 protected:
  Http() {
    reports.clear();
    positions.clear();
    stop_from = 101;
    setenv("no_proxy", "*", 1);
    app_ = Q7AppCreate(&argc_, argv_, Q7APP_ErrorHandler, reinterpret_cast<uint64_t>(&keep_report), Q7APP_Name,
                       arg("http"), 0);
    if (!app_ || !Q7RegisterTransferClass(app_)) std::abort();
    Q7ClassCreate(Q7C_ROOT, 4400, progress_dispatch, 0, 0);
  }
  ~Http() override { Q7AppDelete(app_); }
  // Downloads into "file", or where the test says.
  uint64_t fetch(const std::string &path, const std::string &to = "", bool with_progress = false) {
    Q7Object *progress = with_progress ? Q7ObjectCreate(4400, 0) : nullptr;
    Q7Object *transfer = Q7ObjectCreate(Q7C_TRANSFER, Q7A_TRANSFER_URL, arg(server_.url(path).c_str()),
                                        Q7A_TRANSFER_PROGRESS, arg(progress), 0);
    const std::string file = to.empty() ? file_ : to;
    const uint64_t answer =
        transfer->dispatch(transfer->cl, transfer, Q7M_TRANSFER_DOWNLOAD, arg(file.c_str()), 0, nullptr);
    Q7ObjectDelete(transfer);
    return answer;
  }
  const std::string file_ = (home() / "file").string();
  const iotest::HttpServer server_;

 private:
  int32_t argc_ = 1;
  char program_[5] = "http";
  char *argv_[2] = {program_, nullptr};
  Q7App *app_ = nullptr;
};

TEST_F(Http, TheBodyIsStored) {
  EXPECT_EQ(fetch("/text"), 1u);
  EXPECT_EQ(read_file(file_), "text");
  EXPECT_THAT(reports, IsEmpty());
}

TEST_F(Http, AnEmptyBodyLeavesNoFileAndNoReport) {
  EXPECT_EQ(fetch("/empty"), 0u);
  EXPECT_FALSE(fs::exists(file_));
  EXPECT_THAT(reports, IsEmpty());
}

TEST_F(Http, TheBodyOfA404IsABody) {
  EXPECT_EQ(fetch("/nothing"), 1u);
  EXPECT_EQ(read_file(file_), "There is nothing here.");
  EXPECT_THAT(reports, IsEmpty());
}

TEST_F(Http, ARedirectIsNotFollowed) {
  EXPECT_EQ(fetch("/redirect"), 1u);
  EXPECT_EQ(read_file(file_), "moved");
  EXPECT_THAT(reports, IsEmpty());
}

TEST_F(Http, ASlowServerIsStoppedByTheProgressObject) {
  stop_from = 1;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(fetch("/slow", "", true), 1u);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
  EXPECT_THAT(reports, ElementsAre("q7transf: Aborted by callback"));
  EXPECT_EQ(positions.back(), 1);
  EXPECT_LT(fs::file_size(file_), 30000u);
}

TEST_F(Http, AServerThatClosesEarlyIsReportedAndThePartStays) {
  EXPECT_EQ(fetch("/early"), 1u);
  EXPECT_EQ(read_file(file_), "half");
  EXPECT_THAT(reports, ElementsAre(StartsWith("q7transf: A file transfer was shorter or larger than expected.")));
}

TEST_F(Http, WithoutALengthTheEndOfTheConnectionIsTheEnd) {
  EXPECT_EQ(fetch("/unknown-length", "", true), 1u);
  EXPECT_EQ(read_file(file_), "to the end of the connection");
  EXPECT_THAT(positions, ElementsAre(0));
  EXPECT_THAT(reports, IsEmpty());
}

TEST_F(Http, AFullDeviceIsReported) {
  EXPECT_EQ(fetch("/bytes/1000000", "/dev/full"), 1u);
  EXPECT_THAT(reports, ElementsAre(StartsWith("q7transf: An error occurred when writing received data")));
}

// A limit on the size of files stops the writing as a disk does that fills up half way.
TEST_F(Http, ADiskThatFillsUpIsReportedAndThePartStays) {
  std::signal(SIGXFSZ, SIG_IGN);
  const rlimit limit = {100000, RLIM_INFINITY};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  EXPECT_EQ(fetch("/bytes/1000000"), 1u);
  EXPECT_EQ(fs::file_size(file_), 100000u);
  EXPECT_THAT(reports, ElementsAre(StartsWith("q7transf: An error occurred when writing received data")));
}

TEST_F(Http, AUrlOf300CharactersIsAskedForByIts255) {
  const std::string prefix = server_.url("");
  const std::string path = "/path/" + std::string(300 - prefix.size() - 6, 'p');
  EXPECT_EQ(fetch(path), 1u);
  EXPECT_EQ(read_file(file_), path.substr(0, 255 - prefix.size()));
}

// Highest number of bytes this process has had in memory.
int64_t peak_memory() {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    int64_t kilobytes = 0;
    if (word == "VmHWM:" && status >> kilobytes) return kilobytes * 1024;
  }
  return 0;
}

TEST_F(Http, TwoHundredMegabytesTakeNoMemory) {
  constexpr uint64_t kSize = 200'000'000;
  ASSERT_EQ(fetch("/text"), 1u);  // what libcurl keeps is loaded now
  const int64_t before = peak_memory();
  ASSERT_GT(before, 0);
  EXPECT_EQ(fetch("/bytes/" + std::to_string(kSize), "", true), 1u);
  EXPECT_EQ(fs::file_size(file_), kSize);
  EXPECT_EQ(positions.back(), 100);
  EXPECT_LT(peak_memory() - before, 4 << 20);
  EXPECT_THAT(reports, IsEmpty());
}

}  // namespace
