#include "frame/window_api.h"

#include <gtest/gtest.h>

#include "frame/testing/fake_ground.h"
#include "frame/testing/raises.h"

namespace kvwmi {
namespace {

using testing::FakeSystemInfo;
using testing::Raised;
using testing::raised_by;

struct BrokenSystem final : FakeSystemInfo {
  std::optional<std::string> message(std::int32_t) override { throw Error(5, "System", "broken"); }
};

TEST(GetAPIErrorMessage, IsTheSystemsTextLineEndIncluded) {
  FakeSystemInfo system;
  system.messages[5] = "Access is denied.\r\n";
  EXPECT_EQ(WindowAPI::GetAPIErrorMessage(system, 5), "Access is denied.\r\n");
}

TEST(GetAPIErrorMessage, NothingIsTrimmed) {
  FakeSystemInfo system;
  system.messages[1] = "  \t text \r\n\r\n ";
  EXPECT_EQ(WindowAPI::GetAPIErrorMessage(system, 1), "  \t text \r\n\r\n ");
}

TEST(GetAPIErrorMessage, ACodeWithoutATextGivesTheEmptyString) {
  FakeSystemInfo system;
  EXPECT_EQ(WindowAPI::GetAPIErrorMessage(system, 1234), "");
  EXPECT_EQ(WindowAPI::GetAPIErrorMessage(system, -1), "");
}

TEST(GetAPIErrorMessage, AFailureCarriesItsOldTag) {
  // The first word of this tag is another component's name; agents match on the whole of it.
  BrokenSystem system;
  EXPECT_EQ(raised_by([&] { return WindowAPI::GetAPIErrorMessage(system, 1); }),
            (Raised{5, "System\r\n\tPylonet: WindowAPI.GetAPIErrorMessage", "broken"}));
}

}  // namespace
}  // namespace kvwmi
