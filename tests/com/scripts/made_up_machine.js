// CheckPoint's thirteen methods on a machine that this script makes up, as far as a script without by-reference
// arguments sees them: what was asked for is not there, tells nothing, is there. A failed check prints a line that
// begins with FAIL; the last line is DONE.

function expect(what, actual, expected) {
  if (actual !== expected) WScript.Echo("FAIL " + what + ": " + actual + " instead of " + expected);
}

var machine = new ActiveXObject("KVWMITest.Repository");

// A row of properties and their values in turns. The repository takes arrays as VBScript makes them.
function add(name) {
  var values = new ActiveXObject("Scripting.Dictionary");
  for (var i = 1; i < arguments.length; i++) values.Add(i, arguments[i]);
  return machine.Add(name, values.Items());
}

var check = new ActiveXObject("KVWMI.CheckPoint");
var ignored = 0;
var sizes = ["m_GetFreePhysicalMemorySize", "m_GetPhysicalMemorySize", "m_GetFreeVirtualMemorySize",
             "m_GetVirtualMemorySize", "m_GetFreePagingFilesSize", "m_GetPagingFilesSize"];

// CheckPoint's answers for a service "Some service", a process a.exe and the machine as a whole.
function expectAll(when, service, memory, load, size, processors) {
  expect("m_GetPowerSource, " + when, check.m_GetPowerSource(ignored), 0);
  expect("m_GetServiceState, " + when, check.m_GetServiceState("Some service", ignored), service);
  expect("m_GetServiceExistence, " + when, check.m_GetServiceExistence("Some service", ignored), 0);
  expect("m_GetProcessExistence, " + when, check.m_GetProcessExistence("a.exe", ignored), 0);
  expect("m_GetProcessMemorySize, " + when, check.m_GetProcessMemorySize("a.exe", ignored), memory);
  expect("m_GetProcessCPULoadPercentage, " + when, check.m_GetProcessCPULoadPercentage("a.exe", ignored), load);
  expect("m_GetProcessorLoadPercentage, " + when, check.m_GetProcessorLoadPercentage(ignored), processors);
  for (var i = 0; i < sizes.length; i++) expect(sizes[i] + ", " + when, check[sizes[i]](ignored), size);
}

expectAll("an empty machine", 1, 1, 1, 1, 1);

var service = add("Win32_Service", "Name", "svc", "DisplayName", "Some service");
var process = add("Win32_Process", "Handle", "7", "Name", "a.exe");
var system = add("Win32_OperatingSystem", "Name", "os");
expectAll("values that are unknown", 2, 2, 2, 2, 1);

machine.Change("Win32_Service", service, "State", "Running");
machine.Change("Win32_Process", process, "WorkingSetSize", 4096);
machine.Change("Win32_Process", process, "ProcessId", 7);
var counters = "Win32_PerfRawData_PerfProc_Process";
machine.CountUp(counters, add(counters, "Name", "_Total", "IDProcess", 0), "PercentProcessorTime", 10000);
machine.CountUp(counters, add(counters, "Name", "a", "IDProcess", 7), "PercentProcessorTime", 2500);
var properties = ["FreePhysicalMemory", "TotalVisibleMemorySize", "FreeVirtualMemory", "TotalVirtualMemorySize",
                  "FreeSpaceInPagingFiles", "SizeStoredInPagingFiles"];
for (var i = 0; i < properties.length; i++) machine.Change("Win32_OperatingSystem", system, properties[i], i);
add("Win32_Processor", "DeviceID", "CPU0", "LoadPercentage", 50);
add("Win32_Battery", "DeviceID", "b", "BatteryStatus", 1);
expectAll("values", 0, 0, 0, 0, 0);

try {
  check.m_GetServiceState("it's", ignored);
  WScript.Echo("FAIL no error");
} catch (error) {
  expect("number", error.number, 0x80040211 - 0x100000000);
  expect("description", error.description, "Invalid query ");
}
WScript.Echo("DONE");
