#pragma once

#include "frame/platform.h"

namespace kvwmi::ground {

class Win32FileSystem final : public FileSystem {
 public:
  std::string parent_folder_name(std::string_view path) override;
  std::string file_name(std::string_view path) override;
  std::vector<std::string> subfolders(const std::string& path) override;
  bool delete_file(const std::string& path) override;
  bool matches(std::string_view file_name, std::string_view specification) override;
};

}  // namespace kvwmi::ground
