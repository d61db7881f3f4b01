// q7fcm: the requests to the file system, sent to the class record as the library's own modules do.
#include "io/q7fcm.h"

#include <arpa/inet.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utime.h>

#include "tests/io/io_test.h"

namespace {

using namespace iotest;
using q7test::read_file;
using q7test::write_file;

class Fcm : public iotest::Test {
 protected:
  static uint64_t one(uint32_t method, const std::string &path) { return put(file_class(), method, path.c_str()); }
  static uint64_t two(uint32_t method, const std::string &a, const std::string &b) {
    return send(file_class(), method, arg(a.c_str()), 0, slot(b.c_str()));
  }
};

TEST_F(Fcm, StatusFillsSizeChangeAndModification) {
  write_file(path("f"), "12345");
  const utimbuf times = {1000, 123456789};
  ASSERT_EQ(utime(path("f").c_str(), &times), 0);
  struct stat expected;
  ASSERT_EQ(stat(path("f").c_str(), &expected), 0);
  Q7FileStatus status = {};
  EXPECT_EQ(send(file_class(), Q7M_FILE_STATUS, arg(path("f").c_str()), 0, slot(&status)), 1u);
  EXPECT_EQ(status.size, 5u);
  EXPECT_EQ(status.changed, static_cast<uint32_t>(expected.st_ctime));
  EXPECT_EQ(status.modified, 123456789u);
  EXPECT_EQ(sizeof status, 16u);
}

TEST_F(Fcm, StatusOfWhatIsNotThereIsZero) {
  Q7FileStatus status = {};
  const std::string name = path("missing");
  EXPECT_EQ(send(file_class(), Q7M_FILE_STATUS, arg(name.c_str()), 0, slot(&status)), 0u);
}

TEST_F(Fcm, Rename) {
  write_file(path("a"), "x");
  EXPECT_EQ(two(Q7M_FILE_RENAME, path("a"), path("b")), 1u);
  EXPECT_EQ(read_file(path("b")), "x");
  EXPECT_EQ(two(Q7M_FILE_RENAME, path("a"), path("b")), 0u);
}

TEST_F(Fcm, RemoveTakesFilesOnly) {
  write_file(path("a"), "x");
  EXPECT_EQ(one(Q7M_FILE_REMOVE, path("a")), 1u);
  EXPECT_FALSE(std::filesystem::exists(path("a")));
  EXPECT_EQ(one(Q7M_FILE_REMOVE, path("a")), 0u);
  mkdir(path("d").c_str(), 0755);
  EXPECT_EQ(one(Q7M_FILE_REMOVE, path("d")), 0u);
}

TEST_F(Fcm, HostName) {
  char expected[256];
  ASSERT_EQ(gethostname(expected, sizeof expected), 0);
  char name[256] = "";
  EXPECT_EQ(send(file_class(), Q7M_FILE_HOST_NAME, sizeof name, 0, slot(name)), 1u);
  EXPECT_STREQ(name, expected);
  EXPECT_EQ(send(file_class(), Q7M_FILE_HOST_NAME, 0, 0, slot(name)), 0u);
}

TEST_F(Fcm, MakeFolderWithMissingParents) {
  const mode_t old = umask(0);
  EXPECT_EQ(one(Q7M_FILE_MAKE_FOLDER, path("p/q/r")), 1u);
  umask(old);
  struct stat made;
  for (const char *name : {"p", "p/q", "p/q/r"}) {
    ASSERT_EQ(stat(path(name).c_str(), &made), 0) << name;
    EXPECT_EQ(made.st_mode & 07777, 0755u);
  }
}

TEST_F(Fcm, MakeFolderThatExistsIsZero) {
  EXPECT_EQ(one(Q7M_FILE_MAKE_FOLDER, path("p")), 1u);
  EXPECT_EQ(one(Q7M_FILE_MAKE_FOLDER, path("p")), 0u);
}

TEST_F(Fcm, MakeFolderWithoutASeparatorCreatesNothing) {
  ASSERT_EQ(chdir(home().c_str()), 0);
  EXPECT_EQ(one(Q7M_FILE_MAKE_FOLDER, "plain"), 0u);
  EXPECT_FALSE(std::filesystem::exists(path("plain")));
  ASSERT_EQ(chdir("/"), 0);
}

TEST_F(Fcm, MakeFolderNeverMakesTheFirstPartOfARelativePath) {
  ASSERT_EQ(chdir(home().c_str()), 0);
  EXPECT_EQ(one(Q7M_FILE_MAKE_FOLDER, "a/b/c"), 0u);
  EXPECT_FALSE(std::filesystem::exists(path("a")));
  mkdir("a", 0755);
  EXPECT_EQ(one(Q7M_FILE_MAKE_FOLDER, "a/b/c"), 1u);
  EXPECT_TRUE(std::filesystem::is_directory(path("a/b/c")));
  ASSERT_EQ(chdir("/"), 0);
}

TEST_F(Fcm, CopyReplacesTheDestinationAndLeavesNoTemporaryFile) {
  std::string content(10000, 'c');
  content[4096] = 0;
  write_file(path("a"), content);
  write_file(path("b"), "old and longer");
  EXPECT_EQ(two(Q7M_FILE_COPY, path("a"), path("b")), 1u);
  EXPECT_EQ(read_file(path("b")), content);
  EXPECT_FALSE(std::filesystem::exists(path("b_temp")));
}

TEST_F(Fcm, CopyOntoTheSameNameLeavesTheFileAsItIs) {
  write_file(path("a"), "content");
  EXPECT_EQ(two(Q7M_FILE_COPY, path("a"), path("a")), 0u);
  EXPECT_EQ(read_file(path("a")), "content");
}

TEST_F(Fcm, CopyOntoTheSameFileUnderAnotherName) {
  write_file(path("a"), "content");
  EXPECT_EQ(two(Q7M_FILE_COPY, path("a"), path("./a")), 1u);
  EXPECT_EQ(read_file(path("a")), "content");
}

TEST_F(Fcm, CopyOfAMissingSourceKeepsTheDestination) {
  write_file(path("b"), "old");
  EXPECT_EQ(two(Q7M_FILE_COPY, path("a"), path("b")), 0u);
  EXPECT_EQ(read_file(path("b")), "old");
  EXPECT_FALSE(std::filesystem::exists(path("b_temp")));
}

TEST_F(Fcm, CopyOfAFolderKeepsTheDestination) {
  mkdir(path("d").c_str(), 0755);
  write_file(path("b"), "old");
  EXPECT_EQ(two(Q7M_FILE_COPY, path("d"), path("b")), 0u);
  EXPECT_EQ(read_file(path("b")), "old");
}

TEST_F(Fcm, CopyWithoutRoomForTheTemporaryFile) {
  write_file(path("a"), "x");
  EXPECT_EQ(two(Q7M_FILE_COPY, path("a"), path("missing/b")), 0u);
}

TEST_F(Fcm, CopyOntoAFolderRemovesTheTemporaryFile) {
  write_file(path("a"), "x");
  mkdir(path("d").c_str(), 0755);
  EXPECT_EQ(two(Q7M_FILE_COPY, path("a"), path("d")), 0u);
  EXPECT_FALSE(std::filesystem::exists(path("d_temp")));
}

TEST_F(Fcm, RemoveFolderTakesEmptyOnesOnly) {
  mkdir(path("d").c_str(), 0755);
  write_file(path("d/f"), "x");
  EXPECT_EQ(one(Q7M_FILE_REMOVE_FOLDER, path("d")), 0u);
  unlink(path("d/f").c_str());
  EXPECT_EQ(one(Q7M_FILE_REMOVE_FOLDER, path("d")), 1u);
  EXPECT_FALSE(std::filesystem::exists(path("d")));
}

TEST_F(Fcm, IsFolder) {
  write_file(path("f"), "x");
  EXPECT_EQ(one(Q7M_FILE_IS_FOLDER, home().string()), 1u);
  EXPECT_EQ(one(Q7M_FILE_IS_FOLDER, path("f")), 0u);
  EXPECT_EQ(one(Q7M_FILE_IS_FOLDER, path("missing")), 0u);
}

TEST_F(Fcm, CurrentFolder) {
  ASSERT_EQ(chdir(home().c_str()), 0);
  char buffer[256];
  EXPECT_EQ(send(file_class(), Q7M_FILE_CURRENT_FOLDER, sizeof buffer, 0, slot(buffer)), 1u);
  EXPECT_EQ(std::filesystem::path(buffer), std::filesystem::canonical(home()));
  EXPECT_EQ(send(file_class(), Q7M_FILE_CURRENT_FOLDER, 3, 0, slot(buffer)), 0u);
  ASSERT_EQ(chdir("/"), 0);
}

TEST_F(Fcm, HostIp) {
  EXPECT_EQ(Q7GetHostIp("127.0.0.1"), htonl(0x7F000001));
  EXPECT_EQ(Q7GetHostIp("1.2.3.4"), htonl(0x01020304));
  EXPECT_EQ(Q7GetHostIp("localhost"), htonl(0x7F000001));
  EXPECT_EQ(Q7GetHostIp("no such host.invalid"), 0u);
  EXPECT_EQ(Q7GetHostIp(""), 0u);
  EXPECT_EQ(Q7GetHostIp(nullptr), 0u);
  EXPECT_EQ(one(Q7M_FILE_HOST_IP, "1.2.3.4"), htonl(0x01020304));
}

TEST_F(Fcm, HostOfIp) {
  char name[256] = "";
  if (send(file_class(), Q7M_FILE_HOST_OF_IP, htonl(0x7F000001), 0, slot(name))) {
    EXPECT_NE(name[0], 0);
  }
  EXPECT_EQ(send(file_class(), Q7M_FILE_HOST_OF_IP, htonl(0x7F000001), 0, nullptr), 0u);
}

TEST_F(Fcm, Exists) {
  write_file(path("f"), "");
  EXPECT_EQ(q7fcm_exists(nullptr, 0, path("f").c_str()), 1);
  EXPECT_EQ(q7fcm_exists(nullptr, 0, (home().string() + "/").c_str()), 1);
  EXPECT_EQ(q7fcm_exists(nullptr, 0, (home().string() + "\\").c_str()), 1);
  EXPECT_EQ(q7fcm_exists(nullptr, 0, "/"), 1);
  EXPECT_EQ(q7fcm_exists(nullptr, 0, path("missing").c_str()), 0);
  EXPECT_EQ(q7fcm_exists(nullptr, 0, ""), 0);
  EXPECT_EQ(q7fcm_exists(nullptr, 0, nullptr), 0);
}

TEST_F(Fcm, CleanupRemovesWhatIsOlder) {
  const auto make = [&](time_t age) {
    write_file(path("old"), "x");
    const utimbuf times = {time(nullptr) - age, time(nullptr) - age};
    ASSERT_EQ(utime(path("old").c_str(), &times), 0);
  };
  make(1000);
  EXPECT_EQ(Q7CleanupHook(1, path("old").c_str(), nullptr), 1);
  EXPECT_TRUE(std::filesystem::exists(path("old")));
  EXPECT_EQ(Q7CleanupHook(0, path("old").c_str(), reinterpret_cast<void *>(2000)), 1);
  EXPECT_TRUE(std::filesystem::exists(path("old")));
  EXPECT_EQ(Q7CleanupHook(0, path("old").c_str(), reinterpret_cast<void *>(500)), 1);
  EXPECT_FALSE(std::filesystem::exists(path("old")));
  EXPECT_EQ(Q7CleanupHook(0, path("old").c_str(), nullptr), 1);
  make(-1000);  // from the future
  EXPECT_EQ(Q7CleanupHook(0, path("old").c_str(), nullptr), 1);
  EXPECT_TRUE(std::filesystem::exists(path("old")));
}

TEST_F(Fcm, LongNamesAndNullsFail) {
  const std::string name = "/" + std::string(600, 'n');
  char buffer[256];
  for (uint32_t method : {Q7M_FILE_REMOVE, Q7M_FILE_MAKE_FOLDER, Q7M_FILE_REMOVE_FOLDER, Q7M_FILE_IS_FOLDER}) {
    EXPECT_EQ(one(method, name), 0u);
    EXPECT_EQ(put(file_class(), method, nullptr), 0u);
  }
  for (uint32_t method : {Q7M_FILE_STATUS, Q7M_FILE_RENAME, Q7M_FILE_COPY}) {
    EXPECT_EQ(send(file_class(), method, arg(name.c_str()), 0, slot(buffer)), 0u);
    EXPECT_EQ(send(file_class(), method, 0, 0, nullptr), 0u);
  }
  EXPECT_EQ(q7fcm_exists(nullptr, 0, name.c_str()), 0);
}

}  // namespace
