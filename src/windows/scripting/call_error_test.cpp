#include "windows/scripting/call_error.h"

#include <gtest/gtest.h>

#include "frame/runtime_error.h"
#include "windows/scripting/create.h"

namespace kvwmi::ground {
namespace {

/// Leaves error information as an automation object does before it fails.
HRESULT fail_with(HRESULT result, const wchar_t* source, const wchar_t* description) {
  ComPtr<ICreateErrorInfo> info;
  CreateErrorInfo(info.put());
  info->SetSource(const_cast<wchar_t*>(source));
  info->SetDescription(const_cast<wchar_t*>(description));
  SetErrorInfo(0, info.as<IErrorInfo>().get());
  return result;
}

Error raised_by(HRESULT (*call)()) {
  try {
    invoke("SWbemServicesEx", call);
  } catch (const Error& error) {
    return error;
  }
  return Error(0, "", "nothing was raised");
}

TEST(Failure, TakesSourceAndDescriptionFromTheErrorInformation) {
  const Error error = raised_by([] {
    return fail_with(static_cast<HRESULT>(0x80041017), L"SWbemObjectSet", L"Invalid query \r\n\tmore");
  });
  EXPECT_EQ(error.number(), static_cast<std::int32_t>(0x80041017));
  EXPECT_EQ(error.source(), "SWbemObjectSet");
  EXPECT_EQ(error.description(), "Invalid query \r\n\tmore");
}

TEST(Failure, WithoutInformationTheNumbersStandardTextIsUsed) {
  const Error error = raised_by([] { return static_cast<HRESULT>(0x80041002); });
  EXPECT_EQ(error.number(), static_cast<std::int32_t>(0x80041002));
  EXPECT_EQ(error.source(), "SWbemServicesEx");
  EXPECT_EQ(error.description(), "Not found ");
}

TEST(Failure, InformationOfAnEarlierCallIsNotUsed) {
  fail_with(E_FAIL, L"Somebody else", L"Something else");
  const Error error = raised_by([] { return static_cast<HRESULT>(0x80041002); });
  EXPECT_EQ(error.source(), "SWbemServicesEx");
  EXPECT_EQ(error.description(), "Not found ");
}

TEST(Failure, ANumberOfTheSystemHasTheSystemsText) {
  const Error error = raised_by([] { return E_ACCESSDENIED; });
  EXPECT_EQ(error.number(), E_ACCESSDENIED);
  EXPECT_EQ(error.description().find_last_of("\r\n"), std::string::npos);
  EXPECT_NE(error.description(), "");
}

TEST(Failure, ANumberThatNobodyKnowsHasTheGeneralText) {
  const Error error = raised_by([] { return static_cast<HRESULT>(0x8ABCDEF0); });
  EXPECT_EQ(error.description(), "Application-defined or object-defined error");
}

TEST(Failure, ARunTimeNumberLosesItsFacility) {
  EXPECT_EQ(raised_by([] { return static_cast<HRESULT>(0x800A000D); }).number(), 13);
}

TEST(Create, AClassThatIsNotInstalledIsRunTimeError429) {
  constexpr CLSID kNobody{0x5AE5A5E1, 0x7C0B, 0x4C4E, {0x9B, 0x7F, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66}};
  try {
    static_cast<void>(create_object(kNobody, __uuidof(IUnknown)));
    FAIL() << "an object came from nowhere";
  } catch (const Error& error) {
    EXPECT_EQ(error.number(), 429);
    EXPECT_EQ(error.source(), "KVWMI");
    EXPECT_EQ(error.description(), "ActiveX component can't create object");
  }
}

}  // namespace
}  // namespace kvwmi::ground
