#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace kvwmi::ground {

/// What a volume is known by.
struct VolumeName {
  std::string uuid;  ///< empty where nobody keeps one, or not yet
  std::string mount_point;

  bool operator==(const VolumeName&) const = default;
};

/// Which volume has which letter from D: to Z:. The table is a folder with one symbolic link for each letter,
/// which points at the volume's name: so all processes give the same letters, and a volume finds its own
/// again. Where the folder cannot be written, the letters of new volumes last as long as this object.
class DriveLetters {
 public:
  explicit DriveLetters(std::string folder);

  /// The letters of the present volumes, in their order; nullopt where none is left. Each has the letter that
  /// stands for it; else that of its UUID at a place where this is not any more; else, its UUID unknown until
  /// now, that of its mount point. New volumes come after these and have the first letter that nobody has,
  /// else the first whose holder is absent.
  [[nodiscard]] std::vector<std::optional<char>> letters_of(const std::vector<VolumeName>& present);

 private:
  /// Sees what other processes have given since.
  void refresh(const std::vector<VolumeName>& present);
  [[nodiscard]] std::optional<char> known_letter(const VolumeName& volume,
                                                 const std::vector<VolumeName>& present);
  [[nodiscard]] std::optional<char> new_letter(const VolumeName& volume,
                                               const std::vector<VolumeName>& present);
  void give(char letter, const VolumeName& volume);
  [[nodiscard]] std::string link(char letter) const;

  std::string folder_;
  bool writable_ = false;
  std::map<char, VolumeName> holders_;
};

}  // namespace kvwmi::ground
