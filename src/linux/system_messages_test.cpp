#include "linux/system_messages.h"

#include <gtest/gtest.h>

#include <limits>
#include <set>
#include <utility>
#include <vector>

#include "frame/ground.h"
#include "frame/window_api.h"

namespace kvwmi::ground {
namespace {

TEST(SystemMessages, Samples) {
  const std::vector<std::pair<std::int32_t, const char*>> samples{
      {0, "The operation completed successfully.\r\n"},
      {2, "The system cannot find the file specified.\r\n"},
      {4, "The system cannot open the file.\r\n"},
      {5, "Access is denied.\r\n"},
      {32, "The process cannot access the file because it is being used by another process.\r\n"},
      {87, "The parameter is incorrect.\r\n"},
      {126, "The specified module could not be found.\r\n"},
      {199, "The operating system cannot run this application program.\r\n"},
      {1053, "The service did not respond to the start or control request in a timely fashion.\r\n"},
      {1060, "The specified service does not exist as an installed service.\r\n"},
      {1062, "The service has not been started.\r\n"},
      {1300, "Not all privileges or groups referenced are assigned to the caller.\r\n"},
      {1314, "A required privilege is not held by the client.\r\n"},
      {1400, "Invalid window handle.\r\n"},
      {1460, "This operation returned because the timeout period expired.\r\n"},
      {1722, "The RPC server is unavailable.\r\n"},
      {11001, "No such host is known.\r\n"},
  };
  for (const auto& [code, text] : samples) EXPECT_EQ(system_message(code), text) << code;
}

TEST(SystemMessages, CodesWithoutATextHaveNone) {
  for (const std::int32_t code :
       {35, 37, 79, 1023, 1050, 1738, 99999, -1, std::numeric_limits<std::int32_t>::min(),
        std::numeric_limits<std::int32_t>::max()}) {
    EXPECT_EQ(system_message(code), std::nullopt) << code;
  }
}

TEST(SystemMessages, TextsThatNeedArgumentsHaveNoEntry) {
  // "%1 is not a valid Win32 application." cannot be told without saying which.
  for (const std::int32_t code : {34, 106, 129, 182, 193})
    EXPECT_EQ(system_message(code), std::nullopt) << code;
}

TEST(SystemMessages, CodesBelow200AreToldButForThese) {
  // They take arguments (see above), or are numbers that the system never gave away.
  const std::set<std::int32_t> none{34,  35,  37,  40,  41,  42,  43,  44,  45,  46,  47,  48,  49,  73,  74,
                                    75,  76,  77,  78,  79,  81,  90,  91,  92,  93,  94,  95,  96,  97,  98,
                                    99,  106, 115, 116, 129, 163, 165, 166, 168, 169, 172, 175, 176, 177, 178,
                                    179, 181, 182, 184, 185, 188, 189, 190, 191, 192, 193, 194, 195, 198};
  for (std::int32_t code = 0; code < 200; ++code)
    EXPECT_EQ(system_message(code).has_value(), !none.contains(code)) << code;
}

TEST(SystemMessages, EveryTextIsOneCompleteLine) {
  int found = 0;
  for (std::int32_t code = 0; code < 20'000; ++code) {
    const auto text = system_message(code);
    if (!text) continue;
    ++found;
    EXPECT_TRUE(text->ends_with(".\r\n")) << code;
    EXPECT_EQ(text->find_first_of("%\r"), text->size() - 2) << code;
    EXPECT_EQ(text->find("  "), std::string::npos) << code;
  }
  EXPECT_GT(found, 400);
}

TEST(SystemMessages, AreWhatTheGroundAnswers) {
  EXPECT_EQ(WindowAPI::GetAPIErrorMessage(local_ground().system_info(), 5), "Access is denied.\r\n");
  EXPECT_EQ(WindowAPI::GetAPIErrorMessage(local_ground().system_info(), 1050), "");
}

}  // namespace
}  // namespace kvwmi::ground
