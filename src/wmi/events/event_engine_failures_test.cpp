#include "wmi/events/event_engine.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "frame/wmi_status.h"
#include "wmi/events/testing/engine_fixture.h"

namespace kvwmi::embedded {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::EventEngineTest;
using testing::kProcessStarts;
using testing::Texts;
using wmi::Status;

TEST_F(EventEngineTest, AProviderThatFailsAtTheSubscriptionMakesTheCallFail) {
  processes->fail_with(wmi::wmi_error(Status::provider_failure, "somewhere"));
  const Error error = refused(kProcessStarts);
  EXPECT_TRUE(wmi::is_status(error, Status::provider_failure));
  EXPECT_EQ(error.source(), "SWbemServicesEx");
  EXPECT_EQ(error.description(), "Provider failure ");
  processes->fail_with({});
  add_process("1", "a");
  pass(seconds(5));
  EXPECT_EQ(take(), Texts{}) << "nothing is left of the refused one";
  EXPECT_EQ(engine->polls(), 0U);
}

TEST_F(EventEngineTest, NothingIsLeftOfASubscriptionThatOneOfItsClassesRefuses) {
  for (const auto& failing : {processes, threads}) {
    failing->fail_with(wmi::wmi_error(Status::provider_failure, "somewhere"));
    static_cast<void>(
        refused("SELECT * FROM __InstanceCreationEvent WITHIN 1000 WHERE TargetInstance ISA "
                "'CIM_LogicalElement'"));
    failing->fail_with({});
    pass(seconds(0));
    EXPECT_EQ(engine->polls(), 0U) << "without waiting for a poll";
  }
}

TEST_F(EventEngineTest, AProviderThatFailsLaterLeavesTheOthersAndRecovers) {
  subscribe(kProcessStarts);
  subscribe("SELECT * FROM __InstanceCreationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Service'");
  processes->fail_with(wmi::wmi_error(Status::provider_failure, "somewhere"));
  add_process("1", "a");
  add_service("spool", "Running");
  pass(seconds(3));
  EXPECT_EQ(take(), Texts{"__InstanceCreationEvent spool"});
  ASSERT_EQ(failures.size(), 1U) << "one report for a row of failures";
  EXPECT_EQ(failures[0].description(), "Provider failure ");
  processes->fail_with({});
  pass(seconds(1));
  EXPECT_EQ(take(), Texts{"__InstanceCreationEvent 1"}) << "what came meanwhile is not lost";
  processes->fail_with(wmi::wmi_error(Status::provider_failure, "somewhere"));
  add_process("2", "a");
  pass(seconds(1));
  EXPECT_EQ(failures.size(), 2U);
}

TEST_F(EventEngineTest, AFailureForANewSubscriptionKeepsTheOld) {
  subscribe(kProcessStarts);
  processes->fail_with(wmi::wmi_error(Status::provider_failure, "somewhere"));
  add_process("1", "a");
  static_cast<void>(
      refused("SELECT * FROM __InstanceModificationEvent WITHIN 1 WHERE TargetInstance ISA "
              "'Win32_Process'"));
  processes->fail_with({});
  pass(seconds(1));
  EXPECT_EQ(take(), Texts{"__InstanceCreationEvent 1"});
}

/// Drives that may stop answering: then everything but the letter fails, and of some the letter too.
struct Drive {
  std::string letter, label;
  std::uint64_t free = 100;
  bool answers = true, has_letter = true;
};

class DriveRow final : public cim::Instance {
 public:
  DriveRow(const cim::Class& schema, Drive drive) : Instance(schema), drive_(std::move(drive)) {}
  cim::Value letter() { return drive_.has_letter ? drive_.letter : throw silence(); }
  cim::Value label() { return drive_.label; }
  cim::Value free_space() { return drive_.answers ? drive_.free : throw silence(); }

 private:
  static Error silence() { return wmi::wmi_error(Status::provider_failure, "somewhere"); }
  Drive drive_;
};

class Drives final : public Provider {
 public:
  const cim::Class& schema() const override {
    using enum cim::CimType;
    static constexpr cim::Property kProperties[]{
        {"DeviceID", string, cim::kKey, cim::Cost::free, "", cim::reader<&DriveRow::letter>},
        {"Label", string, cim::kIdentifies, cim::Cost::free, "", cim::reader<&DriveRow::label>},
        {"FreeSpace", uint64, cim::kPlain, cim::Cost::read, "", cim::reader<&DriveRow::free_space>},
    };
    static constexpr cim::Class kClass{.name = "Test_Drive",
                                       .superclasses = {},
                                       .description = "",
                                       .properties = kProperties,
                                       .methods = {}};
    return kClass;
  }
  void enumerate(const Request&, const RowSink& sink) override {
    for (const Drive& drive : drives) {
      if (!sink(std::make_shared<DriveRow>(schema(), drive))) return;
    }
  }

  std::vector<Drive> drives;
};

/// Watches over drives of which single ones fail while the others are read.
struct FailingRowsTest : EventEngineTest {
  std::shared_ptr<Drives> provider = std::make_shared<Drives>();
  std::vector<Drive>& drives = provider->drives;

