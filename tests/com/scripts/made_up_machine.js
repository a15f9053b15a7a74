// CheckPoint's thirteen methods on a machine that this script makes up, as far as a script without by-reference
// arguments sees them. A failed check prints a line that begins with FAIL; the last line is DONE.

function expect(what, actual, expected) {
  if (actual !== expected) WScript.Echo("FAIL " + what + ": " + actual + " instead of " + expected);
}

var check = new ActiveXObject("KVWMI.CheckPoint");
var ignored = 0;
// The machine is empty: 1 tells that what was asked for is not there.
expect("m_GetPowerSource", check.m_GetPowerSource(ignored), 0);
expect("m_GetServiceState", check.m_GetServiceState("Some service", ignored), 1);
expect("m_GetServiceExistence", check.m_GetServiceExistence("Some service", ignored), 0);
expect("m_GetProcessExistence", check.m_GetProcessExistence("a.exe", ignored), 0);
expect("m_GetProcessMemorySize", check.m_GetProcessMemorySize("a.exe", ignored), 1);
expect("m_GetProcessCPULoadPercentage", check.m_GetProcessCPULoadPercentage("a.exe", ignored), 1);
expect("m_GetProcessorLoadPercentage", check.m_GetProcessorLoadPercentage(ignored), 1);
expect("m_GetFreePhysicalMemorySize", check.m_GetFreePhysicalMemorySize(ignored), 1);
expect("m_GetPhysicalMemorySize", check.m_GetPhysicalMemorySize(ignored), 1);
expect("m_GetFreeVirtualMemorySize", check.m_GetFreeVirtualMemorySize(ignored), 1);
expect("m_GetVirtualMemorySize", check.m_GetVirtualMemorySize(ignored), 1);
expect("m_GetFreePagingFilesSize", check.m_GetFreePagingFilesSize(ignored), 1);
expect("m_GetPagingFilesSize", check.m_GetPagingFilesSize(ignored), 1);
try {
  check.m_GetServiceState("it's", ignored);
  WScript.Echo("FAIL no error");
} catch (error) {
  expect("number", error.number, 0x80040211 - 0x100000000);
  expect("description", error.description, "Invalid query ");
}
WScript.Echo("DONE");
