#include "frame/text.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace kvwmi {
namespace {

constexpr char32_t kInvalidByte = 0x110000;

/// Upper-case letters first..last whose lower-case form lies `distance` further on; `every` 2 where upper and
/// lower case alternate. In ascending order.
struct CaseRange {
  char32_t first;
  char32_t last;
  char32_t distance;
  char32_t every;

  [[nodiscard]] constexpr bool has(char32_t letter) const {
    return letter >= first && letter <= last && (letter - first) % every == 0;
  }
};

constexpr std::array kCaseRanges{
    CaseRange{0x41, 0x5A, 32, 1},      // Latin
    CaseRange{0xC0, 0xD6, 32, 1},      // Latin-1
    CaseRange{0xD8, 0xDE, 32, 1},      //
    CaseRange{0x100, 0x12E, 1, 2},     // Latin Extended-A
    CaseRange{0x132, 0x136, 1, 2},     //
    CaseRange{0x139, 0x147, 1, 2},     //
    CaseRange{0x14A, 0x176, 1, 2},     //
    CaseRange{0x179, 0x17D, 1, 2},     //
    CaseRange{0x1CD, 0x1DB, 1, 2},     // Latin Extended-B
    CaseRange{0x1DE, 0x1EE, 1, 2},     //
    CaseRange{0x1F4, 0x1F4, 1, 1},     //
    CaseRange{0x1F8, 0x21E, 1, 2},     //
    CaseRange{0x222, 0x232, 1, 2},     //
    CaseRange{0x386, 0x386, 38, 1},    // Greek
    CaseRange{0x388, 0x38A, 37, 1},    //
    CaseRange{0x38C, 0x38C, 64, 1},    //
    CaseRange{0x38E, 0x38F, 63, 1},    //
    CaseRange{0x391, 0x3A1, 32, 1},    //
    CaseRange{0x3A3, 0x3AB, 32, 1},    //
    CaseRange{0x400, 0x40F, 80, 1},    // Cyrillic
    CaseRange{0x410, 0x42F, 32, 1},    //
    CaseRange{0x460, 0x480, 1, 2},     //
    CaseRange{0x48A, 0x4BE, 1, 2},     //
    CaseRange{0x4C1, 0x4CD, 1, 2},     //
    CaseRange{0x4D0, 0x52E, 1, 2},     //
    CaseRange{0x531, 0x556, 48, 1},    // Armenian
    CaseRange{0x1E00, 0x1E94, 1, 2},   // Latin Extended Additional
    CaseRange{0x1EA0, 0x1EFE, 1, 2},   //
    CaseRange{0xFF21, 0xFF3A, 32, 1},  // full-width Latin
};

constexpr char fold_ascii(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}

constexpr bool is_ascii(char c) {
  return static_cast<unsigned char>(c) < 0x80;
}

}  // namespace

char32_t fold_case(char32_t letter) {
  if (letter < 0x80) return static_cast<unsigned char>(fold_ascii(static_cast<char>(letter)));
  if (letter == 0x178) return 0xFF;   // Y with diaeresis: its small form is in Latin-1
  if (letter == 0x1E9E) return 0xDF;  // sharp s
  const auto* range =
      std::lower_bound(kCaseRanges.begin(), kCaseRanges.end(), letter,
                       [](const CaseRange& row, char32_t sought) { return row.last < sought; });
  return range != kCaseRanges.end() && range->has(letter) ? letter + range->distance : letter;
}

char32_t other_case(char32_t letter) {
  if (const char32_t small = fold_case(letter); small != letter) return small;
  if (letter == 0xFF) return 0x178;
  if (letter == 0xDF) return 0x1E9E;
  const auto* range = std::find_if(kCaseRanges.begin(), kCaseRanges.end(),
                                   [&](const CaseRange& row) { return row.has(letter - row.distance); });
  return range == kCaseRanges.end() ? letter : letter - range->distance;
}

char32_t next_code_point(std::string_view& text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte(0);
  const auto take = [&](std::size_t count, char32_t value) {
    text.remove_prefix(count);
    return value;
  };
  const auto invalid = [&] { return take(1, kInvalidByte + lead); };
  if (lead < 0x80) return take(1, lead);
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || text.size() < length) return invalid();
  char32_t value = lead & (0xFFU >> (length + 1));
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return invalid();
    value = (value << 6) | (byte(i) & 0x3FU);
  }
  // Overlong forms are refused; surrogates are kept, they stand for text that was no valid UTF-16.
  constexpr std::array<char32_t, 5> kSmallest{0, 0, 0x80, 0x800, 0x10000};
  if (value < kSmallest[length] || value > 0x10FFFF) return invalid();
  return take(length, value);
}

void append_code_point(std::string& text, char32_t code_point) {
  const auto put = [&](char32_t value) { text.push_back(static_cast<char>(value)); };
  if (code_point >= kInvalidByte) {
    put(code_point - kInvalidByte);
  } else if (code_point < 0x80) {
    put(code_point);
  } else if (code_point < 0x800) {
    put(0xC0 | (code_point >> 6));
    put(0x80 | (code_point & 0x3F));
  } else if (code_point < 0x10000) {
    put(0xE0 | (code_point >> 12));
    put(0x80 | ((code_point >> 6) & 0x3F));
    put(0x80 | (code_point & 0x3F));
  } else {
    put(0xF0 | (code_point >> 18));
    put(0x80 | ((code_point >> 12) & 0x3F));
    put(0x80 | ((code_point >> 6) & 0x3F));
    put(0x80 | (code_point & 0x3F));
  }
}

int compare_ignoring_case(std::string_view a, std::string_view b) {
  while (!a.empty() && !b.empty()) {
    char32_t x = 0;
    char32_t y = 0;
    if (is_ascii(a.front()) && is_ascii(b.front())) {
      x = static_cast<unsigned char>(fold_ascii(a.front()));
      y = static_cast<unsigned char>(fold_ascii(b.front()));
      a.remove_prefix(1);
      b.remove_prefix(1);
    } else {
      x = fold_case(next_code_point(a));
      y = fold_case(next_code_point(b));
    }
    if (x != y) return x < y ? -1 : 1;
  }
  return static_cast<int>(!a.empty()) - static_cast<int>(!b.empty());
}

bool equals_ignoring_case(std::string_view a, std::string_view b) {
  return a == b || compare_ignoring_case(a, b) == 0;  // mostly they are spelt alike
}

std::string fold_case(std::string_view text) {
  std::string folded;
  folded.reserve(text.size());
  while (!text.empty()) {
    if (is_ascii(text.front())) {
      folded.push_back(fold_ascii(text.front()));
      text.remove_prefix(1);
    } else {
      append_code_point(folded, fold_case(next_code_point(text)));
    }
  }
  return folded;
}

}  // namespace kvwmi
