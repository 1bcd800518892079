#include "kiv/frame/text.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

TEST(Text, TrimsBothEndsAndKeepsWhatIsInside) {
  for (auto [text, expected] :
       {std::pair{" \t a \t b\r\n", "a \t b"}, {" \t\r\n ", ""}, {"", ""}, {"x", "x"}}) {
    std::string s = text;
    EXPECT_STREQ(trimString(s, " \n\r\t"), expected);
    EXPECT_EQ(s, expected);
  }
}

TEST(Text, CollapsesRunsOfTheSetOnly) {
  for (auto [text, set, expected] : {std::tuple{"a   b", " ", "a b"},
                                     {"  aa  ", " ", " aa "},
                                     {"aabb  cc", "ab", "ab  cc"},
                                     {" ", " ", " "},
                                     {"", " ", ""}}) {
    std::string s = text;
    removeMultiple(s, set);
    EXPECT_EQ(s, expected);
  }
}

TEST(Text, FindsPatterns) {
  struct Row {
    std::string text;
    const char* pattern;
    bool found;
    int start;
    int end;
  };
  const Row rows[] = {
      {"abc\ndef\n", "*?*\n", true, 0, 4},
      {"\n", "*?*\n", false, 0, 0},
      {"\nx\n", "*?*\n", true, 0, 3},
      {"one two", "*?* ", true, 0, 4},
      {"#", "#*", true, 0, 1},
      {"# comment", "#*", true, 0, 1},
      {"not #", "#*", false, 0, 0},
      {"1 0 5 0", "* * * *", true, 1, 6},
      {"1 0 5", "* * * *", false, 0, 0},
      {"* * *", "* * *", true, 0, 5},
      {"H1-B0-T5-L0", "H*-B*-T*-L*", true, 0, 10},
      {"h1-B0-T5-L0", "H*-B*-T*-L*", false, 0, 0},
      {"abc", "a?c", true, 0, 3},
      {"abcd", "abc", true, 0, 3},
      {"xxab", "*ab", true, 2, 4},
      {"", "*", true, 0, 0},
      {"", "?", false, 0, 0},
      {"aab", "*ab", true, 2, 3},
  };
  for (const Row& row : rows) {
    int start = 0;
    int end = 0;
    EXPECT_EQ(getPatternIndex(row.text, row.pattern, &start, &end, '*', '?'), row.found)
        << row.text << row.pattern;
    EXPECT_EQ(start, row.start) << row.text << row.pattern;
    EXPECT_EQ(end, row.end) << row.text << row.pattern;
  }
}

TEST(Text, SplitsAtDelimiters) {
  EXPECT_THAT(splitString("a,,b,", ','), ElementsAre("a", "", "b"));
  EXPECT_THAT(splitString(",", ','), ElementsAre(""));
  EXPECT_THAT(splitString("", ','), IsEmpty());
}

TEST(Text, ReadsIntegers) {
  for (auto [text, value] : {std::pair<const char*, std::int64_t>{"0x1F", 31},
                             {"0X1F", 0},
                             {"  42 apples", 42},
                             {"-7", -7},
                             {"0x", 0},
                             {"tape3", 0},
                             {"", 0},
                             {"4294967295", 4294967295},
                             {"99999999999999999999", INT64_MAX}}) {
    EXPECT_EQ(parseIntegerValue(text), value) << text;
  }
}

}  // namespace
