// The dispatch interface. Tested by tests/windows.
#include "server/com/dispatch_object.h"

#include <cstdint>
#include <cstring>

#include "base/text.h"
#include "server/com/errors.h"
#include "server/com/foreign_object.h"
#include "server/com/type_info.h"
#include "server/com/variants.h"

namespace pv::server::com {
namespace {

using automation::Call;
using automation::CallKind;
using automation::Member;
using automation::MemberKind;
using automation::Object;
using automation::Ref;
using automation::Value;

// By this interface an object of ours is known again; it never leaves the process. It holds an
// address of this module: another copy of the component in the process is not ours.
const GUID& OwnObject() {
  static const GUID id = [] {
    static const char here = 0;
    const auto address = reinterpret_cast<std::uintptr_t>(&here);
    GUID made = {0x6E1E7BC1, 0x3B0C, 0x4F2E, {}};
    static_assert(sizeof address <= sizeof made.Data4);
    std::memcpy(made.Data4, &address, sizeof address);
    return made;
  }();
  return id;
}

constexpr unsigned kPutFlags = DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF;

static_assert(automation::kCallMethod == DISPATCH_METHOD);
static_assert(automation::kCallGet == DISPATCH_PROPERTYGET);
static_assert(automation::kCallLet == DISPATCH_PROPERTYPUT);
static_assert(automation::kCallSet == DISPATCH_PROPERTYPUTREF);
static_assert(automation::kDefaultId == DISPID_VALUE);
static_assert(automation::kEnumeratorId == DISPID_NEWENUM);
static_assert(Object::kNoSuchId == DISPID_UNKNOWN);

// Arguments to a property that takes none are meant for the default member of what it holds.
bool IsForDefaultMember(const Member& member, const DISPPARAMS& parameters) {
  return member.kind == MemberKind::kGet && member.arguments.empty() &&
         member.result.kind == automation::TypeKind::kObject && parameters.cArgs != 0;
}

}  // namespace

IDispatch* DispatchObject::For(const Ref<Object>& object) {
  if (auto* known = static_cast<DispatchObject*>(object->door())) {
    known->AddRef();
    return known;
  }
  return new DispatchObject(object);
}

Ref<Object> DispatchObject::Behind(IUnknown* unknown) {
  Pointer<IUnknown> own;
  if (FAILED(unknown->QueryInterface(OwnObject(), reinterpret_cast<void**>(own.Receive())))) {
    return nullptr;
  }
  return static_cast<DispatchObject*>(static_cast<IDispatch*>(own.get()))->object_;
}

DispatchObject::DispatchObject(const Ref<Object>& object)
    : object_(object), ids_(FindClassIdentifiers(object->Members().class_name())) {
  object_->set_door(this);
}

DispatchObject::~DispatchObject() { object_->set_door(nullptr); }

void* DispatchObject::FindInterface(REFIID iid) noexcept {
  if (iid == IID_IDispatch || iid == OwnObject() ||
      (ids_ != nullptr && iid == GuidOf(ids_->interface_id))) {
    return static_cast<IDispatch*>(this);
  }
  if (iid == IID_ISupportErrorInfo) return static_cast<ISupportErrorInfo*>(this);
  if (iid == IID_IProvideClassInfo) return static_cast<IProvideClassInfo*>(this);
  return nullptr;
}

HRESULT DispatchObject::GetTypeInfoCount(UINT* out) noexcept {
  if (out == nullptr) return E_POINTER;
  *out = ids_ != nullptr ? 1 : 0;
  return S_OK;
}

HRESULT DispatchObject::GetTypeInfo(UINT which, LCID, ITypeInfo** out) noexcept try {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  if (which != 0) return DISP_E_BADINDEX;
  if (ids_ == nullptr) return E_NOTIMPL;
  return FindNamedTypeInfo(GuidOf(ids_->interface_id), Wide(ids_->name), out);
} catch (...) {
  return E_OUTOFMEMORY;
}

HRESULT DispatchObject::GetClassInfo(ITypeInfo** out) noexcept {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  if (ids_ == nullptr) return E_NOTIMPL;
  return FindTypeInfo(GuidOf(ids_->class_id), out);
}

HRESULT DispatchObject::InterfaceSupportsErrorInfo(REFIID iid) noexcept {
  const bool ours = iid == IID_IDispatch || (ids_ != nullptr && iid == GuidOf(ids_->interface_id));
  return ours ? S_OK : S_FALSE;
}

HRESULT DispatchObject::GetIDsOfNames(REFIID reserved, OLECHAR** names, UINT count, LCID,
                                      DISPID* ids) noexcept try {
  if (reserved != IID_NULL) return DISP_E_UNKNOWNINTERFACE;
  if (names == nullptr || ids == nullptr || count == 0) return E_INVALIDARG;
  for (UINT i = 0; i < count; ++i) ids[i] = DISPID_UNKNOWN;
  ids[0] = object_->IdOfName(Utf8(names[0], std::char_traits<wchar_t>::length(names[0])));
  if (ids[0] == DISPID_UNKNOWN) return DISP_E_UNKNOWNNAME;
  HRESULT result = S_OK;
  for (UINT i = 1; i < count; ++i) {
    // The id of an argument is its place.
    const std::string name = Utf8(names[i], std::char_traits<wchar_t>::length(names[i]));
    for (const Member& member : object_->Members().members()) {
      if (member.id != ids[0]) continue;
      for (std::size_t a = 0; a < member.arguments.size(); ++a) {
        if (EqualsIgnoreCase(member.arguments[a].name, name)) ids[i] = static_cast<DISPID>(a);
      }
    }
    if (ids[i] == DISPID_UNKNOWN) result = DISP_E_UNKNOWNNAME;
  }
  return result;
} catch (...) {
  return E_OUTOFMEMORY;
}

HRESULT DispatchObject::Arrange(const Member& member, const DISPPARAMS& parameters, bool put,
                                std::vector<Value>* values, std::vector<const VARIANT*>* origins,
                                UINT* wrong_argument) const {
  const std::size_t declared = member.arguments.size();
  const auto place = [&](std::size_t to, UINT from) {
    if (wrong_argument != nullptr) *wrong_argument = from;
    const VARIANT& given = parameters.rgvarg[from];
    (*values)[to] = FromVariant(given, member.arguments[to].type.record);
    (*origins)[to] = &given;
  };
  if (parameters.cNamedArgs > parameters.cArgs) return DISP_E_BADPARAMCOUNT;
  if (parameters.cArgs > declared) return DISP_E_BADPARAMCOUNT;
  values->assign(declared, Value::Missing());
  origins->assign(declared, nullptr);
  const UINT positional = parameters.cArgs - parameters.cNamedArgs;
  // The last argument comes first; those with names come before all others.
  for (UINT i = 0; i < positional; ++i) place(i, parameters.cArgs - 1 - i);
  for (UINT i = 0; i < parameters.cNamedArgs; ++i) {
    const DISPID id = parameters.rgdispidNamedArgs[i];
    std::size_t to = static_cast<std::size_t>(id);
    if (put && id == DISPID_PROPERTYPUT) to = declared - 1;
    if (to >= declared || (*origins)[to] != nullptr) {
      if (wrong_argument != nullptr) *wrong_argument = i;
      return DISP_E_PARAMNOTFOUND;
    }
    place(to, i);
  }
  for (std::size_t i = 0; i < declared; ++i) {
    if ((*values)[i].IsMissing() && !member.arguments[i].optional) {
      return put ? DISP_E_BADPARAMCOUNT : DISP_E_PARAMNOTOPTIONAL;
    }
  }
  return S_OK;
}

HRESULT DispatchObject::Invoke(DISPID id, REFIID reserved, LCID, WORD flags, DISPPARAMS* parameters,
                               VARIANT* result, EXCEPINFO* error, UINT* wrong_argument) noexcept {
  if (reserved != IID_NULL) return DISP_E_UNKNOWNINTERFACE;
  if (parameters == nullptr || (parameters->cArgs != 0 && parameters->rgvarg == nullptr) ||
      (parameters->cNamedArgs != 0 && parameters->rgdispidNamedArgs == nullptr)) {
    return E_INVALIDARG;
  }
  if (result != nullptr) ::VariantInit(result);
  // A member may let go of the last reference to its object.
  const Ref<Object> object = object_;
  const ClassIdentifiers* const ids = ids_;
  try {
    const auto kind = static_cast<CallKind>(flags & (automation::kCallMethodOrGet | kPutFlags));
    const bool put = (flags & kPutFlags) != 0;
    const Member* member = object->Members().Find(id, kind);
    if (member == nullptr) return DISP_E_MEMBERNOTFOUND;
    Call call{kind, {}, {}};
    std::vector<const VARIANT*> origins;
    if (IsForDefaultMember(*member, *parameters)) {
      Call get{automation::kCallGet, {}, {}};
      const Ref<Object> held = automation::Invoke(object, id, get).ToObject();
      if (!held) automation::RaiseObjectNotSet();
      const Pointer<IDispatch> inner = Pointer<IDispatch>::Adopt(DispatchOf(held));
      return inner->Invoke(DISPID_VALUE, IID_NULL, 0, DISPATCH_METHOD | DISPATCH_PROPERTYGET,
                           parameters, result, error, wrong_argument);
    }
    const HRESULT arranged =
        Arrange(*member, *parameters, put, &call.arguments, &origins, wrong_argument);
    if (FAILED(arranged)) return arranged;
    const Value value = automation::Invoke(object, id, call);
    for (std::size_t i = 0; i < origins.size(); ++i) {
      if (origins[i] != nullptr && member->arguments[i].by_reference) {
        WriteBack(call.arguments[i], *origins[i]);
      }
    }
    if (result != nullptr) ToVariant(value, result);
    return S_OK;
  } catch (...) {
    if (result != nullptr) ::VariantClear(result);
    const std::string& name = object->Members().class_name();
    automation::Error failure = automation::CurrentError(name);
    if (failure.source().empty()) failure = failure.WithSource(name);
    Report(failure, ids != nullptr ? GuidOf(ids->interface_id) : IID_IDispatch, error);
    return DISP_E_EXCEPTION;
  }
}

IDispatch* DispatchOf(const Ref<Object>& object) {
  if (!object) return nullptr;
  if (const auto foreign = automation::Cast<ForeignObject>(object)) return foreign->NewHolder();
  return DispatchObject::For(object);
}

Ref<Object> ObjectOf(IUnknown* unknown) {
  if (unknown == nullptr) return nullptr;
  if (Ref<Object> own = DispatchObject::Behind(unknown)) return own;
  Pointer<IDispatch> dispatch;
  if (FAILED(
          unknown->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(dispatch.Receive())))) {
    automation::Raise(automation::kErrTypeMismatch);
  }
  return automation::MakeObject<ForeignObject>(std::move(dispatch));
}

}  // namespace pv::server::com
