#pragma once

#include <deque>
#include <functional>

#include "frame/testing/fake_ground.h"

namespace kvwmi::testing {

/// The local ground of a test program that is linked without a real one.
[[nodiscard]] FakeGround& fake_local_ground();

/// What the message loop of such a program has to do. It takes no time: with nothing left to do, its
/// functions return at once. Its named events are the names that the fake ground has signalled.
[[nodiscard]] std::deque<std::function<void()>>& fake_messages();

}  // namespace kvwmi::testing
