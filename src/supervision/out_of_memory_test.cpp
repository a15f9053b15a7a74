#include <gtest/gtest.h>

#include <set>
#include <string>

#include "frame/errors_process.h"
#include "frame/testing/failing_allocation.h"
#include "supervision/testing/fixture.h"

namespace kvwmi::supervision {
namespace {

using kvwmi::testing::failing_allocation;
using kvwmi::testing::sources_of_failures;
using testing::Diagnostics;
using testing::FakeGround;
using testing::kNothing;
using testing::pop;
using testing::Popped;
using testing::tag;

constexpr std::int32_t kOutOfMemory = 7;

// Exhausted memory is the one way in which these routines can fail, and so the one way to see their tags.
class OutOfMemoryTest : public ::testing::Test {
 protected:
  void SetUp() override { supervision.m_Initialize(); }
  ~OutOfMemoryTest() override { supervision.m_Release(); }

  FakeGround ground;
  Supervision supervision{ground};
};

TEST_F(OutOfMemoryTest, PushUndetectedKeepsTheNumberAndHasATagWithoutItsPrefix) {
  supervision.m_SuperviseProcess(7, 3, "a.exe", false, false, 5, 0, 0, true);
  const auto sources = sources_of_failures(
      kOutOfMemory, [&] { supervision.m_PushUndetectedEventInfos(); },
      [&] { EXPECT_EQ(pop(supervision, 7), kNothing); });
  EXPECT_EQ(sources,
            std::set<std::string>{"KVWMI" + tag("PushEventInfos") + tag("PushUndetectedEventInfos")});
  EXPECT_EQ(pop(supervision, 7), (Popped{3, ""}));
}

TEST_F(OutOfMemoryTest, RequestThatCannotBeRegisteredIsNot) {
  const auto sources = sources_of_failures(
      kSupervisionError,
      [&] { supervision.m_SuperviseProcess(1'000'000'007, 1'000'000'003, "", false, false, 5, 0, 0, true); },
      [&] {
        supervision.m_PushUndetectedEventInfos();
        EXPECT_EQ(pop(supervision, 1'000'000'007), kNothing);
      });
  EXPECT_TRUE(sources.contains("KVWMI" + tag("AddSupervision") + tag("m_SuperviseProcess")));
  supervision.m_PushUndetectedEventInfos();
  EXPECT_EQ(pop(supervision, 1'000'000'007), (Popped{1'000'000'003, ""}));
}

TEST_F(OutOfMemoryTest, RecordThatCannotBeQueuedIsNotSignalled) {
  Diagnostics diagnostics;
  supervision.p_strSupervisionEventName("agent");
  supervision.m_SuperviseIPAddress(7, 3, "", "", true, true, 5);
  ground.fake_ip_address_library.address_calls.reserve(100);
  ground.fake_named_events.signalled.reserve(1);
  ground.fake_ip_address_library.address_result = 1;
  const auto tick = ground.fake_timers.running.begin()->second.tick;
  const std::string expected = "KVWMI" + tag("PushEventInfos") + tag("Notify") +
                               tag("SupervisionPolling_Timer") +
                               "\r\n\tKVWMI : SupervisionTimer.SupervisionPolling_Timer";
  int failures = 0;
  for (int failing = 1; ground.fake_named_events.signalled.empty(); ++failing) {
    failing_allocation = failing;
    tick();
    failing_allocation = 0;
    if (!diagnostics.errors.empty() && diagnostics.errors.back().source() == expected) ++failures;
    diagnostics.errors.clear();
    if (ground.fake_named_events.signalled.empty()) {
      EXPECT_EQ(pop(supervision, 7), kNothing);
    }
  }
  EXPECT_GT(failures, 0);
  EXPECT_EQ(pop(supervision, 7), (Popped{3, ""}));
}

TEST(OutOfMemory, AttachmentToTheTimerHasItsTagsToo) {
  FakeGround ground;
  Supervision supervision(ground);
  const auto sources = sources_of_failures(
      kSupervisionError, [&] { supervision.m_Initialize(); }, [] {});
  EXPECT_TRUE(sources.contains("KVWMI\r\n\tKVWMI : SupervisionTimer.AttachSupervisionPollingTimer" +
                               tag("m_Initialize")));
  supervision.m_Release();
}

}  // namespace
}  // namespace kvwmi::supervision
