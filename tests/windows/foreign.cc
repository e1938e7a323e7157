// Other people's automation objects, called as the component calls them; and values on their way
// through variants.
#include "client.h"
// After windows.h:
#include <cmath>
#include <limits>

#include "pvgroupman/automation/call.h"
#include "pvgroupman/automation/error.h"
#include "pvgroupman/automation/progid.h"
#include "pvgroupman/automation/value.h"
#include "server/com/dispatch_object.h"
#include "server/com/foreign_object.h"
#include "server/com/variants.h"

namespace {

using pv::automation::CallMember;
using pv::automation::Error;
using pv::automation::GetProperty;
using pv::automation::Object;
using pv::automation::PutProperty;
using pv::automation::Ref;
using pv::automation::Value;
using pv::automation::ValueType;
namespace com = pv::server::com;

template <typename F>
int NumberFrom(F&& f) {
  try {
    f();
    return 0;
  } catch (const Error& e) {
    return e.number();
  }
}

HRESULT STDMETHODCALLTYPE FillIn(EXCEPINFO* late) {
  late->wCode = 1004;
  late->bstrSource = ::SysAllocString(L"Doubler");
  late->bstrDescription = ::SysAllocString(L"Too much");
  return S_OK;
}

// An object that doubles its argument in place, and fails in several ways.
class Doubler : public com::Counted<IDispatch> {
 public:
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) noexcept override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) noexcept override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, OLECHAR** names, UINT count, LCID,
                                          DISPID* ids) noexcept override {
    ids[0] = std::wstring(names[0]) == L"Double" ? 1 : std::wstring(names[0]) == L"Fail" ? 2 : -1;
    for (UINT i = 1; i < count; ++i) ids[i] = std::wstring(names[i]) == L"Number" ? 0 : -1;
    return ids[count - 1] == -1 ? DISP_E_UNKNOWNNAME : S_OK;
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* parameters, VARIANT*,
                                   EXCEPINFO* info, UINT*) noexcept override {
    if (id == 1) {
      VARIANT* v = &parameters->rgvarg[0];
      if (V_VT(v) != (VT_BYREF | VT_VARIANT)) return DISP_E_TYPEMISMATCH;
      V_I4(V_VARIANTREF(v)) *= 2;
      return S_OK;
    }
    switch (V_I4(V_VARIANTREF(&parameters->rgvarg[0]))) {
      case 1:  // filled in only when asked for, a number of Basic's kind
        info->pfnDeferredFillIn = &FillIn;
        return DISP_E_EXCEPTION;
      case 2:
        info->scode = static_cast<SCODE>(0x80040E14);
        return DISP_E_EXCEPTION;
      case 3:
        return DISP_E_OVERFLOW;
      default:
        return E_ACCESSDENIED;
    }
  }

 protected:
  void* FindInterface(REFIID iid) noexcept override {
    return iid == IID_IDispatch ? static_cast<IDispatch*>(this) : nullptr;
  }
};

void CheckDictionary() {
  const Ref<Object> d = pv::automation::CreateObject("Scripting.Dictionary");
  PutProperty(d, "CompareMode", Value(1));
  CHECK(GetProperty(d, "CompareMode") == Value(1));
  CallMember(d, "ADD", {"one", 1});
  CallMember(d, "Add", {"two", "zwei"});
  CHECK(GetProperty(d, "count") == Value(2));
  CHECK(CallMember(d, "Item", {"one"}) == Value(1));
  CHECK(pv::automation::GetDefault(d, {"two"}) == Value("zwei"));
  CHECK(CallMember(d, "Exists", {"three"}) == Value(false));
  CHECK(NumberFrom([&] { CallMember(d, "Add", {"one", 2}); }) == 457);
  CHECK(NumberFrom([&] { CallMember(d, "Nothing"); }) == 438);
  CHECK(NumberFrom([&] { PutProperty(d, "CompareMode", Value(0)); }) == 5);
  std::string keys;
  const auto walk = pv::automation::Enumerate(d);
  for (Value key; walk->Next(&key);) keys += key.ToText() + " ";
  CHECK(keys == "one two ");
  // It goes back to a host as what it was.
  IDispatch* const real = com::DispatchOf(d);
  CHECK(com::DispatchOf(com::ObjectOf(real)) == real);
  real->Release();
  real->Release();

  CHECK(NumberFrom([] { pv::automation::CreateObject("Nobody.Knows"); }) == 429);
}

