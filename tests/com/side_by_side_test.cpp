// A program that names the assembly KVWMI in the manifest that it holds: the classes are there without any
// registration.

#include <gtest/gtest.h>
#include <windows.h>

#include <string>

#include "automation.h"
#include "frame/class_catalogue.h"
#include "server.h"
#include "windows/com/guid.h"
#include "windows/com/kvwmi.h"

namespace {

using automation::Answer;
using automation::Bstr;
using automation::ComPtr;
using automation::Variant;
using kvwmi::catalogue::kTypeLibrary;

constexpr HRESULT kClassError = static_cast<HRESULT>(0x80040211);

std::wstring path_of(HMODULE module) {
  std::wstring path(MAX_PATH, L'\0');
  path.resize(GetModuleFileNameW(module, path.data(), MAX_PATH));
  return path;
}

class SideBySide : public testing::Test {
 protected:
  /// Otherwise the others would show nothing.
  void SetUp() override {
    for (const kvwmi::catalogue::Class& type : kTypeLibrary.classes) {
      HKEY key = nullptr;
      const std::wstring path = L"CLSID\\" + kvwmi::windows::to_utf16(type.class_id);
      ASSERT_EQ(RegOpenKeyExW(HKEY_CLASSES_ROOT, path.c_str(), 0, KEY_READ, &key), ERROR_FILE_NOT_FOUND);
    }
  }
};

TEST_F(SideBySide, ByTheIdentifierOfAClassEarlyBound) {
  const server::Apartment apartment;
  ComPtr<_CheckPoint> check;
  ASSERT_EQ(CoCreateInstance(__uuidof(CheckPoint), nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(check.put())),
            S_OK);
  VARIANT_BOOL exists = VARIANT_TRUE;
  LONG result = -1;
  EXPECT_EQ(check->m_GetServiceExistence(Bstr("no such service").get(), &exists, &result), S_OK);
  EXPECT_EQ(exists, VARIANT_FALSE);
  EXPECT_EQ(result, 0);
  EXPECT_EQ(check->m_GetServiceExistence(Bstr("it's").get(), &exists, &result), kClassError);
  EXPECT_EQ(server::take_error_text().description, "Invalid query ");

  // The library of the program's own folder, which holds nothing else but the program.
  const std::wstring program = path_of(nullptr);
  EXPECT_EQ(path_of(GetModuleHandleW(L"KVWMI.dll")),
            program.substr(0, program.find_last_of(L'\\') + 1) + L"KVWMI.dll");
}

TEST_F(SideBySide, ByProgIdLateBound) {
  const server::Apartment apartment;
  for (const wchar_t* name : {L"KVWMI.CheckPoint", L"KVWMI.CheckPoint.2"}) {
    CLSID id{};
    ASSERT_EQ(CLSIDFromProgID(name, &id), S_OK);
    ComPtr<IDispatch> check;
    ASSERT_EQ(CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(check.put())), S_OK);
    Variant service = Variant::of("no such service");
    Variant exists;
    const Answer answer = automation::call(*check.get(), L"m_GetServiceExistence",
                                           {automation::variable(service), automation::variable(exists)});
    EXPECT_EQ(answer.status, S_OK);
    EXPECT_EQ(exists.text(), "boolean 0");
  }
}

/// A thread of no single-threaded apartment gets a proxy, which the manifest's interfaces and type library
/// make.
TEST_F(SideBySide, ThroughAProxy) {
  const server::Apartment apartment(COINIT_MULTITHREADED);
  ComPtr<_CheckPoint> check;
  ASSERT_EQ(CoCreateInstance(__uuidof(CheckPoint), nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(check.put())),
            S_OK);
  ComPtr<IUnknown> manager;
  EXPECT_EQ(check->QueryInterface(__uuidof(IClientSecurity), reinterpret_cast<void**>(manager.put())), S_OK)
      << "no proxy";
  VARIANT_BOOL exists = VARIANT_TRUE;
  LONG result = -1;
  EXPECT_EQ(check->m_GetServiceExistence(Bstr("no such service").get(), &exists, &result), S_OK);
  EXPECT_EQ(exists, VARIANT_FALSE);
  EXPECT_EQ(result, 0);
}

TEST_F(SideBySide, TheTypeLibrary) {
  ComPtr<ITypeLib> library;
  ASSERT_EQ(LoadRegTypeLib(kvwmi::com::to_guid(kTypeLibrary.id), 2, 0, LOCALE_NEUTRAL, library.put()), S_OK);
  EXPECT_GE(library->GetTypeInfoCount(), 14U);
}

}  // namespace
