// Late-bound calls. Tested by call_test.cc.
#include "pvgroupman/automation/call.h"

#include <string>

#include "pvgroupman/automation/enumerator.h"
#include "pvgroupman/automation/error.h"

namespace pv::automation {

std::int32_t GetIdOfName(const Ref<Object>& object, std::string_view name) {
  const std::int32_t id = object->IdOfName(name);
  if (id == Object::kNoSuchId) Raise(kErrNoSuchMember, {}, std::string(name));
  return id;
}

Value Invoke(const Ref<Object>& object, std::int32_t id, Call& call) {
  try {
    return object->Dispatch(id, call);
  } catch (...) {
    throw CurrentError();
  }
}

Value Invoke(const Ref<Object>& object, std::string_view name, Call& call) {
  return Invoke(object, GetIdOfName(object, name), call);
}

Value CallMember(const Ref<Object>& object, std::string_view name,
                 std::initializer_list<Value> arguments) {
  Call call{kCallMethodOrGet, arguments, {}};
  return Invoke(object, name, call);
}

Value GetProperty(const Ref<Object>& object, std::string_view name) {
  Call call{kCallMethodOrGet, {}, {}};
  return Invoke(object, name, call);
}

void PutProperty(const Ref<Object>& object, std::string_view name, const Value& value) {
  const unsigned kind = value.IsObject() ? kCallLet | kCallSet : kCallLet;
  Call call{static_cast<CallKind>(kind), {value}, {}};
  Invoke(object, name, call);
}

Value GetDefault(const Ref<Object>& object, std::initializer_list<Value> arguments) {
  Call call{kCallMethodOrGet, arguments, {}};
  return Invoke(object, kDefaultId, call);
}

Ref<Enumerator> Enumerate(const Ref<Object>& object) {
  Call call{kCallMethodOrGet, {}, {}};
  Ref<Enumerator> enumerator = Cast<Enumerator>(Invoke(object, kEnumeratorId, call).ToObject());
  if (!enumerator) Raise(kErrNoSuchMember);
  return enumerator;
}

}  // namespace pv::automation
