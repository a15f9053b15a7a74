' CheckPoint as a script uses it, against the system's own WMI. Every failed check prints a line that begins with
' FAIL; the last line is DONE. Risky expressions and their checks stand on lines of their own, because a line that
' fails is skipped as a whole.
Dim c, r, s, values(1), holder, infos

Class Member
  Public Value
End Class

Sub ExpectError(what, number, source, description)
  Dim n, f, d
  n = Err.Number
  f = Err.Source
  d = Err.Description
  Err.Clear
  Expect what & " number", n, number
  If source <> "" Then Expect what & " source", f, source
  If description <> "" Then Expect what & " description", d, description
End Sub

Set c = CreateObject("KVWMI.CheckPoint")
Set c = CreateObject("KVWMI.CheckPoint.2")

' The thirteen methods.
r = c.m_GetPowerSource(s)
Expect "m_GetPowerSource", r, CLng(0)
Expect "power source", s, CLng(25)
r = c.m_GetServiceState("Event Log", s)
Expect "m_GetServiceState", r, CLng(0)
Expect "state", s, CLng(4)
r = c.m_GetServiceState("Some service", s)
Expect "m_GetServiceState, unknown", r, CLng(1)
Expect "state, unknown", s, CLng(0)
r = c.m_GetServiceExistence("Event Log", s)
Expect "m_GetServiceExistence", r, CLng(0)
Expect "service exists", s, True
r = c.m_GetServiceExistence("Some service", s)
Expect "service exists, unknown", s, False
r = c.m_GetProcessExistence("cscript.exe", s)
Expect "m_GetProcessExistence", r, CLng(0)
Expect "process exists", s, True
r = c.m_GetProcessMemorySize("no_such_program.exe", s)
Expect "m_GetProcessMemorySize", r, CLng(1)
Expect "memory of nothing", s, CCur(0)
r = c.m_GetProcessCPULoadPercentage("no_such_program.exe", s)
Expect "m_GetProcessCPULoadPercentage", r, CLng(1)
Expect "load of nothing", s, CLng(0)
r = c.m_GetPhysicalMemorySize(s)
Expect "m_GetPhysicalMemorySize", r, CLng(0)
Expect "its type", TypeName(s), "Currency"
Expect "physical memory", s > 0, True
r = c.m_GetFreePhysicalMemorySize(s)
Expect "m_GetFreePhysicalMemorySize", r, CLng(0)
Expect "free physical memory", s > 0, True
r = c.m_GetVirtualMemorySize(s)
Expect "m_GetVirtualMemorySize", r, CLng(0)
r = c.m_GetFreeVirtualMemorySize(s)
Expect "m_GetFreeVirtualMemorySize", r, CLng(0)

' Failures are WMI's own, in one piece. These three are properties that Wine's WMI does not have.
On Error Resume Next
r = c.m_GetPagingFilesSize(s)
ExpectError "m_GetPagingFilesSize", CLng(-2147220975), "SWbemObjectEx" & vbCrLf & vbTab & "KVWMI : CheckPoint.m_GetPagingFilesSize", "Not found "
r = c.m_GetFreePagingFilesSize(s)
ExpectError "m_GetFreePagingFilesSize", CLng(-2147220975), "SWbemObjectEx" & vbCrLf & vbTab & "KVWMI : CheckPoint.m_GetFreePagingFilesSize", "Not found "
Expect "reset before the failure", s, CCur(0)
r = c.m_GetProcessorLoadPercentage(s)
ExpectError "m_GetProcessorLoadPercentage", CLng(-2147220975), "SWbemObjectEx" & vbCrLf & vbTab & "KVWMI : CheckPoint.m_GetProcessorLoadPercentage", "Not found "
Expect "reset before the failure too", s, CLng(0)
r = c.m_GetServiceState("it's", s)
ExpectError "a quote", CLng(-2147220975), "SWbemServicesEx" & vbCrLf & vbTab & "KVWMI : CheckPoint.m_GetServiceState", "Invalid query "

' An output goes into any variable whose value converts to its type.
s = "text"
r = c.m_GetServiceState("Event Log", s)
ExpectError "output into a text that is no number", CLng(13), "", ""
Expect "the variable", s, "text"
s = "7"
r = c.m_GetServiceState("Event Log", s)
Expect "output into a number as text", s, CLng(4)
values(1) = Empty
r = c.m_GetServiceState("Event Log", values(1))
Expect "output into an element", values(1), CLng(4)
Set holder = New Member
r = c.m_GetServiceState("Event Log", holder.Value)
Expect "a member is passed by value", TypeName(holder.Value), "Empty"
r = c.m_GetServiceState("Event Log", (s))
Expect "an expression is passed by value", r, CLng(0)
r = c.M_GETSERVICESTATE("Event Log", s)
Expect "any case", r, CLng(0)
ExpectError "so far", CLng(0), "", ""

' Wrong arguments.
r = c.m_GetServiceState("Event Log")
ExpectError "too few", CLng(450), "", ""
r = c.m_GetServiceState("Event Log", s, s)
ExpectError "too many", CLng(450), "", ""
r = c.m_GetServiceState(Null, s)
ExpectError "Null", CLng(13), "", ""
r = c.m_GetServiceState(Array("Event Log"), s)
ExpectError "an array", CLng(13), "", ""
s = CreateObject("Scripting.Dictionary")
Err.Clear
Set s = Nothing
r = c.m_GetServiceState("Event Log", s)
Expect "Nothing", Err.Number <> 0, True
Err.Clear
r = c.m_Unknown()
ExpectError "no such member", CLng(438), "", ""
On Error Goto 0

' Properties.
Set infos = CreateObject("KVWMI.SupervisionInfos")
s = 12
infos.p_lngCurrentStepId = s
infos.p_strDetail = "detail" & vbCrLf
infos.p_blnHasBeenDetected = True
Expect "p_lngCurrentStepId", infos.p_lngCurrentStepId, CLng(12)
Expect "p_strDetail", infos.p_strDetail, "detail" & vbCrLf
Expect "p_blnHasBeenDetected", infos.p_blnHasBeenDetected, True
Expect "p_blnNotifyIfUndetected", infos.p_blnNotifyIfUndetected, False
WScript.Echo "DONE"
