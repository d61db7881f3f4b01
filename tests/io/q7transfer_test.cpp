// q7transf: downloads from an HTTP server on the loopback that the test runs itself: what arrives, what is reported,
// what progress objects see, and what is left behind.
#include "io/q7transf.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <functional>
#include <mutex>
#include <set>
#include <thread>

#include "tests/io/io_test.h"

namespace {

using namespace iotest;
using q7test::read_file;
using q7test::write_file;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
namespace fs = std::filesystem;

// ---- The server: one connection after the other, each answered by the function of its path and then closed.

class Server {
 public:
  using Answer = std::function<void(int socket, const std::string &request)>;

  explicit Server(Answer answer) : answer_(std::move(answer)) {
    listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (bind(listener_, reinterpret_cast<sockaddr *>(&address), size) != 0 || listen(listener_, 8) != 0) std::abort();
    getsockname(listener_, reinterpret_cast<sockaddr *>(&address), &size);
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { run(); });
  }
  ~Server() { stop(); }
  void stop() {
    stopping_ = true;
    if (thread_.joinable()) thread_.join();
    if (listener_ >= 0) close(std::exchange(listener_, -1));
  }
  std::string url(const std::string &path) const { return "http://127.0.0.1:" + std::to_string(port_) + path; }
  std::vector<std::string> requests() {
    const std::lock_guard<std::mutex> guard(mutex_);
    return requests_;
  }
  bool stopping() const { return stopping_; }

