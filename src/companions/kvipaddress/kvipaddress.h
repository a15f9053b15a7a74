#pragma once

#include <cstdint>

#if defined(_WIN32)
#define KVIPADDRESS_CALL __stdcall
#define KVIPADDRESS_API
#else
#define KVIPADDRESS_CALL
#define KVIPADDRESS_API __attribute__((visibility("default")))
#endif

/// Both take 8-bit strings that end in NUL: the system's code page on Windows, UTF-8 elsewhere. Neither ever
/// fails: what cannot be read, understood or recorded reports nothing. docs/kvipaddress.md describes the
/// files.
extern "C" {

/// Compares the machine's addresses with a definition file. 1: an address that the definition does not know,
/// 2: an address of the definition is absent, 0: nothing to report.
KVIPADDRESS_API std::int32_t KVIPADDRESS_CALL iCheckIPAddress(const char* definition_file,
                                                              const char* filter) noexcept;

/// Compares the active interfaces with those of the previous call, which the file keeps. 1: an activation,
/// 2: a deactivation, 3: both, 0: nothing to report. A call that finds no file makes it and reports nothing.
KVIPADDRESS_API std::int32_t KVIPADDRESS_CALL iCheckNetworkInterfaces(const char* definition_file) noexcept;
}
