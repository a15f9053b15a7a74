#include "agent/values.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <sstream>
#include <type_traits>
#include <utility>

#include "agent/table.h"

namespace kvwmi::agent {
namespace {

using Json = nlohmann::ordered_json;
using wmi::CimType;
using wmi::Value;

constexpr std::array<std::pair<CimType, const char*>, 16> kTypes{{
    {CimType::sint8, "sint8"},
    {CimType::uint8, "uint8"},
    {CimType::sint16, "sint16"},
    {CimType::uint16, "uint16"},
    {CimType::sint32, "sint32"},
    {CimType::uint32, "uint32"},
    {CimType::sint64, "sint64"},
    {CimType::uint64, "uint64"},
    {CimType::real32, "real32"},
    {CimType::real64, "real64"},
    {CimType::boolean, "boolean"},
    {CimType::string, "string"},
    {CimType::datetime, "datetime"},
    {CimType::reference, "reference"},
    {CimType::char16, "char16"},
    {CimType::object, "object"},
}};
constexpr std::size_t kNumbers = 10;  // the first of kTypes

/// Calls `handle` with the held alternative: Null, bool, a number, text, an array, or an object read out.
template <typename Handle>
auto visit(const Value& value, Handle handle) {
  return std::visit(
      [&](const auto& held) {
        if constexpr (std::is_same_v<std::decay_t<decltype(held)>, std::shared_ptr<wmi::Object>>) {
          return held ? handle(WmiSession::read(*held)) : handle(std::monostate());
        } else {
          return handle(held);
        }
      },
      value.storage());
}

}  // namespace

Json to_json(const Value& value) {
  return visit(value, [](const auto& held) -> Json {
    using T = std::decay_t<decltype(held)>;
    if constexpr (std::is_same_v<T, std::monostate>) {
      return nullptr;
    } else if constexpr (std::is_same_v<T, Value::Array>) {
      Json result = Json::array();
      for (const Value& element : held) result.push_back(to_json(element));
      return result;
    } else if constexpr (std::is_same_v<T, WmiObject>) {
      return to_json(held);
    } else {
      return held;
    }
  });
}

Json to_json(const WmiObject& object) {
  Json result = Json::object();
  for (const WmiProperty& property : object.properties) result[property.name] = to_json(property.value);
  return result;
}

Json to_json(const Error& error) {
  Json result = {
      {"Number", error.number()}, {"Source", error.source()}, {"Description", error.description()}};
  if (const QueryDiagnostic* place = error.query_diagnostic()) {
    if (!place->query.empty()) result["offset"] = place->offset;
    result["message"] = place->message;
  }
  return result;
}

std::string to_line(const Value& value) {
  return visit(value, [](const auto& held) -> std::string {
    using T = std::decay_t<decltype(held)>;
    if constexpr (std::is_same_v<T, std::monostate>) {
      return "NULL";
    } else if constexpr (std::is_same_v<T, bool>) {
      return held ? "TRUE" : "FALSE";
    } else if constexpr (std::is_same_v<T, std::string>) {
      return printable(held);
    } else if constexpr (std::is_same_v<T, Value::Array>) {
      std::string result;
      for (const Value& element : held) result += (result.empty() ? "" : ", ") + to_line(element);
      return "{" + result + "}";
    } else if constexpr (std::is_same_v<T, WmiObject>) {
      std::string result;
      for (const WmiProperty& property : held.properties) {
        if (property.value.is_null()) continue;
        result += (result.empty() ? "" : ", ") + property.name + "=" + to_line(property.value);
      }
      return held.class_name + " {" + result + "}";
    } else if constexpr (std::is_floating_point_v<T>) {
      std::ostringstream text;
      text << held;
      return text.str();
    } else {
      return std::to_string(held);
    }
  });
}

std::string type_name(CimType type, bool is_array) {
  const auto* found =
      std::find_if(kTypes.begin(), kTypes.end(), [&](const auto& entry) { return entry.first == type; });
  return std::string(found == kTypes.end() ? "unknown" : found->second) + (is_array ? "[]" : "");
}

bool is_number(CimType type) {
  return std::any_of(kTypes.begin(), kTypes.begin() + kNumbers,
                     [&](const auto& entry) { return entry.first == type; });
}

}  // namespace kvwmi::agent