void CheckOwnForeign() {
  const Ref<Object> d =
      pv::automation::MakeObject<com::ForeignObject>(com::Pointer<IDispatch>::Adopt(new Doubler));
  pv::automation::Call call{pv::automation::kCallMethod, {Value(21)}, {}};
  pv::automation::Invoke(d, "Double", call);
  CHECK(call.arguments[0] == Value(42));
  pv::automation::Call named{pv::automation::kCallMethod, {}, {{"Number", Value(4)}}};
  pv::automation::Invoke(d, "Double", named);
  CHECK(named.named[0].value == Value(8));
  pv::automation::Call wrong{pv::automation::kCallMethod, {}, {{"Nummer", Value(4)}}};
  CHECK(NumberFrom([&] { pv::automation::Invoke(d, "Double", wrong); }) == 448);
  try {
    CallMember(d, "Fail", {1});
    CHECK(false);
  } catch (const Error& e) {
    CHECK(e.number() == 1004 && e.source() == "Doubler" && e.description() == "Too much");
  }
  CHECK(NumberFrom([&] { CallMember(d, "Fail", {2}); }) == static_cast<int>(0x80040E14));
  CHECK(NumberFrom([&] { CallMember(d, "Fail", {3}); }) == 6);
  CHECK(NumberFrom([&] { CallMember(d, "Fail", {4}); }) == static_cast<int>(E_ACCESSDENIED));
}

// There and back.
void CheckRoundTrip(const Value& value, VARTYPE type) {
  Variant v;
  com::ToVariant(value, &v);
  CHECK(V_VT(&v) == type);
  CHECK(com::FromVariant(v, nullptr) == value);
}

Value From(VARTYPE type, long long bits) {
  VARIANT v;
  ::VariantInit(&v);
  V_VT(&v) = type;
  V_I8(&v) = bits;
  return com::FromVariant(v, nullptr);
}

