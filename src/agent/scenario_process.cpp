#include "agent/scenario_process.h"

#include <stdexcept>
#include <system_error>

#ifdef _WIN32
#include <windows.h>
#else
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <csignal>
#endif

namespace kvwmi::agent {
namespace {

[[noreturn]] void cannot_start(const std::string& program, int code) {
  throw std::runtime_error("cannot start \"" + program + "\": " + std::system_category().message(code));
}

}  // namespace

#ifdef _WIN32

struct ScenarioProcess::System {
  HANDLE process = nullptr;
  HANDLE job = nullptr;  // so that what the command starts ends with it
};

namespace {

std::wstring wide(const std::string& text) {
  const int size = MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
  std::wstring result(static_cast<std::size_t>(size), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), result.data(), size);
  return result;
}

/// An argument as the C run-time splits a command line: backslashes count only before a quote.
std::wstring quoted(const std::wstring& argument) {
  std::wstring result = L"\"";
  std::size_t backslashes = 0;
  for (const wchar_t c : argument) {
    if (c == L'"') result.append(backslashes + 1, L'\\');
    backslashes = c == L'\\' ? backslashes + 1 : 0;
    result += c;
  }
  return result.append(backslashes, L'\\') + L'"';
}

}  // namespace

ScenarioProcess::ScenarioProcess(const std::vector<std::string>& command)
    : system_(std::make_unique<System>()) {
  std::wstring line;
  for (const std::string& argument : command) line += (line.empty() ? L"" : L" ") + quoted(wide(argument));
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION started{};
  if (CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW | CREATE_SUSPENDED,
                     nullptr, nullptr, &startup, &started) == 0) {
    cannot_start(command.front(), static_cast<int>(GetLastError()));
  }
  system_->process = started.hProcess;
  system_->job = CreateJobObjectW(nullptr, nullptr);
  AssignProcessToJobObject(system_->job, started.hProcess);
  ResumeThread(started.hThread);
  CloseHandle(started.hThread);
}

ScenarioProcess::~ScenarioProcess() {
  TerminateJobObject(system_->job, 1);
  CloseHandle(system_->job);
  CloseHandle(system_->process);
}

bool ScenarioProcess::has_ended() {
  if (WaitForSingleObject(system_->process, 0) != WAIT_OBJECT_0) return false;
  TerminateJobObject(system_->job, 1);
  return true;
}

#else

struct ScenarioProcess::System {
  pid_t process = 0;  // and its group; 0 once it has been waited for, here or by the system

  /// Whether it has ended. Until it is waited for, nobody else can get its number and the group's.
  [[nodiscard]] bool has_ended() {
    siginfo_t ended{};
    if (waitid(P_PID, static_cast<id_t>(process), &ended, WEXITED | WNOHANG | WNOWAIT) != 0) process = 0;
    return process == 0 || ended.si_pid != 0;
  }
  void end() {
    if (process == 0) return;
    kill(-process, SIGKILL);
    waitpid(process, nullptr, 0);
    process = 0;
  }
};

ScenarioProcess::ScenarioProcess(const std::vector<std::string>& command)
    : system_(std::make_unique<System>()) {
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (const std::string& argument : command) {
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): the call changes none, only its type is older
    arguments.push_back(const_cast<char*>(argument.c_str()));
  }
  arguments.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
  // A group of its own: what the command starts ends with it, and the terminal's Ctrl-C is for the agent
  // alone.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
  posix_spawnattr_setpgroup(&attributes, 0);
  const int code =
      posix_spawnp(&system_->process, arguments.front(), &actions, &attributes, arguments.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  if (code != 0) cannot_start(command.front(), code);
}

ScenarioProcess::~ScenarioProcess() {
  static_cast<void>(system_->has_ended());  // its number may be another's by now
  system_->end();
}

bool ScenarioProcess::has_ended() {
  if (!system_->has_ended()) return false;
  system_->end();  // long after, watches would still see it
  return true;
}

#endif

}  // namespace kvwmi::agent
