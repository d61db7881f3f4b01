// q7get: downloads what URLs name into files, several at once: each URL is a transfer object of its own, and the
// executors work through them. A download goes into "<file>.part", which takes the file's name when everything has
// arrived and goes away when something failed: a file that was there before is only replaced by a whole one.
// Certificates are not checked, so https has to be asked for.
#include <sys/ioctl.h>
#include <unistd.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <deque>
#include <filesystem>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "app/q7app.h"
#include "app/q7async.h"
#include "core/q7objects.h"
#include "core/q7root.h"
#include "io/q7transf.h"

namespace {

namespace fs = std::filesystem;

constexpr size_t kLongestUrl = 255;  // what a transfer object keeps
constexpr uint32_t kProgressClass = 247;
constexpr uint32_t kGetClass = 900901;   // a transfer that learns its result code
constexpr uint32_t kPoolClass = 900902;  // what the executors reply to
constexpr uint32_t kNext = 900902000;    // the pool's reply method; a: executor, slot: what the download answered
constexpr int kAborted = 42;             // libcurl's code of a download that its progress object stopped
enum : int { kFailed = 1, kWrongUse = 2, kInterrupted = 130 };  // exit statuses
constexpr auto kRedraw = std::chrono::milliseconds(100);

constexpr char kUnchecked[] = "certificates are not checked: whoever sits in between can replace what is downloaded";

volatile std::sig_atomic_t interrupted = 0;

// One URL on its way into a file. Its download runs on one thread; the main thread looks at percent and state only,
// until the state is kDone.
struct Job {
  enum State { kWaiting, kRunning, kDone };
  std::string url;
  std::string file;
  std::string part;
  Q7Object *transfer = nullptr;
  Q7Object *progress = nullptr;
  std::atomic<int> percent{-1};  // -1: the server does not tell
  std::atomic<int> state{kWaiting};
  bool told = false;
  int code = 0;        // libcurl's result code
  std::string reason;  // why it failed, in words; empty for a whole file
};

// The job whose download runs on this thread: what is reported there belongs to it.
thread_local Job *current = nullptr;

template <class T>
uint64_t arg(T *pointer) {
  return reinterpret_cast<uint64_t>(pointer);
}
template <class T>
T *&data(Q7Class *cl, Q7Object *obj) {
  return *reinterpret_cast<T **>(reinterpret_cast<char *>(obj) + cl->ioffset);
}

// ---- The three classes. The instance data of the first two is their job, that of the pool the pool; a job is given to
// its objects before their first message.

uint64_t progress_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method != Q7M_PROGRESS_POSITION || &cl->header == obj)
    return method / 1000 == kProgressClass ? 0 : cl->superdispatch(cl->super, obj, method, a, b, tags);
  const auto percent = static_cast<int>(reinterpret_cast<uint64_t>(tags));
  // The first position says nothing yet: whether the server tells the size is seen by the second.
  Job *job = data<Job>(cl, obj);
  if (job->state == Job::kRunning && percent > 0) job->percent = percent;
  job->state = Job::kRunning;
  return interrupted != 0;
}

uint64_t get_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method == Q7M_TRANSFER_REPORT && &cl->header != obj) {
    Job *job = data<Job>(cl, obj);
    job->code = static_cast<int>(reinterpret_cast<uint64_t>(tags));
    current = job;
    const uint64_t answer = cl->superdispatch(cl->super, obj, method, a, b, tags);
    current = nullptr;
    return answer;
  }
  return cl->superdispatch(cl->super, obj, method, a, b, tags);
}

int keep_report(const char *module, int, const char *text, ...) {
  if (current) {
    current->reason = text;
  } else {
    std::fprintf(stderr, "q7get: %s: %s\n", module, text);
  }
  return 0;
}

