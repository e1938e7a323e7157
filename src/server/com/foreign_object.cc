// Foreign automation objects. Tested by tests/windows.
#include "server/com/foreign_object.h"

#include <memory>
#include <vector>

#include "pvgroupman/automation/enumerator.h"
#include "pvgroupman/automation/member_table.h"
#include "server/com/errors.h"
#include "server/com/variants.h"

namespace pv::server::com {
namespace {

using automation::Call;
using automation::Enumerator;
using automation::Object;
using automation::Ref;
using automation::Value;

// What a foreign enumerator yields, as an enumerator of ours.
Ref<Object> ReadEnumerator(const VARIANT& v) {
  Pointer<IEnumVARIANT> items;
  if ((V_VT(&v) != VT_UNKNOWN && V_VT(&v) != VT_DISPATCH) || V_UNKNOWN(&v) == nullptr ||
      FAILED(V_UNKNOWN(&v)->QueryInterface(IID_IEnumVARIANT,
                                           reinterpret_cast<void**>(items.Receive())))) {
    automation::Raise(automation::kErrNoSuchMember);
  }
  std::vector<Value> values;
  for (;;) {
    OwnedVariant item;
    ULONG fetched = 0;
    if (items->Next(1, &item, &fetched) != S_OK || fetched == 0) break;
    values.push_back(FromVariant(item, nullptr));
  }
  return automation::MakeObject<Enumerator>(std::move(values));
}

}  // namespace

IDispatch* ForeignObject::NewHolder() const {
  dispatch_->AddRef();
  return dispatch_.get();
}

const automation::MemberTable& ForeignObject::Members() const {
  static const automation::MemberTable table = automation::Class("Object");
  return table;
}

std::int32_t ForeignObject::IdOfName(std::string_view name) const {
  std::wstring wide = Wide(name);
  wchar_t* text = wide.data();
  DISPID id = DISPID_UNKNOWN;
  if (FAILED(dispatch_->GetIDsOfNames(IID_NULL, &text, 1, LOCALE_USER_DEFAULT, &id))) {
    return kNoSuchId;
  }
  names_[id] = name;
  return id;
}

Value ForeignObject::Dispatch(std::int32_t id, Call& call) {
  const bool put = (call.kind & (automation::kCallLet | automation::kCallSet)) != 0;
  const std::size_t named = call.named.size();
  const std::size_t count = call.arguments.size() + named;
  const auto name = names_.find(id);
  const std::string source = name == names_.end() ? std::string() : name->second;

  std::vector<DISPID> named_ids;
  if (named != 0) {
    std::vector<std::wstring> texts{Wide(source)};
    for (const automation::NamedArgument& n : call.named) texts.push_back(Wide(n.name));
    std::vector<wchar_t*> pointers;
    for (std::wstring& text : texts) pointers.push_back(text.data());
    named_ids.resize(texts.size(), DISPID_UNKNOWN);
    const HRESULT found =
        dispatch_->GetIDsOfNames(IID_NULL, pointers.data(), static_cast<UINT>(pointers.size()),
                                 LOCALE_USER_DEFAULT, named_ids.data());
    if (FAILED(found)) automation::Raise(automation::kErrNamedArgument, source);
    named_ids.erase(named_ids.begin());
  }
  // The new value of a property is its last positional argument, and has this name.
  DISPID put_id = DISPID_PROPERTYPUT;
  const auto values = std::make_unique<OwnedVariant[]>(count);
  std::vector<VARIANT> given(count);
  std::vector<Value*> origins;
  for (automation::NamedArgument& n : call.named) origins.push_back(&n.value);
  for (std::size_t i = call.arguments.size(); i-- > 0;) origins.push_back(&call.arguments[i]);
  for (std::size_t i = 0; i < count; ++i) {
    ToVariant(*origins[i], &values[i]);
    if (put || origins[i]->IsMissing()) {
      given[i] = values[i];  // borrowed: `values` clears it
    } else {
      V_VT(&given[i]) = VT_BYREF | VT_VARIANT;
      V_VARIANTREF(&given[i]) = &values[i];
    }
  }
  DISPPARAMS parameters{given.data(), named_ids.data(), static_cast<UINT>(count),
                        static_cast<UINT>(named)};
  if (put) {
    parameters.rgdispidNamedArgs = &put_id;
    parameters.cNamedArgs = 1;
  }
  OwnedVariant result;
  EXCEPINFO info{};
  UINT wrong = 0;
  const HRESULT done =
      dispatch_->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, static_cast<WORD>(call.kind),
                        &parameters, put ? nullptr : &result, &info, &wrong);
  if (FAILED(done)) throw ErrorOf(done, &info, source);
  if (!put) {
    for (std::size_t i = 0; i < count; ++i) {
      if (!origins[i]->IsMissing()) *origins[i] = FromVariant(values[i], nullptr);
    }
  }
  if (id == automation::kEnumeratorId) return Value(ReadEnumerator(result));
  return FromVariant(result, nullptr);
}

Ref<Object> CreateForeign(std::string_view prog_id, std::string* reason) {
  CLSID id;
  EXCEPINFO none{};
  HRESULT result = ::CLSIDFromProgID(Wide(prog_id).c_str(), &id);
  Pointer<IDispatch> dispatch;
  if (SUCCEEDED(result)) {
    result = ::CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER,
                                IID_IDispatch, reinterpret_cast<void**>(dispatch.Receive()));
  }
  if (FAILED(result)) {
    *reason = ErrorOf(result, &none, {}).description();
    return nullptr;
  }
  return automation::MakeObject<ForeignObject>(std::move(dispatch));
}

}  // namespace pv::server::com
