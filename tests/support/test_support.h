// test_support: what tests of every room share. It stands on GoogleTest and the library's public headers alone, so it
// goes with the default platform layer as well as with the recording one.
#ifndef Q7_TESTS_SUPPORT_TEST_SUPPORT_H
#define Q7_TESTS_SUPPORT_TEST_SUPPORT_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <string>

namespace q7test {

// Gives each test a home folder of its own (environment variable HOME), removed afterwards, and no variable USER, so
// that nothing is printed in the user's name.
class Test : public ::testing::Test {
 protected:
  Test();
  ~Test() override;
  const std::filesystem::path &home() const { return home_; }

 private:
  std::filesystem::path home_;
};

// Catches what is written to a file descriptor (1 standard output, 2 standard error) from its creation to stop().
class Capture {
 public:
  explicit Capture(int descriptor);
  ~Capture();
  Capture(const Capture &) = delete;
  Capture &operator=(const Capture &) = delete;
  // Ends the capture and answers what was written; a second call answers the same text.
  const std::string &stop();

 private:
  int descriptor_;
  int saved_;
  std::FILE *file_;
  std::string text_;
};

// Counts the library's allocations and makes one of them fail, or all from one on; removes itself at the end.
class AllocGate {
 public:
  AllocGate();
  ~AllocGate();
  AllocGate(const AllocGate &) = delete;
  AllocGate &operator=(const AllocGate &) = delete;
  // Lets the nth allocation from now fail (1: the next); `after` also all that follow.
  void fail(int64_t nth, bool after = false);
  // Lets everything pass again.
  void pass();
  // Allocations asked for since the gate was made.
  int64_t count() const { return count_.load(); }
  // How many of them were refused.
  int64_t refused() const { return refused_.load(); }

 private:
  static int32_t gate(uint64_t size, void *data);
  std::atomic<int64_t> count_{0};
  std::atomic<int64_t> refused_{0};
  std::atomic<int64_t> first_{0};  // number of the first allocation to fail; 0: none
  std::atomic<bool> after_{false};
};

// The content of a file; empty when it cannot be read.
std::string read_file(const std::filesystem::path &path);
void write_file(const std::filesystem::path &path, const std::string &content);

// Threads of this process, from the system's own list.
int thread_count();

}  // namespace q7test

#endif
