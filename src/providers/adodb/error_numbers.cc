// Error numbers by SQL state. Tested by connection_test.cc and recordset_test.cc.
#include "providers/adodb/error_numbers.h"

namespace pv::adodb {

std::int32_t NumberOfState(std::string_view state) {
  const std::string_view kind = state.substr(0, 2);
  if (state == "42S02" || state == "42P01") return kErrNoTable;
  if (state == "28000" || state == "28P01") return kErrLogin;
  if (state == "HYT00" || state == "HYT01") return kErrTimeout;
  if (kind == "42" || kind == "37") return kErrCommand;
  if (kind == "23") return kErrIntegrity;
  if (kind == "22") return kErrConversion;
  return kErrDatabase;
}

const char* TextOfNumber(std::int32_t number) {
  switch (number) {
    case kErrInvalidArgument:
      return "Arguments are of the wrong type, are out of range, or are in conflict with one "
             "another.";
    case kErrNoCurrentRecord:
      return "Either BOF or EOF is true, or the current record has been deleted; the operation "
             "needs a current record.";
    case kErrIllegalOperation:
      return "The operation is not allowed in this context.";
    case kErrNotSupported:
      return "The operation is not supported by the cursor, its lock type or the driver.";
    case kErrItemNotFound:
      return "The item cannot be found in the collection by this name or position.";
    case kErrObjectClosed:
      return "The operation is not allowed when the object is closed.";
    case kErrObjectOpen:
      return "The operation is not allowed when the object is open.";
    case kErrProviderNotFound:
      return "The provider cannot be found.";
    case kErrInvalidConnection:
      return "The connection cannot be used for this operation: it is closed or of another kind.";
    default:
      return "The database reported an error.";
  }
}

}  // namespace pv::adodb
