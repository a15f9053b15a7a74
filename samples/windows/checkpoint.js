// Looks at the machine with KVWMI: a service, a program.
//   cscript //nologo checkpoint.js ["display name of a service" [program.exe]]
// KVWMI.dll must be registered: regsvr32 KVWMI.dll
//
// JScript has no arguments by reference, so that it sees of an answer only the method's result: 0 where there is one, 1
// where what was asked for does not exist.

var service = WScript.Arguments.length > 0 ? WScript.Arguments(0) : "Print Spooler";
var program = WScript.Arguments.length > 1 ? WScript.Arguments(1) : "explorer.exe";

var check = new ActiveXObject("KVWMI.CheckPoint");
var ignored = 0;

if (check.m_GetServiceState(service, ignored) == 0) {
  WScript.Echo("There is a service " + service);
} else {
  WScript.Echo("There is no service " + service);
}

if (check.m_GetProcessMemorySize(program, ignored) == 1) {
  WScript.Echo(program + " does not run");
} else {
  WScript.Echo(program + " runs");
}

try {
  check.m_GetServiceState("it's", ignored);
} catch (error) {
  WScript.Echo("Error " + error.number + ": " + error.description);
}
WScript.Echo("Done.");
