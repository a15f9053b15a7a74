#include "frame/wmi_status.h"

#include <gtest/gtest.h>

#include "frame/testing/raises.h"

namespace kvwmi::wmi {
namespace {

using testing::Raised;
using testing::raised;

struct StatusCase {
  std::uint32_t number;
  const char* text;
};

class StatusText : public ::testing::TestWithParam<StatusCase> {};

TEST_P(StatusText, EndsInABlank) {
  const auto number = static_cast<std::int32_t>(GetParam().number);
  EXPECT_EQ(status_text(number), GetParam().text);
  EXPECT_EQ(raised(wmi_error(static_cast<Status>(GetParam().number), source::kServices)),
            (Raised{number, "SWbemServicesEx", GetParam().text}));
}

INSTANTIATE_TEST_SUITE_P(
    Known, StatusText,
    ::testing::Values(
        StatusCase{0x80041001, "Generic failure "}, StatusCase{0x80041002, "Not found "},
        StatusCase{0x80041003, "Access denied "}, StatusCase{0x80041004, "Provider failure "},
        StatusCase{0x80041005, "Type mismatch "}, StatusCase{0x80041006, "Out of memory "},
        StatusCase{0x80041008, "Invalid parameter "}, StatusCase{0x8004100C, "Not supported "},
        StatusCase{0x8004100E, "Invalid namespace "}, StatusCase{0x8004100F, "Invalid object "},
        StatusCase{0x80041010, "Invalid class "}, StatusCase{0x80041011, "Provider not found "},
        StatusCase{0x80041012, "Invalid provider registration "},
        StatusCase{0x80041013, "Provider load failure "}, StatusCase{0x80041014, "Initialization failure "},
        StatusCase{0x80041015, "Transport failure "}, StatusCase{0x80041016, "Invalid operation "},
        StatusCase{0x80041017, "Invalid query "}, StatusCase{0x80041018, "Invalid query type "},
        StatusCase{0x80041021, "Invalid syntax "}, StatusCase{0x80041023, "Read only "},
        StatusCase{0x80041024, "Provider is not capable of the attempted operation "},
        StatusCase{0x8004102E, "Invalid method "}, StatusCase{0x8004102F, "Invalid method Parameter(s) "},
        StatusCase{0x80041031, "Invalid property "}, StatusCase{0x80041032, "Call cancelled "},
        StatusCase{0x80041033, "Shutting down "}, StatusCase{0x8004103A, "Invalid object path "},
        StatusCase{0x80041058, "Unparsable query. "}, StatusCase{0x80041061, "Queue overflow "},
        StatusCase{0x80041062, "Privilege not held "},
        StatusCase{0x80041064, "User credentials cannot be used for local connections "},
        StatusCase{0x8004106C, "Quota violation "},
        StatusCase{0x80042002, "A WITHIN clause was not used in this query. "},
        StatusCase{0x80043001, "Timed out "}));

TEST(WmiStatus, ANumberWithoutATextHasNone) {
  EXPECT_EQ(status_text(0), "");
  EXPECT_EQ(status_text(-2147220975), "");
}

TEST(WmiStatus, ErrorsAreToldApartByNumber) {
  const Error error = wmi_error(Status::not_found, source::kObject);
  EXPECT_TRUE(is_status(error, Status::not_found));
  EXPECT_FALSE(is_status(error, Status::failed));
}

TEST(WmiStatus, SourcesAreTheScriptingObjects) {
  EXPECT_STREQ(source::kLocator, "SWbemLocator");
  EXPECT_STREQ(source::kObjectSet, "SWbemObjectSet");
  EXPECT_STREQ(source::kObject, "SWbemObjectEx");
  EXPECT_STREQ(source::kObjectPath, "SWbemObjectPath");
  EXPECT_STREQ(source::kPropertySet, "SWbemPropertySet");
}

}  // namespace
}  // namespace kvwmi::wmi
