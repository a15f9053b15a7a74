#pragma once

#include <windows.h>

#include <wbemdisp.h>

#include "frame/wmi_access.h"
#include "windows/win32/com_ptr.h"

namespace kvwmi::ground {

/// A new SWbemNamedValueSet with `values`, added in their order and with their types.
[[nodiscard]] ComPtr<ISWbemNamedValueSet> make_named_value_set(const wmi::NamedValues& values);

/// The entries of an SWbemNamedValueSet; no object has none.
[[nodiscard]] wmi::NamedValues named_values_from(IUnknown* set);

}  // namespace kvwmi::ground