// The jobs that wait, for the executors to take from.
class Pool {
 public:
  void add(Job &job) { waiting_.push_back(&job); }
  // Whether an executor still has a job.
  bool busy() {
    const std::lock_guard<std::mutex> guard(mutex_);
    return !running_.empty();
  }
  // Gives an executor its next job, if there is one.
  void next(Q7Object *pool, Q7Object *executor) {
    Job *job = nullptr;
    {
      const std::lock_guard<std::mutex> guard(mutex_);
      running_.erase(executor);
      if (waiting_.empty() || interrupted) return;
      job = waiting_.front();
      waiting_.pop_front();
      running_[executor] = job;
    }
    const uint64_t queued = Q7SendMsg3(executor, Q7M_ASYNC_QUEUE, arg(job->transfer), Q7M_TRANSFER_DOWNLOAD,
                                       Q7A_ASYNC_ARG1, arg(job->part.c_str()), Q7A_ASYNC_REPLY_OBJECT, arg(pool),
                                       Q7A_ASYNC_REPLY_METHOD, uint64_t{kNext}, Q7A_ASYNC_REPLY_ARG, arg(executor), 0);
    if (queued) return;
    const std::lock_guard<std::mutex> guard(mutex_);
    running_.erase(executor);
  }
  // Ends the job that an executor has, on its thread.
  void finish(Q7Object *executor, bool received) {
    Job *job = nullptr;
    {
      const std::lock_guard<std::mutex> guard(mutex_);
      job = running_[executor];
    }
    std::error_code error;
    if (job->code == kAborted && interrupted) {
      job->reason = "stopped";
    } else if (job->reason.empty() && job->code != 0) {
      job->reason = "libcurl's result code " + std::to_string(job->code);
    } else if (job->reason.empty() && !received) {
      job->reason = "the server sent nothing: no file is made";
    } else if (job->reason.empty()) {
      fs::rename(job->part, job->file, error);
      if (error) job->reason = job->file + ": " + error.message();
    }
    if (!job->reason.empty()) fs::remove(job->part, error);
    job->state = Job::kDone;
  }

 private:
  std::mutex mutex_;
  std::deque<Job *> waiting_;
  std::map<Q7Object *, Job *> running_;
};

uint64_t pool_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  if (method != kNext) return cl->superdispatch(cl->super, obj, method, a, b, tags);
  auto *executor = reinterpret_cast<Q7Object *>(a);
  Pool *pool = data<Pool>(cl, obj);
  pool->finish(executor, tags != nullptr);
  pool->next(obj, executor);
  return 0;
}

// ---- What the user sees

// Texts that come from outside do not get to steer the terminal.
std::string shown(const std::string &text) {
  std::string out;
  for (const char c : text) out += static_cast<unsigned char>(c) < 0x20 || c == 0x7F ? '?' : c;
  return out;
}

std::string bytes(uint64_t count) {
  static const char *const units[] = {"bytes", "KiB", "MiB", "GiB", "TiB"};
  char text[32];
  if (count < 10240) {
    std::snprintf(text, sizeof text, "%d bytes", static_cast<int>(count));
    return text;
  }
  auto value = static_cast<double>(count);
  size_t unit = 0;
  while (value >= 1024 && unit + 1 < std::size(units)) {
    value /= 1024;
    ++unit;
  }
  std::snprintf(text, sizeof text, "%.1f %s", value, units[unit]);
  return text;
}

// The bars of the downloads that run, one line each, drawn over one another at the end of the terminal.
class Bars {
 public:
  Bars(bool on, bool quiet, FILE *out) : on_(on), quiet_(quiet), out_(out) {}
  void draw(std::deque<Job> &jobs) {
    erase();
    for (Job &job : jobs) {
      if (job.state == Job::kDone && !job.told) {
        job.told = true;
        tell(job);
      }
    }
    if (!on_) return;
    for (const Job &job : jobs) {
      if (job.state == Job::kRunning) draw(job);
    }
    std::fflush(stderr);
  }
  void erase() {
    if (lines_ > 0) std::fprintf(stderr, "\033[%dA\033[J", lines_);
    lines_ = 0;
  }

 private:
  void tell(const Job &job) {
    if (!job.reason.empty()) {
      std::fprintf(stderr, "q7get: %s: %s\n", shown(job.url).c_str(), shown(job.reason).c_str());
    } else if (!quiet_) {
      std::error_code error;
      const uint64_t size = fs::file_size(job.file, error);
      std::fprintf(out_, "%s: %s from %s\n", shown(job.file).c_str(), bytes(error ? 0 : size).c_str(),
                   shown(job.url).c_str());
      std::fflush(out_);
    }
  }
  void draw(const Job &job) {
    winsize window = {};
    const int columns = ioctl(STDERR_FILENO, TIOCGWINSZ, &window) == 0 && window.ws_col ? window.ws_col : 80;
    const int width = std::clamp(columns / 3, 4, 40);
    const int room = std::max(columns - width - 9, 0);
    const int percent = job.percent;
    std::string bar(static_cast<size_t>(width), ' ');
    std::string end = "";
    if (percent >= 0) {
      std::fill_n(bar.begin(), width * std::min(percent, 100) / 100, '#');
      end = std::to_string(percent) + "%";
    } else {
      std::error_code error;  // nobody knows how much will come; tell how much has
      const uint64_t size = fs::file_size(job.part, error);
      bar = (error ? std::string() : bytes(size));
      bar.resize(static_cast<size_t>(width), ' ');
    }
    std::fprintf(stderr, "[%s] %4s %.*s\n", bar.c_str(), end.c_str(), room, shown(job.file).c_str());
    ++lines_;
  }

