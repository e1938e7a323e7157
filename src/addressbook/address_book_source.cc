// The three stores of address-book sources. Tested by address_book_source_test.cc.
#include "pvgroupman/addressbook/address_book_source.h"

#include <algorithm>

#include "addressbook/errors.h"
#include "addressbook/labelled.h"
#include "addressbook/source_formats.h"
#include "addressbook/text_collection.h"
#include "base/text.h"
#include "pvgroupman/automation/call.h"
#include "pvgroupman/automation/member_table.h"
#include "pvgroupman/tablestore/database.h"
#include "support/application.h"
#include "tablestore/settings_table.h"

namespace pv::addressbook {

using automation::CallMember;
using automation::Error;
using automation::MakeObject;
using automation::Object;
using automation::Ref;
using automation::Value;
using tablestore::Database;
using tablestore::FieldType;
using tablestore::Recipients;
using tablestore::SetField;

namespace {

constexpr const char* kSourceStore = "AddrSrc.pvg";
constexpr std::size_t kLongestId = 32;
constexpr std::size_t kLongestLocation = 254;
constexpr std::size_t kLongestName = 240;

constexpr const char* kSave = "CAddressBookSource::SaveAddressBookSource";
constexpr const char* kOpen = "CAddressBookSource::OpenAddressBookSource";

Ref<Recipients> OpenById(const std::string& folder, const char* file, Ref<Database>* database) {
  *database = MakeObject<Database>();
  return tablestore::OpenSettingsTable(*database, folder, file, "ID");
}

// The first row of an ID. An ID that is wider than the field is no row's: the key would be cut.
bool SeekId(const Ref<Recipients>& rows, const std::string& id) {
  return Utf16Length(id) <= kLongestId && rows->SeekFirst(id, "ID");
}

// Whether the current row belongs to an ID; blanks that fill the field do not count.
bool IsRowOf(const Ref<Recipients>& rows, const std::string& id) {
  const std::string stored = tablestore::FieldOf(rows, "ID").ToText();
  return TrimRight(stored) == TrimRight(id);
}

}  // namespace

// One of the two tables of names.
struct CAddressBookSource::NameStore {
  const char* file;
  const char* field;
  const char* what;  // for messages
  Ref<Object> CAddressBookSource::*names;
  const char* create_label;
  const char* save_label;
  const char* open_label;
  const char* delete_label;

