// The automation headers as this folder uses them, and what its classes share: counting references
// and keeping the DLL loaded, owning interface pointers and texts.
#ifndef PV_SERVER_COM_COM_API_H_
#define PV_SERVER_COM_COM_API_H_

#ifndef _WIN32_WINNT
#define _WIN32_WINNT 0x0601
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
// After windows.h:
#include <ole2.h>
#include <oleauto.h>
// After both:
#include <ocidl.h>

#include <string>
#include <string_view>
#include <utility>

#include "server/identifiers.h"

namespace pv::server::com {

// Holders of the DLL: objects that hosts have, and locks of its class factories. It can be
// unloaded when there are none.
void HoldModule() noexcept;
void LetModuleGo() noexcept;
bool ModuleIsHeld() noexcept;

// The handle of this DLL.
HMODULE ThisModule() noexcept;

static_assert(sizeof(GUID) == sizeof(Identifier));
inline GUID GuidOf(const Identifier& id) {
  GUID guid{id.data1, id.data2, id.data3, {}};
  for (int i = 0; i < 8; ++i) guid.Data4[i] = id.data4[i];
  return guid;
}

// "{01234567-89AB-CDEF-0123-456789ABCDEF}".
std::wstring Braced(const Identifier& id);

std::wstring Wide(std::string_view utf8);
std::string Utf8(const wchar_t* text, std::size_t length);

// A new automation string; std::bad_alloc when there is no memory for it.
BSTR NewBstr(std::string_view utf8);

// Owns one reference to an interface.
template <typename T>
class Pointer {
 public:
  Pointer() = default;
  Pointer(const Pointer& other) : held_(other.held_) {
    if (held_ != nullptr) held_->AddRef();
  }
  Pointer(Pointer&& other) noexcept : held_(std::exchange(other.held_, nullptr)) {}
  Pointer& operator=(Pointer other) noexcept {
    std::swap(held_, other.held_);
    return *this;
  }
  ~Pointer() {
    if (held_ != nullptr) held_->Release();
  }
  // Takes over a reference that the caller holds.
  static Pointer Adopt(T* held) {
    Pointer pointer;
    pointer.held_ = held;
    return pointer;
  }
  // One more reference to `held`.
  static Pointer Share(T* held) {
    if (held != nullptr) held->AddRef();
    return Adopt(held);
  }
  T* get() const { return held_; }
  T* operator->() const { return held_; }
  explicit operator bool() const { return held_ != nullptr; }
  // Where a function puts a new reference.
  T** Receive() {
    *this = Pointer();
    return &held_;
  }
  // Gives the reference to the caller.
  T* Detach() { return std::exchange(held_, nullptr); }

 private:
  T* held_ = nullptr;
};

// A variant that is cleared at its end.
class OwnedVariant : public VARIANT {
 public:
  OwnedVariant() { ::VariantInit(this); }
  ~OwnedVariant() { ::VariantClear(this); }
  OwnedVariant(const OwnedVariant&) = delete;
  OwnedVariant& operator=(const OwnedVariant&) = delete;
};

// Base of the objects that hosts get: `Interface` is the one that stands for IUnknown too. Each
// holds the DLL. The classes say in FindInterface what else they are.
template <typename Interface, typename... More>
class Counted : public Interface, public More... {
 public:
  Counted() { HoldModule(); }
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) noexcept override {
    if (out == nullptr) return E_POINTER;
    *out = iid == IID_IUnknown ? static_cast<Interface*>(this) : FindInterface(iid);
    if (*out == nullptr) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() noexcept override {
    return static_cast<ULONG>(::InterlockedIncrement(&references_));
  }
  ULONG STDMETHODCALLTYPE Release() noexcept override {
    const LONG left = ::InterlockedDecrement(&references_);
    if (left == 0) delete this;
    return static_cast<ULONG>(left);
  }

 protected:
  virtual ~Counted() { LetModuleGo(); }
  // The interface `iid` of this object, or null; never IUnknown.
  virtual void* FindInterface(REFIID iid) noexcept = 0;

 private:
  LONG references_ = 1;
};

}  // namespace pv::server::com

#endif  // PV_SERVER_COM_COM_API_H_
