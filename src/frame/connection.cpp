#include "frame/connection.h"

#include "frame/runtime_error.h"

namespace kvwmi {

Error explain_missing_wmi(const Error& error) {
  const bool absent = error.number() == static_cast<std::int32_t>(RuntimeError::cannot_create_object);
  return absent ? error.with_description("WMI not installed") : error;
}

std::shared_ptr<wmi::Services> connect(Ground& ground, const std::string& name_space) {
  try {
    wmi::ConnectArguments arguments;
    arguments.name_space = name_space;
    return ground.create_locator()->connect_server(arguments);
  } catch (const Error& error) {
    throw explain_missing_wmi(error);
  }
}

std::shared_ptr<wmi::Services> connect_at_construction(Ground& ground, const MethodFrame& frame) {
  return frame("Class_Initialize", [&] { return connect(ground, wmi::kCimv2); });
}

}  // namespace kvwmi
