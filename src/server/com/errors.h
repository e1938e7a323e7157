// Errors, both ways: the one place where they become automation's kind, and back.
#ifndef PV_SERVER_COM_ERRORS_H_
#define PV_SERVER_COM_ERRORS_H_

#include "pvgroupman/automation/error.h"
#include "server/com/com_api.h"

namespace pv::server::com {

// The code of an error's number: plain numbers are those of Basic hosts (0x800A0000 and the
// number, which such hosts show as the number alone); negative ones are codes as they are.
HRESULT CodeOf(std::int32_t number) noexcept;

// Leaves the error for callers of an interface (GetErrorInfo) and, when there is room for it, in
// `out` for callers of IDispatch. Returns CodeOf its number.
HRESULT Report(const automation::Error& error, const GUID& interface_id, EXCEPINFO* out) noexcept;

// The error that a foreign object reported. `info` is filled when `result` is DISP_E_EXCEPTION; its
// texts are freed.
automation::Error ErrorOf(HRESULT result, EXCEPINFO* info, const std::string& source);

}  // namespace pv::server::com

#endif  // PV_SERVER_COM_ERRORS_H_
