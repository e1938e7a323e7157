// The store of ADO group definitions. Tested by ado_group_properties_test.cc and
// stores_recovery_test.cc.
#include "pvgroupman/ado/ado_group_properties.h"

#include <charconv>
#include <exception>
#include <string_view>
#include <vector>

#include "ado/stores.h"
#include "platform/file_system.h"
#include "platform/ini_file.h"
#include "platform/system.h"
#include "pvgroupman/automation/member_table.h"
#include "pvgroupman/tablestore/database.h"
#include "support/application.h"
#include "support/configuration.h"
#include "tablestore/traced.h"

namespace pv::ado {

using automation::MakeObject;
using automation::Ref;
using automation::Value;
using tablestore::Database;
using tablestore::FieldType;
using tablestore::Recipients;
using tablestore::SetField;
using tablestore::Traced;

namespace {

constexpr const char* kStore = "GroupADO.pvg";
constexpr const char* kSection = "Filters";
constexpr const char* kCountKey = "FilterCount";

std::string Replaced(std::string text, std::string_view what, std::string_view with) {
  for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += with.size()) {
    text.replace(at, what.size(), with);
  }
  return text;
}

// Settings files give apostrophes around a value and hash signs meanings of their own.
std::string Escaped(const std::string& value) {
  return Replaced(Replaced(value, "'", "<singlequote>"), "#", "<hash>");
}
std::string Unescaped(const std::string& value) {
  return Replaced(Replaced(value, "<singlequote>", "'"), "<hash>", "#");
}

std::string KeyOf(std::int32_t i, const char* what) { return "Filter" + std::to_string(i) + what; }

// The number that a text begins with, 0 when there is none.
std::int32_t LeadingNumber(std::string_view text) {
  text = TrimBlanks(text);
  if (!text.empty() && text.front() == '+') text.remove_prefix(1);
  const std::size_t digit = !text.empty() && text.front() == '-' ? 1 : 0;
  if (digit >= text.size() || (text[digit] != '.' && (text[digit] < '0' || text[digit] > '9'))) {
    return 0;
  }
  double number = 0;
  if (std::from_chars(text.data(), text.data() + text.size(), number).ec != std::errc()) return 0;
  return Value(number).ToI4();
}

}  // namespace

CADOGroupProperties::CADOGroupProperties() : folder_(std::make_unique<support::DataFolder>()) {}

CADOGroupProperties::~CADOGroupProperties() = default;

Ref<CFilters> CADOGroupProperties::GetFilters() {
  if (!filters_) filters_ = MakeObject<CFilters>();
  return filters_;
}

void CADOGroupProperties::Reset() {
  Traced("CADOGroupProperties::ResetADOGroupProperties", [&] {
    id_.clear();
    table_.clear();
    filter_method_ = 0;
    const Ref<CFilters> filters = GetFilters();
    for (std::int32_t n = filters->Count(); n > 0; --n) filters->Delete(n);
    left_brace_.clear();
    right_brace_.clear();
    sql_.clear();
    parameters_.clear();
  });
}

const std::string& CADOGroupProperties::Folder() {
  Traced("CDataSource::GetGroupDataFolder", [&] { folder_->Path(); });
  return folder_->Path();
}

bool CADOGroupProperties::StoreExists() { return IsThere(Folder() + kStore); }

std::string CADOGroupProperties::FilterFile(const std::string& id) {
  const std::string why = support::WhyNotPartOfFileName(id);
  if (!why.empty()) {
    throw automation::Error(automation::kErrInvalidCall, {},
                            "The definition ID \"" + id + "\" " + why + ".");
  }
  return Folder() + "GroupADO" + id + ".ini";
}

