#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "linux/descriptor.h"
#include "linux/drive_letters.h"
#include "linux/drive_type.h"
#include "linux/machine.h"
#include "linux/parsers/mountinfo.h"

namespace kvwmi::ground {

/// A mounted volume under its letter.
struct Drive {
  char letter = '\0';
  DriveType type = DriveType::fixed;
  parsers::Mount mount;
  /// Whether a file system call on its mount point may never return: it, or a volume that its mount point
  /// lies in, asks another machine or a process. Such calls belong on a thread of their own.
  bool may_hang = false;

  /// "C:"
  [[nodiscard]] std::string name() const { return std::string{letter, ':'}; }

  bool operator==(const Drive&) const = default;
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

/// Gives the volumes their letters: C: is the root. Of the others each keeps the letter that DriveLetters
/// knows it under; new ones get theirs from D: on: fixed disks first, then removable ones, the network,
/// optical disks and RAM disks, each kind by mount point. A volume is known by its UUID and its mount point,
/// so that it keeps its letter where it is while copies with the same UUID come and go, and takes it along
/// where it goes. Left out are file systems without files of their own, further mounts of one volume, what
/// another mount covers, and what no letter is left for, which the diagnostic hook is told. Never waits for a
/// file system that may hang. Any thread may use it.
class Drives {
 public:
  explicit Drives(const Machine& machine);

  /// The drives of now; raises "Provider failure " where they cannot be told. Cheap while nothing is mounted
  /// or unmounted.
  [[nodiscard]] std::shared_ptr<const DriveTable> table();
  /// Counts the changes of the table.
  [[nodiscard]] std::uint64_t generation();

 private:
  struct Moment {
    std::shared_ptr<const DriveTable> table;
    std::uint64_t generation;
  };
  [[nodiscard]] Moment look();
  /// Brings the table and what was left out up to date.
  void refresh();
  void open_mounts();
  /// One drive for each volume, without letters.
  [[nodiscard]] std::vector<Drive> volumes(const std::vector<parsers::Mount>& mounts) const;
  /// Leaves them in the order of their letters; '\0' where none is left.
  void give_letters(std::vector<Drive>& drives);
  [[nodiscard]] std::string uuid_of(const Drive& drive) const;

  const Machine& machine_;
  std::mutex mutex_;
  Descriptor file_;
  bool tells_changes_ = false;
  std::string text_;  ///< what the table was made from; empty where that is to be read anew
  std::shared_ptr<const DriveTable> table_;
  std::uint64_t generation_ = 0;
  std::string left_out_;  ///< mount point of the first volume for which no letter is left
  DriveLetters letters_;
};

}  // namespace kvwmi::ground
