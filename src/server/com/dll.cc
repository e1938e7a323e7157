// The functions that the automation runtime and regsvr32 call. Tested by tests/windows.
#include <mutex>
#include <string_view>

#include "pvgroupman/automation/progid.h"
#include "server/class_list.h"
#include "server/com/class_factory.h"
#include "server/com/com_api.h"
#include "server/com/foreign_object.h"
#include "server/com/registration.h"

namespace {

using pv::server::FindClassIdentifiers;
using pv::server::PublicClass;
using pv::server::com::Pointer;

void EnterClasses() {
  static std::once_flag once;
  std::call_once(once, [] {
    pv::server::RegisterPublicClasses();
    // Every other class is the system's business.
    pv::automation::SetClassFinder(&pv::server::com::CreateForeign);
  });
}

}  // namespace

extern "C" {

HRESULT STDMETHODCALLTYPE DllGetClassObject(REFCLSID id, REFIID iid, void** out) try {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  EnterClasses();
  for (const PublicClass& entry : pv::server::PublicClasses()) {
    const auto* ids = FindClassIdentifiers(entry.name);
    if (ids == nullptr || id != pv::server::com::GuidOf(ids->class_id)) continue;
    const auto factory = Pointer<IClassFactory>::Adopt(new pv::server::com::ClassFactory(entry));
    return factory->QueryInterface(iid, out);
  }
  return CLASS_E_CLASSNOTAVAILABLE;
} catch (...) {
  return E_OUTOFMEMORY;
}

HRESULT STDMETHODCALLTYPE DllCanUnloadNow() {
  return pv::server::com::ModuleIsHeld() ? S_FALSE : S_OK;
}

HRESULT STDMETHODCALLTYPE DllRegisterServer() {
  return pv::server::com::RegisterComponent(pv::server::com::Scope::kMachine);
}

HRESULT STDMETHODCALLTYPE DllUnregisterServer() {
  return pv::server::com::UnregisterComponent(pv::server::com::Scope::kMachine);
}

// "user" registers for the user alone (regsvr32 /n /i:user); without a word it is the machine.
HRESULT STDMETHODCALLTYPE DllInstall(BOOL install, const wchar_t* how) {
  using pv::server::com::Scope;
  const std::wstring_view word = how == nullptr ? L"" : how;
  if (!word.empty() && ::lstrcmpiW(how, L"user") != 0) return E_INVALIDARG;
  const Scope scope = word.empty() ? Scope::kMachine : Scope::kUser;
  return install ? pv::server::com::RegisterComponent(scope)
                 : pv::server::com::UnregisterComponent(scope);
}

}  // extern "C"
