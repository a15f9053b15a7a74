#pragma once

#include "frame/platform.h"
#include "linux/machine.h"

namespace kvwmi::ground {

/// Takes paths in either form, native or with a drive letter, and answers in the form it was asked in.
class LinuxFileSystem final : public FileSystem {
 public:
  explicit LinuxFileSystem(const Machine& machine) : machine_(machine) {}

  std::string parent_folder_name(std::string_view path) override;
  std::string file_name(std::string_view path) override;
  /// In the order of their names. The folder is looked for in any case where its own is not there; a missing
  /// one raises 76 "Path not found".
  std::vector<std::string> subfolders(const std::string& path) override;
  /// The file of exactly this name, in no other case.
  bool delete_file(const std::string& path) override;
  bool matches(std::string_view file_name, std::string_view specification) override;

 private:
  const Machine& machine_;
};

}  // namespace kvwmi::ground
