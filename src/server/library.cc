// What happens when the shared library is loaded: its classes are there under their ProgIDs.
// Tested by tests/library.
#include "server/class_list.h"

namespace pv::server {
namespace {

[[maybe_unused]] const bool registered = [] {
  RegisterPublicClasses();
  return true;
}();

}  // namespace
}  // namespace pv::server
