// ODBC's dates and times to and from automation's days.
#ifndef PV_PROVIDERS_ADODB_MOMENTS_H_
#define PV_PROVIDERS_ADODB_MOMENTS_H_

#include <optional>

#include "providers/adodb/odbc.h"
#include "pvgroupman/automation/value.h"

namespace pv::adodb {

// Nothing for a moment outside the years 100 to 9999.
std::optional<automation::Date> DateFromOdbc(const SQL_TIMESTAMP_STRUCT& moment);

// Rounded to the microsecond; the time of day alone lies on 1899-12-30. Nothing outside the range.
std::optional<SQL_TIMESTAMP_STRUCT> OdbcFromDate(automation::Date date);

}  // namespace pv::adodb

#endif  // PV_PROVIDERS_ADODB_MOMENTS_H_
