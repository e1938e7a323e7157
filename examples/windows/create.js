// Makes a group with two recipients:  cscript create.js "Name of the group"
var name = WScript.Arguments.length > 0 ? WScript.Arguments(0) : "Example";
var groups = new ActiveXObject("PVGroupMan.Groups");

var fields = new ActiveXObject("PVGroupMan.FieldDefs");
fields.Add("Email", 0, 100, 0, false);  // FT_TEXT
fields.Add("First_name", 0, 40, 0, true);
fields.Add("Joined", 3, 8, 0, true);    // FT_DATE
var indexes = new ActiveXObject("PVGroupMan.IndexDefs");
indexes.Add("Email", "UPPER(Email)", ".NOT. DELETED()", true, false);

var id = groups.CreateGroup(name, fields, indexes, "");
groups.AddGroup(id, name, 0, "", "", "");  // PV_FORMAT_GROUP

var people = [["anna@example.org", "Anna", "2024-02-29"], ["bert@example.org", "Bert", "2024-03-01"]];
var rs = groups.OpenGroup(id);
for (var i = 0; i < people.length; i++) {
  rs.AddNew();
  rs.Fields("Email").Value = people[i][0];
  rs.Fields("First_name").Value = people[i][1];
  rs.Fields("Joined").Value = people[i][2];
  rs.Update();
}
WScript.Echo("Group " + name + " has " + groups.RecipientCount() + " recipients");
groups.CloseGroup();
