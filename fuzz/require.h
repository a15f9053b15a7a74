#pragma once

#include <cstdio>
#include <cstdlib>

namespace kvwmi::fuzz {

/// What has to hold for every input, in every kind of build.
inline void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", what);
  std::abort();
}

}  // namespace kvwmi::fuzz
