#include "windows/com/debug_output.h"

#include <windows.h>

#include <array>
#include <cstdio>
#include <new>
#include <string>

#include "kvwmi/diagnostics.h"
#include "windows/text/unicode.h"

namespace kvwmi::com {
namespace {

void write(const Error& error) {
  std::array<char, 16> number;
  std::snprintf(number.data(), number.size(), "0x%08X", static_cast<unsigned>(error.number()));
  const std::string text =
      "KVWMI: " + error.description() + " (" + number.data() + ")\r\n" + error.source() + "\r\n";
  OutputDebugStringW(windows::to_utf16(text).c_str());
}

}  // namespace

void report_to_debugger() noexcept {
  try {
    set_diagnostic_hook(write);
  } catch (const std::bad_alloc&) {
    // The next class that is asked for tries again.
  }
}

}  // namespace kvwmi::com
