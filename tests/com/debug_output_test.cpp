#include "windows/com/debug_output.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <string>

#include "frame/diagnostics.h"
#include "kvwmi/diagnostics.h"
#include "windows/text/unicode.h"

namespace kvwmi::com {
namespace {

/// What this process writes to the debugger, taken where the debugger would take it.
std::string written;

/// The text is handed over as it was given or, by older systems, in the code page.
LONG WINAPI take(EXCEPTION_POINTERS* raised) {
  constexpr DWORD kText = 0x40010006;
  constexpr DWORD kWideText = 0x4001000A;
  const EXCEPTION_RECORD& record = *raised->ExceptionRecord;
  if (record.ExceptionCode == kWideText) {
    written += kvwmi::windows::to_utf8(reinterpret_cast<const wchar_t*>(record.ExceptionInformation[1]));
  } else if (record.ExceptionCode == kText) {
    written += reinterpret_cast<const char*>(record.ExceptionInformation[1]);
  } else {
    return EXCEPTION_CONTINUE_SEARCH;
  }
  return EXCEPTION_CONTINUE_EXECUTION;
}

TEST(DebugOutput, HasTheErrorsThatHaveNoCaller) {
  void* const debugger = AddVectoredExceptionHandler(1, take);
  report_to_debugger();
  report(Error(static_cast<std::int32_t>(0x8004020F), "SWbemObject\r\n\tKVWMI : Supervision.m_Release",
               "Out of memory"));
  set_diagnostic_hook({});
  RemoveVectoredExceptionHandler(debugger);
  EXPECT_EQ(written,
            "KVWMI: Out of memory (0x8004020F)\r\nSWbemObject\r\n\tKVWMI : Supervision.m_Release\r\n");
}

}  // namespace
}  // namespace kvwmi::com
