#include "wmi/cim/system_properties.h"

#include <array>

#include "frame/text.h"
#include "wmi/cim/object_path.h"

namespace kvwmi::cim {
namespace {

struct Row {
  std::string_view name;
  CimType type;
};

constexpr std::array kRows{
    Row{"__GENUS", CimType::sint32},      Row{"__CLASS", CimType::string},
    Row{"__SUPERCLASS", CimType::string}, Row{"__DYNASTY", CimType::string},
    Row{"__RELPATH", CimType::reference}, Row{"__PROPERTY_COUNT", CimType::sint32},
    Row{"__DERIVATION", CimType::string}, Row{"__SERVER", CimType::string},
    Row{"__NAMESPACE", CimType::string},  Row{"__PATH", CimType::reference},
};

constexpr auto kNames = [] {
  std::array<std::string_view, kRows.size()> names;
  for (std::size_t i = 0; i < kRows.size(); ++i) names[i] = kRows[i].name;
  return names;
}();

Value text(std::string_view value) {
  return Value(std::string(value));
}

std::string whole(ObjectPath path, const Location& location) {
  path.server = location.server;
  path.name_space = location.name_space;
  return to_text(path);
}

}  // namespace

std::span<const std::string_view> system_property_names() {
  return kNames;
}

std::optional<SystemProperty> find_system_property(std::string_view name) {
  if (!name.starts_with("__")) return std::nullopt;
  for (std::size_t i = 0; i < kNames.size(); ++i) {
    if (equals_ignoring_case(kNames[i], name)) return static_cast<SystemProperty>(i);
  }
  return std::nullopt;
}

CimType type_of(SystemProperty property) {
  return kRows[static_cast<std::size_t>(property)].type;
}

Value class_value(SystemProperty property, const Class& schema, const Location& location) {
  switch (property) {
    case SystemProperty::genus:
      return std::int64_t{1};
    case SystemProperty::class_name:
    case SystemProperty::relpath:
      return text(schema.name);
    case SystemProperty::superclass:
      return schema.superclasses.empty() ? Value() : text(schema.superclasses.front());
    case SystemProperty::dynasty:
      return text(schema.superclasses.empty() ? schema.name : schema.superclasses.back());
    case SystemProperty::property_count:
      return static_cast<std::int64_t>(schema.properties.size());
    case SystemProperty::derivation: {
      Value::Array names;
      for (const std::string_view name : schema.superclasses) names.push_back(text(name));
      return names;
    }
    case SystemProperty::server:
      return location.server;
    case SystemProperty::name_space:
      return location.name_space;
    case SystemProperty::path: {
      ObjectPath path;
      path.class_name = schema.name;
      return whole(std::move(path), location);
    }
  }
  return {};
}

Value instance_value(SystemProperty property, Instance& instance, const Location& location) {
  switch (property) {
    case SystemProperty::genus:
      return std::int64_t{2};
    case SystemProperty::relpath: {
      const auto path = path_of(instance);
      return path ? Value(relative_text(*path)) : Value();
    }
    case SystemProperty::path: {
      auto path = path_of(instance);
      return path ? Value(whole(*std::move(path), location)) : Value();
    }
    default:
      return class_value(property, instance.schema(), location);
  }
}

}  // namespace kvwmi::cim