  bool on_;
  bool quiet_;
  FILE *out_;
  int lines_ = 0;
};

// ---- From the command line to jobs

struct Options {
  std::vector<std::string> urls;
  std::string output;
  std::string folder = ".";
  int at_once = 4;
  bool insecure = false;
  bool quiet = false;
  std::string bar = "auto";
};

bool begins_with(const std::string &text, const char *with) {
  return strncasecmp(text.c_str(), with, std::strlen(with)) == 0;
}

// The last part of the URL's path, without the query; "index.html" for a folder. Never a name that leads elsewhere.
std::string name_of(const std::string &url) {
  std::string path = url.substr(url.find("://") + 3);
  path = path.substr(0, path.find_first_of("?#"));
  const size_t slash = path.rfind('/');
  std::string name = slash == std::string::npos ? "" : path.substr(slash + 1);
  if (name.empty() || name == "." || name == "..") name = "index.html";
  return name;
}

// Why a URL is not downloaded at all; empty when it is.
std::string refusal(const std::string &url, bool insecure) {
  if (url.size() > kLongestUrl)
    return "the URL has " + std::to_string(url.size()) + " characters, at most 255 are possible";
  if (begins_with(url, "http://")) return "";
  if (!begins_with(url, "https://")) return "the URL has to begin with http:// or https://";
  return insecure ? "" : std::string(kUnchecked) + "; --insecure downloads all the same";
}

void interrupt(int) { interrupted = 1; }

// Fills the jobs; false when the command line cannot be meant as it stands.
bool make_jobs(const Options &options, std::deque<Job> &jobs) {
  bool good = true;
  std::set<std::string> files;
  for (const std::string &url : options.urls) {
    std::string problem = refusal(url, options.insecure);
    Job &job = jobs.emplace_back();
    job.url = url;
    if (problem.empty()) {
      job.file = options.output.empty() ? (fs::path(options.folder) / name_of(url)).lexically_normal().string()
                                        : options.output;
      job.part = job.file + ".part";
    }
    if (problem.empty() && !files.insert(job.file).second)
      problem = "another URL would be stored as " + job.file + " too";
    if (problem.empty()) continue;
    std::fprintf(stderr, "q7get: %s: %s\n", shown(url).c_str(), shown(problem).c_str());
    good = false;
  }
  return good;
}

// The class opens the file without telling why it could not; this tells.
bool can_be_written(Job &job) {
  if (fs::is_directory(job.file)) {
    job.reason = job.file + ": " + std::strerror(EISDIR);
  } else if (FILE *file = std::fopen(job.part.c_str(), "wb")) {
    std::fclose(file);
    return true;
  } else {
    job.reason = job.part + ": " + std::strerror(errno);
  }
  return false;
}

bool make_objects(Job &job) {
  job.progress = Q7ObjectCreate(kProgressClass, 0);
  if (job.progress) {
    data<Job>(job.progress->cl, job.progress) = &job;
    job.transfer =
        Q7ObjectCreate(kGetClass, Q7A_TRANSFER_URL, arg(job.url.c_str()), Q7A_TRANSFER_PROGRESS, arg(job.progress), 0);
  }
  if (!job.transfer) {
    if (job.progress) Q7ObjectDelete(job.progress);
    job.reason = "out of memory";
    return false;
  }
  data<Job>(job.transfer->cl, job.transfer) = &job;
  return true;
}

// Runs the jobs that are left to run and tells about each when it is over.
void download(const Options &options, std::deque<Job> &jobs, FILE *out) {
  Pool pool;
  for (Job &job : jobs) {
    if (make_objects(job) && can_be_written(job)) {
      pool.add(job);
    } else {
      job.state = Job::kDone;
    }
  }
  Q7Object *replies = Q7ObjectCreate(kPoolClass, 0);
  if (replies) data<Pool>(replies->cl, replies) = &pool;
  std::vector<Q7Object *> executors;
  const size_t count = std::min(static_cast<size_t>(options.at_once), jobs.size());
  while (replies && executors.size() < count) {
    Q7Object *executor = Q7ObjectCreate(Q7C_ASYNC, 0);
    if (!executor) break;
    executors.push_back(executor);
  }
  for (Q7Object *executor : executors) pool.next(replies, executor);

  Bars bars(options.bar == "always" || (options.bar == "auto" && isatty(STDERR_FILENO)), options.quiet, out);
  while (pool.busy()) {
    bars.draw(jobs);
    std::this_thread::sleep_for(kRedraw);
  }
  // What no executor took: all were stopped, or none could be made.
  for (Job &job : jobs) {
    if (job.state == Job::kDone) continue;
    job.reason = interrupted ? "stopped" : "out of memory or threads";
    std::error_code error;
    fs::remove(job.part, error);
    job.state = Job::kDone;
  }
  bars.draw(jobs);
  bars.erase();
  for (Q7Object *executor : executors) Q7ObjectDelete(executor);
  if (replies) Q7ObjectDelete(replies);
  for (Job &job : jobs) {
    if (job.transfer) Q7ObjectDelete(job.transfer);  // the progress object goes with it
  }
}

