#include "frame/class_catalogue.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "frame/errors_process.h"

namespace kvwmi::catalogue {
namespace {

constexpr Type kNone{};
constexpr Type kLong{Kind::long_integer, {}};
constexpr Type kBoolean{Kind::boolean, {}};
constexpr Type kCurrency{Kind::currency, {}};
constexpr Type kString{Kind::string, {}};
constexpr Type kStrings{Kind::string_array, {}};
constexpr Type kEnumerator{Kind::enumerator, {}};
constexpr Type kInvObject{Kind::object, "InvObject"};
constexpr Type kInvObjects{Kind::object, "InvObjects"};

constexpr Parameter in(std::string_view name, Type type) {
  return {name, type};
}
constexpr Parameter by_reference(std::string_view name, Type type) {
  return {name, type, Passing::by_reference};
}
constexpr Parameter optional_long(std::string_view name, std::int32_t value) {
  return {name, kLong, Passing::by_value, value};
}
constexpr Parameter optional_boolean(std::string_view name, bool value) {
  return {name, kBoolean, Passing::by_value, value};
}
constexpr Parameter optional_string(std::string_view name, std::string_view value) {
  return {name, kString, Passing::by_value, value};
}

constexpr Member method(std::uint32_t id, std::string_view name, Type result,
                        std::span<const Parameter> parameters = {}) {
  return {id, MemberKind::method, name, result, parameters};
}
constexpr Member get(std::uint32_t id, std::string_view name, Type type) {
  return {id, MemberKind::property_get, name, type, {}};
}
constexpr Member let(std::uint32_t id, std::string_view name, std::span<const Parameter> value) {
  return {id, MemberKind::property_let, name, kNone, value};
}

// CheckPoint and Management.

constexpr std::array kName{in("f_strName", kString)};
constexpr std::array kState{by_reference("f_lngState", kLong)};
constexpr std::array kNameState{in("f_strName", kString), by_reference("f_lngState", kLong)};
constexpr std::array kNameExist{in("f_strName", kString), by_reference("f_blnExist", kBoolean)};
constexpr std::array kSize{by_reference("f_curSize", kCurrency)};
constexpr std::array kNameSize{in("f_strName", kString), by_reference("f_curSize", kCurrency)};
constexpr std::array kPercentage{by_reference("f_lngPercentage", kLong)};
constexpr std::array kNamePercentage{in("f_strName", kString), by_reference("f_lngPercentage", kLong)};

constexpr std::array kCheckPointMembers{
    method(0x60030002, "m_GetPowerSource", kLong, kState),
    method(0x60030003, "m_GetServiceState", kLong, kNameState),
    method(0x60030004, "m_GetServiceExistence", kLong, kNameExist),
    method(0x60030005, "m_GetProcessExistence", kLong, kNameExist),
    method(0x60030006, "m_GetProcessMemorySize", kLong, kNameSize),
    method(0x60030007, "m_GetProcessCPULoadPercentage", kLong, kNamePercentage),
    method(0x60030008, "m_GetFreePhysicalMemorySize", kLong, kSize),
    method(0x60030009, "m_GetPhysicalMemorySize", kLong, kSize),
    method(0x6003000A, "m_GetFreeVirtualMemorySize", kLong, kSize),
    method(0x6003000B, "m_GetVirtualMemorySize", kLong, kSize),
    method(0x6003000C, "m_GetFreePagingFilesSize", kLong, kSize),
    method(0x6003000D, "m_GetPagingFilesSize", kLong, kSize),
    method(0x6003000E, "m_GetProcessorLoadPercentage", kLong, kPercentage),
};

constexpr std::array kManagementMembers{
    method(0x60030002, "m_Reboot", kLong),
    method(0x60030003, "m_LogOff", kLong),
    method(0x60030004, "m_StartService", kLong, kName),
    method(0x60030005, "m_StopService", kLong, kName),
    method(0x60030006, "m_RestartService", kLong, kName),
    method(0x60030007, "m_TerminateProcess", kLong, kName),
    method(0x60030008, "m_CloseWindow", kLong, kName),
};

// Inventory and its objects.

constexpr std::array kIndex{in("f_lngIndex", kLong)};

constexpr std::array kInvObjectsMembers{
    method(0x60030000, "Add", kInvObject, kIndex),
    method(0x60030001, "m_delete", kNone, kIndex),
    method(0x60030002, "Count", kLong),
    method(0x60030003, "Item", kInvObject, kIndex),
    // A method like any other: the enumerator is not behind the reserved identifier.
    method(0x60030004, "NewEnum", kEnumerator),
};

constexpr std::array kDeviceIdValue{in("f_strDeviceId", kString)};
constexpr std::array kNameValue{in("f_strName", kString)};
constexpr std::array kClassNameValue{in("f_strClassName", kString)};
constexpr std::array kClassGuidValue{in("f_strClassGuid", kString)};
constexpr std::array kComputerNameValue{in("f_strComputerName", kString)};
constexpr std::array kVendorValue{in("f_strVendor", kString)};
constexpr std::array kStateCodeValue{in("f_lngStateCode", kLong)};
constexpr std::array kTabPropertyNameValue{by_reference("f_strTabPropertyName", kStrings)};
constexpr std::array kTabPropertyValueValue{by_reference("f_strTabPropertyValue", kStrings)};
constexpr std::array kTabCountValue{in("f_lngTabCount", kLong)};

constexpr std::array kInvObjectMembers{
    get(0x68030009, "p_strDeviceId", kString),
    let(0x68030009, "p_strDeviceId", kDeviceIdValue),
    get(0x68030008, "p_strName", kString),
    let(0x68030008, "p_strName", kNameValue),
    get(0x68030007, "p_strClassName", kString),
    let(0x68030007, "p_strClassName", kClassNameValue),
    get(0x68030006, "p_strClassGuid", kString),
    let(0x68030006, "p_strClassGuid", kClassGuidValue),
    get(0x68030005, "p_strComputerName", kString),
    let(0x68030005, "p_strComputerName", kComputerNameValue),
    get(0x68030004, "p_strVendor", kString),
    let(0x68030004, "p_strVendor", kVendorValue),
    get(0x68030003, "p_lngStateCode", kLong),
    let(0x68030003, "p_lngStateCode", kStateCodeValue),
    get(0x68030002, "p_strTabPropertyName", kStrings),
    let(0x68030002, "p_strTabPropertyName", kTabPropertyNameValue),
    get(0x68030001, "p_strTabPropertyValue", kStrings),
    let(0x68030001, "p_strTabPropertyValue", kTabPropertyValueValue),
    get(0x68030000, "p_lngTabCount", kLong),
    let(0x68030000, "p_lngTabCount", kTabCountValue),
};

constexpr std::array kQueryProperties{
    by_reference("f_strTabProperties", kStrings),
    in("f_strWmiClass", kString),
    by_reference("f_InvObjects", kInvObjects),
    in("f_blnHardwareTypeInventory", kBoolean),
};
constexpr std::array kMobileBroadbandProperties{
    in("f_strWmiClass", kString),
    by_reference("f_InvObjects", kInvObjects),
};
constexpr std::array kRegistryProperties{
    in("f_strRegistryKeyName", kString),
    in("f_strWmiClass", kString),
    by_reference("f_InvObjects", kInvObjects),
    in("f_blnUse32RegEnv", kBoolean),
};

constexpr std::array kInventoryMembers{
    method(0x60030000, "m_GetQueryProperties", kLong, kQueryProperties),
    method(0x60030001, "m_GetMobileBroadbandProperties", kLong, kMobileBroadbandProperties),
    method(0x60030002, "m_GetRegistryProperties", kLong, kRegistryProperties),
};

// Supervision.

constexpr std::array kCurrentStepIdValue{in("f_lngCurrentStepId", kLong)};
constexpr std::array kSupervisionIdValue{in("f_lngSupervisionId", kLong)};
constexpr std::array kDetailValue{in("f_strDetail", kString)};
constexpr std::array kNotifyIfUndetectedValue{in("f_blnNotifyIfUndetected", kBoolean)};
constexpr std::array kHasBeenDetectedValue{in("f_blnHasBeenDetected", kBoolean)};

constexpr std::array kSupervisionInfosMembers{
    get(0x68030004, "p_lngCurrentStepId", kLong),
    let(0x68030004, "p_lngCurrentStepId", kCurrentStepIdValue),
    get(0x68030003, "p_lngSupervisionId", kLong),
    let(0x68030003, "p_lngSupervisionId", kSupervisionIdValue),
    get(0x68030002, "p_strDetail", kString),
    let(0x68030002, "p_strDetail", kDetailValue),
    get(0x68030001, "p_blnNotifyIfUndetected", kBoolean),
    let(0x68030001, "p_blnNotifyIfUndetected", kNotifyIfUndetectedValue),
    get(0x68030000, "p_blnHasBeenDetected", kBoolean),
    let(0x68030000, "p_blnHasBeenDetected", kHasBeenDetectedValue),
};

/// The parameters of a supervision request: who asks, what for, how often.
template <typename... Specific>
constexpr std::array<Parameter, sizeof...(Specific) + 6> request(Specific... specific) {
  return {in("f_lngCurrentStepId", kLong),
          in("f_lngSupervisionId", kLong),
          specific...,
          optional_long("f_lngPollingPeriod", 5),
          optional_long("f_lngGroupPeriod", 0),
          optional_long("f_lngGroupThreshold", 0),
          optional_boolean("f_blnNotifyIfUndetected", false)};
}

template <std::size_t Count>
constexpr std::array<Parameter, Count + 1> followed_by(const std::array<Parameter, Count>& parameters,
                                                       const Parameter& last) {
  std::array<Parameter, Count + 1> result{};
  std::copy(parameters.begin(), parameters.end(), result.begin());
  result.back() = last;
  return result;
}

constexpr std::array kEventNameValue{by_reference("f_strSupervisionEventName", kString)};
constexpr std::array kPopEventInfos{
    in("f_lngCurrentStepId", kLong),
    by_reference("f_lngSupervisionId", kLong),
    by_reference("f_strSupervisionDetail", kString),
};
constexpr auto kNamedSize = request(in("f_strName", kString), in("f_lngCondition", kLong),
                                    in("f_curValue", kCurrency), in("f_lngUnit", kLong));
constexpr auto kMachineSize =
    request(in("f_lngCondition", kLong), in("f_curValue", kCurrency), in("f_lngUnit", kLong));
constexpr auto kPercentageThreshold = request(in("f_lngCondition", kLong), in("f_lngPercentage", kLong));
constexpr auto kFileOrDirectory =
    request(in("f_strName", kString), optional_boolean("f_blnCreate", true),
            optional_boolean("f_blnDelete", true), optional_boolean("f_blnModify", true));
constexpr auto kFileInDirectory =
    request(in("f_strName", kString), in("f_strRootDirectory", kString),
            optional_boolean("f_blnSearchInSubDirectories", false), optional_boolean("f_blnCreate", true),
            optional_boolean("f_blnDelete", true));
constexpr auto kEventLog = request(optional_string("f_strLogFile", ""), optional_long("f_lngType", 0),
                                   optional_string("f_strSourceName", ""), optional_long("f_lngCode", -1));
constexpr auto kRegistry =
    followed_by(request(in("f_strKey", kString), optional_boolean("f_blnCheckTreeChange", false),
                        optional_string("f_strValue", "")),
                optional_boolean("f_blnUse32RegEnv", false));
constexpr auto kService = request(in("f_strName", kString), optional_boolean("f_blnStart", true),
                                  optional_boolean("f_blnStop", true));
constexpr auto kPowerSource = request(optional_long("f_lngState", 25));
constexpr auto kProcess = request(in("f_strName", kString), optional_boolean("f_blnCreate", true),
                                  optional_boolean("f_blnTerminate", true));
constexpr auto kWindow = request(in("f_strName", kString), optional_boolean("f_blnOpen", true),
                                 optional_boolean("f_blnClose", true));
constexpr auto kIpAddress =
    request(in("f_strDefFileName", kString), in("f_strFilter", kString),
            optional_boolean("f_blnCheckModification", true), optional_boolean("f_blnCheckAbsence", true));
// The one check that is off by default.
constexpr auto kNetworkInterfaces =
    request(in("f_strDefFileName", kString), optional_boolean("f_blnCheckActivation", true),
            optional_boolean("f_blnCheckDeactivation", false));

constexpr std::array kSupervisionMembers{
    get(0x68030000, "p_strSupervisionEventName", kString),
    let(0x68030000, "p_strSupervisionEventName", kEventNameValue),
    method(0x60030003, "m_Initialize", kNone),
    method(0x60030004, "m_Release", kNone),
    method(0x60030008, "m_PopEventInfos", kNone, kPopEventInfos),
    method(0x6003000A, "m_PushUndetectedEventInfos", kNone),
    method(0x6003000D, "m_SuperviseDiskFreeSpace", kLong, kNamedSize),
    method(0x6003000E, "m_SuperviseFile", kLong, kFileOrDirectory),
    method(0x6003000F, "m_SuperviseFileInDirectory", kLong, kFileInDirectory),
    method(0x60030010, "m_SuperviseDirectory", kLong, kFileOrDirectory),
    method(0x60030011, "m_SuperviseEventLog", kLong, kEventLog),
    method(0x60030012, "m_SuperviseRegistry", kLong, kRegistry),
    method(0x60030013, "m_SuperviseService", kLong, kService),
    method(0x60030014, "m_SupervisePowerSource", kLong, kPowerSource),
    method(0x60030015, "m_SuperviseProcess", kLong, kProcess),
    method(0x60030016, "m_SuperviseProcessMemorySize", kLong, kNamedSize),
    method(0x60030017, "m_SuperviseFreePhysicalMemorySize", kLong, kMachineSize),
    method(0x60030018, "m_SuperviseFreeVirtualMemorySize", kLong, kMachineSize),
    method(0x60030019, "m_SuperviseFreePagingFilesSize", kLong, kMachineSize),
    method(0x6003001A, "m_SuperviseProcessorLoadPercentage", kLong, kPercentageThreshold),
    method(0x6003001B, "m_SuperviseWindow", kLong, kWindow),
    method(0x6003001C, "m_SuperviseIPAddress", kLong, kIpAddress),
    method(0x6003001D, "m_SuperviseNetworkInterfaces", kLong, kNetworkInterfaces),
};

constexpr std::array kClasses{
    Class{"CheckPoint", "{CAF8EF81-B660-4DF4-9562-F5AD85779E47}", "_CheckPoint",
          "{089646B3-2FE8-4E55-BD49-8AC411B94EA7}", kCheckPointError, "Checks the state of the machine",
          kCheckPointMembers},
    Class{"Management", "{EF14831A-29FE-4522-BE7B-9E885ADBDB71}", "_Management",
          "{6C49D333-0F72-4C38-B02B-D21D6C26DCD0}", kManagementError, "Acts on the machine",
          kManagementMembers},
    Class{"InvObjects", "{48F61B3B-2DCC-4F78-9DE6-F4D574A05D4C}", "_InvObjects",
          "{142588A7-7D34-467C-B619-2FA863478901}", std::nullopt, "Collection of inventory objects",
          kInvObjectsMembers},
    Class{"InvObject", "{25DFE61D-F2F1-4117-9117-D9A4E6EF0DC2}", "_InvObject",
          "{1A241C4E-2D48-4CA2-9B10-886454F719ED}", std::nullopt, "One inventory object", kInvObjectMembers},
    Class{"Inventory", "{8B23551B-2189-4A23-A96A-0A34B951F4E1}", "_Inventory",
          "{CEE31189-A050-4AEF-A378-071E0BECF530}", std::nullopt, "Takes stock of the machine",
          kInventoryMembers},
    Class{"SupervisionInfos", "{8ABA1655-59CC-44E6-88D3-9BFABFB7D599}", "_SupervisionInfos",
          "{FDF1D5EE-C2F1-4B97-BF9C-5AA6410DAA83}", std::nullopt, "One event of a supervision",
          kSupervisionInfosMembers},
    Class{"Supervision", "{32CEE73D-B69C-4505-A49F-B7800E34CF4B}", "_Supervision",
          "{301554EB-C570-4FC5-8D27-918EC8D2CED9}", kSupervisionError, "Watches the machine for events",
          kSupervisionMembers},
};

}  // namespace

constexpr TypeLibrary kTypeLibrary{
    "KVWMI", "{7C675D32-994D-466D-91F1-E5C976C847E8}", 2, 0, "Velmora KVWMI 2.0", kClasses};

const Class* find_class(std::string_view name) noexcept {
  const auto found = std::find_if(kTypeLibrary.classes.begin(), kTypeLibrary.classes.end(),
                                  [&](const Class& entry) { return entry.name == name; });
  return found == kTypeLibrary.classes.end() ? nullptr : &*found;
}

}  // namespace kvwmi::catalogue
