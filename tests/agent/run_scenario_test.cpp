// ./run without arguments: the shipped scenario, as somebody at a terminal sees it.
#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "support/command.h"
#include "support/machine_figures.h"

namespace kvwmi::tests {
namespace {

using namespace std::chrono_literals;

/// What came to the terminal: the lines that stay, and how often one was overwritten.
struct Shown {
  std::vector<std::string> lines;
  int overwritten = 0;

  explicit Shown(std::string text) {
    static const std::regex progress(R"(\r\x1b\[K  step [1-4] waits, \d+ s left, \d+ events?)");
    overwritten = static_cast<int>(
        std::distance(std::sregex_iterator(text.begin(), text.end(), progress), std::sregex_iterator()));
    text = std::regex_replace(text, progress, "");
    text = std::regex_replace(text, std::regex(R"(\r\x1b\[K)"), "");
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
      EXPECT_TRUE(line.ends_with('\r')) << line;
      lines.push_back(line.substr(0, line.size() - 1));
    }
  }

  /// The number in the only line of this form, which has one in parentheses, or 0. Times are TIME.
  std::int64_t only(const std::string& form, std::size_t least = 1, std::size_t most = 1) {
    const std::regex line_form(std::regex_replace(form, std::regex("TIME"), R"(\d\d:\d\d:\d\d)"));
    std::int64_t number = 0;
    std::size_t found = 0;
    for (auto line = lines.begin(); line != lines.end();) {
      std::smatch match;
      if (!std::regex_match(*line, match, line_form)) {
        ++line;
        continue;
      }
      ++found;
      if (match.size() > 1) number = std::stoll(std::regex_replace(match[1].str(), std::regex(","), ""));
      line = lines.erase(line);
    }
    EXPECT_GE(found, least) << form;
    EXPECT_LE(found, most) << form;
    return number;
  }
  [[nodiscard]] std::string rest() const {
    std::string text;
    for (const std::string& line : lines) text += line + "\n";
    return text;
  }
};

void expect_between(std::int64_t least, std::int64_t number, std::int64_t most) {
  EXPECT_LE(least, number);
  EXPECT_LE(number, most);
}

TEST(RunScenario, EveryEventOfTheShippedScenarioArrivesInTime) {
  const std::string run = quoted(std::string(KVWMI_ROOT) + "/run");
  ASSERT_EQ(run_shell(run + " --version >/dev/null").status, 0) << "it may have to be built first";
  const auto begin = std::chrono::steady_clock::now();
  const CommandResult result = run_on_terminal("TERM=xterm NO_COLOR=1 exec " + run);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 20s);
  EXPECT_EQ(result.status, 0) << result.out;
  Shown shown(result.out);
  EXPECT_GT(shown.overwritten, 20) << "a line tells that it waits";

  shown.only("A first look at supervision on this machine");
  shown.only("Step 1  A process starts and ends");
  shown.only("  TIME  start bash -c printf kvwmi-visitor .*");
  for (const char* watch : {"1", "2"}) {
    shown.only(std::string("  TIME  watch ") + watch + ": process \"kvwmi-visitor\"");
    shown.only(std::string("(?:   1  ok +\\d\\.\\d s| {19})  ") + watch + " process \"kvwmi-visitor\" +1");
  }
  shown.only("Step 2  A process outgrows a threshold");
  shown.only("  TIME  start bash -c printf kvwmi-eater .*");
  const std::int64_t size =
      shown.only(R"re(  TIME  watch 1: process-memory "kvwmi-eater"  Value: (\d+) Bytes)re");
  expect_between(20 << 20, size, 200 << 20);
  EXPECT_EQ(shown.only(R"re(   2  ok +\d\.\d s  1 process-memory "kvwmi-eater" +1  Value: (\d+) Bytes)re"),
            size);

  shown.only("Step 3  Memory and load are read and watched");
  const std::int64_t all = meminfo("MemTotal");
  EXPECT_EQ(shown.only(R"(  TIME  memory: ([\d,]+) KB \(.*\))"), all);
  expect_between(1, shown.only(R"(  TIME  free-memory: ([\d,]+) KB \(.*\))"), all);
  expect_between(0, shown.only(R"(  TIME  processor-load: (\d+) %)"), 100);
  expect_between(25, shown.only(R"(  TIME  power-source: on (?:mains|battery) power \((\d+)\))"), 26);
  shown.only("  TIME  start bash -c end=.*");
  constexpr std::size_t kPolls = 20;  // the machine's figures change with each
  expect_between(
      1, shown.only(R"(  TIME  (?:step 3, )?watch 1: free-memory  Value: (\d+) Kilobytes)", 1, kPolls), all);
  shown.only(R"(  TIME  (?:step 3, )?watch 2: processor-load  Value: (?:1[1-9]|[2-9]\d|100) %)", 0, kPolls);
  expect_between(1, shown.only(R"(   3  ok +\d\.\d s  1 free-memory +\d+  Value: (\d+) Kilobytes)"), all);
  shown.only(R"( {19}  2 processor-load +\d+(?:  Value: \d+ %)?)");

  shown.only("Step 4  A watch tells that it has not fired");
  shown.only("  TIME  watch 1: process \"there-is-no-such-program\"  has not fired");
  shown.only(R"re(   4  ok +\d\.\d s  1 process "there-is-no-such-program" +undetected)re");
  shown.only("STEP  RESULT +[T]IME  WATCH +EVENTS  LAST DETAIL");
  shown.only("");
  EXPECT_EQ(shown.rest(), "");
}

}  // namespace
}  // namespace kvwmi::tests
