#include "agent/watch_session.h"

#include <gtest/gtest.h>

#include <csignal>

namespace kvwmi::agent {
namespace {

TEST(InterruptTest, SeveralRequestsInTheSameMomentAreOne) {
  const Interrupt interrupt;
  for (int i = 0; i < 3; ++i) EXPECT_EQ(std::raise(SIGINT), 0);
  EXPECT_TRUE(Interrupt::pending());
}

}  // namespace
}  // namespace kvwmi::agent
