#pragma once

namespace kvwmi::supervision::testing {

/// Which of the calling thread's next allocations fails in this test program; 0 for none. The failing one
/// sets it back to 0.
extern thread_local int failing_allocation;

}  // namespace kvwmi::supervision::testing
