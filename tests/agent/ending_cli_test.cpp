// How kvwmi watch and kvwmi run end when nobody asks them to politely, and what they leave behind: nothing.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <mqueue.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "linux/testing/display.h"
#include "support/command.h"
#include "support/own_folder.h"
#include "support/running_agent.h"

namespace kvwmi::tests {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

/// The named event of an agent.
std::string event_of(pid_t agent) {
  struct stat name_space {};
  stat("/proc/self/ns/pid", &name_space);
  return "/kvwmi-" + std::to_string(getuid()) + "-" + std::to_string(name_space.st_ino) + "-" +
         std::to_string(agent);
}
bool is_there(const std::string& event) {
  const mqd_t queue = mq_open(event.c_str(), O_RDONLY);
  if (queue >= 0) mq_close(queue);
  return queue >= 0;
}

/// Whether the process is at work: one that has ended may not have been waited for yet.
bool runs(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/stat");
  std::string line;
  std::getline(file, line);
  const auto name_end = line.rfind(')');
  return name_end != std::string::npos && line[name_end + 2] != 'Z';
}

std::string text_of(const fs::path& path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

/// The number that a program writes into a file.
pid_t number_in(const fs::path& path) {
  EXPECT_TRUE(testing::eventually([&] { return text_of(path).ends_with('\n'); }));
  pid_t number = 0;
  std::ifstream(path) >> number;
  return number;
}

// Free memory never stays the same for long, so that there is always an event to come. The time ends the
// agent where nothing else does, and then the tests have failed.
const std::vector<std::string> kBusyWatch{KVWMI_AGENT, "watch", "free-memory", "--above", "1KB",
                                          "--poll",    "1",     "--for",       "60s",     "--json"};

TEST(Ending, AReaderThatHasGoneEndsAWatch) {
  const auto begin = std::chrono::steady_clock::now();
  RunningAgent agent(kBusyWatch);
  EXPECT_NE(agent.line(), "");
  const std::string event = event_of(agent.pid());
  EXPECT_TRUE(is_there(event));
  agent.stop_reading();
  EXPECT_EQ(agent.stop(0), 1);
  EXPECT_FALSE(is_there(event));
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 50s);
}

TEST(Ending, AReaderThatHasGoneEndsAScenario) {
  const OwnFolder folder;
  const fs::path scenario = folder.path() / "scenario.json";
  const fs::path never = folder.path() / "never";
  std::ofstream(scenario) << R"({"steps": [
      {"watches": [{"watch": "free-memory", "above": "1KB", "poll": 1}], "for": "60s"},
      {"start": ["touch", )"
                          << never << R"(]}]})";
  const auto begin = std::chrono::steady_clock::now();
  RunningAgent agent({KVWMI_AGENT, "run", scenario, "--json"});
  EXPECT_NE(agent.line(), "");
  const std::string event = event_of(agent.pid());
  EXPECT_TRUE(is_there(event));
  agent.stop_reading();
  EXPECT_EQ(agent.stop(0), 1);
  EXPECT_FALSE(is_there(event));
  EXPECT_FALSE(fs::exists(never)) << "the next step is not begun";
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 50s);
}

TEST(Ending, OutputThatCannotBeWrittenEndsAWatch) {
  std::string command;
  for (const std::string& word : kBusyWatch) command += quoted(word) + " ";
  for (const char* output : {">/dev/full", ">&-"}) {
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(run_shell(command + output + " 2>/dev/null").status, 1) << output;
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 50s) << output;
  }
}

TEST(Ending, TheEndOfTheTerminalEndsAScenarioAndItsCommand) {
  const OwnFolder folder;
  const fs::path scenario = folder.path() / "scenario.json";
  const fs::path number = folder.path() / "number";
  std::ofstream(scenario) << R"({"steps": [{"start": ["sh", "-c", "echo $$ >$0; exec sleep 1000", )" << number
                          << R"(], "for": "60s"}]})";
  RunningAgent agent({KVWMI_AGENT, "run", scenario});
  const pid_t command = number_in(number);
  ASSERT_TRUE(runs(command));
  const std::string event = event_of(agent.pid());
  EXPECT_TRUE(is_there(event));
  EXPECT_EQ(agent.stop(SIGHUP), 130);
  EXPECT_FALSE(runs(command));
  EXPECT_FALSE(is_there(event));
}

