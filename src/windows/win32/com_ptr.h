#pragma once

#include <windows.h>

#include <unknwn.h>

#include <type_traits>
#include <utility>

namespace kvwmi::ground {

/// One counted reference to a COM object, or none.
template <typename Interface>
class ComPtr {
 public:
  ComPtr() noexcept = default;
  ComPtr(std::nullptr_t) noexcept {}  // NOLINT(google-explicit-constructor)
  ComPtr(const ComPtr& other) noexcept : ComPtr(share(other.pointer_)) {}
  ComPtr(ComPtr&& other) noexcept : pointer_(std::exchange(other.pointer_, nullptr)) {}
  /// The same object by an interface that its own one extends.
  template <typename Derived>
  requires std::is_convertible_v<Derived*, Interface*> ComPtr(ComPtr<Derived> other)
  noexcept : pointer_(other.detach()) {}  // NOLINT(google-explicit-constructor)
  ~ComPtr() { reset(); }
  ComPtr& operator=(ComPtr other) noexcept {
    std::swap(pointer_, other.pointer_);
    return *this;
  }

  /// Takes over a reference that the caller owns.
  [[nodiscard]] static ComPtr own(Interface* pointer) noexcept {
    ComPtr result;
    result.pointer_ = pointer;
    return result;
  }
  /// A further reference to an object that somebody else holds.
  [[nodiscard]] static ComPtr share(Interface* pointer) noexcept {
    if (pointer) pointer->AddRef();
    return own(pointer);
  }

  [[nodiscard]] Interface* get() const noexcept { return pointer_; }
  Interface* operator->() const noexcept { return pointer_; }
  explicit operator bool() const noexcept { return pointer_ != nullptr; }

  /// Where a call is to write its result; what was held before is released.
  [[nodiscard]] Interface** put() noexcept {
    reset();
    return &pointer_;
  }
  /// Hands the reference to the caller.
  [[nodiscard]] Interface* detach() noexcept { return std::exchange(pointer_, nullptr); }
  void reset() noexcept {
    // The object may come back here while it goes, so it is forgotten first.
    if (Interface* const old = std::exchange(pointer_, nullptr)) old->Release();
  }

  /// The object's other interface, or null where it has none.
  template <typename Other>
  [[nodiscard]] ComPtr<Other> as() const noexcept {
    return query<Other>(pointer_);
  }
  template <typename Other>
  [[nodiscard]] static ComPtr<Other> query(IUnknown* object) noexcept {
    void* found = nullptr;
    if (!object || FAILED(object->QueryInterface(__uuidof(Other), &found))) return {};
    return ComPtr<Other>::own(static_cast<Other*>(found));
  }

 private:
  Interface* pointer_ = nullptr;
};

}  // namespace kvwmi::ground
