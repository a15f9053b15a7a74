#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kvwmi::ground::parsers {

/// What the firmware says of one processor socket. Empty where it does not tell.
struct ProcessorSocket {
  std::string designation;  ///< as printed on the board
  std::string serial_number;
  std::string asset_tag;
  std::string part_number;
  std::optional<std::uint64_t> external_megahertz;
  std::optional<std::uint64_t> max_megahertz;
};
/// The sockets that hold a processor, in the order of the firmware's table (/sys/firmware/dmi/tables/DMI).
[[nodiscard]] std::vector<ProcessorSocket> parse_processor_sockets(std::string_view table);

}  // namespace kvwmi::ground::parsers
