// Looks at the machine with KVWMI: a service, a program, the memory.
//   checkpoint.exe ["display name of a service" [program.exe]]
// KVWMI.dll must be registered: regsvr32 KVWMI.dll
//
// kvwmi.h stands beside KVWMI.dll. With mingw-w64, from the folder that holds both:
//   x86_64-w64-mingw32-g++ -municode -static -I. checkpoint.cpp -o checkpoint.exe -lole32 -loleaut32 -luuid

#include <windows.h>

#include <oleauto.h>

#include <clocale>
#include <cstdio>
#include <string>

#include "kvwmi.h"

namespace {

/// A string for the length of a call.
class Text {
 public:
  explicit Text(const wchar_t* text) : text_(SysAllocString(text)) {}
  ~Text() { SysFreeString(text_); }
  Text(const Text&) = delete;
  Text& operator=(const Text&) = delete;
  operator BSTR() const { return text_; }

 private:
  BSTR text_;
};

/// What a failed call says about itself.
void print_error(HRESULT status) {
  std::printf("Error 0x%08lX", static_cast<unsigned long>(status));
  IErrorInfo* info = nullptr;
  if (GetErrorInfo(0, &info) == S_OK) {
    BSTR description = nullptr;
    BSTR source = nullptr;
    info->GetDescription(&description);
    info->GetSource(&source);
    std::printf(": %ls\n%ls", description ? description : L"", source ? source : L"");
    SysFreeString(description);
    SysFreeString(source);
    info->Release();
  }
  std::printf("\n");
}

void look(_CheckPoint& check, const wchar_t* service, const wchar_t* program) {
  LONG status = 0;
  LONG state = 0;
  HRESULT called = check.m_GetServiceState(Text(service), &state, &status);
  if (FAILED(called)) {
    print_error(called);
  } else if (status == 0) {
    std::printf("%ls is in state %ld (4 is running)\n", service, state);
  } else {
    std::printf("There is no service %ls\n", service);
  }

  VARIANT_BOOL exists = VARIANT_FALSE;
  if (SUCCEEDED(check.m_GetProcessExistence(Text(program), &exists, &status))) {
    std::printf("%ls %s\n", program, exists ? "runs" : "does not run");
  }

  // A currency value counts ten-thousandths.
  CURRENCY size{};
  if (SUCCEEDED(check.m_GetPhysicalMemorySize(&size, &status))) {
    std::printf("Physical memory: %.0f kilobytes\n", static_cast<double>(size.int64) / 10000.0);
  }

  called = check.m_GetServiceState(Text(L"it's"), &state, &status);
  if (FAILED(called)) print_error(called);
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
  // Without it, lines with characters beyond ASCII are not printed.
  std::setlocale(LC_ALL, "");
  const wchar_t* service = count > 1 ? arguments[1] : L"Print Spooler";
  const wchar_t* program = count > 2 ? arguments[2] : L"explorer.exe";
  if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) return 1;

  _CheckPoint* check = nullptr;
  const HRESULT created =
      CoCreateInstance(__uuidof(CheckPoint), nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&check));
  if (SUCCEEDED(created)) {
    look(*check, service, program);
    check->Release();
    std::printf("Done.\n");
  } else {
    print_error(created);
  }
  CoUninitialize();
  return SUCCEEDED(created) ? 0 : 1;
}
