#include "frame/text.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kvwmi {
namespace {

std::string folded(char32_t letter) {
  std::string text;
  append_code_point(text, fold_case(letter));
  return text;
}

std::vector<char32_t> code_points(std::string_view text) {
  std::vector<char32_t> result;
  while (!text.empty()) result.push_back(next_code_point(text));
  return result;
}

TEST(FoldCase, LettersOfEveryAlphabetServed) {
  const std::vector<std::pair<const char*, const char*>> cases{
      {"AZaz09[`{@", "azaz09[`{@"},
      {"ÀÖØÞ×÷ßÿ", "àöøþ×÷ßÿ"},
      {"ĀĒĮĲĶĹŇŊŶŸŹŽ", "āēįĳķĺňŋŷÿźž"},
      {"ǍǛǞǮǴǸȞȢȲ", "ǎǜǟǯǵǹȟȣȳ"},
      {"ΆΈΊΌΎΏΑΡΣΫ", "άέίόύώαρσϋ"},
      {"ЀЏАЯѠҀҊҾӁӍӐԮ", "ѐџаяѡҁҋҿӂӎӑԯ"},
      {"ԱՖ", "աֆ"},
      {"ḀẔẞẠỾ", "ḁẕßạỿ"},
      {"ＡＺ", "ａｚ"},
      {"日本語 😀", "日本語 😀"},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(fold_case(text), expected);
}

TEST(FoldCase, LeavesNeighboursOfItsRangesAlone) {
  for (const char32_t letter :
       std::vector<char32_t>{0x40,  0x5B,  0xBF,  0xD7,  0xDF,  0x130,  0x131,  0x138,  0x149, 0x17F,
                             0x1C0, 0x1DD, 0x1F0, 0x221, 0x387, 0x38B,  0x38D,  0x390,  0x3A2, 0x3AC,
                             0x430, 0x482, 0x489, 0x530, 0x557, 0x1E96, 0x1E9F, 0xFF20, 0xFF3B}) {
    EXPECT_EQ(fold_case(letter), letter) << std::hex << static_cast<std::uint32_t>(letter);
  }
}

TEST(FoldCase, FoldingTwiceChangesNothing) {
  for (char32_t letter = 0; letter <= 0x1100FF; ++letter) {
    ASSERT_EQ(fold_case(fold_case(letter)), fold_case(letter))
        << std::hex << static_cast<std::uint32_t>(letter);
  }
}

TEST(OtherCase, LeadsThereAndBackAndFoldsAlike) {
  for (char32_t letter = 0; letter <= 0x1100FF; ++letter) {
    const char32_t other = other_case(letter);
    ASSERT_EQ(other_case(other), letter) << std::hex << static_cast<std::uint32_t>(letter);
    ASSERT_EQ(fold_case(other), fold_case(letter)) << std::hex << static_cast<std::uint32_t>(letter);
    ASSERT_TRUE(fold_case(letter) == letter || other != letter)
        << std::hex << static_cast<std::uint32_t>(letter);
  }
}

TEST(OtherCase, GivesEachFormOfALetterForTheOther) {
  const std::vector<std::pair<char32_t, char32_t>> cases{{U'A', U'a'}, {U'Ä', U'ä'}, {U'Ÿ', U'ÿ'},
                                                         {U'ẞ', U'ß'}, {U'Ω', U'ω'}, {U'Й', U'й'}};
  for (const auto& [capital, small] : cases) {
    EXPECT_EQ(other_case(capital), small);
    EXPECT_EQ(other_case(small), capital);
  }
  EXPECT_EQ(other_case(U'1'), U'1');
  EXPECT_EQ(other_case(U'ı'), U'ı');
}

TEST(FoldCase, NoLocaleRuleAppliesToTheLetterI) {
  EXPECT_EQ(folded('I'), "i");
  EXPECT_EQ(folded(0x130), "İ");
}

TEST(CompareIgnoringCase, EqualTexts) {
  const std::vector<std::pair<std::string_view, std::string_view>> cases{
      {"", ""}, {"Spooler", "sPOOLER"}, {"Gerät", "GERÄT"}, {"ΣΑΣ", "σασ"}, {"Ÿ", "ÿ"}, {"a\xFF", "A\xFF"}};
  for (const auto& [a, b] : cases) {
    EXPECT_TRUE(equals_ignoring_case(a, b)) << a;
    EXPECT_EQ(compare_ignoring_case(b, a), 0) << a;
    EXPECT_EQ(fold_case(a), fold_case(b)) << a;
  }
}

TEST(CompareIgnoringCase, OrderIsThatOfFoldedCodePoints) {
  // "_" stands between the two cases of ASCII: folding to small letters puts it before all letters.
  const std::vector<std::pair<std::string_view, std::string_view>> cases{{"", "a"},
                                                                         {"a", "B"},
                                                                         {"A", "b"},
                                                                         {"ab", "ABC"},
                                                                         {"_", "A"},
                                                                         {"z", "ä"},
                                                                         {"Ä", "Ö"},
                                                                         {"\uFF21", "😀"},
                                                                         {"😀", "\xFF"},
                                                                         {std::string_view("a\0", 2), "aa"},
                                                                         {"a", std::string_view("a\0", 2)}};
  for (const auto& [less, more] : cases) {
    EXPECT_LT(compare_ignoring_case(less, more), 0) << less << " < " << more;
    EXPECT_GT(compare_ignoring_case(more, less), 0) << less << " < " << more;
    EXPECT_FALSE(equals_ignoring_case(less, more)) << less << " < " << more;
  }
}

TEST(CodePoints, EveryLength) {
  EXPECT_EQ(code_points("a"), (std::vector<char32_t>{0x61}));
  EXPECT_EQ(code_points(std::string_view("\0", 1)), (std::vector<char32_t>{0}));
  EXPECT_EQ(code_points("\xC2\x80\xDF\xBF"), (std::vector<char32_t>{0x80, 0x7FF}));
  EXPECT_EQ(code_points("\xE0\xA0\x80\xEF\xBF\xBF"), (std::vector<char32_t>{0x800, 0xFFFF}));
  EXPECT_EQ(code_points("\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"), (std::vector<char32_t>{0x10000, 0x10FFFF}));
}

TEST(CodePoints, LoneSurrogatesAreKept) {
  EXPECT_EQ(code_points("\xED\xA0\x80\xED\xBF\xBF"), (std::vector<char32_t>{0xD800, 0xDFFF}));
}

TEST(CodePoints, InvalidBytesComeOneByOne) {
  const auto bad = [](unsigned char byte) { return char32_t{0x110000} + byte; };
  const std::vector<std::pair<std::string_view, std::vector<char32_t>>> cases{
      {"\x80", {bad(0x80)}},                                               // continuation without a lead
      {"\xC3", {bad(0xC3)}},                                               // cut short
      {"\xC3(", {bad(0xC3), '('}},                                         // not continued
      {"\xC0\xAF", {bad(0xC0), bad(0xAF)}},                                // overlong, two bytes
      {"\xE0\x80\xAF", {bad(0xE0), bad(0x80), bad(0xAF)}},                 // overlong, three
      {"\xF0\x80\x80\xAF", {bad(0xF0), bad(0x80), bad(0x80), bad(0xAF)}},  // overlong, four
      {"\xF4\x90\x80\x80", {bad(0xF4), bad(0x90), bad(0x80), bad(0x80)}},  // beyond the last code point
      {"\xF8\x88\x80\x80\x80", {bad(0xF8), bad(0x88), bad(0x80), bad(0x80), bad(0x80)}},
      {"\xE2\x82z", {bad(0xE2), bad(0x82), 'z'}},
      {"\xFF\xFE", {bad(0xFF), bad(0xFE)}},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(code_points(text), expected);
}

TEST(CodePoints, AnyBytesComeBackUnchanged) {
  std::string text;
  for (int lead = 0; lead < 256; ++lead) {
    for (const int next : {0x00, 0x41, 0x80, 0x90, 0xA0, 0xBF, 0xC3, 0xF4}) {
      text.push_back(static_cast<char>(lead));
      text.push_back(static_cast<char>(next));
    }
  }
  std::string copy;
  for (const char32_t point : code_points(text)) append_code_point(copy, point);
  EXPECT_EQ(copy, text);
}

TEST(CodePoints, EveryCodePointComesBackUnchanged) {
  for (char32_t point = 0; point <= 0x10FFFF; ++point) {
    std::string text;
    append_code_point(text, point);
    std::string_view rest = text;
    ASSERT_EQ(next_code_point(rest), point);
    ASSERT_TRUE(rest.empty());
  }
}

}  // namespace
}  // namespace kvwmi
