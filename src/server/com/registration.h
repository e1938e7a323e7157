// What the registry must say for hosts to find the component.
#ifndef PV_SERVER_COM_REGISTRATION_H_
#define PV_SERVER_COM_REGISTRATION_H_

#include "server/com/com_api.h"

namespace pv::server::com {

// For whom: everybody who uses the machine, or the user alone.
enum class Scope { kMachine, kUser };

// Writes the classes, their ProgIDs, their interfaces and the type library. What was written is
// taken back when something fails.
HRESULT RegisterComponent(Scope scope) noexcept;

// Takes away what RegisterComponent writes, and nothing that others put there.
HRESULT UnregisterComponent(Scope scope) noexcept;

}  // namespace pv::server::com

#endif  // PV_SERVER_COM_REGISTRATION_H_
