#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <string>

#include "kvwmi/error.h"

/// For test programs that kvwmi_failing_allocation is linked to.
namespace kvwmi::testing {

/// Which of the calling thread's next allocations fails; 0 for none. The failing one sets it back to 0.
extern thread_local int failing_allocation;

/// Runs `action` with its first, second, ... allocation failing, until it succeeds without meeting one; gives
/// the Sources of the failures. `after_failure` sees what each of them left behind.
template <typename Action, typename Check>
std::set<std::string> sources_of_failures(std::int32_t number, Action action, Check after_failure) {
  std::set<std::string> sources;
  for (int failing = 1;; ++failing) {
    failing_allocation = failing;
    try {
      action();
      EXPECT_GT(failing_allocation, 0) << "an allocation failed unnoticed";
      failing_allocation = 0;
      return sources;
    } catch (const Error& error) {
      failing_allocation = 0;
      EXPECT_EQ(error.number(), number);
      EXPECT_EQ(error.description(), "Out of memory");
      sources.insert(error.source());
      after_failure();
    }
  }
}

}  // namespace kvwmi::testing
