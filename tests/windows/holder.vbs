' Holds two groups open while beside.vbs compacts, renames and deletes them: what the holder sees.
Dim groups, others, rs, gone, found
Set groups = CreateObject("PVGroupMan.Groups")
Set others = CreateObject("PVGroupMan.Groups")

Check "two groups", groups.Groups.Count, CLng(2)
Set rs = groups.OpenGroup(groups.Groups(2).ID)
Set gone = others.OpenGroup(others.Groups(1).ID)
rs.MoveFirst
gone.MoveFirst
Tell "held"
WaitFor "refused"

' What was refused has changed nothing, and the holder goes on.
Check "its record", rs.Fields("Email").Value, "a@example.org"
rs.Fields("City").Value = "Ulm"
rs.Update
rs.AddNew
rs.Fields("Email").Value = "late@example.org"
rs.Update
Check "it is found", rs.SeekFirst("late@example.org", "Email"), True
Check "records", rs.RecordCount, CLng(4)
groups.CloseGroup

' What was deleted meanwhile can still be read to its end.
found = 0
gone.MoveFirst
Do Until gone.EOF
  found = found + 1
  gone.MoveNext
Loop
Check "records of the deleted group", CLng(found), CLng(3)
others.CloseGroup
Check "closed", others.IsGroupOpen, False
Tell "let go"
On Error Resume Next
others.Refresh
others.OpenGroup WScript.Arguments(1)
CheckError "it is gone", 2409, "Groups::OpenGroup", _
  "The Group could not be opened as it no longer exists."
Done
