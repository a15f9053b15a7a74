#include "frame/window_api.h"

#include "frame/errors_process.h"

namespace kvwmi::WindowAPI {
namespace {

/// An older name stays in this tag; agents match on it.
constexpr const char* kTag = "Pylonet: WindowAPI.GetAPIErrorMessage";

}  // namespace

std::string GetAPIErrorMessage(SystemInfo& system, std::int32_t code) {
  return tagged(kTag, [&] { return system.message(code).value_or(""); });
}

}  // namespace kvwmi::WindowAPI
