#pragma once

#include <string>
#include <utility>
#include <vector>

#include "frame/wmi_access.h"

namespace kvwmi::stand_in {

/// An object that holds its values itself: the parameters of a method, or what an event said when it was
/// delivered.
class Bag final : public wmi::Object {
 public:
  Bag(std::string class_name, std::vector<wmi::Property> properties)
      : class_name_(std::move(class_name)), properties_(std::move(properties)) {}
  /// A copy of what `object` says now.
  explicit Bag(wmi::Object& object) : Bag(object.class_name(), object.properties()) {}

  wmi::Value get(std::string_view property) override;
  std::vector<wmi::Property> properties() override { return properties_; }
  std::int32_t call(std::string_view method, const wmi::NamedValues& arguments) override;
  std::string class_name() override { return class_name_; }

  void put(std::string_view property, wmi::Value value);

 private:
  [[nodiscard]] wmi::Property& find(std::string_view name);

  std::string class_name_;
  std::vector<wmi::Property> properties_;
};

/// The parameters of a method, all Null.
[[nodiscard]] std::shared_ptr<Bag> make_parameters(const std::vector<wmi::Property>& parameters);

}  // namespace kvwmi::stand_in
