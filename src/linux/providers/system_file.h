#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "linux/descriptor.h"

namespace kvwmi::ground::providers {

/// Opens what is there, nothing where it cannot be opened. Where this process has no descriptor or the
/// machine no memory left, which is no property of the file, it raises "Provider failure "; so do all that
/// read a file.
[[nodiscard]] Descriptor open_at(int folder, const char* path, int flags);

/// Reads into `buffer` and gives the part that it filled; nullopt where the file cannot be read. For files of
/// /proc that are known to be short: one open, one read, one close.
[[nodiscard]] std::optional<std::string_view> read_short(int folder, const char* path,
                                                         std::span<char> buffer);
/// The whole file; nullopt where it cannot be read, and errno says why.
[[nodiscard]] std::optional<std::string> read_file_at(int folder, const char* path);
[[nodiscard]] std::optional<std::string> read_file(const std::string& path);

/// The same without white space around it, as the one-line files of /sys are wanted.
[[nodiscard]] std::optional<std::string> read_line(const std::string& path);

/// Where a symbolic link points; nullopt where it cannot be read.
[[nodiscard]] std::optional<std::string> read_link_at(int folder, const char* path);

/// Names in a folder, sorted, without "." and ".."; nullopt where it cannot be read, and errno says why.
[[nodiscard]] std::optional<std::vector<std::string>> list_folder(const std::string& path);

/// A file of /proc that is read again and again without being opened each time, unless it could not be opened
/// when this was made. Any thread may read.
class KeptFile {
 public:
  explicit KeptFile(std::string path);
  /// What the file says now; raises "Provider failure " where it cannot be read.
  [[nodiscard]] std::string read() const;

 private:
  std::string path_;
  Descriptor file_;
};

}  // namespace kvwmi::ground::providers
