// Makes the definition of a group that is a query: names and values written as the database at hand
// wants them.
#ifndef PV_CLI_GROUPS_SQL_DEFINITION_H_
#define PV_CLI_GROUPS_SQL_DEFINITION_H_

#include <string>
#include <vector>

#include "pvgroupman/ado/ado_group_properties.h"
#include "pvgroupman/ado/data_source.h"

namespace pv::cli {

class SqlGroup;

// How a database writes names and texts; found by asking it.
struct SqlDialect {
  std::string left, right;         // around a name; "" when it takes none of the usual signs
  bool back_quotes = false;        // whether back-quotes do as well
  bool backslash_escapes = false;  // whether "\" in a text begins an escape

  // The name between the signs.
  std::string Quoted(const std::string& name) const;
};

// A text with every `sign` in it doubled.
std::string Doubled(std::string text, const std::string& sign);

// Asks the database of a source or of a group, with statements that read nothing.
SqlDialect AskDialect(SqlGroup* group);
SqlDialect AskDialect(const automation::Ref<ado::CDataSource>& source);

// A table's name as a statement has it.
struct WrittenTable {
  std::string name, left, right;
  std::string Text() const { return left + name + right; }
};

// The ways in which a table that the user calls `name` may be written, the likeliest first.
std::vector<WrittenTable> WaysToWrite(const SqlDialect& dialect, const std::string& name);

struct WantedTable {
  std::string table;               // as the user calls it, perhaps with its schema ("sales.people")
  std::vector<std::string> where;  // texts of --where, all of which must hold
};

// The definition of a table with conditions: fields must be there, and values are quoted by what
// their fields hold. Where a condition cannot be written so that every host can open it - a field
// name with a blank on a database without back-quotes - the definition is a statement. Failures:
// kUsage for a condition that is wrong, kUnavailable for a table that is not there.
automation::Ref<ado::CADOGroupProperties> DefineTable(
    const automation::Ref<ado::CDataSource>& source, const WantedTable& wanted);

// The definition of a statement.
automation::Ref<ado::CADOGroupProperties> DefineStatement(const std::string& sql);

}  // namespace pv::cli

#endif  // PV_CLI_GROUPS_SQL_DEFINITION_H_
