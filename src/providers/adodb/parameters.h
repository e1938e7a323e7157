// Values as the parameters of a statement, one set or many at once.
#ifndef PV_PROVIDERS_ADODB_PARAMETERS_H_
#define PV_PROVIDERS_ADODB_PARAMETERS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "base/status.h"
#include "providers/adodb/columns.h"
#include "providers/adodb/session.h"
#include "pvgroupman/automation/value.h"

namespace pv::adodb {

// A whole number from an integer, a double without fraction, a currency or digits; false when it is
// none.
bool WholeNumber(const automation::Value& value, std::int64_t* number);

// One column-wise array for each parameter. Must outlive the execution of the statement.
class Parameters {
 public:
  // Adds the next parameter with one value for each set; values are those of Coerced. Every
  // parameter must be given as many values.
  Status Add(const Column& column, const std::vector<const automation::Value*>& values);

  // Adds the next parameter with one text for one set.
  void AddText(const std::string& text);

  // Binds them all.
  Status BindTo(Statement* statement);

  // After an execution of several sets: the first set that failed, or -1.
  std::int64_t FirstFailure() const;

 private:
  struct Array {
    SQLSMALLINT c_type = SQL_C_DEFAULT;
    SQLSMALLINT sql_type = SQL_UNKNOWN_TYPE;
    SQLULEN size = 0;
    SQLSMALLINT scale = 0;
    std::size_t width = 0;
    std::vector<std::uint8_t> data;
    std::vector<SQLLEN> sizes;
  };
  std::vector<Array> arrays_;
  std::size_t sets_ = 0;
  SQLULEN processed_ = 0;
  std::vector<SQLUSMALLINT> status_;
};

}  // namespace pv::adodb

#endif  // PV_PROVIDERS_ADODB_PARAMETERS_H_
