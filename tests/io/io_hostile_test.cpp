// io_hostile: files and peers that lie. Every case must end by itself, keep memory whole (the suite runs under the
// address sanitizer) and leave no object behind. Damage is made from good files by a generator with a fixed seed.
#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>
#include <zlib.h>

#include <random>
#include <thread>

#include "tests/io/io_test.h"

namespace {

using namespace iotest;
using q7test::write_file;

std::string number(uint64_t value, int size) {
  std::string text;
  for (int i = size; i-- > 0;) text += static_cast<char>(value >> (8 * i));
  return text;
}
std::string chunk(const char *id, const std::string &content, int size) {
  std::string padded = content;
  if (padded.size() & 1) padded += '\0';
  return id + number(padded.size(), size) + padded;
}

std::string good_file(int size) {
  const std::string values = chunk("VALS", number(0x0102030405060708, 8) + number(7, 4) + number(1, 2), size);
  const std::string nested =
      chunk("LIST", chunk("ODD ", "abc", size) + chunk("NAME", number(5, 2) + std::string("name\0", 5), size), size);
  return chunk(size == 8 ? "Q7D8" : "FORM", "scen" + values + nested + chunk("LAST", "", size), size);
}

class Hostile : public iotest::Test {
 protected:
  // Reads a file as a program would that knows nothing: enters what it can, reads a little of each kind, leaves or
  // skips.
  void walk(const std::string &content) {
    const std::string name = path("f");
    write_file(name, content);
    uint32_t id = 0, form = 0;
    int32_t error = 0;
    Object iff(Q7C_IFF, {{Q7A_FILE_NAME, arg(name.c_str())},
                         {Q7A_FILE_MODE, arg("r")},
                         {Q7A_IFF_ID, arg(&id)},
                         {Q7A_IFF_FORM, arg(&form)},
                         {512, arg(&error)}});
    if (!iff) {
      EXPECT_TRUE(error == 127500 || error == 127502 || error == 127503) << error;
      return;
    }
    char text[64];
    for (int step = 0; step < 200; ++step) {
      const bool entered = put(iff, Q7M_IFF_BEGIN_READ, &id) != 0;
      uint64_t value = 0;
      put(iff, Q7M_FILE_READ_SIZE, &value);
      put(iff, Q7M_FILE_READ16, &value);
      send(iff, Q7M_FILE_READ_COUNTED, sizeof text, 0, slot(text));
      call(iff, Q7M_FILE_READ_STRING, {{Q7A_FILE_BUFFER, arg(text)}, {Q7A_FILE_LENGTH, sizeof text}});
      if (entered || step > 100) send(iff, step % 3 ? Q7M_IFF_SKIP : Q7M_IFF_END_READ);
    }
  }
};

TEST_F(Hostile, FilesCutAtEveryByte) {
  for (int size : {4, 8}) {
    const std::string content = good_file(size);
    for (size_t cut = 0; cut <= content.size(); cut += 3) walk(content.substr(0, cut));
  }
}

TEST_F(Hostile, FilesWithDamagedBytes) {
  std::mt19937 random(7);
  for (int round = 0; round < 60; ++round) {
    std::string content = good_file(round % 2 ? 4 : 8);
    for (int i = 0; i < 4; ++i) content[random() % content.size()] = static_cast<char>(random());
    walk(content);
  }
}

TEST_F(Hostile, SizesBeyondTheFileAndWithTheTopBitSet) {
  for (uint64_t size :
       {uint64_t{0x7FFFFFFF}, uint64_t{0x80000000}, uint64_t{0xFFFFFFFF}, uint64_t{1} << 63, ~uint64_t{0}}) {
    walk("Q7D8" + number(size, 8) + "scen");
    walk("Q7D8" + number(100, 8) + "scen" + "BIG " + number(size, 8) + "contents");
    walk("FORM" + number(size, 4) + "scen");
    walk("FORM" + number(100, 4) + "scen" + "BIG " + number(size, 4) + "contents");
  }
}

TEST_F(Hostile, ObjectStreamsWithDamagedBytes) {
  Q7ClassCreate(Q7C_ROOT, 990, nullptr, 8, Q7CT_NAME, arg("thing"), 0);
  Q7Object *thing = Q7ObjectCreate(990, Q7A_NAME, arg("cube"), 0);
  {
    File file(path("good"), "w");
    Q7ObjectSave(thing, Q7A_STREAM, arg(static_cast<Q7Object *>(file)), 0);
  }
  Q7ObjectDelete(thing);
  const std::string content = q7test::read_file(path("good"));
  for (size_t at = 0; at < content.size(); ++at) {
    for (int value : {0, 1, 0x7F, 0xFF}) {
      std::string damaged = content;
      damaged[at] = static_cast<char>(value);
      write_file(path("f"), damaged.substr(0, value == 1 ? at + 1 : damaged.size()));
      File file(path("f"), "r");
      if (Q7Object *loaded = Q7ObjectLoad(file, 0)) Q7ObjectDelete(loaded);
    }
  }
  EXPECT_EQ(Q7ClassFind(990)->ninstances, 0u);
}

// ---- Peers ----

// Sends bytes to a client object and closes; the object reads until its stream is dead.
void feed(const std::string &content) {
  const int listener = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr *>(&address), size), 0);
  ASSERT_EQ(listen(listener, 1), 0);
  getsockname(listener, reinterpret_cast<sockaddr *>(&address), &size);
  Object client(
      Q7C_FILE,
      {{Q7A_FILE_MODE, arg("c")}, {Q7A_FILE_HOST, arg("127.0.0.1")}, {Q7A_FILE_PORT, ntohs(address.sin_port)}});
  const int far = accept(listener, nullptr, nullptr);
  close(listener);
  ASSERT_NE(client, nullptr);
  for (size_t done = 0; done < content.size();) {
    const ssize_t n = write(far, content.data() + done, content.size() - done);
    ASSERT_GT(n, 0);
    done += static_cast<size_t>(n);
  }
  close(far);
  std::string buffer(100000, 0);
  for (int i = 0; i < 1000 && !get<int32_t>(client, Q7A_FILE_DEAD); ++i) {
    call(client, Q7M_FILE_READ, {{Q7A_FILE_BUFFER, arg(buffer.data())}, {Q7A_FILE_LENGTH, buffer.size()}});
  }
  EXPECT_EQ(get<int32_t>(client, Q7A_FILE_DEAD), 1);
}

