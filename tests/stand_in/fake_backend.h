#pragma once

#include <array>

#include "frame/testing/fake_ground.h"
#include "frame/text.h"
#include "stand_in/backend.h"

namespace kvwmi::stand_in {

/// A backend whose answers a test writes itself.
struct FakeBackend final : Backend {
  kvwmi::testing::FakeGround ground;
  std::vector<const cim::Class*> classes;

  std::unique_ptr<wmi::Locator> create_locator() override { return ground.create_locator(); }
  std::shared_ptr<wmi::Sink> create_sink(wmi::ObjectReady handler) override {
    return ground.create_sink(std::move(handler));
  }
  const cim::Class* find_class(std::string_view name) override {
    for (const cim::Class* const known : classes) {
      if (equals_ignoring_case(known->name, name)) return known;
    }
    return nullptr;
  }
};

}  // namespace kvwmi::stand_in
