' Address books: their saved sources, the columns of their contacts, and the cursor over them. The
' contacts come from the converter of others.cc.
Dim source, other, item, all, columns, book, rs, groups, fso, log

Function Joined(collection)
  Dim entry
  Joined = ""
  For Each entry In collection
    Joined = Joined & entry & " "
  Next
End Function

' Sources.
Set source = CreateObject("PVGroupMan.CAddressBookSource")
CheckTrue "no flags before a format", Not (source.WriteAccess Or source.UpdateAccess Or source.SilentMode)
source.SourceFormat = " ns4 "
Check "format", source.SourceFormat, "NS4"
CheckTrue "its flags", source.WriteAccess And Not source.UpdateAccess And source.SilentMode
source.SourceFormat = "aol"
CheckTrue "those of another", Not (source.WriteAccess Or source.UpdateAccess Or source.SilentMode)
source.SourceFormat = "PST"
source.SourceLocation = data_folder & "\converter.log"
source.ID = "BOOK"
source.Categories.Add "Friends"
source.Categories.Add "Clubs"
source.Categories.Add "Work"
source.Categories.Remove 2
Check "categories", Joined(source.Categories), "Friends Work "
Check "by position", source.Categories(2), "Work"
CheckTrue "the same collection", source.Categories Is source.Categories
Check "saved", source.SaveAddressBookSource, True
Set other = CreateObject("PVGroupMan.CAddressBookSource")
Check "opened", other.OpenAddressBookSource("BOOK"), True
Check "with its format", other.SourceFormat & other.WriteAccess, "PSTTrue"
Check "with its categories", Joined(other.Categories), "Friends Work "
Check "and no lists", other.DistributionLists.Count, CLng(0)
Set other = CreateObject("PVGroupMan.CAddressBookSource")
other.ID = "LISTS"
other.SourceFormat = "PST"
other.SourceLocation = source.SourceLocation
Set item = CreateObject("Scripting.Dictionary")
item.Add CLng(1), "News"
Set other.DistributionLists = item
Check "with a list of the host's", other.SaveAddressBookSource, True
Set other = CreateObject("PVGroupMan.CAddressBookSource")
other.OpenAddressBookSource "LISTS"
Check "it came back", Joined(other.DistributionLists), "News "
Set other = CreateObject("PVGroupMan.CAddressBookSource")
other.ID = "NONE"
other.SourceFormat = "WAB"
other.SaveAddressBookSource
Set other = CreateObject("PVGroupMan.CAddressBookSource")
other.ID = "ALL"
other.SourceFormat = "PST"
other.SourceLocation = source.SourceLocation
other.SaveAddressBookSource
Set other = CreateObject("PVGroupMan.CAddressBookSource")
other.ID = "GONE"
other.SourceFormat = "PST"
other.SaveAddressBookSource
Check "deleted by itself", other.DeleteAddressBookSource, True
Check "deleted though not there", other.DeleteAddressBookSource("NOBODY"), True

' Columns.
Set columns = CreateObject("PVGroupMan.ABFields")
Check "phone", columns.Add(&H3A08001E).Name, "BusinessPhone"
Check "unknown", columns.Add(&H80010003).Name, "-2147418109"
CheckTrue "the same tag", columns.Add(&H3A08001E) Is columns(1)
Check "their number", columns.Count, CLng(2)
Check "by key", columns("973602846").Name, "BusinessPhone"
all = ""
For Each item In columns
  all = all & item.Name & " "
Next
Check "ABFields", all, "BusinessPhone -2147418109 "
columns.Delete 1
Check "the rest", columns(1).PropertyID, CLng(&H80010003)
Set item = CreateObject("PVGroupMan.ABField")
item.PropertyID = &H3A410040
Check "a column of its own", item.Name, "WeddingAnniversary"

' The cursor.
Set book = CreateObject("PVGroupMan.AddressBook")
Set rs = book.OpenAddressBook("BOOK")
Check "cursor", TypeName(rs), "AddressBookContacts"
Check "contacts of the categories", rs.RecordCount, CLng(2)
CheckTrue "before the first", rs.BOF And rs.EOF
all = ""
rs.MoveFirst
Do Until rs.EOF
  all = all & rs.Fields("Email").Value & " "
  rs.MoveNext
Loop
Check "walked", all, "anna@example.org carla@example.org "
Check "behind the last", rs.RecordNo, CLng(3)
Check "back", rs.MovePrev, True
Check "no birthday", rs.Fields("Birthday").Value, Empty
Check "first", rs.MoveFirst, True
CheckTrue "already at the beginning", rs.BOF And Not rs.EOF
item = rs.Fields("Birthday").Value
Check "birthday", item, DateSerial(1980, 5, 17)
Check "32-bit zero", rs.Fields(CLng(0)).Name, "DisplayName"
all = ""
For Each item In rs.Fields
  all = all & item.Name & " "
