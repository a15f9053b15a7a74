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

}  // namespace

std::optional<UnitFiles::Stamp> UnitFiles::stamp_of(const std::string& path) const {
  struct stat answer {};
  if (stat(path.c_str(), &answer) != 0) return is_absence(errno) ? std::optional(Stamp()) : std::nullopt;
  const auto changed =
      std::chrono::seconds(answer.st_mtim.tv_sec) +
      std::chrono::floor<std::chrono::microseconds>(std::chrono::nanoseconds(answer.st_mtim.tv_nsec));
  const auto age = machine_.wall_time() - changed;
  return Stamp{answer.st_mtim.tv_sec, answer.st_mtim.tv_nsec, answer.st_size,
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
  // The size of a folder says nothing; a unit that comes, goes or is renamed changes its time.
  const auto now = stamp_of(path);
  if (now && kept.stamp == *now) return kept;
  const auto names = now ? list_folder(path) : std::nullopt;
  if (!names && !is_absence(errno)) throw unreadable(path, errno);
  Folder read;
  const std::string within = path + "/";
  if (names) read.stamp = *now;
  for (const std::string& name : names.value_or(std::vector<std::string>())) {
    if (name.ends_with(".conf")) {
      if (!name.starts_with('.')) read.additions.push_back(name);
    } else if (name.ends_with(".service.d") || name == "service.d") {
      read.drop_ins.push_back(name);
    } else if (name.ends_with(".service") && !name.ends_with("@.service")) {
      read.units[name] = read_link_at(AT_FDCWD, (within + name).c_str()).value_or("");
    }
  }
  return kept = std::move(read);
}

const UnitFiles::File* UnitFiles::file(const std::string& path) {
  const auto now = stamp_of(path);
  if (!now) return nullptr;
  File& kept = files_[path];
  if (kept.stamp == *now) return &kept;
  const auto text = read_file(path);
  if (!text && !is_absence(errno)) return nullptr;
  kept = text ? File{*now, parsers::unit_settings(*text, "Unit", "Description")} : File();
  return &kept;
}

UnitFiles::DropIns UnitFiles::drop_ins(const std::vector<std::string>& folders) {
  DropIns found;
  for (std::size_t i = 0; i < folders.size(); ++i) {
    for (const std::string& name : folder(folders[i]).drop_ins) {
      // What adds to all services gives way to what adds to some.
      DropIn drop_in{name == "service.d" ? folders.size() : i, {}};
      const std::string path = folders[i] + "/" + name + "/";
      for (const std::string& addition : folder(folders[i] + "/" + name).additions) {
        drop_in.files.emplace_back(addition, file(path + addition));
      }
      found[name].push_back(std::move(drop_in));
    }
  }
  return found;
}

std::optional<std::string> UnitFiles::description(const std::string& unit, const File& own,
                                                  const DropIns& drop_ins) const {
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

  const auto of_machine = [this](char letter) { return machine_specifier(machine_, letter); };
  if (std::find(files.begin(), files.end(), nullptr) != files.end()) return std::nullopt;
  std::string last = unit;
  for (const File* from : files) {
    for (const std::string& text : from->descriptions) {
      const auto filled = parsers::with_specifiers(text, unit, of_machine);
      if (filled) last = filled->empty() ? unit : *filled;
    }
  }
  return last;
}

std::vector<UnitFile> UnitFiles::list(const std::vector<std::string>& folders) {
  const std::lock_guard lock(mutex_);
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
      if (!target.empty() && target != "/dev/null" && target.substr(target.rfind('/') + 1) != unit) continue;
      UnitFile listed{unit, std::nullopt, target == "/dev/null"};
      if (const File* own = listed.masked ? &masked : file(within + unit)) {
        // A link to what is gone is no unit; a file without contents is how one is masked without a link.
        if (own->stamp.size < 0 && !listed.masked) continue;
        listed.masked = listed.masked || own->stamp.size == 0;
        listed.description = description(unit, *own, added);
      }
      units.emplace(unit, std::move(listed));
    }
  }
  std::vector<UnitFile> list;
  list.reserve(units.size());
  for (auto& [unit, file] : units) list.push_back(std::move(file));
  return list;
}

}  // namespace kvwmi::ground::providers
