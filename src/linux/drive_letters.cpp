#include "linux/drive_letters.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>
#include <utility>

#include "linux/descriptor.h"
#include "linux/providers/system_file.h"

namespace kvwmi::ground {
namespace {

/// Makes a folder that everybody can read, whatever this process's mask is: the table is one for all users.
bool make_folder(const std::string& path) {
  return (mkdir(path.c_str(), 0755) == 0 && chmod(path.c_str(), 0755) == 0) || errno == EEXIST;
}

/// Keeps other processes from changing the table; empty where this one cannot change it either. Who may only
/// read the table cannot open the file, and so cannot hold up the others.
Descriptor locked(const std::string& folder) {
  if (!make_folder(folder.substr(0, folder.rfind('/'))) || !make_folder(folder)) return {};
  Descriptor lock(open((folder + "/.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  while (lock && flock(lock.get(), LOCK_EX) != 0) {
    if (errno != EINTR) return {};
  }
  return lock;
}

/// "UUID /mount point", or the mount point alone.
std::string text_of(const VolumeName& volume) {
  return volume.uuid.empty() ? volume.mount_point : volume.uuid + ' ' + volume.mount_point;
}
VolumeName name_in(const std::string& text) {
  if (text.starts_with('/')) return {"", text};
  const std::size_t gap = text.find(" /");
  return {text.substr(0, gap), gap == std::string::npos ? "" : text.substr(gap + 1)};
}

bool contains(const std::vector<VolumeName>& volumes, const VolumeName& volume) {
  return std::find(volumes.begin(), volumes.end(), volume) != volumes.end();
}

bool contains(const std::map<char, VolumeName>& holders, const VolumeName& volume) {
  return std::any_of(holders.begin(), holders.end(),
                     [&](const auto& entry) { return entry.second == volume; });
}

/// Which holders of letters may stand for a volume; the earlier ones come first.
using Rule = bool (*)(const VolumeName& holder, const VolumeName& volume);
constexpr std::array<Rule, 4> kRules{
    [](const VolumeName& holder, const VolumeName& volume) { return holder == volume; },
    // It moved.
    [](const VolumeName& holder, const VolumeName& volume) {
      return !volume.uuid.empty() && holder.uuid == volume.uuid;
    },
    // Its UUID was not known yet.
    [](const VolumeName& holder, const VolumeName& volume) {
      return holder.uuid.empty() && holder.mount_point == volume.mount_point;
    },
    // Its UUID is not to be seen here, as in a sandbox.
    [](const VolumeName& holder, const VolumeName& volume) {
      return volume.has_device && volume.uuid.empty() && holder.mount_point == volume.mount_point;
    },
};

}  // namespace

DriveLetters::DriveLetters(std::string folder) : folder_(std::move(folder)) {}

std::string DriveLetters::link(char letter) const {
  return folder_ + '/' + letter;
}

void DriveLetters::refresh(const std::vector<VolumeName>& present) {
  std::map<char, VolumeName> kept;
  for (char letter = 'D'; letter <= 'Z'; ++letter) {
    if (const auto text = providers::read_link_at(AT_FDCWD, link(letter).c_str()))
      kept.emplace(letter, name_in(*text));
  }
  // What could not be kept is remembered, as far as nobody kept something else that is there.
  for (auto& [letter, volume] : holders_) {
    if (contains(kept, volume)) continue;
    const auto other = kept.find(letter);
    const bool stands_for_none =
        other == kept.end() || (!writable_ && contains(present, volume) && !contains(present, other->second));
    if (stands_for_none) kept[letter] = std::move(volume);
  }
  holders_ = std::move(kept);
}

void DriveLetters::give(char letter, const VolumeName& volume) {
  holders_[letter] = volume;
  if (!writable_) return;
  // In one step, for readers take no lock.
  const std::string made = folder_ + "/.new";
  unlink(made.c_str());
  if (symlink(text_of(volume).c_str(), made.c_str()) == 0) rename(made.c_str(), link(letter).c_str());
}

std::optional<char> DriveLetters::new_letter(const std::set<char>& taken) const {
  const auto is_free = [&](char letter) {
    struct stat something {};
    return !holders_.contains(letter) && lstat(link(letter).c_str(), &something) != 0;
  };
  const auto is_left = [&](char letter) { return !taken.contains(letter); };
  const auto first = [&](const auto& wanted) -> std::optional<char> {
    for (char letter = 'D'; letter <= 'Z'; ++letter) {
      if (wanted(letter)) return letter;
    }
    return std::nullopt;
  };
  const auto letter = first(is_free);
  return letter ? letter : first(is_left);
}

std::vector<std::optional<char>> DriveLetters::letters_of(const std::vector<VolumeName>& present) {
  if (present.empty()) return {};
  const Descriptor lock = locked(folder_);
  writable_ = static_cast<bool>(lock);
  refresh(present);
  std::vector<std::optional<char>> letters(present.size());
  std::set<char> taken;
  for (const Rule rule : kRules) {
    for (std::size_t i = 0; i < present.size(); ++i) {
      if (letters[i]) continue;
      const auto found = std::find_if(holders_.begin(), holders_.end(), [&](const auto& entry) {
        return !taken.contains(entry.first) && rule(entry.second, present[i]);
      });
      if (found == holders_.end()) continue;
      letters[i] = found->first;
      taken.insert(found->first);
      // The letter keeps a UUID that others see.
      if (!present[i].uuid.empty() && found->second != present[i]) give(found->first, present[i]);
    }
  }
  for (std::size_t i = 0; i < present.size(); ++i) {
    if (letters[i]) continue;
    letters[i] = new_letter(taken);
    if (!letters[i]) continue;
    taken.insert(*letters[i]);
    give(*letters[i], present[i]);
  }
  return letters;
}

}  // namespace kvwmi::ground
