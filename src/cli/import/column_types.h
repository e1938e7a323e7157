// Columns of databases: which one keeps a field of a group, and a field's values as the column's.
#ifndef PV_CLI_IMPORT_COLUMN_TYPES_H_
#define PV_CLI_IMPORT_COLUMN_TYPES_H_

#include <cstdint>
#include <string>

#include "cli/groups/group_cursor.h"
#include "cli/output/listing.h"
#include "pvgroupman/automation/value.h"

namespace pv::cli {

// Databases whose types have names of their own.
enum class DatabaseKind : std::uint8_t { kOther, kSqlite, kPostgreSql, kMariaDb, kSqlServer };

// The type of a column that keeps every value of a field, as CREATE TABLE has it; "" for a field
// whose values are none that can be copied. A column that is `indexed` has a bounded length.
std::string ColumnType(DatabaseKind database, const CursorField& field, bool indexed);

// A column that is there.
struct TargetColumn {
  std::string name;
  std::int32_t type = 0;   // ADO's
  std::int32_t scale = 0;  // decimals of exact numbers, and of seconds
  DatabaseKind database = DatabaseKind::kOther;
};

// Makes the value with which a column keeps a cell of a GroupCursor. False when the column would
// change it; *reason then says why, as a sentence that begins with the column's name.
bool ValueForColumn(const Cell& cell, const TargetColumn& column, automation::Value* value,
                    std::string* reason);

}  // namespace pv::cli

#endif  // PV_CLI_IMPORT_COLUMN_TYPES_H_
