#include "windows/com/module.h"
#include "windows/win32/com_ptr.h"

#include <atomic>
#include <new>

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

HRESULT load_type_library(ITypeLib** library) {
  return LoadTypeLibEx(module_path().c_str(), REGKIND_NONE, library);
}

HRESULT load_type_info(REFGUID id, ITypeInfo** info) noexcept try {
  ground::ComPtr<ITypeLib> library;
  const HRESULT loaded = load_type_library(library.put());
  return FAILED(loaded) ? loaded : library->GetTypeInfoOfGuid(id, info);
} catch (const std::bad_alloc&) {
  return E_OUTOFMEMORY;
}

}  // namespace kvwmi::com