Next
Check "fields", all, "DisplayName Email Birthday Categories "
Check "step", rs.Move(1), True
Check "stepped", rs.Fields("DisplayName").Value, "Carla"
Check "too far", rs.Move(5), False
Check "stays", rs.RecordNo, CLng(2)
Check "last", rs.MoveLast, True
Check "found", rs.Find("DisplayName = 'Anna'"), True
Check "there", rs.RecordNo, CLng(1)
Check "not found", rs.Find("Email = 'nobody'"), Empty
CheckTrue "at the end", rs.EOF
Check "sought", rs.SeekFirst("carla@example.org", "Email"), True
Check "no table", rs.TableHandle, CLng(0)
Check "nothing is added", rs.AddNew, Empty
Check "nor written", rs.Update, Empty
Check "nor deleted", rs.Delete, False
Check "nor closed", rs.CloseTable, False
Set item = rs.Fields("Email")
Set rs = Nothing
Check "a field that is kept", item.Value, "carla@example.org"

' What the converter was told.
Set fso = CreateObject("Scripting.FileSystemObject")
log = fso.OpenTextFile(source.SourceLocation).ReadAll
Check "its settings", log, "TimeStamp = a date" & vbCrLf & "Format = PST" & vbCrLf & _
  "Location = " & source.SourceLocation & vbCrLf & _
  "SilentMode = -1" & vbCrLf & "IncludeDistributionLists = False" & vbCrLf

' As a group.
Set groups = CreateObject("PVGroupMan.Groups")
groups.AddGroup "BOOKGROUP", "Everybody", 2, "ALL", "ALL", ""
groups.AddGroup "LISTGROUP", "News", 2, "LISTS", "LISTS", ""
Set rs = groups.OpenGroup("BOOKGROUP")
Check "recipients", groups.RecipientCount, CLng(4)
Check "group's cursor", TypeName(groups.mTb), "AddressBookContacts"
Check "group's address book", TypeName(groups.mDb), "AddressBook"
Check "field types", groups.GetGroupFieldTypes, True
all = ""
For Each item In groups.FieldTypes
  all = all & item.Name & item.Type_ & "/" & item.Length & " "
Next
Check "of contacts", all, "Displayname0/254 Email0/254 Birthday3/254 Categories0/254 "
groups.CloseGroup
Check "closed", groups.IsGroupOpen, False
Set rs = groups.OpenGroup("LISTGROUP")
Check "recipients of the list", groups.RecipientCount, CLng(2)
groups.CloseGroup
Set rs = Nothing
log = fso.OpenTextFile(source.SourceLocation).ReadAll
CheckTrue "its lists", InStr(log, "IncludeDistributionLists = True") > 0

' Errors.
On Error Resume Next
source.ID = "ANOTHER"
CheckError "ID is set once", 2410, "AddressBookSource", "ID already exists"
Check "ID stays", source.ID, "BOOK"
source.SourceFormat = "XYZ"
CheckError "no format", 2411, "AddressBookSource::SourceFormat", "SourceFormat not valid"
Check "format stays", source.SourceFormat, "PST"
source.SilentMode = False
CheckError "a flag is read only", 438, "*", "*"
Set other = CreateObject("PVGroupMan.CAddressBookSource")
other.SaveAddressBookSource
CheckError "no ID to save", 2308, "CAddressBookSource::SaveAddressBookSource", _
  "ID not specified for AddressBook Source"
other.OpenAddressBookSource "  "
CheckError "no ID to open", 2308, "CAddressBookSource::OpenAddressBookSource", _
  "ID not specified for AddressBook Source"
other.OpenAddressBookSource "GONE"
CheckError "source gone", 2306, "CAddressBookSource::OpenAddressBookSource", _
  "Address Book details can not be located"
Set rs = CreateObject("PVGroupMan.AddressBookContacts")
rs.CreateInst "GONE"
CheckError "no source", 1234, "AddressBookContacts::CreateInst", _
  "Cannot create new Accress Book Instance, the saved settings can not be opened, ID=GONE"
rs.CreateInst "NONE"
CheckError "format not installed", 1234, "AddressBookContacts::CreateInst", _
  "Source application for Address Book format is not Installed/read access is not available."
Check "can be bound yet", rs.CreateInst("ALL"), True
rs.CreateInst "ALL"
CheckError "bound already", 1234, "AddressBookContacts::CreateInst", _
  "Cannot create new Accress Book Instance, another instance already exists"
Check "and still there", rs.RecordCount, CLng(4)
Check "a damaged contact", rs.MoveLast, True
Check "what can be read", rs.Fields("DisplayName").Value, "Dora"
item = rs.Fields("Email").Value
CheckError "what cannot", 321, "Others", "The contact is damaged."
book.OpenAddressBook "GONE"
CheckError "no source to open", 1234, "AddressBook::OpenAddressBook", _
  "Cannot create new Accress Book Instance, the saved settings can not be opened, ID=GONE"
groups.AddGroup "GONEGROUP", "Gone", 2, "GONE", "GONE", ""
groups.OpenGroup "GONEGROUP"
CheckError "nor as a group", 1234, "Groups::OpenGroup", _
  "Cannot create new Accress Book Instance, the saved settings can not be opened, ID=GONE"
columns.Add "tag"
CheckError "text for a tag", 13, "*", "*"
columns.Delete 5
CheckError "no such column", 9, "ABFields", "Subscript out of range"
Done
