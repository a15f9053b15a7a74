#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace kvwmi {

/// The device-setup classes, as SetupDiGetClassDescriptionA tells of them.
class DeviceClasses {
 public:
  virtual ~DeviceClasses() = default;

  /// A class identifier in its binary form: "{first-second-third-rest}", the rest byte by byte.
  struct Id {
    std::uint32_t first = 0;
    std::uint16_t second = 0;
    std::uint16_t third = 0;
    std::array<std::uint8_t, 8> rest{};
    bool operator==(const Id&) const = default;
  };
  /// The description of a class as the system has it, untrimmed, of at most 1023 bytes in its 8-bit code
  /// page; nullopt where the system has none.
  [[nodiscard]] virtual std::optional<std::string> description(const Id& id) = 0;
};

}  // namespace kvwmi
