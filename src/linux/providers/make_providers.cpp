#include "linux/providers/make_providers.h"

#include "linux/providers/factories.h"

namespace kvwmi::ground {

std::vector<std::unique_ptr<embedded::Provider>> make_providers(const Machine& machine) {
  std::vector<std::unique_ptr<embedded::Provider>> made;
  for (const auto make : providers::kFactories) made.push_back(make(machine));
  return made;
}

}  // namespace kvwmi::ground
