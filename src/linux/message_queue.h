#pragma once

#include <mqueue.h>

#include <optional>
#include <string>
#include <string_view>

#include "linux/descriptor.h"

/// The form a named event has on Linux: a POSIX message queue of one slot. Full is set, empty is not. The
/// size of a message tells the reset mode, so that it belongs to the event and not to who opened it.
namespace kvwmi::ground {

inline constexpr long kAutomaticMessageSize = 1;
inline constexpr long kManualMessageSize = 2;

/// The queue's name for an event's; nullopt for a name that no event can have.
[[nodiscard]] std::optional<std::string> queue_name(std::string_view event_name);

/// The size of an event's messages; nullopt for a queue that is no event.
[[nodiscard]] std::optional<long> event_message_size(int queue);

/// Sets the event; one that is set stays so. False when it cannot be written to.
bool set_event(int queue);
/// Takes the signal; false where there was none.
bool take_signal(int queue);

}  // namespace kvwmi::ground
