// Which classes exist, and under which ProgIDs: the one list that every door goes by.
#ifndef PV_SERVER_CLASS_LIST_H_
#define PV_SERVER_CLASS_LIST_H_

#include <span>
#include <string>

#include "pvgroupman/automation/progid.h"

namespace pv::server {

// Begins every ProgID of the component.
constexpr const char* kProgIdPrefix = "PVGroupMan.";

// One public class.
struct PublicClass {
  const char* name;  // as in the type library, "Groups"
  automation::ObjectFactory factory;
};

// Every public class, those that hosts begin with first.
std::span<const PublicClass> PublicClasses();

// "PVGroupMan.Groups" for "Groups".
std::string ProgIdOf(const PublicClass& entry);

// Enters them all, so that CreateObject finds them, and those of providers (providers.h) when they
// are asked for. Doing it again changes nothing.
void RegisterPublicClasses();

}  // namespace pv::server

#endif  // PV_SERVER_CLASS_LIST_H_
