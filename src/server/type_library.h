// The type library as IDL text, written from the member tables.
#ifndef PV_SERVER_TYPE_LIBRARY_H_
#define PV_SERVER_TYPE_LIBRARY_H_

#include <string>

#include "base/status.h"

namespace pv::server {

// The library PVGroupMan: the enumerations and records that members use, a dispatch interface
// "_Name" for every public class with its members in interface order, and the classes. kInvalid
// names a class or record that has no identifiers.
Result<std::string> TypeLibraryText();

}  // namespace pv::server

#endif  // PV_SERVER_TYPE_LIBRARY_H_
