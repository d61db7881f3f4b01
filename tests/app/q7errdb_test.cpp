#include "app/q7errdb.h"

#include "tests/app/app_test.h"

using apptest::AppTest;
using apptest::num;

namespace {

class q7errdb : public AppTest {
 protected:
  void SetUp() override {
    ASSERT_TRUE(create());
    ASSERT_EQ(1, Q7RegisterErrorDatabaseClass(app));
    cl_ = Q7ClassFind(596);
    ASSERT_TRUE(cl_);
  }
  uint64_t send(uint32_t method, uint64_t a, uint64_t slot) {
    return cl_->header.dispatch(cl_, &cl_->header, method, a, 0, reinterpret_cast<Q7TagItem *>(slot));
  }
  uint64_t add(uint32_t id, const char *text) { return send(596000, id, num(text)); }
  const char *look_up(uint32_t id) { return reinterpret_cast<const char *>(send(596001, 0, id)); }

  Q7Class *cl_ = nullptr;
};

TEST_F(q7errdb, ClassRecord) {
  EXPECT_STREQ("q7errdb", cl_->header.name);
  EXPECT_STREQ("Karmonic", cl_->organisation);
  EXPECT_STREQ("q7common", cl_->module);
  EXPECT_EQ(0u, cl_->isize);
  EXPECT_EQ(Q7ClassFind(0), cl_->super);
}

TEST_F(q7errdb, RegisteredOnce) {
  EXPECT_EQ(1, Q7RegisterErrorDatabaseClass(app));
  EXPECT_EQ(cl_, Q7ClassFind(596));
}

TEST_F(q7errdb, TextIsKeptAsGiven) {
  static const char text[] = "Out of paper";
  EXPECT_EQ(1u, add(9000, text));
  EXPECT_EQ(text, look_up(9000));
}

TEST_F(q7errdb, UnknownIdAnswersZero) { EXPECT_EQ(nullptr, look_up(9001)); }

TEST_F(q7errdb, LastRegistrationWins) {
  add(9000, "first");
  add(9001, "other");
  EXPECT_EQ(1u, add(9000, "second"));
  EXPECT_STREQ("second", look_up(9000));
  EXPECT_STREQ("other", look_up(9001));
}

TEST_F(q7errdb, LookUpIgnoresTheFirstArgument) {
  add(9000, "text");
  EXPECT_EQ(0u, send(596001, 9000, 0));
}

TEST_F(q7errdb, GrowsInStepsOfTwenty) {
  // An empty database first: the file class may have left entries.
  send(24, 0, 0);
  q7test::AllocGate gate;
  for (uint32_t id = 1; id <= 20; ++id) EXPECT_EQ(1u, add(id, "x"));
  EXPECT_EQ(1, gate.count());
  EXPECT_EQ(1u, add(21, "y"));
  EXPECT_EQ(2, gate.count());
  for (uint32_t id = 22; id <= 40; ++id) EXPECT_EQ(1u, add(id, "x"));
  EXPECT_EQ(2, gate.count());
  EXPECT_STREQ("x", look_up(1));
  EXPECT_STREQ("y", look_up(21));
}

TEST_F(q7errdb, FailedGrowthChangesNothing) {
  send(24, 0, 0);
  q7test::AllocGate gate;
  for (uint32_t id = 1; id <= 20; ++id) add(id, "x");
  gate.fail(1);
  EXPECT_EQ(0u, add(21, "y"));
  EXPECT_EQ(nullptr, look_up(21));
  EXPECT_STREQ("x", look_up(20));
  EXPECT_EQ(1u, add(21, "y"));
  EXPECT_STREQ("y", look_up(21));
}

TEST_F(q7errdb, IdsAre32Bits) {
  add(9000, "text");
  EXPECT_EQ(1u, send(596000, (uint64_t{1} << 32) | 9000, num("changed")));
  EXPECT_STREQ("changed", look_up(9000));
}

TEST_F(q7errdb, EmptiedWhenTheClassIsReleased) {
  add(9000, "text");
  EXPECT_EQ(1u, send(24, 0, 0));
  EXPECT_EQ(nullptr, look_up(9000));
}

TEST_F(q7errdb, StartsFreshWithTheNextApplication) {
  add(9000, "text");
  destroy();
  ASSERT_TRUE(create());
  ASSERT_EQ(1, Q7RegisterErrorDatabaseClass(app));
  cl_ = Q7ClassFind(596);
  ASSERT_TRUE(cl_);
  EXPECT_EQ(nullptr, look_up(9000));
}

TEST_F(q7errdb, OtherMethodsGoToTheRootClass) { EXPECT_EQ(1u, send(Q7M_FREE_CACHES, 0, 0)); }

}  // namespace
