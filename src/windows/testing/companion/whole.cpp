#include <cstdint>
#include <cstring>

// A companion library whose answers tell what it was given.

extern "C" std::int32_t __stdcall iCheckIPAddress(const char* definition_file, const char* filter) {
  return static_cast<std::int32_t>(100 * std::strlen(definition_file) + std::strlen(filter));
}

extern "C" std::int32_t __stdcall iCheckNetworkInterfaces(const char* definition_file) {
  return static_cast<std::int32_t>(std::strlen(definition_file));
}
