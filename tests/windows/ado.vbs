' Saved data sources and definitions of groups in databases: their collections and errors.
Dim source, properties, filters, all, item, found, groups

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
properties.OpenADOGroupProperties "none"
CheckError "no such definition", 2306, "CADOGroupProperties::OpenADOGroupProperties", _
  "DSN does not exist."
properties.OpenADOGroupProperties " "
CheckError "blank ID of a definition", 2308, "CADOGroupProperties::OpenADOGroupProperties", _
  "The DSN ID specified was blank."
Done