  static bool put(int socket, const std::string &bytes) {
    size_t sent = 0;
    while (sent < bytes.size()) {
      const ssize_t n = ::send(socket, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
      if (n <= 0) return false;
      sent += static_cast<size_t>(n);
    }
    return true;
  }
  static std::string head(const std::string &status, uint64_t length, const std::string &more = "") {
    return "HTTP/1.1 " + status + "\r\nContent-Length: " + std::to_string(length) + "\r\nConnection: close\r\n" + more +
           "\r\n";
  }

 private:
  void run() {
    while (!stopping_) {
      pollfd waiting = {listener_, POLLIN, 0};
      if (poll(&waiting, 1, 20) <= 0) continue;
      const int connection = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
      if (connection < 0) continue;
      const timeval limit = {10, 0};
      setsockopt(connection, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
      setsockopt(connection, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
      std::string request;
      char block[4096];
      while (request.find("\r\n\r\n") == std::string::npos) {
        const ssize_t n = recv(connection, block, sizeof block, 0);
        if (n <= 0) break;
        request.append(block, static_cast<size_t>(n));
      }
      {
        const std::lock_guard<std::mutex> guard(mutex_);
        requests_.push_back(request);
      }
      answer_(connection, request);
      shutdown(connection, SHUT_RDWR);
      close(connection);
    }
  }

  Answer answer_;
  int listener_ = -1;
  uint16_t port_ = 0;
  std::atomic<bool> stopping_{false};
  std::mutex mutex_;
  std::vector<std::string> requests_;
  std::thread thread_;
};
Server::Answer body(const std::string &text, const std::string &status = "200 OK") {
  return [=](int socket, const std::string &) { Server::put(socket, Server::head(status, text.size()) + text); };
}

// ---- The progress object: records what it is sent and answers what the test wants.

enum : uint32_t { kProgressClass = 4400 };
struct Step {
  uint32_t method;
  int32_t value;
  bool operator==(const Step &) const = default;
};
std::vector<Step> steps;
int64_t stop_at;  // number of the position that is answered with 1; 0: none

uint64_t progress_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method / 1000 != 247) return cl->superdispatch(cl->super, obj, method, a, b, tags);
  EXPECT_EQ(a, 0u);
  EXPECT_EQ(b, 0u);
  EXPECT_LE(arg(tags), 100u);  // the whole slot
  steps.push_back({method, static_cast<int32_t>(arg(tags))});
  return method == Q7M_PROGRESS_POSITION && static_cast<int64_t>(steps.size()) - 1 == stop_at;
}

struct Report {
  std::string module;
  int line;
  std::string text;
};
std::vector<Report> reports;
int keep_report(const char *module, int line, const char *text, ...) {
  reports.push_back({module, line, text});
  return 0;
}

class Transfer : public iotest::Test {
 protected:
  Transfer() {
    steps.clear();
    reports.clear();
    stop_at = 0;
    if (!Q7RegisterTransferClass(app())) std::abort();
    Q7ClassCreate(Q7C_ROOT, kProgressClass, progress_dispatch, 0, Q7CT_NAME, arg("progress"), 0);
    Q7AppSetErrorHandler(app(), keep_report, 0);
    // Whatever the machine is told about proxies, the loopback is reached directly.
    setenv("no_proxy", "*", 1);
  }
  static Tags with_url(const std::string &url, Q7Object *progress = nullptr) {
    return {{Q7A_TRANSFER_URL, arg(url.c_str())}, {Q7A_TRANSFER_PROGRESS, arg(progress)}};
  }
  static uint64_t download(Q7Object *transfer, const std::string &file) {
    return send(transfer, Q7M_TRANSFER_DOWNLOAD, arg(file.c_str()));
  }
  // Downloads one URL into "file".
  uint64_t fetch(const std::string &url, Q7Object *progress = nullptr) {
    const Object transfer(Q7C_TRANSFER, with_url(url, progress));
    return download(transfer, path("file"));
  }
  bool file_exists() const { return fs::exists(path("file")); }
};

// ---- The class and its attributes

TEST_F(Transfer, TheClassIsRegisteredAsStated) {
  Q7Class *cl = Q7ClassFind(3034);
  ASSERT_TRUE(cl);
  EXPECT_EQ(cl->super, Q7ClassFind(Q7C_ROOT));
  EXPECT_STREQ(cl->header.name, "q7transf");
  EXPECT_STREQ(cl->organisation, "Karmonic");
  EXPECT_STREQ(cl->module, "q7common");
  EXPECT_EQ(cl->version, 0u);
  const fake::Live before = fake::live();
  EXPECT_EQ(Q7RegisterTransferClass(app()), 1);
  EXPECT_EQ(fake::live(), before);
}

class Locks : public iotest::Test {};

TEST_F(Locks, TheClassKeepsTwoHundredAndFiftySix) {
  const int64_t before = fake::live().locks;
  ASSERT_EQ(Q7RegisterTransferClass(app()), 1);
  EXPECT_EQ(fake::live().locks, before + 256);
  send(&Q7ClassFind(Q7C_TRANSFER)->header, Q7M_CLASS_FREE);
  EXPECT_EQ(fake::live().locks, before);
}

TEST_F(Locks, ASubclassLeavesThemAlone) {
  ASSERT_EQ(Q7RegisterTransferClass(app()), 1);
  const int64_t before = fake::live().locks;
  Q7Class *derived = Q7ClassCreate(Q7C_TRANSFER, 4401, Q7ClassFind(Q7C_ROOT)->header.dispatch, 0, 0);
  Q7Class *cl = Q7ClassFind(Q7C_TRANSFER);
  cl->header.dispatch(cl, &derived->header, Q7M_CLASS_FREE, 0, 0, nullptr);
  EXPECT_EQ(fake::live().locks, before);
}

TEST_F(Locks, WithoutLocksThereIsNoClass) {
  const int64_t before = fake::live().locks;
  for (int64_t n : {1, 2, 100, 256}) {
    fake::fail("Q7LockAlloc", n);
    EXPECT_EQ(Q7RegisterTransferClass(app()), 0) << n;
    EXPECT_FALSE(Q7ClassFind(Q7C_TRANSFER));
    EXPECT_EQ(fake::live().locks, before);
  }
  EXPECT_EQ(Q7RegisterTransferClass(app()), 1);
}

TEST_F(Locks, WithoutMemoryForTheClassTheyAreFreed) {
  const int64_t before = fake::live().locks;
  q7test::AllocGate gate;
  gate.fail(1, true);
  EXPECT_EQ(Q7RegisterTransferClass(app()), 0);
  gate.pass();
  EXPECT_EQ(fake::live().locks, before);
}

TEST_F(Transfer, TheUrlStartsEmptyAndIsCopied) {
  const Object transfer(Q7C_TRANSFER, {});
  EXPECT_STREQ(get<const char *>(transfer, Q7A_TRANSFER_URL), "");
  char text[] = "http://a";
  call(transfer, Q7M_SET, {{Q7A_TRANSFER_URL, arg(text)}});
  text[0] = 'x';
  EXPECT_STREQ(get<const char *>(transfer, Q7A_TRANSFER_URL), "http://a");
  call(transfer, Q7M_SET, {{Q7A_TRANSFER_URL, arg(get<const char *>(transfer, Q7A_TRANSFER_URL))}});
  EXPECT_STREQ(get<const char *>(transfer, Q7A_TRANSFER_URL), "http://a");
  call(transfer, Q7M_SET, {{Q7A_TRANSFER_URL, 0}});
  EXPECT_STREQ(get<const char *>(transfer, Q7A_TRANSFER_URL), "");
}

TEST_F(Transfer, AUrlOf300CharactersIsCutTo255) {
  const std::string url(300, 'u');
  const Object transfer(Q7C_TRANSFER, with_url(url));
  EXPECT_EQ(get<const char *>(transfer, Q7A_TRANSFER_URL), url.substr(0, 255));
}

TEST_F(Transfer, ACutUrlIsWhatTheServerIsAskedFor) {
  Server server(body("x"));
  const std::string url = server.url("/" + std::string(300, 'p')).substr(0, 300);
  EXPECT_EQ(fetch(url), 1u);
  ASSERT_THAT(server.requests(), SizeIs(1));
  const size_t prefix = server.url("").size();
  EXPECT_THAT(server.requests()[0], ::testing::StartsWith("GET /" + std::string(255 - prefix - 1, 'p') + " HTTP/"));
}

TEST_F(Transfer, TheProgressObjectIsReferenced) {
  const Object one(kProgressClass, {}), two(kProgressClass, {});
  send(one, Q7M_ADDREF);
  send(two, Q7M_ADDREF);
  {
    const Object transfer(Q7C_TRANSFER, {{Q7A_TRANSFER_PROGRESS, arg<Q7Object *>(one)}});
    EXPECT_EQ(one->refcount, 2);
    call(transfer, Q7M_SET, {{Q7A_TRANSFER_PROGRESS, arg<Q7Object *>(two)}});
    EXPECT_EQ(one->refcount, 1);
    EXPECT_EQ(two->refcount, 2);
    EXPECT_EQ(get<Q7Object *>(transfer, Q7A_TRANSFER_PROGRESS), static_cast<Q7Object *>(two));
    call(transfer, Q7M_SET, {{Q7A_TRANSFER_PROGRESS, arg<Q7Object *>(two)}});
    EXPECT_EQ(two->refcount, 2);
    call(transfer, Q7M_SET, {{Q7A_TRANSFER_PROGRESS, 0}});
    EXPECT_EQ(two->refcount, 1);
    EXPECT_EQ(get<Q7Object *>(transfer, Q7A_TRANSFER_PROGRESS), nullptr);
    call(transfer, Q7M_SET, {{Q7A_TRANSFER_PROGRESS, arg<Q7Object *>(two)}});
  }
  EXPECT_EQ(two->refcount, 1);
}

TEST_F(Transfer, ACopyHasAReferenceOfItsOwn) {
  const Object progress(kProgressClass, {});
  send(progress, Q7M_ADDREF);
  const Object transfer(Q7C_TRANSFER, with_url("http://a", progress));
  auto *copy = reinterpret_cast<Q7Object *>(send(transfer, Q7M_COPY));
  EXPECT_EQ(progress->refcount, 3);
  EXPECT_STREQ(get<const char *>(copy, Q7A_TRANSFER_URL), "http://a");
  send(copy, Q7M_DISPOSE);
  EXPECT_EQ(progress->refcount, 2);
}

// ---- Downloads

TEST_F(Transfer, TheBodyIsStored) {
  const std::string content = bytes("line\r\n\0binary\xFF");
  Server server(body(content));
  EXPECT_EQ(fetch(server.url("/a?b=c")), 1u);
  EXPECT_EQ(read_file(path("file")), content);
  EXPECT_THAT(reports, IsEmpty());
  ASSERT_THAT(server.requests(), SizeIs(1));
  EXPECT_THAT(server.requests()[0], ::testing::StartsWith("GET /a?b=c HTTP/"));
}

TEST_F(Transfer, TheUserAgentNamesProductVersionAndContact) {
  Server server(body("x"));
  fetch(server.url("/"));
  ASSERT_THAT(server.requests(), SizeIs(1));
  EXPECT_THAT(server.requests()[0], HasSubstr("\r\nUser-Agent: Karmonic7D/8.1 (" Q7_CONTACT ")\r\n"));
}

TEST_F(Transfer, AFileThatExistsIsOverwritten) {
  write_file(path("file"), std::string(1000, 'o'));
  Server server(body("new"));
  EXPECT_EQ(fetch(server.url("/")), 1u);
  EXPECT_EQ(read_file(path("file")), "new");
}

TEST_F(Transfer, AnEmptyBodyLeavesNoFile) {
  write_file(path("file"), "old");
  Server server(body(""));
  EXPECT_EQ(fetch(server.url("/")), 0u);
  EXPECT_FALSE(file_exists());
  EXPECT_THAT(reports, IsEmpty());
}

TEST_F(Transfer, TheBodyOfA404IsABody) {
  Server server(body("Not here.", "404 Not Found"));
  EXPECT_EQ(fetch(server.url("/")), 1u);
  EXPECT_EQ(read_file(path("file")), "Not here.");
  EXPECT_THAT(reports, IsEmpty());
}

TEST_F(Transfer, ARedirectIsNotFollowed) {
  Server server([](int socket, const std::string &request) {
    const bool first = request.starts_with("GET /old ");
    const std::string text = first ? "moved" : "followed";
    Server::put(socket,
                Server::head(first ? "302 Found" : "200 OK", text.size(), first ? "Location: /new\r\n" : "") + text);
  });
  EXPECT_EQ(fetch(server.url("/old")), 1u);
  EXPECT_EQ(read_file(path("file")), "moved");
  EXPECT_THAT(server.requests(), SizeIs(1));
}

TEST_F(Transfer, AServerThatClosesEarlyIsReportedAndThePartStays) {
  Server server([](int socket, const std::string &) { Server::put(socket, Server::head("200 OK", 1000) + "half"); });
  EXPECT_EQ(fetch(server.url("/")), 1u);  // something was received
  EXPECT_EQ(read_file(path("file")), "half");
  ASSERT_THAT(reports, SizeIs(1));
  EXPECT_EQ(reports[0].module, "q7transf");
  EXPECT_THAT(reports[0].text, ::testing::StartsWith("A file transfer was shorter or larger than expected."));
}

TEST_F(Transfer, AServerThatSaysNothingIsReported) {
  Server server([](int, const std::string &) {});
  EXPECT_EQ(fetch(server.url("/")), 0u);
  EXPECT_FALSE(file_exists());
  ASSERT_THAT(reports, SizeIs(1));
  EXPECT_THAT(reports[0].text, ::testing::StartsWith("Nothing was returned from the server"));
}

TEST_F(Transfer, NobodyListensIsReported) {
  Server server(body("x"));
  const std::string url = server.url("/");
  server.stop();
  EXPECT_EQ(fetch(url), 0u);
  EXPECT_FALSE(file_exists());
  ASSERT_THAT(reports, SizeIs(1));
  EXPECT_EQ(reports[0].text, "Failed to connect() to host or proxy.");
}

TEST_F(Transfer, UrlsThatAreNoneAreReported) {
  EXPECT_EQ(fetch(""), 0u);
  EXPECT_EQ(fetch("nothing://host/"), 0u);
  ASSERT_THAT(reports, SizeIs(2));
  EXPECT_EQ(reports[0].text, "The URL was not properly formatted.");
  EXPECT_THAT(reports[1].text, ::testing::StartsWith("The URL you passed to libcurl used a protocol"));
  EXPECT_FALSE(file_exists());
}

TEST_F(Transfer, AFileThatCannotBeOpenedAsksNothingOfTheServer) {
  Server server(body("x"));
  const Object progress(kProgressClass, {});
  send(progress, Q7M_ADDREF);
  const Object transfer(Q7C_TRANSFER, with_url(server.url("/"), progress));
  EXPECT_EQ(download(transfer, path("no/such/folder")), 0u);
  EXPECT_EQ(download(transfer, home().string()), 0u);
  EXPECT_EQ(download(transfer, ""), 0u);
  EXPECT_EQ(download(transfer, path(std::string(600, 'f'))), 0u);
  EXPECT_EQ(send(transfer, Q7M_TRANSFER_DOWNLOAD), 0u);
  EXPECT_THAT(server.requests(), IsEmpty());
  EXPECT_THAT(steps, IsEmpty());
  EXPECT_TRUE(fs::is_directory(home()));
}

TEST_F(Transfer, AFullDiskIsReported) {
  ASSERT_TRUE(fs::exists("/dev/full"));
  for (size_t size : {100u, 1000000u}) {  // the small one is found out only when the file is closed
    reports.clear();
    Server server(body(std::string(size, 'x')));
    const Object transfer(Q7C_TRANSFER, with_url(server.url("/")));
    EXPECT_EQ(download(transfer, "/dev/full"), 1u) << size;  // received it was
    ASSERT_THAT(reports, SizeIs(1)) << size;
    EXPECT_THAT(reports[0].text, ::testing::StartsWith("An error occurred when writing received data to a local file"));
  }
  EXPECT_TRUE(fs::exists("/dev/full"));
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

TEST_F(Transfer, ALargeBodyTakesNoMemory) {
  constexpr uint64_t kSize = 50u << 20;
  Server server([](int socket, const std::string &) {
    Server::put(socket, Server::head("200 OK", kSize));
    const std::string block(1 << 16, 'L');
    for (uint64_t sent = 0; sent < kSize && Server::put(socket, block);) sent += block.size();
  });
  {
    Server small(body("x"));
    ASSERT_EQ(fetch(small.url("/")), 1u);  // what libcurl keeps is loaded now
  }
  const int64_t before = peak_memory();
  EXPECT_EQ(fetch(server.url("/")), 1u);
  EXPECT_EQ(fs::file_size(path("file")), kSize);
  EXPECT_LT(peak_memory() - before, 8 << 20);
}

TEST_F(Transfer, OneObjectDownloadsAgain) {
  Server server([](int socket, const std::string &request) {
    const std::string text = request.substr(4, 4);
    Server::put(socket, Server::head("200 OK", text.size()) + text);
  });
  const Object transfer(Q7C_TRANSFER, with_url(server.url("/one")));
  EXPECT_EQ(download(transfer, path("1")), 1u);
  call(transfer, Q7M_SET, {{Q7A_TRANSFER_URL, arg(server.url("/two").c_str())}});
  EXPECT_EQ(download(transfer, path("2")), 1u);
  EXPECT_EQ(read_file(path("1")), "/one");
  EXPECT_EQ(read_file(path("2")), "/two");
}

TEST_F(Transfer, SeveralObjectsDownloadAtOnce) {
  std::vector<std::unique_ptr<Server>> servers;
  std::vector<std::thread> threads;
  std::atomic<int> done{0};
  for (int i = 0; i < 4; ++i) {
    servers.push_back(std::make_unique<Server>(body(std::string(100000, static_cast<char>('a' + i)))));
  }
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&, i] {
      const Object transfer(Q7C_TRANSFER, with_url(servers[static_cast<size_t>(i)]->url("/")));
      done += download(transfer, path(std::to_string(i))) == 1;
    });
  }
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(done, 4);
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(read_file(path(std::to_string(i))), std::string(100000, static_cast<char>('a' + i)));
  }
}

