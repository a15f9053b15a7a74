#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "linux/machine.h"

namespace kvwmi::ground::providers {

/// By which a file is known to be the same as before.
struct FileStamp {
  std::int64_t seconds = 0;
  std::int64_t nanoseconds = 0;
  std::int64_t size = -1;  ///< of a file that is not there
  bool is_young = false;   ///< so that one more change may leave the same time
  friend bool operator==(const FileStamp& a, const FileStamp& b) {
    return !a.is_young && !b.is_young && a.seconds == b.seconds && a.nanoseconds == b.nanoseconds &&
           a.size == b.size;
  }
};

/// A service's unit file as it lies in the unit folders.
struct UnitFile {
  std::string unit;  ///< "cron.service"
  /// As the service manager would show it, the unit's name where it has none; nullopt where this process
  /// cannot read one of the files that decide it.
  std::optional<std::string> description;
  bool masked = false;
  /// Of the files that decide a description that is unknown, in their order.
  std::vector<FileStamp> stamps{};
};

/// The service units that could be started, loaded or not. The service manager reads every file anew when it
/// is asked for the list, and nobody else is served meanwhile; here a file is read again only after it
/// changed. Any thread may use it.
class UnitFiles {
 public:
  explicit UnitFiles(const Machine& machine) : machine_(machine) {}

  /// By unit name, ascending. `folders` are the manager's, the first that has a unit decides. Templates and
  /// second names of units are left out. Raises "Provider failure " where a folder cannot be read, and in
  /// a shortage of descriptors or memory.
  [[nodiscard]] std::vector<UnitFile> list(const std::vector<std::string>& folders);

  /// A number that grows when a unit file has come, gone or been replaced in the folders that were listed;
  /// nullopt before that.
  [[nodiscard]] std::optional<std::uint64_t> changes();

 private:
  /// One of units, or one of the files that add to a unit's own.
  struct Folder {
    FileStamp stamp;
    std::uint64_t listing = 0;                 ///< that needed it last
    std::map<std::string, std::string> units;  ///< to the target of the link, empty for a file
    std::vector<std::string> drop_ins;         ///< names of folders: "cron.service.d"
    std::vector<std::string> additions;        ///< names of files: "10-local.conf"
  };
  struct File {
    FileStamp stamp;
    std::uint64_t listing = 0;
    bool is_readable = true;
    std::vector<std::string> descriptions;  ///< all that it assigns
  };
  /// The files of one folder that adds to units. What lies in one of lower rank hides what has its name in
  /// another.
  struct DropIn {
    std::size_t rank;
    std::vector<std::pair<std::string, const File*>> files;
  };
  using DropIns = std::map<std::string, std::vector<DropIn>>;  ///< by the folder's name

  [[nodiscard]] std::optional<FileStamp> stamp_of(const std::string& path) const;
  const Folder& folder(const std::string& path);
  const File& file(const std::string& path);
  [[nodiscard]] DropIns drop_ins(const std::vector<std::string>& folders);
  void describe(UnitFile& listed, const File& own, const DropIns& drop_ins) const;

  const Machine& machine_;
  std::mutex mutex_;
  std::map<std::string, Folder> folders_;
  std::map<std::string, std::optional<FileStamp>> seen_;  ///< folders of units, by changes()
  std::map<std::string, File> files_;
  std::uint64_t listing_ = 0;
  std::uint64_t changes_ = 0;
};

}  // namespace kvwmi::ground::providers
