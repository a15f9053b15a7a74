#pragma once

#include <cstddef>
#include <exception>
#include <string>
#include <string_view>

#include "frame/wmi_status.h"

namespace kvwmi::wql {

/// Why a query is refused, and at which byte of its text.
class QueryError : public std::exception {
 public:
  /// `message` may quote the query; control characters in it become blanks, so that it is one line.
  QueryError(wmi::Status status, std::size_t offset, std::string message,
             QueryDiagnostic::Fault fault = QueryDiagnostic::Fault::text);

  [[nodiscard]] wmi::Status status() const noexcept { return status_; }
  [[nodiscard]] std::size_t offset() const noexcept { return offset_; }
  [[nodiscard]] const std::string& message() const noexcept { return message_; }
  [[nodiscard]] const char* what() const noexcept override { return message_.c_str(); }

  /// The error that the client receives, from `source`, with the diagnostic for people beside it.
  [[nodiscard]] Error to_error(const std::string& query, const char* source) const;

 private:
  wmi::Status status_;
  std::size_t offset_;
  std::string message_;
  QueryDiagnostic::Fault fault_;
};

/// The same for the name of a class or property that does not exist.
[[nodiscard]] QueryError unknown_name(wmi::Status status, std::size_t offset, std::string message);

/// `text` as a message quotes it: whole when short, otherwise its beginning and three full stops.
[[nodiscard]] std::string excerpt(std::string_view text);

}  // namespace kvwmi::wql
