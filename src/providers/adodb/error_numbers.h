// The numbers of errors that ADO's hosts know, and which one a database's error gets.
#ifndef PV_PROVIDERS_ADODB_ERROR_NUMBERS_H_
#define PV_PROVIDERS_ADODB_ERROR_NUMBERS_H_

#include <cstdint>
#include <string_view>

namespace pv::adodb {

// Fixed by ADO; hosts branch on them.
enum : std::int32_t {
  kErrInvalidArgument = 3001,   // arguments of the wrong type, out of range or in conflict
  kErrNoCurrentRecord = 3021,   // BOF or EOF, or the record was deleted
  kErrIllegalOperation = 3219,  // not allowed in this context
  kErrNotSupported = 3251,      // the cursor, its lock type or the driver does not do it
  kErrItemNotFound = 3265,      // no item of this name or position
  kErrObjectClosed = 3704,
  kErrObjectOpen = 3705,
  kErrProviderNotFound = 3706,
  kErrInvalidConnection = 3709,

  kErrDatabase = -2147467259,    // anything else that the database or its driver says
  kErrCommand = -2147217900,     // errors in the statement
  kErrNoTable = -2147217865,     // no such table
  kErrLogin = -2147217843,       // the user is not known or the password is wrong
  kErrIntegrity = -2147217873,   // a constraint is violated
  kErrTimeout = -2147217871,     // it took too long
  kErrConversion = -2147217887,  // a value does not fit its column
  kErrRowChanged = -2147217864,  // the row was changed or is gone
  kErrCannotFetchBackwards = -2147217884,
  kErrOneTransaction = -2147168237,  // a transaction is active already
  kErrNoTransaction = -2147168242,   // no transaction is active
};

// The number for a database's error with an SQL state of five characters.
std::int32_t NumberOfState(std::string_view state);

// ADO's sentence for one of the numbers from 3001 to 3709.
const char* TextOfNumber(std::int32_t number);

}  // namespace pv::adodb

#endif  // PV_PROVIDERS_ADODB_ERROR_NUMBERS_H_
