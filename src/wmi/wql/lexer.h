#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "frame/wmi_status.h"
#include "wmi/cim/value.h"
#include "wmi/wql/operator.h"

namespace kvwmi::wql {

struct Token {
  enum class Kind : std::uint8_t {
    end,
    name,        // parts joined by full stops, as in TargetInstance.Name
    string,      // with its quotes
    number,      // with its sign
    comparison,  // see `op`
    open,
    close,
    comma,
    star,
    semicolon,
    key_and,
    key_associators,
    key_by,
    key_false,
    key_from,
    key_group,
    key_having,
    key_is,
    key_isa,
    key_like,
    key_not,
    key_null,
    key_or,
    key_references,
    key_select,
    key_true,
    key_where,
    key_within,
  };

  Kind kind = Kind::end;
  Operator op = Operator::equal;
  std::size_t offset = 0;
  std::string_view text;
};

/// Cuts a query into tokens, one at a time. What is no token raises QueryError with the status given.
class Lexer {
 public:
  Lexer(std::string_view query, wmi::Status refusal) : query_(query), refusal_(refusal) {}

  [[nodiscard]] Token next();

 private:
  [[nodiscard]] Token token(Token::Kind kind, std::size_t end);
  [[nodiscard]] Token name();
  [[nodiscard]] Token number();
  [[nodiscard]] Token string();
  [[nodiscard]] Token comparison();
  [[nodiscard]] char peek(std::size_t ahead = 0) const {
    return position_ + ahead < query_.size() ? query_[position_ + ahead] : '\0';
  }

  std::string_view query_;
  wmi::Status refusal_;
  std::size_t position_ = 0;
};

/// Text of a string token, escapes resolved: `\\`, `\"` and `\'`; any other escape is refused.
[[nodiscard]] std::string unescape(const Token& string, wmi::Status refusal);

/// Value of a number token: int64, uint64 where that is needed, or double. What fits none is refused.
[[nodiscard]] cim::Value number_value(const Token& number, wmi::Status refusal);

}  // namespace kvwmi::wql
