#include "frame/wow64.h"

#include "frame/errors_process.h"

namespace kvwmi::PublicFunctions {

std::int16_t IsWow64(SystemInfo& system) {
  return tagged("PublicFunctions.IsWow64",
                [&] { return static_cast<std::int16_t>(system.wow64_process().value_or(0)); });
}

}  // namespace kvwmi::PublicFunctions
