#pragma once

#include <windows.h>

#include <oleauto.h>

#include <memory>

#include "kvwmi/wmi_value.h"
#include "windows/win32/com_ptr.h"

namespace kvwmi::ground {

/// The WMI object behind an automation object; raises "Type mismatch" for any other object.
using ObjectFromAutomation = std::shared_ptr<wmi::Object> (*)(IUnknown& object);
/// The automation object that stands for a WMI object.
using ObjectToAutomation = ComPtr<IDispatch> (*)(const std::shared_ptr<wmi::Object>& object);

/// What a variant says, by-reference ones included; empty is Null. 64-bit integers become text, unsigned 16
/// and 32 bits a 32-bit integer of the same bits. A type that WMI has no use for raises "Type mismatch".
[[nodiscard]] wmi::Value value_from(const VARIANT& variant, ObjectFromAutomation object);

/// Writes `value` into `result`, which holds nothing yet. Arrays become arrays of variants.
void put_value(const wmi::Value& value, VARIANT& result, ObjectToAutomation object);

}  // namespace kvwmi::ground
