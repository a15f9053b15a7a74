#pragma once

#include <windows.h>

#include <oleauto.h>

#include <vector>

#include "windows/com/enumerator.h"
#include "windows/win32/com_ptr.h"

namespace kvwmi::stand_in {

/// What a _NewEnum property answers: an enumerator over `objects`.
template <typename Object>
[[nodiscard]] ground::ComPtr<IUnknown> enumerator_over(const std::vector<ground::ComPtr<Object>>& objects) {
  return com::make_enumerator({objects.begin(), objects.end()});
}

}  // namespace kvwmi::stand_in
