#pragma once

#include <windows.h>

#include <oleauto.h>

#include "windows/automation/owned_variant.h"
#include "windows/scripting/call_error.h"
#include "windows/win32/com_ptr.h"

namespace kvwmi::ground {

/// The next entry of an automation enumerator as its interface, or null at the end.
template <typename Interface>
[[nodiscard]] ComPtr<Interface> next_entry(IEnumVARIANT& list, const char* source) {
  com::OwnedVariant entry;
  HRESULT result = S_OK;
  invoke(source, [&] { return result = list.Next(1, &entry, nullptr); });
  if (result != S_OK) return {};
  if (entry.vt == VT_DISPATCH || entry.vt == VT_UNKNOWN) {
    if (auto found = ComPtr<IUnknown>::query<Interface>(entry.punkVal)) return found;
  }
  throw call_error(DISP_E_TYPEMISMATCH, source);
}

/// Hands each entry of what a _NewEnum property gave to `use`.
template <typename Interface, typename Use>
void for_each_entry(IUnknown* new_enum, const char* source, Use use) {
  const auto list = ComPtr<IUnknown>::query<IEnumVARIANT>(new_enum);
  if (!list) throw call_error(E_NOINTERFACE, source);
  while (const auto entry = next_entry<Interface>(*list.get(), source)) use(*entry.get());
}

}  // namespace kvwmi::ground
