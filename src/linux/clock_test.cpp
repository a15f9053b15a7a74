#include "linux/clock.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "linux/machine.h"
#include "linux/testing/forked.h"

namespace kvwmi::ground {
namespace {

using namespace std::chrono_literals;

TEST(LinuxClock, ATimeZoneThatChangesWhileTheProgramRunsIsNoticed) {
  kvwmi::testing::Forked program([] {
    LinuxClock clock;
    const Machine machine;
    setenv("TZ", "UTC0", 1);
    const auto before = clock.local_now();
    setenv("TZ", "AHEAD-5", 1);
    if (clock.local_now() - before < 5h) return 1;
    setenv("TZ", "BEHIND5", 1);
    return machine.utc_offset(0) == -5h ? 0 : 2;
  });
  EXPECT_EQ(program.wait(), 0) << "1 is the clock, 2 the machine";
}

}  // namespace
}  // namespace kvwmi::ground
