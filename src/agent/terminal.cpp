#include "agent/terminal.h"

#include <cstdlib>

#ifdef _WIN32
// clang-format off
#include <windows.h>
#include <objbase.h>
#include <shellapi.h>
// clang-format on
#else
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace kvwmi::agent {
namespace {

bool colours_wanted() {
  const char* refused = std::getenv("NO_COLOR");
  const char* terminal = std::getenv("TERM");
  return (refused == nullptr || *refused == '\0') &&
         (terminal == nullptr || std::string_view(terminal) != "dumb");
}

}  // namespace

#ifdef _WIN32

std::vector<std::string> process_arguments(int, char**) {
  int count = 0;
  wchar_t** wide = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::string> result;
  for (int i = 1; i < count; ++i) {
    const int size = WideCharToMultiByte(CP_UTF8, 0, wide[i], -1, nullptr, 0, nullptr, nullptr);
    std::string text(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide[i], -1, text.data(), size, nullptr, nullptr);
    text.pop_back();  // the terminating zero
    result.push_back(std::move(text));
  }
  LocalFree(wide);
  return result;
}

Console::Style standard_output_style() {
  Console::Style style;
  HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
  CONSOLE_SCREEN_BUFFER_INFO info;
  if (GetConsoleScreenBufferInfo(output, &info) != 0) {
    style.width = static_cast<std::size_t>(info.srWindow.Right - info.srWindow.Left + 1);
    style.colour =
        colours_wanted() && SetConsoleMode(output, ENABLE_PROCESSED_OUTPUT | ENABLE_WRAP_AT_EOL_OUTPUT |
                                                       ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
    style.live = style.colour;
  }
  return style;
}

std::string process_identity() {
  return std::to_string(GetCurrentProcessId());
}

ProcessSetup::ProcessSetup() {
  SetConsoleOutputCP(CP_UTF8);
  CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
}

ProcessSetup::~ProcessSetup() {
  CoUninitialize();
}

#else

std::vector<std::string> process_arguments(int argc, char** argv) {
  return argc > 1 ? std::vector<std::string>(argv + 1, argv + argc) : std::vector<std::string>();
}

Console::Style standard_output_style() {
  Console::Style style;
  if (isatty(STDOUT_FILENO) != 0) {
    style.colour = colours_wanted();
    winsize size{};
    style.live = isatty(STDERR_FILENO) != 0;
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) style.width = size.ws_col;
  }
  return style;
}

std::string process_identity() {
  // Processes in containers may share named events and still count from 1 each; what one user has left behind
  // would be closed to another.
  struct stat name_space {};
  stat("/proc/self/ns/pid", &name_space);
  return std::to_string(getuid()) + "-" + std::to_string(name_space.st_ino) + "-" + std::to_string(getpid());
}

ProcessSetup::ProcessSetup() = default;
ProcessSetup::~ProcessSetup() = default;

#endif

}  // namespace kvwmi::agent
