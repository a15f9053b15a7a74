#pragma once

#include <string>

/// The file of a network-interfaces watch. The component deletes it at the end whatever is in it, so it must
/// be the watch's own: a record of interfaces, empty, or not there yet. Anything else raises UsageError.
namespace kvwmi::agent {

/// What tells it from other files, whether it is there or not.
[[nodiscard]] std::string interface_record_path(const std::string& file);

void require_interface_record(const std::string& file);

/// Also makes the file where there is none, so that a folder that cannot be written to is told at once. Gives
/// its full path.
[[nodiscard]] std::string claim_interface_record(const std::string& file);

}  // namespace kvwmi::agent
