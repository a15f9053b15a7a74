#pragma once

#include <windows.h>

#include <oaidl.h>

#include <memory>

#include "stand_in/repository.h"
#include "windows/win32/com_ptr.h"

namespace kvwmi::stand_in {

/// {0D0C2F5B-6D0F-4C53-8B0E-2F1B5D3C9A41}, KVWMITest.Repository
inline constexpr CLSID kControlClass{
    0x0D0C2F5B, 0x6D0F, 0x4C53, {0x8B, 0x0E, 0x2F, 0x1B, 0x5D, 0x3C, 0x9A, 0x41}};
inline constexpr const wchar_t* kControlProgId = L"KVWMITest.Repository";

/// The object through which a script fills and changes `repository` (see README.md).
[[nodiscard]] ground::ComPtr<IDispatch> make_control(std::shared_ptr<Repository> repository);

}  // namespace kvwmi::stand_in
