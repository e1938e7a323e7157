// The type library's text. Tested by type_library_test.cc.
#include "server/type_library.h"

#include <set>
#include <vector>

#include "pvgroupman/automation/member_table.h"
#include "server/class_list.h"
#include "server/identifiers.h"

namespace pv::server {
namespace {

using automation::ArgumentDescription;
using automation::Enumeration;
using automation::Member;
using automation::MemberKind;
using automation::MemberTable;
using automation::RecordType;
using automation::Type;
using automation::TypeKind;

// Collects what the members of all classes use, each once, in the order of first use.
class Types {
 public:
  void Add(const Type& type) {
    if (type.enumeration != nullptr && seen_.insert(type.enumeration->name).second) {
      enumerations.push_back(type.enumeration);
    }
    if (type.record != nullptr && seen_.insert(type.record->name).second) {
      for (const automation::RecordField& field : type.record->fields) Add(field.type);
      records.push_back(type.record);
    }
  }

  std::vector<const Enumeration*> enumerations;
  std::vector<const RecordType*> records;

 private:
  std::set<std::string> seen_;
};

std::string NameOf(const Type& type) {
  switch (type.kind) {
    case TypeKind::kVoid:
      return "void";
    case TypeKind::kVariant:
      return "VARIANT";
    case TypeKind::kI2:
      return "short";
    case TypeKind::kI4:
      return "long";
    case TypeKind::kR8:
      return "double";
    case TypeKind::kCurrency:
      return "CURRENCY";
    case TypeKind::kDate:
      return "DATE";
    case TypeKind::kBoolean:
      return "VARIANT_BOOL";
    case TypeKind::kText:
      return "BSTR";
    case TypeKind::kEnumeration:
      return type.enumeration->name;
    case TypeKind::kObject:
      if (type.class_name == nullptr) return "IDispatch*";
      // Enumerators are objects of the automation runtime's own kind.
      if (std::string_view(type.class_name) == "Enumerator") return "IUnknown*";
      return std::string("_") + type.class_name + "*";
    case TypeKind::kRecords:
      return std::string("SAFEARRAY(") + type.record->name + ")";
    case TypeKind::kBytes:
      return "SAFEARRAY(unsigned char)";
  }
  return "void";
}

// Arrays travel by reference, which is the only way in which Basic hosts pass them.
std::string TextOf(const ArgumentDescription& argument) {
  const bool array =
      argument.type.kind == TypeKind::kRecords || argument.type.kind == TypeKind::kBytes;
  const bool pointer = argument.by_reference || array;
  return std::string(pointer ? "[in, out" : "[in") + (argument.optional ? ", optional] " : "] ") +
         NameOf(argument.type) + (pointer ? "* " : " ") + argument.name;
}

std::string AttributesOf(const Member& member) {
  std::string text = "[id(" + std::to_string(member.id) + ")";
  switch (member.kind) {
    case MemberKind::kMethod:
      break;
    case MemberKind::kGet:
      text += ", propget";
      break;
    case MemberKind::kLet:
      text += ", propput";
      break;
    case MemberKind::kSet:
      text += ", propputref";
      break;
  }
  if (member.id == automation::kEnumeratorId) text += ", restricted, hidden";
  return text + "]";
}

// Asks the tables themselves: making an object would run what its constructor does.
struct Described {
  const PublicClass* entry;
  automation::Ref<automation::Object> object;  // keeps the table's owner alive
  const ClassIdentifiers* ids;
};

void AppendInterface(const Described& c, std::string* out) {
  const MemberTable& table = c.object->Members();
  *out += "\n  [uuid(" + ToText(c.ids->interface_id) + "), helpstring(\"" + c.entry->name +
          "\"), hidden]\n  dispinterface _" + c.entry->name + " {\n    properties:\n    methods:\n";
  for (const Member& member : table.members()) {
    *out += "      " + AttributesOf(member) + " " + NameOf(member.result) + " " + member.name + "(";
    for (std::size_t i = 0; i < member.arguments.size(); ++i) {
      *out += (i == 0 ? "" : ", ") + TextOf(member.arguments[i]);
    }
    *out += ");\n";
  }
  *out += "  };\n";
}

void AppendEnumeration(const Enumeration& e, std::string* out) {
  *out += std::string("\n  typedef enum ") + e.name + " {\n";
  for (std::size_t i = 0; i < e.names.size(); ++i) {
    *out += std::string("    ") + e.names[i].name + " = " + std::to_string(e.names[i].value) +
            (i + 1 < e.names.size() ? ",\n" : "\n");
  }
  *out += std::string("  } ") + e.name + ";\n";
}

}  // namespace

Result<std::string> TypeLibraryText() {
  std::vector<Described> classes;
  Types types;
  for (const PublicClass& entry : PublicClasses()) {
    const ClassIdentifiers* ids = FindClassIdentifiers(entry.name);
    if (ids == nullptr) {
      return Status::Invalid(std::string("class ") + entry.name + " has no identifiers");
    }
    classes.push_back({&entry, entry.factory(), ids});
    for (const Member& member : classes.back().object->Members().members()) {
      types.Add(member.result);
      for (const ArgumentDescription& argument : member.arguments) types.Add(argument.type);
    }
  }

  std::string out =
      "// Written by write_type_library from the member tables.\n"
      "import \"oaidl.idl\";\n\n"
      "[uuid(" +
      ToText(kTypeLibraryId) + "), version(" + std::to_string(kTypeLibraryMajor) + "." +
      std::to_string(kTypeLibraryMinor) +
      "),\n helpstring(\"Group management\")]\n"
      "library PVGroupMan {\n  importlib(\"stdole2.tlb\");\n\n";
  for (const Described& c : classes) {
    out += std::string("  dispinterface _") + c.entry->name + ";\n";
  }
  for (const Enumeration* e : types.enumerations) AppendEnumeration(*e, &out);
  for (const RecordType* record : types.records) {
    const Identifier* id = FindRecordIdentifier(record->name);
    if (id == nullptr) {
      return Status::Invalid(std::string("record ") + record->name + " has no identifier");
    }
    out += "\n  typedef [uuid(" + ToText(*id) + ")] struct " + record->name + " {\n";
    for (const automation::RecordField& field : record->fields) {
      out += "    " + NameOf(field.type) + " " + field.name + ";\n";
    }
    out += std::string("  } ") + record->name + ";\n";
  }
  for (const Described& c : classes) AppendInterface(c, &out);
  for (const Described& c : classes) {
    out += "\n  [uuid(" + ToText(c.ids->class_id) + ")]\n  coclass " + c.entry->name +
           " {\n    [default] dispinterface _" + c.entry->name + ";\n  };\n";
  }
  return out + "};\n";
}

}  // namespace pv::server
