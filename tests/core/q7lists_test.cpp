// Tests of core/q7lists.cpp.
#include "core/q7lists.h"

#include "tests/core/core_test.h"

namespace {

class Lists : public q7test::Core {
 protected:
  Lists() { Q7NewList(&list_); }
  std::vector<Q7Node *> forward() const {
    std::vector<Q7Node *> nodes;
    for (Q7Node *n = list_.head; n->succ; n = n->succ) nodes.push_back(n);
    std::vector<Q7Node *> back;
    for (Q7Node *n = list_.tail_pred; n->pred; n = n->pred) back.insert(back.begin(), n);
    EXPECT_EQ(nodes, back);
    return nodes;
  }
  using Nodes = std::vector<Q7Node *>;
  Q7List list_;
  Q7Node a_ = {}, b_ = {}, c_ = {};
};

TEST_F(Lists, ANewListIsEmptyAndAnswersTheAddressOfTail) {
  EXPECT_EQ(static_cast<void *>(Q7NewList(&list_)), &list_.tail);
  EXPECT_EQ(static_cast<void *>(list_.head), &list_.tail);
  EXPECT_EQ(list_.tail, nullptr);
  EXPECT_EQ(static_cast<void *>(list_.tail_pred), &list_);
  EXPECT_EQ(Q7NodeCount(&list_), 0);
}

TEST_F(Lists, HeadAndTail) {
  Q7AddHead(&list_, &b_);
  Q7AddHead(&list_, &a_);
  Q7AddTail(&list_, &c_);
  EXPECT_EQ(forward(), (Nodes{&a_, &b_, &c_}));
  EXPECT_EQ(Q7NodeCount(&list_), 3);
  EXPECT_EQ(Q7RemHead(&list_), &a_);
  EXPECT_EQ(Q7RemTail(&list_), &c_);
  EXPECT_EQ(forward(), (Nodes{&b_}));
}

TEST_F(Lists, RemovingTheHeadOfAnEmptyListReturnsNullAndLeavesTheHeaderValid) {
  EXPECT_EQ(Q7RemHead(&list_), nullptr);
  EXPECT_EQ(Q7RemTail(&list_), nullptr);
  Q7CheckListValidity(&list_);
  EXPECT_EQ(Q7NodeCount(&list_), 0);
}

TEST_F(Lists, InsertLinksBehindThePredecessorAndReturnsTheSuccessor) {
  EXPECT_EQ(static_cast<void *>(Q7Insert(&list_, &a_, nullptr)), &list_.tail);
  EXPECT_EQ(static_cast<void *>(Q7Insert(&list_, &c_, &a_)), &list_.tail);
  EXPECT_EQ(Q7Insert(&list_, &b_, &a_), &c_);
  EXPECT_EQ(forward(), (Nodes{&a_, &b_, &c_}));
  Q7Remove(&b_);
  EXPECT_EQ(forward(), (Nodes{&a_, &c_}));
}

TEST_F(Lists, IsInList) {
  Q7AddTail(&list_, &a_);
  EXPECT_EQ(Q7IsInList(&list_, &a_), 1);
  EXPECT_EQ(Q7IsInList(&list_, &b_), 0);
  EXPECT_EQ(Q7IsInList(&list_, reinterpret_cast<Q7Node *>(&list_)), 0) << "the header is no real node";
  EXPECT_EQ(Q7IsInList(&list_, nullptr), 0);
}

TEST_F(Lists, AddPriPutsEqualPrioritiesBehindEachOther) {
  a_.pri = 5;
  b_.pri = 9;
  c_.pri = 5;
  Q7AddPri(&list_, &a_);
  Q7AddPri(&list_, &b_);
  Q7AddPri(&list_, &c_);
  EXPECT_EQ(forward(), (Nodes{&b_, &a_, &c_}));
}

TEST_F(Lists, AddPriComparesUnsigned) {
  a_.pri = 200;
  b_.pri = 100;
  Q7AddPri(&list_, &b_);
  Q7AddPri(&list_, &a_);
  EXPECT_EQ(forward(), (Nodes{&a_, &b_}));
}

TEST_F(Lists, FindNamePassesNamelessNodes) {
  b_.name = "x";
  c_.name = "x";
  Q7AddTail(&list_, &a_);
  Q7AddTail(&list_, &b_);
  Q7AddTail(&list_, &c_);
  EXPECT_EQ(Q7FindName(&list_, "x"), &b_);
  EXPECT_EQ(Q7FindName(&list_, "y"), nullptr);
  EXPECT_EQ(Q7FindName(&list_, nullptr), nullptr);
  int32_t index = 77;
  EXPECT_EQ(Q7FindNameAndIndex(&list_, "y", &index), nullptr);
  EXPECT_EQ(index, 77) << "written only when found";
  EXPECT_EQ(Q7FindNameAndIndex(&list_, "x", &index), &b_);
  EXPECT_EQ(index, 1);
}

TEST_F(Lists, SortedInsertGoesBehindEqualNames) {
  Q7Node first = {nullptr, nullptr, "m", 0};
  Q7Node second = {nullptr, nullptr, "m", 0};
  a_.name = "a";
  b_.name = "z";
  for (Q7Node *n : {&b_, &first, &a_, &second}) Q7SortedInsert(&list_, n);
  EXPECT_EQ(forward(), (Nodes{&a_, &first, &second, &b_}));
  EXPECT_EQ(Q7FindSorted(&list_, "A"), nullptr) << "at the head: capitals sort in front";
  EXPECT_EQ(Q7FindSorted(&list_, "n"), &second);
}

TEST_F(Lists, SortedInsertIgnoreCase) {
  a_.name = "B";
  b_.name = "a";
  c_.name = "C";
  for (Q7Node *n : {&a_, &c_, &b_}) Q7SortedInsertIgnoreCase(&list_, n);
  EXPECT_EQ(forward(), (Nodes{&b_, &a_, &c_}));
  EXPECT_EQ(Q7FindSortedIgnoreCase(&list_, "b"), &a_);
}

TEST_F(Lists, IndexNameReplacesFromTheFirstDigitBehindTheSecondCharacter) {
  char name[16] = "box12";
  EXPECT_EQ(Q7IndexName(name, 3, 6), 1);
  EXPECT_STREQ(name, "box3");
  std::strcpy(name, "12b34c5");
  EXPECT_EQ(Q7IndexName(name, 7, 10), 1);
  EXPECT_STREQ(name, "12b7") << "the first two characters stay, whatever they are";
}

TEST_F(Lists, IndexNameAboveTheLimitFails) {
  char name[16] = "box12";
  EXPECT_EQ(Q7IndexName(name, 1234567, 15), 0);
  EXPECT_EQ(Q7IndexName(name, 1000000, 15), 0);
  EXPECT_EQ(Q7IndexName(name, 999999, 5), 0) << "six digits do not fit five characters";
  EXPECT_STREQ(name, "box12");
  EXPECT_EQ(Q7IndexName(name, 999999, 6), 1);
  EXPECT_STREQ(name, "999999");
}

TEST_F(Lists, IndexNameCutsTheNameToMakeRoom) {
  char name[16] = "abcdefgh";
  EXPECT_EQ(Q7IndexName(name, 42, 8), 1);
  EXPECT_STREQ(name, "abcdef42");
}

TEST_F(Lists, SortedInsertIndexedNumbersEqualNames) {
  char names[3][16] = {"part", "part", "part"};
  Q7Node nodes[3] = {};
  for (int i = 0; i < 3; ++i) {
    nodes[i].name = names[i];
    Q7SortedInsertIndexed(&list_, &nodes[i], 15);
  }
  EXPECT_STREQ(names[0], "part");
  EXPECT_STREQ(names[1], "part0");
  EXPECT_STREQ(names[2], "part1");
}

TEST_F(Lists, ListSeekFromTheFirstBackLeavesTheCursorOnTheHeader) {
  Q7AddTail(&list_, &a_);
  Q7Node *cursor = nullptr;
  EXPECT_EQ(Q7ListSeek(&list_, &cursor, Q7SEEK_FIRST, -1), 0);
  EXPECT_EQ(static_cast<void *>(cursor), &list_);
  EXPECT_EQ(Q7ListSeek(&list_, &cursor, Q7SEEK_CURRENT, 0), 0) << "never 1 for a sentinel, the header included";
  EXPECT_EQ(Q7ListSeek(&list_, &cursor, Q7SEEK_CURRENT, -1), 0);
}

TEST_F(Lists, ListSeekFromTheLastOnLeavesTheCursorOnTheTail) {
  Q7AddTail(&list_, &a_);
  Q7Node *cursor = nullptr;
  EXPECT_EQ(Q7ListSeek(&list_, &cursor, Q7SEEK_LAST, 1), 0);
  EXPECT_EQ(static_cast<void *>(cursor), &list_.tail);
  EXPECT_EQ(Q7ListSeek(&list_, &cursor, Q7SEEK_CURRENT, 0), 0);
  EXPECT_EQ(Q7ListSeek(&list_, &cursor, Q7SEEK_CURRENT, 1), 0);
}

TEST_F(Lists, ListSeekStepsBothWays) {
  for (Q7Node *n : {&a_, &b_, &c_}) Q7AddTail(&list_, n);
  Q7Node *cursor = nullptr;
  EXPECT_EQ(Q7ListSeek(&list_, &cursor, Q7SEEK_FIRST, 2), 1);
  EXPECT_EQ(cursor, &c_);
  EXPECT_EQ(Q7ListSeek(&list_, &cursor, Q7SEEK_CURRENT, -1), 1);
  EXPECT_EQ(cursor, &b_);
  EXPECT_EQ(Q7ListSeek(&list_, &cursor, Q7SEEK_LAST, 0), 1);
  EXPECT_EQ(cursor, &c_);
}

TEST_F(Lists, ListSeekOnAnEmptyListIsZeroWhateverTheCode) {
  Q7Node *cursor = &a_;
  EXPECT_EQ(Q7ListSeek(&list_, &cursor, 99, 0), 0);
  EXPECT_TRUE(q7test::reports().empty());
}

TEST_F(Lists, ListSeekReportsAnIllegalSeekCode) {
  Q7AddTail(&list_, &a_);
  Q7Node *cursor = &a_;
  EXPECT_EQ(Q7ListSeek(&list_, &cursor, 4, 0), 0);
  ASSERT_EQ(q7test::reports().size(), 1u);
  EXPECT_EQ(q7test::reports()[0].text, "Illegal seek code");
  EXPECT_EQ(q7test::reports()[0].module, "q7lists");
}

TEST_F(Lists, ADamagedHeaderIsReportedAndStopsTheProcess) {
  list_.tail = &a_;
  EXPECT_DEATH(
      {
        dup2(2, 1);
        Q7CheckListValidity(&list_);
      },
      "q7lists/.*: Invalid list header");
  list_.tail = nullptr;
  list_.head = nullptr;
  EXPECT_DEATH(Q7CheckListValidity(&list_), "");
}

TEST_F(Lists, NullListsAndNodesChangeNothing) {
  Q7AddTail(&list_, &a_);
  EXPECT_EQ(Q7NewList(nullptr), nullptr);
  EXPECT_EQ(Q7Insert(nullptr, &b_, nullptr), nullptr);
  EXPECT_EQ(Q7Insert(&list_, nullptr, &a_), nullptr);
  EXPECT_EQ(Q7Remove(nullptr), nullptr);
  for (auto *add : {Q7AddHead, Q7AddTail, Q7AddPri, Q7SortedInsert, Q7SortedInsertIgnoreCase}) {
    add(nullptr, &b_);
    add(&list_, nullptr);
  }
  Q7SortedInsertIndexed(nullptr, &b_, 8);
  Q7SortedInsertIndexed(&list_, nullptr, 8);
  EXPECT_EQ(Q7RemHead(nullptr), nullptr);
  EXPECT_EQ(Q7RemTail(nullptr), nullptr);
  EXPECT_EQ(Q7FindSorted(nullptr, "a"), nullptr);
  EXPECT_EQ(Q7FindSortedIgnoreCase(nullptr, "a"), nullptr);
  EXPECT_EQ(forward(), Nodes{&a_});
  EXPECT_EQ(b_.succ, nullptr);
}

}  // namespace