  static const NameStore kCategories;
  static const NameStore kDistributionLists;
};

const CAddressBookSource::NameStore CAddressBookSource::NameStore::kCategories = {
    "AddrCat.pvg",
    "Category",
    "category",
    &CAddressBookSource::categories_,
    "CAddressBookSource::CreateABCategoriesStore",
    "CAddressBookSource::SaveABCategories",
    "CAddressBookSource::OpenABCategories",
    "CAddressBookSource::DeleteABCategories"};

const CAddressBookSource::NameStore CAddressBookSource::NameStore::kDistributionLists = {
    "AddrDist.pvg",
    "DistList",
    "distribution list",
    &CAddressBookSource::distribution_lists_,
    "CAddressBookSource::CreateABDistributionListStore",
    "CAddressBookSource::SaveABDistributionLists",
    "CAddressBookSource::OpenABDistributionLists",
    "CAddressBookSource::DeleteABDistributionLists"};

FormatAccess AccessOf(std::string_view code) {
  FormatAccess access;
  access.silent = code != "AOL" && code != "PFC";
  if (code == "NS4") {
    access.write = true;
    return access;
  }
  for (const char* full : {"PST", "PAB", "WAB", "DEFM", "GW", "LDIF", "NSF", "ADR", "PINE"}) {
    if (code == full) access.write = access.update = true;
  }
  return access;
}

CAddressBookSource::CAddressBookSource() : folder_(std::make_unique<support::DataFolder>()) {}

CAddressBookSource::~CAddressBookSource() = default;

Ref<Object> CAddressBookSource::NamesOf(const NameStore& store) {
  Ref<Object>& names = this->*store.names;
  if (!names) names = MakeObject<TextCollection>();
  return names;
}

Ref<Object> CAddressBookSource::GetCategories() { return NamesOf(NameStore::kCategories); }

void CAddressBookSource::SetCategories(const Ref<Object>& NewValue) { categories_ = NewValue; }

Ref<Object> CAddressBookSource::GetDistributionLists() {
  return NamesOf(NameStore::kDistributionLists);
}

void CAddressBookSource::SetDistributionLists(const Ref<Object>& NewValue) {
  distribution_lists_ = NewValue;
}

void CAddressBookSource::SetId(const std::string& NewValue) {
  if (!id_.empty()) throw Error(kErrIdExists, "AddressBookSource", kTextIdExists);
  id_ = NewValue;
}

void CAddressBookSource::SetSourceFormat(const std::string& NewValue) {
  const std::string upper = ToUpper(NewValue);
  const std::string_view code = TrimBlanks(upper);
  if (std::find(kSourceFormats.begin(), kSourceFormats.end(), code) == kSourceFormats.end()) {
    throw Error(kErrBadFormat, "AddressBookSource::SourceFormat", kTextBadFormat);
  }
  format_ = code;
  const FormatAccess access = AccessOf(code);
  write_access_ = access.write;
  update_access_ = access.update;
  silent_mode_ = access.silent;
}

const std::string& CAddressBookSource::GroupDataFolder() {
  return Labelled("CAddressBookSource::GetGroupDataFolder",
                  [&]() -> const std::string& { return folder_->Path(); });
}

void CAddressBookSource::ResetAbSource() {
  Labelled("CAddressBookSource::ResetABSource", [&] {
    for (const Ref<Object>& names : {GetCategories(), GetDistributionLists()}) {
      for (std::int32_t n = automation::GetProperty(names, "Count").ToI4(); n > 0; --n) {
        CallMember(names, "Remove", {Value(n)});
      }
    }
  });
}

void CAddressBookSource::CreateAddressBookStore() {
  Labelled("CAddressBookSource::CreateAddressBookStore", [&] {
    tablestore::EnsureSettingsTable(
        GroupDataFolder(), kSourceStore,
        {{"ID", FieldType::kCharacter, kLongestId, 0, false},
         {"Name", FieldType::kCharacter, 240, 0, false},
         {"SourceFmt", FieldType::kCharacter, 20, 0, false},
         {"SourceLoc", FieldType::kCharacter, kLongestLocation, 0, false},
         {"Writeable", FieldType::kLogical, 1, 0, false},
         {"Updateable", FieldType::kLogical, 1, 0, false},
         {"SilentMode", FieldType::kLogical, 1, 0, false},
         {"Options1", FieldType::kCharacter, 100, 0, false}},
        {{"ID", "ID", tablestore::kSettingsFilter, true, false}});
  });
}

void CAddressBookSource::CreateNameStore(const NameStore& store) {
  Labelled(store.create_label, [&] {
    tablestore::EnsureSettingsTable(GroupDataFolder(), store.file,
                                    {{"ID", FieldType::kCharacter, kLongestId, 0, false},
                                     {store.field, FieldType::kCharacter, kLongestName, 0, false}},
                                    {{"ID", "ID", tablestore::kSettingsFilter, false, false}});
  });
}

bool CAddressBookSource::SaveAddressBookSource() {
  return Labelled(kSave, [&] {
    if (TrimBlanks(id_).empty()) throw Error(kErrBlankId, kSave, kTextBlankId);
    // What a field would cut or change is refused before anything is written: the source could
    // not be found again, or would read another address book or other parts of it.
    support::RequireFits("address-book source ID", id_, kLongestId);
    support::RequireFits("address book's location", location_, kLongestLocation);
    for (const NameStore* store : {&NameStore::kCategories, &NameStore::kDistributionLists}) {
      for (const std::string& name : TextsOf(NamesOf(*store))) {
        support::RequireFits(store->what, name, kLongestName);
      }
    }
    CreateAddressBookStore();
    Ref<Database> database;
    const Ref<Recipients> rows = OpenById(GroupDataFolder(), kSourceStore, &database);
    if (!SeekId(rows, id_)) rows->AddNew();
    SetField(rows, "ID", id_);
    SetField(rows, "SourceFmt", format_);
    SetField(rows, "SourceLoc", location_);
    SaveNames(NameStore::kCategories);
    SaveNames(NameStore::kDistributionLists);
    rows->Update();
    rows->CloseTable();
    return true;
  });
}

void CAddressBookSource::SaveNames(const NameStore& store) {
  Labelled(store.save_label, [&] {
    CreateNameStore(store);
    Ref<Database> database;
    const Ref<Recipients> rows = OpenById(GroupDataFolder(), store.file, &database);
    // The new rows come before the old ones go: a source that was left without names half-way would
    // have every contact of its address book.
    const std::int32_t before = rows->GetRecordCount();
    for (const std::string& name : TextsOf(NamesOf(store))) {
      rows->AddNew();
      SetField(rows, "ID", id_);
      SetField(rows, store.field, name);
      rows->Update();
    }
    // Rows with the same key follow each other as they were written.
    if (SeekId(rows, id_)) {
      while (IsRowOf(rows, id_) && rows->GetRecordNo() <= before) {
        rows->Delete();
        if (!rows->MoveNext()) break;
      }
    }
    rows->CloseTable();
    tablestore::CompactSettingsTable(database, GroupDataFolder(), store.file);
  });
}

bool CAddressBookSource::OpenAddressBookSource(const std::string& ID) {
  return Labelled(kOpen, [&] {
    const std::string id = ID;  // it may be this object's own
    ResetAbSource();
    if (TrimBlanks(id).empty()) throw Error(kErrBlankId, kOpen, kTextBlankId);
    id_ = id;
    const Error unknown(kErrNoSuchSource, kOpen, kTextNoSuchSource);
    if (!tablestore::SettingsTableExists(GroupDataFolder(), kSourceStore)) throw unknown;
    Ref<Database> database;
    const Ref<Recipients> rows = OpenById(GroupDataFolder(), kSourceStore, &database);
    if (!SeekId(rows, id_)) throw unknown;
    SetSourceFormat(tablestore::FieldOf(rows, "SourceFmt").ToText());
    location_ = tablestore::FieldOf(rows, "SourceLoc").ToText();
    OpenNames(NameStore::kCategories);
    OpenNames(NameStore::kDistributionLists);
    rows->CloseTable();
    return true;
  });
}

void CAddressBookSource::OpenNames(const NameStore& store) {
  Labelled(store.open_label, [&] {
    if (!tablestore::SettingsTableExists(GroupDataFolder(), store.file)) return;
    Ref<Database> database;
    const Ref<Recipients> rows = OpenById(GroupDataFolder(), store.file, &database);
    if (SeekId(rows, id_)) {
      const Ref<Object> names = NamesOf(store);
      do {
        CallMember(names, "Add", {tablestore::FieldOf(rows, store.field)});
      } while (rows->MoveNext() && IsRowOf(rows, id_));
    }
    rows->CloseTable();
  });
}

bool CAddressBookSource::DeleteAddressBookSource(const std::optional<std::string>& ID) {
  return Labelled("CAddressBookSource::DeleteAddressBookSource", [&] {
    const std::string id = ID && !ID->empty() ? *ID : id_;
    if (tablestore::SettingsTableExists(GroupDataFolder(), kSourceStore)) {
      Ref<Database> database;
      const Ref<Recipients> rows = OpenById(GroupDataFolder(), kSourceStore, &database);
      if (SeekId(rows, id)) rows->Delete();
      rows->CloseTable();
      tablestore::CompactSettingsTable(database, GroupDataFolder(), kSourceStore);
    }
    DeleteNames(NameStore::kCategories, id);
    DeleteNames(NameStore::kDistributionLists, id);
    return true;
  });
}

void CAddressBookSource::DeleteNames(const NameStore& store, const std::string& id) {
  Labelled(store.delete_label, [&] {
    if (!tablestore::SettingsTableExists(GroupDataFolder(), store.file)) return;
    Ref<Database> database;
    const Ref<Recipients> rows = OpenById(GroupDataFolder(), store.file, &database);
    if (SeekId(rows, id)) {
      do {
        rows->Delete();
      } while (rows->MoveNext() && IsRowOf(rows, id));
    }
    rows->CloseTable();
    tablestore::CompactSettingsTable(database, GroupDataFolder(), store.file);
  });
}

const automation::MemberTable& CAddressBookSource::Members() const {
  using Self = CAddressBookSource;
  static const automation::MemberTable table =
      automation::Class(kClassName)
          .Property("Categories", &Self::GetCategories, &Self::SetCategories)
          .Property("DistributionLists", &Self::GetDistributionLists, &Self::SetDistributionLists)
          .Property("ID", &Self::GetId, &Self::SetId)
          .Property("SourceFormat", &Self::GetSourceFormat, &Self::SetSourceFormat)
          .Property("SourceLocation", &Self::GetSourceLocation, &Self::SetSourceLocation)
          .Get("WriteAccess", &Self::GetWriteAccess)
          .Get("UpdateAccess", &Self::GetUpdateAccess)
          .Get("SilentMode", &Self::GetSilentMode)
          .Method("SaveAddressBookSource", &Self::SaveAddressBookSource)
          .Method("OpenAddressBookSource", &Self::OpenAddressBookSource, {"ID"})
          .Method("DeleteAddressBookSource", &Self::DeleteAddressBookSource, {"ID"});
  return table;
}

}  // namespace pv::addressbook
