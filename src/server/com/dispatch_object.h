// An object of the component as its hosts see it.
#ifndef PV_SERVER_COM_DISPATCH_OBJECT_H_
#define PV_SERVER_COM_DISPATCH_OBJECT_H_

#include <vector>

#include "pvgroupman/automation/call.h"
#include "pvgroupman/automation/member_table.h"
#include "pvgroupman/automation/object.h"
#include "server/com/com_api.h"

namespace pv::server::com {

// The dispatch interface over an object's member table. While a host holds it, the same object
// always comes back as this one, so that pointers can be compared. Exceptions end here.
class DispatchObject : public Counted<IDispatch, ISupportErrorInfo, IProvideClassInfo> {
 public:
  // A new holder of the one that stands for `object`.
  static IDispatch* For(const automation::Ref<automation::Object>& object);

  // The object that an interface pointer leads to, when it is one of ours; else none.
  static automation::Ref<automation::Object> Behind(IUnknown* unknown);

  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* out) noexcept override;
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT which, LCID locale, ITypeInfo** out) noexcept override;
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID reserved, OLECHAR** names, UINT count, LCID locale,
                                          DISPID* ids) noexcept override;
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID reserved, LCID locale, WORD flags,
                                   DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* error,
                                   UINT* wrong_argument) noexcept override;
  HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID iid) noexcept override;
  HRESULT STDMETHODCALLTYPE GetClassInfo(ITypeInfo** out) noexcept override;

 protected:
  void* FindInterface(REFIID iid) noexcept override;

 private:
  explicit DispatchObject(const automation::Ref<automation::Object>& object);
  ~DispatchObject() override;

  // Puts the caller's arguments into the member's order, remembering where each came from.
  // An automation failure code when they are too many, too few or unknown.
  HRESULT Arrange(const automation::Member& member, const DISPPARAMS& parameters, bool put,
                  std::vector<automation::Value>* values, std::vector<const VARIANT*>* origins,
                  UINT* wrong_argument) const;

  automation::Ref<automation::Object> object_;
  const ClassIdentifiers* ids_;  // null for an object of a class without identifiers
};

// What a host is given for `object`: what it gave us itself, when the object is a foreign one.
IDispatch* DispatchOf(const automation::Ref<automation::Object>& object);

// The object for what a host gives us; none for none. Error 13 when it cannot be called by name.
automation::Ref<automation::Object> ObjectOf(IUnknown* unknown);

}  // namespace pv::server::com

#endif  // PV_SERVER_COM_DISPATCH_OBJECT_H_
