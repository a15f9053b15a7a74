#include "windows/scripting/variant.h"

#include <gtest/gtest.h>

#include <limits>

#include "frame/runtime_error.h"
#include "windows/automation/owned_variant.h"
#include "windows/scripting/scripting_object.h"
#include "windows/text/bstr.h"

namespace kvwmi::ground {
namespace {

using wmi::Value;

VARIANT of_type(VARTYPE type) {
  VARIANT variant;
  VariantInit(&variant);
  variant.vt = type;
  return variant;
}

void expect_mismatch(const VARIANT& variant) {
  try {
    static_cast<void>(scripting_value_from(variant));
    FAIL() << "type " << variant.vt << " was taken";
  } catch (const Error& error) {
    EXPECT_EQ(error.number(), 13);
  }
}

TEST(Variant, EveryValueComesBackAsItWent) {
  const Value::Array elements{Value(std::int32_t{1}), Value("two"), Value(), Value(true)};
  const std::vector<Value> values{
      Value(),
      Value(true),
      Value(false),
      Value(std::uint8_t{255}),
      Value(std::int16_t{-32768}),
      Value(std::numeric_limits<std::int32_t>::min()),
      Value(1.5F),
      Value(-0.25),
      Value(""),
      Value(std::string("a\0b", 3)),
      Value(Value::Array{}),
      Value(elements),
  };
  for (const Value& value : values) {
    com::OwnedVariant variant;
    put_scripting_value(value, variant);
    EXPECT_EQ(scripting_value_from(variant), value);
  }
}

TEST(Variant, SixteenAndThirtyTwoBitsStayApart) {
  com::OwnedVariant narrow;
  put_scripting_value(Value(std::int16_t{64}), narrow);
  EXPECT_EQ(narrow.vt, VT_I2);
  com::OwnedVariant wide;
  put_scripting_value(Value(std::int32_t{64}), wide);
  EXPECT_EQ(wide.vt, VT_I4);
}

TEST(Variant, TypesThatWmiDoesNotHandOutAreMapped) {
  VARIANT variant = of_type(VT_UI4);
  variant.ulVal = 0xFFFFFFFF;
  EXPECT_EQ(scripting_value_from(variant), Value(std::int32_t{-1}));
  variant = of_type(VT_UI2);
  variant.uiVal = 0xFFFF;
  EXPECT_EQ(scripting_value_from(variant), Value(std::int32_t{65535}));
  variant = of_type(VT_I1);
  variant.cVal = -5;
  EXPECT_EQ(scripting_value_from(variant), Value(std::int16_t{-5}));
  variant = of_type(VT_UI8);
  variant.ullVal = std::numeric_limits<std::uint64_t>::max();
  EXPECT_EQ(scripting_value_from(variant), Value("18446744073709551615"));
  variant = of_type(VT_I8);
  variant.llVal = std::numeric_limits<std::int64_t>::min();
  EXPECT_EQ(scripting_value_from(variant), Value("-9223372036854775808"));
}

TEST(Variant, EmptyNullStringAndNullObjectAreTaken) {
  EXPECT_EQ(scripting_value_from(of_type(VT_EMPTY)), Value());
  VARIANT variant = of_type(VT_BSTR);
  variant.bstrVal = nullptr;
  EXPECT_EQ(scripting_value_from(variant), Value(""));
  variant = of_type(VT_DISPATCH);
  variant.pdispVal = nullptr;
  EXPECT_EQ(scripting_value_from(variant), Value());
}

TEST(Variant, ReferencesAreFollowed) {
  LONG number = 7;
  VARIANT inner = of_type(VT_BYREF | VT_I4);
  inner.plVal = &number;
  VARIANT outer = of_type(VT_BYREF | VT_VARIANT);
  outer.pvarVal = &inner;
  EXPECT_EQ(scripting_value_from(outer), Value(std::int32_t{7}));
}

TEST(Variant, TypedArraysAreTakenElementByElement) {
  com::OwnedVariant variant;
  variant.parray = SafeArrayCreateVector(VT_BSTR, 5, 2);
  variant.vt = VT_ARRAY | VT_BSTR;
  const windows::Bstr text("x");
  LONG index = 6;
  ASSERT_EQ(SafeArrayPutElement(variant.parray, &index, text.get()), S_OK);
  EXPECT_EQ(scripting_value_from(variant), Value(Value::Array{Value(""), Value("x")}));
}

TEST(Variant, WhatWmiHasNoUseForIsATypeMismatch) {
  expect_mismatch(of_type(VT_CY));
  expect_mismatch(of_type(VT_ERROR));
  expect_mismatch(of_type(VT_VARIANT));
  com::OwnedVariant table;
  SAFEARRAYBOUND bounds[2] = {{2, 0}, {2, 0}};
  table.parray = SafeArrayCreate(VT_I4, 2, bounds);
  table.vt = VT_ARRAY | VT_I4;
  expect_mismatch(table);
}

}  // namespace
}  // namespace kvwmi::ground
