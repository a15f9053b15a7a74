#include "linux/parsers/smbios.h"

#include "linux/parsers/scan.h"

namespace kvwmi::ground::parsers {
namespace {

constexpr std::uint8_t kProcessor = 4;
constexpr std::uint8_t kEndOfTable = 127;

/// One structure: a formatted part, then the texts that its fields number from 1 on.
class Structure {
 public:
  Structure(std::string_view formatted, std::string_view texts) : formatted_(formatted), texts_(texts) {}

  [[nodiscard]] std::uint8_t type() const { return byte(0); }
  /// 0 for a field that this version of the structure lacks.
  [[nodiscard]] std::uint8_t byte(std::size_t at) const {
    return at < formatted_.size() ? static_cast<std::uint8_t>(formatted_[at]) : std::uint8_t{0};
  }
  /// A word in which 0 stands for unknown.
  [[nodiscard]] std::optional<std::uint64_t> known_word(std::size_t at) const {
    const auto word = static_cast<std::uint64_t>(byte(at) | byte(at + 1) << 8);
    if (word == 0) return std::nullopt;
    return word;
  }
  /// The text whose number stands in a field; firmware likes to pad them.
  [[nodiscard]] std::string text(std::size_t at) const {
    std::string_view rest = texts_;
    std::string_view found;
    for (unsigned left = byte(at); left > 0; --left) found = take_until(rest, '\0');
    return std::string(trimmed(found));
  }

 private:
  std::string_view formatted_;
  std::string_view texts_;
};

/// Takes the next structure off the table; nullopt at its end and where it is cut.
std::optional<Structure> take_structure(std::string_view& table) {
  constexpr std::size_t kHeader = 4;
  if (table.size() < kHeader) return std::nullopt;
  const std::size_t length = static_cast<std::uint8_t>(table[1]);
  if (length < kHeader || length > table.size()) return std::nullopt;
  constexpr std::string_view kEndOfTexts("\0\0", 2);
  const std::size_t end = table.find(kEndOfTexts, length);
  if (end == std::string_view::npos) return std::nullopt;
  const Structure structure(table.substr(0, length), table.substr(length, end - length));
  table.remove_prefix(end + kEndOfTexts.size());
  if (structure.type() == kEndOfTable) return std::nullopt;
  return structure;
}

}  // namespace

std::vector<ProcessorSocket> parse_processor_sockets(std::string_view table) {
  constexpr std::uint8_t kPopulated = 0x40;
  std::vector<ProcessorSocket> sockets;
  while (const auto structure = take_structure(table)) {
    if (structure->type() != kProcessor || (structure->byte(0x18) & kPopulated) == 0) continue;
    sockets.push_back({.designation = structure->text(0x04),
                       .serial_number = structure->text(0x20),
                       .asset_tag = structure->text(0x21),
                       .part_number = structure->text(0x22),
                       .external_megahertz = structure->known_word(0x12),
                       .max_megahertz = structure->known_word(0x14)});
  }
  return sockets;
}

}  // namespace kvwmi::ground::parsers