int run(const Options &options, Q7App *app, FILE *out) {
  std::deque<Job> jobs;
  if (!make_jobs(options, jobs)) return kWrongUse;
  if (options.insecure) std::fprintf(stderr, "q7get: warning: %s\n", kUnchecked);
  if (!Q7RegisterTransferClass(app) || !Q7RegisterAsyncExecutorClass(app) ||
      !Q7ClassCreate(Q7C_ROOT, kProgressClass, progress_dispatch, sizeof(Job *), 0) ||
      !Q7ClassCreate(Q7C_TRANSFER, kGetClass, get_dispatch, sizeof(Job *), 0) ||
      !Q7ClassCreate(Q7C_ROOT, kPoolClass, pool_dispatch, sizeof(Pool *), 0)) {
    std::fprintf(stderr, "q7get: out of memory\n");
    return kFailed;
  }
  // The first interruption lets the downloads clean up; the second one is the system's.
  struct sigaction action = {};
  action.sa_handler = interrupt;
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  sigaction(SIGINT, &action, nullptr);
  // A limit on the size of files is a full disk like any other: the write fails, and that is told.
  std::signal(SIGXFSZ, SIG_IGN);

  download(options, jobs, out);
  if (interrupted) return kInterrupted;
  for (const Job &job : jobs) {
    if (!job.reason.empty()) return kFailed;
  }
  return 0;
}

}  // namespace

int main(int argc, char **argv) {
  CLI::App command_line(
      "Downloads what URLs name into files, several at once.\n\nFor https: " + std::string(kUnchecked) +
      ". So https is refused unless --insecure is given; check what was downloaded, by a signature or "
      "a checksum that came another way, before anything is run or trusted.");
  Options options;
  command_line.add_option("url", options.urls, "What to download: http://, with --insecure also https://")->required();
  auto *output = command_line.add_option("-o,--output", options.output, "File to store a single URL in");
  command_line
      .add_option("-d,--directory", options.folder, "Folder for files named after their URLs, default the current one")
      ->check(CLI::ExistingDirectory)
      ->excludes(output);
  command_line.add_option("-j,--at-once", options.at_once, "Downloads that run at once, default 4")
      ->check(CLI::Range(1, 64));
  command_line.add_flag("--insecure", options.insecure, "Allow https without any check of certificates");
  command_line.add_flag("-q,--quiet", options.quiet, "Tell only what went wrong");
  command_line.add_option("--bar", options.bar, "Progress bars: auto (the default: on terminals), always, never")
      ->check(CLI::IsMember({"auto", "always", "never"}));
  command_line.footer(
      "A server's answer is stored as it comes: redirects are not followed, and the page that says \"not found\" is "
      "stored like any other. Ctrl-C stops downloads whose size is known and removes what is unfinished; pressed "
      "twice, "
      "it ends the program at once.\n\nExit status: 0 when everything was downloaded, 1 when something was not, 2 for "
      "a "
      "command line that cannot be meant (nothing is downloaded then), 130 when interrupted.");
  try {
    command_line.parse(argc, argv);
    if (!options.output.empty() && options.urls.size() > 1)
      throw CLI::ValidationError("--output", "takes a single URL");
  } catch (const CLI::ParseError &error) {
    return command_line.exit(error) == 0 ? 0 : kWrongUse;
  }

  // The library echoes its log to standard output; what this program says has it for itself, and says it once.
  FILE *out = fdopen(dup(STDOUT_FILENO), "w");
  if (!out || !std::freopen("/dev/null", "w", stdout)) return kFailed;
  int32_t count = argc;
  Q7App *app = Q7AppCreate(&count, argv, Q7APP_ErrorHandler, reinterpret_cast<uint64_t>(&keep_report), Q7APP_Name,
                           arg("q7get"), 0);
  if (!app) return kFailed;
  int status = run(options, app, out);
  if (std::fclose(out) != 0 && status == 0) status = kFailed;
  Q7AppDelete(app);
  return status;
}
