' Stands before every script of the suite: checks, each of which leaves a line, and a last line that
' says how many there were. The first argument is the folder for groups.
Option Explicit
Dim checks_, failures_
checks_ = 0
failures_ = 0

Function Shown_(v)
  If IsObject(v) Then
    If v Is Nothing Then Shown_ = "Nothing" Else Shown_ = "object " & TypeName(v)
  ElseIf IsNull(v) Then
    Shown_ = "Null"
  ElseIf IsEmpty(v) Then
    Shown_ = "Empty"
  Else
    Shown_ = TypeName(v) & " " & CStr(v)
  End If
End Function

Sub Fail_(what, text)
  failures_ = failures_ + 1
  WScript.Echo "FAIL " & what & ": " & text
End Sub

' The value, and its subtype too.
Sub Check(what, got, want)
  Dim same
  checks_ = checks_ + 1
  WScript.Echo "  " & what
  same = (VarType(got) = VarType(want))
  If same And Not IsNull(got) And Not IsEmpty(got) Then same = (got = want)
  If Not same Then Fail_ what, Shown_(got) & " instead of " & Shown_(want)
End Sub

Sub CheckTrue(what, condition)
  checks_ = checks_ + 1
  WScript.Echo "  " & what
  If Not condition Then Fail_ what, "is not so"
End Sub

' The error in Err, which is cleared. "*" stands for any text.
Sub CheckError(what, number, source, description)
  checks_ = checks_ + 1
  WScript.Echo "  " & what
  If Err.Number <> number Or (source <> "*" And Err.Source <> source) Or _
     (description <> "*" And Err.Description <> description) Then
    Fail_ what, Err.Number & " / " & Err.Source & " / " & Err.Description & " instead of " & _
      number & " / " & source & " / " & description
  End If
  Err.Clear
End Sub

' No error is in Err.
Sub CheckNone(what)
  checks_ = checks_ + 1
  WScript.Echo "  " & what
  If Err.Number <> 0 Then Fail_ what, Err.Number & " / " & Err.Source & " / " & Err.Description
  Err.Clear
End Sub

' Scripts that run side by side tell each other how far they are, by files in the folder.
Sub Tell(what)
  CreateObject("Scripting.FileSystemObject").CreateTextFile(data_folder & "\" & what).Close
End Sub

Sub WaitFor(what)
  Dim files, tries
  Set files = CreateObject("Scripting.FileSystemObject")
  For tries = 1 To 6000
    If files.FileExists(data_folder & "\" & what) Then Exit Sub
    WScript.Sleep 100
  Next
  Fail_ "waiting for " & what, "in vain"
End Sub

Sub Done()
  WScript.Echo "DONE " & checks_ & " checks, " & failures_ & " failures"
End Sub

Dim data_folder, settings_
data_folder = WScript.Arguments(0)
Set settings_ = CreateObject("PVGroupMan.Settings")
settings_.GroupDataFolder = data_folder

