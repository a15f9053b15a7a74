#pragma once

// Marks what the shared library shows to its users. The Windows door is COM, so nothing is exported there.
#if defined(_WIN32)
#define KVWMI_API
#else
#define KVWMI_API __attribute__((visibility("default")))
#endif
