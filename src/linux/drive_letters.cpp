#include "linux/drive_letters.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "linux/providers/system_file.h"

namespace kvwmi::ground {
namespace {

/// Makes a folder that everybody can read, whatever this process's mask is: the table is one for all users.
bool make_folder(const std::string& path) {
  return (mkdir(path.c_str(), 0755) == 0 && chmod(path.c_str(), 0755) == 0) || errno == EEXIST;
}

std::optional<char> letter_in(const std::map<char, std::string>& holders, const std::string& volume) {
  const auto found =
      std::find_if(holders.begin(), holders.end(), [&](const auto& entry) { return entry.second == volume; });
  if (found == holders.end()) return std::nullopt;
  return found->first;
}

}  // namespace

DriveLetters::DriveLetters(std::string folder) : folder_(std::move(folder)) {}

std::string DriveLetters::link(char letter) const {
  return folder_ + '/' + letter;
}

void DriveLetters::refresh() {
  std::map<char, std::string> kept;
  for (char letter = 'D'; letter <= 'Z'; ++letter) {
    if (auto volume = providers::read_link_at(AT_FDCWD, link(letter).c_str()))
      kept.emplace(letter, *std::move(volume));
  }
  // What could not be kept is remembered, as far as nobody kept something else.
  for (auto& [letter, volume] : holders_) {
    if (!letter_in(kept, volume)) kept.emplace(letter, std::move(volume));
  }
  holders_ = std::move(kept);
}

bool DriveLetters::claim(char letter, const std::string& volume) {
  const auto failure = [&] { return symlink(volume.c_str(), link(letter).c_str()) == 0 ? 0 : errno; };
  int error = failure();
  if (error == ENOENT && make_folder(folder_.substr(0, folder_.rfind('/'))) && make_folder(folder_)) {
    error = failure();
  }
  if (error == EEXIST) return false;
  holders_[letter] = volume;
  return true;
}

std::optional<char> DriveLetters::letter_of(const std::string& volume, const std::set<std::string>& present) {
  if (const auto letter = letter_in(holders_, volume)) return letter;
  for (char letter = 'D'; letter <= 'Z'; ++letter) {
    if (holders_.contains(letter)) continue;
    if (claim(letter, volume)) return letter;
    // Another process was faster, perhaps with this very volume.
    refresh();
    if (const auto given = letter_in(holders_, volume)) return given;
  }
  for (char letter = 'D'; letter <= 'Z'; ++letter) {
    const auto holder = holders_.find(letter);
    if (holder != holders_.end() && present.contains(holder->second)) continue;
    if (unlink(link(letter).c_str()) != 0 && errno != ENOENT) {
      holders_[letter] = volume;  // the table is not ours to change
      return letter;
    }
    if (claim(letter, volume)) return letter;
  }
  return std::nullopt;
}

}  // namespace kvwmi::ground