  FailingRowsTest() {
    service.add(provider);
    sink = std::make_shared<EventSink>(
        [this](wmi::Object& event, const wmi::NamedValues&) { seen.push_back(event.class_name()); }, loop);
  }
  void subscribe_to(const char* event_class, const std::string& condition = "") {
    subscribe("SELECT * FROM " + std::string(event_class) +
              " WITHIN 1 WHERE TargetInstance ISA 'Test_Drive'" + condition);
  }
  Texts seen_after_a_second() {
    pass(seconds(1));
    return take();
  }
};

TEST_F(FailingRowsTest, ANewRowCountsFromTheTimeItAnswers) {
  subscribe_to("__InstanceModificationEvent", " AND TargetInstance.FreeSpace<10");
  drives.push_back({.letter = "E:", .label = "e", .answers = false});
  EXPECT_EQ(seen_after_a_second(), Texts{});
  EXPECT_EQ(seen_after_a_second(), Texts{});
  drives[0].answers = true;
  EXPECT_EQ(seen_after_a_second(), Texts{});
  drives[0].free = 5;
  EXPECT_EQ(seen_after_a_second(), Texts{"__InstanceModificationEvent"});
  EXPECT_EQ(failures.size(), 1U) << "one report for a row of failures";
}

TEST_F(FailingRowsTest, TheOtherRowsComeAndGoMeanwhile) {
  drives = {{.letter = "C:", .label = "c"}, {.letter = "D:", .label = "d"}};
  subscribe_to("__InstanceOperationEvent");
  drives.insert(drives.begin(), {.letter = "B:", .label = "b", .answers = false});
  drives[1].answers = false;
  drives.pop_back();
  drives.push_back({.letter = "E:", .label = "e"});
  EXPECT_EQ(seen_after_a_second(), (Texts{"__InstanceCreationEvent", "__InstanceDeletionEvent"}));
  EXPECT_EQ(seen_after_a_second(), Texts{}) << "what fails has neither come nor gone";
  for (Drive& drive : drives) drive.answers = true;
  EXPECT_EQ(seen_after_a_second(), Texts{"__InstanceCreationEvent"});
  EXPECT_EQ(seen_after_a_second(), Texts{});
}

TEST_F(FailingRowsTest, AReplacedRowIsToldAsAWholeOrNotYet) {
  drives = {{.letter = "C:", .label = "old"}};
  subscribe_to("__InstanceDeletionEvent");
  subscribe_to("__InstanceCreationEvent");
  drives[0].label = "new";
  drives[0].answers = false;
  EXPECT_EQ(seen_after_a_second(), Texts{});
  EXPECT_EQ(seen_after_a_second(), Texts{});
  drives[0].answers = true;
  EXPECT_EQ(seen_after_a_second(), (Texts{"__InstanceDeletionEvent", "__InstanceCreationEvent"}));
  EXPECT_EQ(seen_after_a_second(), Texts{});
}

TEST_F(FailingRowsTest, NothingIsGoneWhileARowCannotSayWhichItIs) {
  drives = {{.letter = "C:", .label = "c"}, {.letter = "D:", .label = "d"}};
  subscribe_to("__InstanceDeletionEvent");
  drives[0].has_letter = false;
  EXPECT_EQ(seen_after_a_second(), Texts{});
  drives.pop_back();
  EXPECT_EQ(seen_after_a_second(), Texts{});
  drives[0].has_letter = true;
  EXPECT_EQ(seen_after_a_second(), Texts{"__InstanceDeletionEvent"});
}

/// A class whose schema can be asked for a number of times only.
class FragileProvider final : public Provider {
 public:
  const cim::Class& schema() const override {
    if (left == 0) throw std::runtime_error("no schema");
    --left;
    return memory_.schema();
  }
  void enumerate(const Request& request, const RowSink& sink) override { memory_.enumerate(request, sink); }

  static constexpr int kMany = 1000;
  mutable int left = kMany;

 private:
  MemoryProvider memory_{
      MemoryClass{.name = "Test_Fragile", .properties = {{"Id", cim::CimType::string, cim::kKey}}}};
};

TEST_F(EventEngineTest, NothingRemainsOfASubscriptionThatFailsAnywhereOnItsWay) {
  const auto fragile = std::make_shared<FragileProvider>();
  service.add(fragile);
  int refusals = 0;
  for (;; ++refusals) {
    ASSERT_LT(refusals, FragileProvider::kMany);
    fragile->left = refusals;
    try {
      subscribe("SELECT * FROM __InstanceCreationEvent WITHIN 1 WHERE TargetInstance ISA 'Test_Fragile'");
      break;
    } catch (const Error&) {
      pass(milliseconds(0));
      EXPECT_EQ(engine->polls(), 0U) << refusals;
    }
  }
  EXPECT_GT(refusals, 0);
  EXPECT_EQ(engine->polls(), 1U);
}

}  // namespace
}  // namespace kvwmi::embedded
