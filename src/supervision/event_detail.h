#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "frame/ground.h"

namespace kvwmi::supervision {

/// What an event's record says: a text, often an empty one, that depends on the kind of its watch. No value
/// when the event is not for the watch, because its file does not match the pattern in the context. A
/// property or context value that cannot be had raises.
[[nodiscard]] std::optional<std::string> event_detail(Ground& ground, std::int32_t type, wmi::Object& event,
                                                      const wmi::NamedValues& context);

}  // namespace kvwmi::supervision
