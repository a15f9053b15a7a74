#include "linux/ip_address_library.h"

#include <dlfcn.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <initializer_list>
#include <utility>

#include "frame/runtime_error.h"
#include "linux/native_path.h"

namespace kvwmi::ground {
namespace {

constexpr std::int32_t kNothing = 0;
constexpr const char* kLibrary = "libKVIPAddress.so";

/// The absolute path of the file that holds `address`, as the kernel mapped it: the loader only knows the
/// name that it was asked for, which may be relative to a directory of long ago.
std::filesystem::path file_that_holds(const void* address) {
  const auto sought = reinterpret_cast<std::uintptr_t>(address);
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    char* rest = nullptr;
    const auto first = std::strtoull(line.c_str(), &rest, 16);
    const auto end = *rest == '-' ? std::strtoull(rest + 1, nullptr, 16) : 0;
    const std::size_t path = line.find('/');
    if (sought >= first && sought < end && path != std::string::npos) return line.substr(path);
  }
  return {};
}

}  // namespace

std::vector<std::filesystem::path> companion_folders() {
  std::vector<std::filesystem::path> folders;
  for (const void* address :
       std::initializer_list<const void*>{&kLibrary, dlsym(RTLD_DEFAULT, "gnu_get_libc_version")}) {
    if (auto file = file_that_holds(address); !file.empty()) folders.push_back(file.parent_path());
  }
  return folders;
}

LinuxIpAddressLibrary::LinuxIpAddressLibrary(const Machine& machine,
                                             std::vector<std::filesystem::path> folders)
    : machine_(machine), folders_(std::move(folders)) {}

void* LinuxIpAddressLibrary::load() {
  if (void* loaded = loaded_) return loaded;
  for (const std::filesystem::path& folder : folders_) {
    if (void* loaded = dlopen((folder / kLibrary).c_str(), RTLD_NOW | RTLD_LOCAL)) {
      // For the rest of the process's life. A second thread gets the same one.
      loaded_ = loaded;
      return loaded;
    }
  }
  throw file_not_found(kLibrary);
}

template <typename Function>
Function* LinuxIpAddressLibrary::entry_point(const char* name) {
  void* const entry = dlsym(load(), name);
  if (entry == nullptr) throw dll_entry_point_not_found(name, kLibrary);
  return reinterpret_cast<Function*>(entry);
}

std::int32_t LinuxIpAddressLibrary::iCheckIPAddress(const std::string& definition_file,
                                                    const std::string& filter) {
  const auto check = entry_point<std::int32_t(const char*, const char*)>("iCheckIPAddress");
  const auto file = native_path(machine_, definition_file);
  return file ? check(file->c_str(), filter.c_str()) : kNothing;
}

std::int32_t LinuxIpAddressLibrary::iCheckNetworkInterfaces(const std::string& definition_file) {
  const auto check = entry_point<std::int32_t(const char*)>("iCheckNetworkInterfaces");
  const auto file = native_path(machine_, definition_file);
  return file ? check(file->c_str()) : kNothing;
}

}  // namespace kvwmi::ground
