#pragma once

#include <gtest/gtest.h>

#include <csignal>
#include <limits>
#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "agent/command.h"
#include "frame/testing/local_ground.h"
#include "frame/wmi_status.h"

namespace kvwmi::testing {

/// The kvwmi command on a made-up machine whose message loop does what a test has put into it.
class AgentFixture : public ::testing::Test {
 protected:
  AgentFixture() {
    std::signal(SIGINT, SIG_DFL);  // a shell's background command ignores it
    wmi = FakeWmi();
    fake_local_ground().fake_named_events.signalled.clear();
    fake_messages().clear();
  }

  FakeWmi& wmi = fake_local_ground().wmi;

  struct Result {
    int status;
    std::string out;
    std::string err;
  };
  static Result run_agent(std::vector<std::string> arguments, agent::Console::Style style = {}) {
    std::ostringstream out;
    std::ostringstream err;
    const int status = agent::run_agent(std::move(arguments), out, err, style);
    return {status, out.str(), err.str()};
  }

  /// The same where nobody reads any more what is written.
  static Result run_agent_unread(std::vector<std::string> arguments) {
    Unread unread;
    std::ostream out(&unread);
    std::ostringstream err;
    const int status = agent::run_agent(std::move(arguments), out, err, {});
    return {status, unread.written, err.str()};
  }

  static std::shared_ptr<FakeObject> object(wmi::NamedValues values, std::string class_name = "") {
    return std::make_shared<FakeObject>(std::move(values), std::move(class_name));
  }
  static std::shared_ptr<FakeObject> class_object(wmi::NamedValues values, std::string name) {
    auto result = object(std::move(values), std::move(name));
    result->genus = 1;
    return result;
  }
  void refuse(const std::string& query, std::size_t offset, const std::string& message) {
    wmi.errors.insert_or_assign(query, wmi::wmi_error(wmi::Status::invalid_query, wmi::source::kServices)
                                           .with_diagnostic({query, offset, message}));
  }

  static constexpr std::size_t kLatest = std::numeric_limits<std::size_t>::max();
  /// An event of a subscription, counted in the order in which they are made.
  static void post_event(wmi::NamedValues target = {}, std::size_t subscription = kLatest) {
    fake_messages().push_back([subscription, target = std::move(target)] {
      FakeObject event({{"TargetInstance",
                         wmi::Value(std::shared_ptr<wmi::Object>(std::make_shared<FakeObject>(target)))}},
                       "__InstanceModificationEvent");
      auto& machine = fake_local_ground().wmi;
      const auto& asked =
          subscription == kLatest ? machine.subscriptions.back() : machine.subscriptions.at(subscription);
      ASSERT_EQ(machine.fire(asked.query, event), 1);
    });
  }
  static void post_interrupt() {
    fake_messages().push_back([] { std::raise(SIGINT); });
  }

  /// The text with TIME for times of day, and 0.0 s for what a step took.
  static std::string without_times(const std::string& text) {
    static const std::regex of_day(R"(\d\d:\d\d:\d\d)");
    static const std::regex taken(R"(\d\.\d s\b)");
    return std::regex_replace(std::regex_replace(text, of_day, "TIME"), taken, "0.0 s");
  }

 private:
  struct Unread : std::streambuf {
    std::string written;
    int_type overflow(int_type letter) override {
      written += traits_type::to_char_type(letter);
      return letter;
    }
    int sync() override { return -1; }
  };
};

}  // namespace kvwmi::testing
