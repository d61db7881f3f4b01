// q7iff: chunked files against bytes written by hand from the layout: id, size with the highest byte first (4 or 8
// bytes), contents, a zero that the size counts behind odd contents.
#include "io/q7iff.h"

#include "app/q7errdb.h"
#include "tests/io/io_test.h"

namespace {

using namespace iotest;
using q7test::read_file;
using q7test::write_file;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

uint32_t id_of(const char *characters) {
  uint32_t id;
  std::memcpy(&id, characters, 4);
  return id;
}

// A size as 8 bytes, and as 4.
std::string wide(uint64_t n) {
  std::string text;
  for (int shift = 56; shift >= 0; shift -= 8) text += static_cast<char>(n >> shift);
  return text;
}
std::string narrow(uint32_t n) { return wide(n).substr(4); }

class IffTest : public iotest::Test {
 protected:
  // Creation tags for a file with this top chunk; the ids are kept in the fixture.
  Tags tags(const std::string &name, const char *mode, Tags more = {}) {
    Tags all = {{Q7A_FILE_NAME, arg(name.c_str())},
                {Q7A_FILE_MODE, arg(mode)},
                {Q7A_IFF_ID, arg(&id_)},
                {Q7A_IFF_FORM, arg(&form_)},
                {512, arg(&error_)}};
    all.insert(all.end(), more.begin(), more.end());
    return all;
  }
  void set_ids(const char *id, const char *form) {
    id_ = id_of(id);
    form_ = id_of(form);
  }
  static uint64_t begin(Q7Object *iff, const char *id) { return put(iff, Q7M_IFF_BEGIN_WRITE, id_of(id)); }
  static uint64_t end(Q7Object *iff) { return send(iff, Q7M_IFF_END_WRITE); }
  static std::string enter(Q7Object *iff) {
    uint32_t id = 0;
    if (!put(iff, Q7M_IFF_BEGIN_READ, &id)) return "";
    return std::string(reinterpret_cast<char *>(&id), 4);
  }
  static uint64_t leave(Q7Object *iff) { return send(iff, Q7M_IFF_END_READ); }

