// Writes changes of a result's rows to the table that they come from.
#ifndef PV_PROVIDERS_ADODB_TABLE_EDITOR_H_
#define PV_PROVIDERS_ADODB_TABLE_EDITOR_H_

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/status.h"
#include "providers/adodb/columns.h"
#include "providers/adodb/parameters.h"
#include "providers/adodb/session.h"
#include "pvgroupman/automation/value.h"

namespace pv::adodb {

using Row = std::vector<automation::Value>;
using Change = std::vector<std::optional<automation::Value>>;  // the values that were set

// Rows are found by the table's primary key, or by all their values where it has none; a change
// that meets another number of rows than one is taken back (number kErrRowChanged, or kErrDatabase
// for several).
class TableEditor {
 public:
  // `table` names the table as the host gave it; when it is empty the columns tell. Fails with
  // kErrNotSupported when they come from several tables or none.
  static Result<std::unique_ptr<TableEditor>> Make(std::shared_ptr<Session> session,
                                                   const std::vector<Column>* columns,
                                                   const std::string& table);

  // Adds a row. `row` has the values that were set, and is completed with those of columns that
  // count by themselves; others that the database fills in stay Null.
  Status Insert(const Change& change, Row* row);

  // Changes or deletes the row whose values, as read, are `row`.
  Status Update(const Row& row, const Change& change);
  Status Delete(const Row& row);

  // Adds many rows with parameter arrays in one transaction, or in the one that is open: all or
  // none. `failed` is the row that was refused, or -1 when that is not known, as in a transaction
  // of the host's.
  Status InsertMany(const std::vector<Change>& rows, std::int64_t* failed);

 private:
  TableEditor(std::shared_ptr<Session> session, const std::vector<Column>* columns)
      : session_(std::move(session)), columns_(columns) {}
  Status FindKey(const Column& sample);
  std::string NameOf(const Column& column) const;
  // Runs a statement that must change one row.
  Status ChangeOne(const std::string& sql, const Row& row, const Change& change);
  // " WHERE …" for a row; adds the columns whose values it takes as parameters.
  std::string Where(const Row& row, std::vector<std::size_t>* parameters) const;
  // Rows that set the same columns, `together` of them in each statement. `failed` is found only
  // when they stand alone.
  Status InsertRun(const std::vector<const Change*>& rows, std::size_t together,
                   std::int64_t* failed);
  // The same with an array for each column, where the database and their types allow it.
  Status InsertArrays(const std::vector<const Change*>& rows);
  bool CanInsertArrays(const Change& row) const;
  // Executes a statement for insertion, prepared once for as long as it stays the same.
  Status ExecuteInsert(std::string sql, std::unique_ptr<Parameters> parameters,
                       std::int64_t* refused);
  Status InsertRuns(const std::vector<Change>& rows, bool alone, std::int64_t* failed);
  std::string InsertStatement(const Change& row, std::size_t together) const;
  // How many rows with so many values a statement takes best.
  std::size_t RowsTogether(std::size_t values) const;

  std::shared_ptr<Session> session_;
  const std::vector<Column>* columns_;
  std::string table_;             // quoted
  std::vector<std::size_t> key_;  // positions of columns
  bool has_primary_key_ = false;
  std::unique_ptr<Parameters> bound_;
  Statement prepared_;  // the last insertion, to be used again
  std::string prepared_sql_;
};

}  // namespace pv::adodb

#endif  // PV_PROVIDERS_ADODB_TABLE_EDITOR_H_
