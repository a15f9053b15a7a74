#include "windows/com/type_library.h"

#include "windows/automation/module.h"
#include "windows/com/errors.h"
#include "windows/win32/com_ptr.h"

namespace kvwmi::com {

HRESULT load_type_library(ITypeLib** library) {
  return LoadTypeLibEx(module_path().c_str(), REGKIND_NONE, library);
}

HRESULT load_type_info(REFGUID id, ITypeInfo** info) noexcept {
  return contained([&] {
    ground::ComPtr<ITypeLib> library;
    const HRESULT loaded = load_type_library(library.put());
    return FAILED(loaded) ? loaded : library->GetTypeInfoOfGuid(id, info);
  });
}

}  // namespace kvwmi::com
