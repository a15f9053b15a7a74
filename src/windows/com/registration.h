#pragma once

#include <windows.h>

namespace kvwmi::com {

/// DllRegisterServer: writes the built classes, their programmatic identifiers, the interfaces and the type
/// library for all users of the machine. A failure leaves nothing behind.
HRESULT register_server() noexcept;

/// DllUnregisterServer: removes all of it. What is not there is no failure.
HRESULT unregister_server() noexcept;

}  // namespace kvwmi::com
