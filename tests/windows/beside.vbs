' Compacts, renames and deletes groups that holder.vbs has open. The second and third argument are the
' IDs of the group to delete and of the group to keep.
Dim groups, drop, keep
drop = WScript.Arguments(1)
keep = WScript.Arguments(2)

WaitFor "held"
Set groups = CreateObject("PVGroupMan.Groups")
On Error Resume Next
groups.CompactGroup keep
CheckError "compacting", -130, "Groups::CompactGroup", "CompactTable failed."
CreateObject("PVGroupMan.Database").OpenTable data_folder, keep & ".pvg", 1
CheckTrue "alone", Err.Number = -130 And Err.Source = "OpenTable"
Err.Clear
On Error Goto 0

groups.RenameGroup keep, "Kept"
groups.Refresh
Check "renamed", groups.Groups(keep).Name, "Kept"
Check "deleted", groups.DeleteGroup(drop), True
groups.Refresh
Check "one is left", groups.Groups.Count, CLng(1)
Tell "refused"

WaitFor "let go"
Check "records", groups.OpenGroup(keep).RecordCount, CLng(4)
groups.mTb.MoveFirst
groups.mTb.Delete
groups.CloseGroup
groups.CompactGroup keep
Check "fewer records", groups.OpenGroup(keep).RecordCount, CLng(3)
groups.CloseGroup
Done
