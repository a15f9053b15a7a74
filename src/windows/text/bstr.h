#pragma once

#include <windows.h>

#include <oleauto.h>

#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "windows/text/unicode.h"

namespace kvwmi::windows {

/// An automation string that is owned here.
class Bstr {
 public:
  Bstr() noexcept = default;
  /// From UTF-8. Exhausted memory raises std::bad_alloc.
  explicit Bstr(std::string_view utf8) : Bstr(to_utf16(utf8)) {}
  explicit Bstr(const std::wstring& text)
      : text_(SysAllocStringLen(text.data(), static_cast<UINT>(text.size()))) {
    if (!text_) throw std::bad_alloc();
  }
  Bstr(Bstr&& other) noexcept : text_(std::exchange(other.text_, nullptr)) {}
  Bstr& operator=(Bstr&& other) noexcept {
    std::swap(text_, other.text_);
    return *this;
  }
  Bstr(const Bstr&) = delete;
  Bstr& operator=(const Bstr&) = delete;
  ~Bstr() { SysFreeString(text_); }

  [[nodiscard]] BSTR get() const noexcept { return text_; }
  /// Gives the string away.
  [[nodiscard]] BSTR release() noexcept { return std::exchange(text_, nullptr); }
  /// For a callee to write to; what was held is freed.
  [[nodiscard]] BSTR* receive() noexcept {
    SysFreeString(std::exchange(text_, nullptr));
    return &text_;
  }

 private:
  BSTR text_ = nullptr;
};

/// The whole string, NULs included; a null one is empty.
[[nodiscard]] inline std::string from_bstr(BSTR text) {
  return text ? to_utf8(std::wstring_view(text, SysStringLen(text))) : std::string();
}

}  // namespace kvwmi::windows
