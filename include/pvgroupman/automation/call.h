// Late-bound calls: members reached by name or dispatch id at run time, as scripts and other
// languages do. Letter case of names is ignored.
//
// Errors beside those of the member itself: 438 no such member, or not of this kind; 448 unknown
// argument name; 449 a required argument is missing; 450 too many arguments; 13 an argument
// cannot be converted; 91 there is no object.
#ifndef PVGROUPMAN_AUTOMATION_CALL_H_
#define PVGROUPMAN_AUTOMATION_CALL_H_

#include <cstdint>
#include <initializer_list>
#include <string_view>
#include <vector>

#include "pvgroupman/automation/api.h"
#include "pvgroupman/automation/enumerator.h"
#include "pvgroupman/automation/object.h"
#include "pvgroupman/automation/value.h"

namespace pv::automation {

// What a caller wants of a member. The numbers are automation's and may be combined: a caller
// that cannot tell a method from a property asks for both.
enum CallKind : std::uint16_t {
  kCallMethod = 1,
  kCallGet = 2,
  kCallLet = 4,  // property = value
  kCallSet = 8,  // property = object reference
  kCallMethodOrGet = 3,
};

// An argument given by name.
struct NamedArgument {
  std::string_view name;
  Value value;
};

// One call. Arguments that a member takes by reference are changed in place. For kCallLet and
// kCallSet the new value is the last positional argument.
struct Call {
  CallKind kind = kCallMethodOrGet;
  std::vector<Value> arguments;      // Value::Missing() stands for one that is left out
  std::vector<NamedArgument> named;  // after the positional ones, in any order
};

// The dispatch id of the default member.
constexpr std::int32_t kDefaultId = 0;

// The dispatch id of a collection's enumerator.
constexpr std::int32_t kEnumeratorId = -4;

// The dispatch id of a member; error 438 when there is none of this name.
PV_API std::int32_t GetIdOfName(const Ref<Object>& object, std::string_view name);

// Carries out a call by dispatch id or by name; throws Error only, whatever the member does.
PV_API Value Invoke(const Ref<Object>& object, std::int32_t id, Call& call);
PV_API Value Invoke(const Ref<Object>& object, std::string_view name, Call& call);

// Calls a method, or reads a property with arguments.
PV_API Value CallMember(const Ref<Object>& object, std::string_view name,
                        std::initializer_list<Value> arguments = {});

// Reads a property.
PV_API Value GetProperty(const Ref<Object>& object, std::string_view name);

// Writes a property: as a reference when the value is an object, else as a value.
PV_API void PutProperty(const Ref<Object>& object, std::string_view name, const Value& value);

// Reads the default member, with arguments when it takes any: an item of a collection.
PV_API Value GetDefault(const Ref<Object>& object, std::initializer_list<Value> arguments = {});

// Walks what the object's enumerator gives.
PV_API Ref<Enumerator> Enumerate(const Ref<Object>& object);

}  // namespace pv::automation

#endif  // PVGROUPMAN_AUTOMATION_CALL_H_
