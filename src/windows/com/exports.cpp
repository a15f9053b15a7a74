// The four doors of the module.

#include <windows.h>

#include <objbase.h>

#include "windows/automation/module.h"
#include "windows/com/built_class.h"
#include "windows/com/debug_output.h"
#include "windows/com/registration.h"

STDAPI DllGetClassObject(REFCLSID class_id, REFIID id, void** factory) {
  kvwmi::com::report_to_debugger();
  return kvwmi::com::get_class_object(class_id, id, factory);
}

STDAPI DllCanUnloadNow() {
  return kvwmi::com::module_is_idle() ? S_OK : S_FALSE;
}

STDAPI DllRegisterServer() {
  return kvwmi::com::register_server();
}

STDAPI DllUnregisterServer() {
  return kvwmi::com::unregister_server();
}
