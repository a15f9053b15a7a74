#include "stand_in/repository.h"

#include <stdexcept>

#include "frame/text.h"
#include "stand_in/apartment_delivery.h"
#include "stand_in/standard_classes.h"
#include "wmi/events/event_service.h"
#include "wmi/events/event_sink.h"

namespace kvwmi::stand_in {
namespace {

constexpr std::uint32_t kAlready = 10;

std::string text_of(const cim::Value& value) {
  if (const auto* number = value.get_if<std::uint64_t>()) return std::to_string(*number);
  if (const auto* number = value.get_if<std::int64_t>()) return std::to_string(*number);
  if (const auto* text = value.get_if<std::string>()) return *text;
  return value.is_null() ? "Null" : "?";
}

}  // namespace

Repository::Repository() {
  for (embedded::MemoryClass& definition : standard_classes()) define(std::move(definition));
  service_.set_notifier(std::make_shared<embedded::EventService>());
}

Repository::~Repository() = default;

void Repository::define(embedded::MemoryClass definition) {
  for (embedded::MemoryClass::Method& method : definition.methods) {
    method.call = [this, name = definition.name, method_name = method.name](
                      std::size_t row, std::span<const cim::Value> arguments) {
      return call(name, method_name, row, arguments);
    };
  }
  const std::string name = definition.name;
  const auto provider = std::make_shared<embedded::MemoryProvider>(std::move(definition));
  classes_[fold_case(name)] = provider;
  service_.add(provider);
}

embedded::MemoryProvider& Repository::rows(std::string_view class_name) {
  const auto found = classes_.find(fold_case(class_name));
  if (found == classes_.end()) throw std::out_of_range("no class " + std::string(class_name));
  return *found->second;
}

std::size_t Repository::add(std::string_view class_name, const embedded::MemoryProvider::Values& values) {
  return rows(class_name).add(values);
}

void Repository::clear() {
  for (const auto& [name, provider] : classes_) {
    provider->clear();
    provider->fail_with(std::nullopt);
  }
  answers_.clear();
  calls_.clear();
}

void Repository::answer(std::string_view class_name, std::string_view method, std::uint32_t code) {
  answers_[{fold_case(class_name), fold_case(method)}] = code;
}

std::shared_ptr<wmi::Sink> Repository::create_sink(wmi::ObjectReady handler) {
  return std::make_shared<embedded::EventSink>(std::move(handler), std::make_shared<ApartmentDelivery>());
}

const cim::Class* Repository::find_class(std::string_view name) {
  const auto found = classes_.find(fold_case(name));
  return found == classes_.end() ? nullptr : &found->second->schema();
}

std::uint32_t Repository::call(const std::string& class_name, const std::string& method, std::size_t row,
                               std::span<const cim::Value> arguments) {
  std::string text;
  for (const cim::Value& argument : arguments) {
    if (!text.empty()) text += ", ";
    text += text_of(argument);
  }
  calls_.push_back(class_name + "." + method + "(" + text + ")");

  const auto answer = answers_.find({fold_case(class_name), fold_case(method)});
  if (answer != answers_.end()) return answer->second;
  if (method == "StartService") return control_service(row, "Running");
  if (method == "StopService") return control_service(row, "Stopped");
  if (method == "Terminate") rows(class_name).remove(row);
  return 0;
}

std::uint32_t Repository::control_service(std::size_t row, std::string_view wanted) {
  embedded::MemoryProvider& services = rows("Win32_Service");
  if (services.get(row, "State") == cim::Value(std::string(wanted))) return kAlready;
  services.set(row, "State", std::string(wanted));
  services.set(row, "Started", wanted == "Running");
  return 0;
}

}  // namespace kvwmi::stand_in
