#pragma once

#include <windows.h>

#include <objbase.h>

#include <optional>
#include <string>

#include "windows/win32/com_ptr.h"

/// The built automation server in the current folder, and ways to its classes.
namespace server {

using kvwmi::ground::ComPtr;

/// The calling thread in an apartment of its own.
class Apartment {
 public:
  explicit Apartment(DWORD model = COINIT_APARTMENTTHREADED);
  ~Apartment();
  Apartment(const Apartment&) = delete;
  Apartment& operator=(const Apartment&) = delete;
};

/// Classes are found through the manifest that is shipped with the library, nothing being registered.
class RegistrationFree {
 public:
  RegistrationFree();
  ~RegistrationFree();
  RegistrationFree(const RegistrationFree&) = delete;
  RegistrationFree& operator=(const RegistrationFree&) = delete;

 private:
  HANDLE context_;
  ULONG_PTR cookie_ = 0;
};

/// Ways to the library's classes as this program was told to take them: the registry where it was called with
/// --registered, otherwise the manifest.
class FoundClasses {
 public:
  FoundClasses();

 private:
  std::optional<RegistrationFree> registration_free_;
};

/// While it lives, WMI's class of locators is there for the calling thread's apartment and makes none.
class NoWmi {
 public:
  NoWmi();
  ~NoWmi();
  NoWmi(const NoWmi&) = delete;
  NoWmi& operator=(const NoWmi&) = delete;

 private:
  DWORD cookie_ = 0;
};

/// The library itself, loaded and asked as the system's loader of classes does.
class LoadedLibrary {
 public:
  LoadedLibrary();
  ~LoadedLibrary();
  LoadedLibrary(const LoadedLibrary&) = delete;
  LoadedLibrary& operator=(const LoadedLibrary&) = delete;

  [[nodiscard]] HRESULT class_object(REFCLSID class_id, REFIID id, void** factory) const;
  [[nodiscard]] HRESULT can_unload_now() const;
  void free();

 private:
  HMODULE module_;
};

/// What a failed early-bound call left for its caller.
struct ErrorText {
  bool found = false;
  GUID raiser{};
  std::string source;
  std::string description;
};
ErrorText take_error_text();

}  // namespace server
