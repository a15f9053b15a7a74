#pragma once

#include <new>
#include <string>
#include <utility>

#include "frame/wmi_status.h"
#include "wmi/wql/query_error.h"

namespace kvwmi::embedded {

/// Runs `steps`; whatever they raise leaves as WMI's error from `source`. Errors of a provider keep number,
/// text and diagnostic; what is no WMI error at all is a provider's failure.
template <typename Steps>
auto raising_from(const char* source, Steps&& steps) -> decltype(steps()) {
  try {
    return std::forward<Steps>(steps)();
  } catch (const Error& error) {
    Error renamed(error.number(), source, error.description());
    if (const QueryDiagnostic* diagnostic = error.query_diagnostic())
      throw renamed.with_diagnostic(*diagnostic);
    throw renamed;
  } catch (const std::bad_alloc&) {
    throw wmi::wmi_error(wmi::Status::out_of_memory, source);
  } catch (const std::exception&) {
    throw wmi::wmi_error(wmi::Status::provider_failure, source);
  }
}

/// The same where `query` is parsed or checked.
template <typename Steps>
auto raising_from(const char* source, const std::string& query, Steps&& steps) -> decltype(steps()) {
  return raising_from(source, [&] {
    try {
      return std::forward<Steps>(steps)();
    } catch (const wql::QueryError& refused) {
      throw refused.to_error(query, source);
    }
  });
}

}  // namespace kvwmi::embedded
