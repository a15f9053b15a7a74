#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "linux/machine.h"
#include "wmi/cim/instance.h"
#include "wmi/provider.h"

namespace kvwmi::ground::testing {

/// A machine whose files are those of a temporary folder, whose clocks stand still and which reaches nothing
/// of the machine that the test runs on.
class RecordedMachine : public Machine {
 public:
  RecordedMachine() {
    std::string pattern = (std::filesystem::temp_directory_path() / "kvwmi-machine-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
    folder_ = pattern;
    root = folder_.string();
    proc = root + "/proc";
    sys = root + "/sys";
    etc = root + "/etc";
    state = root + "/var/lib/kvwmi";
    for (const auto& path : {proc, sys, etc, root + "/var/lib"}) std::filesystem::create_directories(path);
    write("/proc/self/mountinfo", "27 1 254:0 / / rw,relatime - ext4 /dev/vda rw\n");
    wall_time = [this] { return wall; };
    boot_time = [this] { return booted; };
    running_time = [this] { return booted; };
    sleep = [this](std::chrono::milliseconds duration) { booted += duration; };
    utc_offset = [](std::int64_t) { return std::chrono::minutes(60); };
    process_cpu_time = [](pid_t) { return std::nullopt; };
    kill_process = [](pid_t, const std::function<bool()>&) { return ESRCH; };
    processor_id = [] { return std::nullopt; };
    volume_space = [](const std::string&, VolumeSpace&) { return ENOENT; };
    open_system_bus = [] { return Bus(); };
    open_process_events = [] { return Descriptor(); };
  }
  RecordedMachine(const RecordedMachine&) = delete;
  RecordedMachine& operator=(const RecordedMachine&) = delete;
  ~RecordedMachine() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  /// `path` is absolute, as on the recorded machine.
  void write(std::string_view path, std::string_view text) {
    const std::string full = root + std::string(path);
    std::filesystem::create_directories(std::filesystem::path(full).parent_path());
    std::ofstream(full, std::ios::binary) << text;
  }
  void link(std::string_view path, std::string_view target) {
    const std::string full = root + std::string(path);
    std::filesystem::create_directories(std::filesystem::path(full).parent_path());
    std::filesystem::remove(full);
    std::filesystem::create_symlink(target, full);
  }
  void remove(std::string_view path) { std::filesystem::remove_all(root + std::string(path)); }
  /// Makes it the laptop in src/linux/testdata: two sockets, a battery, a mouse, a memory stick, a network
  /// share.
  void become_laptop() {
    using std::filesystem::copy_options;
    std::filesystem::copy(
        std::filesystem::path(KVWMI_TESTDATA) / "laptop", folder_,
        copy_options::recursive | copy_options::copy_symlinks | copy_options::overwrite_existing);
    // Device numbers are no file names on every system that the sources may lie on.
    link("/sys/dev/block/8:17", "../../devices/pci0/usb1/block/sdb/sdb1");
    write(
        "/run/udev/data/b8:17",
        "E:ID_FS_TYPE=vfat\nE:ID_FS_VERSION=FAT16\nE:ID_FS_LABEL_ENC=MY\\x20STICK\nE:ID_FS_UUID=1a2b-3c4d\n");
    write("/run/udev/data/b254:1", "E:ID_FS_TYPE=ext4\nE:ID_FS_UUID=89abcdef-0123-4567-89ab-cdef01234567\n");
  }

  std::chrono::microseconds wall{std::chrono::seconds(1'700'000'000)};
  std::chrono::nanoseconds booted{std::chrono::seconds(1000)};

 private:
  std::filesystem::path folder_;
};

using Rows = std::vector<std::shared_ptr<cim::Instance>>;

/// All rows, narrowed by `any_of`.
inline Rows rows_of(embedded::Provider& provider, const std::vector<embedded::Equality>& any_of = {}) {
  Rows rows;
  provider.enumerate({.any_of = any_of, .columns = {}}, [&](std::shared_ptr<cim::Instance> row) {
    rows.push_back(std::move(row));
    return true;
  });
  return rows;
}

inline std::size_t column_of(const cim::Class& schema, std::string_view property) {
  const auto column = schema.find_property(property);
  if (!column) throw std::runtime_error("no property " + std::string(property));
  return *column;
}

inline embedded::Equality equals(embedded::Provider& provider, std::string_view property,
                                 cim::Value constant) {
  return {column_of(provider.schema(), property), std::move(constant)};
}

inline const cim::Value& get(cim::Instance& row, std::string_view property) {
  return row.get(column_of(row.schema(), property));
}
inline std::string text_of(cim::Instance& row, std::string_view property) {
  const cim::Value& value = get(row, property);
  const auto* text = value.get_if<std::string>();
  return text == nullptr ? (value.is_null() ? "(null)" : "(no text)") : *text;
}
inline std::uint64_t number_of(cim::Instance& row, std::string_view property) {
  const auto* number = get(row, property).get_if<std::uint64_t>();
  if (number == nullptr) throw std::runtime_error(std::string(property) + " is no number");
  return *number;
}

/// Text of one property of every row.
inline std::vector<std::string> texts_of(const Rows& rows, std::string_view property) {
  std::vector<std::string> texts;
  for (const auto& row : rows) texts.push_back(text_of(*row, property));
  return texts;
}

inline std::uint32_t call(cim::Instance& row, std::string_view method,
                          std::vector<cim::Value> arguments = {}) {
  const cim::Method* found = row.schema().find_method(method);
  if (found == nullptr) throw std::runtime_error("no method " + std::string(method));
  arguments.resize(found->in.size());
  return found->call(row, arguments);
}

}  // namespace kvwmi::ground::testing
