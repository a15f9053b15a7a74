#pragma once

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

/// Full path of the file that this code was loaded from. Exhausted memory raises std::bad_alloc.
[[nodiscard]] std::wstring module_path();

}  // namespace kvwmi::com
