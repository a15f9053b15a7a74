#pragma once

#include <string>
#include <vector>

#include "frame/platform.h"

namespace kvwmi::ground {

/// The folders that companion libraries are taken from: that of the module this code is in, then the system
/// folder; never the current directory.
[[nodiscard]] std::vector<std::wstring> companion_folders();

class Win32IpAddressLibrary final : public IpAddressLibrary {
 public:
  explicit Win32IpAddressLibrary(std::vector<std::wstring> folders = companion_folders());

  std::int32_t iCheckIPAddress(const std::string& definition_file, const std::string& filter) override;
  std::int32_t iCheckNetworkInterfaces(const std::string& definition_file) override;

 private:
  template <typename Function>
  [[nodiscard]] Function entry_point(const char* name) const;

  std::vector<std::wstring> folders_;
};

}  // namespace kvwmi::ground
