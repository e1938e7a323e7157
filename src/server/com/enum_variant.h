// Enumerators as hosts know them.
#ifndef PV_SERVER_COM_ENUM_VARIANT_H_
#define PV_SERVER_COM_ENUM_VARIANT_H_

#include "pvgroupman/automation/enumerator.h"
#include "server/com/com_api.h"

namespace pv::server::com {

// What For Each walks with.
class EnumVariant : public Counted<IEnumVARIANT> {
 public:
  explicit EnumVariant(automation::Ref<automation::Enumerator> items) : items_(std::move(items)) {}

  HRESULT STDMETHODCALLTYPE Next(ULONG count, VARIANT* out, ULONG* fetched) noexcept override;
  HRESULT STDMETHODCALLTYPE Skip(ULONG count) noexcept override;
  HRESULT STDMETHODCALLTYPE Reset() noexcept override;
  HRESULT STDMETHODCALLTYPE Clone(IEnumVARIANT** out) noexcept override;

 protected:
  void* FindInterface(REFIID iid) noexcept override;

 private:
  automation::Ref<automation::Enumerator> items_;
};

}  // namespace pv::server::com

#endif  // PV_SERVER_COM_ENUM_VARIANT_H_
