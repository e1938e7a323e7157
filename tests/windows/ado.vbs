' Saved data sources and definitions of groups in databases: their collections and errors.
Dim source, properties, filters, all, item, found, groups, t

Set source = CreateObject("PVGroupMan.CDataSource")
source.ID = "DS1"
source.Name = "Customers"
source.ConnectionString = "DSN=customers"
Check "saved", source.SaveDataSource, True
source.ID = "DS2"
source.Name = "Partners"
Check "saved too", source.SaveDataSource, True

' The argument is taken by reference.
Set found = CreateObject("PVGroupMan.CDataSources")
Check "listed", source.GetDataSources(found), True
Check "still the collection", TypeName(found), "CDataSources"
all = ""
For Each item In found
  all = all & item.Name & " "
Next
Check "CDataSources", all, "Customers Partners "
Check "opened, the optional argument left out", source.OpenDataSource("DS1"), True
Check "opened, the optional argument given", source.OpenDataSource("DS1", "secret"), True
Check "connection string", source.ConnectionString, "DSN=customers"

Set properties = CreateObject("PVGroupMan.CADOGroupProperties")
Set filters = properties.Filters
filters.Add "City", "equals", "=", "Ulm", "AND"
filters.Add "Age", "over", ">", "18", ""
all = ""
For Each item In filters
  all = all & item.FieldName & item.OpSQL & item.Value & " "
Next
Check "CFilters", all, "City=Ulm Age>18 "
CheckTrue "the same collection", properties.Filters Is filters
properties.ID = "AP1"
properties.Table = "people"
Check "definition saved", properties.SaveADOGroupProperties, True
Check "definition opened", properties.OpenADOGroupProperties("AP1"), True
Check "with its conditions", properties.Filters.Count, CLng(2)

Set groups = CreateObject("PVGroupMan.Groups")
groups.AddGroup "G1", "Uses it", 1, "DS1", "AP1", ""

On Error Resume Next
source.OpenDataSource "none"
CheckError "no such source", 2306, "CDataSource::OpenDataSource", "DSN does not exist."
source.OpenDataSource ""
CheckError "blank ID", 2308, "CDataSource::OpenDataSource", "The DSN ID specified was blank."
source.DeleteDataSource "DS1"
CheckError "source in use", 2406, "CDataSource::DeleteDataSource", _
  "The Data Source is in use by a Group. To delete the Data Source, please remove the Group first."
source.Reset
CheckError "no such member", 438, "*", "*"
source.ID = "DS3"
source.Name = "Partners"
source.SaveDataSource
CheckError "name taken", 20, "CDataSource::SaveDataSource", "Duplicate Key Value."
source.ID = " "
source.SaveDataSource
CheckError "blank ID to save", 2308, "CDataSource::SaveDataSource", "The DSN ID specified was blank."
source.DeleteDataSource ""
CheckError "blank ID to delete", 2308, "CDataSource::DeleteDataSource", _
  "The DSN ID specified was blank."
properties.OpenADOGroupProperties "none"
CheckError "no such definition", 2306, "CADOGroupProperties::OpenADOGroupProperties", _
  "DSN does not exist."
properties.OpenADOGroupProperties " "
CheckError "blank ID of a definition", 2308, "CADOGroupProperties::OpenADOGroupProperties", _
  "The DSN ID specified was blank."
properties.ID = ""
properties.SaveADOGroupProperties
CheckError "blank ID of one to save", 2308, "CADOGroupProperties::SaveADOGroupProperties", _
  "The DSN ID specified was blank."
properties.DeleteADOGroupProperties " "
CheckError "blank ID of one to delete", 2308, "CADOGroupProperties::DeleteADOGroupProperties", _
  "The DSN ID specified was blank."
' A folder stands where the conditions would.
CreateObject("Scripting.FileSystemObject").CreateFolder data_folder & "\GroupADOAP2.ini"
properties.ID = "AP2"
properties.Filters.Add "City", "equals", "=", "Ulm", "AND"
properties.SaveADOGroupProperties
CheckError "conditions not written", 2304, "CADOGroupProperties::SaveADOGroupProperties", _
  "Cannot save DSN details to file."
properties.Filters.Add "City", "equals", "<>", "Ulm", "AND"
CheckError "a condition twice", 457, "CFilters", _
  "This key is already associated with an element of this collection"
properties.Filters.Delete 2
CheckError "no such condition", 9, "CFilters", "Subscript out of range"
found.Delete "DS9"
CheckError "no such item", 5, "CDataSources", "Invalid procedure call or argument"
Err.Clear
t = source.Password
CheckError "a password is not shown", 438, "*", "*"
source.LockType = "shared"
CheckError "text for a number", 13, "*", "*"
Done
