#include "wmi/wql/class_scope.h"

#include <set>
#include <string>

#include "frame/text.h"

namespace kvwmi::wql {
namespace {

using cim::SystemProperty;

/// Whether instances of one class differ in it.
bool differs_by_row(SystemProperty property) {
  return property == SystemProperty::path || property == SystemProperty::relpath;
}

}  // namespace

std::string_view ClassScope::title() const {
  return genus_ == Genus::instance ? schema_.name : "meta_class";
}

std::optional<Binding> ClassScope::find_head(std::string_view name) const {
  Binding binding;
  const auto bind = [&](const cim::Property& property) {
    binding.type = property.type;
    binding.is_array = property.is_array();
    binding.cost = property.cost;
  };
  if (genus_ == Genus::instance) {
    if (const auto column = schema_.find_property(name)) {
      bind(schema_.properties[*column]);
      binding.slot = *column;
      return binding;
    }
    for (const cim::Class* relative : relatives_) {
      const auto column = relative->find_property(name);
      if (!column) continue;
      bind(relative->properties[*column]);
      binding.constant = cim::Value();
      return binding;
    }
  }
  if (const auto system = cim::find_system_property(name)) {
    binding.slot = kFirstSystemSlot + static_cast<std::size_t>(*system);
    binding.type = cim::type_of(*system);
    binding.is_array = *system == SystemProperty::derivation;
    if (*system == SystemProperty::genus) {
      binding.constant = cim::Value(static_cast<std::int64_t>(genus_));
    } else if (genus_ == Genus::class_object || !differs_by_row(*system)) {
      binding.constant = cim::class_value(*system, schema_, location_);
    }
    return binding;
  }
  if (equals_ignoring_case(name, "__this")) {
    binding.type = cim::CimType::object;
    binding.known_class = &schema_;
    binding.constant = cim::Value(true);  // it is never NULL
    return binding;
  }
  return std::nullopt;
}

std::optional<Binding> ClassScope::find(std::string_view name) const {
  const auto dot = name.find('.');
  auto binding = find_head(name.substr(0, dot));
  if (!binding || dot == std::string_view::npos) return binding;
  binding->rest = name.substr(dot + 1);
  binding->leads_nowhere =
      binding->type != cim::CimType::object || binding->is_array || binding->constant.has_value();
  return binding;
}

std::vector<std::string_view> ClassScope::names() const {
  std::vector<std::string_view> names;
  if (genus_ == Genus::instance) {
    std::set<std::string> known;
    const auto add = [&](const cim::Class& schema) {
      for (const cim::Property& property : schema.properties) {
        if (known.insert(fold_case(property.name)).second) names.push_back(property.name);
      }
    };
    add(schema_);
    for (const cim::Class* relative : relatives_) add(*relative);
  }
  for (const std::string_view name : cim::system_property_names()) names.push_back(name);
  return names;
}

const cim::Value& InstanceRow::system_value(std::size_t slot) {
  const auto [found, added] = system_values_.try_emplace(slot);
  if (added) {
    found->second =
        cim::instance_value(static_cast<SystemProperty>(slot - kFirstSystemSlot), instance_, location_);
  }
  return found->second;
}

}  // namespace kvwmi::wql
