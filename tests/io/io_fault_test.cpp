// io_fault: what happens when the system fails. fopen of this program gives streams whose reads, writes, seeks and
// closes pass a gate of the test, so every system call of a disk stream can be made to fail in turn. The rule that is
// checked: what a flush, close or disposal has confirmed is in the file, byte for byte.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <thread>

#include "core/q7root.h"
#include "tests/io/io_test.h"

namespace {

struct Gate {
  bool on = false;     // whether fopen gives gated streams
  int calls = 0;       // calls so far
  int fail_at = 0;     // number of the first call to fail; 0: none
  bool after = false;  // and all that follow
  int error = EIO;
  size_t most = 0;  // bytes that a call moves at most; 0: all
} gate;

bool refused() {
  ++gate.calls;
  if (!gate.fail_at || (gate.after ? gate.calls < gate.fail_at : gate.calls != gate.fail_at)) return false;
  errno = gate.error;
  return true;
}

int descriptor_of(void *cookie) { return static_cast<int>(reinterpret_cast<intptr_t>(cookie)); }
size_t share(size_t n) { return gate.most && n > gate.most ? gate.most : n; }

ssize_t gated_read(void *cookie, char *to, size_t n) {
  return refused() ? -1 : read(descriptor_of(cookie), to, share(n));
}
ssize_t gated_write(void *cookie, const char *from, size_t n) {
  if (refused()) return 0;
  size_t done = 0;
  while (done < n) {
    const ssize_t moved = write(descriptor_of(cookie), from + done, share(n - done));
    if (moved <= 0) break;
    done += static_cast<size_t>(moved);
  }
  return static_cast<ssize_t>(done);
}
int gated_seek(void *cookie, off64_t *offset, int origin) {
  if (refused()) return -1;
  *offset = lseek(descriptor_of(cookie), *offset, origin);
  return *offset < 0 ? -1 : 0;
}
int gated_close(void *cookie) {
  const bool fails = refused();
  const int error = errno;
  close(descriptor_of(cookie));
  errno = error;
  return fails ? -1 : 0;
}

}  // namespace

extern "C" FILE *fopen(const char *name, const char *mode) {
  static const auto real = reinterpret_cast<FILE *(*)(const char *, const char *)>(dlsym(RTLD_NEXT, "fopen"));
  if (!gate.on) return real(name, mode);
  if (refused()) return nullptr;
  const int flags = mode[0] == 'r' ? O_RDONLY : O_WRONLY | O_CREAT | O_TRUNC;
  const int descriptor = open(name, flags, 0644);
  if (descriptor < 0) return nullptr;
  const cookie_io_functions_t functions = {gated_read, gated_write, gated_seek, gated_close};
  return fopencookie(reinterpret_cast<void *>(intptr_t{descriptor}), mode, functions);
}

namespace {

using namespace iotest;
using q7test::read_file;
using q7test::write_file;

constexpr int kDoubles = 1200;  // more than stdio's buffer holds

uint64_t write_doubles(Q7Object *, Q7Object *stream, uint64_t) {
  for (int i = 0; i < kDoubles; ++i) {
    const double d = i / 3.0;
    put(stream, Q7M_FILE_WRITE_DOUBLE, &d);
  }
  return 1;
}

struct Read {
  int good = 0;
};
uint64_t read_doubles(Q7Object *, Q7Object *stream, uint64_t data) {
  auto *read = reinterpret_cast<Read *>(data);
  for (int i = 0; i < kDoubles; ++i) {
    double d = -1;
    if (put(stream, Q7M_FILE_READ_DOUBLE, &d) && d == i / 3.0) ++read->good;
  }
  return 1;
}

class Fault : public iotest::Test {
 protected:
  Fault() {
    Q7ClassCreate(Q7C_ROOT, 990, nullptr, 8, Q7CT_NAME, arg("thing"), 0);
    thing_ = Q7ObjectCreate(990, Q7A_NAME, arg("cube"), 0);
    std::memcpy(&id_, "Q7D8", 4);
    std::memcpy(&form_, "scen", 4);
  }
  ~Fault() override {
    gate = Gate{};
    Q7ObjectDelete(thing_);
  }

