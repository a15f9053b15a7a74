' Supervision from a script, on a machine that the script makes up. A failed expectation is a line beginning with FAIL.
Dim machine, s, r, id, detail, row, n, source, d

' The next record of step 7 in id and detail; the message loop must run for one to come.
Sub NextRecord
  Dim rounds
  rounds = 0
  Do
    s.m_PopEventInfos 7, id, detail
    If id <> 0 Or rounds = 300 Then Exit Do
    machine.Pump 100
    rounds = rounds + 1
  Loop
End Sub

Set machine = CreateObject("KVWMITest.Repository")
machine.Clear
Set s = CreateObject("KVWMI.Supervision")
s.p_strSupervisionEventName = "kvwmi script"
Expect "p_strSupervisionEventName", s.p_strSupervisionEventName, "kvwmi script"

On Error Resume Next
r = s.m_SuperviseService(7, 3, "Some service")
n = Err.Number
source = Err.Source
d = Err.Description
On Error Goto 0
Expect "number before m_Initialize", n, CLng(-2147220977)
Expect "source before m_Initialize", source, "KVWMI" & vbCrLf & vbTab & "KVWMI : Supervision.m_SuperviseService"
Expect "description before m_Initialize", d, "Object variable or With block variable not set"

s.m_Initialize
s.m_PopEventInfos 7, id, detail
Expect "no supervision", id, CLng(0)
Expect "no detail", detail, ""

row = machine.Add("Win32_Service", Array("Name", "svc", "DisplayName", "Some service", "State", "Running"))
r = s.m_SuperviseService(7, 3, "Some service", , , 1)
Expect "m_SuperviseService", r, CLng(0)
machine.Change "Win32_Service", row, "State", "Stopped"
NextRecord
Expect "service", id, CLng(3)
Expect "detail of the service", detail, ""

row = machine.Add("Win32_LogicalDisk", Array("DeviceID", "C:", "DriveType", 3, "FreeSpace", "90000000000", "Size", "100000000000"))
r = s.m_SuperviseDiskFreeSpace(7, 4, "C:", 2, 50, 3, 1)
Expect "m_SuperviseDiskFreeSpace", r, CLng(0)
machine.Change "Win32_LogicalDisk", row, "FreeSpace", "4096"
NextRecord
Expect "disk", id, CLng(4)
Expect "detail of the disk", detail, "Value: 4096 Bytes"

r = s.m_SuperviseProcess(7, 5, "a.exe", False, False, , , , True)
Expect "m_SuperviseProcess", r, CLng(0)
s.m_PushUndetectedEventInfos
NextRecord
Expect "undetected", id, CLng(5)
s.m_Release
WScript.Echo "DONE"
