// Creating and deleting groups. Tested by manage_groups_test.cc.
#include "base/text.h"
#include "groups/catalogue.h"
#include "groups/labelled.h"
#include "platform/system.h"
#include "pvgroupman/groups/groups.h"
#include "support/application.h"
#include "support/configuration.h"
#include "tablestore/resource_strings.h"

namespace pv::groups {

using automation::Ref;
using tablestore::FieldStruct;
using tablestore::FieldType;
using tablestore::IndexStruct;
using tablestore::PVFieldType;
using tablestore::Recipients;

namespace {

constexpr const char* kCreateGroup = "Groups::CreateGroup";

FieldStruct FieldOf(const tablestore::FieldDef& def) {
  FieldStruct field;
  field.Name = def.GetName();
  field.Decimal = def.GetDecimalPlaces();
  field.NullsAllowed = def.GetNullsAllowed();
  switch (def.GetType()) {
    case PVFieldType::kText:
      field.Type = FieldType::kCharacter;
      field.Length = def.GetLength();
      return field;
    case PVFieldType::kUnicode:
      field.Type = FieldType::kUnicode;
      field.Length = def.GetLength();
      return field;
    case PVFieldType::kNumber:
      field.Type = FieldType::kNumeric;
      field.Length = def.GetLength();
      return field;
    case PVFieldType::kDate:
      field.Type = FieldType::kDate;
      field.Length = 8;
      return field;
    case PVFieldType::kCurrency:
      field.Type = FieldType::kCurrency;
      return field;
    case PVFieldType::kBoolean:
      field.Type = FieldType::kLogical;
      field.Length = 1;
      return field;
  }
  throw automation::Error(
      kErrUnsupportedFieldType, kCreateGroup,
      tablestore::Text(tablestore::kTextUnsupportedType,
                       std::to_string(static_cast<std::int32_t>(def.GetType()))));
}

void RemoveIfThere(const std::string& file) {
  const Status status = platform::CurrentSystem().files->Remove(file);
  if (status.ok() || status.code() == StatusCode::kNotFound) return;
  throw automation::Error(support::kErrPathAccess, "RemoveFile", status.message());
}

}  // namespace

void WriteGroupName(const std::string& stem, const std::string& name) {
  const std::string file = stem + ".dat";
  const Status written = platform::CurrentSystem().profiles->Write(
      file, kPropertySection, kPropertyName, name, *support::CurrentCodePage());
  if (written.ok()) return;
  throw automation::Error(support::kErrPathAccess, "WriteGroupName", written.message());
}

std::string Groups::CreateGroup(const std::string& Name, const Ref<tablestore::FieldDefs>& Fields,
                                const Ref<tablestore::IndexDefs>& Indexes,
                                const std::string& Path) {
  try {
    std::vector<FieldStruct> fields;
    for (std::int32_t i = 1; i <= Fields->Count(); ++i) fields.push_back(FieldOf(*Fields->Item(i)));
    std::vector<IndexStruct> indexes;
    for (std::int32_t i = 1; i <= Indexes->Count(); ++i) {
      const Ref<tablestore::IndexDef> def = Indexes->Item(i);
      indexes.push_back({def->GetName(), def->GetExpression(), def->GetFilter(), def->GetUnique(),
                         def->GetDescending()});
    }
    std::string folder;
    if (TrimBlanks(Path).empty()) {
      folder = GroupDataFolder();
      support::EnsureFolder(folder);
    } else {
      if (!support::IsFolder(Path)) return {};
      folder = support::WithSeparator(Path);
    }
    const std::string id = support::NewIdentifier();
    if (id.empty()) {
      throw automation::Error(automation::kErrInternal, "NewIdentifier",
                              "The system gave no new identifier.");
    }
    automation::MakeObject<tablestore::Database>()
        ->CreateTable(folder, id + ".pvg", fields, indexes)
        ->CloseTable();
    try {
      WriteGroupName(folder + id, Name);
    } catch (const automation::Error&) {
      // Nobody is told the ID of this table.
      for (const char* extension : {".pvg", ".cdx", ".fpt"}) {
        (void)platform::CurrentSystem().files->Remove(folder + id + extension).ok();
      }
      throw;
    }
    return id;
  } catch (...) {
    const automation::Error error = automation::CurrentError("Groups");
    if (error.number() == kErrUnsupportedFieldType) throw error;
    throw error.WithSource(std::string(kCreateGroup) + " (" + error.source() + ")");
  }
}

bool Groups::DeleteGroup(const std::string& sId) {
  return Labelled("Groups::DeleteGroup", [&] {
    if (!open_id_.empty() && EqualsIgnoreCase(sId, open_id_)) {
      throw automation::Error(kErrGroupIsOpen, {}, tablestore::Text(tablestore::kTextGroupIsOpen));
    }
    const std::string& data = GroupDataFolder();
    std::string path;
    GroupType type = GroupType::kPvFormat;
    if (tablestore::SettingsTableExists(data, kCatalogueFile)) {
      const auto database = automation::MakeObject<tablestore::Database>();
      const Ref<Recipients> rows =
          tablestore::OpenSettingsTable(database, data, kCatalogueFile, "ID");
      if (rows->SeekFirst(sId, "ID")) {
        path = TextOf(rows, "Path");
        type = TypeOf(rows);
        // A row whose ID names no files of its own goes alone, unless files are its whole point.
        if (type == GroupType::kPvFormat) CheckGroupId(sId);
        rows->Delete();
      }
      rows->CloseTable();
      tablestore::CompactSettingsTable(database, data, kCatalogueFile);
    }
    if (!WhyNotInFileNames(sId).empty()) {
      if (type == GroupType::kPvFormat) CheckGroupId(sId);
      return true;
    }
    if (path.empty()) {
      for (const char* extension : {".pvg", ".cdx", ".fpt"}) RemoveIfThere(data + sId + extension);
    } else {
      const std::string stem = support::WithSeparator(path) + sId;
      for (const char* extension : {".pvg", ".cdx", ".dat", ".fpt"}) {
        RemoveIfThere(stem + extension);
      }
    }
    return true;
  });
}

}  // namespace pv::groups
