// What the tests of the public classes share.
#ifndef PV_AUTOMATION_TEST_SUPPORT_H_
#define PV_AUTOMATION_TEST_SUPPORT_H_

#include "pvgroupman/automation/error.h"

namespace pv::automation {

// The error that a call throws; number 0 when it throws none.
template <typename F>
Error ErrorFrom(F&& f) {
  try {
    f();
  } catch (const Error& e) {
    return e;
  }
  return Error(0, "", "");
}

}  // namespace pv::automation

#endif  // PV_AUTOMATION_TEST_SUPPORT_H_
