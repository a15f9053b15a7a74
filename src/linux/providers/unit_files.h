#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "linux/machine.h"

namespace kvwmi::ground::providers {

/// A service's unit file as it lies in the unit folders.
struct UnitFile {
  std::string unit;         ///< "cron.service"
  std::string description;  ///< the unit's name where it has none
  bool masked = false;
};

/// The service units that could be started, loaded or not. The service manager reads every file anew when it
/// is asked for the list, and nobody else is served meanwhile; here a file is read again only after it
/// changed. Any thread may use it.
class UnitFiles {
 public:
  explicit UnitFiles(const Machine& machine) : machine_(machine) {}

  /// By unit name, ascending. `folders` are the manager's, the first that has a unit decides. Templates and
  /// second names of units are left out.
  [[nodiscard]] std::vector<UnitFile> list(const std::vector<std::string>& folders);

  /// A number that grows when a unit file has come, gone or been replaced in the folders that were listed;
  /// nullopt before that.
  [[nodiscard]] std::optional<std::uint64_t> changes();

 private:
  struct Stamp {
    std::int64_t seconds = 0;
    std::int64_t nanoseconds = 0;
    std::int64_t size = -1;
    bool is_young = false;  ///< so that one more change may leave the same time
    friend bool operator==(const Stamp& a, const Stamp& b) {
      return !a.is_young && !b.is_young && a.seconds == b.seconds && a.nanoseconds == b.nanoseconds &&
             a.size == b.size;
    }
  };
  struct Folder {
    Stamp stamp;
    Stamp seen;                                ///< by changes()
    std::map<std::string, std::string> units;  ///< to the target of the link, empty for a file
  };
  struct Description {
    Stamp stamp;
    std::string text;
  };

  [[nodiscard]] Stamp stamp_of(const std::string& path) const;
  const Folder& folder(const std::string& path);
  const Description& description(const std::string& path, const std::string& unit);

  const Machine& machine_;
  std::mutex mutex_;
  std::map<std::string, Folder> folders_;
  std::map<std::string, Description> descriptions_;
  std::uint64_t changes_ = 0;
};

}  // namespace kvwmi::ground::providers
