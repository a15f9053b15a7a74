// CheckPoint as a script without by-reference arguments uses it, against the system's own WMI. Every failed check
// prints a line that begins with FAIL; the last line is DONE.

function expect(what, actual, expected) {
  if (actual !== expected) WScript.Echo("FAIL " + what + ": " + actual + " instead of " + expected);
}

// Script hosts differ in whether they give an automation error their own number.
function expectError(what, numbers, description, call) {
  try {
    call();
    WScript.Echo("FAIL " + what + ": no error");
  } catch (error) {
    if (error.number !== numbers[0] && error.number !== numbers[1]) {
      WScript.Echo("FAIL " + what + " number: " + error.number + " instead of " + numbers[0]);
    }
    if (description) expect(what + " description", error.description, description);
  }
}

var classError = [0x80040211 - 0x100000000];
var typeMismatch = [0x80020005 - 0x100000000, 0x800A000D - 0x100000000];
var wrongCount = [0x8002000E - 0x100000000, 0x800A01C2 - 0x100000000];

var check = new ActiveXObject("KVWMI.CheckPoint");
var output = 5;

expect("m_GetPowerSource", check.m_GetPowerSource(output), 0);
expect("an output stays in the call", output, 5);
expect("m_GetServiceState", check.m_GetServiceState("Event Log", output), 0);
expect("m_GetServiceState, unknown", check.m_GetServiceState("Some service", output), 1);
expect("m_GetServiceExistence", check.m_GetServiceExistence("Event Log", output), 0);
expect("m_GetProcessExistence", check.m_GetProcessExistence("cscript.exe", output), 0);
expect("m_GetProcessMemorySize", check.m_GetProcessMemorySize("no_such_program.exe", output), 1);
expect("m_GetProcessCPULoadPercentage", check.m_GetProcessCPULoadPercentage("no_such_program.exe", output), 1);
expect("m_GetPhysicalMemorySize", check.m_GetPhysicalMemorySize(output), 0);
expect("m_GetFreePhysicalMemorySize", check.m_GetFreePhysicalMemorySize(1.5), 0);
expect("m_GetVirtualMemorySize", check.m_GetVirtualMemorySize("0"), 0);
expect("m_GetFreeVirtualMemorySize", check.m_GetFreeVirtualMemorySize(undefined), 0);

// Properties that Wine's WMI does not have: its own failure arrives.
expectError("m_GetPagingFilesSize", classError, "Not found ", function () { check.m_GetPagingFilesSize(output); });
expectError("m_GetFreePagingFilesSize", classError, "Not found ", function () { check.m_GetFreePagingFilesSize(output); });
expectError("m_GetProcessorLoadPercentage", classError, "Not found ", function () { check.m_GetProcessorLoadPercentage(output); });
expectError("a quote", classError, "Invalid query ", function () { check.m_GetServiceState("it's", output); });

expectError("null", typeMismatch, "", function () { check.m_GetServiceState(null, output); });
expectError("no number", typeMismatch, "", function () { check.m_GetServiceState("Event Log", "many"); });
expectError("too few", wrongCount, "", function () { check.m_GetServiceState("Event Log"); });
expectError("too many", wrongCount, "", function () { check.m_GetServiceState("Event Log", output, output); });

var infos = new ActiveXObject("KVWMI.SupervisionInfos");
infos.p_lngSupervisionId = 3;
infos.p_strDetail = "detail";
expect("p_lngSupervisionId", infos.p_lngSupervisionId, 3);
expect("p_strDetail", infos.p_strDetail, "detail");
WScript.Echo("DONE");
