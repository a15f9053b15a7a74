#include "wmi/wql/pattern.h"

#include <gtest/gtest.h>

namespace kvwmi::wql {
namespace {

bool matches(std::string_view pattern, std::string_view text) {
  return Pattern(pattern).matches(text);
}

TEST(Pattern, APercentSignTakesAnyRun) {
  EXPECT_TRUE(matches("%", ""));
  EXPECT_TRUE(matches("%", "anything"));
  EXPECT_TRUE(matches("%.exe", "a.exe"));
  EXPECT_TRUE(matches("%.exe", ".exe"));
  EXPECT_TRUE(matches("%.exe", "a.exe.exe"));
  EXPECT_FALSE(matches("%.exe", "a.exe2"));
  EXPECT_TRUE(matches("win%", "Win32"));
  EXPECT_TRUE(matches("%device%", "My Device 1"));
  EXPECT_TRUE(matches("a%b%c", "aXXbXbYc"));
  EXPECT_FALSE(matches("a%b%c", "aXXcXb"));
  EXPECT_TRUE(matches("%%a%%", "bab"));
}

TEST(Pattern, AnUnderscoreTakesOneCharacter) {
  EXPECT_TRUE(matches("_", "x"));
  EXPECT_FALSE(matches("_", ""));
  EXPECT_FALSE(matches("_", "xy"));
  EXPECT_TRUE(matches("_", "ü")) << "a character, not a byte";
  EXPECT_TRUE(matches("b_sh", "bash"));
  EXPECT_TRUE(matches("%_", "x"));
  EXPECT_FALSE(matches("%_", ""));
}

TEST(Pattern, SetsAndTheirNegation) {
  EXPECT_TRUE(matches("[a-f]", "c"));
  EXPECT_FALSE(matches("[a-f]", "g"));
  EXPECT_TRUE(matches("[abc]x", "bx"));
  EXPECT_TRUE(matches("[^a-f]", "g"));
  EXPECT_FALSE(matches("[^a-f]", "c"));
  EXPECT_FALSE(matches("[^a]", ""));
  EXPECT_TRUE(matches("[a-cx-z]", "y"));
  EXPECT_TRUE(matches("[-a]", "-"));
  EXPECT_TRUE(matches("[a-]", "-"));
  EXPECT_TRUE(matches("[a^]", "^"));
  EXPECT_TRUE(matches("%[0-9][0-9]", "disk12"));
}

TEST(Pattern, AWildcardInBracketsIsItself) {
  EXPECT_TRUE(matches("100[%]", "100%"));
  EXPECT_FALSE(matches("100[%]", "1000"));
  EXPECT_TRUE(matches("a[_]b", "a_b"));
  EXPECT_FALSE(matches("a[_]b", "axb"));
  EXPECT_TRUE(matches("[[]x]", "[x]"));
  EXPECT_TRUE(matches("a]b", "a]b"));
}

TEST(Pattern, CaseDoesNotCount) {
  EXPECT_TRUE(matches("BASH", "bash"));
  EXPECT_TRUE(matches("[A-F]", "c"));
  EXPECT_TRUE(matches("[a-f]", "C"));
  EXPECT_FALSE(matches("[^a-f]", "C"));
  EXPECT_TRUE(matches("ÄÖ%", "äöü"));
}

TEST(Pattern, ALetterIsInARangeThatEitherOfItsFormsIsIn) {
  for (const char* first : {"Z", "z", "A", "a", "^", "_"}) EXPECT_TRUE(matches("[Z-a]", first)) << first;
  for (const char* first : {"Y", "y", "B", "b", "@", "{"}) EXPECT_FALSE(matches("[Z-a]", first)) << first;
  EXPECT_FALSE(matches("[^Z-a]", "z"));
  EXPECT_TRUE(matches("[^Z-a]", "y"));
  EXPECT_TRUE(matches("[À-É]", "ä"));
  EXPECT_FALSE(matches("[À-É]", "ö"));
}

TEST(Pattern, RefusesSetsThatMeanNothing) {
  for (const char* pattern : {"[", "x[abc", "[]", "[^]", "[z-a]"}) {
    EXPECT_THROW(Pattern{pattern}, std::invalid_argument) << pattern;
  }
}

TEST(Pattern, KnowsWhenItIsPlainText) {
  EXPECT_EQ(Pattern("bash").plain_text(), "bash");
  EXPECT_EQ(Pattern("").plain_text(), "");
  EXPECT_EQ(Pattern("b%").plain_text(), std::nullopt);
  EXPECT_EQ(Pattern("b_").plain_text(), std::nullopt);
  EXPECT_EQ(Pattern("[b]").plain_text(), std::nullopt);
}

// A matcher that tries every division of the text among the runs would need longer than the universe has
// lasted.
TEST(Pattern, DoesNotBlowUpOnAdversarialPatterns) {
  std::string many;
  for (int i = 0; i < 30; ++i) many += "%a";
  const std::string text(5000, 'a');
  EXPECT_FALSE(matches(many + "%b", text));
  EXPECT_TRUE(matches(many + "%", text));
  EXPECT_FALSE(matches("%" + std::string(2000, 'a') + "b", text));
  EXPECT_FALSE(matches("%" + std::string(200, '_') + "[^a]%", text));
}

// The same answers as the textbook table, row by row, for every short pattern and text over a small alphabet.
TEST(Pattern, AgreesWithTheExhaustiveTable) {
  const auto table = [](const std::string& pattern, const std::string& text) {
    std::vector<bool> row(text.size() + 1, false);
    row[0] = true;
    for (const char p : pattern) {
      std::vector<bool> next(text.size() + 1, false);
      if (p == '%') next[0] = row[0];
      for (std::size_t j = 1; j <= text.size(); ++j) {
        next[j] = p == '%' ? row[j] || next[j - 1] : row[j - 1] && (p == '_' || p == text[j - 1]);
      }
      row = next;
    }
    return static_cast<bool>(row[text.size()]);
  };
  const auto words = [](const std::string& alphabet, std::size_t longest) {
    std::vector<std::string> all{""};
    for (std::size_t first = 0, length = 0; length < longest; ++length) {
      const std::size_t last = all.size();
      for (; first < last; ++first) {
        for (const char c : alphabet) all.push_back(all[first] + c);
      }
    }
    return all;
  };
  for (const std::string& pattern : words("ab%_", 5)) {
    const Pattern compiled(pattern);
    for (const std::string& text : words("ab", 6)) {
      ASSERT_EQ(compiled.matches(text), table(pattern, text)) << pattern << " on " << text;
    }
  }
}

}  // namespace
}  // namespace kvwmi::wql
