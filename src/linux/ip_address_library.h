#pragma once

#include <atomic>
#include <filesystem>
#include <vector>

#include "frame/platform.h"
#include "linux/machine.h"

namespace kvwmi::ground {

/// The folders that companion libraries are taken from: that of the module this code is in, then the one
/// where the system keeps its own C library; never the current directory nor one named by the environment.
[[nodiscard]] std::vector<std::filesystem::path> companion_folders();

/// Gives the library native names: one with a drive is that file's, as it is for LinuxFileSystem. On a drive
/// that is not there, nothing is to report.
class LinuxIpAddressLibrary final : public IpAddressLibrary {
 public:
  explicit LinuxIpAddressLibrary(const Machine& machine,
                                 std::vector<std::filesystem::path> folders = companion_folders());

  std::int32_t iCheckIPAddress(const std::string& definition_file, const std::string& filter) override;
  std::int32_t iCheckNetworkInterfaces(const std::string& definition_file) override;

 private:
  [[nodiscard]] void* load();
  template <typename Function>
  [[nodiscard]] Function* entry_point(const char* name);

  const Machine& machine_;
  std::vector<std::filesystem::path> folders_;
  std::atomic<void*> loaded_ = nullptr;
};

}  // namespace kvwmi::ground
