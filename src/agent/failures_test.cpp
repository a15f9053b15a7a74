#include "agent/failures.h"

#include <gtest/gtest.h>

namespace kvwmi::agent {
namespace {

using namespace std::chrono_literals;

const Error kLoss(-2147217404, "SWbemSink", "Provider failure ");

std::vector<std::string> told(Failures& failures) {
  std::vector<std::string> result;
  for (const Error& error : failures.take()) result.push_back(error.description());
  return result;
}
using Told = std::vector<std::string>;

TEST(FailuresTest, OneThatComesAgainAndAgainIsToldOnce) {
  Failures failures;
  Failures::Clock::time_point now;
  for (int i = 0; i < 100; ++i) failures.add(kLoss, now += 59s);
  EXPECT_TRUE(failures.any());
  EXPECT_EQ(told(failures), Told{"Provider failure "});
  EXPECT_FALSE(failures.any());
  failures.add(kLoss, now += 59s);
  EXPECT_EQ(told(failures), Told{});
}

TEST(FailuresTest, OneThatComesBackAfterAMinuteIsToldAgain) {
  Failures failures;
  const Failures::Clock::time_point now;
  failures.add(kLoss, now);
  failures.add(kLoss, now + 1min);
  EXPECT_EQ(told(failures), (Told{"Provider failure ", "Provider failure "}));
}

TEST(FailuresTest, DifferentOnesAreToldEach) {
  Failures failures;
  failures.add(kLoss);
  failures.add(kLoss.with_description("Not found "));
  failures.add(kLoss.with_number(1));
  EXPECT_EQ(told(failures), (Told{"Provider failure ", "Not found ", "Provider failure "}));
}

}  // namespace
}  // namespace kvwmi::agent
