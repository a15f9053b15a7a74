#include "frame/wmi_access.h"

#include <gtest/gtest.h>

#include "frame/testing/fake_ground.h"
#include "frame/testing/raises.h"

namespace kvwmi::wmi {
namespace {

using testing::FakeObject;
using testing::FakeObjectSet;
using testing::Raised;
using testing::raised_by;

TEST(NamedValues, AreFoundInAnyCase) {
  const NamedValues values{{"SupervisionId", Value(3)}, {"CurrentStepId", Value(7)}};
  EXPECT_EQ(named_value(values, "currentstepid"), Value(7));
}

TEST(NamedValues, AnAbsentNameIsNotFound) {
  EXPECT_EQ(raised_by([] { return named_value({}, "SupervisionId"); }),
            (Raised{static_cast<std::int32_t>(0x80041002), "SWbemNamedValueSet", "Not found "}));
}

TEST(FirstOf, IsTheFirstObjectOrNull) {
  FakeObjectSet empty({});
  EXPECT_EQ(first_of(empty), nullptr);
  const auto first = std::make_shared<FakeObject>(NamedValues{});
  FakeObjectSet two({first, std::make_shared<FakeObject>(NamedValues{})});
  EXPECT_EQ(first_of(two), first);
}

TEST(Arguments, DefaultsAreTheLocalMachineAndNobody) {
  const ConnectArguments arguments;
  EXPECT_EQ(arguments.server, ".");
  EXPECT_EQ(
      arguments.name_space + arguments.user + arguments.password + arguments.locale + arguments.authority,
      "");
  EXPECT_EQ(arguments.security_flags, 0);
  EXPECT_EQ(arguments.context, nullptr);
}

}  // namespace
}  // namespace kvwmi::wmi
