#pragma once

#include <dirent.h>

#include <memory>
#include <string>

namespace kvwmi::ground {

struct FolderCloser {
  void operator()(DIR* folder) const noexcept { ::closedir(folder); }
};
/// A folder that is open for reading its entries.
using Folder = std::unique_ptr<DIR, FolderCloser>;

/// Null where it cannot be opened.
[[nodiscard]] inline Folder open_folder(const std::string& path) {
  return Folder(::opendir(path.c_str()));
}

}  // namespace kvwmi::ground