bool CADOGroupProperties::LoadFilters(const std::string& id) {
  const std::string file = FilterFile(id);
  try {
    const Ref<CFilters> filters = GetFilters();
    // Read whole, so that a file that is there and cannot be read is no empty list.
    const Result<std::string> content =
        platform::ReadWholeFile(platform::CurrentSystem().files, file, platform::kLargestIniFile);
    if (content.status().code() == StatusCode::kNotFound) return true;
    if (!content.ok()) {
      throw automation::Error(support::kErrPathAccess, {}, content.status().message());
    }
    const auto page = support::CurrentCodePage();
    const auto read = [&](const std::string& key) {
      return platform::ReadIniValue(*content, kSection, key, *page).value_or("");
    };
    const std::int32_t count = LeadingNumber(read(kCountKey));
    for (std::int32_t i = 1; i <= count; ++i) {
      filters->Add(read(KeyOf(i, "Field")), read(KeyOf(i, "OpDisplay")), read(KeyOf(i, "OpSQL")),
                   Unescaped(read(KeyOf(i, "Value"))), read(KeyOf(i, "LogicalOp")));
    }
    return true;
  } catch (const std::exception& e) {
    support::Log("CADOGroupProperties::OpenADOGroupProperties", file + ": " + e.what(),
                 support::kLogErrors);
    return false;
  }
}

bool CADOGroupProperties::SaveFilters() {
  const Ref<CFilters> filters = GetFilters();
  std::vector<platform::ProfileEntry> entries = {{kCountKey, std::to_string(filters->Count())}};
  for (std::int32_t i = 1; i <= filters->Count(); ++i) {
    const Ref<CFilter> filter = filters->Item(i);
    entries.push_back({KeyOf(i, "Field"), filter->GetFieldName()});
    entries.push_back({KeyOf(i, "OpDisplay"), filter->GetOpDisplay()});
    entries.push_back({KeyOf(i, "OpSQL"), filter->GetOpSql()});
    entries.push_back({KeyOf(i, "Value"), Escaped(filter->GetValue())});
    entries.push_back({KeyOf(i, "LogicalOp"), filter->GetLogicalOp()});
  }
  return support::WriteSettings(FilterFile(id_), kSection, std::move(entries));
}

Value CADOGroupProperties::OpenADOGroupProperties(const std::string& ID) {
  return Traced("CADOGroupProperties::OpenADOGroupProperties", [&]() -> Value {
    const std::string id = ID;  // it may be this object's own
    Reset();
    RequireId(id);
    id_ = id;
    if (!StoreExists()) Raise(kErrNoSuchDefinition, tablestore::kTextNoSuchDefinition);
    if (!LoadFilters(id)) {
      id_.clear();
      Raise(kErrBlankId, tablestore::kTextBlankId);
    }
    const auto database = MakeObject<Database>();
    const Ref<Recipients> rows = tablestore::OpenSettingsTable(database, Folder(), kStore, "ID");
    if (!SeekId(rows, id)) Raise(kErrNoSuchDefinition, tablestore::kTextNoSuchDefinition);
    filter_method_ = tablestore::FieldOf(rows, "FilterMeth").ToI2();
    table_ = Stored(rows, "Table");
    left_brace_ = Stored(rows, "LeftBrace");
    right_brace_ = Stored(rows, "RightBrace");
    sql_ = Stored(rows, "SQL");
    parameters_ = Stored(rows, "Parameters");
    rows->CloseTable();
    return true;
  });
}

bool CADOGroupProperties::SaveADOGroupProperties() {
  return Traced("CADOGroupProperties::SaveADOGroupProperties", [&] {
    RequireId(id_);
    // What a field would cut or change is refused: the group would be another one.
    support::RequireFits("definition ID", id_, kLongestId);
    support::RequireFits("table name", table_, 100);
    support::RequireFits("text before a name", left_brace_, 20);
    support::RequireFits("text behind a name", right_brace_, 20);
    support::RequireFitsUnseen("statement", sql_, 0);
    support::RequireFits("definition's parameters", parameters_, 254);
    FilterFile(id_);
    if (!StoreExists()) CreateADOGroupStore();
    if (!SaveFilters()) Raise(kErrCannotSave, tablestore::kTextCannotSave);
    const auto database = MakeObject<Database>();
    const Ref<Recipients> rows = tablestore::OpenSettingsTable(database, Folder(), kStore, "ID");
    if (!SeekId(rows, id_)) rows->AddNew();
    SetField(rows, "ID", id_);
    SetField(rows, "FilterMeth", std::int32_t{filter_method_});
    SetField(rows, "Table", table_);
    SetField(rows, "LeftBrace", left_brace_);
    SetField(rows, "RightBrace", right_brace_);
    SetField(rows, "SQL", sql_);
    SetField(rows, "Parameters", parameters_);
    rows->Update();
    rows->CloseTable();
    return true;
  });
}

