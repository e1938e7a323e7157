// Finds and makes tables for copies. Tested by tests/cli.
#include "cli/import/target_table.h"

#include "base/text.h"
#include "cli/failure.h"
#include "cli/fields/conditions.h"
#include "cli/groups/data_sources.h"
#include "groups/ado_group.h"
#include "pvgroupman/automation/call.h"
#include "pvgroupman/automation/progid.h"

namespace pv::cli {

using automation::CallMember;
using automation::Error;
using automation::GetProperty;
using automation::Object;
using automation::Ref;
using automation::Value;

namespace {

// Names of our own tables are upper-case because they must be; in databases that would only be
// in the way.
std::string ColumnNameOf(const std::string& name) {
  return name.find_first_of("abcdefghijklmnopqrstuvwxyz") == name.npos ? ToLower(name) : name;
}

}  // namespace

TargetTable::TargetTable(const DatabaseTarget& target) : target_(target) { AskKind(); }

void TargetTable::Fail(const Error& error) const { FailWithoutSecrets(error, target_.secrets); }

std::optional<std::string> TargetTable::Ask(const Ref<Object>& connection,
                                            const std::string& statement) {
  try {
    const Ref<Object> rows = CallMember(connection, "Execute", {statement}).ToObject();
    if (!rows || GetProperty(rows, "EOF").ToBoolean()) return std::nullopt;
    const Ref<Object> fields = GetProperty(rows, "Fields").ToObject();
    const Value value = GetProperty(CallMember(fields, "Item", {0}).ToObject(), "Value");
    groups::CloseAdo(rows);
    return value.IsNull() ? "" : value.ToText();
  } catch (const Error&) {
    return std::nullopt;
  }
}

void TargetTable::AskKind() {
  const std::string version =
      ToLower(Ask(target_.connection, "select version()")
                  .value_or(Ask(target_.connection, "select @@version").value_or("")));
  if (version.find("postgresql") != version.npos || version.find("cockroach") != version.npos) {
    kind_ = DatabaseKind::kPostgreSql;
  } else if (version.find("mariadb") != version.npos || target_.dialect.left == "`") {
    kind_ = DatabaseKind::kMariaDb;
    // Without it values that do not fit are cut without a word.
    (void)Ask(target_.connection,
              "set session sql_mode = concat(@@sql_mode, ',STRICT_ALL_TABLES')");
  } else if (version.find("sql server") != version.npos) {
    kind_ = DatabaseKind::kSqlServer;
  } else if (version.empty() && Ask(target_.connection, "select sqlite_version()")) {
    kind_ = DatabaseKind::kSqlite;
  }
}

Ref<Object> TargetTable::TryOpen(const std::string& statement, std::int32_t lock_type) const {
  const Ref<Object> recordset = automation::CreateObject("ADODB.Recordset");
  CallMember(
      recordset, "Open",
      {statement, target_.connection, groups::kAdoForwardOnly, lock_type, groups::kAdoCommandText});
  return recordset;
}

Ref<Object> TargetTable::Open(const std::string& statement, std::int32_t lock_type) const {
  try {
    return TryOpen(statement, lock_type);
  } catch (const Error& error) {
    Fail(error);
  }
}

void TargetTable::Run(const std::string& statement) const {
  try {
    CallMember(target_.connection, "Execute", {statement});
  } catch (const Error& error) {
    Fail(error);
  }
}

bool TargetTable::Find() {
  std::optional<Error> first;
  for (const WrittenTable& way : target_.tables) {
    try {
      const Ref<Object> rows =
          TryOpen("select * from " + way.Text() + " where 1 = 0", groups::kAdoReadOnly);
      const Ref<Object> fields = GetProperty(rows, "Fields").ToObject();
      const std::int32_t count = GetProperty(fields, "Count").ToI4();
      for (std::int32_t i = 0; i < count; ++i) {
        const Ref<Object> field = CallMember(fields, "Item", {i}).ToObject();
        there_.push_back({GetProperty(field, "Name").ToText(), GetProperty(field, "Type").ToI4(),
                          GetProperty(field, "NumericScale").ToI4(), kind_});
        counts_by_itself_.push_back(groups::IsAutoIncrement(field));
      }
      groups::CloseAdo(rows);
      written_ = way;
      return true;
    } catch (const Error& error) {
      if (!first) first = error;
    }
  }
  if (!target_.may_create && first) Fail(*first);
  return false;
}

void TargetTable::Create(const std::vector<CursorField>& fields, std::vector<std::string>* notes) {
  // A name with points is that of a schema and a table in it.
  written_ = target_.tables.front().name.find('.') != std::string::npos ? target_.tables.back()
                                                                        : target_.tables.front();
  std::string columns;
  std::string address;
  for (const CursorField& field : fields) {
    const bool indexed = !target_.address_field.empty() && field.name == target_.address_field;
    const std::string type = ColumnType(kind_, field, indexed);
    if (type.empty()) continue;
    const std::string name = target_.dialect.Quoted(ColumnNameOf(field.name));
    if (indexed) address = name;
    columns += (columns.empty() ? "" : ", ") + name + " " + type;
  }
  std::string statement = "create table " + reference() + " (" + columns + ")";
  if (kind_ == DatabaseKind::kMariaDb) statement += " default character set utf8mb4";
  Run(statement);
  std::string note = "made table " + reference();
  if (!address.empty()) {
    // SQLite wants no schema before the table, others none before the index.
    const std::string table = target_.tables.front().name;
    const std::string index =
        target_.dialect.Quoted(table + "_" + ColumnNameOf(target_.address_field));
    try {
      Run("create unique index " + index + " on " + reference() + " (" + address + ")");
    } catch (const Failure&) {
      (void)Ask(target_.connection, "drop table " + reference());
      throw;
    }
    note += " with a unique index on " + address;
  }
  notes->push_back(note);
}

void TargetTable::Match(const std::vector<CursorField>& fields, std::vector<std::string>* notes) {
  std::string missing;
  for (std::size_t i = 0; i < fields.size(); ++i) {
    if (ColumnType(kind_, fields[i], false).empty()) {
      notes->push_back("note: the field " + fields[i].name + " cannot be copied");
      continue;
    }
    std::optional<std::size_t> found;
    for (std::size_t j = 0; j < there_.size(); ++j) {
      if (there_[j].name == fields[i].name) found = j;
    }
    for (std::size_t j = 0; j < there_.size() && !found; ++j) {
      if (EqualsIgnoreCase(there_[j].name, fields[i].name)) found = j;
    }
    if (!found) {
      missing += (missing.empty() ? "" : ", ") + fields[i].name;
      continue;
    }
    if (counts_by_itself_[*found]) {
      notes->push_back("note: the database counts " + there_[*found].name +
                       " by itself: it is not copied");
      continue;
    }
    if (!target_.address_field.empty() && fields[i].name == target_.address_field) {
      address_column_ = columns_.size();
    }
    columns_.push_back(there_[*found]);
    sources_.push_back(i);
  }
  if (!missing.empty()) {
    std::string names;
    for (const TargetColumn& column : there_) names += (names.empty() ? "" : ", ") + column.name;
    throw Failure(kUsage, "table " + reference() + " has no column for " + missing + "; it has " +
                              names +
                              "; --map FIELD=COLUMN names another, "
                              "--map FIELD= leaves a field out");
  }
  if (columns_.empty()) throw Failure(kUsage, "there is nothing to copy into " + reference());
}

void TargetTable::Open(const std::vector<CursorField>& fields, std::vector<std::string>* notes) {
  if (!Find()) {
    Create(fields, notes);
    if (!Find()) throw Failure(kUnavailable, "table " + reference() + " cannot be opened");
  }
  Match(fields, notes);
}

std::string TargetTable::WhereAddress(const std::string& address, bool ignore_case) const {
  const std::string column = Quoted(*address_column_);
  const auto literal = [&](const std::string& text) {
    return SqlLiteral({text, true}, ValueKind::kText, target_.dialect.backslash_escapes,
                      columns_[*address_column_].name);
  };
  return ignore_case ? " where lower(" + column + ") = " + literal(ToLower(address))
                     : " where " + column + " = " + literal(address);
}

}  // namespace pv::cli
