#include "windows/com/errors.h"

#include <new>

#include "windows/text/bstr.h"
#include "windows/win32/com_ptr.h"

namespace kvwmi::com {
namespace {

using ground::ComPtr;
using windows::Bstr;

constexpr std::int32_t kRuntimeNumbersEnd = 0x10000;

}  // namespace

HRESULT to_hresult(std::int32_t number) noexcept {
  if (number < 0) return number;
  // Success codes cannot be raised; whoever tries has made a mistake that the caller must not read as
  // success.
  if (number >= kRuntimeNumbersEnd) return E_UNEXPECTED;
  return MAKE_HRESULT(SEVERITY_ERROR, FACILITY_CONTROL, number);
}

HRESULT publish(const Error& error, REFIID raiser) noexcept {
  const HRESULT result = to_hresult(error.number());
  try {
    ComPtr<ICreateErrorInfo> created;
    if (FAILED(CreateErrorInfo(created.put()))) return result;
    created->SetGUID(raiser);
    created->SetSource(Bstr(error.source()).get());
    created->SetDescription(Bstr(error.description()).get());
    SetErrorInfo(0, created.as<IErrorInfo>().get());
  } catch (...) {
    // No memory for the texts: the number alone has to do.
  }
  return result;
}

HRESULT publish_pending(REFIID raiser) noexcept {
  try {
    return publish(pending_error(), raiser);
  } catch (...) {
    return E_OUTOFMEMORY;
  }
}

HRESULT pending_hresult() noexcept {
  try {
    throw;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  } catch (...) {
    return E_UNEXPECTED;
  }
}

}  // namespace kvwmi::com
