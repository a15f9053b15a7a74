#include "windows/com/errors.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

namespace kvwmi::com {
namespace {

TEST(Contained, AnswersWhatTheStepsAnswer) {
  EXPECT_EQ(contained([] { return S_FALSE; }), S_FALSE);
  EXPECT_EQ(contained([] { return E_NOINTERFACE; }), E_NOINTERFACE);
}

TEST(Contained, LetsNothingOut) {
  EXPECT_EQ(contained([]() -> HRESULT { throw std::bad_alloc(); }), E_OUTOFMEMORY);
  EXPECT_EQ(contained([]() -> HRESULT { throw std::length_error("too long"); }), E_UNEXPECTED);
  EXPECT_EQ(contained([]() -> HRESULT { throw 1; }), E_UNEXPECTED);
}

}  // namespace
}  // namespace kvwmi::com
