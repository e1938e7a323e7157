// The store of data sources. Tested by data_source_test.cc and stores_recovery_test.cc.
#include "pvgroupman/ado/data_source.h"

#include "ado/stores.h"
#include "pvgroupman/ado/data_sources.h"
#include "pvgroupman/automation/member_table.h"
#include "pvgroupman/tablestore/database.h"
#include "support/application.h"
#include "tablestore/traced.h"

namespace pv::ado {

using automation::MakeObject;
using automation::Ref;
using tablestore::Database;
using tablestore::FieldType;
using tablestore::Recipients;
using tablestore::SetField;
using tablestore::Traced;

namespace {

constexpr const char* kStore = "DataSrc.pvg";
constexpr const char* kCatalogue = "groups.pvg";

std::int32_t NumberOf(const Ref<Recipients>& rows, const char* field) {
  return tablestore::FieldOf(rows, field).ToI4();
}

Ref<Recipients> OpenById(const Ref<Database>& database, const std::string& folder,
                         const char* file) {
  return tablestore::OpenSettingsTable(database, folder, file, "ID");
}

}  // namespace

CDataSource::CDataSource() : folder_(std::make_unique<support::DataFolder>()) { Reset(); }

CDataSource::~CDataSource() = default;

void CDataSource::Reset() {
  id_.clear();
  name_.clear();
  connection_string_.clear();
  password_.clear();
  cursor_location_ = 2;
  connect_options_ = -1;
  cursor_type_ = 2;
  lock_type_ = 1;
  recordset_options_ = 1;
}

const std::string& CDataSource::Folder() {
  // Traced gives copies; the reference is the object's own.
  Traced("CDataSource::GetGroupDataFolder", [&] { folder_->Path(); });
  return folder_->Path();
}

bool CDataSource::StoreExists() { return IsThere(Folder() + kStore); }

bool CDataSource::OpenDataSource(const std::string& ID, const std::optional<std::string>&) {
  return Traced("CDataSource::OpenDataSource", [&] {
    const std::string id = ID;  // it may be this object's own
    Reset();
    RequireId(id);
    id_ = id;
    if (!StoreExists()) Raise(kErrNoSuchDefinition, tablestore::kTextNoSuchDefinition);
    const auto database = MakeObject<Database>();
    const Ref<Recipients> rows = OpenById(database, Folder(), kStore);
    if (!SeekId(rows, id)) Raise(kErrNoSuchDefinition, tablestore::kTextNoSuchDefinition);
    name_ = Stored(rows, "Name");
    connection_string_ = Stored(rows, "ConnectStr");
    password_ = Stored(rows, "Password");
    cursor_location_ = NumberOf(rows, "CursorLoc");
    connect_options_ = NumberOf(rows, "ConnectOpt");
    cursor_type_ = NumberOf(rows, "CursorType");
    lock_type_ = NumberOf(rows, "LockType");
    recordset_options_ = NumberOf(rows, "RSOptions");
    parameters_ = Stored(rows, "Parameters");
    rows->CloseTable();
    return true;
  });
}

bool CDataSource::SaveDataSource() {
  return Traced("CDataSource::SaveDataSource", [&] {
    RequireId(id_);
    // What a field would cut or change is refused: a source that is not what was set connects to
    // something else, or to nothing. The message names no secret.
    support::RequireFits("data source ID", id_, kLongestId);
    support::RequireFits("data source name", name_, 240);
    support::RequireFits("data source's parameters", parameters_, 254);
    support::RequireFitsUnseen("data source's connection string", connection_string_, 0);
    support::RequireFitsUnseen("data source's password", password_, 100);
    if (!StoreExists()) CreateDataSourceStore();
    const auto database = MakeObject<Database>();
    const Ref<Recipients> rows = OpenById(database, Folder(), kStore);
    if (!SeekId(rows, id_)) rows->AddNew();
    SetField(rows, "ID", id_);
    SetField(rows, "Name", name_);
    SetField(rows, "ConnectStr", connection_string_);
    SetField(rows, "Password", password_);
    SetField(rows, "CursorLoc", cursor_location_);
    SetField(rows, "ConnectOpt", connect_options_);
    SetField(rows, "CursorType", cursor_type_);
    SetField(rows, "LockType", lock_type_);
    SetField(rows, "RSOptions", recordset_options_);
    SetField(rows, "Parameters", parameters_);
    rows->Update();
    rows->CloseTable();
    return true;
  });
}

bool CDataSource::DeleteDataSource(const std::string& ID) {
  return Traced("CDataSource::DeleteDataSource", [&] {
    const std::string id = ID;
    Reset();
    RequireId(id);
    if (DataSourceInUse(id)) Raise(kErrInUse, tablestore::kTextDataSourceInUse);
    if (!StoreExists()) return true;
    const auto database = MakeObject<Database>();
    const Ref<Recipients> rows = OpenById(database, Folder(), kStore);
    if (SeekId(rows, id)) rows->Delete();
    rows->CloseTable();
    tablestore::CompactSettingsTable(database, Folder(), kStore);
    return true;
  });
}

bool CDataSource::DataSourceInUse(const std::string& id) {
  return Traced("CDataSource::DataSourceInUse", [&] {
    if (!IsThere(Folder() + kCatalogue)) return false;
    const auto database = MakeObject<Database>();
    const Ref<Recipients> rows = OpenById(database, Folder(), kCatalogue);
    if (tablestore::IsEmpty(*rows)) return false;
    for (rows->MoveFirst(); !rows->IsEof(); rows->MoveNext()) {
      // Without the blanks that fill the field; the ID may end in some of them.
      if (Stored(rows, "DSNID") == TrimRight(id)) return true;
    }
    return false;
  });
}

bool CDataSource::GetDataSources(Ref<CDataSources>& colDataSources) {
  return Traced("CDataSource::GetDataSources", [&] {
    if (!StoreExists()) return true;
    const auto database = MakeObject<Database>();
    const Ref<Recipients> rows = OpenById(database, Folder(), kStore);
    if (tablestore::IsEmpty(*rows)) return true;
    for (rows->MoveFirst(); !rows->IsEof(); rows->MoveNext()) {
      colDataSources->Add(Stored(rows, "ID"), Stored(rows, "Name"), Stored(rows, "ConnectStr"),
                          NumberOf(rows, "CursorLoc"), NumberOf(rows, "ConnectOpt"),
                          NumberOf(rows, "CursorType"), NumberOf(rows, "LockType"),
                          NumberOf(rows, "RSOptions"), Stored(rows, "Parameters"));
    }
    rows->CloseTable();
    return true;
  });
}

void CDataSource::CreateDataSourceStore() {
  Traced("CDSN::CreateDataSourceStore", [&] {
    support::EnsureFolder(Folder());
    MakeObject<Database>()
        ->CreateTable(Folder(), kStore,
                      {{"ID", FieldType::kCharacter, 32, 0, false},
                       {"Name", FieldType::kCharacter, 240, 0, false},
                       {"ConnectStr", FieldType::kMemo, 4, 0, false},
                       {"Password", FieldType::kCharacter, 100, 0, false},
                       {"CursorLoc", FieldType::kInteger, 4, 0, false},
                       {"ConnectOpt", FieldType::kInteger, 4, 0, false},
                       {"CursorType", FieldType::kInteger, 4, 0, false},
                       {"LockType", FieldType::kInteger, 4, 0, false},
                       {"RSOptions", FieldType::kInteger, 4, 0, false},
                       {"Parameters", FieldType::kCharacter, 254, 0, false}},
                      {{"ID", "ID", tablestore::kSettingsFilter, true, false},
                       {"Name", "Name", tablestore::kSettingsFilter, true, false}})
        ->CloseTable();
  });
}

const automation::MemberTable& CDataSource::Members() const {
  static const automation::MemberTable table =
      automation::Class(kClassName)
          .Property("ID", &CDataSource::GetId, &CDataSource::SetId)
          .Property("Name", &CDataSource::GetName, &CDataSource::SetName)
          .Property("ConnectionString", &CDataSource::GetConnectionString,
                    &CDataSource::SetConnectionString)
          .Put("password", &CDataSource::SetPassword)
          .Property("CursorLocation", &CDataSource::GetCursorLocation,
                    &CDataSource::SetCursorLocation)
          .Property("ConnectOptions", &CDataSource::GetConnectOptions,
                    &CDataSource::SetConnectOptions)
          .Property("CursorType", &CDataSource::GetCursorType, &CDataSource::SetCursorType)
          .Property("LockType", &CDataSource::GetLockType, &CDataSource::SetLockType)
          .Property("RecordSetOptions", &CDataSource::GetRecordSetOptions,
                    &CDataSource::SetRecordSetOptions)
          .Property("Parameters", &CDataSource::GetParameters, &CDataSource::SetParameters)
          .Method("OpenDataSource", &CDataSource::OpenDataSource, {"ID", "password"})
          .Method("SaveDataSource", &CDataSource::SaveDataSource)
          .Method("DeleteDataSource", &CDataSource::DeleteDataSource, {"ID"})
          .Method("GetDataSources", &CDataSource::GetDataSources, {"colDataSources"});
  return table;
}

Ref<CDataSource> CDataSources::Add(const std::string& ID, const std::string& Name,
                                   const std::string& ConnectionString,
                                   const std::optional<std::int32_t>& CursorLocation,
                                   const std::optional<std::int32_t>& ConnectOptions,
                                   const std::optional<std::int32_t>& CursorType,
                                   const std::optional<std::int32_t>& LockType,
                                   const std::optional<std::int32_t>& RecordSetOptions,
                                   const std::optional<std::string>& Parameters) {
  const Ref<CDataSource> source = MakeObject<CDataSource>();
  source->SetId(ID);
  source->SetName(Name);
  source->SetConnectionString(ConnectionString);
  source->SetCursorLocation(CursorLocation.value_or(0));
  source->SetConnectOptions(ConnectOptions.value_or(0));
  source->SetCursorType(CursorType.value_or(0));
  source->SetLockType(LockType.value_or(0));
  source->SetRecordSetOptions(RecordSetOptions.value_or(0));
  source->SetParameters(Parameters.value_or(""));
  items_.Add(ID, source);
  return source;
}

Ref<CDataSource> CDataSources::Item(const automation::Value& Index) const {
  return Ref<CDataSource>(static_cast<CDataSource*>(items_.Item(Index).get()));
}

const automation::MemberTable& CDataSources::Members() const {
  static const automation::MemberTable table =
      automation::Class(kClassName)
          .Method("Add", &CDataSources::Add,
                  {"ID", "Name", "ConnectionString", "CursorLocation", "ConnectOptions",
                   "CursorType", "LockType", "RecordSetOptions", "Parameters"})
          .Get("Count", &CDataSources::Count)
          .Method("Delete", &CDataSources::Delete, {"Index"})
          .Default("Item", &CDataSources::Item, {"Index"})
          .Enumerator("NewEnum", &CDataSources::NewEnum);
  return table;
}

}  // namespace pv::ado
