#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <string>

#include "kvwmi/export.h"

namespace kvwmi {

/// Why a query was refused or not answered, for people; the error itself carries WMI's number and text.
struct QueryDiagnostic {
  enum class Fault : std::uint8_t {
    text,  ///< the text cannot be taken as it is, or was not at fault
    name,  ///< it names a class or property that does not exist
  };
  std::string query;    ///< the refused text as it was given; empty where the text was not at fault
  std::size_t offset;   ///< byte offset of the offending place, at most query.size()
  std::string message;  ///< what was wrong, one line without a final stop
  Fault fault = Fault::text;
};

/// The one failure of this library: what an automation client sees as Err.Number, Err.Source,
/// Err.Description.
///
/// Every public method raises it and nothing else. The number of a failed `CheckPoint`, `Management` or
/// `Supervision` call is its class's number; Source ends in one line (CR LF TAB tag) for each routine passed.
class KVWMI_API Error : public std::exception {
 public:
  Error(std::int32_t number, std::string source, std::string description);

  /// 32-bit signed, as automation clients know it: an HRESULT, or a run-time number below 1000.
  [[nodiscard]] std::int32_t number() const noexcept { return number_; }
  [[nodiscard]] const std::string& source() const noexcept { return source_; }
  [[nodiscard]] const std::string& description() const noexcept { return description_; }
  [[nodiscard]] const char* what() const noexcept override { return description_.c_str(); }

  /// What the embedded service knows beyond WMI's text, or null.
  [[nodiscard]] const QueryDiagnostic* query_diagnostic() const noexcept { return diagnostic_.get(); }

  /// The same error under another number.
  [[nodiscard]] Error with_number(std::int32_t number) const;
  /// The same error with CR LF TAB and `tag` added to its Source.
  [[nodiscard]] Error with_tag(const std::string& tag) const;
  [[nodiscard]] Error with_description(std::string description) const;
  [[nodiscard]] Error with_diagnostic(QueryDiagnostic diagnostic) const;

 private:
  std::int32_t number_;
  std::string source_;
  std::string description_;
  std::shared_ptr<const QueryDiagnostic> diagnostic_;
};

}  // namespace kvwmi
