#include "kvwmi/named_event.h"

#include <windows.h>

#include <algorithm>

#include "frame/runtime_error.h"
#include "windows/text/unicode.h"
#include "windows/win32/code_page.h"

namespace kvwmi {
namespace {

HANDLE handle_of(std::intptr_t handle) {
  return reinterpret_cast<HANDLE>(handle);
}

[[noreturn]] void raise(DWORD code, const char* call) {
  throw Error(HRESULT_FROM_WIN32(code), kComponentName, std::string(call) + " failed");
}

}  // namespace

NamedEvent::NamedEvent(const std::string& name, Reset reset) : name_(name), reset_(reset) {
  // A nameless event would be one that nobody else can reach; the system reads a name up to its first NUL.
  const std::wstring system_name = windows::to_utf16(name);
  if (*system_name.c_str() == L'\0') raise(ERROR_INVALID_NAME, "CreateEvent");
  // The engine opens it by its 8-bit name, and would never find one that the code page cannot say.
  if (ground::from_code_page(ground::to_code_page(name)) != name) {
    throw Error(HRESULT_FROM_WIN32(ERROR_INVALID_NAME), kComponentName,
                "No event can be named \"" + name + "\": the code page of this system lacks a letter of it");
  }
  const HANDLE event = ::CreateEventW(nullptr, reset == Reset::manual, FALSE, system_name.c_str());
  if (event == nullptr) {
    const DWORD code = ::GetLastError();
    raise(code == ERROR_PATH_NOT_FOUND ? ERROR_INVALID_NAME : code, "CreateEvent");
  }
  handle_ = reinterpret_cast<std::intptr_t>(event);
}

NamedEvent::~NamedEvent() {
  ::CloseHandle(handle_of(handle_));
}

bool NamedEvent::wait(std::chrono::milliseconds timeout) {
  const auto wait = std::clamp<long long>(timeout.count(), 0, INFINITE - 1);
  const DWORD result = ::WaitForSingleObject(handle_of(handle_), static_cast<DWORD>(wait));
  if (result == WAIT_FAILED) raise(::GetLastError(), "WaitForSingleObject");
  return result == WAIT_OBJECT_0;
}

void NamedEvent::set() {
  if (::SetEvent(handle_of(handle_)) == FALSE) raise(::GetLastError(), "SetEvent");
}

void NamedEvent::reset() {
  if (::ResetEvent(handle_of(handle_)) == FALSE) raise(::GetLastError(), "ResetEvent");
}

}  // namespace kvwmi