// ---- Progress

class Progress : public Transfer {
 protected:
  Progress() : progress_(kProgressClass, {}) { send(progress_, Q7M_ADDREF); }
  Object progress_;
};

TEST_F(Progress, IsToldMaximumPositionsAndTheEnd) {
  Server server([](int socket, const std::string &) {
    Server::put(socket, Server::head("200 OK", 1000) + std::string(300, 'x'));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    Server::put(socket, std::string(700, 'x'));
  });
  EXPECT_EQ(fetch(server.url("/"), progress_), 1u);
  ASSERT_GE(steps.size(), 4u);
  EXPECT_EQ(steps[0], (Step{Q7M_PROGRESS_MAXIMUM, 100}));
  EXPECT_EQ(steps[1], (Step{Q7M_PROGRESS_POSITION, 0}));
  EXPECT_EQ(steps.back(), (Step{Q7M_PROGRESS_DONE, 0}));
  EXPECT_EQ(steps[steps.size() - 2], (Step{Q7M_PROGRESS_POSITION, 100}));
  int32_t last = 0;
  for (size_t i = 1; i + 1 < steps.size(); ++i) {
    EXPECT_EQ(steps[i].method, uint32_t{Q7M_PROGRESS_POSITION});
    EXPECT_GE(steps[i].value, last);
    last = steps[i].value;
  }
  EXPECT_EQ(std::count(steps.begin(), steps.end(), Step{Q7M_PROGRESS_DONE, 0}), 1);
}

