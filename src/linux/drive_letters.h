#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace kvwmi::ground {

/// What a volume is known by.
struct VolumeName {
  std::string uuid;  ///< empty where nobody keeps one, or not yet
  std::string mount_point;
  bool has_device = false;  ///< so that others may see a UUID where this process sees none

  bool operator==(const VolumeName& other) const {
    return uuid == other.uuid && mount_point == other.mount_point;
  }
};

/// Which volume has which letter from D: to Z:. The table is a folder with one symbolic link for each letter,
/// which points at the volume's name: so all processes give the same letters, and a volume finds its own
/// again. Where the folder cannot be written, the letters of new volumes last as long as this object.
class DriveLetters {
 public:
  explicit DriveLetters(std::string folder);

  /// The letters of the present volumes, in their order; nullopt where none is left. Each has the letter that
  /// stands for it; else that of its UUID at a place where this is not any more; else, its UUID unknown until
  /// now, that of its mount point; else, its UUID not to be seen here, that of any volume that was there. New
  /// volumes come after these and have the first letter that nobody has, else the first whose holder is
  /// absent.
  [[nodiscard]] std::vector<std::optional<char>> letters_of(const std::vector<VolumeName>& present);

 private:
  /// Sees what other processes have given since.
  void refresh(const std::vector<VolumeName>& present);
  [[nodiscard]] std::optional<char> new_letter(const std::set<char>& taken) const;
  void give(char letter, const VolumeName& volume);
  [[nodiscard]] std::string link(char letter) const;

  std::string folder_;
  bool writable_ = false;
  std::map<char, VolumeName> holders_;
};

}  // namespace kvwmi::ground
