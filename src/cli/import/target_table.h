// The table of a database into which rows are copied: found, or made for them.
#ifndef PV_CLI_IMPORT_TARGET_TABLE_H_
#define PV_CLI_IMPORT_TARGET_TABLE_H_

#include <optional>
#include <string>
#include <vector>

#include "cli/groups/group_cursor.h"
#include "cli/import/column_types.h"
#include "cli/import/row_sink.h"
#include "pvgroupman/automation/error.h"
#include "pvgroupman/automation/object.h"

namespace pv::cli {

// Every failure is a Failure without the secrets of the connection, but for those of Try….
class TargetTable {
 public:
  // `target` must outlive it.
  explicit TargetTable(const DatabaseTarget& target);

  // Finds the table, or makes it with a column for each field and a unique index on the addresses.
  // Adds what people should know to *notes.
  void Open(const std::vector<CursorField>& fields, std::vector<std::string>* notes);

  // The columns that take values, and the field that each takes.
  const std::vector<TargetColumn>& columns() const { return columns_; }
  const std::vector<std::size_t>& sources() const { return sources_; }

  // The position in columns() of the addresses; nothing when the source has none.
  std::optional<std::size_t> address_column() const { return address_column_; }

  // The name of the table, and of a column, as statements have them.
  std::string reference() const { return written_.Text(); }
  std::string Quoted(std::size_t column) const {
    return target_.dialect.Quoted(columns_[column].name);
  }

  // " where ADDRESS = 'text'", or with letter case ignored.
  std::string WhereAddress(const std::string& address, bool ignore_case) const;

  // A recordset on a statement. TryOpen lets automation::Error through.
  automation::Ref<automation::Object> TryOpen(const std::string& statement,
                                              std::int32_t lock_type) const;
  automation::Ref<automation::Object> Open(const std::string& statement,
                                           std::int32_t lock_type) const;

  // The first value of the first row as text; nothing when there is none or the statement fails.
  static std::optional<std::string> Ask(const automation::Ref<automation::Object>& connection,
                                        const std::string& statement);

  // Throws the Failure for an error of the database.
  [[noreturn]] void Fail(const automation::Error& error) const;

 private:
  void AskKind();
  bool Find();
  void Create(const std::vector<CursorField>& fields, std::vector<std::string>* notes);
  void Run(const std::string& statement) const;
  void Match(const std::vector<CursorField>& fields, std::vector<std::string>* notes);

  const DatabaseTarget& target_;
  DatabaseKind kind_ = DatabaseKind::kOther;
  WrittenTable written_;
  std::vector<TargetColumn> there_;     // every column of the table
  std::vector<bool> counts_by_itself_;  // by position in there_
  std::vector<TargetColumn> columns_;
  std::vector<std::size_t> sources_;
  std::optional<std::size_t> address_column_;
};

}  // namespace pv::cli

#endif  // PV_CLI_IMPORT_TARGET_TABLE_H_
