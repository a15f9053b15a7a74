#pragma once

#include <cstddef>
#include <exception>
#include <string>

#include "frame/wmi_status.h"

namespace kvwmi::wql {

/// Why a query is refused, and at which byte of its text.
class QueryError : public std::exception {
 public:
  QueryError(wmi::Status status, std::size_t offset, std::string message)
      : status_(status), offset_(offset), message_(std::move(message)) {}

  [[nodiscard]] wmi::Status status() const noexcept { return status_; }
  [[nodiscard]] std::size_t offset() const noexcept { return offset_; }
  [[nodiscard]] const std::string& message() const noexcept { return message_; }
  [[nodiscard]] const char* what() const noexcept override { return message_.c_str(); }

  /// The error that the client receives, from `source`, with the diagnostic for people beside it.
  [[nodiscard]] Error to_error(const std::string& query, const char* source) const {
    return wmi::wmi_error(status_, source).with_diagnostic({query, offset_, message_});
  }

 private:
  wmi::Status status_;
  std::size_t offset_;
  std::string message_;
};

}  // namespace kvwmi::wql
