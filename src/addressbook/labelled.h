// The frame of the address-book classes' operations: errors go to the log, and whatever is thrown
// leaves with the operation's label as its source.
#ifndef PV_ADDRESSBOOK_LABELLED_H_
#define PV_ADDRESSBOOK_LABELLED_H_

#include "pvgroupman/automation/error.h"
#include "tablestore/traced.h"

namespace pv::addressbook {

template <typename Body>
auto Labelled(const char* label, const Body& body) -> decltype(body()) {
  try {
    return body();
  } catch (...) {
    const automation::Error error = automation::CurrentError().WithSource(label);
    tablestore::LogError(label, error);
    throw error;
  }
}

}  // namespace pv::addressbook

#endif  // PV_ADDRESSBOOK_LABELLED_H_
