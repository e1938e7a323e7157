// The values of many rows as one array of PostgreSQL's, which its server takes far faster than a
// list of rows.
#ifndef PV_PROVIDERS_ADODB_ARRAY_LITERAL_H_
#define PV_PROVIDERS_ADODB_ARRAY_LITERAL_H_

#include <string>

#include "base/status.h"
#include "providers/adodb/columns.h"
#include "pvgroupman/automation/value.h"

namespace pv::adodb {

// The type of the elements of an array for a column, by the type that the driver tells; "" for
// types that are better left to it.
std::string ArrayTypeOf(const Column& column);

// Appends a value (as Coerced gives it) as the next element of the text of an array: "{" stands
// before the first, "}" is still missing behind the last.
Status AppendElement(const Column& column, const automation::Value& value, std::string* array);

}  // namespace pv::adodb

#endif  // PV_PROVIDERS_ADODB_ARRAY_LITERAL_H_
