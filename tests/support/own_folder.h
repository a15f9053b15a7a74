#pragma once

#include <stdlib.h>

#include <filesystem>
#include <stdexcept>
#include <string>

namespace kvwmi::tests {

/// A new folder of the test's own; it goes with everything in it.
class OwnFolder {
 public:
  OwnFolder() {
    std::string name = std::filesystem::temp_directory_path() / "kvwmi-test-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no folder " + name);
    path_ = name;
  }
  ~OwnFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  OwnFolder(const OwnFolder&) = delete;
  OwnFolder& operator=(const OwnFolder&) = delete;

  [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace kvwmi::tests
