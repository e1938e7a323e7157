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
rs.MoveLast
CheckError "no last one", 3, "MoveLast", "No records found."
rs.Move 1
CheckError "none to move over", 3, "Move", "No records found."
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

rs.MoveFirst
rs.Fields.Delete "AGE"
rs.Update
CheckError "a field taken out", 91, "Update", "Object variable or With block variable not set"

groups.CloseGroup
Sub CheckClosed(member)
  CheckError member & " when closed", 2400, member, "The table is not open."
End Sub
rs.MoveFirst
CheckClosed "MoveFirst"
rs.MoveNext
CheckClosed "MoveNext"
rs.MovePrev
CheckClosed "MovePrev"
rs.MoveLast
CheckClosed "MoveLast"
rs.Move 1
CheckClosed "Move"
rs.Find "Email = x"
CheckClosed "Find"
rs.SeekFirst "x", "Email"
CheckClosed "SeekFirst"
rs.AddNew
CheckClosed "AddNew"
rs.Update
CheckClosed "Update"
rs.Delete
CheckClosed "Delete"
rs.CloseTable
CheckClosed "CloseTable"
t = rs.BOF
CheckClosed "BOF"
t = rs.EOF
CheckClosed "EOF"
t = rs.RecordCount
CheckClosed "RecordCount"
t = rs.RecordNo
CheckClosed "RecordNo"
Check "no handle", rs.TableHandle, CLng(0)
groups.RecipientCount
CheckError "no group open", 91, "Groups::RecipientCount", _
  "Object variable or With block variable not set"
groups.GetGroupFieldTypes
CheckError "no fields", 91, "Groups::GetGroupFieldTypes", _
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
db.CompactTable data_folder, "absent.pvg"
CheckTrue "none to compact", Err.Number < 0 And Err.Source = "CompactTable" And _
  Err.Description = "CompactTable failed."
Err.Clear
Set rs = db.OpenTable(data_folder, id & ".pvg")
CreateObject("PVGroupMan.Database").CompactTable data_folder, id & ".pvg"
CheckTrue "somebody has it open", Err.Number < 0 And Err.Source = "CompactTable"
Err.Clear
db.OpenTable data_folder, id & ".pvg", 2
CheckTrue "nor for oneself alone", Err.Number < 0 And Err.Source = "OpenTable"
Err.Clear
rs.CloseTable
db.SetLogging 0, ""

' A table of another program, with a type of field that only newer ones have.
Set rs = db.OpenTable(data_folder, "newer.dbf")
rs.MoveFirst
Check "a field that is known", rs.Fields("EMAIL").Value, "a@example.org"
Check "one that is not written", rs.Fields("NOTE").Value, "0123456789"
CheckNone "both can be read"
rs.Fields("NOTE").Value = "x"
rs.Update
CheckTrue "is refused", Err.Number <> 0 And Err.Source = "Update"
Err.Clear
rs.CloseTable
' One of a type that nobody knows is refused whole.
db.OpenTable data_folder, "unknown.dbf"
CheckTrue "unknown type", Err.Number < 0 And Err.Source = "OpenTable"
CheckTrue "field and type are named", InStr(Err.Description, "NOTE has the unknown type") > 0
Err.Clear

' A catalogue that is damaged.
Dim fso
Set fso = CreateObject("Scripting.FileSystemObject")
fso.CreateTextFile(data_folder & "\groups.pvg", True).Write "This is no catalogue."
groups.Refresh
CheckTrue "no catalogue", Err.Number < 0 And Err.Source = "Groups::Refresh"
Err.Clear
Set t = CreateObject("PVGroupMan.Groups")
CheckTrue "no class without it", Err.Number <> 0
Err.Clear
fso.DeleteFile data_folder & "\groups.pvg"
groups.Refresh
CheckNone "no catalogue is no error"
Check "and no groups", groups.Groups.Count, CLng(0)
Done
