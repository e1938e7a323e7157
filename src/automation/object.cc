// What every object answers to a late-bound caller. Tested by call_test.cc.
#include "pvgroupman/automation/object.h"

#include "pvgroupman/automation/call.h"
#include "pvgroupman/automation/error.h"
#include "pvgroupman/automation/member_table.h"

namespace pv::automation {

void RaiseObjectNotSet() { Raise(kErrObjectNotSet); }

std::int32_t Object::IdOfName(std::string_view name) const { return Members().IdOfName(name); }

Value Object::Dispatch(std::int32_t id, Call& call) { return Members().Dispatch(*this, id, call); }

}  // namespace pv::automation
