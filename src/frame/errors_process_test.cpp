#include "frame/errors_process.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <stdexcept>

#include "frame/testing/raises.h"

namespace kvwmi {
namespace {

using testing::Raised;
using testing::raised;
using testing::raised_by;

const Error kInner(-7, "Inner", "what happened");
constexpr MethodFrame kNumbered{"CheckPoint", kCheckPointError};
constexpr MethodFrame kUnnumbered{"Inventory"};

[[noreturn]] std::int32_t fail() {
  throw kInner;
}

TEST(ClassErrors, Numbers) {
  EXPECT_EQ(kCheckPointError, -2147220975);
  EXPECT_EQ(kManagementError, -2147220976);
  EXPECT_EQ(kSupervisionError, -2147220977);
}

TEST(ErrorOf, EachPartChangesAlone) {
  EXPECT_EQ(raised(kInner.with_number(3)), (Raised{3, "Inner", "what happened"}));
  EXPECT_EQ(raised(kInner.with_tag("Tag")), (Raised{-7, "Inner\r\n\tTag", "what happened"}));
  EXPECT_EQ(raised(kInner.with_description("else")), (Raised{-7, "Inner", "else"}));
  EXPECT_STREQ(kInner.what(), "what happened");
}

TEST(ErrorOf, AnEmptySourceStillGetsItsLine) {
  EXPECT_EQ(Error(1, "", "").with_tag("Tag").source(), "\r\n\tTag");
}

TEST(ErrorOf, TheRefusedPlaceOfAQuerySurvivesEveryTag) {
  EXPECT_EQ(kInner.query_diagnostic(), nullptr);
  const Error refused = kInner.with_diagnostic({"SELECT", 6, "a class name is missing"});
  const Error outer = kNumbered.failed("m_GetPowerSource", refused);
  ASSERT_NE(outer.query_diagnostic(), nullptr);
  EXPECT_EQ(outer.query_diagnostic()->query, "SELECT");
  EXPECT_EQ(outer.query_diagnostic()->offset, 6U);
  EXPECT_EQ(outer.query_diagnostic()->message, "a class name is missing");
}

TEST(MethodFrame, PassesTheResultThrough) {
  EXPECT_EQ(kNumbered("m_GetServiceState", [] { return 2; }), 2);
}

TEST(MethodFrame, AFailureGetsNumberAndTagAndKeepsItsDescription) {
  EXPECT_EQ(raised_by([] { return kNumbered("m_GetPowerSource", fail); }),
            (Raised{kCheckPointError, "Inner\r\n\tKVWMI : CheckPoint.m_GetPowerSource", "what happened"}));
}

TEST(MethodFrame, AClassWithoutANumberKeepsTheInnerOne) {
  EXPECT_EQ(raised_by([] { return kUnnumbered("m_GetQueryProperties", fail); }),
            (Raised{-7, "Inner\r\n\tKVWMI : Inventory.m_GetQueryProperties", "what happened"}));
}

TEST(MethodFrame, TwoLevelsStackTheirTagsInnermostFirst) {
  constexpr MethodFrame outer{"Management", kManagementError};
  const auto raised = raised_by(
      [&] { return outer("m_RestartService", [] { return kNumbered("m_GetServiceState", fail); }); });
  EXPECT_EQ(raised, (Raised{kManagementError,
                            "Inner\r\n\tKVWMI : CheckPoint.m_GetServiceState"
                            "\r\n\tKVWMI : Management.m_RestartService",
                            "what happened"}));
}

TEST(MethodFrame, MinusOneIsNeverReturned) {
  // -1 as the result of a failed call exists only on the way out; the caller's variable keeps what it held.
  std::int32_t result = 5;
  static_cast<void>(raised_by([&] { return result = kNumbered("m_GetServiceState", fail); }));
  EXPECT_EQ(result, 5);
}

TEST(MethodFrame, OutputsKeepWhatTheyHold) {
  std::int32_t output = 9;
  static_cast<void>(raised_by([&] {
    return kNumbered("m_GetServiceState", [&] {
      output = 0;
      return fail();
    });
  }));
  EXPECT_EQ(output, 0);
}

TEST(MethodFrame, ObjectsOfTheStepsAreReleasedBeforeTheCallerSeesTheError) {
  auto held = std::make_shared<int>(1);
  static_cast<void>(raised_by([&] {
    return kNumbered("m_GetServiceState", [&] {
      const auto kept = held;
      return fail();
    });
  }));
  EXPECT_EQ(held.use_count(), 1);
}

TEST(Tagged, KeepsTheNumberAndAddsTheTag) {
  EXPECT_EQ(raised_by([] { return tagged("PublicFunctions.IsWow64", fail); }),
            (Raised{-7, "Inner\r\n\tPublicFunctions.IsWow64", "what happened"}));
  EXPECT_EQ(tagged("PublicFunctions.IsWow64", [] { return 1; }), 1);
}

TEST(PendingError, ForeignExceptionsBecomeRunTimeErrors) {
  const auto wrapped = [](auto exception) {
    return raised_by([&] { return tagged("T", [&]() -> int { throw exception; }); });
  };
  EXPECT_EQ(wrapped(std::bad_alloc()), (Raised{7, "KVWMI\r\n\tT", "Out of memory"}));
  EXPECT_EQ(wrapped(std::runtime_error("a reason")), (Raised{51, "KVWMI\r\n\tT", "a reason"}));
  EXPECT_EQ(wrapped(42), (Raised{51, "KVWMI\r\n\tT", "Internal error"}));
}

}  // namespace
}  // namespace kvwmi
