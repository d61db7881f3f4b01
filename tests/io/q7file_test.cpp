// q7file: the file class on disk files. Contents are compared with bytes written by hand.
#include "io/q7file.h"

#include <sys/stat.h>
#include <unistd.h>

#include "app/q7errdb.h"
#include "io/q7socket.h"
#include "tests/io/io_test.h"

namespace {

using namespace iotest;
using q7test::read_file;
using q7test::write_file;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class FileTest : public iotest::Test {};

// ---- Registration ----

TEST_F(FileTest, ClassRecord) {
  const Q7Class *cl = Q7ClassFind(Q7C_FILE);
  ASSERT_NE(cl, nullptr);
  EXPECT_STREQ(cl->header.name, "q7file");
  EXPECT_STREQ(cl->description, "Files and sockets");
  EXPECT_STREQ(cl->organisation, "Karmonic");
  EXPECT_STREQ(cl->module, "q7common");
  EXPECT_EQ(cl->super->header.clid, 0u);
  EXPECT_NE(cl->pubattrs, nullptr);
  EXPECT_STREQ(cl->catalog[0].key, "StartupError");
  EXPECT_STREQ(cl->catalog[0].text, "Startup error: %s\n");
  EXPECT_EQ(Q7RegisterFileClass(app()), 1);
}

TEST_F(FileTest, ClassesGiveNoVersion) {
  EXPECT_EQ(Q7ClassFind(Q7C_FILE)->version, 0u);
  EXPECT_EQ(Q7ClassFind(Q7C_IFF)->version, 0u);
}

TEST_F(FileTest, OpensACatalogueOfTenEntries) {
  EXPECT_THAT(fake::calls("Q7AppOpenLocale"), ::testing::Contains("Q7AppOpenLocale(q7common, q7file, 10)"));
}

TEST_F(FileTest, ErrorTexts) {
  const std::pair<int, const char *> texts[] = {{5500, "No error"},
                                                {5501, "No such file or directory"},
                                                {5502, "Permission denied for file or directory"},
                                                {5503, "Can not open a directory"},
                                                {5504, "Can not write on a read only file system"},
                                                {5505, "File seems to be truncated"},
                                                {5506, "File is getting too big"},
                                                {5507, "No more space left on disk"},
                                                {5508, "Unknown system error"},
                                                {5509, "Timeout"}};
  File file(path("f"), "w");
  for (const auto &[id, text] : texts) {
    char buffer[512];
    EXPECT_EQ(send(file, Q7M_FILE_ERROR_TEXT, id, arg(buffer), nullptr), 1u);
    EXPECT_STREQ(buffer, text);
  }
}

TEST_F(FileTest, ErrorTextTakesItsArgument) {
  File file(path("f"), "w");
  char buffer[512];
  EXPECT_EQ(send(file, Q7M_FILE_ERROR_TEXT, 127500, arg(buffer), slot("a.q7d")), 1u);
  EXPECT_STREQ(buffer, "Format of 'a.q7d' not recognized");
}

TEST_F(FileTest, ErrorTextOfAnUnknownIdIsEmpty) {
  File file(path("f"), "w");
  char buffer[512] = "x";
  EXPECT_EQ(send(file, Q7M_FILE_ERROR_TEXT, 1, arg(buffer), nullptr), 0u);
  EXPECT_STREQ(buffer, "");
}

TEST_F(FileTest, ErrorTextsAreNoFormatsForPrintf) {
  Q7Object *database = &Q7ClassFind(Q7C_ERRDB)->header;
  send(database, Q7M_ERRDB_REGISTER, 990001, 0, slot("%n %s %s 100%% %5d %"));
  send(database, Q7M_ERRDB_REGISTER, 990002, 0, slot("code %d"));
  const std::string longer(600, 'l');
  File file(path("f"), "w");
  char buffer[512];
  EXPECT_EQ(send(file, Q7M_FILE_ERROR_TEXT, 990001, arg(buffer), slot("A")), 1u);
  EXPECT_STREQ(buffer, "%n A %s 100% %5d %");
  EXPECT_EQ(send(file, Q7M_FILE_ERROR_TEXT, 990002, arg(buffer), slot(-7)), 1u);
  EXPECT_STREQ(buffer, "code -7");
  EXPECT_EQ(send(file, Q7M_FILE_ERROR_TEXT, 127500, arg(buffer), slot(longer.c_str())), 1u);
  EXPECT_EQ(std::strlen(buffer), 511u);
}

TEST_F(FileTest, ErrorTextsTakeWidthsAndWideNumbers) {
  Q7Object *database = &Q7ClassFind(Q7C_ERRDB)->header;
  File file(path("f"), "w");
  char buffer[512];
  const auto shown = [&](const char *text, uint64_t argument) {
    send(database, Q7M_ERRDB_REGISTER, 990003, 0, slot(text));
    EXPECT_EQ(send(file, Q7M_FILE_ERROR_TEXT, 990003, arg(buffer), slot(argument)), 1u);
    return std::string(buffer);
  };
  EXPECT_EQ(shown("[%5d]", 42), "[   42]");
  EXPECT_EQ(shown("[%-6s]", arg("ab")), "[ab    ]");
  EXPECT_EQ(shown("[%.2s]", arg("abc")), "[ab]");
  EXPECT_EQ(shown("[%08lx]", 0x123456789), "[123456789]");
  EXPECT_EQ(shown("[%ld] %d", uint64_t(int64_t{-5000000000})), "[-5000000000] %d");
  EXPECT_EQ(shown("100%% of %c", 'x'), "100% of x");
  EXPECT_EQ(shown("%f %d", 7), "%f 7");
  EXPECT_EQ(shown("%", 7), "%");
  EXPECT_EQ(shown("%9999d", 7), "%9999d");
  EXPECT_EQ(shown("%.*s", arg("abc")), "%.*s");
}

TEST_F(FileTest, TimeoutIsAClassAttribute) {
  int32_t seconds = 0;
  EXPECT_EQ(Q7GetClassAttrs(Q7C_FILE, Q7A_FILE_TIMEOUT, arg(&seconds), 0), 0);
  EXPECT_EQ(seconds, 60);
  EXPECT_EQ(Q7SetClassAttrs(Q7C_FILE, Q7A_FILE_TIMEOUT, uint64_t{5}, 0), 0);
  EXPECT_EQ(Q7GetClassAttrs(Q7C_FILE, Q7A_FILE_TIMEOUT, arg(&seconds), 0), 0);
  EXPECT_EQ(seconds, 5);
  uint32_t id = 0;
  EXPECT_EQ(Q7GetClassAttrs(Q7C_FILE, Q7CT_ID, arg(&id), 0), 0);
  EXPECT_EQ(id, 5u);
  EXPECT_EQ(Q7GetClassAttrs(Q7C_FILE, 5999, arg(&seconds), 0), 1);
}

// ---- Opening ----

TEST_F(FileTest, OpensForWritingAndStoresThePath) {
  char opened[256] = "";
  const std::string name = path("f");
  Tags tags = file_tags(name, "w");
  tags.push_back({Q7A_FILE_OPENED_PATH, arg(opened)});
  Object file(Q7C_FILE, tags);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(opened, name);
  EXPECT_EQ(get<const char *>(file, Q7A_FILE_NAME), name);
  EXPECT_STREQ(get<const char *>(file, Q7A_FILE_MODE), "w");
  EXPECT_EQ(error_of(file), 0);
}

TEST_F(FileTest, FailedOpeningStores5501) {
  int32_t error = 0;
  const std::string name = path("missing");
  Tags tags = file_tags(name, "r");
  tags.push_back({512, arg(&error)});
  EXPECT_EQ(Q7ObjectCreateA(Q7C_FILE, list(tags).data()), nullptr);
  EXPECT_EQ(error, 5501);
  EXPECT_EQ(Q7ClassFind(Q7C_FILE)->ninstances, 0u);
  EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(FileTest, FailedOpeningLeavesNoObjectInAList) {
  Q7List objects;
  Q7NewList(&objects);
  const std::string name = path("missing");
  Tags tags = file_tags(name, "r");
  tags.push_back({Q7A_ADD_TO_LIST, arg(&objects)});
  EXPECT_EQ(Q7ObjectCreateA(Q7C_FILE, list(tags).data()), nullptr);
  EXPECT_EQ(Q7NodeCount(&objects), 0);
}

TEST_F(FileTest, OpeningFailuresAreAll5501) {
  mkdir(path("d").c_str(), 0755);
  const std::string folder = path("d");
  const std::string longer = path(std::string(300, 'n'));
  const std::pair<const char *, const char *> cases[] = {{folder.c_str(), "w"},
                                                         {"", "r"},
                                                         {nullptr, "r"},
                                                         {longer.c_str(), "w"},
                                                         {folder.c_str(), nullptr},
                                                         {"/proc/x", "w"},
                                                         {folder.c_str(), "nonsense"},
                                                         {"x", "c"},
                                                         {"x", "r,ccs=UTF-8"},
                                                         {"x", "rrrrrrrrrrrrrrrrrrrr"}};
  for (const auto &[name, mode] : cases) {
    int32_t error = 0;
    const Tags tags = {{Q7A_FILE_NAME, arg(name)}, {Q7A_FILE_MODE, arg(mode)}, {512, arg(&error)}};
    EXPECT_EQ(Q7ObjectCreateA(Q7C_FILE, list(tags).data()), nullptr) << (name ? name : "null");
    EXPECT_EQ(error, 5501);
  }
}

TEST_F(FileTest, ANameThatIsTooLongIsNotCutToAnotherFile) {
  const std::string folder = home().string() + "/";
  const std::string cut = folder + std::string(255 - folder.size(), 'n');
  write_file(cut, "another");
  EXPECT_NE(File(cut, "r"), nullptr);
  EXPECT_EQ(File(cut + "n", "r"), nullptr);
}

TEST_F(FileTest, SecondFolderOfTheSearchPath) {
  mkdir(path("one").c_str(), 0755);
  mkdir(path("two").c_str(), 0755);
  write_file(path("two/f"), "found");
  const std::string search = path("one") + ";" + path("two") + "/;" + path("three");
  char opened[256] = "";
  const Tags tags = {{Q7A_FILE_NAME, arg("f")},
                     {Q7A_FILE_MODE, arg("r")},
                     {Q7A_FILE_SEARCH_PATH, arg(search.c_str())},
                     {Q7A_FILE_OPENED_PATH, arg(opened)}};
  Object file(Q7C_FILE, tags);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(opened, path("two") + "/f");
  EXPECT_EQ(get<const char *>(file, Q7A_FILE_NAME), path("two") + "/f");
}

TEST_F(FileTest, TheNameAsGivenGoesBeforeTheSearchPath) {
  mkdir(path("one").c_str(), 0755);
  write_file(path("one/f"), "wrong");
  write_file(path("f"), "right");
  const std::string name = path("f");
  const std::string search = path("one");
  Tags tags = file_tags(name, "r");
  tags.push_back({Q7A_FILE_SEARCH_PATH, arg(search.c_str())});
  Object file(Q7C_FILE, tags);
  EXPECT_EQ(send(file, Q7M_FILE_GET), static_cast<uint64_t>('r'));
}

TEST_F(FileTest, SearchPathOfTenKibibytes) {
  write_file(path("f"), "x");
  std::string search;
  while (search.size() < 10240) search += "/nowhere;;" + std::string(300, 'l') + ";";
  const std::string with_folder = search + home().string();
  for (const auto &[text, found] : {std::pair{search, false}, {with_folder, true}}) {
    const Tags tags = {{Q7A_FILE_NAME, arg("f")}, {Q7A_FILE_MODE, arg("r")}, {Q7A_FILE_SEARCH_PATH, arg(text.c_str())}};
    Object file(Q7C_FILE, tags);
    EXPECT_EQ(file != nullptr, found);
  }
}

TEST_F(FileTest, ReopeningKeepsTheObject) {
  write_file(path("b"), "B");
  File file(path("a"), "w");
  put(file, Q7M_FILE_WRITE8, 'A');
  const std::string name = path("b");
  EXPECT_EQ(call(file, Q7M_FILE_OPEN, file_tags(name, "r")), 1u);
  EXPECT_EQ(read_file(path("a")), "A");
  EXPECT_EQ(send(file, Q7M_FILE_GET), static_cast<uint64_t>('B'));
  const std::string missing = path("missing");
  EXPECT_EQ(call(file, Q7M_FILE_OPEN, file_tags(missing, "r")), 0u);
  EXPECT_EQ(error_of(file), 5501);
  EXPECT_EQ(send(file, Q7M_FILE_GET), kMinusOne);
}

TEST_F(FileTest, FileOpenOfANewObject) {
  Q7Class *cl = Q7ClassFind(Q7C_FILE);
  Q7TagItem none[] = {{0, 0}};
  auto *obj = reinterpret_cast<Q7Object *>(cl->superdispatch(cl->super, &cl->header, Q7M_NEW, 0, 0, none));
  const std::string name = path("f");
  EXPECT_EQ(Q7FileOpen(cl, obj, list(file_tags(name, "w")).data(), 1), 1);
  EXPECT_EQ(send(obj, Q7M_DISPOSE), 1u);
  obj = reinterpret_cast<Q7Object *>(cl->superdispatch(cl->super, &cl->header, Q7M_NEW, 0, 0, none));
  EXPECT_EQ(Q7FileOpen(cl, obj, list(file_tags(name, "x")).data(), 1), 0);
  EXPECT_EQ(cl->ninstances, 0u);
  EXPECT_EQ(Q7FileOpen(nullptr, nullptr, nullptr, 1), 0);
}

// ---- Values ----

TEST_F(FileTest, ValuesAreStoredInTheHostsOrder) {
  {
    File file(path("f"), "w");
    const double one = 1.0;
    EXPECT_EQ(put(file, Q7M_FILE_WRITE32, 0x01020304u), 1u);
    EXPECT_EQ(put(file, Q7M_FILE_WRITE32_B, 0x05060708u), 1u);
    EXPECT_EQ(put(file, Q7M_FILE_WRITE16, 0x090Au), 1u);
    EXPECT_EQ(put(file, Q7M_FILE_WRITE_DOUBLE, &one), 1u);
    EXPECT_EQ(put(file, Q7M_FILE_WRITE64, uint64_t{0x1112131415161718}), 1u);
    EXPECT_EQ(put(file, Q7M_FILE_WRITE8, 0x21), 1u);
  }
  EXPECT_EQ(read_file(path("f")), bytes("\x04\x03\x02\x01"
                                        "\x08\x07\x06\x05"
                                        "\x0A\x09"
                                        "\x00\x00\x00\x00\x00\x00\xF0\x3F"
                                        "\x18\x17\x16\x15\x14\x13\x12\x11"
                                        "\x21"));
  File file(path("f"), "r");
  uint32_t a = 0, b = 0;
  uint16_t c = 0;
  double d = 0;
  uint64_t e = 0;
  uint8_t f = 0;
  EXPECT_EQ(put(file, Q7M_FILE_READ32, &a), 1u);
  EXPECT_EQ(put(file, Q7M_FILE_READ32_B, &b), 1u);
  EXPECT_EQ(put(file, Q7M_FILE_READ16, &c), 1u);
  EXPECT_EQ(put(file, Q7M_FILE_READ_DOUBLE, &d), 1u);
  EXPECT_EQ(put(file, Q7M_FILE_READ64, &e), 1u);
  EXPECT_EQ(put(file, Q7M_FILE_READ8, &f), 1u);
  EXPECT_EQ(a, 0x01020304u);
  EXPECT_EQ(b, 0x05060708u);
  EXPECT_EQ(c, 0x090Au);
  EXPECT_EQ(d, 1.0);
  EXPECT_EQ(e, 0x1112131415161718u);
  EXPECT_EQ(f, 0x21);
}

TEST_F(FileTest, ValuesAcrossTheEndsOfStdiosBuffer) {
  constexpr int kCount = 5000;
  {
    File file(path("f"), "w");
    for (int i = 0; i < kCount; ++i) {
      const double d = i * 1.5;
      ASSERT_EQ(put(file, Q7M_FILE_WRITE8, i), 1u);
      ASSERT_EQ(put(file, Q7M_FILE_WRITE_DOUBLE, &d), 1u);
    }
  }
  EXPECT_EQ(std::filesystem::file_size(path("f")), kCount * 9u);
  File file(path("f"), "r");
  for (int i = 0; i < kCount; ++i) {
    uint8_t byte;
    double d;
    ASSERT_EQ(put(file, Q7M_FILE_READ8, &byte), 1u);
    ASSERT_EQ(put(file, Q7M_FILE_READ_DOUBLE, &d), 1u);
    ASSERT_EQ(byte, static_cast<uint8_t>(i));
    ASSERT_EQ(d, i * 1.5);
  }
}

TEST_F(FileTest, ShortValuesFail) {
  write_file(path("f"), "abc");
  File file(path("f"), "r");
  uint32_t value;
  EXPECT_EQ(put(file, Q7M_FILE_READ32, &value), 0u);
  EXPECT_EQ(error_of(file), 5508);
}

TEST_F(FileTest, NullAddressesFail) {
  File file(path("f"), "w+");
  for (uint32_t method : {5001u, 5002u, 5003u, 5008u, 5021u, 5026u, 5034u, 5040u, 5048u}) {
    EXPECT_EQ(send(file, method), 0u) << method;
  }
  EXPECT_EQ(call(file, Q7M_FILE_WRITE, {{Q7A_FILE_LENGTH, 4}}), 0u);
  EXPECT_EQ(call(file, Q7M_FILE_READ_STRING, {}), 0u);
  EXPECT_EQ(call(file, Q7M_FILE_READ_LINE, {}), 0u);
  EXPECT_EQ(send(file, Q7M_FILE_READ_ITEMS, 1, 1, nullptr), 0u);
  EXPECT_EQ(send(file, Q7M_FILE_WRITE_ITEMS, 1, 1, nullptr), 0u);
  EXPECT_EQ(send(file, Q7M_FILE_SCAN, 0, 0, nullptr), 0u);
  EXPECT_EQ(send(file, Q7M_FILE_ERROR_TEXT, 5500, 0, nullptr), 0u);
}

// ---- Blocks ----

TEST_F(FileTest, BlocksAndTheirCounts) {
  int32_t count = -1;
  {
    File file(path("f"), "w");
    EXPECT_EQ(call(file, Q7M_FILE_WRITE,
                   {{Q7A_FILE_BUFFER, arg("hello")}, {Q7A_FILE_LENGTH, 5}, {Q7A_FILE_COUNT, arg(&count)}}),
              1u);
    EXPECT_EQ(count, 5);
    EXPECT_EQ(call(file, Q7M_FILE_WRITE, {{Q7A_FILE_LENGTH, 0}, {Q7A_FILE_COUNT, arg(&count)}}), 1u);
    EXPECT_EQ(count, 0);
  }
  EXPECT_EQ(read_file(path("f")), "hello");
  File file(path("f"), "r");
  char buffer[10] = "";
  EXPECT_EQ(
      call(file, Q7M_FILE_READ, {{Q7A_FILE_BUFFER, arg(buffer)}, {Q7A_FILE_LENGTH, 3}, {Q7A_FILE_COUNT, arg(&count)}}),
      1u);
  EXPECT_EQ(count, 3);
  EXPECT_STREQ(buffer, "hel");
  EXPECT_EQ(
      call(file, Q7M_FILE_READ, {{Q7A_FILE_BUFFER, arg(buffer)}, {Q7A_FILE_LENGTH, 10}, {Q7A_FILE_COUNT, arg(&count)}}),
      0u);
  EXPECT_EQ(count, 2);
  EXPECT_EQ(error_of(file), 5508);
}

TEST_F(FileTest, BlockWithoutABufferUsesTheObjectsOwn) {
  write_file(path("f"), "0123456789");
  File file(path("f"), "r");
  EXPECT_EQ(get<const char *>(file, Q7A_FILE_BUFFER), nullptr);
  EXPECT_EQ(call(file, Q7M_FILE_READ, {{Q7A_FILE_LENGTH, 4}}), 1u);
  EXPECT_EQ(std::string(get<const char *>(file, Q7A_FILE_BUFFER), 4), "0123");
  EXPECT_EQ(call(file, Q7M_FILE_READ, {{Q7A_FILE_LENGTH, 4}}), 1u);
  EXPECT_EQ(std::string(get<const char *>(file, Q7A_FILE_BUFFER), 4), "4567");
  EXPECT_EQ(call(file, Q7M_FILE_READ, {{Q7A_FILE_LENGTH, Q7SOCKET_BLOCK + 1}}), 0u);
  EXPECT_EQ(error_of(file), 5506);
  EXPECT_EQ(call(file, Q7M_FILE_READ, {{Q7A_FILE_LENGTH, static_cast<uint64_t>(-1)}}), 0u);
}

TEST_F(FileTest, ADiskStreamAllocatesNoBuffers) {
  File file(path("f"), "w+");
  q7test::AllocGate gate;
  const double d = 1;
  char text[10];
  for (int i = 0; i < 1000; ++i) put(file, Q7M_FILE_WRITE_DOUBLE, &d);
  call(file, Q7M_FILE_SEEK, {});
  call(file, Q7M_FILE_READ, {{Q7A_FILE_BUFFER, arg(text)}, {Q7A_FILE_LENGTH, 10}});
  call(file, Q7M_FILE_READ_STRING, {{Q7A_FILE_BUFFER, arg(text)}, {Q7A_FILE_LENGTH, 10}});
  EXPECT_EQ(gate.count(), 0);
}

TEST_F(FileTest, Items) {
  {
    File file(path("f"), "w");
    EXPECT_EQ(send(file, Q7M_FILE_WRITE_ITEMS, 2, 3, slot("abcdef")), 3u);
  }
  EXPECT_EQ(read_file(path("f")), "abcdef");
  File file(path("f"), "r");
  char buffer[10] = "";
  EXPECT_EQ(send(file, Q7M_FILE_READ_ITEMS, 4, 2, slot(buffer)), 1u);  // one whole item and a half
  EXPECT_EQ(error_of(file), 5508);
  EXPECT_EQ(send(file, Q7M_FILE_READ_ITEMS, ~uint64_t{0}, 2, slot(buffer)), 0u);
}

// ---- Texts ----

TEST_F(FileTest, StringsAreEndedByAZero) {
  {
    File file(path("f"), "w");
    EXPECT_EQ(put(file, Q7M_FILE_WRITE_STRING, "one"), 1u);
    EXPECT_EQ(put(file, Q7M_FILE_WRITE_STRING, ""), 1u);
    EXPECT_EQ(put(file, Q7M_FILE_WRITE_STRING, "two"), 1u);
  }
  EXPECT_EQ(read_file(path("f")), bytes("one\0\0two\0"));
  File file(path("f"), "r");
  char text[16] = "";
  EXPECT_EQ(call(file, Q7M_FILE_READ_STRING, {{Q7A_FILE_BUFFER, arg(text)}, {Q7A_FILE_LENGTH, 16}}), 3u);
  EXPECT_STREQ(text, "one");
  EXPECT_EQ(call(file, Q7M_FILE_READ_STRING, {{Q7A_FILE_BUFFER, arg(text)}, {Q7A_FILE_LENGTH, 16}}), 0u);
  EXPECT_STREQ(text, "");
  EXPECT_EQ(call(file, Q7M_FILE_READ_STRING, {{Q7A_FILE_BUFFER, arg(text)}, {Q7A_FILE_LENGTH, 4}}), 3u);
  EXPECT_STREQ(text, "two");
  EXPECT_EQ(error_of(file), 0);
}

TEST_F(FileTest, ANullStringIsExactlyOneZeroByte) {
  {
    File file(path("f"), "w");
    EXPECT_EQ(put(file, Q7M_FILE_WRITE_STRING, nullptr), 1u);
  }
  EXPECT_EQ(read_file(path("f")), bytes("\0"));
}

TEST_F(FileTest, StringsExactlyAsLongAsTheRoomAndLonger) {
  write_file(path("f"), bytes("abc\0defgh\0"));
  File file(path("f"), "r");
  char text[4];
  const Tags tags = {{Q7A_FILE_BUFFER, arg(text)}, {Q7A_FILE_LENGTH, 4}};
  EXPECT_EQ(call(file, Q7M_FILE_READ_STRING, tags), 3u);
  EXPECT_STREQ(text, "abc");
  EXPECT_EQ(call(file, Q7M_FILE_READ_STRING, tags), 3u);
  EXPECT_STREQ(text, "def");
  EXPECT_EQ(call(file, Q7M_FILE_READ_STRING, tags), 2u);
  EXPECT_STREQ(text, "gh");
}

TEST_F(FileTest, AStringCutByTheEndOfTheFileIs5505) {
  write_file(path("f"), "abc");
  File file(path("f"), "r");
  char text[1024];
  std::memset(text, 'x', sizeof text);
  EXPECT_EQ(call(file, Q7M_FILE_READ_STRING, {{Q7A_FILE_BUFFER, arg(text)}}), 3u);
  EXPECT_STREQ(text, "abc");
  EXPECT_EQ(error_of(file), 5505);
}

TEST_F(FileTest, StringsHave1024BytesByDefault) {
  write_file(path("f"), std::string(3000, 'a'));
  File file(path("f"), "r");
  char text[1025];
  text[1024] = 'G';
  EXPECT_EQ(call(file, Q7M_FILE_READ_STRING, {{Q7A_FILE_BUFFER, arg(text)}}), 1023u);
  EXPECT_EQ(text[1023], 0);
  EXPECT_EQ(call(file, Q7M_FILE_READ_LINE, {{Q7A_FILE_BUFFER, arg(text)}}), arg(text));
  EXPECT_EQ(std::strlen(text), 1023u);
  EXPECT_EQ(text[1024], 'G');
}

TEST_F(FileTest, Lines) {
  write_file(path("f"), "one\ntwo");
  File file(path("f"), "r");
  char text[16];
  const Tags tags = {{Q7A_FILE_BUFFER, arg(text)}, {Q7A_FILE_LENGTH, 16}};
  EXPECT_EQ(call(file, Q7M_FILE_READ_LINE, tags), arg(text));
  EXPECT_STREQ(text, "one\n");
  EXPECT_EQ(call(file, Q7M_FILE_READ_LINE, tags), arg(text));
  EXPECT_STREQ(text, "two");
  EXPECT_EQ(call(file, Q7M_FILE_READ_LINE, tags), 0u);
  EXPECT_EQ(error_of(file), 0);
}

TEST_F(FileTest, Characters) {
  {
    File file(path("f"), "w");
    EXPECT_EQ(put(file, Q7M_FILE_PUT, 'A'), 65u);
    EXPECT_EQ(put(file, Q7M_FILE_PUT, 0x1FF), 255u);
    EXPECT_EQ(put(file, Q7M_FILE_WRITE_TEXT, "text"), 1u);
    EXPECT_EQ(put(file, Q7M_FILE_WRITE_TEXT, ""), 1u);
  }
  EXPECT_EQ(read_file(path("f")), "A\xFFtext");
  File file(path("f"), "r");
  EXPECT_EQ(send(file, Q7M_FILE_GET), 65u);
  EXPECT_EQ(send(file, Q7M_FILE_GET), 255u);
  for (int i = 0; i < 4; ++i) send(file, Q7M_FILE_GET);
  EXPECT_EQ(send(file, Q7M_FILE_GET), kMinusOne);
  EXPECT_EQ(send(file, Q7M_FILE_HAS_ERROR), 0u);
}

TEST_F(FileTest, CountedTexts) {
  {
    File file(path("f"), "w");
    EXPECT_EQ(put(file, Q7M_FILE_WRITE_COUNTED, "scene"), 1u);
    EXPECT_EQ(put(file, Q7M_FILE_WRITE_COUNTED, ""), 1u);
    EXPECT_EQ(put(file, Q7M_FILE_WRITE_COUNTED, nullptr), 1u);
  }
  EXPECT_EQ(read_file(path("f")), bytes("\x06\0scene\0\x01\0\0\x01\0\0"));
  File file(path("f"), "r");
  char text[16] = "xxxxxxxx";
  EXPECT_EQ(put(file, Q7M_FILE_READ_COUNTED, text), 1u);
  EXPECT_STREQ(text, "scene");
  EXPECT_EQ(put(file, Q7M_FILE_READ_COUNTED, text), 1u);
  EXPECT_STREQ(text, "");
}

TEST_F(FileTest, CountedTextsAreBounded) {
  const std::string longest(65534, 't');
  {
    File file(path("f"), "w");
    EXPECT_EQ(put(file, Q7M_FILE_WRITE_COUNTED, longest.c_str()), 1u);
    EXPECT_EQ(put(file, Q7M_FILE_WRITE_COUNTED, (longest + "t").c_str()), 0u);
  }
  EXPECT_EQ(std::filesystem::file_size(path("f")), 65537u);
  EXPECT_THAT(errors(), ElementsAre("q7file: Text too long to be stored with its length"));
  File file(path("f"), "r");
  std::string text(65535, 'x');
  EXPECT_EQ(put(file, Q7M_FILE_READ_COUNTED, text.data()), 1u);
  EXPECT_EQ(text, longest + '\0');
}

TEST_F(FileTest, DamagedCountedTexts) {
  const std::string cases[] = {bytes("\0\0"), bytes("\x03\0ab"), bytes("\x03\0abc"), bytes("\x01"), ""};
  for (const std::string &content : cases) {
    write_file(path("f"), content);
    File file(path("f"), "r");
    char text[8] = "xxxxxxx";
    EXPECT_EQ(put(file, Q7M_FILE_READ_COUNTED, text), 0u);
    EXPECT_LT(strnlen(text, 8), 8u);
  }
  write_file(path("f"), bytes("\x05\0abcd\0"));
  File file(path("f"), "r");
  char text[4] = "xxx";
  EXPECT_EQ(send(file, Q7M_FILE_READ_COUNTED, sizeof text, 0, slot(text)), 0u);
  EXPECT_STREQ(text, "");
}

// ---- Formatted reading ----

TEST_F(FileTest, ScanStoresThroughItsTagsInOrder) {
  write_file(path("f"), "12 word 0x1F");
  File file(path("f"), "r");
  int number = 0;
  char word[10] = "";
  unsigned hex = 0;
  EXPECT_EQ(
      call(file, Q7M_FILE_SCAN,
           {{Q7A_FILE_DESTINATION, arg(&number)}, {Q7A_FILE_DESTINATION, arg(word)}, {Q7A_FILE_DESTINATION, arg(&hex)}},
           arg("%d %9s %x")),
      3u);
  EXPECT_EQ(number, 12);
  EXPECT_STREQ(word, "word");
  EXPECT_EQ(hex, 0x1Fu);
  EXPECT_EQ(call(file, Q7M_FILE_SCAN, {{Q7A_FILE_DESTINATION, arg(&number)}}, arg("%d")), kMinusOne);
}

TEST_F(FileTest, ScanTakesTenDestinations) {
  write_file(path("f"), "0 1 2 3 4 5 6 7 8 9");
  File file(path("f"), "r");
  int numbers[10] = {};
  Tags tags;
  for (int &n : numbers) tags.push_back({Q7A_FILE_DESTINATION, arg(&n)});
  EXPECT_EQ(call(file, Q7M_FILE_SCAN, tags, arg("%d %d %d %d %d %d %d %d %d %d")), 10u);
  EXPECT_EQ(numbers[9], 9);
}

TEST_F(FileTest, AnEleventhDestinationReadsNothing) {
  write_file(path("f"), "1 2");
  File file(path("f"), "r");
  int number = 77;
  Tags tags(11, {Q7A_FILE_DESTINATION, arg(&number)});
  EXPECT_EQ(call(file, Q7M_FILE_SCAN, tags, arg("%d")), 0u);
  EXPECT_THAT(errors(), ElementsAre("q7file: Too many parameters"));
  EXPECT_EQ(number, 77);
  EXPECT_EQ(send(file, Q7M_FILE_TELL), 0u);
}

TEST_F(FileTest, ScanNeverStoresWithoutADestination) {
  write_file(path("f"), "1 2 abc 4");
  File file(path("f"), "r");
  int number = 77;
  const Tags one = {{Q7A_FILE_DESTINATION, arg(&number)}};
  for (const char *format : {"%d %d", "%2$d", "%d%n", "%[a-z]%d", "%*d %lld %hhd", "%[]a]%c"}) {
    EXPECT_EQ(call(file, Q7M_FILE_SCAN, one, arg(format)), 0u) << format;
  }
  EXPECT_EQ(call(file, Q7M_FILE_SCAN, {{Q7A_FILE_DESTINATION, 0}}, arg("%d")), 0u);
  EXPECT_EQ(number, 77);
  EXPECT_EQ(errors().size(), 7u);
  EXPECT_EQ(call(file, Q7M_FILE_SCAN, one, arg("%*d %% %d")), 0u);  // "%%" does not match "2"
  EXPECT_EQ(call(file, Q7M_FILE_SCAN, one, arg("%*[0-9]%d")), 0u);
  EXPECT_EQ(errors().size(), 7u);
}

// ---- Position and flushing ----

TEST_F(FileTest, SeekAndTell) {
  File file(path("f"), "w+");
  put(file, Q7M_FILE_WRITE_TEXT, "0123456789");
  EXPECT_EQ(send(file, Q7M_FILE_TELL), 10u);
  EXPECT_EQ(call(file, Q7M_FILE_SEEK, {{Q7A_FILE_OFFSET, 3}, {Q7A_FILE_ORIGIN, SEEK_SET}}), 0u);
  EXPECT_EQ(send(file, Q7M_FILE_GET), static_cast<uint64_t>('3'));
  EXPECT_EQ(call(file, Q7M_FILE_SEEK, {{Q7A_FILE_OFFSET, static_cast<uint64_t>(-2)}, {Q7A_FILE_ORIGIN, SEEK_CUR}}), 0u);
  EXPECT_EQ(send(file, Q7M_FILE_TELL), 2u);
  EXPECT_EQ(call(file, Q7M_FILE_SEEK, {{Q7A_FILE_OFFSET, static_cast<uint64_t>(-1)}, {Q7A_FILE_ORIGIN, SEEK_END}}), 0u);
  EXPECT_EQ(send(file, Q7M_FILE_GET), static_cast<uint64_t>('9'));
  EXPECT_EQ(call(file, Q7M_FILE_SEEK, {{Q7A_FILE_OFFSET, static_cast<uint64_t>(-1)}}), kMinusOne);
  EXPECT_EQ(call(file, Q7M_FILE_SEEK, {{Q7A_FILE_OFFSET, uint64_t{5} << 32}}), 0u);
  EXPECT_EQ(send(file, Q7M_FILE_TELL), uint64_t{5} << 32);
  EXPECT_EQ(file.dispose(), 1u);
}

TEST_F(FileTest, FlushBringsTheBytesToTheFile) {
  File file(path("f"), "w");
  put(file, Q7M_FILE_WRITE_TEXT, "abc");
  EXPECT_EQ(read_file(path("f")), "");
  EXPECT_EQ(send(file, Q7M_FILE_FLUSH), 0u);
  EXPECT_EQ(read_file(path("f")), "abc");
}

TEST_F(FileTest, CloseKeepsTheObject) {
  File file(path("f"), "w");
  put(file, Q7M_FILE_WRITE_TEXT, "abc");
  EXPECT_EQ(send(file, Q7M_FILE_CLOSE), 1u);
  EXPECT_EQ(read_file(path("f")), "abc");
  EXPECT_EQ(send(file, Q7M_FILE_EXISTS), 1u);
}

TEST_F(FileTest, EverythingFailsOnAClosedStream) {
  File file(path("f"), "w+");
  send(file, Q7M_FILE_CLOSE);
  char buffer[16] = "";
  uint64_t value = 0;
  for (uint32_t method : {5001u, 5002u, 5003u, 5026u, 5034u, 5040u, 5048u})
    EXPECT_EQ(put(file, method, &value), 0u) << method;
  for (uint32_t method : {5006u, 5007u, 5025u, 5033u, 5039u}) EXPECT_EQ(put(file, method, 1), 0u) << method;
  EXPECT_EQ(put(file, Q7M_FILE_WRITE_DOUBLE, &value), 0u);
  for (uint32_t method : {5009u, 5021u, 5047u}) EXPECT_EQ(put(file, method, "x"), 0u) << method;
  const Tags tags = {{Q7A_FILE_BUFFER, arg(buffer)}, {Q7A_FILE_LENGTH, 4}};
  for (uint32_t method : {5000u, 5004u, 5005u, 5013u}) EXPECT_EQ(call(file, method, tags), 0u) << method;
  EXPECT_EQ(call(file, Q7M_FILE_SCAN, {{Q7A_FILE_DESTINATION, arg(&value)}}, arg("%d")), 0u);
  for (uint32_t method : {5010u, 5012u, 5015u, 5017u, 5020u}) EXPECT_EQ(send(file, method), kMinusOne) << method;
  for (uint32_t method : {5016u, 5023u, 5024u, 5043u}) EXPECT_EQ(send(file, method), 0u) << method;
  EXPECT_EQ(file.dispose(), 0u);  // the writes above were lost
}

TEST_F(FileTest, DeleteRemovesFileAndObject) {
  File file(path("f"), "w");
  put(file, Q7M_FILE_WRITE_TEXT, "abc");
  EXPECT_EQ(send(file, Q7M_FILE_DELETE), 0u);
  file.forget();
  EXPECT_FALSE(std::filesystem::exists(path("f")));
  EXPECT_EQ(Q7ClassFind(Q7C_FILE)->ninstances, 0u);
}

TEST_F(FileTest, ExistsAsksForTheOwnPath) {
  File file(path("f"), "w");
  EXPECT_EQ(send(file, Q7M_FILE_EXISTS), 1u);
  unlink(path("f").c_str());
  EXPECT_EQ(send(file, Q7M_FILE_EXISTS), 0u);
}

TEST_F(FileTest, SizesAreNotSupported) {
  File file(path("f"), "w");
  uint64_t value;
  EXPECT_EQ(send(file, Q7M_FILE_WRITE_SIZE, 5), 0u);
  EXPECT_EQ(put(file, Q7M_FILE_READ_SIZE, &value), 0u);
  EXPECT_THAT(errors(), ElementsAre("q7file: not supported in file", "q7file: not supported in file"));
}

TEST_F(FileTest, ClassRecordsAreNoStreams) {
  char buffer[64];
  for (uint32_t method = 5000; method < 5050; ++method) {
    if ((method >= 5027 && method <= 5032) || method == 5035 || method == 5036 || (method >= 5041 && method <= 5044))
      continue;
    EXPECT_EQ(send(file_class(), method, 0, 0, nullptr), 0u) << method;
    EXPECT_EQ(put(file_class(), method, buffer), 0u) << method;
  }
  EXPECT_EQ(send(file_class(), Q7M_DISPOSE), 0u);
}

TEST_F(FileTest, ACopyIsAClosedStream) {
  File file(path("f"), "w");
  put(file, Q7M_FILE_WRITE_TEXT, "abc");
  auto *copy = reinterpret_cast<Q7Object *>(send(file, Q7M_COPY));
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(send(copy, Q7M_FILE_TELL), kMinusOne);
  EXPECT_EQ(send(copy, Q7M_DISPOSE), 1u);
  EXPECT_EQ(file.dispose(), 1u);
  EXPECT_EQ(read_file(path("f")), "abc");
}

TEST_F(FileTest, UnknownMethodsGoToTheRootClass) {
  File file(path("f"), "w");
  EXPECT_EQ(send(file, 5999), 0u);
  EXPECT_EQ(errors().size(), 1u);
  EXPECT_EQ(put(file, Q7M_ISOFKIND, 0), 2u);
}

// ---- The two functions below all of it ----

TEST_F(FileTest, ReadAndWriteAreStdiosOnADiskStream) {
  File file(path("f"), "w");
  FILE *other = std::fopen(path("g").c_str(), "w+");
  ASSERT_NE(other, nullptr);
  EXPECT_EQ(q7_write(stream_of(file), "abcdef", 2, 3, other), 3u);
  std::rewind(other);
  char buffer[8] = "";
  EXPECT_EQ(q7_read(stream_of(file), buffer, 2, 4, other), 3u);
  EXPECT_STREQ(buffer, "abcdef");
  EXPECT_EQ(q7_write(stream_of(file), "a", 1, 1, nullptr), 0u);
  EXPECT_EQ(q7_read(nullptr, buffer, 1, 1, other), 0u);
  EXPECT_EQ(q7_write(nullptr, buffer, 1, 1, other), 0u);
  std::fclose(other);
}

// ---- Objects ----

TEST_F(FileTest, ObjectsAreSavedAndLoaded) {
  Q7ClassCreate(Q7C_ROOT, 990, nullptr, 8, Q7CT_NAME, arg("thing"), Q7CT_VERSION, uint64_t{3}, 0);
  Q7Object *thing = Q7ObjectCreate(990, Q7A_NAME, arg("cube"), 0);
  {
    File file(path("f"), "w");
    EXPECT_EQ(Q7ObjectSave(thing, Q7A_STREAM, arg(static_cast<Q7Object *>(file)), 0), 1u);
    EXPECT_EQ(file.dispose(), 1u);
  }
  // Class id; (id, version) of the class and of the root; counted name.
  EXPECT_EQ(read_file(path("f")), bytes("\xDE\x03\0\0"
                                        "\xDE\x03\0\0\x03\0"
                                        "\0\0\0\0\x01\0"
                                        "\x05\0cube\0"));
  File file(path("f"), "r");
  Q7Object *loaded = Q7ObjectLoad(file, 0);
  ASSERT_NE(loaded, nullptr);
  EXPECT_EQ(loaded->clid, 990u);
  EXPECT_STREQ(loaded->name, "cube");
  Q7ObjectDelete(loaded);
  Q7ObjectDelete(thing);
}

}  // namespace
