#include "wmi/object.h"

#include <algorithm>
#include <string>
#include <utility>

#include "frame/text.h"
#include "wmi/cim/automation.h"
#include "wmi/raising_from.h"

namespace kvwmi::embedded {
namespace {

using cim::SystemProperty;
using wmi::Status;

Error failure(Status status) {
  return wmi::wmi_error(status, wmi::source::kObject);
}

bool is_location(SystemProperty property) {
  return property == SystemProperty::server || property == SystemProperty::name_space ||
         property == SystemProperty::path || property == SystemProperty::relpath;
}

wmi::Property described(const cim::Property& property, wmi::Value value) {
  return {std::string(property.name), std::move(value),  property.type,
          property.is_array(),        property.is_key(), std::string(property.description)};
}

class InstanceObject final : public wmi::Object {
 public:
  InstanceObject(std::shared_ptr<cim::Instance> instance, std::shared_ptr<const ObjectContext> context)
      : instance_(std::move(instance)), context_(std::move(context)) {}

  wmi::Value get(std::string_view property) override {
    return raising_from(wmi::source::kObject, [&] {
      if (const auto column = schema().find_property(property); column && selected(*column))
        return value(*column);
      if (const auto system = cim::find_system_property(property)) return system_value(*system);
      throw failure(Status::not_found);
    });
  }

  std::vector<wmi::Property> properties() override {
    return raising_from(wmi::source::kObject, [&] {
      std::vector<wmi::Property> result;
      for (std::size_t column = 0; column < schema().properties.size(); ++column) {
        if (selected(column)) result.push_back(described(schema().properties[column], value(column)));
      }
      return result;
    });
  }

  std::int32_t call(std::string_view method, const wmi::NamedValues& arguments) override {
    return raising_from(wmi::source::kObject, [&] {
      const cim::Method* found = schema().find_method(method);
      if (found == nullptr || found->call == nullptr) throw failure(Status::invalid_method);
      return static_cast<std::int32_t>(found->call(*instance_, typed(*found, arguments)));
    });
  }

  std::string class_name() override { return std::string(schema().name); }

 private:
  [[nodiscard]] const cim::Class& schema() const { return instance_->schema(); }

  [[nodiscard]] bool selected(std::size_t column) const {
    const auto& columns = context_->columns;
    return !columns || std::binary_search(columns->begin(), columns->end(), column);
  }

  wmi::Value value(std::size_t column) {
    return cim::to_automation(instance_->get(column), schema().properties[column].type,
                              [&](const std::shared_ptr<cim::Instance>& embedded) {
                                auto context = std::make_shared<ObjectContext>(*context_);
                                context->columns.reset();  // they are another class's
                                return make_object(embedded, std::move(context));
                              });
  }

  wmi::Value system_value(SystemProperty property) {
    if (!context_->stored && is_location(property)) return {};
    if (property == SystemProperty::property_count && context_->columns) {
      return wmi::Value(static_cast<std::int32_t>(context_->columns->size()));
    }
    return cim::to_automation(cim::instance_value(property, *instance_, context_->location),
                              cim::type_of(property));
  }

  /// The arguments in the method's order, each of its type, NULL where omitted.
  static std::vector<cim::Value> typed(const cim::Method& method, const wmi::NamedValues& arguments) {
    std::vector<cim::Value> values(method.in.size());
    std::vector<bool> given(method.in.size());
    for (const wmi::NamedValue& argument : arguments) {
      const auto parameter = std::find_if(method.in.begin(), method.in.end(), [&](const cim::Parameter& p) {
        return equals_ignoring_case(p.name, argument.name);
      });
      const auto index = static_cast<std::size_t>(parameter - method.in.begin());
      if (parameter == method.in.end() || given[index]) throw failure(Status::invalid_method_parameters);
      auto value = cim::from_automation(argument.value, parameter->type);
      // No parameter here takes an array, and an array is not one of its elements.
      if (!value || value->get_if<cim::Value::Array>() != nullptr) {
        throw failure(Status::invalid_method_parameters);
      }
      values[index] = *std::move(value);
      given[index] = true;
    }
    return values;
  }

  std::shared_ptr<cim::Instance> instance_;
  std::shared_ptr<const ObjectContext> context_;
};

class ClassObject final : public wmi::Object {
 public:
  ClassObject(const cim::Class& schema, std::shared_ptr<const ObjectContext> context)
      : schema_(schema), context_(std::move(context)) {}

  wmi::Value get(std::string_view property) override {
    if (schema_.find_property(property)) return {};
    if (const auto system = cim::find_system_property(property)) {
      return cim::to_automation(cim::class_value(*system, schema_, context_->location),
                                cim::type_of(*system));
    }
    throw failure(Status::not_found);
  }
  std::vector<wmi::Property> properties() override {
    std::vector<wmi::Property> result;
    for (const cim::Property& property : schema_.properties) result.push_back(described(property, {}));
    return result;
  }
  std::int32_t call(std::string_view /*method*/, const wmi::NamedValues& /*arguments*/) override {
    throw failure(Status::invalid_method);  // no class here has a method of its own
  }
  std::string class_name() override { return std::string(schema_.name); }
  std::string class_description() override { return std::string(schema_.description); }
  std::vector<wmi::Method> methods() override {
    std::vector<wmi::Method> result;
    for (const cim::Method& method : schema_.methods) {
      wmi::Method& entry =
          result.emplace_back(wmi::Method{std::string(method.name), {}, std::string(method.description)});
      for (const cim::Parameter& parameter : method.in)
        entry.in.push_back({std::string(parameter.name), parameter.type});
    }
    return result;
  }

 private:
  const cim::Class& schema_;
  std::shared_ptr<const ObjectContext> context_;
};

}  // namespace

std::shared_ptr<wmi::Object> make_object(std::shared_ptr<cim::Instance> instance,
                                         std::shared_ptr<const ObjectContext> context) {
  return std::make_shared<InstanceObject>(std::move(instance), std::move(context));
}

std::shared_ptr<wmi::Object> make_class_object(const cim::Class& schema,
                                               std::shared_ptr<const ObjectContext> context) {
  return std::make_shared<ClassObject>(schema, std::move(context));
}

}  // namespace kvwmi::embedded
