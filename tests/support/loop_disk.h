#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <system_error>

#include "support/command.h"
#include "support/own_folder.h"

namespace kvwmi::tests {

/// A file system of 32 MB in a file of its own. It has no journal, so what a file took is free again at once.
class LoopDisk {
 public:
  LoopDisk() {
    std::filesystem::create_directory(mount_point());
    const std::string image = quoted(folder_.path() / "image");
    mounted_ = run_shell("truncate -s 32M " + image + " && mkfs.ext4 -q -F -O ^has_journal " + image +
                         " && mount -o loop " + image + " " + quoted(mount_point()) + " 2>/dev/null")
                   .status == 0;
  }
  ~LoopDisk() {
    if (mounted_) umount2(mount_point().c_str(), MNT_DETACH);
    // Its drive letter is nobody's any more. The volume's name ends with its mount point.
    std::error_code none;
    for (const auto& letter : std::filesystem::directory_iterator("/var/lib/kvwmi/drives", none)) {
      if (std::filesystem::read_symlink(letter, none).string().ends_with(mount_point().string()))
        std::filesystem::remove(letter, none);
    }
  }
  LoopDisk(const LoopDisk&) = delete;
  LoopDisk& operator=(const LoopDisk&) = delete;

  /// False where the machine does not let this user mount.
  [[nodiscard]] bool mounted() const noexcept { return mounted_; }
  [[nodiscard]] std::filesystem::path mount_point() const { return folder_.path() / "mount"; }

  /// Takes so much of the space in one go.
  void fill(std::int64_t megabytes) const {
    const int file = open(data().c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    EXPECT_EQ(posix_fallocate(file, 0, megabytes << 20U), 0);
    close(file);
  }
  void empty() const { std::filesystem::remove(data()); }

  /// Bytes that users without special rights can fill.
  [[nodiscard]] std::uint64_t free_space() const {
    struct statvfs state {};
    EXPECT_EQ(statvfs(mount_point().c_str(), &state), 0);
    return std::uint64_t{state.f_bavail} * state.f_frsize;
  }

 private:
  [[nodiscard]] std::filesystem::path data() const { return mount_point() / "data"; }

  OwnFolder folder_;
  bool mounted_ = false;
};

}  // namespace kvwmi::tests
