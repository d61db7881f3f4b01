// test_support: see test_support.h.
#include "tests/support/test_support.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>

#include "core/q7memory.h"

namespace q7test {

Test::Test() {
  std::string name = (std::filesystem::temp_directory_path() / "q7test-XXXXXX").string();
  if (!mkdtemp(name.data())) throw std::runtime_error("no temporary folder");
  home_ = name;
  setenv("HOME", name.c_str(), 1);
  unsetenv("USER");
}

Test::~Test() {
  std::error_code ignored;
  std::filesystem::remove_all(home_, ignored);
}

Capture::Capture(int descriptor) : descriptor_(descriptor), file_(std::tmpfile()) {
  std::fflush(descriptor == 1 ? stdout : stderr);
  saved_ = dup(descriptor);
  dup2(fileno(file_), descriptor);
}

Capture::~Capture() { stop(); }

const std::string &Capture::stop() {
  if (!file_) return text_;
  std::fflush(descriptor_ == 1 ? stdout : stderr);
  dup2(saved_, descriptor_);
  close(saved_);
  std::rewind(file_);
  char buffer[4096];
  for (size_t n; (n = std::fread(buffer, 1, sizeof buffer, file_)) > 0;) text_.append(buffer, n);
  std::fclose(file_);
  file_ = nullptr;
  return text_;
}

AllocGate::AllocGate() { Q7SetAllocGate(gate, this); }
AllocGate::~AllocGate() { Q7SetAllocGate(nullptr, nullptr); }

void AllocGate::fail(int64_t nth, bool after) {
  after_ = after;
  first_ = count_ + nth;
}
void AllocGate::pass() { first_ = 0; }

int32_t AllocGate::gate(uint64_t, void *data) {
  auto *self = static_cast<AllocGate *>(data);
  const int64_t number = ++self->count_;
  const int64_t first = self->first_;
  const bool refuse = first && (number == first || (self->after_ && number > first));
  self->refused_ += refuse;
  return !refuse;
}

std::string read_file(const std::filesystem::path &path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void write_file(const std::filesystem::path &path, const std::string &content) {
  std::ofstream(path, std::ios::binary) << content;
}

int thread_count() {
  std::error_code ignored;
  int count = 0;
  for (auto it = std::filesystem::directory_iterator("/proc/self/task", ignored);
       it != std::filesystem::directory_iterator(); it.increment(ignored)) {
    ++count;
  }
  return count;
}

}  // namespace q7test

int main(int argc, char **argv) {
  ::testing::InitGoogleMock(&argc, argv);
  ::testing::GTEST_FLAG(death_test_style) = "threadsafe";
#ifdef __SANITIZE_THREAD__
  // The sanitizer has a thread of its own from the first thread on; with it running, tests can count theirs.
  std::thread([] {}).join();
#endif
  return RUN_ALL_TESTS();
}
