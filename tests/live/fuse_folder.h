#pragma once

#include <fcntl.h>
#include <linux/fuse.h>
#include <poll.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <system_error>
#include <thread>

namespace kvwmi::tests {

/// A file system that this process itself answers for, until it falls silent: a folder with folders of any
/// name in it. Whoever asks it after that waits, until it is unmounted by force or this object ends. It says
/// that it is the content of a device, for only disks of this machine are watched for their free space.
class FuseFolder {
 public:
  static constexpr std::uint64_t kSize = 64ULL << 20U;
  static constexpr std::uint64_t kFree = 48ULL << 20U;  ///< at first

  /// Mounts it; raises std::system_error where that is not allowed.
  explicit FuseFolder(const std::string& mount_point) : device_(::open("/dev/fuse", O_RDWR | O_CLOEXEC)) {
    if (device_ < 0) throw std::system_error(errno, std::generic_category(), "/dev/fuse");
    const std::string options = "fd=" + std::to_string(device_) + ",rootmode=40000,user_id=0,group_id=0";
    if (::mount("/dev/kvwmi-test", mount_point.c_str(), "fuse", MS_NOSUID | MS_NODEV, options.c_str()) != 0) {
      const int error = errno;
      ::close(device_);
      throw std::system_error(error, std::generic_category(), "mount " + mount_point);
    }
    answer_again();
  }
  FuseFolder(const FuseFolder&) = delete;
  FuseFolder& operator=(const FuseFolder&) = delete;
  ~FuseFolder() {
    fall_silent();
    ::close(device_);  // ends the wait of all who ask
  }

  void set_free(std::uint64_t bytes) { free_ = bytes; }
  /// From its return on nothing is answered.
  void fall_silent() {
    silent_ = true;
    if (server_.joinable()) server_.join();
  }
  /// Also what was asked during the silence.
  void answer_again() {
    fall_silent();
    silent_ = false;
    server_ = std::thread([this] { serve(); });
  }

 private:
  void serve() {
    // Below that the kernel refuses to hand over a request.
    alignas(8) std::array<char, 1U << 16U> request;
    while (!silent_) {
      pollfd state{device_, POLLIN, 0};
      if (::poll(&state, 1, 10) <= 0) continue;
      if ((state.revents & POLLIN) == 0) return;  // unmounted
      if (::read(device_, request.data(), request.size()) > 0) answer(request.data());
    }
  }

  void answer(const char* request) const {
    fuse_in_header in{};
    std::memcpy(&in, request, sizeof in);
    switch (in.opcode) {
      case FUSE_INIT: {
        fuse_init_in asked{};
        std::memcpy(&asked, request + sizeof in, 16);
        fuse_init_out out{};
        out.major = FUSE_KERNEL_VERSION;
        out.minor = asked.minor < 31 ? asked.minor : 31;
        out.max_write = 4096;
        return reply(in.unique, out);
      }
      case FUSE_LOOKUP: {
        fuse_entry_out out{};
        out.nodeid = 2;
        out.attr = folder(2);
        return reply(in.unique, out);
      }
      case FUSE_GETATTR: {
        fuse_attr_out out{};
        out.attr = folder(in.nodeid);
        return reply(in.unique, out);
      }
      case FUSE_STATFS: {
        fuse_statfs_out out{};
        out.st.bsize = out.st.frsize = 4096;
        out.st.blocks = kSize / 4096;
        out.st.bfree = out.st.bavail = free_ / 4096;
        out.st.namelen = 255;
        return reply(in.unique, out);
      }
      case FUSE_FORGET:
      case FUSE_BATCH_FORGET:
      case FUSE_INTERRUPT:
        return;  // want no answer
      default:
        const fuse_out_header out{sizeof out, -ENOSYS, in.unique};
        static_cast<void>(::write(device_, &out, sizeof out));
    }
  }

  static fuse_attr folder(std::uint64_t number) {
    fuse_attr attributes{};
    attributes.ino = number;
    attributes.mode = S_IFDIR | 0755;
    attributes.nlink = 2;
    return attributes;
  }

  template <typename Body>
  void reply(std::uint64_t unique, Body& body) const {
    fuse_out_header header{sizeof header + sizeof body, 0, unique};
    const std::array<iovec, 2> parts{iovec{&header, sizeof header}, iovec{&body, sizeof body}};
    static_cast<void>(::writev(device_, parts.data(), static_cast<int>(parts.size())));
  }

  int device_;
  std::atomic<std::uint64_t> free_{kFree};
  std::atomic<bool> silent_{false};
  std::thread server_;
};

}  // namespace kvwmi::tests
