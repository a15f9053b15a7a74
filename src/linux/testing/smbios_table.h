#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

namespace kvwmi::ground::testing {

/// One structure of a firmware table: its formatted part, of which the caller gives what follows the header,
/// and its texts.
inline std::string smbios_structure(std::uint8_t type, std::string_view fields,
                                    std::initializer_list<std::string_view> texts) {
  std::string structure{static_cast<char>(type), static_cast<char>(fields.size() + 4), '\x10', '\0'};
  structure += fields;
  for (const std::string_view text : texts) structure.append(text) += '\0';
  structure.append(texts.size() == 0 ? 2 : 1, '\0');
  return structure;
}

/// A processor in the socket that `texts` begin with, then its serial number, asset tag and part number.
inline std::string smbios_processor(std::uint16_t external_megahertz, std::uint16_t max_megahertz,
                                    std::initializer_list<std::string_view> texts, bool populated = true) {
  std::string fields(0x23 - 4, '\0');
  const auto put_word = [&](std::size_t at, std::uint16_t word) {
    fields[at - 4] = static_cast<char>(word & 0xFFU);
    fields[at - 3] = static_cast<char>(word >> 8U);
  };
  fields[0] = 1;
  put_word(0x12, external_megahertz);
  put_word(0x14, max_megahertz);
  fields[0x18 - 4] = populated ? '\x41' : '\0';
  for (std::size_t text = 2; text <= texts.size(); ++text)
    fields[0x20 - 4 + text - 2] = static_cast<char>(text);
  return smbios_structure(4, fields, texts);
}

}  // namespace kvwmi::ground::testing
