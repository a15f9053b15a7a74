#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "frame/wmi_access.h"
#include "wmi/cim/value.h"

namespace kvwmi::cim {

/// Makes the object that a client sees of an embedded instance.
using ObjectMaker = std::function<std::shared_ptr<wmi::Object>(const std::shared_ptr<Instance>&)>;

/// What an automation client receives for a value of the declared type: 64-bit integers, datetimes and
/// references as text, uint16, uint32 and sint32 as 32 bits signed (bit pattern), sint16, sint8 and char16 as
/// 16 bits, uint8 as 8 bits; an array element by element; NULL as NULL. Integers are cut to the declared
/// width. A value of another kind than the declared type raises "Type mismatch ".
[[nodiscard]] wmi::Value to_automation(const Value& value, CimType type, const ObjectMaker& make_object = {});

/// The reverse, for arguments of methods; nullopt when the value does not fit the type. Numbers are taken as
/// text too, booleans as numbers or as "True" and "False", and a negative 32-bit integer as the bit pattern
/// of a uint32, which is how clients hand on a uint32 that they have read.
[[nodiscard]] std::optional<Value> from_automation(const wmi::Value& value, CimType type);

}  // namespace kvwmi::cim
