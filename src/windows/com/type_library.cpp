#include "windows/com/type_library.h"

#include <new>

#include "windows/automation/module.h"
#include "windows/win32/com_ptr.h"

namespace kvwmi::com {

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
