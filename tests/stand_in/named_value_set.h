#pragma once

#include "frame/wmi_access.h"
#include "stand_in/automation.h"

namespace kvwmi::stand_in {

/// An SWbemNamedValueSet with a copy of `values`.
[[nodiscard]] ComPtr<ISWbemNamedValueSet> make_named_value_set(const wmi::NamedValues& values = {});

/// The entries of a set that make_named_value_set made; no object has none.
[[nodiscard]] wmi::NamedValues entries_of(IUnknown* set);

}  // namespace kvwmi::stand_in
