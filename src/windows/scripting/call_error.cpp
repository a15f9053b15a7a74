#include "windows/scripting/call_error.h"

#include "frame/runtime_error.h"
#include "frame/wmi_status.h"
#include "windows/text/bstr.h"
#include "windows/win32/com_ptr.h"
#include "windows/win32/system_info.h"

namespace kvwmi::ground {
namespace {

constexpr std::uint32_t kRunTimeNumbers = 0x800A0000;

std::string standard_text(HRESULT failure) {
  std::string text(wmi::status_text(failure));
  if (text.empty()) {
    text = system_message(static_cast<std::uint32_t>(failure));
    text.erase(text.find_last_not_of("\r\n") + 1);
  }
  return text.empty() ? kNoDescription : text;
}

}  // namespace

Error call_error(HRESULT failure, const char* source) {
  ComPtr<IErrorInfo> info;
  windows::Bstr given_source;
  windows::Bstr given_text;
  if (GetErrorInfo(0, info.put()) == S_OK) {
    info->GetSource(given_source.receive());
    info->GetDescription(given_text.receive());
  }
  std::string from = windows::from_bstr(given_source.get());
  std::string text = windows::from_bstr(given_text.get());
  return Error(number_of(failure), from.empty() ? source : std::move(from),
               text.empty() ? standard_text(failure) : std::move(text));
}

std::int32_t number_of(HRESULT failure) noexcept {
  const auto bits = static_cast<std::uint32_t>(failure);
  return (bits & 0xFFFF0000) == kRunTimeNumbers ? static_cast<std::int32_t>(bits & 0xFFFF) : failure;
}

}  // namespace kvwmi::ground
