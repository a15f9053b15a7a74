#include "linux/device_classes.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace kvwmi::ground {
namespace {

struct Entry {
  DeviceClasses::Id id;
  std::string_view description;
};

/// Most classes are numbered through in the first group.
constexpr DeviceClasses::Id numbered(std::uint32_t first) {
  return {first, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};
}

constexpr std::array kClasses{
    Entry{numbered(0x4D36E965), "DVD/CD-ROM drives"},
    Entry{numbered(0x4D36E967), "Disk drives"},
    Entry{numbered(0x4D36E968), "Display adapters"},
    Entry{numbered(0x4D36E96A), "IDE ATA/ATAPI controllers"},
    Entry{numbered(0x4D36E96B), "Keyboards"},
    Entry{numbered(0x4D36E96C), "Sound, video and game controllers"},
    Entry{numbered(0x4D36E96D), "Modems"},
    Entry{numbered(0x4D36E96E), "Monitors"},
    Entry{numbered(0x4D36E96F), "Mice and other pointing devices"},
    Entry{numbered(0x4D36E972), "Network adapters"},
    Entry{numbered(0x4D36E978), "Ports (COM & LPT)"},
    Entry{numbered(0x4D36E979), "Printers"},
    Entry{numbered(0x4D36E97B), "Storage controllers"},
    Entry{numbered(0x4D36E97D), "System devices"},
    Entry{{0x36FC9E60, 0xC465, 0x11CF, {0x80, 0x56, 0x44, 0x45, 0x53, 0x54, 0x00, 0x00}},
          "Universal Serial Bus controllers"},
    Entry{{0x50127DC3, 0x0F36, 0x415E, {0xA6, 0xCC, 0x4C, 0xB3, 0xBE, 0x91, 0x0B, 0x65}}, "Processors"},
    Entry{{0x71A27CDD, 0x812A, 0x11D0, {0xBE, 0xC7, 0x08, 0x00, 0x2B, 0xE2, 0x09, 0x2F}}, "Storage volumes"},
    Entry{{0x72631E54, 0x78A4, 0x11D0, {0xBC, 0xF7, 0x00, 0xAA, 0x00, 0xB7, 0xB3, 0x2A}}, "Batteries"},
    Entry{{0x745A17A0, 0x74D3, 0x11D0, {0xB6, 0xFE, 0x00, 0xA0, 0xC9, 0x0F, 0x57, 0xDA}},
          "Human Interface Devices"},
    Entry{{0xCA3E7AB9, 0xB4C3, 0x4AE6, {0x82, 0x51, 0x57, 0x9E, 0xF9, 0x33, 0x89, 0x0F}}, "Cameras"},
    Entry{{0xE0CBF06C, 0xCD8B, 0x4647, {0xBB, 0x8A, 0x26, 0x3B, 0x43, 0xF0, 0xF9, 0x74}}, "Bluetooth"},
};

}  // namespace

std::optional<std::string> LinuxDeviceClasses::description(const Id& id) {
  const auto* const found =
      std::find_if(kClasses.begin(), kClasses.end(), [&](const Entry& entry) { return entry.id == id; });
  if (found == kClasses.end()) return std::nullopt;
  return std::string(found->description);
}

}  // namespace kvwmi::ground
