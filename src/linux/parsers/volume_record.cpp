#include "linux/parsers/volume_record.h"

#include "linux/parsers/scan.h"

namespace kvwmi::ground::parsers {
namespace {

/// The database writes characters that it does not trust as \xHH.
std::string unescaped(std::string_view text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto code =
        text.substr(i, 2) == "\\x" ? to_number<unsigned>(text.substr(i + 2, 2), 16) : std::nullopt;
    if (code && i + 3 < text.size()) {
      plain += static_cast<char>(*code);
      i += 3;
    } else {
      plain += text[i];
    }
  }
  return plain;
}

}  // namespace

VolumeRecord parse_volume_record(std::string_view text) {
  VolumeRecord record;
  for_each_line(text, [&](std::string_view line) {
    const std::string_view name = take_until(line, '=');
    if (name == "E:ID_FS_TYPE") record.type = line;
    if (name == "E:ID_FS_VERSION") record.version = line;
    if (name == "E:ID_FS_LABEL_ENC") record.label = unescaped(line);
    if (name == "E:ID_FS_UUID") record.uuid = line;
    return true;
  });
  return record;
}

}  // namespace kvwmi::ground::parsers
