#include <gtest/gtest.h>

#include <set>
#include <string>

#include "frame/errors_process.h"
#include "frame/get_key_type.h"
#include "supervision/failing_allocation.h"
#include "supervision/testing/fixture.h"

namespace kvwmi::supervision {
namespace {

using testing::Diagnostics;
using testing::FakeGround;
using testing::kNothing;
using testing::pop;
using testing::Popped;
using testing::tag;

constexpr std::int32_t kOutOfMemory = 7;

/// Runs `action` with its first, second, ... allocation failing, until it succeeds without meeting one; gives
/// the Sources of the failures. `after_failure` sees what each of them left behind.
template <typename Action, typename Check>
std::set<std::string> sources_of_failures(std::int32_t number, Action action, Check after_failure) {
  std::set<std::string> sources;
  for (int failing = 1;; ++failing) {
    testing::failing_allocation = failing;
    try {
      action();
      EXPECT_GT(testing::failing_allocation, 0) << "an allocation failed unnoticed";
      testing::failing_allocation = 0;
      return sources;
    } catch (const Error& error) {
      testing::failing_allocation = 0;
      EXPECT_EQ(error.number(), number);
      EXPECT_EQ(error.description(), "Out of memory");
      sources.insert(error.source());
      after_failure();
    }
  }
}

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
    testing::failing_allocation = failing;
    tick();
    testing::failing_allocation = 0;
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

// The component that this routine came from stands in its tag.
TEST(OutOfMemory, GetKeyTypeKeepsItsOldTag) {
  std::uint32_t root = 0;
  std::string key;
  const auto sources = sources_of_failures(
      kOutOfMemory,
      [&] {
        key = std::string();
        static_cast<void>(GetKeyType(R"(HKEY_USERS\a key with a name that is kept on the heap)", root, key));
      },
      [] {});
  EXPECT_EQ(sources, std::set<std::string>{"KVWMI\r\n\tScheduler: Current.GetKeyType"});
}

}  // namespace
}  // namespace kvwmi::supervision
