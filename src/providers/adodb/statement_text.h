// Statements as they are sent: sources that name a table, and names in back-quotes.
#ifndef PV_PROVIDERS_ADODB_STATEMENT_TEXT_H_
#define PV_PROVIDERS_ADODB_STATEMENT_TEXT_H_

#include <string>
#include <string_view>

#include "providers/adodb/session.h"

namespace pv::adodb {

// A table's name as the database takes it: a plain name, possibly with a schema before a point,
// and a name that is quoted already stay as they are; any other is quoted.
std::string TableName(std::string_view name, const Session& session);

// Puts names in back-quotes, which hosts write on every database, into double quotes. Text,
// quoted names and comments stay as they are.
std::string WithoutBackQuotes(std::string_view sql);

// True when the text begins as a statement does, so that it names no table.
bool IsStatement(std::string_view text);

// True for a query whose columns are "*" or plain names, so that each has its own name.
bool HasPlainColumns(std::string_view sql);

// The query of a statement that may give many rows, as it can stand inside another statement:
// without comments before it and semicolons behind it. Empty for any other statement.
std::string_view QueryOfManyRows(std::string_view text);

}  // namespace pv::adodb

#endif  // PV_PROVIDERS_ADODB_STATEMENT_TEXT_H_