TEST_F(Hostile, PeersWithDamagedBlocks) {
  std::mt19937 random(11);
  std::string text(5000, 'a');
  for (char &c : text) c = static_cast<char>(random() % 8);
  uLongf size = compressBound(text.size());
  std::string packed(size, 0);
  ASSERT_EQ(compress(reinterpret_cast<Bytef *>(packed.data()), &size, reinterpret_cast<const Bytef *>(text.data()),
                     text.size()),
            Z_OK);
  packed.resize(size);
  const std::string good = number(packed.size(), 4) + '\1' + packed + number(4, 4) + std::string("\0abcd", 5);
  for (int round = 0; round < 40; ++round) {
    std::string damaged = good;
    for (int i = 0; i < 3; ++i) damaged[random() % (round % 2 ? 12 : damaged.size())] = static_cast<char>(random());
    feed(damaged);
  }
}

TEST_F(Hostile, BlockLengthsUpToFourGibibytes) {
  for (uint64_t length : {0ull, 1ull, 10777395ull, 10777396ull, 0x7FFFFFFFull, 0x80000000ull, 0xFFFFFFFFull}) {
    for (char flag : {'\0', '\1', '\xFF'}) feed(number(length, 4) + flag + "some bytes");
  }
}

TEST_F(Hostile, LongHostNames) {
  const std::string host(5000, 'h');
  Object client(Q7C_FILE, {{Q7A_FILE_MODE, arg("c")}, {Q7A_FILE_HOST, arg(host.c_str())}, {Q7A_FILE_PORT, 80}});
  EXPECT_EQ(client, nullptr);
}

}  // namespace
