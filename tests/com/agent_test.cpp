// The agent, kvwmi.exe, as a process of its own: it watches a machine that this test makes up and changes
// from outside. The prefix must have the stand-in for WMI registered.

#include <gtest/gtest.h>
#include <windows.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <optional>
#include <regex>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "automation.h"
#include "frame/testing/eventually.h"
#include "process.h"
#include "server.h"
#include "stand_in/control.h"
#include "support/top_level_window.h"

namespace {

using automation::Answer;
using automation::ComPtr;
using automation::Variant;
using kvwmi::testing::eventually;

/// A console for this process and the agents that it starts, whose Ctrl-C ends the agents only.
class Console {
 public:
  Console() {
    FreeConsole();
    EXPECT_NE(AllocConsole(), FALSE);
    SetConsoleCtrlHandler(stay, TRUE);
  }
  ~Console() {
    SetConsoleCtrlHandler(stay, FALSE);
    FreeConsole();
  }
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;

  static void press_ctrl_c() { EXPECT_NE(GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0), FALSE); }

 private:
  static BOOL WINAPI stay(DWORD) { return TRUE; }
};

/// A running kvwmi.exe.
class Agent {
 public:
  explicit Agent(const std::wstring& arguments) {
    SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    HANDLE write = nullptr;
    EXPECT_NE(CreatePipe(&output_, &write, &inherited, 0), FALSE);
    SetHandleInformation(output_, HANDLE_FLAG_INHERIT, 0);
    process_.emplace(L"kvwmi.exe " + arguments, write);
    EXPECT_TRUE(process_->started());
    CloseHandle(write);
  }
  ~Agent() { CloseHandle(output_); }
  Agent(const Agent&) = delete;
  Agent& operator=(const Agent&) = delete;

  /// The next line of its output; empty where none comes in time.
  std::string next_line() {
    std::size_t end = 0;
    static_cast<void>(eventually([&] {
      read();
      end = text_.find("\r\n");
      return end != std::string::npos;
    }));
    if (end == std::string::npos) return "";
    const std::string line = text_.substr(0, end);
    text_.erase(0, end + 2);
    return line;
  }
  /// The exit status, once it has ended; 98 where it does not.
  DWORD exit_status() {
    return eventually([&] { return process_->has_ended(); }) ? process_->exit_status() : 98;
  }
  /// What it has said since the last line that was taken.
  std::string rest() {
    read();
    return text_;
  }

  /// The machine that it watches.
  ComPtr<IDispatch> machine() {
    ComPtr<IDispatch> found;
    const bool is_its_own = eventually([&] {
      ComPtr<IUnknown> running;
      if (GetActiveObject(kvwmi::stand_in::kControlClass, nullptr, running.put()) != S_OK) return false;
      found = running.as<IDispatch>();
      if (!found) return false;
      const Answer answer = automation::call(*found.get(), L"Process");
      return answer.status == S_OK && V_I4(&answer.result.raw()) == static_cast<LONG>(process_->id());
    });
    if (!is_its_own) throw std::runtime_error("the agent's machine is not among the running objects");
    return found;
  }

 private:
  void read() {
    DWORD waiting = 0;
    while (PeekNamedPipe(output_, nullptr, 0, nullptr, &waiting, nullptr) && waiting > 0) {
      std::array<char, 512> part{};
      DWORD got = 0;
      if (!ReadFile(output_, part.data(), static_cast<DWORD>(part.size()), &got, nullptr)) return;
      text_.append(part.data(), got);
    }
  }

  HANDLE output_ = nullptr;
  std::optional<Process> process_;
  std::string text_;
};

/// The machine of a running agent.
class Machine {
 public:
  explicit Machine(Agent& agent) : control_(agent.machine()) {}

