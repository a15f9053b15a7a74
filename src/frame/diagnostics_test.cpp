#include "frame/diagnostics.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

#include "frame/runtime_error.h"

namespace kvwmi {
namespace {

struct DiagnosticsTest : testing::Test {
  ~DiagnosticsTest() override { set_diagnostic_hook({}); }
};

TEST_F(DiagnosticsTest, WithoutAHookNobodyHears) {
  report(runtime_error(RuntimeError::overflow));
  int heard = 0;
  set_diagnostic_hook([&](const Error&) { ++heard; });
  EXPECT_EQ(heard, 0) << "what was reported before is not kept";
  set_diagnostic_hook({});
  report(runtime_error(RuntimeError::overflow));
  EXPECT_EQ(heard, 0);
}

TEST_F(DiagnosticsTest, HandsTheErrorToTheHook) {
  std::vector<Error> seen;
  set_diagnostic_hook([&](const Error& error) { seen.push_back(error); });
  report(runtime_error(RuntimeError::overflow).with_tag("KVWMI : A.b"));
  ASSERT_EQ(seen.size(), 1U);
  EXPECT_EQ(seen[0].number(), 6);
  EXPECT_EQ(seen[0].source(), "KVWMI\r\n\tKVWMI : A.b");
  EXPECT_EQ(seen[0].description(), "Overflow");
}

TEST_F(DiagnosticsTest, TakesTheExceptionInFlight) {
  std::vector<Error> seen;
  set_diagnostic_hook([&](const Error& error) { seen.push_back(error); });
  try {
    throw std::runtime_error("the reader broke");
  } catch (...) {
    report_pending_error();
  }
  ASSERT_EQ(seen.size(), 1U);
  EXPECT_EQ(seen[0].number(), 51);
  EXPECT_EQ(seen[0].description(), "the reader broke");
}

TEST_F(DiagnosticsTest, AHookMayReplaceItselfAndThrow) {
  int first = 0;
  int second = 0;
  set_diagnostic_hook([&](const Error&) {
    set_diagnostic_hook([&](const Error&) { ++second; });
    ++first;  // the closure is still alive here
    throw std::runtime_error("lost");
  });
  report(runtime_error(RuntimeError::overflow));
  report(runtime_error(RuntimeError::overflow));
  EXPECT_EQ(first, 1);
  EXPECT_EQ(second, 1);
}

}  // namespace
}  // namespace kvwmi
