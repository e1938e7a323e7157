' Groups in databases, opened through ADO. The second argument says whose: "others" (others.cc, which
' writes what it is told into the file that the connection string names), "system" or "none".
Dim whose, source, properties, groups, rs, item, all, log_file, log
whose = WScript.Arguments(1)
log_file = data_folder & "\ado.log"

Set source = CreateObject("PVGroupMan.CDataSource")
source.ID = "DS"
source.Name = "Source"
source.ConnectionString = "Provider=None;Log=" & log_file
source.Password = "secret"
source.CursorLocation = 3
source.ConnectOptions = -1
source.CursorType = 1
source.LockType = 3
source.RecordSetOptions = 8
source.SaveDataSource

Sub Define(id, method, table, sql)
  Set properties = CreateObject("PVGroupMan.CADOGroupProperties")
  properties.ID = id
  properties.FilterMethod = method
  properties.Table = table
  properties.LeftBrace = "["
  properties.RightBrace = "]"
  properties.SQL = sql
  If id = "FILTER" Then
    properties.Filters.Add "City", "equals", "=", "'Ulm'", "AND"
    properties.Filters.Add "E MAIL", "contains", "like", "'%x%'", "OR"
  End If
  properties.SaveADOGroupProperties
  groups.AddGroup id, "Group " & id, 1, "DS", id, ""
End Sub
Set groups = CreateObject("PVGroupMan.Groups")
Define "TABLE", 0, "people", ""
Define "FILTER", 0, "people", ""
Define "SQL", 1, "", "select a, b from t"

Check "ADO is there", groups.ADOInstalled, whose <> "none"

If whose = "others" Then
  For Each item In Array("TABLE", "FILTER", "SQL")
    Set rs = groups.OpenGroup(item)
    CheckTrue "recordset of " & item, groups.mTb Is rs
    Check "it is open", rs.State, CLng(1)
    Check "its connection too", groups.mDb.State, CLng(1)
    Check "recipients of " & item, groups.RecipientCount, CLng(42)
    Check "a value", rs.Fields.Item("E MAIL").Value, "a@example.org"
    groups.CloseGroup
    Check "closed " & item, rs.State & groups.IsGroupOpen, "0False"
  Next
  Set rs = groups.OpenGroup("TABLE")
  Check "field types", groups.GetGroupFieldTypes, True
  all = ""
  For Each item In groups.FieldTypes
    all = all & item.Name & item.Type_ & "/" & item.Length & " "
  Next
  Check "of columns", all, "Id6/4 E Mail0/60 Born4/16 Paid2/8 "
  groups.CloseGroup
  log = CreateObject("Scripting.FileSystemObject").OpenTextFile(log_file).ReadAll
  all = "CursorLocation = 3/connection [] [] -1/"
  CheckTrue "ADO was asked for", Left(log, 19) = "CursorLocation = 2" & vbCr
  log = Replace(Mid(log, 21), vbCrLf, "/")
  Check "calls", log, _
    all & "recordset [people] / 1 3 2/recordset select count(*) from [people] / 0 1 1/" & _
    "recordset closed/recordset closed/connection closed/" & _
    all & "recordset select * from [people] where City = 'Ulm' OR `E MAIL`  like '%x%' / 1 3 1/" & _
    "recordset select count(*) from [people] where City = 'Ulm' OR `E MAIL`  like '%x%' / 0 1 1/" & _
    "recordset closed/recordset closed/connection closed/" & _
    all & "recordset select a, b from t / 1 3 8/recordset select  count(a) from t / 0 1 1/" & _
    "recordset closed/recordset closed/connection closed/" & _
    all & "recordset [people] / 1 3 2/recordset closed/connection closed/"
End If

On Error Resume Next
If whose = "none" Then
  groups.OpenGroup "TABLE"
  CheckError "there is no ADO", 429, "Groups::OpenGroup", "*"
Else
  source.OpenDataSource "DS"
  source.ConnectionString = "Provider=None;User ID=me;Password=secret"
  source.SaveDataSource
  groups.OpenGroup "TABLE"
  CheckTrue "ADO's own error", Err.Number <> 0 And Err.Source = "Groups::OpenGroup"
  CheckTrue "without the password", InStr(Err.Description, "secret") = 0
  If whose = "others" Then CheckError "as it is", 3706, "Groups::OpenGroup", "No provider for x."
  Err.Clear
End If
Check "nothing is open", groups.IsGroupOpen, False
CheckTrue "nor kept", groups.mDb Is Nothing Or whose = "others"
source.DeleteDataSource "DS"
CheckError "in use", 2406, "CDataSource::DeleteDataSource", "*"
groups.AddGroup "NODEF", "No definition", 1, "DS", "NOBODY", ""
groups.OpenGroup "NODEF"
CheckTrue "no definition", Err.Number <> 0 And Err.Source = "Groups::OpenGroup"
Err.Clear
groups.AddGroup "NODS", "No source", 1, "NOBODY", "TABLE", ""
groups.OpenGroup "NODS"
If whose = "none" Then
  CheckError "no source, no ADO", 429, "Groups::OpenGroup", "*"
Else
  CheckError "no source", 2306, "Groups::OpenGroup", "DSN does not exist."
End If
Done
