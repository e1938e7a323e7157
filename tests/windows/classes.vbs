' Every class by its ProgID; their names are given from the second argument on.
Dim i, name, object
For i = 1 To WScript.Arguments.Count - 1
  name = WScript.Arguments(i)
  Set object = CreateObject("PVGroupMan." & name)
  Check name, TypeName(object), name
  Set object = CreateObject("pvgroupman." & LCase(name))
  Check name & " in lower case", TypeName(object), name
Next
Done
