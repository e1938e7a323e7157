' For Each over every collection, default members, and the two kinds of index of Fields.
Dim c, item, all, groups, rs, id, fields, indexes, db

Function NamesIn(collection)
  Dim entry
  NamesIn = ""
  For Each entry In collection
    NamesIn = NamesIn & entry.Name & " "
  Next
End Function

Set fields = CreateObject("PVGroupMan.FieldDefs")
fields.Add "Email", 0, 60, 0, False
fields.Add "City", 0, 30, 0, True
fields.Add "Age", 2, 3, 0, True
Check "FieldDefs", NamesIn(fields), "Email City Age "
Check "item by key", fields("CITY").Length, CInt(30)
Check "item by position", fields.Item(3).Name, "Age"
CheckTrue "the same object", fields(1) Is fields("email")
CheckTrue "none there", fields(0) Is Nothing
fields.Delete "age"
Check "after deletion", NamesIn(fields), "Email City "

Set indexes = CreateObject("PVGroupMan.IndexDefs")
indexes.Add "Email", "Email", "", False, False
indexes.Add "City", "City", "", False, True
Check "IndexDefs", NamesIn(indexes), "Email City "
Check "descending", indexes(2).descending, True

Set groups = CreateObject("PVGroupMan.Groups")
id = groups.CreateGroup("One", fields, indexes, "")
groups.AddGroup id, "One", 0, "", "", ""
groups.AddGroup "OTHER", "Two", 0, "", "", ""
Check "GroupLinks", NamesIn(groups.Groups), "One Two "
groups.Refresh
Check "GroupLinks after Refresh", NamesIn(groups.Groups), "One Two "
groups.RemoveGroup "OTHER"

Set rs = groups.OpenGroup(id)
rs.AddNew
Check "Fields", NamesIn(rs.Fields), "EMAIL CITY "
rs.Fields("Email").Value = "a@example.org"
rs.Fields("City").Value = "Ulm"
rs.Update
rs.MoveFirst
Check "16-bit counts from 1", rs.Fields(CInt(1)).Name, "EMAIL"
Check "32-bit counts from 0", rs.Fields(CLng(1)).Name, "CITY"
Check "32-bit zero", rs.Fields(CLng(0)).Name, "EMAIL"
CheckTrue "16-bit zero", rs.Fields(CInt(0)) Is Nothing
Check "double counts from 1", rs.Fields(CDbl(2)).Name, "CITY"
CheckTrue "any letter case", rs.Fields("eMaIl") Is rs.Fields("EMAIL")
CheckTrue "no such field", rs.Fields("Nothing") Is Nothing
Check "count", rs.Fields.Count, CLng(2)

groups.GetGroupFieldTypes
all = ""
For Each item In groups.FieldTypes
  all = all & item.Name & item.Type_ & " "
Next
Check "GroupFieldTypes", all, "Email0 City0 "

' What is added or removed while it is walked does not matter to the walk.
all = ""
For Each item In fields
  all = all & item.Name & " "
  If fields.Count < 4 Then fields.Add "More" & fields.Count, 0, 5, 0, True
Next
Check "walk over a changing collection", all, "Email City "

' A collection of its own.
Set c = CreateObject("PVGroupMan.Fields")
c.Add "One", 1
c.Add "Two", "zwei"
c.Add "Three", Null
Check "Fields of its own", NamesIn(c), "One Two Three "
Check "value", c("two").Value, "zwei"
c.Delete CLng(0)
Check "deleted by 32-bit 0", NamesIn(c), "Two Three "

For Each item In CreateObject("PVGroupMan.GroupLinks")
  Fail_ "empty collection", "has an item"
Next
groups.CloseGroup
Done
