#include "windows/text/unicode.h"

#include <gtest/gtest.h>

#include <string>

#include "windows/text/bstr.h"

namespace kvwmi::windows {
namespace {

using namespace std::string_literals;

TEST(Unicode, EncodesEveryLength) {
  EXPECT_EQ(to_utf8(L"A\u00E9\u20AC\U0001F600"), "A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
  EXPECT_EQ(to_utf16("A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"), L"A\u00E9\u20AC\U0001F600");
}

TEST(Unicode, KeepsNuls) {
  EXPECT_EQ(to_utf8(L"a\0b\0"s), "a\0b\0"s);
  EXPECT_EQ(to_utf16("a\0b\0"s), L"a\0b\0"s);
}

TEST(Unicode, EveryUnpairedSurrogateComesBack) {
  for (unsigned unit = 0xD800; unit <= 0xDFFF; ++unit) {
    const std::wstring lone{L'x', static_cast<wchar_t>(unit), L'y'};
    EXPECT_EQ(to_utf16(to_utf8(lone)), lone) << unit;
  }
  const std::wstring reversed{wchar_t{0xDC00}, wchar_t{0xD800}};
  EXPECT_EQ(to_utf16(to_utf8(reversed)), reversed);
}

TEST(Unicode, EveryCodePointComesBack) {
  std::wstring all;
  for (unsigned unit = 0; unit < 0xD800; ++unit) all += static_cast<wchar_t>(unit);
  for (unsigned high = 0xD800; high <= 0xDBFF; ++high) {
    all += static_cast<wchar_t>(high);
    all += static_cast<wchar_t>(0xDC00 + (high & 0x3FF));
  }
  for (unsigned unit = 0xE000; unit <= 0xFFFF; ++unit) all += static_cast<wchar_t>(unit);
  EXPECT_EQ(to_utf16(to_utf8(all)), all);
}

TEST(Unicode, ReplacesEachMalformedByte) {
  EXPECT_EQ(to_utf16("a\x80z"), L"a\uFFFDz");                            // tail without a lead
  EXPECT_EQ(to_utf16("a\xE2\x82"), L"a\uFFFD\uFFFD");                    // cut off
  EXPECT_EQ(to_utf16("\xC0\x80"), L"\uFFFD\uFFFD");                      // longer than needed
  EXPECT_EQ(to_utf16("\xF4\x90\x80\x80"), L"\uFFFD\uFFFD\uFFFD\uFFFD");  // beyond the last code point
  EXPECT_EQ(to_utf16("\xFF"
                     "A"),
            L"\uFFFD"
            L"A");
}

TEST(Bstr, RoundTripsAndTellsNullFromNothing) {
  EXPECT_EQ(from_bstr(Bstr("a\0\xC3\xA9"s).get()), "a\0\xC3\xA9"s);
  EXPECT_NE(Bstr("").get(), nullptr);
  EXPECT_EQ(from_bstr(static_cast<BSTR>(nullptr)), "");
}

}  // namespace
}  // namespace kvwmi::windows
