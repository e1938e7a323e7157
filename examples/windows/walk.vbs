' Shows every recipient of a group:  cscript walk.vbs "Name of the group"
Option Explicit
Dim groups, link, rs, id

Set groups = CreateObject("PVGroupMan.Groups")
If WScript.Arguments.Count = 0 Then
  WScript.Echo "Groups in " & CreateObject("PVGroupMan.Settings").GroupDataFolder
  For Each link In groups.Groups
    WScript.Echo "  " & link.Name
  Next
  WScript.Quit 0
End If

For Each link In groups.Groups
  If LCase(link.Name) = LCase(WScript.Arguments(0)) Then id = link.ID
Next

On Error Resume Next
Set rs = groups.OpenGroup(id)
If Err.Number <> 0 Then
  WScript.Echo "Error " & Err.Number & " from " & Err.Source & ": " & Err.Description
  WScript.Quit 1
End If
On Error Goto 0

If Not (rs.BOF And rs.EOF) Then rs.MoveFirst
Do Until rs.EOF
  WScript.Echo Trim(rs.Fields("Email").Value)
  rs.MoveNext
Loop
WScript.Echo groups.RecipientCount & " recipients"
groups.CloseGroup
