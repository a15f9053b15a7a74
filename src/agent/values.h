#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "kvwmi/error.h"
#include "kvwmi/wmi_session.h"

/// WMI's values, objects and failures as JSON and as text for people.
namespace kvwmi::agent {

/// A value as automation clients get it: 64-bit numbers and datetimes are text, Null is null.
[[nodiscard]] nlohmann::ordered_json to_json(const wmi::Value& value);
/// Property to value.
[[nodiscard]] nlohmann::ordered_json to_json(const WmiObject& object);
/// {"Number", "Source", "Description"}; of a refused query also the offset, and what was wrong where that is
/// known.
[[nodiscard]] nlohmann::ordered_json to_json(const Error& error);
/// The same three of a failure that neither WMI nor the component raised: of kvwmi itself, without a number
/// of its own (0x80004005).
[[nodiscard]] nlohmann::ordered_json to_json(const std::exception& error);

/// One line, control characters made visible; Null is "NULL", an array {a, b}.
[[nodiscard]] std::string to_line(const wmi::Value& value);

/// The name of its type, with [] for an array.
[[nodiscard]] std::string type_text(const WmiProperty& property);
[[nodiscard]] bool is_number(wmi::CimType type);

}  // namespace kvwmi::agent
