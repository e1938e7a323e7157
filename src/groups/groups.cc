// The catalogue. Tested by catalogue_test.cc.
#include "pvgroupman/groups/groups.h"

#include <algorithm>
#include <vector>

#include "base/text.h"
#include "groups/catalogue.h"
#include "groups/labelled.h"
#include "pvgroupman/automation/member_table.h"
#include "pvgroupman/tablestore/database.h"
#include "support/application.h"
#include "support/configuration.h"

namespace pv::groups {

using automation::MakeObject;
using automation::Ref;
using automation::Value;
using tablestore::Database;
using tablestore::FieldOf;
using tablestore::FieldType;
using tablestore::OpenSettingsTable;
using tablestore::Recipients;
using tablestore::SettingsTableExists;

GroupType TypeOf(const Ref<Recipients>& cursor) {
  return static_cast<GroupType>(FieldOf(cursor, "GroupType").ToI4());
}

namespace {

// A group whose ID or path was cut could not be found again.
constexpr std::size_t kLongestPath = 254;

constexpr std::int32_t kNoRecords = 3;  // of MoveFirst

struct CatalogueRow {
  std::string id, name, data_source, properties, path;
  GroupType type = GroupType::kPvFormat;
  std::string name_key;  // the name's bytes, as its tag sorts them
};

// The rows in the order of a tag.
std::vector<CatalogueRow> ReadRows(const Ref<Database>& database, const std::string& folder,
                                   const char* tag) {
  const Ref<Recipients> cursor = OpenSettingsTable(database, folder, kCatalogueFile, tag);
  const auto page = support::CurrentCodePage();
  std::vector<CatalogueRow> rows;
  try {
    cursor->MoveFirst();
  } catch (const automation::Error& e) {
    if (e.number() != kNoRecords) throw;
  }
  for (; !cursor->IsEof(); cursor->MoveNext()) {
    rows.push_back({TextOf(cursor, "ID"), TextOf(cursor, "Name"), TextOf(cursor, "DSNID"),
                    TextOf(cursor, "PropID"), TextOf(cursor, "Path"), TypeOf(cursor),
                    page->Encode(FieldOf(cursor, "Name").ToText())});
  }
  cursor->CloseTable();
  return rows;
}

bool SameRow(const CatalogueRow& a, const CatalogueRow& b) {
  return a.id == b.id && a.name_key == b.name_key;
}

bool NameIsLess(const CatalogueRow& a, const CatalogueRow& b) { return a.name_key < b.name_key; }

}  // namespace

Groups::Groups() : data_folder_(std::make_unique<support::DataFolder>()) {
  Labelled("Groups::Initialize", [&] { Refresh(); });
}

Groups::~Groups() {
  // In this order, as hosts have always seen it.
  groups_ = nullptr;
  field_types_ = nullptr;
  db_ = nullptr;
  tb_ = nullptr;
  data_source_ = nullptr;
  ado_properties_ = nullptr;
  data_folder_->Release();
}

Ref<GroupLinks> Groups::GetGroups() {
  if (!groups_) groups_ = MakeObject<GroupLinks>();
  return groups_;
}

Ref<GroupFieldTypes> Groups::GetFieldTypes() {
  if (!field_types_) field_types_ = MakeObject<GroupFieldTypes>();
  return field_types_;
}

const std::string& Groups::GroupDataFolder() {
  return Labelled("Groups::GetGroupDataFolder",
                  [&]() -> const std::string& { return data_folder_->Path(); });
}

void Groups::CreateGroupListTable() {
  Labelled("Groups::CreateGroupListTable", [&] {
    tablestore::EnsureSettingsTable(GroupDataFolder(), kCatalogueFile,
                                    {{"ID", FieldType::kCharacter, 32, 0, false},
                                     {"Name", FieldType::kCharacter, 240, 0, false},
                                     {"GroupType", FieldType::kInteger, 4, 0, false},
                                     {"DSNID", FieldType::kCharacter, 32, 0, false},
                                     {"PropID", FieldType::kCharacter, 32, 0, false},
                                     {"Path", FieldType::kCharacter, 254, 0, false}},
                                    {{"ID", "ID", ".NOT. DELETED()", true, false},
                                     {"Name", "Name", ".NOT. DELETED()", true, false}});
  });
}

// Names change while they are read: a group that another program renames then would be met twice
// in the order of names, or not at all. IDs do not change, so they tell which groups there are. The
// tag of names is asked for its order only: in a catalogue of another program it may be that of a
// language, and then it is the same each time.
bool Groups::ReadCatalogue(GroupLinks* target) {
  return Labelled("Groups::GetGroups", [&] {
    if (!SettingsTableExists(GroupDataFolder(), kCatalogueFile)) return false;
    const auto database = MakeObject<Database>();
    const auto read = [&](const char* tag) { return ReadRows(database, GroupDataFolder(), tag); };
    std::vector<CatalogueRow> rows = read("ID");
    std::sort(rows.begin(), rows.end(), NameIsLess);
    const std::vector<CatalogueRow> by_name = read("Name");
    if (!std::is_sorted(by_name.begin(), by_name.end(), NameIsLess)) {
      const std::vector<CatalogueRow> again = read("Name");
      const auto equal = [](const auto& a, const auto& b) {
        return std::equal(a.begin(), a.end(), b.begin(), b.end(), SameRow);
      };
      const bool steady =
          equal(by_name, again) &&
          std::is_permutation(rows.begin(), rows.end(), by_name.begin(), by_name.end(), SameRow);
      if (steady) rows = by_name;
    }
    for (const CatalogueRow& row : rows) {
      target->Add(row.id, row.name, row.type, row.data_source, row.properties, row.path);
    }
    return !rows.empty();
  });
}

void Groups::Refresh() {
  Labelled("Groups::Refresh", [&] {
    const Ref<GroupLinks> links = GetGroups();
    for (std::int32_t n = links->Count(); n > 0; --n) links->Delete(n);
    const auto read = MakeObject<GroupLinks>();
    if (!ReadCatalogue(read.get())) return;
    for (std::int32_t i = 1; i <= read->Count(); ++i) {
      const Ref<GroupLink> link = read->Item(i);
      links->Add(link->GetId(), link->GetName(), link->GetPvGroupType(), link->GetDataSourceId(),
                 link->GetPropertiesId(), link->GetPath());
    }
  });
}

void Groups::AddGroup(const std::string& sId, const std::string& Name, GroupType PVGroupType,
                      const std::string& DSNID, const std::string& PropID,
                      const std::string& sPath) {
  Labelled("Groups::AddGroup", [&] {
    const std::string path = TrimBlanks(sPath).empty() ? sPath : support::WithSeparator(sPath);
    support::RequireFits("group ID", sId, kLongestGroupId);
    support::RequireFits("path", path, kLongestPath);
    if (!SettingsTableExists(GroupDataFolder(), kCatalogueFile)) CreateGroupListTable();
    const auto database = MakeObject<Database>();
    const Ref<Recipients> rows =
        OpenSettingsTable(database, GroupDataFolder(), kCatalogueFile, "ID");
    rows->AddNew();
    SetField(rows, "ID", sId);
    SetField(rows, "Name", Name);
    SetField(rows, "GroupType", static_cast<std::int32_t>(PVGroupType));
    SetField(rows, "DSNID", DSNID);
    SetField(rows, "PropID", PropID);
    SetField(rows, "Path", path);
    rows->Update();
    rows->CloseTable();
    GetGroups()->Add(sId, Name, PVGroupType, DSNID, PropID, path);
  });
}

void Groups::RemoveGroup(const std::string& ID) {
  Labelled("Groups::RemoveGroup", [&] {
    if (!SettingsTableExists(GroupDataFolder(), kCatalogueFile)) return;
    const auto database = MakeObject<Database>();
    const Ref<Recipients> rows =
        OpenSettingsTable(database, GroupDataFolder(), kCatalogueFile, "ID");
    if (rows->SeekFirst(ID, "ID")) rows->Delete();
    rows->CloseTable();
    CompactSettingsTable(database, GroupDataFolder(), kCatalogueFile);
  });
}

void Groups::RenameGroup(const std::string& sId, const std::string& NewName) {
  Labelled("Groups::RenameGroup", [&] {
    const auto database = MakeObject<Database>();
    const Ref<Recipients> rows =
        OpenSettingsTable(database, GroupDataFolder(), kCatalogueFile, "ID");
    std::string path;
    if (rows->SeekFirst(sId, "ID")) {
      if (TypeOf(rows) == GroupType::kPvFormat) path = TextOf(rows, "Path");
      if (!path.empty()) CheckGroupId(sId);
      SetField(rows, "Name", NewName);
      rows->Update();
    }
    rows->CloseTable();
    if (path.empty()) return;
    WriteGroupName(support::WithSeparator(path) + sId, NewName);
  });
}

std::string Groups::GetVersion() const {
  // The revision has four digits at least.
  const std::string revision = std::to_string(PV_VERSION_PATCH);
  return std::to_string(PV_VERSION_MAJOR) + "." + std::to_string(PV_VERSION_MINOR) + "." +
         (revision.size() < 4 ? std::string(4 - revision.size(), '0') : "") + revision;
}

const automation::MemberTable& Groups::Members() const {
  static const automation::MemberTable table =
      automation::Class(kClassName)
          .Property("Groups", &Groups::GetGroups, &Groups::SetGroups)
          .Property("FieldTypes", &Groups::GetFieldTypes, &Groups::SetFieldTypes)
          .Property("mDb", &Groups::GetDb, &Groups::SetDb)
          .Property("mTb", &Groups::GetTb, &Groups::SetTb)
          .Method("Refresh", &Groups::Refresh)
          .Method("AddGroup", &Groups::AddGroup,
                  {"sId", "Name", "PVGroupType", "DSNID", "PropID", "sPath"})
          .Method("RemoveGroup", &Groups::RemoveGroup, {"ID"})
          .Method("RenameGroup", &Groups::RenameGroup, {"sId", "NewName"})
          .Get("Version", &Groups::GetVersion)
          .Method("ADOInstalled", &Groups::AdoInstalled)
          .Method("OpenGroup", &Groups::OpenGroup, {"ID"})
          .Get("IsGroupOpen", &Groups::GetIsGroupOpen)
          .Method("CloseGroup", &Groups::CloseGroup)
          .Method("RecipientCount", &Groups::RecipientCount)
          .Method("CompactGroup", &Groups::CompactGroup, {"ID"})
          .Method("CreateGroup", &Groups::CreateGroup, {"Name", "Fields", "Indexes", "Path"})
          .Method("DeleteGroup", &Groups::DeleteGroup, {"sId"})
          .Method("GetGroupFieldTypes", &Groups::GetGroupFieldTypes);
  return table;
}

}  // namespace pv::groups
