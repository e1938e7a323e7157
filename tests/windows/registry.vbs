' The registry's class, member by member. The key "Software\Parvane Test" of the user has values of
' every type when it begins.
Const kClasses = &H80000000
Const kUser = &H80000001
Const kMachine = &H80000002
Dim r, shell, names, name, all, bytes, v

Set r = CreateObject("PVGroupMan.cRegistry")
Set shell = CreateObject("WScript.Shell")
Check "no machine", r.Machine, ""
Check "no key", r.SectionKey & r.ValueKey, ""
Check "text is written", r.ValueType, CLng(1)
Check "no default", r.Default, Empty

' Reading what others wrote.
r.ClassKey = kUser
r.SectionKey = "Software\Parvane Test"
Check "root key", r.ClassKey, kUser
Check "section", r.SectionKey, "Software\Parvane Test"
Check "key is there", r.KeyExists, True
r.Default = "none"
r.ValueKey = "Absent"
Check "absent", r.Value, "none"
r.ValueKey = ""
Check "value without a name", r.Value, "unnamed"
r.ValueKey = "Text"
Check "text", r.Value, "Gr" & Chr(252) & Chr(223) & "e"
r.ValueKey = "Path"
Check "expandable text", r.Value, shell.ExpandEnvironmentStrings("%SystemRoot%\x")
r.ValueKey = "Number"
Check "number", r.Value, CLng(-2)
r.ValueKey = "Big"
Check "big-endian number", r.Value, CLng(258)
r.ValueKey = "List"
Check "the first text of a list", r.Value, "one"
r.ValueKey = "Bytes"
bytes = r.Value
Check "bytes", VarType(bytes), CInt(vbArray + vbByte)
r.ValueKey = "Odd"
Check "any other type", VarType(r.Value), CInt(vbArray + vbByte)

' What the key has.
Check "number of values", r.EnumerateValues(names), CLng(8)
Check "as an array", UBound(names), CLng(7)
all = ""
For Each name In names
  all = all & "/" & name
Next
For Each name In Array("", "Text", "Path", "Number", "Big", "List", "Bytes", "Odd")
  CheckTrue "name " & name, InStr(all & "/", "/" & name & "/") > 0
Next
Check "an item of the array", TypeName(names(3)), "String"
Check "number of sections", r.EnumerateSections(names), CLng(2)
Check "sections", names(0) & " " & names(1), "One Two"
r.SectionKey = "Software\Parvane Test\One"
Check "no values", r.EnumerateValues(names), CLng(0)
Check "an empty array", UBound(names), CLng(-1)
r.SectionKey = "Software\Parvane Test\Three"
Check "nor sections of what is not there", r.EnumerateSections(names), CLng(0)
Check "key is not there", r.KeyExists, False

