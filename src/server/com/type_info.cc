// Loads the embedded type library. Tested by tests/windows.
#include "server/com/type_info.h"

#include <mutex>

namespace pv::server::com {
namespace {

std::mutex mutex;
// Guarded by `mutex`. A plain pointer: at the end of a process that kept objects, the runtime that
// it belongs to may be gone.
ITypeLib* library = nullptr;

// Answers as the description that it stands for, but for the name of the whole.
class NamedTypeInfo : public Counted<ITypeInfo> {
 public:
  NamedTypeInfo(Pointer<ITypeInfo> real, std::wstring name)
      : real_(std::move(real)), name_(std::move(name)) {}

  HRESULT STDMETHODCALLTYPE GetDocumentation(MEMBERID member, BSTR* name, BSTR* text, DWORD* help,
                                             BSTR* file) noexcept override {
    const HRESULT result = real_->GetDocumentation(member, name, text, help, file);
    if (FAILED(result) || member != MEMBERID_NIL || name == nullptr) return result;
    return ::SysReAllocStringLen(name, name_.data(), static_cast<UINT>(name_.size()))
               ? S_OK
               : E_OUTOFMEMORY;
  }
  HRESULT STDMETHODCALLTYPE GetTypeAttr(TYPEATTR** out) noexcept override {
    return real_->GetTypeAttr(out);
  }
  HRESULT STDMETHODCALLTYPE GetTypeComp(ITypeComp** out) noexcept override {
    return real_->GetTypeComp(out);
  }
  HRESULT STDMETHODCALLTYPE GetFuncDesc(UINT i, FUNCDESC** out) noexcept override {
    return real_->GetFuncDesc(i, out);
  }
  HRESULT STDMETHODCALLTYPE GetVarDesc(UINT i, VARDESC** out) noexcept override {
    return real_->GetVarDesc(i, out);
  }
  HRESULT STDMETHODCALLTYPE GetNames(MEMBERID member, BSTR* names, UINT room,
                                     UINT* count) noexcept override {
    return real_->GetNames(member, names, room, count);
  }
  HRESULT STDMETHODCALLTYPE GetRefTypeOfImplType(UINT i, HREFTYPE* out) noexcept override {
    return real_->GetRefTypeOfImplType(i, out);
  }
  HRESULT STDMETHODCALLTYPE GetImplTypeFlags(UINT i, INT* out) noexcept override {
    return real_->GetImplTypeFlags(i, out);
  }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(OLECHAR** names, UINT count,
                                          MEMBERID* ids) noexcept override {
    return real_->GetIDsOfNames(names, count, ids);
  }
  HRESULT STDMETHODCALLTYPE Invoke(void* object, MEMBERID member, WORD flags,
                                   DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* error,
                                   UINT* wrong) noexcept override {
    return real_->Invoke(object, member, flags, parameters, result, error, wrong);
  }
  HRESULT STDMETHODCALLTYPE GetDllEntry(MEMBERID member, INVOKEKIND kind, BSTR* dll, BSTR* name,
                                        WORD* ordinal) noexcept override {
    return real_->GetDllEntry(member, kind, dll, name, ordinal);
  }
  HRESULT STDMETHODCALLTYPE GetRefTypeInfo(HREFTYPE type, ITypeInfo** out) noexcept override {
    return real_->GetRefTypeInfo(type, out);
  }
  HRESULT STDMETHODCALLTYPE AddressOfMember(MEMBERID member, INVOKEKIND kind,
                                            void** out) noexcept override {
    return real_->AddressOfMember(member, kind, out);
  }
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid,
                                           void** out) noexcept override {
    return real_->CreateInstance(outer, iid, out);
  }
  HRESULT STDMETHODCALLTYPE GetMops(MEMBERID member, BSTR* out) noexcept override {
    return real_->GetMops(member, out);
  }
  HRESULT STDMETHODCALLTYPE GetContainingTypeLib(ITypeLib** out, UINT* i) noexcept override {
    return real_->GetContainingTypeLib(out, i);
  }
  void STDMETHODCALLTYPE ReleaseTypeAttr(TYPEATTR* v) noexcept override {
    real_->ReleaseTypeAttr(v);
  }
  void STDMETHODCALLTYPE ReleaseFuncDesc(FUNCDESC* v) noexcept override {
    real_->ReleaseFuncDesc(v);
  }
  void STDMETHODCALLTYPE ReleaseVarDesc(VARDESC* v) noexcept override { real_->ReleaseVarDesc(v); }

 protected:
  void* FindInterface(REFIID iid) noexcept override {
    return iid == IID_ITypeInfo ? static_cast<ITypeInfo*>(this) : nullptr;
  }

 private:
  Pointer<ITypeInfo> real_;
  std::wstring name_;
};

}  // namespace

HRESULT FindNamedTypeInfo(const GUID& id, std::wstring name, ITypeInfo** out) noexcept try {
  *out = nullptr;
  Pointer<ITypeInfo> real;
  const HRESULT found = FindTypeInfo(id, real.Receive());
  if (FAILED(found)) return found;
  *out = new NamedTypeInfo(std::move(real), std::move(name));
  return S_OK;
} catch (...) {
  return E_OUTOFMEMORY;
}

std::wstring ModulePath() {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD size =
        ::GetModuleFileNameW(ThisModule(), path.data(), static_cast<DWORD>(path.size()));
    if (size < path.size()) {
      path.resize(size);
      return path;
    }
    path.resize(path.size() * 2);  // perhaps cut: ask again with room to spare
  }
}

HRESULT FindTypeInfo(const GUID& id, ITypeInfo** out) noexcept try {
  *out = nullptr;
  const std::lock_guard lock(mutex);
  if (library == nullptr) {
    const HRESULT loaded = ::LoadTypeLibEx(ModulePath().c_str(), REGKIND_NONE, &library);
    if (FAILED(loaded)) return loaded;
  }
  return library->GetTypeInfoOfGuid(id, out);
} catch (...) {
  return E_OUTOFMEMORY;
}

void ForgetTypeLibrary() noexcept {
  const std::lock_guard lock(mutex);
  if (library != nullptr) library->Release();
  library = nullptr;
}

}  // namespace pv::server::com
