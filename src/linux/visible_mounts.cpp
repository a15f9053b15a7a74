#include "linux/visible_mounts.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <string_view>

#include "linux/drive_type.h"

namespace kvwmi::ground {
namespace {

using parsers::Mount;
using ByPlace = std::map<std::string_view, VisibleMount>;

/// The mount that the folder of `place` lies in; null where none is listed, as in a changed root folder.
const VisibleMount* around(const ByPlace& visible, std::string_view place) {
  while (place.size() > 1) {
    place = place.substr(0, std::max<std::size_t>(place.rfind('/'), 1));
    if (const auto found = visible.find(place); found != visible.end()) return &found->second;
  }
  return nullptr;
}

}  // namespace

std::vector<VisibleMount> visible_mounts(const std::vector<Mount>& mounts) {
  ByPlace visible;
  // What was mounted at one place, by what lay there before.
  std::map<std::string_view, std::map<std::uint64_t, const Mount*>> places;
  for (const Mount& mount : mounts) {
    // Paths begin in the root itself, whatever is mounted over it: the first counts.
    if (mount.mount_point == "/") {
      visible.emplace("/", VisibleMount{&mount, false});
    } else {
      places[mount.mount_point][mount.parent] = &mount;
    }
  }
  // A folder comes before what lies in it.
  for (auto& [place, layers] : places) {
    const VisibleMount* outer = around(visible, place);
    const Mount* top = nullptr;
    // Taken out, so that a table with a circle in it ends too.
    for (auto layer = layers.extract(outer != nullptr ? outer->mount->number : layers.begin()->first); layer;
         layer = layers.extract(top->number)) {
      top = layer.mapped();
    }
    if (top == nullptr) continue;  // it lies below a folder that is covered
    const bool may_hang = asks_others(*top) || (outer != nullptr && outer->may_hang);
    visible.emplace(place, VisibleMount{top, may_hang});
  }

  std::vector<VisibleMount> in_order;
  for (const Mount& mount : mounts) {
    const auto found = visible.find(mount.mount_point);
    if (found != visible.end() && found->second.mount == &mount) in_order.push_back(found->second);
  }
  return in_order;
}

}  // namespace kvwmi::ground
