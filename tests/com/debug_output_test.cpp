#include "windows/com/debug_output.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <string>

#include "frame/diagnostics.h"
#include "kvwmi/diagnostics.h"

namespace kvwmi::com {
namespace {

/// What this process writes to the debugger, taken where the debugger would take it.
std::wstring written;

LONG WINAPI take(EXCEPTION_POINTERS* raised) {
  constexpr DWORD kWideText = 0x4001000A;  // DBG_PRINTEXCEPTION_WIDE_C: its length and where it stands
  const EXCEPTION_RECORD& record = *raised->ExceptionRecord;
  if (record.ExceptionCode != kWideText) return EXCEPTION_CONTINUE_SEARCH;
  written += reinterpret_cast<const wchar_t*>(record.ExceptionInformation[1]);
  return EXCEPTION_CONTINUE_EXECUTION;
}

TEST(DebugOutput, HasTheErrorsThatHaveNoCaller) {
  void* const debugger = AddVectoredExceptionHandler(1, take);
  report_to_debugger();
  report(Error(static_cast<std::int32_t>(0x8004020F), "SWbemObject\r\n\tKVWMI : Supervision.\u00e9",
               "No memory \u20ac"));
  set_diagnostic_hook({});
  RemoveVectoredExceptionHandler(debugger);
  EXPECT_EQ(written,
            L"KVWMI: No memory \u20ac (0x8004020F)\r\nSWbemObject\r\n\tKVWMI : Supervision.\u00e9\r\n");
}

}  // namespace
}  // namespace kvwmi::com
