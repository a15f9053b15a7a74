#include "kvwmi/wmi_session.h"

#include <utility>

#include "frame/connection.h"
#include "frame/ground.h"
#include "frame/text.h"
#include "frame/wmi_status.h"

namespace kvwmi {
namespace {

std::shared_ptr<wmi::Services> connect(Ground& ground, const std::string& name_space) {
  try {
    wmi::ConnectArguments arguments;
    arguments.name_space = name_space;
    return ground.create_locator()->connect_server(arguments);
  } catch (const Error& error) {
    throw explain_missing_wmi(error);
  }
}

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

}  // namespace

WmiSession::WmiSession(const std::string& name_space) : WmiSession(local_ground(), name_space) {}

WmiSession::WmiSession(Ground& ground, const std::string& name_space)
    : services_(connect(ground, name_space)) {}

WmiSession::~WmiSession() = default;

std::vector<WmiObject> WmiSession::query(const std::string& wql) {
  std::vector<WmiObject> result;
  for_each_object(*services_, wql, [&](wmi::Object& object) { result.push_back(read(object)); });
  return result;
}

std::vector<std::string> WmiSession::classes() {
  std::vector<std::string> result;
  for_each_object(*services_, "SELECT * FROM meta_class",
                  [&](wmi::Object& object) { result.push_back(object.class_name()); });
  return result;
}

WmiObject WmiSession::class_description(const std::string& name) {
  if (is_class_name(name)) {
    // ISA also answers the classes derived from it, which may come first.
    const auto set = services_->exec_query("SELECT * FROM meta_class WHERE __this ISA '" + name + "'");
    for (const auto objects = set->enumerate(); const auto object = objects->next();) {
      if (equals_ignoring_case(object->class_name(), name)) return read(*object);
    }
  }
  throw wmi::wmi_error(wmi::Status::not_found, wmi::source::kServices);
}

WmiObject WmiSession::read(wmi::Object& object) {
  WmiObject result{object.class_name(), {}};
  for (wmi::Property& property : object.properties()) {
    result.properties.push_back({std::move(property.name), std::move(property.value), property.type,
                                 property.is_array, property.is_key, std::move(property.description)});
  }
  return result;
}

}  // namespace kvwmi
