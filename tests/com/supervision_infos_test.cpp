// SupervisionInfos, a plain record, through both doors.

#include <gtest/gtest.h>

#include <string>

#include "automation.h"
#include "server.h"
#include "windows/com/kvwmi.h"

namespace {

using automation::Bstr;
using automation::ComPtr;
using automation::Variant;

class SupervisionInfosClients : public testing::Test {
 protected:
  server::Apartment apartment_;
  server::RegistrationFree registration_free_;
  ComPtr<_SupervisionInfos> object_ = [] {
    ComPtr<_SupervisionInfos> made;
    EXPECT_EQ(
        CoCreateInstance(__uuidof(SupervisionInfos), nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(made.put())),
        S_OK);
    return made;
  }();

  std::string read(const wchar_t* property) {
    return automation::get(*object_.get(), property).result.text();
  }
  HRESULT write(const wchar_t* property, const Variant& value) {
    Variant held = value;
    return automation::put(*object_.get(), property, automation::variable(held)).status;
  }
};

TEST_F(SupervisionInfosClients, ANewRecordIsEmpty) {
  EXPECT_EQ(read(L"p_lngCurrentStepId"), "long 0");
  EXPECT_EQ(read(L"p_lngSupervisionId"), "long 0");
  EXPECT_EQ(read(L"p_strDetail"), "string ");
  EXPECT_EQ(read(L"p_blnNotifyIfUndetected"), "boolean 0");
  EXPECT_EQ(read(L"p_blnHasBeenDetected"), "boolean 0");
}

TEST_F(SupervisionInfosClients, WhatALateBoundClientStoresAnEarlyBoundOneReads) {
  EXPECT_EQ(write(L"p_lngCurrentStepId", Variant::of(LONG{12})), S_OK);
  EXPECT_EQ(write(L"p_lngSupervisionId", Variant::of("-3")), S_OK);
  EXPECT_EQ(write(L"p_strDetail", Variant::of("line\r\n\xC3\xA9")), S_OK);
  EXPECT_EQ(write(L"p_blnNotifyIfUndetected", Variant::of(true)), S_OK);
  EXPECT_EQ(write(L"p_blnHasBeenDetected", Variant::of(SHORT{1})), S_OK);
  LONG step = 0;
  LONG supervision = 0;
  Bstr detail;
  VARIANT_BOOL notify = VARIANT_FALSE;
  VARIANT_BOOL detected = VARIANT_FALSE;
  EXPECT_EQ(object_->get_p_lngCurrentStepId(&step), S_OK);
  EXPECT_EQ(object_->get_p_lngSupervisionId(&supervision), S_OK);
  EXPECT_EQ(object_->get_p_strDetail(detail.receive()), S_OK);
  EXPECT_EQ(object_->get_p_blnNotifyIfUndetected(&notify), S_OK);
  EXPECT_EQ(object_->get_p_blnHasBeenDetected(&detected), S_OK);
  EXPECT_EQ(step, 12);
  EXPECT_EQ(supervision, -3);
  EXPECT_EQ(kvwmi::windows::from_bstr(detail.get()), "line\r\n\xC3\xA9");
  EXPECT_EQ(notify, VARIANT_TRUE);
  EXPECT_EQ(detected, VARIANT_TRUE);
}

TEST_F(SupervisionInfosClients, WhatAnEarlyBoundClientStoresALateBoundOneReads) {
  EXPECT_EQ(object_->put_p_lngCurrentStepId(7), S_OK);
  EXPECT_EQ(object_->put_p_lngSupervisionId(8), S_OK);
  EXPECT_EQ(object_->put_p_strDetail(Bstr("detail").get()), S_OK);
  EXPECT_EQ(object_->put_p_blnNotifyIfUndetected(VARIANT_TRUE), S_OK);
  EXPECT_EQ(object_->put_p_blnHasBeenDetected(VARIANT_TRUE), S_OK);
  EXPECT_EQ(read(L"p_lngCurrentStepId"), "long 7");
  EXPECT_EQ(read(L"p_lngSupervisionId"), "long 8");
  EXPECT_EQ(read(L"p_strDetail"), "string detail");
  EXPECT_EQ(read(L"p_blnNotifyIfUndetected"), "boolean -1");
  EXPECT_EQ(read(L"p_blnHasBeenDetected"), "boolean -1");
  // A null string is an empty one.
  EXPECT_EQ(object_->put_p_strDetail(nullptr), S_OK);
  EXPECT_EQ(read(L"p_strDetail"), "string ");
  EXPECT_EQ(object_->get_p_strDetail(nullptr), E_POINTER);
}

}  // namespace
