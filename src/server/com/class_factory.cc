// Class factories. Tested by tests/windows.
#include "server/com/class_factory.h"

#include "server/com/dispatch_object.h"
#include "server/com/errors.h"

namespace pv::server::com {

HRESULT ClassFactory::CreateInstance(IUnknown* outer, REFIID iid, void** out) noexcept {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  if (outer != nullptr) return CLASS_E_NOAGGREGATION;
  try {
    const auto object = Pointer<IDispatch>::Adopt(DispatchOf(entry_.factory()));
    return object->QueryInterface(iid, out);
  } catch (...) {
    return Report(automation::CurrentError(entry_.name), IID_IClassFactory, nullptr);
  }
}

HRESULT ClassFactory::LockServer(BOOL lock) noexcept {
  if (lock) {
    HoldModule();
  } else {
    LetModuleGo();
  }
  return S_OK;
}

void* ClassFactory::FindInterface(REFIID iid) noexcept {
  return iid == IID_IClassFactory ? static_cast<IClassFactory*>(this) : nullptr;
}

}  // namespace pv::server::com
