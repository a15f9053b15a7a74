#pragma once

#include <windows.h>

#include <unknwn.h>

#include <memory>
#include <string_view>

#include "frame/class_catalogue.h"
#include "windows/com/errors.h"
#include "windows/com/guid.h"
#include "windows/com/object.h"
#include "windows/win32/com_ptr.h"

namespace kvwmi::com {

/// A class that this module can create objects of. Each is declared once, beside its object:
///
///     const BuiltClass kClass("CheckPoint", make_object<CheckPointObject>);
///
/// A class of the catalogue without such a declaration is not available from this module.
class BuiltClass {
 public:
  using Create = HRESULT (*)(const catalogue::Class& type, REFIID id, void** object);

  BuiltClass(std::string_view name, Create creator) noexcept;

  [[nodiscard]] const catalogue::Class& type() const noexcept { return *catalogue::find_class(name_); }
  HRESULT create(REFIID id, void** object) const { return create_(type(), id, object); }

  /// The declared classes, one after the other.
  [[nodiscard]] static const BuiltClass* first() noexcept;
  [[nodiscard]] const BuiltClass* next() const noexcept { return next_; }
  /// Null for a class that is not built.
  [[nodiscard]] static const BuiltClass* find(REFCLSID class_id);

 private:
  std::string_view name_;
  Create create_;
  const BuiltClass* next_;
};

/// Makes a new core object and the automation object before it. A failure of the core's construction is the
/// failure of the creation.
template <typename ClassObject>
HRESULT make_object(const catalogue::Class& type, REFIID id, void** object) {
  HRESULT status = E_NOINTERFACE;
  const HRESULT made = guarded(to_guid(type.interface_id), [&] {
    const auto result = ground::ComPtr<ClassObject>::own(
        new ClassObject(type, std::make_shared<typename ClassObject::CoreClass>()));
    status = result->QueryInterface(id, object);
  });
  return FAILED(made) ? made : status;
}

/// DllGetClassObject: the factory of a built class.
HRESULT get_class_object(REFCLSID class_id, REFIID id, void** factory) noexcept;

}  // namespace kvwmi::com
