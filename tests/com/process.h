#pragma once

#include <windows.h>

#include <string>

/// A process that ends with the object. Its program is looked for in the current folder first.
class Process {
 public:
  /// Output and errors go to `output`, where one is given; it must be inheritable.
  explicit Process(std::wstring command, HANDLE output = nullptr) {
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    if (output) {
      startup.dwFlags = STARTF_USESTDHANDLES;
      startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
      startup.hStdOutput = output;
      startup.hStdError = output;
    }
    started_ = CreateProcessW(nullptr, command.data(), nullptr, nullptr, output != nullptr, 0, nullptr,
                              nullptr, &startup, &information_) != FALSE;
  }
  ~Process() {
    if (!started_) return;
    TerminateProcess(information_.hProcess, 99);  // nothing, where it has ended
    WaitForSingleObject(information_.hProcess, 10'000);
    CloseHandle(information_.hThread);
    CloseHandle(information_.hProcess);
  }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  [[nodiscard]] bool started() const { return started_; }
  [[nodiscard]] DWORD id() const { return information_.dwProcessId; }
  [[nodiscard]] bool has_ended() const {
    return WaitForSingleObject(information_.hProcess, 0) == WAIT_OBJECT_0;
  }
  /// STILL_ACTIVE while it runs.
  [[nodiscard]] DWORD exit_status() const {
    DWORD status = 99;
    GetExitCodeProcess(information_.hProcess, &status);
    return status;
  }

 private:
  PROCESS_INFORMATION information_{};
  bool started_ = false;
};