void CheckValues() {
  CheckRoundTrip(Value(), VT_EMPTY);
  CheckRoundTrip(Value::Null(), VT_NULL);
  CheckRoundTrip(Value::Missing(), VT_ERROR);
  CheckRoundTrip(Value(std::int16_t{-7}), VT_I2);
  CheckRoundTrip(Value(70'000), VT_I4);
  CheckRoundTrip(Value(0.1), VT_R8);
  CheckRoundTrip(Value(pv::automation::Currency{9'007'199'254'740'993}), VT_CY);
  CheckRoundTrip(Value(pv::automation::Date{45351.5}), VT_DATE);
  CheckRoundTrip(Value(true), VT_BOOL);
  CheckRoundTrip(Value(std::string("Gr\xC3\xBC\xC3\x9F"
                                   "e \xF0\x9F\x98\x80\0 behind",
                                   22)),
                 VT_BSTR);
  CheckRoundTrip(Value(pv::automation::Bytes{0, 1, 255}), VT_ARRAY | VT_UI1);
  CheckRoundTrip(Value(pv::automation::Bytes{}), VT_ARRAY | VT_UI1);
  CheckRoundTrip(Value(pv::automation::TextArray{"a", "", "\xC3\xA4"}), VT_ARRAY | VT_VARIANT);
  CheckRoundTrip(Value(pv::automation::TextArray{}), VT_ARRAY | VT_VARIANT);

  CHECK(From(VT_UI1, 200) == Value(std::int16_t{200}));
  CHECK(From(VT_I1, 0xFF) == Value(std::int16_t{-1}));
  CHECK(From(VT_UI2, 65535) == Value(65535));
  CHECK(From(VT_UI4, 0xFFFFFFFFLL) == Value(4294967295.0));
  CHECK(From(VT_INT, 5) == Value(5));
  CHECK(From(VT_I8, 1LL << 40) == Value(1099511627776.0));
  CHECK(From(VT_UI8, -1) == Value(18446744073709551616.0));
  CHECK(From(VT_BSTR, 0) == Value(""));
  CHECK(From(VT_DISPATCH, 0) == Value(Ref<Object>()));
  CHECK(From(VT_ARRAY | VT_I4, 0) == Value());
  CHECK(NumberFrom([] { From(VT_ERROR, 5); }) == 13);
  CHECK(NumberFrom([] { From(VT_FILETIME, 5); }) == 13);
  DECIMAL ten{};
  ::VarDecFromI4(125, &ten);
  ten.scale = 1;
  VARIANT decimal;
  decimal.decVal = ten;
  V_VT(&decimal) = VT_DECIMAL;
  CHECK(com::FromVariant(decimal, nullptr) == Value(12.5));
  Variant led = Variant::ByReference(VT_DECIMAL, &ten);
  CHECK(com::FromVariant(led, nullptr) == Value(12.5));
}

// New values in variables of every type that a host may have.
void CheckWriteBack() {
  const Value value(1234);
  short i2 = 0;
  long i4 = 0;
  double r8 = 0;
  CY cy{};
  VARIANT_BOOL boolean = VARIANT_FALSE;
  BSTR text = ::SysAllocString(L"before");
  com::WriteBack(value, Variant::ByReference(VT_I2, &i2));
  com::WriteBack(value, Variant::ByReference(VT_I4, &i4));
  com::WriteBack(value, Variant::ByReference(VT_R8, &r8));
  com::WriteBack(value, Variant::ByReference(VT_CY, &cy));
  com::WriteBack(value, Variant::ByReference(VT_BOOL, &boolean));
  com::WriteBack(value, Variant::ByReference(VT_BSTR, &text));
  CHECK(i2 == 1234 && i4 == 1234 && r8 == 1234 && cy.int64 == 12'340'000);
  CHECK(boolean == VARIANT_TRUE);
  CHECK(std::wstring(text) == L"1234");
  ::SysFreeString(text);
  Variant variant = L"before";
  com::WriteBack(value, Variant::ByReference(VT_VARIANT, &variant));
  CHECK(V_VT(&variant) == VT_I4 && V_I4(&variant) == 1234);
  Variant chained = Variant::ByReference(VT_I2, &i2);
  com::WriteBack(Value(5), Variant::ByReference(VT_VARIANT, &chained));
  CHECK(i2 == 5);
  com::WriteBack(Value(6), Variant(7));  // given by value: nowhere to write
  CHECK(NumberFrom([&] { com::WriteBack(Value(70'000), Variant::ByReference(VT_I2, &i2)); }) == 6);
  CHECK(NumberFrom([&] { com::WriteBack(Value("x"), Variant::ByReference(VT_I4, &i4)); }) == 13);
  CHECK(i2 == 5 && i4 == 1234);
}

// The same for variables that have arrays.
void CheckArrayWriteBack() {
  const Value texts(pv::automation::TextArray{"one", "zw\xC3\xB6lf"});
  SAFEARRAY* array = ::SafeArrayCreateVector(VT_BSTR, 1, 5);
  const Variant typed = Variant::ByReference(VT_ARRAY | VT_BSTR, &array);
  com::WriteBack(texts, typed);
  CHECK(com::FromVariant(typed, nullptr) == texts);
  CHECK(array->rgsabound[0].cElements == 2 && array->rgsabound[0].lLbound == 0);
  // Led to through a variant; and one that was never given a size.
  ::SafeArrayDestroy(array);
  array = nullptr;
  Variant led = Variant::ByReference(VT_ARRAY | VT_BSTR, &array);
  com::WriteBack(texts, Variant::ByReference(VT_VARIANT, &led));
  CHECK(array != nullptr && com::FromVariant(typed, nullptr) == texts);
  // Not while somebody looks at it, nor where it is part of something else.
  ::SafeArrayLock(array);
  CHECK(NumberFrom([&] { com::WriteBack(texts, typed); }) == 10);
  ::SafeArrayUnlock(array);
  array->fFeatures |= FADF_FIXEDSIZE;
  CHECK(NumberFrom([&] { com::WriteBack(texts, typed); }) == 10);
  array->fFeatures = static_cast<USHORT>(array->fFeatures & ~FADF_FIXEDSIZE);
  CHECK(com::FromVariant(typed, nullptr) == texts);
  CHECK(NumberFrom([&] { com::WriteBack(Value(5), typed); }) == 13);
  CHECK(NumberFrom([&] { com::WriteBack(Value(pv::automation::Bytes{1}), typed); }) == 13);
  ::SafeArrayDestroy(array);
  array = ::SafeArrayCreateVector(VT_I4, 0, 1);
  CHECK(NumberFrom(
            [&] { com::WriteBack(texts, Variant::ByReference(VT_ARRAY | VT_I4, &array)); }) == 13);
  ::SafeArrayDestroy(array);
  array = ::SafeArrayCreateVector(VT_UI1, 0, 3);
  const Variant bytes = Variant::ByReference(VT_ARRAY | VT_UI1, &array);
  com::WriteBack(Value(pv::automation::Bytes{7, 8}), bytes);
  CHECK(com::FromVariant(bytes, nullptr) == Value(pv::automation::Bytes{7, 8}));
  ::SafeArrayDestroy(array);
  array = ::SafeArrayCreateVector(VT_VARIANT, 0, 1);
  const Variant variants = Variant::ByReference(VT_ARRAY | VT_VARIANT, &array);
  com::WriteBack(texts, variants);
  CHECK(com::FromVariant(variants, nullptr) == texts);
  ::SafeArrayDestroy(array);
}

}  // namespace

int main() {
  REQUIRE(SUCCEEDED(::OleInitialize(nullptr)));
  pv::automation::SetClassFinder(&com::CreateForeign);
  CheckDictionary();
  CheckOwnForeign();
  CheckValues();
  CheckWriteBack();
  CheckArrayWriteBack();
  CHECK(!com::ModuleIsHeld());
  return Done();
}