  uint32_t id_ = 0;
  uint32_t form_ = 0;
  int32_t error_ = 0;
};

// ---- Registration ----

TEST_F(IffTest, ClassRecord) {
  const Q7Class *cl = Q7ClassFind(Q7C_IFF);
  ASSERT_NE(cl, nullptr);
  EXPECT_STREQ(cl->header.name, "q7iff");
  EXPECT_STREQ(cl->organisation, "Karmonic");
  EXPECT_STREQ(cl->module, "q7common");
  EXPECT_EQ(cl->super->header.clid, 5u);
  EXPECT_EQ(Q7RegisterIFFClass(app()), 1);
  EXPECT_THAT(fake::calls("Q7AppOpenLocale"), ::testing::Contains("Q7AppOpenLocale(q7common, q7iff, 4)"));
  EXPECT_STREQ(cl->catalog[3].key, "Needs64Bit");
  EXPECT_STREQ(cl->catalog[3].text, "'%s' file is too large");
}

TEST_F(IffTest, ErrorTexts) {
  Q7Object *database = &Q7ClassFind(Q7C_ERRDB)->header;
  const auto text = [&](uint32_t id) { return reinterpret_cast<const char *>(put(database, Q7M_ERRDB_LOOKUP, id)); };
  EXPECT_STREQ(text(127500), "Format of '%s' not recognized");
  EXPECT_STREQ(text(127501), "Format of '%s' not recognized");
  EXPECT_STREQ(text(127502), "'%s' file is corrupted");
  EXPECT_EQ(text(127503), nullptr);
}

// ---- Golden files ----

TEST_F(IffTest, WritesAnEmptyWideFile) {
  const std::string name = path("f");
  set_ids("Q7D8", "scen");
  EXPECT_EQ(Object(Q7C_IFF, tags(name, "w")).dispose(), 1u);
  EXPECT_EQ(read_file(name), "Q7D8" + wide(4) + "scen");
}

TEST_F(IffTest, WritesAnEmptyNarrowFile) {
  const std::string name = path("f");
  set_ids("FORM", "scen");
  EXPECT_EQ(Object(Q7C_IFF, tags(name, "w", {{Q7A_IFF_WIDE, 0}})).dispose(), 1u);
  EXPECT_EQ(read_file(name), "FORM" + narrow(4) + "scen");
}

// Values of every width, an odd chunk and a chunk in a chunk.
void write_values(Q7Object *iff, bool nested) {
  const double half = -0.5;
  ASSERT_NE(put(iff, Q7M_IFF_BEGIN_WRITE, id_of("VALS")), 0u);
  EXPECT_EQ(put(iff, Q7M_FILE_WRITE16, 0x0102), 1u);
  EXPECT_EQ(put(iff, Q7M_FILE_WRITE32, 0x03040506), 1u);
  EXPECT_EQ(put(iff, Q7M_FILE_WRITE32_B, 0x0708090A), 1u);
  EXPECT_EQ(put(iff, Q7M_FILE_WRITE64, uint64_t{0x1112131415161718}), 1u);
  EXPECT_EQ(put(iff, Q7M_FILE_WRITE_DOUBLE, &half), 1u);
  EXPECT_EQ(put(iff, Q7M_FILE_WRITE_COUNTED, "ab"), 1u);
  EXPECT_NE(send(iff, Q7M_IFF_END_WRITE), 0u);
  if (!nested) return;
  ASSERT_NE(put(iff, Q7M_IFF_BEGIN_WRITE, id_of("LIST")), 0u);
  ASSERT_NE(put(iff, Q7M_IFF_BEGIN_WRITE, id_of("ODD ")), 0u);
  for (char c : {'x', 'y', 'z'}) EXPECT_EQ(put(iff, Q7M_FILE_WRITE8, c), 1u);
  EXPECT_NE(send(iff, Q7M_IFF_END_WRITE), 0u);
  ASSERT_NE(put(iff, Q7M_IFF_BEGIN_WRITE, id_of("NONE")), 0u);
  EXPECT_NE(send(iff, Q7M_IFF_END_WRITE), 0u);
  EXPECT_NE(send(iff, Q7M_IFF_END_WRITE), 0u);
}

std::string swapped_values() {
  return bytes(
      "\x01\x02"
      "\x03\x04\x05\x06"
      "\x07\x08\x09\x0A"
      "\x11\x12\x13\x14\x15\x16\x17\x18"
      "\xBF\xE0\x00\x00\x00\x00\x00\x00"
      "\x00\x03"
      "ab\0"
      "\0");  // 31 bytes and the pad
}
std::string host_values() {
  return bytes(
      "\x02\x01"
      "\x06\x05\x04\x03"
      "\x0A\x09\x08\x07"
      "\x18\x17\x16\x15\x14\x13\x12\x11"
      "\x00\x00\x00\x00\x00\x00\xE0\xBF"
      "\x03\x00"
      "ab\0"
      "\0");
}

void read_values(IffTest &, Q7Object *iff) {
  uint32_t id = 0;
  ASSERT_EQ(put(iff, Q7M_IFF_BEGIN_READ, &id), 1u);
  EXPECT_EQ(id, id_of("VALS"));
  uint16_t a = 0;
  uint32_t b = 0, c = 0;
  uint64_t d = 0;
  double e = 0;
  char text[8] = "";
  EXPECT_EQ(put(iff, Q7M_FILE_READ16, &a), 1u);
  EXPECT_EQ(put(iff, Q7M_FILE_READ32, &b), 1u);
  EXPECT_EQ(put(iff, Q7M_FILE_READ32_B, &c), 1u);
  EXPECT_EQ(put(iff, Q7M_FILE_READ64, &d), 1u);
  EXPECT_EQ(put(iff, Q7M_FILE_READ_DOUBLE, &e), 1u);
  EXPECT_EQ(put(iff, Q7M_FILE_READ_COUNTED, text), 1u);
  EXPECT_EQ(send(iff, Q7M_IFF_END_READ), 1u);
  EXPECT_EQ(a, 0x0102);
  EXPECT_EQ(b, 0x03040506u);
  EXPECT_EQ(c, 0x0708090Au);
  EXPECT_EQ(d, 0x1112131415161718u);
  EXPECT_EQ(e, -0.5);
  EXPECT_STREQ(text, "ab");
}

std::string wide_file() {
  const std::string odd = "ODD " + wide(4) + bytes("xyz\0");
  const std::string none = "NONE" + wide(0);
  const std::string nested = "LIST" + wide(16 + 12) + odd + none;
  const std::string values = "VALS" + wide(32) + swapped_values();
  return "Q7D8" + wide(4 + values.size() + nested.size()) + "scen" + values + nested;
}
std::string narrow_file() {
  const std::string odd = "ODD " + narrow(4) + bytes("xyz\0");
  const std::string none = "NONE" + narrow(0);
  const std::string nested = "LIST" + narrow(12 + 8) + odd + none;
  const std::string values = "VALS" + narrow(32) + swapped_values();
  return "FORM" + narrow(static_cast<uint32_t>(4 + values.size() + nested.size())) + "scen" + values + nested;
}

TEST_F(IffTest, WritesWideSizes) {
  const std::string name = path("f");
  set_ids("Q7D8", "scen");
  Object iff(Q7C_IFF, tags(name, "w"));
  write_values(iff, true);
  EXPECT_EQ(iff.dispose(), 1u);
  EXPECT_EQ(read_file(name), wide_file());
}

TEST_F(IffTest, WritesNarrowSizes) {
  const std::string name = path("f");
  set_ids("FORM", "scen");
  Object iff(Q7C_IFF, tags(name, "w", {{Q7A_IFF_WIDE, 0}}));
  write_values(iff, true);
  EXPECT_EQ(iff.dispose(), 1u);
  EXPECT_EQ(read_file(name), narrow_file());
}

TEST_F(IffTest, WritesTheHostsOrderWithoutSwapping) {
  const std::string name = path("f");
  set_ids("Q7D8", "scen");
  Object iff(Q7C_IFF, tags(name, "w", {{Q7A_IFF_SWAP, 0}}));
  write_values(iff, false);
  EXPECT_EQ(iff.dispose(), 1u);
  EXPECT_EQ(read_file(name), "Q7D8" + wide(4 + 12 + 32) + "scen" + "VALS" + wide(32) + host_values());
}

TEST_F(IffTest, ReadsWideAndNarrowSizes) {
  for (const auto &[content, id, is_wide] : {std::tuple{wide_file(), "Q7D8", 1}, {narrow_file(), "FORM", 0}}) {
    const std::string name = path("f");
    write_file(name, content);
    // The file's own chunk decides, whatever the tag says.
    Object iff(Q7C_IFF, tags(name, "r", {{Q7A_IFF_WIDE, static_cast<uint64_t>(!is_wide)}}));
    ASSERT_NE(iff, nullptr);
    EXPECT_EQ(id_, id_of(id));
    EXPECT_EQ(form_, id_of("scen"));
    EXPECT_EQ(get<int32_t>(iff, Q7A_IFF_WIDE), is_wide);
    read_values(*this, iff);
    EXPECT_EQ(enter(iff), "LIST");
    EXPECT_EQ(enter(iff), "ODD ");
    char text[3];
    EXPECT_EQ(call(iff, Q7M_FILE_READ, {{Q7A_FILE_BUFFER, arg(text)}, {Q7A_FILE_LENGTH, 3}}), 1u);
    EXPECT_EQ(leave(iff), 1u);
    EXPECT_EQ(enter(iff), "NONE");
    EXPECT_EQ(leave(iff), 1u);
    EXPECT_EQ(enter(iff), "");
    EXPECT_EQ(leave(iff), 1u);
    EXPECT_EQ(enter(iff), "");
    EXPECT_EQ(leave(iff), 1u);
    EXPECT_EQ(error_of(iff), 0);
  }
}

TEST_F(IffTest, ReadsTheHostsOrderWithoutSwapping) {
  const std::string name = path("f");
  write_file(name, "Q7D8" + wide(48) + "scen" + "VALS" + wide(32) + host_values());
  Object iff(Q7C_IFF, tags(name, "r", {{Q7A_IFF_SWAP, 0}}));
  EXPECT_EQ(get<int32_t>(iff, Q7A_IFF_SWAP), 0);
  read_values(*this, iff);
}

TEST_F(IffTest, WideSizesUnderFormAreReadAsNarrowOnes) {
  const std::string name = path("f");
  set_ids("FORM", "scen");
  EXPECT_EQ(Object(Q7C_IFF, tags(name, "w")).dispose(), 1u);
  EXPECT_EQ(read_file(name), "FORM" + wide(4) + "scen");
  Object iff(Q7C_IFF, tags(name, "r"));
  ASSERT_NE(iff, nullptr);
  EXPECT_EQ(get<int32_t>(iff, Q7A_IFF_WIDE), 0);
  EXPECT_EQ(form_, id_of(bytes("\0\0\0\x04").c_str()));  // the lower half of the size
}

TEST_F(IffTest, Sizes) {
  const std::string name = path("f");
  {
    Object iff(Q7C_IFF, {{Q7A_FILE_NAME, arg(name.c_str())}, {Q7A_FILE_MODE, arg("w")}});
    EXPECT_EQ(send(iff, Q7M_FILE_WRITE_SIZE, 0xFFFFFFFF), 1u);
    EXPECT_EQ(send(iff, Q7M_FILE_WRITE_SIZE, 0x100000000), 1u);
    EXPECT_EQ(send(iff, Q7M_FILE_WRITE_SIZE, 0), 1u);
    EXPECT_EQ(put(iff, Q7M_FILE_WRITE8, 1), 1u);  // any marker but 4 stands for 64 bits
    EXPECT_EQ(put(iff, Q7M_FILE_WRITE64, 7), 1u);
    EXPECT_EQ(put(iff, Q7M_FILE_WRITE8, 9), 1u);
  }
  EXPECT_EQ(read_file(name),
            "\x04" + narrow(0xFFFFFFFF) + "\x08" + wide(0x100000000) + "\x04" + narrow(0) + "\x01" + wide(7) + "\x09");
  Object iff(Q7C_IFF, {{Q7A_FILE_NAME, arg(name.c_str())}, {Q7A_FILE_MODE, arg("r")}});
  for (uint64_t expected : {0xFFFFFFFFull, 0x100000000ull, 0ull, 7ull}) {
    uint64_t size = ~uint64_t{0};
    EXPECT_EQ(put(iff, Q7M_FILE_READ_SIZE, &size), 1u);
    EXPECT_EQ(size, expected);
  }
  uint64_t size = 77;
  EXPECT_EQ(put(iff, Q7M_FILE_READ_SIZE, &size), 0u);
  EXPECT_EQ(error_of(iff), 5506);
  EXPECT_EQ(size, 77u);
  EXPECT_EQ(put(iff, Q7M_FILE_READ_SIZE, nullptr), 0u);
}

TEST_F(IffTest, SizesFollowTheSwapSetting) {
  const std::string name = path("f");
  {
    Object iff(Q7C_IFF, {{Q7A_FILE_NAME, arg(name.c_str())}, {Q7A_FILE_MODE, arg("w")}, {Q7A_IFF_SWAP, 0}});
    EXPECT_EQ(send(iff, Q7M_FILE_WRITE_SIZE, 5), 1u);
  }
  EXPECT_EQ(read_file(name), bytes("\x04\x05\0\0\0"));
}

// ---- Edge cases ----

TEST_F(IffTest, AChunkOfThreeBytesHasSizeFourAndOnePadByte) {
  const std::string name = path("f");
  set_ids("Q7D8", "scen");
  {
    Object iff(Q7C_IFF, tags(name, "w"));
    begin(iff, "ODD ");
    for (char c : {'a', 'b', 'c'}) put(iff, Q7M_FILE_WRITE8, c);
    EXPECT_NE(end(iff), 0u);
  }
  EXPECT_EQ(read_file(name), "Q7D8" + wide(20) + "scen" + "ODD " + wide(4) + bytes("abc\0"));
  Object iff(Q7C_IFF, tags(name, "r"));
  EXPECT_EQ(enter(iff), "ODD ");
  for (int i = 0; i < 3; ++i) send(iff, Q7M_FILE_GET);
  EXPECT_EQ(leave(iff), 1u);
  EXPECT_EQ(send(iff, Q7M_FILE_TELL), 32u);
}

TEST_F(IffTest, OtherFirstChunksAre127500) {
  for (const std::string &content :
       {std::string("RIFF\0\0\0\4abcd", 12), std::string("FOR"), std::string(), "FORM" + narrow(4),
        std::string("FORM\0\0", 6), "Q7D8" + narrow(0), "Q7D8" + wide(4) + "sce"}) {
    const std::string name = path("f");
    write_file(name, content);
    error_ = 0;
    EXPECT_EQ(Q7ObjectCreateA(Q7C_IFF, list(tags(name, "r")).data()), nullptr);
    EXPECT_EQ(error_, 127500) << content;
    EXPECT_EQ(Q7ClassFind(Q7C_IFF)->ninstances, 0u);
  }
}

TEST_F(IffTest, AMissingFileIs5501) {
  const std::string name = path("missing");
  EXPECT_EQ(Q7ObjectCreateA(Q7C_IFF, list(tags(name, "r")).data()), nullptr);
  EXPECT_EQ(error_, 5501);
}

TEST_F(IffTest, TopSizeAbove32BitsIs127503) {
  const std::string name = path("f");
  for (uint64_t size : {uint64_t{0x100000000}, ~uint64_t{0}}) {
    write_file(name, "Q7D8" + wide(size) + "scen");
    EXPECT_EQ(Q7ObjectCreateA(Q7C_IFF, list(tags(name, "r")).data()), nullptr);
    EXPECT_EQ(error_, 127503);
  }
}

TEST_F(IffTest, NestedSizeAbove32BitsIs127503) {
  const std::string name = path("f");
  write_file(name, "Q7D8" + wide(100) + "scen" + "BIG " + wide(0x100000000) + "1234");
  Object iff(Q7C_IFF, tags(name, "r"));
  EXPECT_EQ(enter(iff), "");
  EXPECT_EQ(error_of(iff), 127503);
}

TEST_F(IffTest, TheLargest32BitSizeIsTaken) {
  const std::string name = path("f");
  write_file(name, "Q7D8" + wide(0xFFFFFFFF) + "scen");
  EXPECT_NE(Object(Q7C_IFF, tags(name, "r")), nullptr);
}

TEST_F(IffTest, ANegative32BitSizeIs127502) {
  const std::string name = path("f");
  write_file(name, "FORM" + narrow(0x80000000) + "scen");
  EXPECT_EQ(Q7ObjectCreateA(Q7C_IFF, list(tags(name, "r")).data()), nullptr);
  EXPECT_EQ(error_, 127502);
  write_file(name, "FORM" + narrow(100) + "scen" + "NEG " + narrow(0xFFFFFFFF));
  Object iff(Q7C_IFF, tags(name, "r"));
  EXPECT_EQ(enter(iff), "");
  EXPECT_EQ(error_of(iff), 127502);
}

TEST_F(IffTest, PartialReadingIs127502AndTheNextChunkFollows) {
  const std::string name = path("f");
  write_file(name, "FORM" + narrow(4 + 16 + 10) + "scen" + "ONE " + narrow(8) + "12345678" + "TWO " + narrow(2) + "ab");
  Object iff(Q7C_IFF, tags(name, "r"));
  EXPECT_EQ(enter(iff), "ONE ");
  send(iff, Q7M_FILE_GET);
  EXPECT_EQ(leave(iff), 0u);
  EXPECT_EQ(error_of(iff), 127502);
  EXPECT_EQ(enter(iff), "TWO ");
  EXPECT_EQ(send(iff, Q7M_FILE_GET), static_cast<uint64_t>('a'));
}

TEST_F(IffTest, Skip) {
  const std::string name = path("f");
  write_file(name, "FORM" + narrow(4 + 16 + 10) + "scen" + "ONE " + narrow(8) + "12345678" + "TWO " + narrow(2) + "ab");
  Object iff(Q7C_IFF, tags(name, "r"));
  EXPECT_EQ(enter(iff), "ONE ");
  send(iff, Q7M_FILE_GET);
  EXPECT_EQ(send(iff, Q7M_IFF_SKIP), 1u);
  EXPECT_EQ(enter(iff), "TWO ");
  EXPECT_EQ(send(iff, Q7M_IFF_SKIP), 1u);
  EXPECT_EQ(send(iff, Q7M_FILE_TELL), 8u + 30u);
  EXPECT_EQ(error_of(iff), 0);
}

TEST_F(IffTest, NoFurtherChunkAtFourBytesBeforeTheEnd) {
  // A chunk of 20 bytes: a nested one of 8 + 8, then 4 bytes that no chunk fits into.
  const std::string name = path("f");
  write_file(name, "FORM" + narrow(4 + 28) + "scen" + "LIST" + narrow(20) + "ONE " + narrow(8) + "12345678" + "abcd");
  Object iff(Q7C_IFF, tags(name, "r"));
  EXPECT_EQ(enter(iff), "LIST");
  EXPECT_EQ(enter(iff), "ONE ");
  EXPECT_EQ(send(iff, Q7M_IFF_SKIP), 1u);
  EXPECT_EQ(enter(iff), "");
  EXPECT_EQ(send(iff, Q7M_FILE_TELL), 8u + 4 + 8 + 16);  // nothing was read
}

TEST_F(IffTest, AMissingPadByteIsCorruption) {
  const std::string name = path("f");
  write_file(name, "FORM" + narrow(4 + 12) + "scen" + "ODD " + narrow(4) + "abc");
  Object iff(Q7C_IFF, tags(name, "r"));
  EXPECT_EQ(enter(iff), "ODD ");
  for (int i = 0; i < 3; ++i) send(iff, Q7M_FILE_GET);
  EXPECT_EQ(leave(iff), 0u);
  EXPECT_EQ(error_of(iff), 127502);
}

TEST_F(IffTest, UnbalancedCallsAreReported) {
  const std::string name = path("f");
  Object iff(Q7C_IFF, {{Q7A_FILE_NAME, arg(name.c_str())}, {Q7A_FILE_MODE, arg("w")}});
  EXPECT_EQ(leave(iff), 0u);
  EXPECT_EQ(send(iff, Q7M_IFF_SKIP), 0u);
  EXPECT_EQ(end(iff), 0u);
  EXPECT_THAT(errors(), ElementsAre("q7iff: Unbalanced BEGINREAD/ENDREAD", "q7iff: Unbalanced BEGINREAD/SKIP",
                                    "q7iff: Unbalanced BEGINWRITE/ENDWRITE"));
}

TEST_F(IffTest, WithoutAnIdAddressNoHeaderIsWritten) {
  const std::string name = path("f");
  {
    Object iff(Q7C_IFF, {{Q7A_FILE_NAME, arg(name.c_str())}, {Q7A_FILE_MODE, arg("w")}, {Q7A_IFF_FORM, arg(&form_)}});
    EXPECT_EQ(iff.dispose(), 1u);
  }
  EXPECT_EQ(read_file(name), "");
}

TEST_F(IffTest, WithoutAFormAddressNoFormIsStored) {
  const std::string name = path("f");
  set_ids("Q7D8", "scen");
  {
    Object iff(Q7C_IFF, {{Q7A_FILE_NAME, arg(name.c_str())}, {Q7A_FILE_MODE, arg("w")}, {Q7A_IFF_ID, arg(&id_)}});
    EXPECT_EQ(iff.dispose(), 1u);
  }
  EXPECT_EQ(read_file(name), "Q7D8" + wide(0));
}

TEST_F(IffTest, OtherModesOpenWithoutAHeader) {
  const std::string name = path("f");
  set_ids("Q7D8", "scen");
  EXPECT_EQ(Object(Q7C_IFF, tags(name, "a")).dispose(), 1u);
  EXPECT_EQ(read_file(name), "");
}

TEST_F(IffTest, DisposalEndsOneChunkAndFreesTheRest) {
  const std::string name = path("f");
  set_ids("FORM", "scen");
  {
    Object iff(Q7C_IFF, tags(name, "w", {{Q7A_IFF_WIDE, 0}}));
    begin(iff, "OPEN");
    put(iff, Q7M_FILE_WRITE_TEXT, "ab");
  }
  EXPECT_EQ(read_file(name), "FORM" + narrow(0) + "scen" + "OPEN" + narrow(2) + "ab");
}

TEST_F(IffTest, AHundredThousandNestedChunks) {
  constexpr int kDepth = 100000;
  const std::string name = path("f");
  std::string content = "FORM" + narrow(0x7FFFFFFF) + "scen";
  for (int i = 0; i < kDepth; ++i) content += "DEEP" + narrow(0x7FFFFFFF);
  write_file(name, content);
  Object iff(Q7C_IFF, tags(name, "r"));
  int depth = 0;
  while (enter(iff) == "DEEP") ++depth;
  EXPECT_EQ(depth, kDepth);
  EXPECT_EQ(send(iff, Q7M_IFF_SKIP), 1u);
  EXPECT_EQ(iff.dispose(), 1u);
}

TEST_F(IffTest, ReopeningEndsTheTopChunk) {
  const std::string name = path("f");
  const std::string other = path("g");
  set_ids("Q7D8", "scen");
  Object iff(Q7C_IFF, tags(name, "w"));
  begin(iff, "ONE ");
  EXPECT_NE(end(iff), 0u);
  EXPECT_EQ(call(iff, Q7M_FILE_OPEN, tags(other, "w")), 1u);
  EXPECT_EQ(read_file(name), "Q7D8" + wide(16) + "scen" + "ONE " + wide(0));
  EXPECT_EQ(call(iff, Q7M_FILE_OPEN, tags(name, "r")), 1u);
  EXPECT_EQ(read_file(other), "Q7D8" + wide(4) + "scen");
  EXPECT_EQ(enter(iff), "ONE ");
  write_file(other, "none");
  EXPECT_EQ(call(iff, Q7M_FILE_OPEN, tags(other, "r")), 0u);
  EXPECT_EQ(error_, 127500);
  EXPECT_EQ(iff.dispose(), 1u);
}

TEST_F(IffTest, ACopyHasNoChunks) {
  const std::string name = path("f");
  set_ids("Q7D8", "scen");
  Object iff(Q7C_IFF, tags(name, "w"));
  auto *copy = reinterpret_cast<Q7Object *>(send(iff, Q7M_COPY));
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(send(copy, Q7M_DISPOSE), 1u);
  EXPECT_EQ(iff.dispose(), 1u);
  EXPECT_EQ(read_file(name), "Q7D8" + wide(4) + "scen");
}

TEST_F(IffTest, NullsAndClassRecords) {
  const std::string name = path("f");
  Object iff(Q7C_IFF, {{Q7A_FILE_NAME, arg(name.c_str())}, {Q7A_FILE_MODE, arg("w+")}});
  EXPECT_EQ(send(iff, Q7M_IFF_BEGIN_READ), 0u);
  for (uint32_t method : {5001u, 5002u, 5003u, 5008u, 5026u, 5034u, 5040u, 5046u})
    EXPECT_EQ(send(iff, method), 0u) << method;
  Q7Object *record = &Q7ClassFind(Q7C_IFF)->header;
  uint64_t value = 0;
  for (uint32_t method = 127000; method < 127005; ++method) EXPECT_EQ(put(record, method, &value), 0u);
  for (uint32_t method = 5000; method < 5010; ++method) EXPECT_EQ(put(record, method, &value), 0u);
}

TEST_F(IffTest, DeletingRemovesTheFile) {
  const std::string name = path("f");
  set_ids("Q7D8", "scen");
  Object iff(Q7C_IFF, tags(name, "w"));
  EXPECT_EQ(send(iff, Q7M_FILE_DELETE), 0u);
  iff.forget();
  EXPECT_FALSE(std::filesystem::exists(name));
  EXPECT_EQ(Q7ClassFind(Q7C_IFF)->ninstances, 0u);
}

// ---- Objects ----

TEST_F(IffTest, ObjectsInChunks) {
  Q7ClassCreate(Q7C_ROOT, 990, nullptr, 8, Q7CT_NAME, arg("thing"), Q7CT_VERSION, uint64_t{3}, 0);
  Q7Object *thing = Q7ObjectCreate(990, Q7A_NAME, arg("cube"), 0);
  const std::string name = path("f");
  set_ids("Q7D8", "scen");
  {
    Object iff(Q7C_IFF, tags(name, "w"));
    begin(iff, "OBJ ");
    EXPECT_EQ(Q7ObjectSave(thing, Q7A_STREAM, arg(static_cast<Q7Object *>(iff)), 0), 1u);
    EXPECT_NE(end(iff), 0u);
    EXPECT_EQ(iff.dispose(), 1u);
  }
  const std::string header = bytes(
      "\0\0\x03\xDE"
      "\0\0\x03\xDE\0\x03"
      "\0\0\0\0\0\x01"
      "\0\x05"
      "cube\0"
      "\0");
  EXPECT_EQ(read_file(name), "Q7D8" + wide(4 + 12 + 24) + "scen" + "OBJ " + wide(24) + header);
  Object iff(Q7C_IFF, tags(name, "r"));
  EXPECT_EQ(enter(iff), "OBJ ");
  Q7Object *loaded = Q7ObjectLoad(iff, 0);
  ASSERT_NE(loaded, nullptr);
  EXPECT_STREQ(loaded->name, "cube");
  EXPECT_EQ(leave(iff), 1u);
  Q7ObjectDelete(loaded);
  Q7ObjectDelete(thing);
}

}  // namespace
