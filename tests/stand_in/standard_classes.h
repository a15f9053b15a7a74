#pragma once

#include <vector>

#include "wmi/memory_provider.h"

namespace kvwmi::stand_in {

/// The classes that this system reads, acts on and watches, with the properties that it uses. Methods have no
/// `call` yet.
[[nodiscard]] std::vector<embedded::MemoryClass> standard_classes();

}  // namespace kvwmi::stand_in
