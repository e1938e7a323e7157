// Inserts, updates and deletes. Tested by recordset_edit_test.cc.
#include "providers/adodb/table_editor.h"

#include <algorithm>

#include "providers/adodb/array_literal.h"
#include "providers/adodb/error_numbers.h"
#include "providers/adodb/parameters.h"

namespace pv::adodb {
namespace {

using automation::Value;

// Rows that one array of parameters holds.
constexpr std::size_t kArrayRows = 4000;

Status NotUpdatable(const char* why) {
  return Status(StatusCode::kUnsupported,
                std::string(TextOfNumber(kErrNotSupported)) + " (" + why + ")", kErrNotSupported);
}

bool CanBeCompared(const Column& column) {
  return !column.is_long && column.kind != Kind::kDouble && column.kind != Kind::kDateTime;
}

// Ends a transaction that was begun here, whatever happens in it.
class OwnTransaction {
 public:
  explicit OwnTransaction(Session* session) : session_(session) {}
  ~OwnTransaction() {
    if (mine_) (void)session_->End(/*commit=*/false).ok();
  }
  OwnTransaction(const OwnTransaction&) = delete;
  OwnTransaction& operator=(const OwnTransaction&) = delete;
  Status Begin() {
    if (session_->in_transaction()) return Status::Ok();
    PV_RETURN_IF_ERROR(session_->Begin());
    mine_ = true;
    return Status::Ok();
  }
  Status Commit() {
    if (!mine_) return Status::Ok();
    mine_ = false;
    return session_->End(/*commit=*/true);
  }

