#pragma once

#include <windows.h>

#include <oaidl.h>
#include <wrl/client.h>

#include <vector>

namespace kvwmi::com {

/// A fresh enumerator over `items`, each handed out as an object. Scripts can iterate over it like over a
/// collection: it answers the reserved enumeration identifier with an enumerator over the same items.
///
/// Exhausted memory raises std::bad_alloc.
[[nodiscard]] Microsoft::WRL::ComPtr<IEnumVARIANT> make_enumerator(
    std::vector<Microsoft::WRL::ComPtr<IDispatch>> items);

}  // namespace kvwmi::com
