#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>

namespace kvwmi::ground {

/// Which volume has which letter from D: to Z:. The table is a folder with one symbolic link for each letter,
/// which points at the volume's name: so all processes give the same letters, and a volume finds its own
/// again. Where the folder cannot be written, the letters of new volumes last as long as this object.
class DriveLetters {
 public:
  explicit DriveLetters(std::string folder);

  /// Sees what other processes have given since.
  void refresh();

  /// The letter of a volume: the one that it has, else the first that nobody has, else the first whose holder
  /// is not among the present volumes; nullopt where all are in use.
  [[nodiscard]] std::optional<char> letter_of(const std::string& volume,
                                              const std::set<std::string>& present);

 private:
  [[nodiscard]] bool claim(char letter, const std::string& volume);
  [[nodiscard]] std::string link(char letter) const;

  std::string folder_;
  std::map<char, std::string> holders_;
};

}  // namespace kvwmi::ground
