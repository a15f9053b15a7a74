#include "windows/win32/device_classes.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <string>

namespace kvwmi::ground {
namespace {

constexpr DeviceClasses::Id kOwn{
    0x6F2B7A41, 0x93C5, 0x4E0D, {0x8A, 0x10, 0x5B, 0x3C, 0xD7, 0xE2, 0x94, 0x66}};
constexpr const wchar_t* kOwnKey =
    LR"(SYSTEM\CurrentControlSet\Control\Class\{6F2B7A41-93C5-4E0D-8A10-5B3CD7E29466})";

/// A device-setup class of this test's own, for as long as it lives.
class OwnClass {
 public:
  explicit OwnClass(const std::wstring& description) {
    const auto bytes = static_cast<DWORD>((description.size() + 1) * sizeof(wchar_t));
    status_ = RegSetKeyValueW(HKEY_LOCAL_MACHINE, kOwnKey, nullptr, REG_SZ, description.c_str(), bytes);
  }
  OwnClass(const OwnClass&) = delete;
  OwnClass& operator=(const OwnClass&) = delete;
  ~OwnClass() { RegDeleteTreeW(HKEY_LOCAL_MACHINE, kOwnKey); }
  [[nodiscard]] LSTATUS status() const { return status_; }

 private:
  LSTATUS status_;
};

TEST(Win32DeviceClasses, AClassHasItsDescription) {
  for (const std::wstring text : {L"Devices of a test", L"Caf\xE9 machines", L"x", L""}) {
    const OwnClass own(text);
    if (own.status() == ERROR_ACCESS_DENIED) GTEST_SKIP() << "only an administrator may add a device class";
    ASSERT_EQ(own.status(), ERROR_SUCCESS);
    std::string utf8;
    for (const wchar_t unit : text)
      utf8 += unit == 0xE9 ? std::string("\xC3\xA9") : std::string(1, static_cast<char>(unit));
    EXPECT_EQ(Win32DeviceClasses().description(kOwn), utf8);
  }
}

TEST(Win32DeviceClasses, AnUnknownClassHasNone) {
  EXPECT_EQ(Win32DeviceClasses().description(kOwn), std::nullopt);
}

}  // namespace
}  // namespace kvwmi::ground
