// The type library that this DLL carries.
#ifndef PV_SERVER_COM_TYPE_INFO_H_
#define PV_SERVER_COM_TYPE_INFO_H_

#include <string>

#include "server/com/com_api.h"

namespace pv::server::com {

// The description of an interface, class or record; loads the library when nobody has it yet.
// An automation failure code when it is not there.
HRESULT FindTypeInfo(const GUID& id, ITypeInfo** out) noexcept;

// The description of a dispatch interface under the name of its class: hosts show it as the type
// of an object.
HRESULT FindNamedTypeInfo(const GUID& id, std::wstring name, ITypeInfo** out) noexcept;

// Lets the library go; it is loaded again when somebody asks.
void ForgetTypeLibrary() noexcept;

// The full path of this DLL.
std::wstring ModulePath();

}  // namespace pv::server::com

#endif  // PV_SERVER_COM_TYPE_INFO_H_
