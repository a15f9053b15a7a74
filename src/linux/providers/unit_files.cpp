#include "linux/providers/unit_files.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <chrono>
#include <utility>

#include "linux/parsers/unit_file.h"
#include "linux/providers/system_file.h"

namespace kvwmi::ground::providers {
namespace {

/// The kernel's times of files are as coarse as its tick, which lasts at most so long.
constexpr std::chrono::milliseconds kTick{20};

}  // namespace

UnitFiles::Stamp UnitFiles::stamp_of(const std::string& path) const {
  struct stat answer {};
  if (stat(path.c_str(), &answer) != 0) return {};
  const auto changed =
      std::chrono::seconds(answer.st_mtim.tv_sec) +
      std::chrono::floor<std::chrono::microseconds>(std::chrono::nanoseconds(answer.st_mtim.tv_nsec));
  const auto age = machine_.wall_time() - changed;
  return {answer.st_mtim.tv_sec, answer.st_mtim.tv_nsec, answer.st_size,
          age >= std::chrono::microseconds(0) && age < kTick};
}

std::optional<std::uint64_t> UnitFiles::changes() {
  const std::lock_guard lock(mutex_);
  if (folders_.empty()) return std::nullopt;
  for (auto& [path, folder] : folders_) {
    const Stamp now = stamp_of(path);
    if (now != std::exchange(folder.seen, now)) ++changes_;
  }
  return changes_;
}

const UnitFiles::Folder& UnitFiles::folder(const std::string& path) {
  Folder& kept = folders_[path];
  // The size of a folder says nothing; a unit that comes, goes or is renamed changes its time.
  const Stamp now = stamp_of(path);
  if (kept.stamp == now) return kept;
  kept.stamp = now;
  kept.units.clear();
  for (const std::string& name : list_folder(path).value_or(std::vector<std::string>())) {
    if (!name.ends_with(".service") || name.ends_with("@.service")) continue;
    kept.units[name] = read_link_at(AT_FDCWD, (path + "/" + name).c_str()).value_or("");
  }
  return kept;
}

const UnitFiles::Description& UnitFiles::description(const std::string& path, const std::string& unit) {
  Description& kept = descriptions_[path];
  const Stamp now = stamp_of(path);
  if (kept.stamp == now) return kept;
  const std::string text = read_file(path).value_or("");
  kept = {now, parsers::with_unit_name(parsers::unit_setting(text, "Unit", "Description"), unit)};
  return kept;
}

std::vector<UnitFile> UnitFiles::list(const std::vector<std::string>& folders) {
  const std::lock_guard lock(mutex_);
  std::map<std::string, UnitFile> units;
  for (const std::string& path : folders) {
    const std::string full = machine_.root + path;
    for (const auto& [unit, target] : folder(full).units) {
      if (units.count(unit) != 0) continue;
      if (!target.empty() && target != "/dev/null" && target.substr(target.rfind('/') + 1) != unit) continue;
      UnitFile file{unit, unit, target == "/dev/null"};
      if (!file.masked) {
        const Description& description_of = description(full + "/" + unit, unit);
        // A file without contents is how a unit is masked without a link.
        file.masked = description_of.stamp.size == 0;
        if (!description_of.text.empty()) file.description = description_of.text;
      }
      units.emplace(unit, std::move(file));
    }
  }
  std::vector<UnitFile> list;
  for (auto& [unit, file] : units) list.push_back(std::move(file));
  return list;
}

}  // namespace kvwmi::ground::providers
