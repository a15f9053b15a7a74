' The stand-in as a script sees it: filled through its control object, asked through the standard scripting objects.
Option Explicit
Dim failures : failures = 0

Sub Expect(what, got, wanted)
  If got <> wanted Then
    WScript.Echo "FAIL " & what & ": got '" & got & "', wanted '" & wanted & "'"
    failures = failures + 1
  End If
End Sub

Dim machine, row, values
Set machine = CreateObject("KVWMITest.Repository")
values = Array("Name", "svc", "DisplayName", "Some service", "State", "Running", "ProcessId", 7)
row = machine.Add("Win32_Service", values)
values = Array("Name", "other", "DisplayName", "Other service", "State", "Stopped")
machine.Add "Win32_Service", values

Dim locator, services, found, service, names
Set locator = CreateObject("WbemScripting.SWbemLocator")
Set services = locator.ConnectServer(".", "root\CIMV2")
Set found = services.ExecQuery("SELECT * FROM Win32_Service")
Expect "count", found.Count, 2
names = ""
For Each service In found
  names = names & service.Name & "=" & service.State & ";"
Next
Expect "walk", names, "svc=Running;other=Stopped;"

machine.Change "Win32_Service", row, "State", "Paused"
Set found = services.ExecQuery("SELECT * FROM Win32_Service WHERE DisplayName='Some service'")
For Each service In found
  Expect "changed state", service.Properties_.Item("State").Value, "Paused"
  Expect "class", service.Path_.Class, "Win32_Service"
  Expect "stop", service.StopService(), 0
  Expect "stop again", service.StopService(), 10
Next
Dim calls
calls = machine.Calls()
Expect "calls", UBound(calls), 1
Expect "first call", calls(0), "Win32_Service.StopService()"

machine.Answer "Win32_Service", "StartService", 14
Set found = services.ExecQuery("SELECT * FROM Win32_Service WHERE Name='svc'")
For Each service In found
  Expect "answer", service.StartService(), 14
Next

On Error Resume Next
Dim count
Set found = services.ExecQuery("SELECT * FROM Win32_Service WHERE DisplayName='O'Neil'")
Expect "deferred", Err.Number, 0
count = found.Count
Expect "number", Hex(Err.Number), "80041017"
Expect "source", Err.Source, "SWbemObjectSet"
Expect "description", Err.Description, "Invalid query "
Err.Clear
On Error Goto 0

machine.Remove "Win32_Service", row
Expect "after removal", services.ExecQuery("SELECT * FROM Win32_Service").Count, 1
machine.Clear
Expect "after clearing", services.ExecQuery("SELECT * FROM Win32_Service").Count, 0
machine.Pump 10

Dim context
Set context = CreateObject("WbemScripting.SWbemNamedValueSet")
Dim value : value = 64
context.Add "__ProviderArchitecture", value
Expect "named value", context.Item("__PROVIDERARCHITECTURE").Value, 64
Expect "named values", context.Count, 1

WScript.Echo "DONE " & failures
