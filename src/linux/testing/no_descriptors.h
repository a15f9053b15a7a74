#pragma once

#include <sys/resource.h>

#include <cerrno>
#include <system_error>

#include "kvwmi/error.h"

namespace kvwmi::ground::testing {

/// As long as it lives, no file can be opened. Nor a pipe, which the undefined-behaviour sanitizer needs to
/// look at an object of a type for the first time: do the same on another object before.
class NoDescriptors {
 public:
  NoDescriptors() {
    // The first error.
    static_cast<void>(Error(0, "", "").with_diagnostic({"", 0, std::generic_category().message(EMFILE)}));
    getrlimit(RLIMIT_NOFILE, &before_);
    const rlimit none{0, before_.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
  }
  ~NoDescriptors() { setrlimit(RLIMIT_NOFILE, &before_); }
  NoDescriptors(const NoDescriptors&) = delete;
  NoDescriptors& operator=(const NoDescriptors&) = delete;

 private:
  rlimit before_{};
};

}  // namespace kvwmi::ground::testing
