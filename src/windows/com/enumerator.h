#pragma once

#include <windows.h>

#include <oaidl.h>

#include <vector>

#include "windows/win32/com_ptr.h"

namespace kvwmi::com {

/// A fresh enumerator over `items`, each handed out as an object. Scripts can iterate over it like over a
/// collection: it answers the reserved enumeration identifier with an enumerator over the same items.
///
/// Exhausted memory raises std::bad_alloc.
[[nodiscard]] ground::ComPtr<IEnumVARIANT> make_enumerator(std::vector<ground::ComPtr<IDispatch>> items);

}  // namespace kvwmi::com