' Writing, seen by the system's own functions.
r.CreateKey
Check "key made", r.KeyExists, True
Sub CheckWritten(name, value, want)
  r.ValueKey = name
  r.Value = value
  Check "written " & name, shell.RegRead("HKCU\Software\Parvane Test\Three\" & name), want
  If Not IsArray(want) Then Check "read " & name, r.Value, want
End Sub
CheckWritten "Text", "Gr" & Chr(252) & Chr(223) & "e", "Gr" & Chr(252) & Chr(223) & "e"
CheckWritten "Number", 12.5, "12.5"
CheckWritten "Empty", Empty, ""
r.ValueType = 2
CheckWritten "Path", "%SystemRoot%\y", shell.ExpandEnvironmentStrings("%SystemRoot%\y")
r.ValueType = 4
CheckWritten "Wide", CLng(70000), CLng(70000)
CheckWritten "Narrow", CInt(-2), CLng(-2)
r.ValueType = 5
CheckWritten "Big", CLng(258), CLng(258)
r.ValueType = 3
r.ValueKey = "Bytes"
r.Value = bytes
v = shell.RegRead("HKCU\Software\Parvane Test\Three\Bytes")
Check "bytes written", v(0) & " " & v(1) & " " & v(2), "1 2 255"
r.DeleteValue
Check "value deleted", r.EnumerateValues(names), CLng(7)

' Everything in one call.
r.ValueEx(kUser, "Software\Parvane Test\Two", "More", 4) = CLng(5)
Check "property with arguments", r.ValueEx(kUser, "Software\Parvane Test\Two", "More"), CLng(5)
Check "has set the section", r.SectionKey & "/" & r.ValueKey, "Software\Parvane Test\Two/More"
Check "and the type", r.ValueType, CLng(4)
Check "a default too", r.ValueEx(kUser, "Software\Parvane Test\None", "More"), "none"

' Another machine.
r.ValueEx(kUser, "Software\Parvane Test\Two", "More") = CLng(6)
r.Machine = "nobody-has-this-name"
Check "cannot be read", r.Value, "none"
Check "has no keys", r.KeyExists, False
Check "nor values", r.EnumerateValues(names), CLng(0)
r.Machine = ""
Check "here it is", r.Value, CLng(6)

' Document types.
Function ClassValue(key)
  ClassValue = r.ValueEx(kMachine, "SOFTWARE\Classes\" & key, "")
  If r.ValueEx(kClasses, key, "") <> ClassValue Then ClassValue = "is not the same in both places"
End Function
r.SectionKey = "kept"
r.CreateEXEAssociation " C:\Parvane\p.exe ", "pvx", "Parvane.X", "A document"
Check "section is kept", r.SectionKey, "kept"
Check "extension", ClassValue(".pvx"), "Parvane.X"
Check "description", ClassValue("Parvane.X"), "A document"
Check "open", ClassValue("Parvane.X\shell\open"), "&Open"
Check "command", ClassValue("Parvane.X\shell\open\command"), """C:\Parvane\p.exe"" ""%1"""
Check "icon", ClassValue("Parvane.X\DefaultIcon"), """C:\Parvane\p.exe"",0"
Check "no print", ClassValue("Parvane.X\shell\print"), "none"
r.CreateEXEAssociation """C:\p.exe""", "pvy", "Parvane.Y", "Another", "", True, , True, , True, "&Make", 3
Check "open by default", ClassValue("Parvane.Y\shell\open"), "&Open"
Check "print", ClassValue("Parvane.Y\shell\print"), "&Print"
Check "printing", ClassValue("Parvane.Y\shell\print\command"), """C:\p.exe"" /p ""%1"""
Check "add", ClassValue("Parvane.Y\shell\add"), "&Install pvy"
Check "adding", ClassValue("Parvane.Y\shell\add\command"), """C:\p.exe"" /a ""%1"""
Check "new", ClassValue("Parvane.Y\shell\new"), "&Make"
Check "making", ClassValue("Parvane.Y\shell\new\command"), """C:\p.exe"" /n ""%1"""
Check "its icon", ClassValue("Parvane.Y\DefaultIcon"), """C:\p.exe"",3"
r.CreateAdditionalEXEAssociations "Parvane.X", Array("check", "&Check", "c ""%1""", "a", "&A", "b")
Check "a verb", ClassValue("Parvane.X\shell\check"), "&Check"
Check "its command", ClassValue("Parvane.X\shell\check\command"), "c ""%1"""
Check "the last one", ClassValue("Parvane.X\shell\a\command"), "b"

' What cannot be done.
Const kSource = "pvgrpman.cRegistry"
On Error Resume Next
r.CreateAdditionalEXEAssociations "Parvane.X", Array("a", "b", "c", "d")
CheckError "not in threes", vbObjectError + 27052, kSource, _
  "Invalid parameter list passed to CreateAdditionalEXEAssociations - expected Name/Text/Command"
r.CreateAdditionalEXEAssociations "Parvane.None", Array("a", "b", "c")
CheckError "no such class", vbObjectError + 27053, kSource, _
  "Error - attempt to create additional associations before class defined."
r.ClassKey = kUser
r.SectionKey = "Software\Parvane Test"
r.DeleteKey
CheckError "others are below", 26001, kSource, _
  "Failed to delete registry Key: '-2147483647',Section: 'Software\Parvane Test"
Check "it stays", r.KeyExists, True
r.ValueKey = "Absent"
r.DeleteValue
CheckError "no such value", 26001, kSource, "Failed to delete registry Key: '-2147483647'," & _
  "Section: 'Software\Parvane Test',Key: 'Absent"
r.SectionKey = "Software\Parvane Test\None"
r.DeleteValue
CheckError "no such key", 26001, kSource, "Failed to open key '-2147483647'," & _
  "Section: 'Software\Parvane Test\None' for delete access"
r.DeleteKey
CheckError "nothing to delete", 26001, kSource, _
  "Failed to delete registry Key: '-2147483647',Section: 'Software\Parvane Test\None"
r.SectionKey = "Software\Parvane Test\Two"
r.ValueKey = "More"
r.ValueType = 3
r.Value = "text"
CheckError "no bytes", 26001, kSource, "Failed to set registry value Key: '-2147483647'," & _
  "Section: 'Software\Parvane Test\Two',Key: 'More' to value: 'text'"
r.ValueType = 4
r.Value = 1.5
CheckError "no whole number", 26001, kSource, "Failed to set registry value Key: '-2147483647'," & _
  "Section: 'Software\Parvane Test\Two',Key: 'More' to value: '1.5'"
r.ValueType = 7
r.Value = "text"
CheckError "a type that is not written", 26001, kSource, "*"
r.ValueType = 1
r.Value = Null
CheckError "Null", 94, "*", "*"
Check "nothing was written", r.Value, CLng(6)
r.ValueKey = String(20000, "n")
r.Value = "x"
CheckTrue "the system's refusal", Err.Number = vbObjectError + 27049 And Err.Source = kSource And _
  Left(Err.Description, 50) = "Failed to set registry value Key: '-2147483647',Se"
Err.Clear
r.ValueKey = "More"
r.ClassKey = 5
r.CreateKey
CheckError "no root", 26001, kSource, "Failed to create registry Key: 'Software\Parvane Test\Two"
r.Value = "x"
CheckError "nowhere to write", 26001, kSource, "Failed to set registry value Key: '5'," & _
  "Section: 'Software\Parvane Test\Two',Key: 'More' to value: 'x'"
Check "a read only answers", r.Value, "none"
r.ClassKey = "root"
CheckError "text for a root", 13, "*", "*"
r.ClassKey = kUser
r.DeleteKey
CheckNone "deleted"
Check "it is gone", r.KeyExists, False
Done
