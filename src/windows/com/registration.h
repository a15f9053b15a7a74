#pragma once

#include <windows.h>

namespace kvwmi::com {

/// DllRegisterServer: writes the built classes, their programmatic identifiers, the interfaces and the type
/// library for all users of the machine. A failure leaves nothing behind where nothing was registered before;
/// a registration that was there stays.
HRESULT register_server() noexcept;

/// DllUnregisterServer: removes all of it. What is not there is no failure. Programmatic identifiers stay
/// while the server of the other architecture is registered, which shares them.
HRESULT unregister_server() noexcept;

}  // namespace kvwmi::com
