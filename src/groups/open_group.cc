// Opening, counting, compacting and describing groups. Tested by open_group_test.cc.
#include <exception>

#include "base/text.h"
#include "groups/catalogue.h"
#include "groups/labelled.h"
#include "pvgroupman/automation/call.h"
#include "pvgroupman/automation/progid.h"
#include "pvgroupman/groups/groups.h"
#include "tablestore/resource_strings.h"
#include "tablestore/table_fields.h"

namespace pv::groups {

using automation::CallMember;
using automation::CreateObject;
using automation::GetProperty;
using automation::Object;
using automation::Ref;
using automation::Value;

namespace {

[[noreturn]] void RaiseNotAvailable(const char* kind) {
  throw automation::Error(
      automation::kErrCannotCreate, {},
      std::string(automation::StandardDescription(automation::kErrCannotCreate)) + ": " + kind +
          " groups are not available yet");
}

PVGroupFieldType TypeOfLetter(char letter) {
  switch (letter) {
    case 'N':
    case 'F':
    case 'I':
      return PVGroupFieldType::kNumber;
    case 'Y':
      return PVGroupFieldType::kCurrency;
    case 'D':
      return PVGroupFieldType::kDate;
    case 'T':
      return PVGroupFieldType::kDateTime;
    case 'L':
      return PVGroupFieldType::kBoolean;
    default:
      // "B" too: hosts have always seen a double as text.
      return PVGroupFieldType::kText;
  }
}

}  // namespace

bool Groups::AdoInstalled() const {
  try {
    const Ref<Object> connection = CreateObject("ADODB.Connection");
    const Ref<Object> recordset = CreateObject("ADODB.Recordset");
    automation::PutProperty(connection, "CursorLocation", Value(2));
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

Ref<GroupLink> Groups::EntryOf(const std::string& id) {
  const Ref<GroupLinks> links = GetGroups();
  if (links->Count() == 0) Refresh();
  Ref<GroupLink> entry = links->Item(Value(id));
  if (!entry) throw automation::Error(kErrGroupGone, {}, kTextGroupGone);
  return entry;
}

std::string Groups::FolderOf(const GroupLink& entry) {
  const std::string path = entry.GetPath();
  return TrimBlanks(path).empty() ? GroupDataFolder() : path;
}

Ref<Object> Groups::OpenGroup(const std::string& ID) {
  return Labelled("Groups::OpenGroup", [&] {
    const Ref<GroupLink> entry = EntryOf(ID);
    switch (entry->GetPvGroupType()) {
      case GroupType::kPvFormat: {
        CheckGroupId(ID);
        const std::string folder = FolderOf(*entry);
        db_ = CreateObject("PVGroupMan.Database");
        tb_ = CreateObject("PVGroupMan.Recipients");
        tb_ = CallMember(db_, "OpenTable",
                         {folder, ID + ".pvg", 0, tablestore::Text(tablestore::kTextEmailTag)})
                  .ToObject();
        break;
      }
      case GroupType::kAdoRecordset:
        RaiseNotAvailable("ADO");
      case GroupType::kAddressBook:
        RaiseNotAvailable("address-book");
    }
    open_id_ = ID;
    return tb_;
  });
}

void Groups::CloseGroup() {
  Labelled("Groups::CloseGroup", [&] {
    if (open_id_.empty()) return;
    // The group counts as closed even when closing its table fails.
    open_id_.clear();
    if (tb_) CallMember(tb_, "CloseTable");
  });
}

std::int32_t Groups::RecipientCount() {
  return Labelled("Groups::RecipientCount", [&] {
    if (open_id_.empty()) automation::RaiseObjectNotSet();
    return GetProperty(tb_, "RecordCount").ToI4();
  });
}

void Groups::CompactGroup(const std::string& ID) {
  Labelled("Groups::CompactGroup", [&] {
    const Ref<GroupLink> entry = EntryOf(ID);
    if (entry->GetPvGroupType() != GroupType::kPvFormat) return;
    CheckGroupId(ID);
    automation::MakeObject<tablestore::Database>()->CompactTable(FolderOf(*entry), ID + ".pvg");
  });
}

bool Groups::GetGroupFieldTypes() {
  return Labelled("Groups::GetGroupFieldTypes", [&] {
    const Ref<GroupFieldTypes> types = GetFieldTypes();
    types->Clear();
    if (open_id_.empty()) automation::RaiseObjectNotSet();
    for (const tablestore::TableField& field :
         tablestore::TableFields(GetProperty(tb_, "TableHandle").ToI4())) {
      types->Add(ProperCase(field.name), TypeOfLetter(field.letter), field.length);
    }
    return true;
  });
}

}  // namespace pv::groups
