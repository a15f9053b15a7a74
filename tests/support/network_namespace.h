#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <string>

#include "frame/testing/eventually.h"
#include "linux/testing/child.h"
#include "support/command.h"

namespace kvwmi::tests {

/// Takes the calling thread into a network namespace of its own while it lives. In it is `near`, one end of a
/// pair whose other end, switched on, lies elsewhere: the link's state changes with nothing but itself.
class NetworkNamespace {
 public:
  NetworkNamespace() : before_(open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC)) {
    entered_ = before_ >= 0 && geteuid() == 0 && unshare(CLONE_NEWNET) == 0;
    if (!entered_) return;
    elsewhere_.emplace(std::vector<std::string>{"unshare", "--net", "sleep", "infinity"});
    const std::string pid = std::to_string(elsewhere_->pid());
    const auto network_of = [](const std::string& process) {
      std::error_code gone;
      return std::filesystem::read_symlink("/proc/" + process + "/ns/net", gone);
    };
    EXPECT_TRUE(testing::eventually([&] { return network_of(pid) != network_of("thread-self"); }));
    ip("link add near type veth peer name far netns " + pid);
    EXPECT_EQ(run_shell("nsenter --net --target " + pid + " ip link set far up").status, 0);
  }
  ~NetworkNamespace() {
    elsewhere_.reset();
    if (entered_) setns(before_, CLONE_NEWNET);
    if (before_ >= 0) close(before_);
  }
  NetworkNamespace(const NetworkNamespace&) = delete;
  NetworkNamespace& operator=(const NetworkNamespace&) = delete;

  /// False where the machine does not allow namespaces to this user.
  [[nodiscard]] bool entered() const noexcept { return entered_; }

  /// A command of iproute2 inside.
  static void ip(const std::string& arguments) {
    EXPECT_EQ(run_shell("ip " + arguments).status, 0) << "ip " << arguments;
  }

 private:
  int before_;
  bool entered_ = false;
  std::optional<testing::Child> elsewhere_;
};

}  // namespace kvwmi::tests
