// Classes by name: which ones a program can create without naming them in C++.
#ifndef PVGROUPMAN_AUTOMATION_PROGID_H_
#define PVGROUPMAN_AUTOMATION_PROGID_H_

#include <string>
#include <string_view>
#include <vector>

#include "pvgroupman/automation/api.h"
#include "pvgroupman/automation/object.h"

namespace pv::automation {

// Makes one object of a class; throws Error.
using ObjectFactory = Ref<Object> (*)();

// Enters a class under its ProgID ("PVGroupMan.Groups"), replacing an earlier entry of the name.
// Letter case is ignored. Call before other threads create objects; the table is the process's.
PV_API void RegisterClass(std::string_view prog_id, ObjectFactory factory);

// Enters class T, which must have a constructor without arguments.
template <typename T>
void RegisterClass(std::string_view prog_id) {
  RegisterClass(prog_id, [] { return Ref<Object>(MakeObject<T>()); });
}

// Takes the entry of a name out; nothing happens when there is none.
PV_API void UnregisterClass(std::string_view prog_id);

// Makes an object of a class that is not entered, or answers none with the reason in `reason`, a
// part of a sentence. May enter classes; throws Error.
using ClassFinder = Ref<Object> (*)(std::string_view prog_id, std::string* reason);

// Sets who is asked for classes that are not entered; null for nobody.
PV_API void SetClassFinder(ClassFinder finder);

// Makes an object of the named class. Error 429, "ActiveX component can't create object", with
// the name and the reason when there is no such class; the constructor's own error when it fails.
PV_API Ref<Object> CreateObject(std::string_view prog_id);

// The ProgIDs that are entered, in alphabetical order.
PV_API std::vector<std::string> RegisteredClasses();

}  // namespace pv::automation

#endif  // PVGROUPMAN_AUTOMATION_PROGID_H_
