#pragma once

#include <windows.h>

#include <oleauto.h>

#include <string>

#include "kvwmi/wmi_value.h"

namespace kvwmi::stand_in {

/// A value as a client gave it.
[[nodiscard]] wmi::Value automation_value(const VARIANT* value);

/// Writes a value to where a client wants it, objects as SWbemObject.
void put_automation_value(const wmi::Value& value, VARIANT* place);

void give_text(BSTR* place, const std::string& text);

}  // namespace kvwmi::stand_in
