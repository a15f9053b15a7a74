' Stands in front of each script here.
Option Explicit

' A failed expectation is a line that begins with FAIL.
Sub Expect(what, actual, expected)
  Dim failed
  failed = True
  If TypeName(actual) = TypeName(expected) Then
    If actual = expected Then failed = False
  End If
  If failed Then WScript.Echo "FAIL " & what & ": " & TypeName(actual) & " " & actual & " instead of " & expected
End Sub

