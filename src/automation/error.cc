// Error numbers and their sentences. Tested by call_test.cc.
#include "pvgroupman/automation/error.h"

#include <new>

namespace pv::automation {

const char* StandardDescription(std::int32_t number) {
  switch (number) {
    case kErrInvalidCall:
      return "Invalid procedure call or argument";
    case kErrOverflow:
      return "Overflow";
    case kErrOutOfMemory:
      return "Out of memory";
    case kErrSubscript:
      return "Subscript out of range";
    case kErrTypeMismatch:
      return "Type mismatch";
    case kErrInternal:
      return "Internal error";
    case kErrObjectNotSet:
      return "Object variable or With block variable not set";
    case kErrInvalidNull:
      return "Invalid use of Null";
    case kErrCannotCreate:
      return "ActiveX component can't create object";
    case kErrNoSuchMember:
      return "Object doesn't support this property or method";
    case kErrNamedArgument:
      return "Named argument not found";
    case kErrArgumentMissing:
      return "Argument not optional";
    case kErrArgumentCount:
      return "Wrong number of arguments or invalid property assignment";
    case kErrDuplicateKey:
      return "This key is already associated with an element of this collection";
    default:
      return "Application-defined or object-defined error";
  }
}

void Raise(std::int32_t number, const std::string& source, const std::string& detail) {
  std::string description = StandardDescription(number);
  if (!detail.empty()) description += " (" + detail + ")";
  throw Error(number, source, std::move(description));
}

Error CurrentError(const std::string& source) {
  try {
    throw;
  } catch (const Error& e) {
    return e;
  } catch (const std::bad_alloc&) {
    return Error(kErrOutOfMemory, source, StandardDescription(kErrOutOfMemory));
  } catch (const std::exception& e) {
    return Error(kErrInternal, source,
                 std::string(StandardDescription(kErrInternal)) + " (" + e.what() + ")");
  } catch (...) {
    return Error(kErrInternal, source, StandardDescription(kErrInternal));
  }
}

}  // namespace pv::automation
