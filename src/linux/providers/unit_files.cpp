#include "linux/providers/unit_files.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <system_error>

#include "linux/parsers/unit_file.h"
#include "linux/providers/failure.h"
#include "linux/providers/system_file.h"
#include "linux/providers/unit_specifiers.h"

namespace kvwmi::ground::providers {
namespace {

/// The kernel's times of files are as coarse as its tick, which lasts at most so long.
constexpr std::chrono::milliseconds kTick{20};

/// Whether an errno says that there is no such file or folder; any other failure says nothing about that.
bool is_absence(int error) {
  return error == ENOENT || error == ENOTDIR || error == EISDIR || error == ELOOP;
}

Error unreadable(const std::string& path, int error) {
  return provider_failure().with_diagnostic(
      {"", 0, path + " cannot be read (" + std::generic_category().message(error) + ")"});
}

constexpr std::string_view kNull = "/dev/null";

/// What the link at `path` says, kNull where it gets there in other words; empty for a file.
std::string link_target(const std::string& path) {
  std::string target = read_link_at(AT_FDCWD, path.c_str()).value_or("");
  struct stat answer {};
  const bool names_a_unit = target.ends_with(".service");
  if (target.empty() || names_a_unit || stat(path.c_str(), &answer) != 0 || !S_ISCHR(answer.st_mode)) {
    return target;
  }
  return std::string(kNull);
}

}  // namespace

std::optional<FileStamp> UnitFiles::stamp_of(const std::string& path) const {
  struct stat answer {};
  if (stat(path.c_str(), &answer) != 0) return is_absence(errno) ? std::optional(FileStamp()) : std::nullopt;
  const auto changed =
      std::chrono::seconds(answer.st_mtim.tv_sec) +
      std::chrono::floor<std::chrono::microseconds>(std::chrono::nanoseconds(answer.st_mtim.tv_nsec));
  const auto age = machine_.wall_time() - changed;
  return FileStamp{answer.st_mtim.tv_sec, answer.st_mtim.tv_nsec, answer.st_size,
                   age >= std::chrono::microseconds(0) && age < kTick};
}

std::optional<std::uint64_t> UnitFiles::changes() {
  const std::lock_guard lock(mutex_);
  if (seen_.empty()) return std::nullopt;
  for (auto& [path, seen] : seen_) {
    const auto now = stamp_of(path);
    if (!now || now != std::exchange(seen, now)) ++changes_;
  }
  return changes_;
}

const UnitFiles::Folder& UnitFiles::folder(const std::string& path) {
  Folder& kept = folders_[path];
  kept.listing = listing_;
  // The size of a folder says nothing; a unit that comes, goes or is renamed changes its time.
  const auto now = stamp_of(path);
  if (now && kept.stamp == *now) return kept;
  const auto names = now ? list_folder(path) : std::nullopt;
  if (!names && !is_absence(errno)) throw unreadable(path, errno);
  Folder read;
  read.listing = listing_;
  const std::string within = path + "/";
  if (names) read.stamp = *now;
  for (const std::string& name : names.value_or(std::vector<std::string>())) {
    if (name.ends_with(".conf")) {
      if (!name.starts_with('.')) read.additions.push_back(name);
    } else if (name.ends_with(".service.d") || name == "service.d") {
      read.drop_ins.push_back(name);
    } else if (name.ends_with(".service") && !name.ends_with("@.service")) {
      read.units[name] = link_target(within + name);
    }
  }
  return kept = std::move(read);
}

const UnitFiles::File& UnitFiles::file(const std::string& path) {
  File& kept = files_[path];
  kept.listing = listing_;
  const auto now = stamp_of(path);
  if (now && kept.is_readable && kept.stamp == *now) return kept;
  const auto text = now ? read_file(path) : std::nullopt;
  File read;
  read.listing = listing_;
  if (text) {
    read.stamp = *now;
    read.descriptions = parsers::unit_settings(*text, "Unit", "Description");
  } else if (!now || !is_absence(errno)) {
    read.stamp = now.value_or(FileStamp());
    read.is_readable = false;
  }
  return kept = std::move(read);
}

UnitFiles::DropIns UnitFiles::drop_ins(const std::vector<std::string>& folders) {
  DropIns found;
  for (std::size_t i = 0; i < folders.size(); ++i) {
    for (const std::string& name : folder(folders[i]).drop_ins) {
      // What adds to all services gives way to what adds to some.
      DropIn drop_in{name == "service.d" ? folders.size() : i, {}};
      const std::string path = folders[i] + "/" + name + "/";
      for (const std::string& addition : folder(folders[i] + "/" + name).additions) {
        drop_in.files.emplace_back(addition, &file(path + addition));
      }
      found[name].push_back(std::move(drop_in));
    }
  }
  return found;
}

void UnitFiles::describe(UnitFile& listed, const File& own, const DropIns& drop_ins) const {
  const std::string& unit = listed.unit;
  std::vector<const DropIn*> nearest_first;
  if (!drop_ins.empty()) {
    for (const std::string& name : parsers::drop_in_folders(unit)) {
      const auto found = drop_ins.find(name);
      if (found == drop_ins.end()) continue;
      for (const DropIn& drop_in : found->second) nearest_first.push_back(&drop_in);
    }
  }
  std::stable_sort(nearest_first.begin(), nearest_first.end(),
                   [](const DropIn* a, const DropIn* b) { return a->rank < b->rank; });
  std::map<std::string_view, const File*> additions;
  for (const DropIn* drop_in : nearest_first) {
    additions.insert(drop_in->files.begin(), drop_in->files.end());
  }
  std::vector<const File*> files{&own};
  for (const auto& [name, file] : additions) files.push_back(file);

  if (!std::all_of(files.begin(), files.end(), [](const File* file) { return file->is_readable; })) {
    for (const File* from : files) listed.stamps.push_back(from->stamp);
    return;
  }
  const auto of_machine = [this](char letter) { return machine_specifier(machine_, letter); };
  std::string last = unit;
  for (const File* from : files) {
    for (const std::string& text : from->descriptions) {
      const auto filled = parsers::with_specifiers(text, unit, of_machine);
      if (filled) last = filled->empty() ? unit : *filled;
    }
  }
  listed.description = std::move(last);
}

std::vector<UnitFile> UnitFiles::list(const std::vector<std::string>& folders) {
  const std::lock_guard lock(mutex_);
  ++listing_;
  std::vector<std::string> paths;
  paths.reserve(folders.size());
  for (const std::string& path : folders) paths.push_back(machine_.root + path);
  const DropIns added = drop_ins(paths);
  const File masked;
  std::map<std::string, UnitFile> units;
  for (const std::string& path : paths) {
    seen_.try_emplace(path);
    const std::string within = path + "/";
    for (const auto& [unit, target] : folders_[path].units) {
      if (units.contains(unit)) continue;
      if (!target.empty() && target != kNull && target.substr(target.rfind('/') + 1) != unit) continue;
      UnitFile listed{unit, std::nullopt, target == kNull};
      const File& own = listed.masked ? masked : file(within + unit);
      if (own.is_readable && !listed.masked) {
        // A link to what is gone is no unit; a file without contents is how one is masked without a link.
        if (own.stamp.size < 0) continue;
        listed.masked = own.stamp.size == 0;
      }
      describe(listed, own, added);
      units.emplace(unit, std::move(listed));
    }
  }
  const auto is_done_with = [this](const auto& entry) { return entry.second.listing != listing_; };
  std::erase_if(folders_, is_done_with);
  std::erase_if(files_, is_done_with);
  std::vector<UnitFile> list;
  list.reserve(units.size());
  for (auto& [unit, file] : units) list.push_back(std::move(file));
  return list;
}

}  // namespace kvwmi::ground::providers
