#pragma once

#include <windows.h>

#include <oleauto.h>

#include <string>
#include <utility>

#include "kvwmi/error.h"

namespace kvwmi::ground {

/// The error that a failed automation call left: Source and Description of its error information; where it
/// gave none, `source` and the standard text of the number. Consumes the thread's error information.
[[nodiscard]] Error call_error(HRESULT failure, const char* source);

/// Makes one call on an automation object known as `source` and raises its failure.
template <typename Call>
void invoke(const char* source, Call&& call) {
  // An object that gives no error information must not be credited with that of an earlier call.
  SetErrorInfo(0, nullptr);
  if (const HRESULT result = std::forward<Call>(call)(); FAILED(result)) throw call_error(result, source);
}

/// The number under which automation clients know a failed HRESULT: a run-time number where it carries one.
[[nodiscard]] std::int32_t number_of(HRESULT failure) noexcept;

}  // namespace kvwmi::ground