  // Creation tags of the file called f.
  Tags tags(const char *mode) {
    return {{Q7A_FILE_NAME, arg(name_.c_str())},
            {Q7A_FILE_MODE, arg(mode)},
            {Q7A_IFF_ID, arg(&id_)},
            {Q7A_IFF_FORM, arg(&form_)},
            {512, arg(&error_)}};
  }
  // Saves the object; true when everything up to the disposal claims success.
  bool save(uint32_t clid) {
    Object stream(clid, tags("w"));
    if (!stream) return false;
    uint32_t object_id;
    std::memcpy(&object_id, "OBJ ", 4);
    bool good = clid == Q7C_FILE || put(stream, Q7M_IFF_BEGIN_WRITE, object_id);
    good &=
        Q7ObjectSave(thing_, Q7A_STREAM, arg(static_cast<Q7Object *>(stream)), Q7A_WRITER, arg(&write_doubles), 0) != 0;
    if (clid == Q7C_IFF) good &= send(stream, Q7M_IFF_END_WRITE) != 0;
    return (stream.dispose() != 0) & good;
  }
  // Loads it; true when everything was there.
  bool load(uint32_t clid) {
    Object stream(clid, tags("r"));
    if (!stream) return false;
    uint32_t object_id;
    if (clid == Q7C_IFF && !put(stream, Q7M_IFF_BEGIN_READ, &object_id)) return false;
    Read read;
    Q7Object *loaded = Q7ObjectLoad(stream, Q7A_READER, arg(&read_doubles), Q7A_READER_DATA, arg(&read), 0);
    const bool named = loaded && loaded->name && std::strcmp(loaded->name, "cube") == 0;
    if (loaded) Q7ObjectDelete(loaded);
    const bool ended = clid == Q7C_FILE || send(stream, Q7M_IFF_END_READ);
    return named && ended && read.good == kDoubles;
  }

  void every_call_fails_once(uint32_t clid, bool after) {
    ASSERT_TRUE(save(clid));
    const std::string content = read_file(name_);
    gate.on = true;
    ASSERT_TRUE(save(clid));
    const int saving = gate.calls;
    gate.calls = 0;
    ASSERT_TRUE(load(clid));
    const int loading = gate.calls;
    EXPECT_GE(saving, 4);  // open, two writes, close
    EXPECT_GE(loading, 4);
    gate.after = after;
    for (int error : {EIO, EINTR, ENOSPC}) {
      gate.error = error;
      for (gate.fail_at = 1; gate.fail_at <= saving; ++gate.fail_at) {
        gate.calls = 0;
        const bool claimed = save(clid);
        if (claimed) {
          EXPECT_EQ(read_file(name_), content) << "call " << gate.fail_at;
        }
      }
      gate.fail_at = 0;
      ASSERT_TRUE(save(clid));
      for (gate.fail_at = 1; gate.fail_at <= loading; ++gate.fail_at) {
        gate.calls = 0;
        load(clid);  // what it claims is compared with what it read
      }
      gate.fail_at = 0;
    }
    EXPECT_EQ(Q7ClassFind(clid)->ninstances, 0u);
    EXPECT_EQ(Q7ClassFind(990)->ninstances, 1u);
  }

