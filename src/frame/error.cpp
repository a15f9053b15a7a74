#include "kvwmi/error.h"

#include <utility>

namespace kvwmi {

Error::Error(std::int32_t number, std::string source, std::string description)
    : number_(number), source_(std::move(source)), description_(std::move(description)) {}

Error Error::with_number(std::int32_t number) const {
  Error result = *this;
  result.number_ = number;
  return result;
}

Error Error::with_tag(const std::string& tag) const {
  Error result = *this;
  result.source_ += "\r\n\t" + tag;
  return result;
}

Error Error::with_description(std::string description) const {
  Error result = *this;
  result.description_ = std::move(description);
  return result;
}

Error Error::with_diagnostic(QueryDiagnostic diagnostic) const {
  Error result = *this;
  result.diagnostic_ = std::make_shared<const QueryDiagnostic>(std::move(diagnostic));
  return result;
}

}  // namespace kvwmi
