// A group's life in short, in the other script language.
var groups = new ActiveXObject("PVGroupMan.Groups");
var fields = new ActiveXObject("PVGroupMan.FieldDefs");
fields.Add("Email", 0, 60, 0, false);
fields.Add("Points", 2, 8, 2, true);
fields.Add("Name", 1, 40, 0, true);
var indexes = new ActiveXObject("PVGroupMan.IndexDefs");
indexes.Add("Email", "Email", ".NOT. DELETED()", false, false);
var id = groups.CreateGroup("Script", fields, indexes, "");
groups.AddGroup(id, "Script", 0, "", "", "");

var rs = groups.OpenGroup(id);
for (var i = 1; i <= 3; i++) {
  rs.AddNew();
  rs.Fields("Email").Value = "person" + i + "@example.org";
  rs.Fields("Points").Value = i * 1.25;
  rs.Fields("Name").Value = "\u0141\u00F3d\u017A " + i;
  rs.Update();
}
var seen = "", sum = 0;
for (rs.MoveFirst(); !rs.EOF; rs.MoveNext()) {
  seen += rs.Fields("Email").Value.charAt(6);
  sum += rs.Fields("Points").Value;
}
check("walked", seen, "123");
check("added up", sum, 7.5);
rs.MoveLast();
check("text beyond the code page", rs.Fields("Name").Value.replace(/ +$/, ""),
      "\u0141\u00F3d\u017A 3");

var names = "";
rs.MoveFirst();
for (var e = new Enumerator(rs.Fields); !e.atEnd(); e.moveNext()) names += e.item().Name + " ";
check("fields of a record", names, "EMAIL POINTS NAME ");
// JScript's whole numbers are 32-bit: they count from 0 here.
check("32-bit index", rs.Fields(0).Name, "EMAIL");
check("default member by name", rs.Fields.Item("points").Value, 1.25);

checkError("a group that is gone", 2409, "The Group could not be opened as it no longer exists.",
           function () { groups.OpenGroup("nothing"); });
checkError("a group that is open", 2407, "This Group is open, please close prior to deletion.", function () { groups.DeleteGroup(id); });
checkError("no such member", 438, "Object doesn't support this property or method",
           function () { groups.Nothing(); });

groups.CloseGroup();
rs = null;
CollectGarbage();
check("deleted", groups.DeleteGroup(id), true);
done();
