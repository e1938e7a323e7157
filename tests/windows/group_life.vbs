' The whole life of a group.
Dim groups, fields, indexes, id, rs, n, all, kept

Set groups = CreateObject("PVGroupMan.Groups")
Check "class", TypeName(groups), "Groups"
Check "no groups yet", groups.Groups.Count, CLng(0)

Set fields = CreateObject("PVGroupMan.FieldDefs")
fields.Add "Email", 0, 60, 0, False
fields.Add "Name", 1, 80, 0, True
fields.Add "Points", 2, 10, 2, True
fields.Add "Joined", 3, 8, 0, True
fields.Add "Paid", 4, 8, 0, True
fields.Add "Active", 5, 1, 0, True
Set indexes = CreateObject("PVGroupMan.IndexDefs")
indexes.Add "Email", "UPPER(Email)", ".NOT. DELETED()", True, False
indexes.Add "Points", "Points", "", False, False

id = groups.CreateGroup("Kunden", fields, indexes, "")
Check "an ID", Len(id), CLng(32)
groups.AddGroup id, "Kunden", 0, "", "", ""
Check "in the collection", groups.Groups(id).Name, "Kunden"
groups.Refresh
Check "in the catalogue", groups.Groups.Count, CLng(1)
Check "by position", groups.Groups(1).ID, id

Check "not open yet", groups.IsGroupOpen, False
Set rs = groups.OpenGroup(id)
Check "cursor", TypeName(rs), "Recipients"
Check "open now", groups.IsGroupOpen, True
CheckTrue "the cursor is mTb", groups.mTb Is rs
CheckTrue "and again the same", groups.mTb Is groups.mTb
Check "state", rs.State, CLng(1)
Check "empty", rs.RecordCount, CLng(0)
CheckTrue "at both ends", rs.BOF And rs.EOF

Sub Append(email, name, points)
  rs.AddNew
  rs.Fields("Email").Value = email
  rs.Fields("NAME").Value = name
  rs.Fields("points").Value = points
  rs.Fields("Joined").Value = DateSerial(2024, 2, 29)
  rs.Fields("Paid").Value = CCur("1234.5678")
  rs.Fields("Active").Value = True
  rs.Update
End Sub
Append "carl@example.org", "Carl", 3.25
Append "Anna@example.org", "M" & Chr(252) & "ller", 1
Append "bert@example.org", Null, 2
Check "count of the group", groups.RecipientCount, CLng(3)

all = ""
rs.MoveFirst
Do Until rs.EOF
  all = all & Left(Trim(rs.Fields("Email").Value), 4) & " "
  rs.MoveNext
Loop
Check "in the order of the tag", all, "Anna bert carl "

Check "seek", rs.SeekFirst("ANNA@EXAMPLE.ORG", "Email"), True
Check "text", RTrim(rs.Fields("Name").Value), "M" & Chr(252) & "ller"
Check "number", rs.Fields("Points").Value, CDbl(1)
Check "date", rs.Fields("Joined").Value, DateSerial(2024, 2, 29)
Check "currency", rs.Fields("Paid").Value, CCur("1234.5678")
Check "boolean", rs.Fields("Active").Value, True
Check "not there", rs.SeekFirst("nobody@example.org", "Email"), False

Check "find", rs.Find("Email = 'BERT@EXAMPLE.ORG'"), True
CheckTrue "null", IsNull(rs.Fields("Name").Value)
rs.Fields("Name").Value = "Bert"
rs.Fields("Points").Value = 2.75
rs.Update
rs.MoveFirst
rs.MoveNext
Check "edited text", RTrim(rs.Fields("Name").Value), "Bert"
Check "edited number", rs.Fields("Points").Value, CDbl(2.75)
Check "find nothing", rs.Find("Email = 'X'"), Empty

n = 2
Check "move", rs.Move(n), True
Check "moved there", Left(rs.Fields("Email").Value, 4), "carl"
Check "last", rs.MoveLast, True
Check "previous", rs.MovePrev, True
Set kept = rs.Fields("Email")
rs.MoveFirst
Check "a field that is kept", Left(kept.Value, 4), "bert"

Check "field types", groups.GetGroupFieldTypes, True
Check "their number", groups.FieldTypes.Count, CLng(6)
Check "number type", groups.FieldTypes("Points").Type_, CLng(1)
Check "currency type", groups.FieldTypes("Paid").Type_, CLng(2)
Check "date type", groups.FieldTypes("Joined").Type_, CLng(3)
Check "boolean type", groups.FieldTypes("Active").Type_, CLng(5)

Check "delete", rs.Delete, True
Check "still counted", groups.RecipientCount, CLng(3)
groups.CloseGroup
Check "closed", groups.IsGroupOpen, False
Check "cursor closed", rs.State, CLng(0)
Set rs = Nothing
Set groups.mTb = Nothing
Set groups.mDb = Nothing
groups.CompactGroup id
Set rs = groups.OpenGroup(id)
Check "compacted", rs.RecordCount, CLng(2)
groups.CloseGroup

groups.RenameGroup id, "Clients"
groups.Refresh
Check "renamed", groups.Groups(id).Name, "Clients"
Set rs = Nothing
Set groups.mTb = Nothing
Set groups.mDb = Nothing
Check "deleted", groups.DeleteGroup(id), True
groups.Refresh
Check "gone", groups.Groups.Count, CLng(0)
Done
