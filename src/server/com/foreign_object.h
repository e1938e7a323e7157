// An automation object of somebody else, callable as ours are.
#ifndef PV_SERVER_COM_FOREIGN_OBJECT_H_
#define PV_SERVER_COM_FOREIGN_OBJECT_H_

#include <map>
#include <string>
#include <string_view>

#include "pvgroupman/automation/call.h"
#include "pvgroupman/automation/object.h"
#include "server/com/com_api.h"

namespace pv::server::com {

// Forwards late-bound calls. Arguments of methods are given by reference, as Basic gives
// variables, so that the object can change them.
class ForeignObject : public automation::Object {
 public:
  explicit ForeignObject(Pointer<IDispatch> dispatch) : dispatch_(std::move(dispatch)) {}

  // The interface itself, with a reference for the caller.
  IDispatch* NewHolder() const;

  // No members of its own.
  const automation::MemberTable& Members() const override;
  std::int32_t IdOfName(std::string_view name) const override;
  automation::Value Dispatch(std::int32_t id, automation::Call& call) override;

 private:
  Pointer<IDispatch> dispatch_;
  mutable std::map<std::int32_t, std::string> names_;  // of ids given out, for named arguments
};

// Makes an object of a class that is registered on this machine; none, with the reason, when the
// ProgID is unknown or its class cannot be made. Given to automation::SetClassFinder.
automation::Ref<automation::Object> CreateForeign(std::string_view prog_id, std::string* reason);

}  // namespace pv::server::com

#endif  // PV_SERVER_COM_FOREIGN_OBJECT_H_