TEST_F(Progress, GetsTheIntegerPartOfThePercentage) {
  Server server([](int socket, const std::string &) {
    Server::put(socket, Server::head("200 OK", 1000) + std::string(339, 'x'));
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    Server::put(socket, std::string(661, 'x'));
  });
  EXPECT_EQ(fetch(server.url("/"), progress_), 1u);
  EXPECT_THAT(steps, ::testing::Contains(Step{Q7M_PROGRESS_POSITION, 33}));
  EXPECT_THAT(steps, ::testing::Not(::testing::Contains(Step{Q7M_PROGRESS_POSITION, 34})));
}

TEST_F(Progress, WithoutATotalThereAreNoPositions) {
  Server server([](int socket, const std::string &) {
    Server::put(socket, "HTTP/1.0 200 OK\r\n\r\nto the end of the connection");
  });
  EXPECT_EQ(fetch(server.url("/"), progress_), 1u);
  EXPECT_THAT(steps,
              ElementsAre(Step{Q7M_PROGRESS_MAXIMUM, 100}, Step{Q7M_PROGRESS_POSITION, 0}, Step{Q7M_PROGRESS_DONE, 0}));
}

TEST_F(Progress, ANonZeroAnswerStopsTheDownloadFromASlowServer) {
  Server *self = nullptr;
  Server server([&](int socket, const std::string &) {
    Server::put(socket, Server::head("200 OK", 1000000));
    for (int i = 0; i < 1000 && !self->stopping() && Server::put(socket, std::string(100, 's')); ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
  });
  self = &server;
  stop_at = 3;
  const auto start = std::chrono::steady_clock::now();
  fetch(server.url("/"), progress_);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
  ASSERT_THAT(reports, SizeIs(1));
  EXPECT_EQ(reports[0].module, "q7transf");
  EXPECT_EQ(reports[0].text, "Aborted by callback");
  EXPECT_THAT(steps, SizeIs(5));  // nothing is sent behind the refused position but the end
  EXPECT_EQ(steps.back().method, uint32_t{Q7M_PROGRESS_DONE});
}

TEST_F(Progress, TheAnswerToTheFirstPositionIsNotLookedAt) {
  Server server(body("x"));
  stop_at = 1;
  EXPECT_EQ(fetch(server.url("/"), progress_), 1u);
  EXPECT_THAT(reports, IsEmpty());
}

TEST_F(Progress, IsToldTheEndOfAFailedDownload) {
  EXPECT_EQ(fetch("http://127.0.0.1:1/", progress_), 0u);
  EXPECT_THAT(steps,
              ElementsAre(Step{Q7M_PROGRESS_MAXIMUM, 100}, Step{Q7M_PROGRESS_POSITION, 0}, Step{Q7M_PROGRESS_DONE, 0}));
}

TEST_F(Progress, WithoutOneNothingIsPrinted) {
  Server server(body(std::string(100000, 'x')));
  q7test::Capture output(1), errors(2);
  fetch(server.url("/"));
  EXPECT_EQ(output.stop(), "");
  EXPECT_EQ(errors.stop(), "");
}

// ---- Result codes

class Codes : public Transfer {
 protected:
  // Reports a code through an object.
  Report report(int32_t code) {
    const Object transfer(Q7C_TRANSFER, {});
    reports.clear();
    EXPECT_EQ(send(transfer, Q7M_TRANSFER_REPORT, 0, 0, slot(code)), 0u) << code;
    EXPECT_THAT(reports, SizeIs(1)) << code;
    return reports.empty() ? Report{} : reports[0];
  }
};
const std::set<int> kUnknown = {20, 24, 29, 32, 40, 44, 46, 50, 51, 57, 89};

TEST_F(Codes, ZeroReportsNothing) {
  const Object transfer(Q7C_TRANSFER, {});
  EXPECT_EQ(send(transfer, Q7M_TRANSFER_REPORT), 0u);
  EXPECT_THAT(reports, IsEmpty());
}

TEST_F(Codes, EachHasATextAndALineOfItsOwn) {
  std::set<std::string> texts;
  int line = 0;
  for (int code = 1; code <= 91; ++code) {
    if (kUnknown.contains(code)) continue;
    const Report r = report(code);
    EXPECT_EQ(r.module, "q7transf");
    EXPECT_GT(r.line, line) << code;
    line = r.line;
    EXPECT_TRUE(texts.insert(r.text).second) << code << " " << r.text;
    EXPECT_THAT(r.text, ::testing::Not(HasSubstr("Unknown server error"))) << code;
    EXPECT_GT(r.text.size(), 10u);
  }
  EXPECT_EQ(texts.size(), 80u);
}

TEST_F(Codes, OthersAreUnknown) {
  for (int code : kUnknown) EXPECT_EQ(report(code).text, "Unknown server error " + std::to_string(code));
  for (int code : {92, 99, 1000, -1}) EXPECT_EQ(report(code).text, "Unknown server error " + std::to_string(code));
}

TEST_F(Codes, TextsThatOthersLookFor) {
  EXPECT_EQ(report(3).text, "The URL was not properly formatted.");
  EXPECT_EQ(report(5).text, "Couldn't resolve proxy. The given proxy host could not be resolved.");
  EXPECT_EQ(report(6).text, "Couldn't resolve host. The given remote host was not resolved.");
  EXPECT_EQ(report(7).text, "Failed to connect() to host or proxy.");
  EXPECT_EQ(report(28).text,
            "Operation timeout.The specified time - out period was reached according to the conditions.");
  EXPECT_EQ(report(42).text, "Aborted by callback");
  EXPECT_EQ(report(78).text, "The resource referenced in the URL does not exist.");
}

// A subclass learns the code of a download that failed.
int32_t learned;
uint64_t learning(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method == Q7M_TRANSFER_REPORT) learned = static_cast<int32_t>(arg(tags));
  return cl->superdispatch(cl->super, obj, method, a, b, tags);
}

TEST_F(Codes, AreSentToTheObjectItself) {
  Q7ClassCreate(Q7C_TRANSFER, 4402, learning, 0, Q7CT_NAME, arg("learning"), 0);
  const Object transfer(4402, with_url("http://127.0.0.1:1/"));
  EXPECT_EQ(download(transfer, path("file")), 0u);
  EXPECT_EQ(learned, 7);
  EXPECT_THAT(reports, SizeIs(1));
}

TEST_F(Codes, AClassRecordReportsButDownloadsNothing) {
  Q7Object *record = &Q7ClassFind(Q7C_TRANSFER)->header;
  EXPECT_EQ(send(record, Q7M_TRANSFER_REPORT, 0, 0, slot(42)), 0u);
  ASSERT_THAT(reports, SizeIs(1));
  EXPECT_EQ(send(record, Q7M_TRANSFER_DOWNLOAD, arg(path("file").c_str())), 0u);
  EXPECT_FALSE(file_exists());
}

}  // namespace