  LONG add(const char* class_name, const std::vector<std::pair<const char*, Variant>>& values) {
    std::vector<Variant> pairs;
    for (const auto& [property, value] : values) {
      pairs.push_back(Variant::of(property));
      pairs.push_back(value);
    }
    return number(call(L"Add", {Variant::of(class_name), Variant::array(pairs)}));
  }
  void change(const char* class_name, LONG row, const char* property, const Variant& value) {
    call(L"Change", {Variant::of(class_name), Variant::of(row), Variant::of(property), value});
  }
  void remove(const char* class_name, LONG row) {
    call(L"Remove", {Variant::of(class_name), Variant::of(row)});
  }
  /// Waits until the agent's watch has read the class as it is now: what changes before that is no change
  /// for it.
  void wait_until_seen(const char* class_name) {
    EXPECT_TRUE(eventually([&] {
      const Answer answer = call(L"Seen", {Variant::of(class_name)});
      return answer.result.type() == VT_BOOL && V_BOOL(&answer.result.raw()) != VARIANT_FALSE;
    })) << class_name;
  }

 private:
  static LONG number(const Answer& answer) {
    return answer.result.type() == VT_I4 ? V_I4(&answer.result.raw()) : -1;
  }
  Answer call(const wchar_t* member, const std::vector<Variant>& arguments) {
    std::vector<VARIANT> given;
    for (const Variant& argument : arguments) given.push_back(automation::value(argument));
    Answer answer = automation::call(*control_.get(), member, given);
    EXPECT_EQ(answer.status, S_OK) << answer.description;
    return answer;
  }

  ComPtr<IDispatch> control_;
};

/// A file of this test's own, gone afterwards.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& name)
      : path_(std::filesystem::temp_directory_path() / (name + std::to_string(GetCurrentProcessId()))) {}
  ~TemporaryFile() { std::filesystem::remove(path_); }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  [[nodiscard]] const std::filesystem::path& path() const { return path_; }
  /// As a command's argument.
  [[nodiscard]] std::wstring quoted() const { return L'"' + path_.wstring() + L'"'; }
  void write(const char* text) const { std::ofstream(path_, std::ios::binary) << text; }

 private:
  std::filesystem::path path_;
};

class AgentWatch : public testing::Test {
 protected:
  /// The next line of --json, what differs from run to run being named only.
  static std::string line_of(Agent& agent) {
    static const std::regex kTime(R"re("time":"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z")re");
    static const std::regex kTook(R"re("took":\d+\.\d+)re");
    return std::regex_replace(std::regex_replace(agent.next_line(), kTime, "TIME"), kTook, "TOOK");
  }
  /// A whole line of --json with that detail.
  static void expect_event(Agent& agent, const std::string& detail) {
    EXPECT_EQ(line_of(agent), R"({TIME,"step":1,"supervision":1,"detail":")" + detail + "\"}");
  }
  static void expect_end_by_ctrl_c(Agent& agent) {
    Console::press_ctrl_c();
    EXPECT_EQ(agent.exit_status(), 0U);
    EXPECT_EQ(agent.rest(), "");
  }

  server::Apartment apartment_;
  Console console_;
};

TEST_F(AgentWatch, ProcessesThatStartAndEnd) {
  Agent agent(L"watch process a.exe --poll 1 --json");
  Machine machine(agent);
  machine.wait_until_seen("Win32_Process");
  machine.add("Win32_Process", {{"Handle", Variant::of("6")}, {"Name", Variant::of("b.exe")}});
  const LONG row =
      machine.add("Win32_Process", {{"Handle", Variant::of("7")}, {"Name", Variant::of("a.exe")}});
  expect_event(agent, "");
  machine.remove("Win32_Process", row);
  expect_event(agent, "");
  expect_end_by_ctrl_c(agent);
}

TEST_F(AgentWatch, AServiceThatStops) {
  Agent agent(L"watch service \"Some service\" --stop --poll 1 --json");
  Machine machine(agent);
  machine.wait_until_seen("Win32_Service");
  const LONG row = machine.add("Win32_Service", {{"Name", Variant::of("svc")},
                                                 {"DisplayName", Variant::of("Some service")},
                                                 {"State", Variant::of("Running")}});
  machine.wait_until_seen("Win32_Service");
  machine.change("Win32_Service", row, "State", Variant::of("Stopped"));
  expect_event(agent, "");
  expect_end_by_ctrl_c(agent);
}

/// A watch with a threshold, the only instance of its class, and what of that crosses it.
struct ThresholdCase {
  const wchar_t* words;
  const char* class_name;
  std::vector<std::pair<const char*, Variant>> instance;
  const char* property;
  Variant before, after;
  const char* detail;
};