  std::string name_ = path("f");
  uint32_t id_ = 0;
  uint32_t form_ = 0;
  int32_t error_ = 0;
  Q7Object *thing_;
};

TEST_F(Fault, EveryCallOfAFileFailsOnce) { every_call_fails_once(Q7C_FILE, false); }
TEST_F(Fault, EveryCallOfAFileFailsForGood) { every_call_fails_once(Q7C_FILE, true); }
TEST_F(Fault, EveryCallOfAChunkedFileFailsOnce) { every_call_fails_once(Q7C_IFF, false); }
TEST_F(Fault, EveryCallOfAChunkedFileFailsForGood) { every_call_fails_once(Q7C_IFF, true); }

TEST_F(Fault, ShortReadsAndWritesAreCompleted) {
  gate.on = true;
  gate.most = 7;
  for (uint32_t clid : {uint32_t{Q7C_FILE}, uint32_t{Q7C_IFF}}) {
    EXPECT_TRUE(save(clid));
    EXPECT_TRUE(load(clid));
  }
}

TEST_F(Fault, AFailedWriteIsNeverFollowedByASuccessfulClose) {
  gate.on = true;
  File file(name_, "w");
  gate.fail_at = gate.calls + 1;  // the first flush of the buffer, then never again
  write_doubles(nullptr, file, 0);
  EXPECT_EQ(error_of(file), 5505);
  EXPECT_EQ(send(file, Q7M_FILE_FLUSH), kMinusOne);
  EXPECT_EQ(file.dispose(), 0u);
}

TEST_F(Fault, ErrorsAreMapped) {
  const std::pair<int, int> table[] = {{ENOENT, 5501}, {EIO, 5505},      {EACCES, 5502}, {EISDIR, 5503},
                                       {EFBIG, 5506},  {ENOSPC, 5507},   {EROFS, 5504},  {EBADF, 5508},
                                       {EINTR, 5508},  {ETIMEDOUT, 5508}};
  gate.on = true;
  for (const auto &[error, id] : table) {
    gate.error = error;
    File file(name_, "w");
    put(file, Q7M_FILE_WRITE32, 1);
    gate.fail_at = gate.calls + 1;
    EXPECT_EQ(send(file, Q7M_FILE_FLUSH), kMinusOne);
    EXPECT_EQ(error_of(file), id) << error;
    EXPECT_EQ(get<int32_t>(file, Q7A_FILE_SYSTEM_ERROR), error);
    gate.fail_at = 0;
  }
}

TEST_F(Fault, AnUnknownErrorDoesNotReplaceAKnownOne) {
  write_file(name_, "12345678");
  gate.on = true;
  File file(name_, "r");
  uint32_t value;
  gate.error = ENOSPC;
  gate.fail_at = gate.calls + 1;
  EXPECT_EQ(put(file, Q7M_FILE_READ32, &value), 0u);
  EXPECT_EQ(error_of(file), 5507);
  gate.error = EBADF;
  gate.fail_at = gate.calls + 1;
  EXPECT_EQ(put(file, Q7M_FILE_READ32, &value), 0u);
  EXPECT_EQ(error_of(file), 5507);
  gate.error = EROFS;
  gate.fail_at = gate.calls + 1;
  EXPECT_EQ(put(file, Q7M_FILE_READ32, &value), 0u);
  EXPECT_EQ(error_of(file), 5504);
}

TEST_F(Fault, AStaleErrorNumberIsNotMapped) {
  write_file(name_, "ab");
  File file(name_, "r");
  uint32_t value;
  errno = EROFS;
  EXPECT_EQ(put(file, Q7M_FILE_READ32, &value), 0u);
  EXPECT_EQ(error_of(file), 5508);
}

TEST_F(Fault, OpeningFailsWith5501WhateverTheReason) {
  gate.on = true;
  for (int error : {EACCES, EROFS, EINTR, ENOSPC, EMFILE}) {
    gate.error = error;
    gate.fail_at = gate.calls + 1;
    error_ = 0;
    EXPECT_EQ(Q7ObjectCreateA(Q7C_FILE, list(tags("w")).data()), nullptr);
    EXPECT_EQ(error_, 5501);
  }
}

TEST_F(Fault, AFullDiskIs5507) {
  File file("/dev/full", "w");
  ASSERT_NE(file, nullptr);
  put(file, Q7M_FILE_WRITE32, 1);
  EXPECT_EQ(send(file, Q7M_FILE_FLUSH), kMinusOne);
  EXPECT_EQ(error_of(file), 5507);
  EXPECT_EQ(file.dispose(), 0u);
}

TEST_F(Fault, AFullDiskAtDisposal) {
  File file("/dev/full", "w");
  put(file, Q7M_FILE_WRITE32, 1);
  EXPECT_EQ(file.dispose(), 0u);
  name_ = "/dev/full";
  EXPECT_FALSE(save(Q7C_IFF));
}

TEST_F(Fault, AFileSizeLimitIs5506) {
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit old;
  getrlimit(RLIMIT_FSIZE, &old);
  const rlimit small = {1000, old.rlim_max};
  File file(name_, "w");
  setrlimit(RLIMIT_FSIZE, &small);
  write_doubles(nullptr, file, 0);
  const uint64_t flushed = send(file, Q7M_FILE_FLUSH);
  setrlimit(RLIMIT_FSIZE, &old);
  EXPECT_EQ(flushed, kMinusOne);
  EXPECT_EQ(error_of(file), 5506);
  EXPECT_EQ(file.dispose(), 0u);
}

TEST_F(Fault, AFolderOpensAndFailsToBeRead) {
  File folder(home().string(), "r");
  ASSERT_NE(folder, nullptr);
  uint32_t value;
  EXPECT_EQ(put(folder, Q7M_FILE_READ32, &value), 0u);
  EXPECT_EQ(error_of(folder), 5503);
}

TEST_F(Fault, APipeWithoutAReaderRaisesNoSignal) {
  ASSERT_NE(std::signal(SIGPIPE, SIG_DFL), SIG_ERR);
  ASSERT_EQ(mkfifo(name_.c_str(), 0600), 0);
  const int reader = open(name_.c_str(), O_RDONLY | O_NONBLOCK);
  File file(name_, "w");
  ASSERT_NE(file, nullptr);
  close(reader);
  write_doubles(nullptr, file, 0);
  EXPECT_EQ(send(file, Q7M_FILE_FLUSH), kMinusOne);
  put(file, Q7M_FILE_WRITE32, 1);
  EXPECT_EQ(file.dispose(), 0u);
  sigset_t pending;
  sigpending(&pending);
  EXPECT_FALSE(sigismember(&pending, SIGPIPE));
}

TEST_F(Fault, EveryAllocationFailsOnce) {
  ASSERT_TRUE(save(Q7C_IFF));
  int64_t saving, loading;
  {
    q7test::AllocGate counter;
    save(Q7C_IFF);
    saving = counter.count();
    load(Q7C_IFF);
    loading = counter.count() - saving;
  }
  EXPECT_GT(saving, 2);
  for (int64_t n = 1; n <= saving; ++n) {
    q7test::AllocGate allocations;
    allocations.fail(n);
    EXPECT_FALSE(save(Q7C_IFF)) << n;
  }
  ASSERT_TRUE(save(Q7C_IFF));
  for (int64_t n = 1; n <= loading; ++n) {
    q7test::AllocGate allocations;
    allocations.fail(n);
    EXPECT_FALSE(load(Q7C_IFF)) << n;
  }
  EXPECT_EQ(Q7ClassFind(Q7C_IFF)->ninstances, 0u);
  EXPECT_EQ(Q7ClassFind(990)->ninstances, 1u);
}

TEST_F(Fault, CopyingNeverClaimsWhatIsNotThere) {
  const std::string content(20000, 'c');
  write_file(path("a"), content);
  const std::string from = path("a"), to = path("b");
  const auto copy = [&] { return send(file_class(), Q7M_FILE_COPY, arg(from.c_str()), 0, slot(to.c_str())) != 0; };
  gate.on = true;
  ASSERT_TRUE(copy());
  const int calls = gate.calls;
  for (gate.fail_at = 1; gate.fail_at <= calls; ++gate.fail_at) {
    write_file(path("b"), "old");
    gate.calls = 0;
    if (copy()) {
      EXPECT_EQ(read_file(path("b")), content) << gate.fail_at;
    }
  }
}

}  // namespace
