' CheckPoint's thirteen methods on a machine that this script makes up. A failed check prints a line that begins with
' FAIL; the last line is DONE.
Dim machine, c, r, s, row, source, n, d

Set machine = CreateObject("KVWMITest.Repository")
Set c = CreateObject("KVWMI.CheckPoint")

r = c.m_GetPowerSource(s)
Expect "without a battery", s, CLng(25)
machine.Add "Win32_Battery", Array("DeviceID", "b", "BatteryStatus", 1)
r = c.m_GetPowerSource(s)
Expect "m_GetPowerSource", r, CLng(0)
Expect "on battery", s, CLng(26)

row = machine.Add("Win32_Service", Array("Name", "svc", "DisplayName", "Some service", "State", "Running"))
r = c.m_GetServiceState("Some service", s)
Expect "m_GetServiceState", r, CLng(0)
Expect "running", s, CLng(4)
machine.Change "Win32_Service", row, "State", "Paused"
r = c.m_GetServiceState("Some service", s)
Expect "paused", s, CLng(7)
r = c.m_GetServiceExistence("Some service", s)
Expect "m_GetServiceExistence", r, CLng(0)
Expect "exists", s, True

machine.Add "Win32_Process", Array("Handle", "7", "Name", "a.exe", "ProcessId", 7, "WorkingSetSize", 4096)
r = c.m_GetProcessExistence("a.exe", s)
Expect "m_GetProcessExistence", r, CLng(0)
Expect "runs", s, True
r = c.m_GetProcessMemorySize("a.exe", s)
Expect "m_GetProcessMemorySize", r, CLng(0)
Expect "memory", s, CCur(4096)
r = c.m_GetProcessCPULoadPercentage("a.exe", s)
Expect "m_GetProcessCPULoadPercentage, no counters", r, CLng(1)
Expect "no load", s, CLng(0)
row = machine.Add("Win32_PerfRawData_PerfProc_Process", Array("Name", "_Total", "IDProcess", 0, "PercentProcessorTime", 0))
machine.CountUp "Win32_PerfRawData_PerfProc_Process", row, "PercentProcessorTime", 10000
row = machine.Add("Win32_PerfRawData_PerfProc_Process", Array("Name", "a", "IDProcess", 7, "PercentProcessorTime", 0))
machine.CountUp "Win32_PerfRawData_PerfProc_Process", row, "PercentProcessorTime", 2500
r = c.m_GetProcessCPULoadPercentage("a.exe", s)
Expect "m_GetProcessCPULoadPercentage", r, CLng(0)
Expect "load", s, CLng(25)

machine.Add "Win32_OperatingSystem", Array("Name", "os", "FreePhysicalMemory", 1, "TotalVisibleMemorySize", 2, "FreeVirtualMemory", 3, "TotalVirtualMemorySize", 4, "FreeSpaceInPagingFiles", 5, "SizeStoredInPagingFiles", 6)
r = c.m_GetFreePhysicalMemorySize(s)
Expect "m_GetFreePhysicalMemorySize", s, CCur(1)
r = c.m_GetPhysicalMemorySize(s)
Expect "m_GetPhysicalMemorySize", s, CCur(2)
r = c.m_GetFreeVirtualMemorySize(s)
Expect "m_GetFreeVirtualMemorySize", s, CCur(3)
r = c.m_GetVirtualMemorySize(s)
Expect "m_GetVirtualMemorySize", s, CCur(4)
r = c.m_GetFreePagingFilesSize(s)
Expect "m_GetFreePagingFilesSize", s, CCur(5)
r = c.m_GetPagingFilesSize(s)
Expect "m_GetPagingFilesSize", s, CCur(6)

machine.Add "Win32_Processor", Array("DeviceID", "CPU0", "LoadPercentage", 50)
machine.Add "Win32_Processor", Array("DeviceID", "CPU1", "LoadPercentage", 51)
r = c.m_GetProcessorLoadPercentage(s)
Expect "m_GetProcessorLoadPercentage", r, CLng(0)
Expect "halves to the even neighbour", s, CLng(50)

On Error Resume Next
r = c.m_GetServiceState("it's", s)
n = Err.Number
source = Err.Source
d = Err.Description
On Error Goto 0
Expect "number", n, CLng(-2147220975)
Expect "source", source, "SWbemObjectSet" & vbCrLf & vbTab & "KVWMI : CheckPoint.m_GetServiceState"
Expect "description", d, "Invalid query "
Expect "reset", s, CLng(0)
WScript.Echo "DONE"
