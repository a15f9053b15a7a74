#include "linux/drives.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <poll.h>
#include <sys/vfs.h>

#include <algorithm>
#include <array>
#include <map>
#include <utility>

#include "frame/diagnostics.h"
#include "linux/drive_path.h"
#include "linux/providers/failure.h"
#include "linux/providers/system_file.h"
#include "linux/providers/volume_facts.h"
#include "linux/visible_mounts.h"

namespace kvwmi::ground {
namespace {

int rank(DriveType type) {
  constexpr std::array kOrder{DriveType::fixed, DriveType::removable, DriveType::network, DriveType::optical,
                              DriveType::memory};
  return static_cast<int>(std::find(kOrder.begin(), kOrder.end(), type) - kOrder.begin());
}

/// Of several mounts of one volume the root counts, else the first that shows all of it.
int rank_of_part(const parsers::Mount& mount) {
  if (mount.mount_point == "/") return 0;
  return mount.root == "/" ? 1 : 2;
}

}  // namespace

const Drive* DriveTable::find(char letter) const {
  const char upper = letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 32) : letter;
  const auto found =
      std::find_if(drives_.begin(), drives_.end(), [&](const Drive& d) { return d.letter == upper; });
  return found == drives_.end() ? nullptr : &*found;
}

std::string DriveTable::to_windows(std::string_view native) const {
  const Drive* best = nullptr;
  for (const Drive& drive : drives_) {
    const std::string_view point = drive.mount.mount_point;
    if (lies_in(native, point) && (best == nullptr || point.size() > best->mount.mount_point.size()))
      best = &drive;
  }
  if (best == nullptr) return "C:" + to_backslashes(native);
  const std::string_view point = best->mount.mount_point;
  const std::string path = to_backslashes(point == "/" ? native : native.substr(point.size()));
  return best->name() + (path.empty() ? "\\" : path);
}

std::optional<std::string> DriveTable::to_native(std::string_view windows) const {
  if (windows.size() < 2 || windows[1] != ':') return std::nullopt;
  const Drive* drive = find(windows[0]);
  if (drive == nullptr) return std::nullopt;
  std::string path = to_slashes(windows.substr(2));
  if (!path.starts_with('/')) path.insert(0, 1, '/');
  if (drive->mount.mount_point == "/") return path;
  return drive->mount.mount_point + (path == "/" ? "" : path);
}

Drives::Drives(const Machine& machine) : machine_(machine), letters_(machine.state + "/drives") {}

std::shared_ptr<const DriveTable> Drives::table() {
  return look().table;
}

std::uint64_t Drives::generation() {
  return look().generation;
}

Drives::Moment Drives::look() {
  std::unique_lock lock(mutex_);
  const std::string known = left_out_;
  refresh();
  Moment now{table_, generation_};
  const std::string news = left_out_ == known ? "" : left_out_;
  lock.unlock();  // who is told may ask
  if (!news.empty()) {
    report(providers::provider_failure().with_description("No drive letter is left for " + news));
  }
  return now;
}

void Drives::open_mounts() {
  file_ = Descriptor(open((machine_.proc + "/self/mountinfo").c_str(), O_RDONLY | O_CLOEXEC));
  if (!file_) throw providers::provider_failure();
  struct statfs answer {};
  tells_changes_ = fstatfs(file_.get(), &answer) == 0 && answer.f_type == PROC_SUPER_MAGIC;
}

void Drives::refresh() {
  if (!file_) open_mounts();
  // The kernel raises the flag once for each open file after anything was mounted or unmounted.
  pollfd state{file_.get(), POLLPRI, 0};
  if (!text_.empty() && tells_changes_ && poll(&state, 1, 0) == 0) return;

  // The flag is spent: until the table is made nothing is known.
  const std::string known = std::exchange(text_, "");
  std::optional<std::string> text = providers::read_file(machine_.proc + "/self/mountinfo");
  if (!text) throw providers::provider_failure();
  if (!table_ || *text != known) {
    std::vector<Drive> drives = volumes(parsers::parse_mountinfo(*text));
    give_letters(drives);
    // Those without one come first.
    left_out_ = drives.empty() || drives.front().letter != '\0' ? "" : drives.front().mount.mount_point;
    std::erase_if(drives, [](const Drive& d) { return d.letter == '\0'; });
    if (!table_ || table_->drives() != drives) {
      table_ = std::make_shared<const DriveTable>(std::move(drives));
      ++generation_;
    }
  }
  text_ = std::move(*text);
}

std::vector<Drive> Drives::volumes(const std::vector<parsers::Mount>& mounts) const {
  std::map<std::string_view, Drive> by_device;
  for (const auto& [mount, may_hang] : visible_mounts(mounts)) {
    const auto known = by_device.find(mount->device);
    if (known != by_device.end() && rank_of_part(known->second.mount) <= rank_of_part(*mount)) continue;
    if (const auto type = drive_type(machine_, *mount, may_hang)) {
      by_device.insert_or_assign(mount->device, Drive{'\0', *type, *mount, may_hang});
    }
  }
  std::vector<Drive> drives;
  drives.reserve(by_device.size());
  for (auto& [device, drive] : by_device) drives.push_back(std::move(drive));
  return drives;
}

std::string Drives::uuid_of(const Drive& drive) const {
  // The source of what may hang is any text that a process chose, so its path is not followed.
  const std::string device =
      drive.may_hang ? drive.mount.device : providers::block_device(machine_.root, drive.mount);
  const auto record = providers::volume_record(machine_.root, device);
  return record ? record->uuid : "";
}

void Drives::give_letters(std::vector<Drive>& drives) {
  std::sort(drives.begin(), drives.end(), [](const Drive& a, const Drive& b) {
    return std::pair(rank(a.type), std::string_view(a.mount.mount_point)) <
           std::pair(rank(b.type), std::string_view(b.mount.mount_point));
  });
  std::vector<VolumeName> volumes;
  std::vector<Drive*> lettered;
  for (Drive& drive : drives) {
    if (drive.mount.mount_point == "/") {
      drive.letter = 'C';
      continue;
    }
    const bool has_device = drive.type != DriveType::network && drive.type != DriveType::memory;
    volumes.push_back({uuid_of(drive), drive.mount.mount_point, has_device});
    lettered.push_back(&drive);
  }
  const std::vector<std::optional<char>> letters = letters_.letters_of(volumes);
  for (std::size_t i = 0; i < letters.size(); ++i) lettered[i]->letter = letters[i].value_or('\0');
  std::stable_sort(drives.begin(), drives.end(),
                   [](const Drive& a, const Drive& b) { return a.letter < b.letter; });
}

}  // namespace kvwmi::ground
