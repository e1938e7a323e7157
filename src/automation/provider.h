// What a provider library shows to the component: the classes that it adds.
//
// A provider (libpv-NAME.so) carries its own copy of base, platform and automation and shows one
// C function. Its classes are entered in the component's table of classes, and nothing else is
// shared: objects, values and errors cross as they are, since both are built from one source and
// the runtime compares their types by name. Settings of the process (the seams in force, the table
// of classes) stay apart.
#ifndef PV_AUTOMATION_PROVIDER_H_
#define PV_AUTOMATION_PROVIDER_H_

#include <cstddef>

#include "pvgroupman/automation/progid.h"

namespace pv::automation {

// The name of the function, of type ProviderFunction.
constexpr const char* kProviderFunction = "pv_provider";

// The build that component and provider must have in common. Count up when the layout of anything
// in the public automation headers changes within a version.
constexpr const char* kProviderBuild = PV_PROVIDER_BUILD;

// One class of a provider.
struct ProviderClass {
  const char* prog_id;
  ObjectFactory factory;
};

struct Provider {
  const char* build;  // kProviderBuild; the first member, readable whatever the build
  const ProviderClass* classes;
  std::size_t count;
};

// Never null. Throws nothing.
using ProviderFunction = const Provider* (*)();

}  // namespace pv::automation

// What a provider's own function is declared as.
#define PV_PROVIDER_FUNCTION extern "C" PV_API const ::pv::automation::Provider* pv_provider()

#endif  // PV_AUTOMATION_PROVIDER_H_
