#include "wmi/wql/query_error.h"

#include <algorithm>
#include <utility>

namespace kvwmi::wql {

QueryError::QueryError(wmi::Status status, std::size_t offset, std::string message,
                       QueryDiagnostic::Fault fault)
    : status_(status), offset_(offset), message_(std::move(message)), fault_(fault) {
  const auto is_control = [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; };
  std::replace_if(message_.begin(), message_.end(), is_control, ' ');
}

Error QueryError::to_error(const std::string& query, const char* source) const {
  return wmi::wmi_error(status_, source).with_diagnostic({query, offset_, message_, fault_});
}

QueryError unknown_name(wmi::Status status, std::size_t offset, std::string message) {
  return {status, offset, std::move(message), QueryDiagnostic::Fault::name};
}

std::string excerpt(std::string_view text) {
  constexpr std::size_t kLongest = 60;
  if (text.size() <= kLongest) return std::string(text);
  std::size_t end = kLongest;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;  // not within a character
  return std::string(text.substr(0, end)) + "...";
}

}  // namespace kvwmi::wql
