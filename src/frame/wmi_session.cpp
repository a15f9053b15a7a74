#include "kvwmi/wmi_session.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "frame/connection.h"
#include "frame/ground.h"
#include "frame/text.h"
#include "frame/wmi_status.h"

namespace kvwmi {
namespace {

/// Calls `take` with each object of an answer.
template <typename Take>
void for_each_object(wmi::Services& services, const std::string& query, Take take) {
  const auto set = services.exec_query(query);
  for (const auto objects = set->enumerate(); const auto object = objects->next();) take(*object);
}

/// A name that could end the literal early names no class.
bool is_class_name(const std::string& name) {
  return !name.empty() && name.find_first_of("'\"\\") == std::string::npos;
}

/// The next word of a select list, without the blanks, commas and stars around it.
std::string_view next_word(std::string_view& rest) {
  constexpr std::string_view kBetween = " \t\r\n,*";
  rest.remove_prefix(std::min(rest.find_first_not_of(kBetween), rest.size()));
  const std::string_view word = rest.substr(0, rest.find_first_of(kBetween));
  rest.remove_prefix(word.size());
  return word;
}

/// The system properties that a query selects by name, as written: they are no part of an object's own.
std::vector<std::string_view> selected_system_properties(std::string_view query) {
  std::vector<std::string_view> names;
  if (!equals_ignoring_case(next_word(query), "SELECT")) return names;
  for (auto word = next_word(query); !word.empty() && !equals_ignoring_case(word, "FROM");
       word = next_word(query)) {
    const auto same = [&](std::string_view other) { return equals_ignoring_case(word, other); };
    if (word.starts_with("__") && std::none_of(names.begin(), names.end(), same)) names.push_back(word);
  }
  return names;
}

WmiProperty read_system_property(wmi::Object& object, std::string_view written) {
  WmiProperty result;
  // All of them are spelled in capital letters.
  for (const char c : written) result.name += c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  result.value = object.get(result.name);
  result.is_array = result.value.get_if<wmi::Value::Array>() != nullptr;
  if (result.value.get_if<std::int32_t>() != nullptr) result.type = wmi::CimType::sint32;
  return result;
}

/// NULL where WMI does not tell it: no reason to withhold the rest of the object.
wmi::Value system_property(wmi::Object& object, const char* name) {
  try {
    return object.get(name);
  } catch (const Error&) {
    return {};
  }
}

WmiClass describe(wmi::Object& object) {
  WmiObject read = WmiSession::read(object);
  WmiClass result{std::move(read.class_name),
                  {},
                  object.class_description(),
                  std::move(read.properties),
                  object.methods()};
  const wmi::Value derivation = system_property(object, "__DERIVATION");
  if (const auto* names = derivation.get_if<wmi::Value::Array>()) {
    for (const wmi::Value& name : *names) {
      if (const auto* text = name.get_if<std::string>()) result.superclasses.push_back(*text);
    }
  }
  return result;
}

}  // namespace

WmiSession::WmiSession(const std::string& name_space) : WmiSession(local_ground(), name_space) {}

WmiSession::WmiSession(Ground& ground, const std::string& name_space)
    : services_(connect(ground, name_space)) {}

WmiSession::~WmiSession() = default;

std::vector<WmiObject> WmiSession::query(const std::string& wql) {
  const std::vector<std::string_view> system_properties = selected_system_properties(wql);
  std::vector<WmiObject> result;
  for_each_object(*services_, wql, [&](wmi::Object& object) {
    result.push_back(read(object));
    std::vector<WmiProperty>& properties = result.back().properties;
    for (const std::string_view name : system_properties)
      properties.push_back(read_system_property(object, name));
  });
  return result;
}

std::vector<std::string> WmiSession::classes() {
  std::vector<std::string> result;
  for_each_object(*services_, "SELECT * FROM meta_class",
                  [&](wmi::Object& object) { result.push_back(object.class_name()); });
  return result;
}

WmiClass WmiSession::class_description(const std::string& name) {
  if (is_class_name(name)) {
    try {
      // ISA also answers the classes derived from it, which may come first.
      const auto set = services_->exec_query("SELECT * FROM meta_class WHERE __this ISA '" + name + "'");
      for (const auto objects = set->enumerate(); const auto object = objects->next();) {
        if (equals_ignoring_case(object->class_name(), name)) return describe(*object);
      }
    } catch (const Error& error) {
      // Where WMI refuses ISA with a class that it lacks, the caller has asked for a class all the same.
      if (!is_status(error, wmi::Status::invalid_class)) throw;
    }
  }
  throw wmi::wmi_error(wmi::Status::not_found, wmi::source::kServices);
}

WmiObject WmiSession::read(wmi::Object& object) {
  constexpr std::int32_t kClass = 1;
  const bool is_class = system_property(object, "__GENUS") == wmi::Value(kClass);
  WmiObject result{object.class_name(), {}, is_class};
  for (wmi::Property& property : object.properties()) {
    result.properties.push_back({std::move(property.name), std::move(property.value), property.type,
                                 property.is_array, property.is_key, std::move(property.description)});
  }
  return result;
}

}  // namespace kvwmi
