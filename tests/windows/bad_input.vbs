' Calls that cannot be right: the proper automation error, and everything works afterwards.
Dim groups, fields, field, rs, db, t, empty_, nothing_
Set groups = CreateObject("PVGroupMan.Groups")
Set fields = CreateObject("PVGroupMan.FieldDefs")
Set rs = CreateObject("PVGroupMan.Recipients")
Set db = CreateObject("PVGroupMan.Database")
Set field = CreateObject("PVGroupMan.FieldDef")
Set nothing_ = Nothing

On Error Resume Next
groups.OpenGroup
CheckError "too few", 449, "*", "*"
groups.OpenGroup "a", "b"
CheckError "too many", 450, "*", "*"
groups.Refresh 1
CheckError "too many for none", 450, "*", "*"
t = groups.Version(1)
CheckError "arguments for a property without", 450, "*", "*"
groups.Version = "5"
CheckError "read only", 438, "*", "*"
groups.Unknown = 1
CheckError "no such property", 438, "*", "*"
groups.Unknown
CheckError "no such method", 438, "*", "*"

field.Length = "long"
CheckError "text for a number", 13, "*", "*"
field.Length = 70000
CheckError "too large a number", 6, "*", "*"
field.NullsAllowed = "perhaps"
CheckError "text for a boolean", 13, "*", "*"
field.Name = Null
CheckError "Null for a text", 94, "*", "*"
field.Name = Array("a", "b")
CheckError "array for a text", 13, "*", "*"
field.Name = nothing_
CheckError "no object for a text", 13, "*", "*"
field.Length = "12"
CheckNone "a number as text"
Check "is converted", field.Length, CInt(12)

Set groups.Groups = fields
CheckError "object of another class", 13, "*", "*"
groups.Groups = 5
CheckError "number for an object", 13, "*", "*"
t = groups.CreateGroup("x", nothing_, nothing_, "")
CheckError "no object", 91, "*", "*"
t = groups.CreateGroup("x", "fields", 3, "")
CheckError "texts for objects", 13, "*", "*"
t = groups.CreateGroup("x", groups, groups, "")
CheckError "wrong objects", 13, "*", "*"
t = groups.CreateGroup("x", CreateObject("Scripting.Dictionary"), nothing_, "")
CheckError "somebody else's object", 13, "*", "*"

rs.CreateInst 12345, 67890
t = rs.RecordCount
CheckTrue "stale handles", Err.Number <> 0
Err.Clear
rs.CreateInst -1, -1
rs.MoveFirst
CheckTrue "impossible handles", Err.Number <> 0
Err.Clear
rs.CreateInst "session", "table"
CheckError "texts for handles", 13, "*", "*"

db.CreateTable data_folder, "x.pvg", Array(1, 2), Array(3)
CheckError "numbers for records", 13, "*", "*"
db.CreateTable data_folder, "x.pvg", "fields", "indexes"
CheckError "texts for records", 13, "*", "*"
db.CreateTable data_folder, "x.pvg", nothing_, nothing_
CheckError "no objects for records", 13, "*", "*"
groups.AddGroup String(300, "9"), "x", 0, "", "", ""
CheckTrue "an ID that is too long", Err.Number <> 0
Err.Clear
groups.OpenGroup "..\..\secret"
CheckTrue "an ID with a path in it", Err.Number <> 0
Err.Clear

' A foreign object may be held, and comes back as the same.
Dim other
Set other = CreateObject("Scripting.Dictionary")
Set groups.mTb = other
CheckNone "holding another's object"
CheckTrue "comes back the same", groups.mTb Is other
Set groups.mTb = Nothing
CheckTrue "and goes", groups.mTb Is Nothing

groups.Refresh
CheckNone "everything works"
Done
