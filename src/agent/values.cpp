#include "agent/values.h"

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

Json to_json(const std::exception& error) {
  constexpr auto kUnspecified = static_cast<std::int32_t>(0x80004005);
  return to_json(Error(kUnspecified, "kvwmi", error.what()));
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

std::string type_text(const WmiProperty& property) {
  return std::string(type_name(property.type)) + (property.is_array ? "[]" : "");
}

bool is_number(CimType type) {
  switch (type) {
    case CimType::sint8:
    case CimType::uint8:
    case CimType::sint16:
    case CimType::uint16:
    case CimType::sint32:
    case CimType::uint32:
    case CimType::sint64:
    case CimType::uint64:
    case CimType::real32:
    case CimType::real64:
      return true;
    default:
      return false;
  }
}

}  // namespace kvwmi::agent
