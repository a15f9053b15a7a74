#pragma once

#include <windows.h>

#include <oleauto.h>

namespace kvwmi::com {

/// A variant that is owned here.
class OwnedVariant : public VARIANT {
 public:
  OwnedVariant() noexcept { VariantInit(this); }
  OwnedVariant(OwnedVariant&& other) noexcept : VARIANT(other) { VariantInit(&other); }
  OwnedVariant& operator=(OwnedVariant&&) = delete;
  OwnedVariant(const OwnedVariant&) = delete;
  OwnedVariant& operator=(const OwnedVariant&) = delete;
  ~OwnedVariant() { VariantClear(this); }

  /// Where a call is to write its result; what was held is cleared.
  [[nodiscard]] VARIANT* put() noexcept {
    VariantClear(this);
    return this;
  }
  /// Gives the value away.
  [[nodiscard]] VARIANT release() noexcept {
    const VARIANT value = *this;
    VariantInit(this);
    return value;
  }
};

}  // namespace kvwmi::com
