' Appends to and edits a group that pvgroup uses at the same time; how often is the second argument.
Dim groups, link, rs, round, tries
Set groups = CreateObject("PVGroupMan.Groups")
Check "one group", groups.Groups.Count, CLng(1)
Set rs = groups.OpenGroup(groups.Groups(1).ID)
Tell "begun"

For round = 1 To CLng(WScript.Arguments(1))
  rs.AddNew
  rs.Fields("Email").Value = "windows" & round & "@example.org"
  rs.Update
  Check "found", rs.SeekFirst("meeting@example.org", "Email"), True
  rs.Fields("Theirs").Value = CStr(round)
  rs.Update
Next
groups.CloseGroup
Done
