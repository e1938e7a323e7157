' Members that need a lock which somebody else keeps; the second argument is the member.
Dim groups, member, source, rs
member = WScript.Arguments(1)
source = member
Set groups = CreateObject("PVGroupMan.Groups")
Set rs = groups.OpenGroup(groups.Groups(1).ID)
rs.MoveFirst
Tell member & ".ready"
WaitFor "locked"

On Error Resume Next
Select Case member
  Case "Update"
    rs.Fields("City").Value = "Ulm"
    rs.Update
  Case "AddNew"
    rs.AddNew
    rs.Fields("Email").Value = "x@example.org"
    rs.Update
    source = "Update"
  Case "Delete"
    rs.Delete
  Case "MoveFirst"
    rs.MoveFirst
  Case "SeekFirst"
    rs.SeekFirst "a@example.org", "Email"
End Select
CheckError member, 50, source, "Record is locked."
groups.CloseGroup
CheckNone "closing"
Done