TEST(Ending, UnderNohupAWatchOutlivesTheTerminal) {
  std::vector<std::string> command{"nohup"};
  command.insert(command.end(), kBusyWatch.begin(), kBusyWatch.end());
  RunningAgent agent(command);
  EXPECT_NE(agent.line(), "");
  kill(agent.pid(), SIGHUP);
  EXPECT_NE(agent.line(), "");
  EXPECT_NE(agent.line(), "");
  EXPECT_EQ(agent.stop(SIGINT), 0);
}

/// Starts a program whose standard output takes nothing and is read by nobody.
pid_t start_unread(const std::vector<std::string>& command) {
  int output[2];
  if (pipe2(output, O_CLOEXEC | O_NONBLOCK) != 0) throw std::runtime_error("no pipe");
  while (write(output[1], "", 1) == 1) {
  }
  fcntl(output[1], F_SETFL, 0);
  const pid_t started = fork();
  if (started == 0) {
    std::signal(SIGINT, SIG_DFL);
    fcntl(output[0], F_SETFD, 0);  // else writing would fail
    dup2(output[1], STDOUT_FILENO);
    std::vector<char*> words;
    for (const std::string& word : command) words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);
    execv(words[0], words.data());
    _exit(127);
  }
  close(output[0]);
  close(output[1]);
  return started;
}

TEST(Ending, ASecondCtrlCEndsAnAgentThatHangs) {
  const pid_t agent = start_unread(kBusyWatch);
  ASSERT_TRUE(testing::eventually([&] {
    long call = -1;
    std::ifstream("/proc/" + std::to_string(agent) + "/syscall") >> call;
    return call == SYS_write;
  })) << "it waits for a reader of its first event";
  int status = -1;
  const bool ended = testing::eventually([&] {
    kill(agent, SIGINT);
    std::this_thread::sleep_for(50ms);
    return waitpid(agent, &status, WNOHANG) == agent;
  });
  if (!ended) {
    kill(agent, SIGKILL);
    waitpid(agent, &status, 0);
  }
  EXPECT_TRUE(ended);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGINT) << status;
}

TEST(Ending, WhoAsksTwiceInTheSameMomentMeansOnce) {
  RunningAgent agent({KVWMI_AGENT, "watch", "power", "--for", "60s"});
  ASSERT_TRUE(agent.watches());
  const std::string event = event_of(agent.pid());
  kill(agent.pid(), SIGTERM);
  EXPECT_EQ(agent.stop(SIGINT), 0);
  EXPECT_FALSE(is_there(event));
}

TEST(Ending, InAScriptsBackgroundAWatchHearsNoCtrlC) {
  std::vector<std::string> command{"sh", "-c", "trap '' INT; exec \"$@\"", "sh"};
  command.insert(command.end(), kBusyWatch.begin(), kBusyWatch.end());
  RunningAgent agent(command);
  EXPECT_NE(agent.line(), "");
  kill(agent.pid(), SIGINT);
  EXPECT_NE(agent.line(), "");
  EXPECT_NE(agent.line(), "");
  EXPECT_EQ(agent.stop(SIGTERM), 0);
}

TEST(Ending, ACommandEndsAlsoForAStarterThatIgnoresTheEndsOfItsChildren) {
  const OwnFolder folder;
  const fs::path scenario = folder.path() / "scenario.json";
  std::ofstream(scenario) << R"({"steps": [{"start": ["true"]}]})";
  const CommandResult result =
      run_shell("env --ignore-signal=CHLD " + quoted(KVWMI_AGENT) + " run " + quoted(scenario));
  EXPECT_EQ(result.status, 0) << result.out;
}

TEST(Ending, WhatAKilledAgentLeftBehindIsTakenOver) {
  const pid_t agent = fork();
  if (agent == 0) {
    // An agent with the same number was here before, and was killed with its event set.
    mq_attr attributes{};
    attributes.mq_maxmsg = attributes.mq_msgsize = 1;
    const mqd_t left = mq_open(event_of(getpid()).c_str(), O_CREAT | O_EXCL | O_WRONLY, 0600, &attributes);
    if (left < 0 || mq_send(left, "", 1, 0) != 0) _exit(126);
    execl(KVWMI_AGENT, KVWMI_AGENT, "watch", "power", "--for", "100ms", nullptr);
    _exit(127);
  }
  int status = -1;
  ASSERT_EQ(waitpid(agent, &status, 0), agent);
  EXPECT_EQ(status, 0);
  EXPECT_FALSE(is_there(event_of(agent)));
}

