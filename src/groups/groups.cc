// The catalogue. Tested by catalogue_test.cc.
#include "pvgroupman/groups/groups.h"

#include "base/text.h"
#include "groups/catalogue.h"
#include "groups/labelled.h"
#include "pvgroupman/automation/member_table.h"
#include "pvgroupman/tablestore/database.h"
#include "support/application.h"

namespace pv::groups {

using automation::MakeObject;
using automation::Ref;
using automation::Value;
using tablestore::Database;
using tablestore::FieldType;
using tablestore::Recipients;

GroupType TypeOf(const Ref<Recipients>& cursor) {
  return static_cast<GroupType>(tablestore::FieldOf(cursor, "GroupType").ToI4());
}

namespace {

// A group whose ID or path was cut could not be found again.
constexpr std::size_t kLongestPath = 254;

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
    support::EnsureFolder(GroupDataFolder());
    const auto database = MakeObject<Database>();
    database
        ->CreateTable(GroupDataFolder(), kCatalogueFile,
                      {{"ID", FieldType::kCharacter, 32, 0, false},
                       {"Name", FieldType::kCharacter, 240, 0, false},
                       {"GroupType", FieldType::kInteger, 4, 0, false},
                       {"DSNID", FieldType::kCharacter, 32, 0, false},
                       {"PropID", FieldType::kCharacter, 32, 0, false},
                       {"Path", FieldType::kCharacter, 254, 0, false}},
                      {{"ID", "ID", ".NOT. DELETED()", true, false},
                       {"Name", "Name", ".NOT. DELETED()", true, false}})
        ->CloseTable();
  });
}

bool Groups::ReadCatalogue(GroupLinks* target) {
  return Labelled("Groups::GetGroups", [&] {
    if (!support::FileExists(GroupDataFolder() + kCatalogueFile)) return false;
    const auto database = MakeObject<Database>();
    const Ref<Recipients> rows =
        database->OpenTable(GroupDataFolder(), kCatalogueFile, std::nullopt, "Name");
    bool any = false;
    if (!tablestore::IsEmpty(*rows)) rows->MoveFirst();
    while (!rows->IsEof()) {
      target->Add(TextOf(rows, "ID"), TextOf(rows, "Name"), TypeOf(rows), TextOf(rows, "DSNID"),
                  TextOf(rows, "PropID"), TextOf(rows, "Path"));
      rows->MoveNext();
      any = true;
    }
    rows->CloseTable();
    return any;
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
    if (!support::FileExists(GroupDataFolder() + kCatalogueFile)) CreateGroupListTable();
    const auto database = MakeObject<Database>();
    const Ref<Recipients> rows =
        database->OpenTable(GroupDataFolder(), kCatalogueFile, std::nullopt, "ID");
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
    if (!support::FileExists(GroupDataFolder() + kCatalogueFile)) return;
    const auto database = MakeObject<Database>();
    const Ref<Recipients> rows =
        database->OpenTable(GroupDataFolder(), kCatalogueFile, std::nullopt, "ID");
    if (rows->SeekFirst(ID, "ID")) rows->Delete();
    rows->CloseTable();
    tablestore::CompactSettingsTable(database, GroupDataFolder(), kCatalogueFile);
  });
}

void Groups::RenameGroup(const std::string& sId, const std::string& NewName) {
  Labelled("Groups::RenameGroup", [&] {
    const auto database = MakeObject<Database>();
    const Ref<Recipients> rows =
        database->OpenTable(GroupDataFolder(), kCatalogueFile, std::nullopt, "ID");
    std::string path;
    if (rows->SeekFirst(sId, "ID")) {
      if (TypeOf(rows) == GroupType::kPvFormat) path = TextOf(rows, "Path");
      if (!path.empty()) CheckGroupId(sId);
      SetField(rows, "Name", NewName);
      rows->Update();
    }
    rows->CloseTable();
    if (path.empty()) return;
    support::WriteSetting(support::WithSeparator(path) + sId + ".dat", kPropertySection,
                          kPropertyName, NewName);
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
