#pragma once

#include <windows.h>

#include <oleauto.h>

namespace kvwmi::com {

/// The type library that is a part of the module's file.
[[nodiscard]] HRESULT load_type_library(ITypeLib** library);

/// One type of that library, by the identifier of an interface or a class.
[[nodiscard]] HRESULT load_type_info(REFGUID id, ITypeInfo** info) noexcept;

}  // namespace kvwmi::com
