#pragma once

#include "frame/testing/fake_ground.h"

namespace kvwmi::testing {

/// The local ground of a test program that is linked without a real one.
[[nodiscard]] FakeGround& fake_local_ground();

}  // namespace kvwmi::testing