 private:
  Session* session_;
  bool mine_ = false;
};

}  // namespace

Result<std::unique_ptr<TableEditor>> TableEditor::Make(std::shared_ptr<Session> session,
                                                       const std::vector<Column>* columns,
                                                       const std::string& table) {
  std::unique_ptr<TableEditor> editor(new TableEditor(std::move(session), columns));
  const Column* sample = nullptr;
  for (const Column& column : *columns) {
    if (column.base_table.empty()) continue;
    if (sample != nullptr &&
        (column.base_table != sample->base_table || column.base_schema != sample->base_schema ||
         column.base_catalog != sample->base_catalog)) {
      return NotUpdatable("the rows come from several tables");
    }
    sample = &column;
  }
  if (table.empty() && sample == nullptr) return NotUpdatable("the rows come from no table");
  if (!table.empty()) {
    editor->table_ = table;
  } else {
    const Dialect dialect = editor->session_->dialect();
    if (dialect == Dialect::kMariaDb && !sample->base_catalog.empty()) {
      editor->table_ = editor->session_->Quoted(sample->base_catalog) + ".";
    } else if (dialect != Dialect::kSqlite && !sample->base_schema.empty()) {
      editor->table_ = editor->session_->Quoted(sample->base_schema) + ".";
    }
    editor->table_ += editor->session_->Quoted(sample->base_table);
  }
  if (sample != nullptr) PV_RETURN_IF_ERROR(editor->FindKey(*sample));
  if (editor->key_.empty()) {
    for (std::size_t i = 0; i < columns->size(); ++i) {
      if (CanBeCompared((*columns)[i])) editor->key_.push_back(i);
    }
  }
  return editor;
}

Status TableEditor::FindKey(const Column& sample) {
  PV_ASSIGN_OR_RETURN(Statement keys, Statement::Make(session_));
  WideText catalog(sample.base_catalog);
  WideText schema(sample.base_schema);
  WideText table(sample.base_table);
  const bool has_catalog = session_->dialect() == Dialect::kMariaDb && catalog.size() > 0;
  const bool has_schema = session_->dialect() != Dialect::kSqlite && schema.size() > 0;
  PV_RETURN_IF_ERROR(
      keys.Check(::SQLPrimaryKeysW(keys.handle(), has_catalog ? catalog.data() : nullptr,
                                   catalog.short_size(), has_schema ? schema.data() : nullptr,
                                   schema.short_size(), table.data(), table.short_size())));
  std::vector<std::size_t> key;
  for (;;) {
    const SQLRETURN code = ::SQLFetch(keys.handle());
    if (code == SQL_NO_DATA) break;
    PV_RETURN_IF_ERROR(keys.Check(code));
    SQLWCHAR text[512] = {};
    SQLLEN bytes = 0;
    constexpr SQLUSMALLINT kColumnName = 4;
    PV_RETURN_IF_ERROR(keys.Check(
        ::SQLGetData(keys.handle(), kColumnName, SQL_C_WCHAR, text, sizeof(text), &bytes)));
    if (bytes <= 0) return Status::Ok();
    const std::string name =
        FromWide(text, std::min(static_cast<std::size_t>(bytes) / 2, std::size(text) - 1));
    const auto at = std::find_if(columns_->begin(), columns_->end(), [&](const Column& column) {
      return !column.base_table.empty() && EqualsIgnoreCase(NameOf(column), name);
    });
    // Without all of it the key does not tell the rows apart.
    if (at == columns_->end()) return Status::Ok();
    key.push_back(static_cast<std::size_t>(at - columns_->begin()));
  }
  has_primary_key_ = !key.empty();
  key_ = std::move(key);
  return Status::Ok();
}

std::string TableEditor::NameOf(const Column& column) const {
  return column.base_column.empty() ? column.name : column.base_column;
}

std::string TableEditor::Where(const Row& row, std::vector<std::size_t>* parameters) const {
  std::string sql;
  for (const std::size_t i : key_) {
    sql += sql.empty() ? " WHERE " : " AND ";
    sql += session_->Quoted(NameOf((*columns_)[i]));
    if (row[i].IsNull()) {
      sql += " IS NULL";
    } else {
      sql += " = ?";
      parameters->push_back(i);
    }
  }
  return sql;
}

Status TableEditor::ChangeOne(const std::string& sql, const Row& row, const Change& change) {
  std::vector<std::size_t> wanted;
  const std::string where = Where(row, &wanted);
  if (where.empty()) return NotUpdatable("nothing tells the rows apart");
  PV_ASSIGN_OR_RETURN(Statement statement, Statement::Make(session_));
  PV_RETURN_IF_ERROR(statement.Prepare(sql + where));
  Parameters parameters;
  for (std::size_t i = 0; i < change.size(); ++i) {
    if (change[i]) PV_RETURN_IF_ERROR(parameters.Add((*columns_)[i], {&*change[i]}));
  }
  for (const std::size_t i : wanted) {
    PV_RETURN_IF_ERROR(parameters.Add((*columns_)[i], {&row[i]}));
  }
  PV_RETURN_IF_ERROR(parameters.BindTo(&statement));
  OwnTransaction transaction(session_.get());
  // Only without a primary key may the change meet several rows and have to be taken back.
  if (!has_primary_key_) PV_RETURN_IF_ERROR(transaction.Begin());
  PV_RETURN_IF_ERROR(statement.Execute());
  PV_ASSIGN_OR_RETURN(const std::int64_t count, statement.RowCount());
  statement.Free();
  if (count == 0) {
    return Status(StatusCode::kNotFound,
                  "The row cannot be found for the change; it may have been changed or deleted "
                  "since it was read.",
                  kErrRowChanged);
  }
  if (count > 1) {
    return Status(StatusCode::kInvalid,
                  "The table has no key and several rows are equal to the one to be changed: "
                  "nothing was changed.",
                  kErrDatabase);
  }
  return transaction.Commit();
}

Status TableEditor::Update(const Row& row, const Change& change) {
  std::string sql;
  for (std::size_t i = 0; i < change.size(); ++i) {
    if (!change[i]) continue;
    sql += sql.empty() ? " SET " : ", ";
    sql += session_->Quoted(NameOf((*columns_)[i])) + " = ?";
  }
  if (sql.empty()) return Status::Ok();
  return ChangeOne("UPDATE " + table_ + sql, row, change);
}

Status TableEditor::Delete(const Row& row) { return ChangeOne("DELETE FROM " + table_, row, {}); }

std::size_t TableEditor::RowsTogether(std::size_t values) const {
  // SQLite's driver compiles a statement for each set of an array. Below its least limits.
  if (values == 0 || session_->dialect() != Dialect::kSqlite) return 1;
  return std::clamp<std::size_t>(900 / values, 1, 100);
}

std::string TableEditor::InsertStatement(const Change& row, std::size_t together) const {
  std::string names;
  std::string marks;
  for (std::size_t i = 0; i < row.size(); ++i) {
    if (!row[i]) continue;
    names += (names.empty() ? "" : ", ") + session_->Quoted(NameOf((*columns_)[i]));
    marks += marks.empty() ? "(?" : ", ?";
  }
  std::string sql = "INSERT INTO " + table_;
  if (names.empty()) {
    return sql + (session_->dialect() == Dialect::kMariaDb ? " () VALUES ()" : " DEFAULT VALUES");
  }
  sql += " (" + names + ") VALUES ";
  marks += ")";
  for (std::size_t i = 0; i < together; ++i) sql += (i == 0 ? "" : ", ") + marks;
  return sql;
}

Status TableEditor::InsertRun(const std::vector<const Change*>& rows, std::size_t together,
                              std::int64_t* failed) {
  const Change& first = *rows.front();
  const std::size_t sets = rows.size() / together;
  auto owned = std::make_unique<Parameters>();
  Parameters& parameters = *owned;
  std::vector<const Value*> values(sets);
  for (std::size_t j = 0; j < together; ++j) {
    for (std::size_t i = 0; i < first.size(); ++i) {
      if (!first[i]) continue;
      for (std::size_t s = 0; s < sets; ++s) values[s] = &*(*rows[s * together + j])[i];
      PV_RETURN_IF_ERROR(parameters.Add((*columns_)[i], values));
    }
  }
  std::int64_t refused = -1;
  const Status executed =
      ExecuteInsert(InsertStatement(first, together), std::move(owned), &refused);
  if (together == 1) *failed = refused;
  return executed;
}

Status TableEditor::ExecuteInsert(std::string sql, std::unique_ptr<Parameters> parameters,
                                  std::int64_t* refused) {
  if (!prepared_ || prepared_sql_ != sql) {
    PV_ASSIGN_OR_RETURN(prepared_, Statement::Make(session_));
    prepared_sql_ = std::move(sql);
    PV_RETURN_IF_ERROR(prepared_.Prepare(prepared_sql_));
  }
  Status executed = parameters->BindTo(&prepared_);
  bound_ = std::move(parameters);  // the driver may look at them until others are bound
  if (executed.ok()) {
    executed = prepared_.Execute();
    *refused = bound_->FirstFailure();
    if (executed.ok() && *refused >= 0) {
      executed = session_->Fail(SQL_HANDLE_STMT, prepared_.handle());
    }
  }
  // A statement that failed is not trusted again.
  if (!executed.ok()) prepared_.Free();
  return executed;
}

bool TableEditor::CanInsertArrays(const Change& row) const {
  if (session_->dialect() != Dialect::kPostgreSql) return false;
  bool any = false;
  for (std::size_t i = 0; i < row.size(); ++i) {
    if (!row[i]) continue;
    any = true;
    if (ArrayTypeOf((*columns_)[i]).empty()) return false;
  }
  return any;
}

Status TableEditor::InsertArrays(const std::vector<const Change*>& rows) {
  const Change& first = *rows.front();
  std::string names;
  std::string marks;
  auto parameters = std::make_unique<Parameters>();
  for (std::size_t i = 0; i < first.size(); ++i) {
    if (!first[i]) continue;
    const Column& column = (*columns_)[i];
    names += (names.empty() ? "" : ", ") + session_->Quoted(NameOf(column));
    marks += (marks.empty() ? "" : ", ") + ("CAST(? AS " + ArrayTypeOf(column)) + "[])";
    std::string array;
    for (const Change* row : rows) PV_RETURN_IF_ERROR(AppendElement(column, *(*row)[i], &array));
    array.push_back('}');
    parameters->AddText(array);
  }
  std::int64_t refused = -1;
  return ExecuteInsert(
      "INSERT INTO " + table_ + " (" + names + ") SELECT * FROM unnest(" + marks + ")",
      std::move(parameters), &refused);
}

Status TableEditor::Insert(const Change& change, Row* row) {
  std::int64_t failed = -1;
  PV_RETURN_IF_ERROR(InsertRun({&change}, 1, &failed));
  row->assign(columns_->size(), Value::Null());
  for (std::size_t i = 0; i < change.size(); ++i) {
    if (change[i]) (*row)[i] = *change[i];
  }
  // What the database counted is needed to find the row again.
  for (std::size_t i = 0; i < columns_->size(); ++i) {
    if (!(*columns_)[i].auto_increment || change[i]) continue;
    const char* last = nullptr;
    switch (session_->dialect()) {
      case Dialect::kSqlite:
        last = "SELECT last_insert_rowid()";
        break;
      case Dialect::kPostgreSql:
        last = "SELECT lastval()";
        break;
      case Dialect::kMariaDb:
        last = "SELECT last_insert_id()";
        break;
      case Dialect::kOther:
        last = "SELECT @@IDENTITY";
        break;
    }
    PV_ASSIGN_OR_RETURN(Statement statement, Statement::Make(session_));
    PV_RETURN_IF_ERROR(statement.ExecuteDirect(last));
    PV_RETURN_IF_ERROR(statement.Check(::SQLFetch(statement.handle())));
    SQLCHAR digits[32] = {};
    SQLLEN size = 0;
    PV_RETURN_IF_ERROR(statement.Check(
        ::SQLGetData(statement.handle(), 1, SQL_C_CHAR, digits, sizeof(digits), &size)));
    const Value text(std::string(reinterpret_cast<const char*>(digits)));
    const double number = text.ToR8();
    (*row)[i] = number >= INT32_MIN && number <= INT32_MAX ? Value(text.ToI4()) : text;
    break;
  }
  return Status::Ok();
}

Status TableEditor::InsertMany(const std::vector<Change>& rows, std::int64_t* failed) {
  *failed = -1;
  Status inserted;
  const bool own = !session_->in_transaction();
  for (const bool alone : {false, true}) {
    OwnTransaction transaction(session_.get());
    PV_RETURN_IF_ERROR(transaction.Begin());
    inserted = InsertRuns(rows, alone, failed);
    if (inserted.ok()) return transaction.Commit();
    // Which row was refused shows when it goes in alone.
    if (!own || *failed >= 0) return inserted;
  }
  return inserted;
}

Status TableEditor::InsertRuns(const std::vector<Change>& rows, bool alone, std::int64_t* failed) {
  const auto same_columns = [](const Change& a, const Change& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](const auto& x, const auto& y) { return x.has_value() == y.has_value(); });
  };
  for (std::size_t at = 0; at < rows.size();) {
    const auto set = std::count_if(rows[at].begin(), rows[at].end(),
                                   [](const auto& value) { return value.has_value(); });
    std::size_t together = alone ? 1 : RowsTogether(static_cast<std::size_t>(set));
    std::vector<const Change*> run;
    while (at + run.size() < rows.size() && run.size() < kArrayRows &&
           same_columns(rows[at], rows[at + run.size()])) {
      run.push_back(&rows[at + run.size()]);
    }
    if (run.size() < together) together = 1;
    run.resize(run.size() / together * together);
    const bool arrays = !alone && run.size() > 1 && CanInsertArrays(*run.front());
    const Status inserted = arrays ? InsertArrays(run) : InsertRun(run, together, failed);
    if (!inserted.ok()) {
      if (run.size() == 1) *failed = 0;
      if (*failed >= 0) *failed += static_cast<std::int64_t>(at);
      return inserted;
    }
    at += run.size();
  }
  return Status::Ok();
}

}  // namespace pv::adodb
