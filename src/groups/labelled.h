// The frame of every operation of Groups: whatever is thrown leaves with the operation's label as
// its source. Nothing is logged.
#ifndef PV_GROUPS_LABELLED_H_
#define PV_GROUPS_LABELLED_H_

#include "pvgroupman/automation/error.h"

namespace pv::groups {

template <typename Body>
auto Labelled(const char* label, const Body& body) -> decltype(body()) {
  try {
    return body();
  } catch (...) {
    throw automation::CurrentError().WithSource(label);
  }
}

}  // namespace pv::groups

#endif  // PV_GROUPS_LABELLED_H_
