' Looks at the machine with KVWMI: a service, a program, the memory.
'   cscript //nologo checkpoint.vbs ["display name of a service" [program.exe]]
' KVWMI.dll must be registered: regsvr32 KVWMI.dll
Option Explicit

Dim service, program
service = "Print Spooler"
program = "explorer.exe"
If WScript.Arguments.Count > 0 Then service = WScript.Arguments(0)
If WScript.Arguments.Count > 1 Then program = WScript.Arguments(1)

Dim check, status, state, exists, size
Set check = CreateObject("KVWMI.CheckPoint")

' The answers come back in the last argument; the result tells whether there is one.
status = check.m_GetServiceState(service, state)
If status = 0 Then
  WScript.Echo service & " is in state " & state & " (4 is running)"
Else
  WScript.Echo "There is no service " & service
End If

status = check.m_GetProcessExistence(program, exists)
If exists Then
  WScript.Echo program & " runs"
Else
  WScript.Echo program & " does not run"
End If

status = check.m_GetPhysicalMemorySize(size)
WScript.Echo "Physical memory: " & size & " kilobytes"

' A failure is an error like any other. Each line of its source names a routine that it came through.
On Error Resume Next
status = check.m_GetServiceState("it's", state)
If Err.Number <> 0 Then
  WScript.Echo "Error " & Err.Number & ": " & Err.Description
  WScript.Echo Err.Source
End If
On Error Goto 0
WScript.Echo "Done."
