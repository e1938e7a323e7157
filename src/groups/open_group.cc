// Opening, counting, compacting and describing groups. Tested by open_group_test.cc.
#include <exception>

#include "base/text.h"
#include "groups/address_book_group.h"
#include "groups/ado_group.h"
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
        OpenAdoGroup(*entry);
        break;
      case GroupType::kAddressBook:
        OpenAddressBookGroup(*entry);
        break;
    }
    open_id_ = ID;
    open_type_ = entry->GetPvGroupType();
    return tb_;
  });
}

void Groups::OpenAdoGroup(const GroupLink& entry) {
  const Ref<Object> connection = CreateObject("ADODB.Connection");
  const Ref<Object> recordset = CreateObject("ADODB.Recordset");
  if (!data_source_) data_source_ = automation::MakeObject<ado::CDataSource>();
  if (!ado_properties_) ado_properties_ = automation::MakeObject<ado::CADOGroupProperties>();
  data_source_->OpenDataSource(entry.GetDataSourceId(), std::nullopt);
  ConnectAdo(connection, *data_source_);
  ado_properties_->OpenADOGroupProperties(entry.GetPropertiesId());
  OpenAdoRecordset(recordset, connection, *data_source_, ado_properties_.get());
  db_ = connection;
  tb_ = recordset;
}

void Groups::OpenAddressBookGroup(const GroupLink& entry) {
  const Ref<Object> book = CreateObject("PVGroupMan.AddressBook");
  // Catalogues of other makers may name the source as the group's properties.
  const bool as_source = !TrimBlanks(entry.GetDataSourceId()).empty();
  const std::string id = as_source ? entry.GetDataSourceId() : entry.GetPropertiesId();
  Ref<Object> contacts = CreateObject("PVGroupMan.AddressBookContacts");
  contacts = CallMember(book, "OpenAddressBook", {id}).ToObject();
  db_ = book;
  tb_ = contacts;
}

void Groups::CloseGroup() {
  Labelled("Groups::CloseGroup", [&] {
    if (open_id_.empty()) return;
    // The group counts as closed even when closing it fails.
    open_id_.clear();
    switch (open_type_) {
      case GroupType::kPvFormat:
        if (tb_) CallMember(tb_, "CloseTable");
        break;
      case GroupType::kAdoRecordset: {
        std::exception_ptr failure;
        for (const Ref<Object>& object : {tb_, db_}) {
          try {
            CloseAdo(object);
          } catch (...) {
            // The connection is closed all the same.
            if (!failure) failure = std::current_exception();
          }
        }
        if (failure) std::rethrow_exception(failure);
        break;
      }
      case GroupType::kAddressBook:
        tb_ = nullptr;
        db_ = nullptr;
        break;
    }
  });
}

std::int32_t Groups::RecipientCount() {
  return Labelled("Groups::RecipientCount", [&] {
    if (open_id_.empty()) automation::RaiseObjectNotSet();
    if (open_type_ != GroupType::kAdoRecordset) return GetProperty(tb_, "RecordCount").ToI4();
    return CountAdo(db_, BuildSql(ado_properties_.get(), true)).ToI4();
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
    switch (open_type_) {
      case GroupType::kPvFormat:
        for (const tablestore::TableField& field :
             tablestore::TableFields(GetProperty(tb_, "TableHandle").ToI4())) {
          types->Add(ProperCase(field.name), TypeOfLetter(field.letter), field.length);
        }
        break;
      case GroupType::kAdoRecordset: {
        const Ref<Object> fields = GetProperty(tb_, "Fields").ToObject();
        const std::int32_t count = GetProperty(fields, "Count").ToI4();
        for (std::int32_t i = 0; i < count; ++i) {
          const Ref<Object> field = CallMember(fields, "Item", {i}).ToObject();
          PVGroupFieldType type = TypeOfAdo(GetProperty(field, "Type").ToI4());
          if (IsAutoIncrement(field)) type = PVGroupFieldType::kNoUpdate;
          types->Add(ProperCase(GetProperty(field, "Name").ToText()), type,
                     GetProperty(field, "DefinedSize").ToI4());
        }
        break;
      }
      case GroupType::kAddressBook:
        AddContactFields(tb_, types.get());
        break;
    }
    return true;
  });
}

}  // namespace pv::groups
