// Enumerators. Tested by tests/windows.
#include "server/com/enum_variant.h"

#include "server/com/errors.h"
#include "server/com/variants.h"

namespace pv::server::com {

HRESULT EnumVariant::Next(ULONG count, VARIANT* out, ULONG* fetched) noexcept {
  if (fetched != nullptr) *fetched = 0;
  if (out == nullptr || (fetched == nullptr && count != 1)) return E_POINTER;
  for (ULONG i = 0; i < count; ++i) ::VariantInit(&out[i]);
  ULONG done = 0;
  try {
    for (automation::Value item; done < count && items_->Next(&item); ++done) {
      ToVariant(item, &out[done]);
    }
  } catch (...) {
    for (ULONG i = 0; i < count; ++i) ::VariantClear(&out[i]);
    return Report(automation::CurrentError(), IID_IEnumVARIANT, nullptr);
  }
  if (fetched != nullptr) *fetched = done;
  return done == count ? S_OK : S_FALSE;
}

HRESULT EnumVariant::Skip(ULONG count) noexcept { return items_->Skip(count) ? S_OK : S_FALSE; }

HRESULT EnumVariant::Reset() noexcept {
  items_->Reset();
  return S_OK;
}

HRESULT EnumVariant::Clone(IEnumVARIANT** out) noexcept try {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  *out = new EnumVariant(items_->Clone());
  return S_OK;
} catch (...) {
  return E_OUTOFMEMORY;
}

void* EnumVariant::FindInterface(REFIID iid) noexcept {
  return iid == IID_IEnumVARIANT ? static_cast<IEnumVARIANT*>(this) : nullptr;
}

}  // namespace pv::server::com