Value CADOGroupProperties::DeleteADOGroupProperties(const std::string& sId) {
  return Traced("CADOGroupProperties::DeleteADOGroupProperties", [&]() -> Value {
    const std::string id = sId;
    Reset();
    RequireId(id);
    const std::string filters = FilterFile(id);
    if (StoreExists()) {
      const auto database = MakeObject<Database>();
      const Ref<Recipients> rows = tablestore::OpenSettingsTable(database, Folder(), kStore, "ID");
      if (SeekId(rows, id)) rows->Delete();
      rows->CloseTable();
      tablestore::CompactSettingsTable(database, Folder(), kStore);
    }
    if (IsThere(filters)) {
      const Status status = platform::CurrentSystem().files->Remove(filters);
      if (!status.ok()) throw automation::Error(support::kErrPathAccess, {}, status.message());
    }
    return true;
  });
}

void CADOGroupProperties::CreateADOGroupStore() {
  Traced("CADOGroupProperties::CreateADOGroupStore", [&] {
    support::EnsureFolder(Folder());
    MakeObject<Database>()
        ->CreateTable(Folder(), kStore,
                      {{"ID", FieldType::kCharacter, 32, 0, false},
                       {"FilterMeth", FieldType::kInteger, 4, 0, false},
                       {"Table", FieldType::kCharacter, 100, 0, false},
                       {"LeftBrace", FieldType::kCharacter, 20, 0, false},
                       {"RightBrace", FieldType::kCharacter, 20, 0, false},
                       {"SQL", FieldType::kMemo, 4, 0, false},
                       {"Parameters", FieldType::kCharacter, 254, 0, false}},
                      {{"ID", "ID", tablestore::kSettingsFilter, true, false}})
        ->CloseTable();
  });
}

const automation::MemberTable& CADOGroupProperties::Members() const {
  static const automation::MemberTable table =
      automation::Class(kClassName)
          .Property("ID", &CADOGroupProperties::GetId, &CADOGroupProperties::SetId)
          .Property("FilterMethod", &CADOGroupProperties::GetFilterMethod,
                    &CADOGroupProperties::SetFilterMethod)
          .Property("Table", &CADOGroupProperties::GetTable, &CADOGroupProperties::SetTable)
          .Property("Filters", &CADOGroupProperties::GetFilters, &CADOGroupProperties::SetFilters)
          .Property("LeftBrace", &CADOGroupProperties::GetLeftBrace,
                    &CADOGroupProperties::SetLeftBrace)
          .Property("RightBrace", &CADOGroupProperties::GetRightBrace,
                    &CADOGroupProperties::SetRightBrace)
          .Property("SQL", &CADOGroupProperties::GetSql, &CADOGroupProperties::SetSql)
          .Property("Parameters", &CADOGroupProperties::GetParameters,
                    &CADOGroupProperties::SetParameters)
          .Method("OpenADOGroupProperties", &CADOGroupProperties::OpenADOGroupProperties, {"ID"})
          .Method("SaveADOGroupProperties", &CADOGroupProperties::SaveADOGroupProperties)
          .Method("DeleteADOGroupProperties", &CADOGroupProperties::DeleteADOGroupProperties,
                  {"sId"});
  return table;
}

}  // namespace pv::ado
