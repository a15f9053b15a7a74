#pragma once

#include <vector>

#include "linux/parsers/mountinfo.h"

namespace kvwmi::ground {

/// A mount that a path leads to.
struct VisibleMount {
  const parsers::Mount* mount;
  /// Whether a file system call on its mount point may never return: it, or a mount that its mount point
  /// lies in, asks another machine or a process. The root never counts: without it nothing works.
  bool may_hang;
};

/// Those of `mounts` that paths lead to, in their order. Not so what something was mounted over, at its place
/// or at a folder that its place lies in.
[[nodiscard]] std::vector<VisibleMount> visible_mounts(const std::vector<parsers::Mount>& mounts);

}  // namespace kvwmi::ground
