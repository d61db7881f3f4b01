// Tests of core/q7strings.cpp.
#include <chrono>
#include <string>

#include "tests/core/core_test.h"

namespace {

using Strings = q7test::Core;

TEST_F(Strings, StrDupCopies) {
  char *copy = Q7StrDup("abc");
  EXPECT_STREQ(copy, "abc");
  Q7StrFree(copy);
  EXPECT_EQ(Q7StrDup(nullptr), nullptr);
  Q7StrFree(nullptr);
}

TEST_F(Strings, StrAllocOfZeroReturnsNull) { EXPECT_EQ(Q7StrAlloc(0), nullptr); }

TEST_F(Strings, StrAllocGivesAnEmptyText) {
  char *s = Q7StrAlloc(5);
  EXPECT_EQ(s[0], 0);
  std::strcpy(s, "12345");
  Q7StrFree(s);
  EXPECT_EQ(Q7StrAlloc(UINT64_MAX), nullptr);
}

TEST_F(Strings, StrCpyOfSizeOneYieldsTheEmptyString) {
  char buffer[4] = "xyz";
  EXPECT_EQ(Q7StrCpy(buffer, "abc", 1), buffer);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(buffer[1], 'y');
}

TEST_F(Strings, StrCpyCutsAndPads) {
  char buffer[8];
  std::memset(buffer, 'x', sizeof buffer);
  EXPECT_STREQ(Q7StrCpy(buffer, "abcdefgh", 4), "abc");
  EXPECT_EQ(buffer[4], 'x');
  std::memset(buffer, 'x', sizeof buffer);
  EXPECT_STREQ(Q7StrCpy(buffer, "a", 6), "a");
  for (int i = 1; i < 6; ++i) EXPECT_EQ(buffer[i], 0);
  EXPECT_EQ(buffer[6], 'x');
}

TEST_F(Strings, StrCpyWithoutRoomOrTextIsSafe) {
  char buffer[2] = "a";
  Q7StrCpy(buffer, "b", 0);
  Q7StrCpy(buffer, "b", -5);
  EXPECT_STREQ(buffer, "a");
  Q7StrCpy(buffer, nullptr, 2);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(Q7StrCpy(nullptr, "a", 2), nullptr);
}

TEST_F(Strings, StrCatAppendsUpToSizeMinusOneCharacters) {
  char buffer[9] = "abc";
  EXPECT_EQ(Q7StrCat(buffer, "defgh", 7), q7test::u64(buffer));
  EXPECT_STREQ(buffer, "abcdef");
}

TEST_F(Strings, StrCatOnAFullBufferOnlyEndsItAndReturnsTheOldLength) {
  char buffer[9] = "abcdefg";
  EXPECT_EQ(Q7StrCat(buffer, "xyz", 7), 7u);
  EXPECT_STREQ(buffer, "abcdef");
}

TEST_F(Strings, StrCatStoresTheEndAtSizeMinusOneAlways) {
  char buffer[9];
  std::memset(buffer, 'x', sizeof buffer);
  std::strcpy(buffer, "a");
  Q7StrCat(buffer, "b", 8);
  EXPECT_STREQ(buffer, "ab");
  EXPECT_EQ(buffer[7], 0);
  EXPECT_EQ(buffer[5], 'x');
}

TEST_F(Strings, StrCatOnATextLongerThanSizeCutsIt) {
  char buffer[12] = "abcdefghij";
  EXPECT_EQ(Q7StrCat(buffer, "x", 5), q7test::u64(buffer));
  EXPECT_STREQ(buffer, "abcd");
}

TEST_F(Strings, CaseCompareAnswersTheDifferenceOfTheLowerCaseLetters) {
  EXPECT_EQ(Q7StrCaseCmp("ABC", "abc"), 0);
  EXPECT_EQ(Q7StrCaseCmp("a", "C"), 'a' - 'c');
  EXPECT_EQ(Q7StrCaseCmp("ab", "A"), 'b');
  EXPECT_EQ(Q7StrCaseCmp("", "b"), -'b');
  EXPECT_EQ(Q7StrNCaseCmp("abX", "ABy", 2), 0);
  EXPECT_EQ(Q7StrNCaseCmp("abX", "ABy", 3), 'x' - 'y');
  EXPECT_EQ(Q7StrNCaseCmp("a", "b", 0), 0);
}

TEST_F(Strings, RemoveCharsOfKindReturnsTheOldLength) {
  char text[] = "a-b--c-";
  EXPECT_EQ(Q7StrRemoveCharsOfKind(text, '-'), 7u);
  EXPECT_STREQ(text, "abc");
}

TEST_F(Strings, MatchStarQuestionAndReversedRange) {
  EXPECT_EQ(Q7StringMatch("abc", "a*"), 1);
  EXPECT_EQ(Q7StringMatch("abc", "?b?"), 1);
  EXPECT_EQ(Q7StringMatch("b", "[c-a]"), 1);
  EXPECT_EQ(Q7StringMatch("", "*"), 1);
}

TEST_F(Strings, MatchRejectsTheEmptySetTheEmptyPatternAndALoneBackslash) {
  EXPECT_EQ(Q7StringMatch("abc", "a[]c"), 0);
  EXPECT_EQ(Q7StringMatch("a", ""), 0);
  EXPECT_EQ(Q7StringMatch("", ""), 1);
  EXPECT_EQ(Q7StringMatch("abc", "abc\\"), 0);
  EXPECT_EQ(Q7StringMatch("abc\\", "abc\\"), 0);
  EXPECT_EQ(Q7StringMatch("a", "\\"), 0);
  EXPECT_EQ(Q7StringMatch("", "\\"), 0);
}

TEST_F(Strings, MatchSets) {
  EXPECT_EQ(Q7StringMatch("!", "[!a]"), 1) << "no negation: ! is a member";
  EXPECT_EQ(Q7StringMatch("b", "[!a]"), 0);
  EXPECT_EQ(Q7StringMatch("^", "[^a]"), 1);
  EXPECT_EQ(Q7StringMatch("\\", "[a\\b]"), 1) << "a backslash is a member";
  EXPECT_EQ(Q7StringMatch("a]", "[a]]"), 1);
  EXPECT_EQ(Q7StringMatch("a", "[abc"), 0) << "no closing bracket";
  EXPECT_EQ(Q7StringMatch("a", "[a-]"), 0) << "a range without an end";
  EXPECT_EQ(Q7StringMatch("a", "[a-"), 0);
  EXPECT_EQ(Q7StringMatch("-", "[-a]"), 1) << "a dash in front is a member";
  EXPECT_EQ(Q7StringMatch("x", "[a-z"), 0);
  EXPECT_EQ(Q7StringMatch("xy", "[a-z][0-9y]"), 1);
  EXPECT_EQ(Q7StringMatch("\xE9", "[\xF0-\xE0]"), 1);
  EXPECT_EQ(Q7StringMatch("a", "[\x80-\x7F]"), 1) << "bytes are signed: 0x80 is the smallest, 0x7F the largest";
  EXPECT_EQ(Q7StringMatch("\xE9", "[ -~]"), 0);
}

TEST_F(Strings, MatchBackslashMakesTheNextCharacterLiteral) {
  EXPECT_EQ(Q7StringMatch("a*c", "a\\*c"), 1);
  EXPECT_EQ(Q7StringMatch("abc", "a\\*c"), 0);
  EXPECT_EQ(Q7StringMatch("\\", "\\\\"), 1);
}

TEST_F(Strings, MatchStarTriesEveryPositionUpToTheEmptyEnd) {
  EXPECT_EQ(Q7StringMatch("abcabd", "*abd"), 1);
  EXPECT_EQ(Q7StringMatch("ab", "ab*"), 1);
  EXPECT_EQ(Q7StringMatch("ab", "ab**"), 1);
  EXPECT_EQ(Q7StringMatch("aXbXc", "a*X*c"), 1);
  EXPECT_EQ(Q7StringMatch("aXbXd", "a*X*c"), 0);
  EXPECT_EQ(Q7StringMatch("", "?"), 0);
}

TEST_F(Strings, IgnoreCaseMatchesLettersButNotSets) {
  EXPECT_EQ(Q7StringMatchIgnoreCase("ABC", "a?c"), 1);
  EXPECT_EQ(Q7StringMatchIgnoreCase("B", "[a-c]"), 0);
  EXPECT_EQ(Q7StringMatchIgnoreCase("A", "\\a"), 1) << "an escaped letter compares like any literal";
  EXPECT_EQ(Q7StringMatchIgnoreCase("[", "\\{"), 0) << "only letters have a case";
  EXPECT_EQ(Q7StringMatch("A", "a"), 0);
}

TEST_F(Strings, MatchOfNullIsNoMatch) {
  EXPECT_EQ(Q7StringMatch(nullptr, "*"), 0);
  EXPECT_EQ(Q7StringMatch("a", nullptr), 0);
}

// A slow matcher by the definition, for short texts: every star tries every position.
bool slow_match(const char *s, const char *p) {
  if (*p == '*') return slow_match(s, p + 1) || (*s && slow_match(s + 1, p));
  if (!*s) return !*p;
  return *p && (*p == '?' || *p == *s) && slow_match(s + 1, p + 1);
}

TEST_F(Strings, MatchAgreesWithTheDefinitionOnAllShortTextsAndPatterns) {
  const char letters[] = "ab";
  const char pattern_letters[] = "ab?*";
  for (int length = 0; length <= 5; ++length) {
    for (int text = 0; text < 1 << length; ++text) {
      std::string s;
      for (int i = 0; i < length; ++i) s += letters[text >> i & 1];
      for (int pattern = 0; pattern < 4 * 4 * 4 * 4 * 4; ++pattern) {
        std::string p;
        for (int i = 0; i < 5; ++i) p += pattern_letters[pattern >> 2 * i & 3];
        p.resize(static_cast<size_t>(pattern % 6));
        ASSERT_EQ(Q7StringMatch(s.c_str(), p.c_str()) != 0, slow_match(s.c_str(), p.c_str())) << s << " " << p;
      }
    }
  }
}

TEST_F(Strings, MatchIsNotExponential) {
  // An exponential matcher would take about (64 Ki)^5 / 120 steps here, which no machine ends; a matcher whose steps
  // are bounded by length times pattern takes under a million. The bound on time is far above that and far below the
  // other.
  const std::string text(65536, 'a');
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(Q7StringMatch(text.c_str(), "*a*a*a*a*a*b"), 0);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
}

}  // namespace
