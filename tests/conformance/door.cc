// What the conformance cases share, and the program's start.
#include "conformance/door.h"

#include <cstdio>
#include <cstdlib>
#include <string_view>

#ifdef _WIN32
#include <objbase.h>

#include "server/com/foreign_object.h"
#endif
#include "server/class_list.h"

namespace pv::conformance {

std::vector<std::string> Walk(const Ref<Object>& collection, const char* property) {
  std::vector<std::string> found;
  const auto items = automation::Enumerate(collection);
  for (Value item; items->Next(&item);) {
    found.push_back(GetProperty(item.ToObject(), property).ToText());
  }
  return found;
}

Case::Case() { PutProperty(Create("Settings"), "GroupDataFolder", folder_.path()); }

Case::~Case() { PutProperty(Create("Settings"), "GroupDataFolder", ""); }

Ref<Object> Case::FieldDefs() {
  const Ref<Object> fields = Create("FieldDefs");
  CallMember(fields, "Add", {"Email", 0, 60, 0, false});
  CallMember(fields, "Add", {"Name", 1, 80, 0, true});
  CallMember(fields, "Add", {"Points", 2, 10, 2, true});
  CallMember(fields, "Add", {"Joined", 3, 8, 0, true});
  CallMember(fields, "Add", {"Paid", 4, 8, 0, true});
  CallMember(fields, "Add", {"Active", 5, 1, 0, true});
  return fields;
}

Ref<Object> Case::IndexDefs() {
  const Ref<Object> indexes = Create("IndexDefs");
  CallMember(indexes, "Add", {"Email", "UPPER(Email)", ".NOT. DELETED()", true, false});
  CallMember(indexes, "Add", {"Points", "Points", "", false, true});
  return indexes;
}

std::string Case::Make(const Ref<Object>& groups, const std::string& name) {
  const std::string id =
      CallMember(groups, "CreateGroup", {name, FieldDefs(), IndexDefs(), ""}).ToText();
  CallMember(groups, "AddGroup", {id, name, 0, "", "", ""});
  return id;
}

void Case::Append(const Ref<Object>& cursor, const std::string& email, const Value& name,
                  const Value& points) {
  CallMember(cursor, "AddNew");
  SetField(cursor, "Email", email);
  SetField(cursor, "Name", name);
  SetField(cursor, "Points", points);
  CallMember(cursor, "Update");
}

}  // namespace pv::conformance

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  std::string_view door = "own";
  for (int i = 1; i < argc; ++i) {
    const std::string_view argument = argv[i];
    if (argument.starts_with("--door=")) {
      door = argument.substr(7);
    } else {
      std::fprintf(stderr, "unknown argument %s\n", argv[i]);
      return 2;
    }
  }
#ifdef _WIN32
  if (door == "com") {
    if (FAILED(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) return 2;
    // No class is built in: every ProgID leads to the server that is registered.
    pv::automation::SetClassFinder(pv::server::com::CreateForeign);
    return RUN_ALL_TESTS();
  }
#endif
  if (door != "own") {
    std::fprintf(stderr, "there is no door %s here\n", std::string(door).c_str());
    return 2;
  }
  pv::server::RegisterPublicClasses();
  return RUN_ALL_TESTS();
}