TEST_F(AgentWatch, ThresholdsWithTheirDetails) {
  const auto system = std::pair{"Name", Variant::of("a system")};
  for (const ThresholdCase& c : {
           ThresholdCase{L"disk Q: --below 10GB",
                         "Win32_LogicalDisk",
                         {{"DeviceID", Variant::of("Q:")}, {"DriveType", Variant::of(LONG{3})}},
                         "FreeSpace",
                         Variant::of("20000000000"),
                         Variant::of("5000000000"),
                         "Value: 5000000000 Bytes"},
           ThresholdCase{L"process-memory a.exe --above 1MB",
                         "Win32_Process",
                         {{"Handle", Variant::of("7")}, {"Name", Variant::of("a.exe")}},
                         "WorkingSetSize",
                         Variant::of("1000"),
                         Variant::of("2000000"),
                         "Value: 2000000 Bytes"},
           ThresholdCase{L"free-memory --below 1MB",
                         "Win32_OperatingSystem",
                         {system},
                         "FreePhysicalMemory",
                         Variant::of("2000"),
                         Variant::of("900"),
                         "Value: 900 Kilobytes"},
           ThresholdCase{L"free-virtual-memory --not-above 1MB",
                         "Win32_OperatingSystem",
                         {system},
                         "FreeVirtualMemory",
                         Variant::of("2000"),
                         Variant::of("1024"),
                         "Value: 1024 Kilobytes"},
           ThresholdCase{L"free-paging --equal 0KB",
                         "Win32_OperatingSystem",
                         {system},
                         "FreeSpaceInPagingFiles",
                         Variant::of("2000"),
                         Variant::of("0"),
                         "Value: 0 Kilobytes"},
           ThresholdCase{L"processor-load --above 80%",
                         "Win32_Processor",
                         {{"DeviceID", Variant::of("CPU0")}},
                         "LoadPercentage",
                         Variant::of(LONG{5}),
                         Variant::of(LONG{95}),
                         "Value: 95 %"},
       }) {
    SCOPED_TRACE(c.property);
    Agent agent(L"watch " + std::wstring(c.words) + L" --poll 1 --json");
    Machine machine(agent);
    machine.wait_until_seen(c.class_name);
    std::vector<std::pair<const char*, Variant>> instance = c.instance;
    instance.emplace_back(c.property, c.before);
    const LONG row = machine.add(c.class_name, instance);
    machine.wait_until_seen(c.class_name);
    machine.change(c.class_name, row, c.property, c.after);
    expect_event(agent, c.detail);
    expect_end_by_ctrl_c(agent);
  }
}

TEST_F(AgentWatch, TheChangesOfThePowerSource) {
  Agent agent(L"watch power --poll 1 --json");
  Machine machine(agent);
  machine.wait_until_seen("Win32_Battery");
  const LONG row = machine.add(
      "Win32_Battery", {{"DeviceID", Variant::of("battery")}, {"BatteryStatus", Variant::of(LONG{2})}});
  machine.wait_until_seen("Win32_Battery");
  machine.change("Win32_Battery", row, "BatteryStatus", Variant::of(LONG{1}));
  expect_event(agent, "");
  machine.change("Win32_Battery", row, "BatteryStatus", Variant::of(LONG{2}));
  expect_event(agent, "");
  expect_end_by_ctrl_c(agent);
}

TEST_F(AgentWatch, AWindowThatOpensAndCloses) {
  const std::string title = "kvwmi-agent-" + std::to_string(GetCurrentProcessId());
  Agent agent(L"watch window " + std::wstring(title.begin(), title.end()) + L" --poll 1");
  EXPECT_EQ(agent.next_line(), "Watching window \"" + title + "\"; Ctrl-C stops");
  const auto expect_change = [&] {
    const std::string line = agent.next_line();
    EXPECT_TRUE(std::regex_match(line, std::regex("\\d\\d:\\d\\d:\\d\\d  window \"" + title + "\""))) << line;
  };
  {
    const kvwmi::tests::TopLevelWindow window(title);
    if (!window.exists()) GTEST_SKIP() << "no top-level window can be made here";
    expect_change();
  }
  expect_change();
  expect_end_by_ctrl_c(agent);
}

