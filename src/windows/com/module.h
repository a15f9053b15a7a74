#pragma once

#include <windows.h>

#include <oleauto.h>

#include <string>

namespace kvwmi::com {

/// Keeps the module loaded while it lives. Every object and every lock of a factory holds one.
class ModuleUse {
 public:
  ModuleUse() noexcept;
  ~ModuleUse();
  ModuleUse(const ModuleUse&) = delete;
  ModuleUse& operator=(const ModuleUse&) = delete;
};

/// What IClassFactory::LockServer counts.
void lock_module(bool lock) noexcept;

/// Whether nothing keeps the module loaded.
[[nodiscard]] bool module_is_idle() noexcept;

/// Full path of the file that this code was loaded from.
[[nodiscard]] std::wstring module_path();

/// The type library that is a part of that file.
[[nodiscard]] HRESULT load_type_library(ITypeLib** library);

/// One type of that library, by the identifier of an interface or a class.
[[nodiscard]] HRESULT load_type_info(REFGUID id, ITypeInfo** info) noexcept;

}  // namespace kvwmi::com
