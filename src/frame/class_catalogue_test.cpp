#include "frame/class_catalogue.h"

#include <gtest/gtest.h>

#include <array>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace kvwmi::catalogue {
namespace {

std::string text_of(const Default& value) {
  if (const auto* number = std::get_if<std::int32_t>(&value)) return std::to_string(*number);
  if (const auto* flag = std::get_if<bool>(&value)) return *flag ? "True" : "False";
  return "\"" + std::string(std::get<std::string_view>(value)) + "\"";
}

/// "name" or "name=default", a by-reference parameter with a leading "&".
std::vector<std::string> parameters_of(std::string_view class_name, std::string_view member,
                                       MemberKind kind = MemberKind::method) {
  std::vector<std::string> result;
  for (const Member& entry : find_class(class_name)->members) {
    if (entry.name != member || entry.kind != kind) continue;
    for (const Parameter& parameter : entry.parameters) {
      std::string text = parameter.passing == Passing::by_reference ? "&" : "";
      text += parameter.name;
      if (parameter.default_value) text += "=" + text_of(*parameter.default_value);
      result.push_back(text);
    }
  }
  return result;
}

TEST(ClassCatalogue, HoldsSevenClassesWithTheirErrorNumbers) {
  std::vector<std::pair<std::string, std::int64_t>> classes;
  for (const Class& entry : kTypeLibrary.classes) {
    classes.emplace_back(entry.name, entry.error_number.value_or(0));
  }
  EXPECT_EQ(classes, (std::vector<std::pair<std::string, std::int64_t>>{{"CheckPoint", -2147220975},
                                                                        {"Management", -2147220976},
                                                                        {"InvObjects", 0},
                                                                        {"InvObject", 0},
                                                                        {"Inventory", 0},
                                                                        {"SupervisionInfos", 0},
                                                                        {"Supervision", -2147220977}}));
}

TEST(ClassCatalogue, InterfacesAreNamedAfterTheirClasses) {
  for (const Class& entry : kTypeLibrary.classes) {
    EXPECT_EQ(entry.interface_name, "_" + std::string(entry.name));
  }
}

TEST(ClassCatalogue, IdentifiersAreWellFormedAndUnique) {
  std::set<std::string_view> seen;
  const auto check = [&](std::string_view id) {
    ASSERT_EQ(id.size(), 38U) << id;
    for (std::size_t i = 0; i < id.size(); ++i) {
      // One letter of this pattern for each character: x is a hexadecimal digit, the others are themselves.
      const char expected = std::string_view("{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}")[i];
      const std::string_view allowed = expected == 'x' ? "0123456789ABCDEF" : std::string_view(&expected, 1);
      EXPECT_NE(allowed.find(id[i]), std::string_view::npos) << id;
    }
    EXPECT_TRUE(seen.insert(id).second) << id;
  };
  check(kTypeLibrary.id);
  for (const Class& entry : kTypeLibrary.classes) {
    check(entry.class_id);
    check(entry.interface_id);
  }
}

TEST(ClassCatalogue, MemberCountsAreThoseOfTheInterfaces) {
  std::map<std::string_view, std::size_t> counts;
  for (const Class& entry : kTypeLibrary.classes) counts[entry.name] = entry.members.size();
  EXPECT_EQ(counts, (std::map<std::string_view, std::size_t>{{"CheckPoint", 13},
                                                             {"Management", 7},
                                                             {"InvObjects", 5},
                                                             {"InvObject", 20},
                                                             {"Inventory", 3},
                                                             {"SupervisionInfos", 10},
                                                             {"Supervision", 23}}));
}

TEST(ClassCatalogue, DispatchIdentifiersAreUniqueExceptForTheTwoAccessorsOfAProperty) {
  for (const Class& entry : kTypeLibrary.classes) {
    std::map<std::uint32_t, const Member*> seen;
    for (const Member& member : entry.members) {
      const auto [place, inserted] = seen.emplace(member.dispatch_id, &member);
      if (inserted) continue;
      EXPECT_EQ(place->second->name, member.name);
      EXPECT_EQ(place->second->kind, MemberKind::property_get);
      EXPECT_EQ(member.kind, MemberKind::property_let);
    }
  }
}

TEST(ClassCatalogue, ReadingAccessorsStandDirectlyBeforeTheirWritingOnes) {
  for (const Class& entry : kTypeLibrary.classes) {
    for (std::size_t i = 0; i < entry.members.size(); ++i) {
      if (entry.members[i].kind != MemberKind::property_get) continue;
      ASSERT_LT(i + 1, entry.members.size());
      EXPECT_EQ(entry.members[i + 1].kind, MemberKind::property_let);
      EXPECT_EQ(entry.members[i + 1].dispatch_id, entry.members[i].dispatch_id);
      ASSERT_EQ(entry.members[i + 1].parameters.size(), 1U);
      EXPECT_EQ(entry.members[i + 1].parameters[0].type, entry.members[i].result);
    }
  }
}

TEST(ClassCatalogue, OptionalParametersCloseTheListAndHoldADefaultOfTheirType) {
  for (const Class& entry : kTypeLibrary.classes) {
    for (const Member& member : entry.members) {
      bool optional_seen = false;
      for (const Parameter& parameter : member.parameters) {
        EXPECT_TRUE(parameter.default_value.has_value() || !optional_seen) << member.name;
        if (!parameter.default_value) continue;
        optional_seen = true;
        EXPECT_EQ(parameter.passing, Passing::by_value) << member.name;
        constexpr std::array kKinds{Kind::long_integer, Kind::boolean, Kind::string};
        EXPECT_EQ(parameter.type.kind, kKinds[parameter.default_value->index()]) << member.name;
      }
    }
  }
}

TEST(ClassCatalogue, ObjectsAreOfKnownClasses) {
  const auto check = [](const Type& type) {
    if (type.kind == Kind::object) {
      EXPECT_NE(find_class(type.class_name), nullptr) << type.class_name;
    } else {
      EXPECT_EQ(type.class_name, "");
    }
  };
  for (const Class& entry : kTypeLibrary.classes) {
    for (const Member& member : entry.members) {
      check(member.result);
      for (const Parameter& parameter : member.parameters) check(parameter.type);
    }
  }
}

TEST(ClassCatalogue, OnlyThreeSettersTakeTheirValueByReference) {
  std::vector<std::string> found;
  for (const Class& entry : kTypeLibrary.classes) {
    for (const Member& member : entry.members) {
      if (member.kind == MemberKind::property_let && member.parameters[0].passing == Passing::by_reference) {
        found.emplace_back(member.name);
      }
    }
  }
  EXPECT_EQ(found, (std::vector<std::string>{"p_strTabPropertyName", "p_strTabPropertyValue",
                                             "p_strSupervisionEventName"}));
}

TEST(ClassCatalogue, SupervisionRequestsHaveTheirDefaults) {
  using Texts = std::vector<std::string>;
  EXPECT_EQ(parameters_of("Supervision", "m_SuperviseRegistry"),
            (Texts{"f_lngCurrentStepId", "f_lngSupervisionId", "f_strKey", "f_blnCheckTreeChange=False",
                   "f_strValue=\"\"", "f_lngPollingPeriod=5", "f_lngGroupPeriod=0", "f_lngGroupThreshold=0",
                   "f_blnNotifyIfUndetected=False", "f_blnUse32RegEnv=False"}));
  EXPECT_EQ(parameters_of("Supervision", "m_SuperviseEventLog"),
            (Texts{"f_lngCurrentStepId", "f_lngSupervisionId", "f_strLogFile=\"\"", "f_lngType=0",
                   "f_strSourceName=\"\"", "f_lngCode=-1", "f_lngPollingPeriod=5", "f_lngGroupPeriod=0",
                   "f_lngGroupThreshold=0", "f_blnNotifyIfUndetected=False"}));
  // Deactivation is the one check that is off unless asked for.
  EXPECT_EQ(parameters_of("Supervision", "m_SuperviseNetworkInterfaces"),
            (Texts{"f_lngCurrentStepId", "f_lngSupervisionId", "f_strDefFileName",
                   "f_blnCheckActivation=True", "f_blnCheckDeactivation=False", "f_lngPollingPeriod=5",
                   "f_lngGroupPeriod=0", "f_lngGroupThreshold=0", "f_blnNotifyIfUndetected=False"}));
  EXPECT_EQ(parameters_of("Supervision", "m_SupervisePowerSource"),
            (Texts{"f_lngCurrentStepId", "f_lngSupervisionId", "f_lngState=25", "f_lngPollingPeriod=5",
                   "f_lngGroupPeriod=0", "f_lngGroupThreshold=0", "f_blnNotifyIfUndetected=False"}));
}

TEST(ClassCatalogue, OutputsTravelByReference) {
  using Texts = std::vector<std::string>;
  EXPECT_EQ(parameters_of("CheckPoint", "m_GetProcessCPULoadPercentage"),
            (Texts{"f_strName", "&f_lngPercentage"}));
  EXPECT_EQ(parameters_of("Supervision", "m_PopEventInfos"),
            (Texts{"f_lngCurrentStepId", "&f_lngSupervisionId", "&f_strSupervisionDetail"}));
  EXPECT_EQ(parameters_of("Inventory", "m_GetQueryProperties"),
            (Texts{"&f_strTabProperties", "f_strWmiClass", "&f_InvObjects", "f_blnHardwareTypeInventory"}));
}

TEST(ClassCatalogue, FindsNoClassByAnotherSpelling) {
  EXPECT_NE(find_class("InvObject"), nullptr);
  EXPECT_EQ(find_class("invobject"), nullptr);
  EXPECT_EQ(find_class(""), nullptr);
}

}  // namespace
}  // namespace kvwmi::catalogue
