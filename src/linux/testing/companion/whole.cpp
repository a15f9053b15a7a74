#include <cstdint>
#include <cstring>

// A companion library whose answers tell what it was given.

#define TEST_EXPORT extern "C" __attribute__((visibility("default")))

TEST_EXPORT std::int32_t iCheckIPAddress(const char* definition_file, const char* filter) {
  return static_cast<std::int32_t>(100 * std::strlen(definition_file) + std::strlen(filter));
}

TEST_EXPORT std::int32_t iCheckNetworkInterfaces(const char* definition_file) {
  return static_cast<std::int32_t>(std::strlen(definition_file));
}
