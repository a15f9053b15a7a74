#pragma once

#include <windows.h>

#include <oleauto.h>

#include <cstdint>

#include "frame/errors_process.h"

namespace kvwmi::com {

/// How an error's number travels: a run-time number n as 0x800A0000 + n, any other as it is.
[[nodiscard]] HRESULT to_hresult(std::int32_t number) noexcept;

/// Makes `error` the thread's error information, as raised by a member of interface `raiser`.
/// Returns the HRESULT to answer with.
HRESULT publish(const Error& error, REFIID raiser) noexcept;

/// The same for the exception in flight; call it inside a catch block only.
HRESULT publish_pending(REFIID raiser) noexcept;

/// The HRESULT alone; call it inside a catch block only.
HRESULT pending_hresult() noexcept;

/// The way out of this module for everything that a client calls: runs `steps` and turns what they throw into
/// an HRESULT with error information.
template <typename Steps>
HRESULT guarded(REFIID raiser, Steps&& steps) noexcept {
  // What an earlier call left behind must not be taken for this one's.
  SetErrorInfo(0, nullptr);
  try {
    steps();
    return S_OK;
  } catch (...) {
    return publish_pending(raiser);
  }
}

/// The same for what is no member of a class: nothing is told about a failure but its HRESULT. `steps`
/// answers the HRESULT of its success.
template <typename Steps>
HRESULT contained(Steps&& steps) noexcept {
  try {
    return steps();
  } catch (...) {
    return pending_hresult();
  }
}

/// How a call is refused that gave no place for an output: like any failure, but one that says nothing.
inline HRESULT refuse_null_place() noexcept {
  SetErrorInfo(0, nullptr);
  return E_POINTER;
}

}  // namespace kvwmi::com
