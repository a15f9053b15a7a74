#include "wmi/wql/lexer.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

#include "wmi/wql/query_error.h"

namespace kvwmi::wql {
namespace {

using Kind = Token::Kind;

/// One bit per role that a byte can play.
enum : std::uint8_t { kBlank = 1, kNameStart = 2, kDigit = 4, kNamePart = kNameStart | kDigit };

constexpr std::array<std::uint8_t, 256> kRoles = [] {
  std::array<std::uint8_t, 256> roles{};
  for (const char c : {' ', '\t', '\r', '\n'}) roles[static_cast<unsigned char>(c)] = kBlank;
  for (unsigned c = '0'; c <= '9'; ++c) roles[c] = kDigit;
  for (unsigned c = 'a'; c <= 'z'; ++c) roles[c] = roles[c - 'a' + 'A'] = kNameStart;
  for (unsigned c = 0x80; c < 0x100; ++c) roles[c] = kNameStart;
  roles['_'] = kNameStart;
  return roles;
}();

constexpr bool plays(char c, std::uint8_t role) {
  return (kRoles[static_cast<unsigned char>(c)] & role) != 0;
}

struct Keyword {
  std::string_view name;  // lower case
  Kind kind;
};

constexpr std::array kKeywords{
    Keyword{"and", Kind::key_and},       Keyword{"associators", Kind::key_associators},
    Keyword{"by", Kind::key_by},         Keyword{"false", Kind::key_false},
    Keyword{"from", Kind::key_from},     Keyword{"group", Kind::key_group},
    Keyword{"having", Kind::key_having}, Keyword{"is", Kind::key_is},
    Keyword{"isa", Kind::key_isa},       Keyword{"like", Kind::key_like},
    Keyword{"not", Kind::key_not},       Keyword{"null", Kind::key_null},
    Keyword{"or", Kind::key_or},         Keyword{"references", Kind::key_references},
    Keyword{"select", Kind::key_select}, Keyword{"true", Kind::key_true},
    Keyword{"where", Kind::key_where},   Keyword{"within", Kind::key_within},
};

constexpr std::size_t kLongestKeyword = 11;

Kind keyword_or_name(std::string_view word) {
  if (word.size() < 2 || word.size() > kLongestKeyword) return Kind::name;
  for (const Keyword& keyword : kKeywords) {
    // Letters differ from their lower case in bit 0x20 only; no keyword holds anything but letters.
    if (keyword.name.size() == word.size() && (word[0] | 0x20) == keyword.name[0] &&
        std::equal(word.begin(), word.end(), keyword.name.begin(),
                   [](char c, char lower) { return (c | 0x20) == lower; })) {
      return keyword.kind;
    }
  }
  return Kind::name;
}

}  // namespace

Token Lexer::token(Kind kind, std::size_t end) {
  Token result;
  result.kind = kind;
  result.offset = position_;
  result.text = query_.substr(position_, end - position_);
  position_ = end;
  return result;
}

Token Lexer::next() {
  while (position_ < query_.size() && plays(query_[position_], kBlank)) ++position_;
  if (position_ == query_.size()) return token(Kind::end, position_);
  const char c = peek();
  if (plays(c, kNameStart)) return name();
  const bool sign = c == '-' || c == '+';
  if (plays(c, kDigit) || (sign && (plays(peek(1), kDigit) || peek(1) == '.')) ||
      (c == '.' && plays(peek(1), kDigit))) {
    return number();
  }
  switch (c) {
    case '\'':
    case '"':
      return string();
    case '=':
    case '<':
    case '>':
    case '!':
      return comparison();
    case '(':
      return token(Kind::open, position_ + 1);
    case ')':
      return token(Kind::close, position_ + 1);
    case ',':
      return token(Kind::comma, position_ + 1);
    case '*':
      return token(Kind::star, position_ + 1);
    case ';':
      return token(Kind::semicolon, position_ + 1);
    default:
      break;
  }
  const bool printable = c > ' ' && c < 0x7F;
  throw QueryError(
      refusal_, position_,
      printable ? std::string("unexpected character '") + c + "'" : "unexpected control character");
}

Token Lexer::name() {
  std::size_t end = position_;
  bool dotted = false;
  for (;;) {
    while (end < query_.size() && plays(query_[end], kNamePart)) ++end;
    if (end + 1 >= query_.size() || query_[end] != '.' || !plays(query_[end + 1], kNameStart)) break;
    dotted = true;
    ++end;
  }
  if (end < query_.size() && query_[end] == '.') {
    throw QueryError(refusal_, end, "a name must follow the full stop directly");
  }
  return token(dotted ? Kind::name : keyword_or_name(query_.substr(position_, end - position_)), end);
}

Token Lexer::number() {
  std::size_t end = position_;
  const auto digits = [&] {
    while (end < query_.size() && plays(query_[end], kDigit)) ++end;
  };
  const auto at = [&](std::size_t index) { return index < query_.size() ? query_[index] : '\0'; };
  if (at(end) == '-' || at(end) == '+') ++end;
  if (at(end) == '0' && (at(end + 1) | 0x20) == 'x') {
    end += 2;
    while (plays(at(end), kDigit) || ((at(end) | 0x20) >= 'a' && (at(end) | 0x20) <= 'f')) ++end;
  } else {
    digits();
    if (at(end) == '.') {
      ++end;
      digits();
    }
    const bool signed_exponent = (at(end + 1) == '-' || at(end + 1) == '+') && plays(at(end + 2), kDigit);
    if ((at(end) | 0x20) == 'e' && (plays(at(end + 1), kDigit) || signed_exponent)) {
      end += 2;
      digits();
    }
  }
  if (plays(at(end), kNamePart) || at(end) == '.') {
    throw QueryError(refusal_, position_, "malformed number");
  }
  return token(Kind::number, end);
}

Token Lexer::string() {
  const char quote = peek();
  for (std::size_t end = position_ + 1; end < query_.size(); ++end) {
    if (query_[end] == '\\') {
      ++end;
    } else if (query_[end] == quote) {
      return token(Kind::string, end + 1);
    }
  }
  throw QueryError(refusal_, position_, std::string("the text that begins here has no closing ") + quote);
}

Token Lexer::comparison() {
  struct Spelling {
    std::string_view text;
    Operator op;
  };
  constexpr Spelling kSpellings[] = {
      {"<=", Operator::less_or_equal}, {">=", Operator::greater_or_equal},
      {"<>", Operator::not_equal},     {"!=", Operator::not_equal},
      {"=", Operator::equal},          {"<", Operator::less},
      {">", Operator::greater},
  };
  for (const Spelling& spelling : kSpellings) {
    if (query_.substr(position_, spelling.text.size()) != spelling.text) continue;
    Token result = token(Kind::comparison, position_ + spelling.text.size());
    result.op = spelling.op;
    return result;
  }
  throw QueryError(refusal_, position_, "unexpected character '!'");
}

std::string unescape(const Token& string, wmi::Status refusal) {
  const std::string_view inner = string.text.substr(1, string.text.size() - 2);
  const std::size_t first = inner.find('\\');
  std::string text(inner.substr(0, first));
  if (first == std::string_view::npos) return text;
  text.reserve(inner.size());
  for (std::size_t i = first; i < inner.size(); ++i) {
    if (inner[i] == '\\') {
      ++i;  // a text cannot end within an escape: the lexer would not have seen its closing quote
      if (inner[i] != '\\' && inner[i] != '"' && inner[i] != '\'') {
        throw QueryError(refusal, string.offset + i,
                         R"(undefined escape: a backslash in a text is written \\, a quote \' or \")");
      }
    }
    text.push_back(inner[i]);
  }
  return text;
}

cim::Value number_value(const Token& number, wmi::Status refusal) {
  std::string_view digits = number.text;
  const bool negative = digits.front() == '-';
  if (negative || digits.front() == '+') digits.remove_prefix(1);
  const bool hexadecimal = digits.size() > 1 && (digits[1] | 0x20) == 'x';
  if (hexadecimal) digits.remove_prefix(2);
  const char* const begin = digits.data();
  const char* const end = begin + digits.size();
  if (hexadecimal || digits.find_first_of(".eE") == std::string_view::npos) {
    std::uint64_t magnitude = 0;
    const auto [stop, error] = std::from_chars(begin, end, magnitude, hexadecimal ? 16 : 10);
    constexpr std::uint64_t kLowest = std::uint64_t{1} << 63;
    if (error == std::errc{} && stop == end) {
      if (!negative && magnitude >= kLowest) return magnitude;
      if (magnitude <= kLowest) return static_cast<std::int64_t>(negative ? 0 - magnitude : magnitude);
    }
    throw QueryError(refusal, number.offset,
                     digits.empty() ? "malformed number" : "the number does not fit into 64 bits");
  }
  double value = 0;
  const auto [stop, error] = std::from_chars(begin, end, value);
  if (error != std::errc{} || stop != end) {
    throw QueryError(refusal, number.offset, "the number has no value that this machine can hold");
  }
  return negative ? -value : value;
}

}  // namespace kvwmi::wql
