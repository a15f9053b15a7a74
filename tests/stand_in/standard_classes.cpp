#include "stand_in/standard_classes.h"

namespace kvwmi::stand_in {

namespace {

embedded::MemoryClass::Method method(std::string name,
                                     std::vector<embedded::MemoryClass::Parameter> parameters = {}) {
  return {std::move(name), std::move(parameters), {}, {}};
}

}  // namespace

std::vector<embedded::MemoryClass> standard_classes() {
  using cim::CimType;
  using cim::kArray;
  using cim::kKey;
  return {
      {.name = "Win32_Battery",
       .properties = {{"DeviceID", CimType::string, kKey}, {"Name"}, {"BatteryStatus", CimType::uint16}},
       .superclasses = {"CIM_Battery"}},
      {.name = "Win32_Service",
       .properties = {{"Name", CimType::string, kKey},
                      {"DisplayName"},
                      {"State"},
                      {"Started", CimType::boolean},
                      {"StartMode"},
                      {"ProcessId", CimType::uint32}},
       .methods = {method("StartService"), method("StopService")},
       .superclasses = {"Win32_BaseService", "CIM_Service"}},
      {.name = "Win32_Process",
       .properties = {{"Handle", CimType::string, kKey},
                      {"Name"},
                      {"ProcessId", CimType::uint32},
                      {"WorkingSetSize", CimType::uint64}},
       .methods = {method("Terminate", {{"Reason", CimType::uint32}})},
       .superclasses = {"CIM_Process"}},
      {.name = "Win32_PerfRawData_PerfProc_Process",
       .properties = {{"Name", CimType::string, kKey},
                      {"IDProcess", CimType::uint32},
                      {"PercentProcessorTime", CimType::uint64}},
       .superclasses = {"Win32_PerfRawData"}},
      {.name = "Win32_OperatingSystem",
       .properties = {{"Name", CimType::string, kKey},
                      {"Primary", CimType::boolean},
                      {"FreePhysicalMemory", CimType::uint64},
                      {"TotalVisibleMemorySize", CimType::uint64},
                      {"FreeVirtualMemory", CimType::uint64},
                      {"TotalVirtualMemorySize", CimType::uint64},
                      {"FreeSpaceInPagingFiles", CimType::uint64},
                      {"SizeStoredInPagingFiles", CimType::uint64}},
       .methods = {method("Reboot"), method("Shutdown"),
                   method("Win32Shutdown", {{"Flags", CimType::sint32}, {"Reserved", CimType::sint32}})},
       .superclasses = {"CIM_OperatingSystem"}},
      {.name = "Win32_Processor",
       .properties = {{"DeviceID", CimType::string, kKey}, {"Name"}, {"LoadPercentage", CimType::uint16}},
       .superclasses = {"CIM_Processor"}},
      {.name = "Win32_LogicalDisk",
       .properties = {{"DeviceID", CimType::string, kKey},
                      {"Name"},
                      {"DriveType", CimType::uint32},
                      {"FileSystem"},
                      {"FreeSpace", CimType::uint64},
                      {"Size", CimType::uint64}},
       .superclasses = {"CIM_LogicalDisk"}},
      {.name = "CIM_DataFile",
       .properties = {{"Name", CimType::string, kKey},
                      {"FileSize", CimType::uint64},
                      {"LastModified", CimType::datetime}},
       .superclasses = {"CIM_LogicalFile"}},
      {.name = "Win32_Directory",
       .properties = {{"Name", CimType::string, kKey}, {"LastModified", CimType::datetime}},
       .superclasses = {"CIM_Directory", "CIM_LogicalFile"}},
      {.name = "CIM_DirectoryContainsFile",
       .properties = {{"GroupComponent", CimType::reference, kKey},
                      {"PartComponent", CimType::reference, kKey}}},
      {.name = "Win32_SubDirectory",
       .properties = {{"GroupComponent", CimType::reference, kKey},
                      {"PartComponent", CimType::reference, kKey}}},
      {.name = "Win32_NTLogEvent",
       .properties = {{"Logfile", CimType::string, kKey},
                      {"RecordNumber", CimType::uint32, kKey},
                      {"Type"},
                      {"EventType", CimType::uint8},
                      {"SourceName"},
                      {"EventCode", CimType::uint16},
                      {"TimeGenerated", CimType::datetime},
                      {"Message"},
                      {"InsertionStrings", CimType::string, kArray}}},
  };
}

}  // namespace kvwmi::stand_in
