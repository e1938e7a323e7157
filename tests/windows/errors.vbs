' Every error of the component: number, source and text.
Dim groups, fields, indexes, id, rs, db, t
Set groups = CreateObject("PVGroupMan.Groups")
Set fields = CreateObject("PVGroupMan.FieldDefs")
fields.Add "Email", 0, 40, 0, False
fields.Add "Age", 2, 3, 0, True
Set indexes = CreateObject("PVGroupMan.IndexDefs")
indexes.Add "Email", "Email", ".NOT. DELETED()", True, False
id = groups.CreateGroup("Errors", fields, indexes, "")
groups.AddGroup id, "Errors", 0, "", "", ""
Set rs = groups.OpenGroup(id)

On Error Resume Next

groups.OpenGroup String(32, "0")
CheckError "group gone", 2409, "Groups::OpenGroup", _
  "The Group could not be opened as it no longer exists."
groups.CompactGroup "x"
CheckError "group gone too", 2409, "Groups::CompactGroup", _
  "The Group could not be opened as it no longer exists."
groups.DeleteGroup id
CheckError "group open", 2407, "Groups::DeleteGroup", "This Group is open, please close prior to deletion."
groups.AddGroup id, "Errors", 0, "", "", ""
CheckError "ID taken", 20, "Groups::AddGroup", "Duplicate Key Value."

rs.MoveFirst
CheckError "no records", 3, "MoveFirst", "No records found."
rs.Update
CheckError "no record", -1, "Update", "No current record."
t = rs.RecordNo
CheckError "no record number", -1, "RecordNo", "No current record."
rs.AddNew
rs.Fields("Email").Value = "a@example.org"
rs.Update
CheckNone "append"
rs.AddNew
rs.Fields("Email").Value = "a@example.org"
rs.Update
CheckError "key taken", 20, "Update", "Duplicate Key Value."
rs.AddNew
rs.Fields("Email").Value = "b@example.org"
rs.Fields("Age").Value = "old"
rs.Update
CheckError "no number", 13, "Update", "*"
rs.MoveFirst
rs.Move -5
CheckError "before the first", 4, "Move", "Moved before BOF."
rs.Move 5
CheckError "behind the last", 3, "Move", "Moved past EOF"

groups.CloseGroup
rs.MoveFirst
CheckError "closed", 2400, "MoveFirst", "The table is not open."
t = rs.RecordCount
CheckError "closed too", 2400, "RecordCount", "The table is not open."
groups.RecipientCount
CheckError "no group open", 91, "Groups::RecipientCount", _
  "Object variable or With block variable not set"

fields.Add "Odd", 77, 4, 0, True
t = groups.CreateGroup("Odd", fields, indexes, "")
CheckError "field type", 2405, "Groups::CreateGroup", "Unsupported Field Data Type <77>"
fields.Add "odd", 0, 4, 0, True
CheckError "name taken", 457, "FieldDefs", _
  "This key is already associated with an element of this collection"
fields.Delete "Nobody"
CheckError "no such key", 5, "FieldDefs", "Invalid procedure call or argument"
fields.Delete 99
CheckError "no such position", 9, "FieldDefs", "Subscript out of range"

Set db = CreateObject("PVGroupMan.Database")
db.OpenTable data_folder, "absent.pvg"
CheckTrue "the engine's own code", Err.Number < 0
CheckTrue "names the file", InStr(Err.Description, "absent") > 0 Or Err.Description <> ""
Err.Clear
db.SetLogging 1, data_folder & "\component.log"
CheckNone "logging"
db.OpenTable data_folder, "absent.pvg"
Err.Clear
db.SetLogging 0, ""
Done