TEST_F(AgentWatch, AnAddressThatIsAbsent) {
  const TemporaryFile definition("kvwmi-addresses-");
  // An address for documentation: no machine has it.
  definition.write("KVIPAddress definition 1\n\"no such interface\" 203.0.113.77\n");
  Agent agent(L"watch ip-address " + definition.quoted() + L" --filter 203.0.113.77 --poll 1 --json");
  expect_event(agent, "");
  expect_end_by_ctrl_c(agent);
}

TEST_F(AgentWatch, NetworkInterfacesThatGo) {
  const TemporaryFile record("kvwmi-interfaces-");
  Agent agent(L"watch network-interfaces " + record.quoted() + L" --down --poll 1 --json");
  std::error_code none;
  ASSERT_TRUE(eventually([&] { return std::filesystem::file_size(record.path(), none) > 0 && !none; }))
      << "the first look only records the state";
  // An interface that the previous look is said to have seen and this machine lacks.
  record.write("KVIPAddress interfaces 1\nactive no such interface\nend 1\n");
  expect_event(agent, "");
  expect_end_by_ctrl_c(agent);
  EXPECT_FALSE(std::filesystem::exists(record.path()));
}

TEST_F(AgentWatch, EndsByItselfWithWhatWasNotDetected) {
  Agent agent(L"watch service \"Some service\" --stop --poll 1 --if-undetected --for 1s --json");
  EXPECT_EQ(line_of(agent), R"({TIME,"step":1,"supervision":1,"detail":"","undetected":true})");
  EXPECT_EQ(agent.exit_status(), 0U);
  EXPECT_EQ(agent.rest(), "");
}

using AgentRun = AgentWatch;

TEST_F(AgentRun, StepsWithACheckWatchesACommandAndWhatWasNotDetected) {
  const TemporaryFile scenario("kvwmi-scenario-");
  scenario.write(R"({"steps": [
    {"watches": [{"watch": "process", "name": "a.exe", "start": true, "poll": 1}],
     "checks": [{"check": "service-exists", "name": "Some service", "expect": false}],
     "start": ["cmd.exe", "/c", "exit"],
     "until": {"seen": [1], "ended": true}, "for": "30s"},
    {"watches": [{"watch": "process", "name": "b.exe", "start": true, "poll": 1, "if-undetected": true}],
     "for": "1ms", "undetected": true}]})");
  Agent agent(L"run " + scenario.quoted() + L" --json");
  Machine machine(agent);
  machine.wait_until_seen("Win32_Process");
  machine.add("Win32_Process", {{"Handle", Variant::of("7")}, {"Name", Variant::of("a.exe")}});
  EXPECT_EQ(line_of(agent),
            R"({TIME,"step":1,"check":"service-exists","result":0,"answer":false,"expected":true})");
  EXPECT_EQ(line_of(agent), R"({TIME,"step":1,"supervision":1,"detail":""})");
  EXPECT_EQ(line_of(agent), R"({TIME,"step":1,"result":"ok",TOOK,)"
                            R"("watches":[{"supervision":1,"events":1,"undetected":false}]})");
  EXPECT_EQ(line_of(agent), R"({TIME,"step":2,"supervision":1,"detail":"","undetected":true})");
  EXPECT_EQ(line_of(agent), R"({TIME,"step":2,"result":"ok",TOOK,)"
                            R"("watches":[{"supervision":1,"events":0,"undetected":true}]})");
  EXPECT_EQ(agent.exit_status(), 0U);
  EXPECT_EQ(agent.rest(), "");
}

TEST_F(AgentRun, ACommandThatCannotBeStartedIsNamed) {
  const TemporaryFile scenario("kvwmi-scenario-");
  scenario.write(R"({"steps": [{"start": ["no such program.exe"]}]})");
  Agent agent(L"run " + scenario.quoted());
  EXPECT_EQ(agent.next_line(), "Step 1");
  EXPECT_EQ(agent.exit_status(), 1U);
  EXPECT_NE(agent.rest().find("cannot start \"no such program.exe\": "), std::string::npos) << agent.rest();
}

}  // namespace
