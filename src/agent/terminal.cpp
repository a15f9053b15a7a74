#include "agent/terminal.h"

#include <cstdlib>

#ifdef _WIN32
// clang-format off
#include <windows.h>
#include <objbase.h>
#include <shellapi.h>
// clang-format on
#else
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#endif

namespace kvwmi::agent {
namespace {

bool colours_wanted() {
  const char* refused = std::getenv("NO_COLOR");
  return refused == nullptr || *refused == '\0';
}

/// Whether a terminal takes escape codes.
bool terminal_is_able() {
  const char* terminal = std::getenv("TERM");
  return terminal == nullptr || std::string_view(terminal) != "dumb";
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

namespace {

/// Whether it is a console that takes escape codes; from here on it does.
bool takes_escape_codes(DWORD stream) {
  return SetConsoleMode(GetStdHandle(stream), ENABLE_PROCESSED_OUTPUT | ENABLE_WRAP_AT_EOL_OUTPUT |
                                                  ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

}  // namespace

Console::Style standard_style() {
  Console::Style style;
  const bool able = terminal_is_able();
  style.live = able && takes_escape_codes(STD_ERROR_HANDLE);
  style.error_colour = style.live && colours_wanted();
  style.colour = able && takes_escape_codes(STD_OUTPUT_HANDLE) && colours_wanted();
  CONSOLE_SCREEN_BUFFER_INFO info;
  if (GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info) != 0) {
    style.width = static_cast<std::size_t>(info.srWindow.Right - info.srWindow.Left + 1);
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

Console::Style standard_style() {
  Console::Style style;
  style.live = terminal_is_able() && isatty(STDERR_FILENO) != 0;
  style.error_colour = style.live && colours_wanted();
  style.colour = terminal_is_able() && isatty(STDOUT_FILENO) != 0 && colours_wanted();
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) style.width = size.ws_col;
  return style;
}

std::string process_identity() {
  // Processes in containers may share named events and still count from 1 each; what one user has left behind
  // would be closed to another.
  struct stat name_space {};
  stat("/proc/self/ns/pid", &name_space);
  return std::to_string(getuid()) + "-" + std::to_string(name_space.st_ino) + "-" + std::to_string(getpid());
}

ProcessSetup::ProcessSetup() {
  // The next file that is opened gets the lowest free number: without this, a watch's queue or a connection
  // could become the standard output. Opened the wrong way round, each fails as a closed one does.
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(stream, F_GETFD) >= 0) continue;
    static_cast<void>(open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY));
  }
  // Who ignores the ends of children hands that on, and then nobody can wait for them.
  std::signal(SIGCHLD, SIG_DFL);
}
ProcessSetup::~ProcessSetup() = default;

#endif

}  // namespace kvwmi::agent