TEST(Ending, WhatACommandHasStartedEndsWithTheStep) {
  const OwnFolder folder;
  const fs::path scenario = folder.path() / "scenario.json";
  const fs::path number = folder.path() / "number";
  std::ofstream(scenario) << R"({"steps": [{"start": ["sh", "-c", "sleep 1000 & echo $! >$0", )" << number
                          << "]}]}";
  const CommandResult result = run_shell(quoted(KVWMI_AGENT) + " run " + quoted(scenario));
  EXPECT_EQ(result.status, 0) << result.out;
  const pid_t left = number_in(number);
  ASSERT_GT(left, 0);
  EXPECT_TRUE(testing::eventually([&] { return !runs(left); }));
}

TEST(Ending, ACommandThatHasEndedIsGoneAlsoWhereTheStepGoesOn) {
  const OwnFolder folder;
  const fs::path scenario = folder.path() / "scenario.json";
  const fs::path number = folder.path() / "number";
  std::ofstream(scenario) << R"({"steps": [{"start": ["sh", "-c", "echo $$ >$0", )" << number
                          << R"(], "for": "60s"}]})";
  RunningAgent agent({KVWMI_AGENT, "run", scenario});
  const pid_t command = number_in(number);
  EXPECT_TRUE(testing::eventually([&] { return !fs::exists("/proc/" + std::to_string(command)); }));
  EXPECT_EQ(agent.stop(SIGINT), 130);
}

TEST(Ending, ARecordThatAKilledWatchLeftBehindIsItsOwnAndOtherFilesAreNot) {
  const OwnFolder folder;
  const fs::path state = folder.path() / "state";
  {
    RunningAgent agent({KVWMI_AGENT, "watch", "network-interfaces", state, "--poll", "1", "--for", "60s"});
    ASSERT_TRUE(testing::eventually([&] { return text_of(state).ends_with('\n'); }));
    const std::string event = event_of(agent.pid());
    agent.stop(SIGKILL);
    mq_unlink(event.c_str());
  }
  const std::string again = quoted(KVWMI_AGENT) + " watch network-interfaces --for 10ms ";
  EXPECT_EQ(run_shell(again + quoted(state)).status, 0);
  EXPECT_FALSE(fs::exists(state));

  const fs::path notes = folder.path() / "notes";
  std::ofstream(notes) << "my notes\n";
  EXPECT_EQ(run_shell(again + quoted(notes) + " 2>&1").status, 2);
  EXPECT_EQ(run_shell(again + quoted(folder.path() / "NOTES")).status, 0);
  EXPECT_FALSE(fs::exists(folder.path() / "NOTES"));
  EXPECT_EQ(text_of(notes), "my notes\n") << "not found under another case either";
}

TEST(Ending, ADisplayThatHangsIsNoWindowThatCloses) {
  if (!testing::installed("Xvfb")) GTEST_SKIP() << "Xvfb is not installed";
  const OwnFolder folder;
  const fs::path complaints = folder.path() / "complaints";
  testing::Display display;
  std::optional<testing::TestWindow> window("A watched window");
  RunningAgent agent({"sh", "-c", "exec \"$@\" 2>\"$0\"", complaints, KVWMI_AGENT, "watch", "window",
                      "A watched window", "--poll", "1", "--for", "60s", "--json"});
  ASSERT_TRUE(agent.watches());
  display.server().kill(SIGSTOP);
  EXPECT_TRUE(testing::eventually([&] { return !text_of(complaints).empty(); }));
  display.server().kill(SIGCONT);
  window.reset();
  agent.expect_event("");
  agent.expect_end();
  const std::string told = text_of(complaints);
  EXPECT_EQ(told.substr(0, told.find('\n')), "kvwmi: xcb_poll_for_reply: Connection timed out (0x800705B4)");
  EXPECT_EQ(told.find("kvwmi:", 1), std::string::npos) << told;
}

}  // namespace
}  // namespace kvwmi::tests
