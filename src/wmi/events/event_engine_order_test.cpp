#include "wmi/events/event_engine.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "wmi/events/testing/engine_fixture.h"

namespace kvwmi::embedded {
namespace {

using std::chrono::milliseconds;
using testing::EventEngineTest;
using testing::Texts;

/// A class that takes its time, and tells when it is asked.
class SlowProvider final : public Provider {
 public:
  SlowProvider(const std::string& name, std::function<void()> asked)
      : memory_(MemoryClass{.name = name, .properties = {{"Id", cim::CimType::string, cim::kKey}}}),
        asked_(std::move(asked)) {}
  const cim::Class& schema() const override { return memory_.schema(); }
  void enumerate(const Request& request, const RowSink& sink) override {
    asked_();
    memory_.enumerate(request, sink);
  }

 private:
  MemoryProvider memory_;
  std::function<void()> asked_;
};

TEST_F(EventEngineTest, OfThePollsThatAreDueAtOnceTheQuickOnesComeFirst) {
  TimePoint clock{};
  settings->clock = [&] { return clock; };
  Texts asked;
  for (const auto& [name, takes] : {std::pair("Test_Slow", 250), std::pair("Test_Quick", 1)}) {
    service.add(std::make_shared<SlowProvider>(name, [&, name = name, takes = takes] {
      asked.emplace_back(name);
      clock += milliseconds(takes);
    }));
  }
  const std::string from = "SELECT * FROM __InstanceCreationEvent WITHIN ";
  subscribe(from + "10 WHERE TargetInstance ISA 'Test_Slow'");
  subscribe(from + "1 WHERE TargetInstance ISA 'Test_Quick'");
  pass(milliseconds(9900));
  asked.clear();
  pass(milliseconds(100));
  EXPECT_EQ(asked, (Texts{"Test_Quick", "Test_Slow"}));
}

}  // namespace
}  // namespace kvwmi::embedded
