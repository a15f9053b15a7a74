#include "windows/automation/module.h"

#include <windows.h>

#include <atomic>

// The linker's own name for the beginning of the file that this code is in.
extern "C" IMAGE_DOS_HEADER __ImageBase;

namespace kvwmi::com {
namespace {

constinit std::atomic<long> uses = 0;

}  // namespace

ModuleUse::ModuleUse() noexcept {
  ++uses;
}
ModuleUse::~ModuleUse() {
  --uses;
}

void lock_module(bool lock) noexcept {
  if (lock) {
    ++uses;
  } else {
    --uses;
  }
}

bool module_is_idle() noexcept {
  return uses == 0;
}

std::wstring module_path() {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length = GetModuleFileNameW(reinterpret_cast<HMODULE>(&__ImageBase), path.data(),
                                            static_cast<DWORD>(path.size()));
    if (length < path.size()) {
      path.resize(length);
      return path;
    }
    path.resize(path.size() * 2);
  }
}

}  // namespace kvwmi::com
