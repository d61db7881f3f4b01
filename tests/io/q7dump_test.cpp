// q7dump: the program as a user calls it: what it prints, where, and its exit status.
#include <sys/wait.h>

#include "tests/support/test_support.h"

namespace {

using q7test::read_file;
using q7test::write_file;
using ::testing::HasSubstr;

class Dump : public q7test::Test {
 protected:
  // Runs the program on a file called f; answers the exit status.
  int run(const std::string &content, const std::string &options = "") {
    write_file(home() / "f", content);
    const std::string command = "cd '" + home().string() + "' && '" Q7_DUMP "' " + options + " f > out 2> err";
    const int status = std::system(command.c_str());
    out_ = read_file(home() / "out");
    err_ = read_file(home() / "err");
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  std::string out_, err_;
};

std::string size4(uint32_t n) {
  return {static_cast<char>(n >> 24), static_cast<char>(n >> 16), static_cast<char>(n >> 8), static_cast<char>(n)};
}
// Class 990 version 3 below the root class, named "cube", highest byte first: 23 bytes and the pad.
const std::string kObject(
    "\0\0\x03\xDE\0\0\x03\xDE\0\x03\0\0\0\0\0\x01\0\x05"
    "cube\0\0",
    24);
const std::string kFile = "FORM" + size4(4 + 32 + 20) + "scen" + "OBJ " + size4(24) + kObject + "LIST" + size4(12) +
                          "ODD " + size4(4) + std::string("abc\0", 4);

TEST_F(Dump, Tree) {
  EXPECT_EQ(run(kFile), 0);
  EXPECT_EQ(out_,
            "f: chunked file, 64 bytes\n"
            "         0    FORM  56  scen\n"
            "        12      OBJ   24\n"
            "        20      object \"cube\", data at 43: 990 v3 0 (q7root) v1\n"
            "        44      LIST  12\n"
            "        52        ODD   4\n");
  EXPECT_THAT(err_, ::testing::Not(HasSubstr("q7dump: ")));
}

TEST_F(Dump, Json) {
  EXPECT_EQ(run(kFile, "--json"), 0);
  EXPECT_EQ(
      out_,
      "{\"file\":\"f\",\"size\":64,\"kind\":\"chunked file\",\"chunks\":["
      "{\"id\":\"FORM\",\"offset\":0,\"size\":56,\"form\":\"scen\",\"chunks\":["
      "{\"id\":\"OBJ \",\"offset\":12,\"size\":24,\"object\":{\"offset\":20,\"class\":990,\"name\":\"cube\","
      "\"data\":43,\"chain\":[{\"class\":990,\"version\":3},{\"class\":0,\"version\":1}]}},"
      "{\"id\":\"LIST\",\"offset\":44,\"size\":12,\"chunks\":[{\"id\":\"ODD \",\"offset\":52,\"size\":4}]}]}]}\n");
}

TEST_F(Dump, ObjectStream) {
  const std::string object(
      "\xDE\x03\0\0\xDE\x03\0\0\x03\0\0\0\0\0\x01\0\x05\0"
      "cube\0data",
      27);
  EXPECT_EQ(run(object), 0);
  EXPECT_EQ(out_, "f: object stream, 27 bytes\n         0  object \"cube\", data at 23: 990 v3 0 (q7root) v1\n");
}

TEST_F(Dump, DamagedFiles) {
  for (size_t cut = 0; cut < kFile.size(); ++cut) {
    EXPECT_EQ(run(kFile.substr(0, cut)), 1) << cut;
    EXPECT_THAT(err_, HasSubstr("q7dump: f: "));
  }
  EXPECT_EQ(run(kFile + "x"), 1);
  EXPECT_THAT(err_, HasSubstr("q7dump: f: 1 bytes at offset 64 lie behind the file's chunk\n"));
  std::string wrong = kFile;
  wrong[16] = '\x7F';
  EXPECT_EQ(run(wrong), 1);
  EXPECT_THAT(err_, HasSubstr("chunk \"OBJ \" at offset 12 ends"));
}

TEST_F(Dump, DeepNesting) {
  std::string content = "FORM" + size4(4 + 8 * 20000) + "scen";
  for (uint32_t i = 20000; i-- > 0;) content += "DEEP" + size4(8 * i);
  EXPECT_EQ(run(content, "--json"), 0);
}

TEST_F(Dump, HelpAndUsage) {
  EXPECT_EQ(run("", "--help"), 0);
  EXPECT_THAT(out_, HasSubstr("--json"));
  EXPECT_NE(run("", "--nonsense"), 0);
  EXPECT_EQ(run(kFile, "missing"), 1);
  EXPECT_THAT(err_, HasSubstr("q7dump: missing: cannot be opened\n"));
}

}  // namespace
