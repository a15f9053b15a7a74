#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "linux/descriptor.h"
#include "linux/machine.h"
#include "linux/parsers/mountinfo.h"

namespace kvwmi::ground {

/// Win32_LogicalDisk.DriveType
enum class DriveType : std::uint8_t { removable = 2, fixed = 3, network = 4, optical = 5, memory = 6 };

/// A mounted volume under its letter.
struct Drive {
  char letter;
  DriveType type;
  parsers::Mount mount;

  /// "C:"
  [[nodiscard]] std::string name() const { return std::string{letter, ':'}; }
  /// Whether its file system may hang: it asks another machine or a process.
  [[nodiscard]] bool may_hang() const;
};

/// The drives of one moment, by letter.
class DriveTable {
 public:
  explicit DriveTable(std::vector<Drive> drives) : drives_(std::move(drives)) {}

  [[nodiscard]] const std::vector<Drive>& drives() const noexcept { return drives_; }
  [[nodiscard]] const Drive* find(char letter) const;

  /// An absolute path in Windows spelling: "/usr/bin" is "C:\usr\bin", and below another drive's mount point
  /// that drive's.
  [[nodiscard]] std::string to_windows(std::string_view native) const;
  /// The way back, letters in any case; nullopt for a path without a drive or with one that is not there.
  [[nodiscard]] std::optional<std::string> to_native(std::string_view windows) const;

 private:
  std::vector<Drive> drives_;
};

/// Gives the volumes their letters: C: is the root, the others follow from D: on: fixed disks first, then
/// removable ones, the network, optical disks and RAM disks, each kind by mount point. A volume keeps its
/// letter as long as this object lives, also over an absence. Left out are file systems without files of
/// their own, second mounts of one volume, and what comes after Z:. Any thread may use it.
class Drives {
 public:
  explicit Drives(const Machine& machine);

  /// The drives of now; raises "Provider failure " where they cannot be told. Cheap while nothing is mounted
  /// or unmounted.
  [[nodiscard]] std::shared_ptr<const DriveTable> table();
  /// Counts the changes of the table.
  [[nodiscard]] std::uint64_t generation();

 private:
  void refresh();
  [[nodiscard]] std::vector<Drive> lettered(std::vector<parsers::Mount> mounts);
  [[nodiscard]] std::optional<DriveType> type_of(const parsers::Mount& mount) const;
  [[nodiscard]] char letter_for(const std::string& mount_point, const std::vector<Drive>& taken);

  const Machine& machine_;
  std::mutex mutex_;
  Descriptor file_;
  bool tells_changes_ = false;
  std::shared_ptr<const DriveTable> table_;
  std::uint64_t generation_ = 0;
  std::string text_;
  std::map<std::string, char> letters_;  ///< by mount point
};

}  // namespace kvwmi::ground
