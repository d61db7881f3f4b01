// Tests of core/q7objstream.cpp: the header of object streams.
#include "tests/core/memory_stream.h"

namespace {

using q7test::counted;
using q7test::make_class;
using q7test::MemoryStream;
using q7test::reports;
using q7test::u64;
using q7test::word16;
using q7test::word32;

// A class with one 32-bit value of its own that it writes and reads.
uint64_t value_dispatch(Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
  auto *value = reinterpret_cast<uint32_t *>(reinterpret_cast<char *>(obj) + cl->ioffset);
  auto *stream =
      reinterpret_cast<Q7Object *>(method == Q7M_SAVE || method == Q7M_READ ? Q7TagVal(tags, Q7A_STREAM, 0) : 0);
  switch (method) {
    case Q7M_SAVE:
      return cl->superdispatch(cl->super, obj, method, a, b, tags) &&
             q7test::send(stream, 5006, 0, 0, q7test::slot(uint64_t{*value}));
    case Q7M_READ:
      return cl->superdispatch(cl->super, obj, method, a, b, tags) &&
             q7test::send(stream, 5001, 0, 0, q7test::slot(value));
    default: return cl->superdispatch(cl->super, obj, method, a, b, tags);
  }
}

class ObjectStreams : public q7test::Core {
 protected:
  void SetUp() override {
    Core::SetUp();
    base_ =
        Q7ClassCreate(0, 100, value_dispatch, 4, uint32_t{Q7CT_NAME}, "base", uint32_t{Q7CT_VERSION}, uint64_t{7}, 0);
    sub_ = Q7ClassCreate(100, 101, nullptr, 0, uint32_t{Q7CT_NAME}, "sub", uint32_t{Q7CT_VERSION}, uint64_t{2}, 0);
  }
  std::string saved(const char *name) {
    Q7Object *obj = Q7ObjectCreate(101, uint32_t{Q7A_NAME}, name, 0);
    value(obj) = 0xCAFE;
    MemoryStream stream;
    EXPECT_NE(Q7ObjectSave(obj, uint32_t{Q7A_STREAM}, &stream.object, 0), 0u);
    Q7ObjectDelete(obj);
    return stream.bytes;
  }
  uint32_t &value(Q7Object *obj) {
    return *reinterpret_cast<uint32_t *>(reinterpret_cast<char *>(obj) + base_->ioffset);
  }
  Q7Object *load(const std::string &bytes) {
    MemoryStream stream(bytes);
    Q7Object *obj = Q7ObjectLoad(stream, 0);
    EXPECT_LE(stream.largest_request, 200u);
    return obj;
  }
  void expect_no_instances() { EXPECT_EQ(Q7ClassFind(0)->nsubinstances, 0u); }
  static std::string header(uint32_t clid, const std::string &pairs, const std::string &name) {
    return word32(clid) + pairs + name;
  }
  std::string pairs(uint16_t sub = 2, uint16_t base = 7, uint16_t root = 1) {
    return word32(101) + word16(sub) + word32(100) + word16(base) + word32(0) + word16(root);
  }
  Q7Class *base_, *sub_;
};

TEST_F(ObjectStreams, TheHeaderIsFourIntegersAndThreeWordsBeforeTheName) {
  EXPECT_EQ(saved("n1"), header(101, pairs(), counted("n1")) + word32(0xCAFE));
}

TEST_F(ObjectStreams, AnUnnamedObjectWritesTheEmptyTextAndLoadsUnnamed) {
  const std::string bytes = saved(nullptr);
  EXPECT_EQ(bytes, header(101, pairs(), std::string("\x01\0\0", 3)) + word32(0xCAFE));
  Q7Object *obj = load(bytes);
  ASSERT_NE(obj, nullptr);
  EXPECT_EQ(obj->name, nullptr);
  Q7ObjectDelete(obj);
}

TEST_F(ObjectStreams, LoadGivesBackClassNameAndData) {
  Q7Object *obj = load(saved("lamp"));
  ASSERT_NE(obj, nullptr);
  EXPECT_EQ(obj->clid, 101u);
  EXPECT_STREQ(obj->name, "lamp");
  EXPECT_EQ(value(obj), 0xCAFEu);
  EXPECT_EQ(obj->refcount, 0);
  Q7ObjectDelete(obj);
}

uint64_t stream_function(Q7Object *obj, Q7Object *stream, uint64_t data) {
  reports().push_back({"function", static_cast<int>(obj->clid), stream ? "stream" : "", data});
  return 0;
}

TEST_F(ObjectStreams, WriterAndReaderAreCalledBehindTheHeader) {
  Q7Object *obj = Q7ObjectCreate(0, uint32_t{Q7A_NAME}, "x", 0);
  MemoryStream stream;
  EXPECT_EQ(Q7ObjectSave(obj, uint32_t{Q7A_STREAM}, &stream.object, uint32_t{Q7A_WRITER}, stream_function,
                         uint32_t{Q7A_WRITER_DATA}, uint64_t{5}, 0),
            1u);
  ASSERT_EQ(reports().size(), 1u);
  EXPECT_EQ(reports()[0].text, "stream");
  EXPECT_EQ(reports()[0].data, 5u);
  Q7ObjectDelete(obj);
  obj = Q7ObjectLoad(stream, uint32_t{Q7A_READER}, stream_function, uint32_t{Q7A_READER_DATA}, uint64_t{6}, 0);
  ASSERT_NE(obj, nullptr);
  ASSERT_EQ(reports().size(), 2u);
  EXPECT_EQ(reports()[1].text, "stream");
  EXPECT_EQ(reports()[1].data, 6u);
  Q7ObjectDelete(obj);
}

TEST_F(ObjectStreams, AFailedHeaderWriteFailsTheSaveAtOnce) {
  Q7Object *obj = Q7ObjectCreate(101, uint32_t{Q7A_NAME}, "x", 0);
  for (int64_t n = 1; n <= 10; ++n) {
    MemoryStream stream;
    stream.fail_at = n;
    EXPECT_EQ(Q7ObjectSave(obj, uint32_t{Q7A_STREAM}, &stream.object, 0), 0u) << n;
    EXPECT_EQ(stream.operations, n) << "nothing is tried behind a failure";
  }
  EXPECT_EQ(Q7ObjectSave(obj, 0), 0u) << "no stream";
  Q7ObjectDelete(obj);
}

TEST_F(ObjectStreams, AFailedReadAnywhereFailsTheLoadAndLeavesNothing) {
  const std::string bytes = saved("lamp");
  for (int64_t n = 1; n <= 10; ++n) {
    MemoryStream stream(bytes);
    stream.fail_at = n;
    EXPECT_EQ(Q7ObjectLoad(stream, 0), nullptr) << n;
    expect_no_instances();
  }
  EXPECT_EQ(Q7ObjectLoad(nullptr, 0), nullptr);
}

TEST_F(ObjectStreams, AStreamTruncatedAtEveryByteFailsTheLoadAndLeavesNothing) {
  const std::string bytes = saved("lamp");
  for (size_t n = 0; n < bytes.size(); ++n) {
    EXPECT_EQ(load(bytes.substr(0, n)), nullptr) << n;
    expect_no_instances();
  }
}

TEST_F(ObjectStreams, AnOlderInstalledClassNeedsANewerVersion) {
  EXPECT_EQ(load(header(101, pairs(3), counted("lamp")) + word32(1)), nullptr);
  ASSERT_EQ(reports().size(), 1u);
  EXPECT_EQ(reports()[0].text, "Cannot Read Object 'lamp', Need Newer Version (class 101/?: 2 < 3)");
  EXPECT_EQ(reports()[0].module, "q7root");
  expect_no_instances();
}

TEST_F(ObjectStreams, ANewerVersionIsAskedForUnderTheNameOfTheNamingService) {
  make_class(0, 700, [](Q7Class *cl, Q7Object *obj, uint32_t method, uint64_t a, uint64_t b, Q7TagItem *tags) {
    if (method == 700007) return a == 101 && b == 1 && u64(tags) == 101 ? u64("Lamp") : 0;
    return cl->superdispatch(cl->super, obj, method, a, b, tags);
  });
  Q7SetClassAttrs(0, uint32_t{Q7CT_NAMING_CLASS}, uint64_t{700}, uint32_t{Q7CT_NAMING_METHOD}, uint64_t{700007}, 0);
  EXPECT_EQ(load(header(101, pairs(3), counted("lamp")) + word32(1)), nullptr);
  EXPECT_EQ(q7test::report_texts(),
            std::vector<std::string>{"Cannot Read Object 'lamp', Need Newer Version (class 101/Lamp: 2 < 3)"});
}

TEST_F(ObjectStreams, EveryStoredPairOfAnInstalledClassIsChecked) {
  EXPECT_EQ(load(header(101, pairs(2, 8), counted("lamp")) + word32(1)), nullptr);
  EXPECT_EQ(load(header(101, pairs(2, 7, 2), counted("lamp")) + word32(1)), nullptr);
  EXPECT_EQ(load(header(101, pairs(9, 9, 9), counted("lamp")) + word32(1)), nullptr);
  EXPECT_EQ(q7test::report_texts(),
            (std::vector<std::string>{"Cannot Read Object 'lamp', Need Newer Version (class 100/?: 7 < 8)",
                                      "Cannot Read Object 'lamp', Need Newer Version (class 0/?: 1 < 2)",
                                      "Cannot Read Object 'lamp', Need Newer Version (class 101/?: 2 < 9)"}));
}

TEST_F(ObjectStreams, PairsOfClassesThatAreNotInstalledAndOlderVersionsPass) {
  const std::string chain = word32(101) + word16(1) + word32(4321) + word16(99) + word32(0) + word16(0);
  Q7Object *obj = load(header(101, chain, counted("lamp")) + word32(1));
  ASSERT_NE(obj, nullptr);
  Q7ObjectDelete(obj);
}

TEST_F(ObjectStreams, AMissingClassIsReported) {
  EXPECT_EQ(load(header(102, pairs(), counted("lamp")) + word32(1)), nullptr);
  EXPECT_EQ(q7test::report_texts(), std::vector<std::string>{"Cannot Read Object 'lamp', Class Not Installed (102 ?)"});
}

TEST_F(ObjectStreams, MissingClassesAreNotReportedWhenTheRootClassWasTold) {
  Q7SetClassAttrs(0, uint32_t{Q7CT_REPORT_MISSING}, uint64_t{0}, 0);
  EXPECT_EQ(load(header(102, pairs(), counted("lamp"))), nullptr);
  EXPECT_TRUE(reports().empty());
}

TEST_F(ObjectStreams, AnyClassIdOutOfAStreamIsHarmless) {
  Q7SetClassAttrs(0, uint32_t{Q7CT_REPORT_MISSING}, uint64_t{0}, 0);
  for (uint32_t id : {5000u, 5001u, 0x7FFFFFFFu, 0xFFFFFFFFu, 4294967u}) {
    EXPECT_EQ(load(header(id, word32(id) + word16(1) + pairs(), counted("a"))), nullptr);
  }
  EXPECT_TRUE(reports().empty()) << "not worth a panic";
}

TEST_F(ObjectStreams, IllegalNameLengthsFailBeforeAByteOfTheNameIsRead) {
  for (uint16_t length : {0, 201, 65535}) {
    MemoryStream stream(header(101, pairs(), word16(length) + std::string(70000, 'x')));
    EXPECT_EQ(Q7ObjectLoad(stream, 0), nullptr) << length;
    EXPECT_EQ(stream.largest_request, 4u);
  }
  expect_no_instances();
}

TEST_F(ObjectStreams, ANameWithoutItsEndFails) {
  EXPECT_EQ(load(header(101, pairs(), word16(4) + "lamp") + word32(1)), nullptr);
}

TEST_F(ObjectStreams, ANameOfTwoHundredBytesIsAccepted) {
  const std::string name(199, 'n');
  Q7Object *obj = load(header(101, pairs(), counted(name)) + word32(1));
  ASSERT_NE(obj, nullptr);
  EXPECT_EQ(obj->name, name);
  Q7ObjectDelete(obj);
}

TEST_F(ObjectStreams, ALongerNameIsSavedButNotReadBack) {
  const std::string name(200, 'n');
  const std::string bytes = saved(name.c_str());
  EXPECT_EQ(bytes, header(101, pairs(), counted(name)) + word32(0xCAFE));
  EXPECT_EQ(load(bytes), nullptr);
  EXPECT_TRUE(reports().empty());
  expect_no_instances();
}

TEST_F(ObjectStreams, SixtyFourPairsFollowedByRubbish) {
  std::string chain;
  for (uint32_t i = 0; i < 64; ++i) chain += word32(101) + word16(1);
  EXPECT_EQ(load(header(101, chain, std::string(1000, '\xFF'))), nullptr);
  Q7Object *obj = load(header(101, chain, counted("ok")) + word32(1));
  ASSERT_NE(obj, nullptr) << "the name follows the 64th pair";
  Q7ObjectDelete(obj);
}

void make_chain(uint32_t classes) {
  for (uint32_t i = 1; i < classes; ++i) ASSERT_NE(make_class(i == 1 ? 0 : 1000 + i - 1, 1000 + i), nullptr);
}

TEST_F(ObjectStreams, AChainOfExactly64ClassesIsWrittenWholeAndReported) {
  make_chain(64);
  Q7Object *obj = Q7ObjectCreate(1063, 0);
  MemoryStream stream;
  EXPECT_EQ(Q7ObjectSave(obj, uint32_t{Q7A_STREAM}, &stream.object, 0), 1u);
  EXPECT_EQ(stream.bytes.size(), 4 + 64 * 6 + 3u);
  EXPECT_EQ(stream.bytes.substr(4 + 63 * 6, 6), word32(0) + word16(1));
  EXPECT_EQ(q7test::report_texts(),
            std::vector<std::string>{"Too many hierarchy levels for class 1063, version control will fail\n"});
  Q7ObjectDelete(obj);
}

TEST_F(ObjectStreams, AChainOf63ClassesIsNotReportedAndOneOf70IsCutAt64) {
  make_chain(70);
  MemoryStream stream;
  Q7Object *obj = Q7ObjectCreate(1062, 0);
  EXPECT_EQ(Q7ObjectSave(obj, uint32_t{Q7A_STREAM}, &stream.object, 0), 1u);
  EXPECT_TRUE(reports().empty());
  Q7ObjectDelete(obj);
  obj = Q7ObjectCreate(1069, uint32_t{Q7A_NAME}, "deep", 0);
  MemoryStream deep;
  EXPECT_EQ(Q7ObjectSave(obj, uint32_t{Q7A_STREAM}, &deep.object, 0), 1u);
  EXPECT_EQ(deep.bytes.size(), 4 + 64 * 6 + counted("deep").size());
  EXPECT_EQ(reports().size(), 1u);
  Q7ObjectDelete(obj);
  Q7Object *loaded = load(deep.bytes);
  ASSERT_NE(loaded, nullptr);
  EXPECT_STREQ(loaded->name, "deep");
  Q7ObjectDelete(loaded);
}

TEST_F(ObjectStreams, AFailingReadOfTheOwnDataDisposesTheObject) {
  EXPECT_EQ(load(header(101, pairs(), counted("lamp")) + "xy"), nullptr);
  expect_no_instances();
}

// An allocator that counts what it holds.
struct Pool {
  int64_t live = 0;
  static void *allocate(void *context, uint64_t size, uint32_t flags) {
    ++static_cast<Pool *>(context)->live;
    return Q7AllocMem(size, flags);
  }
  static void release(void *context, void *block, uint64_t size) {
    --static_cast<Pool *>(context)->live;
    Q7FreeMem(block, size);
  }
};

TEST_F(ObjectStreams, LoadTakesTheAllocatorInA) {
  Pool pool;
  Q7AltMem allocator = {Pool::allocate, Pool::release, &pool};
  MemoryStream stream(saved("lamp"));
  auto *obj = reinterpret_cast<Q7Object *>(
      q7test::send(Q7ClassFind(0), Q7M_LOAD, u64(&allocator), u64(&stream.object), nullptr));
  ASSERT_NE(obj, nullptr);
  EXPECT_EQ(pool.live, 2) << "the object and its name";
  Q7AltObjectDelete(obj, &allocator);
  EXPECT_EQ(pool.live, 0);
  MemoryStream broken(saved("lamp").substr(0, 30));
  EXPECT_EQ(q7test::send(Q7ClassFind(0), Q7M_LOAD, u64(&allocator), u64(&broken.object), nullptr), 0u);
  EXPECT_EQ(pool.live, 0);
}

TEST_F(ObjectStreams, ExhaustionAtEveryAllocationOfALoad) {
  const std::string bytes = saved("lamp");
  for (int64_t n = 1;; ++n) {
    q7test::AllocGate gate;
    gate.fail(n);
    Q7Object *obj = load(bytes);
    const bool failed = gate.refused() > 0;
    gate.pass();
    if (!failed) {
      ASSERT_NE(obj, nullptr);
      EXPECT_EQ(n, 3) << "the object and its name";
      Q7ObjectDelete(obj);
      return;
    }
    EXPECT_EQ(obj, nullptr);
    expect_no_instances();
  }
}

}  // namespace
