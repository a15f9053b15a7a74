// A program of somebody else's, built on the installed library.

#include <kvwmi/checkpoint.h>
#include <kvwmi/currency.h>
#include <kvwmi/error.h>

#include <cstdio>

int main() {
  try {
    kvwmi::CheckPoint check;
    kvwmi::Currency size;
    const std::int32_t status = check.m_GetPhysicalMemorySize(size);
    std::printf("%d %s\n", status, size > kvwmi::Currency() ? "some memory" : "no memory");
    return 0;
  } catch (const kvwmi::Error& error) {
    std::printf("%d %s\n", error.number(), error.what());
    return 1;
  }
}
