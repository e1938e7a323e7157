// What the test programs share: checks as the scripts of the suite make them, and late-bound calls.
#ifndef PV_TESTS_WINDOWS_CLIENT_H_
#define PV_TESTS_WINDOWS_CLIENT_H_

#include <windows.h>
// After windows.h:
#include <ole2.h>
#include <oleauto.h>
// After both:
#include <ocidl.h>

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

inline int checks = 0;
inline int failures = 0;

inline void Check(bool condition, const char* what, int line) {
  ++checks;
  if (condition) return;
  ++failures;
  std::printf("FAIL line %d: %s\n", line, what);
}
#define CHECK(condition) Check(condition, #condition, __LINE__)
// Ends the program when what follows could not be done.
#define REQUIRE(condition)              \
  do {                                  \
    const bool holds = (condition);     \
    Check(holds, #condition, __LINE__); \
    if (!holds) return Done();          \
  } while (false)

inline int Done() {
  std::printf("DONE %d checks, %d failures\n", checks, failures);
  return failures == 0 ? 0 : 1;
}

// A variant that is cleared at its end.
struct Variant : VARIANT {
  Variant() { ::VariantInit(this); }
  Variant(const wchar_t* text) {  // NOLINT: implicit
    V_VT(this) = VT_BSTR;
    V_BSTR(this) = ::SysAllocString(text);
  }
  Variant(long v) {  // NOLINT: implicit
    V_VT(this) = VT_I4;
    V_I4(this) = v;
  }
  Variant(int v) : Variant(static_cast<long>(v)) {}  // NOLINT: implicit
  Variant(bool v) {                                  // NOLINT: implicit
    V_VT(this) = VT_BOOL;
    V_BOOL(this) = v ? VARIANT_TRUE : VARIANT_FALSE;
  }
  Variant(IDispatch* v) {  // NOLINT: implicit
    V_VT(this) = VT_DISPATCH;
    V_DISPATCH(this) = v;
    if (v != nullptr) v->AddRef();
  }
  Variant(const Variant& other) {
    ::VariantInit(this);
    ::VariantCopy(this, const_cast<Variant*>(&other));
  }
  Variant& operator=(const Variant& other) {
    ::VariantCopy(this, const_cast<Variant*>(&other));
    return *this;
  }
  ~Variant() { ::VariantClear(this); }

  // A variant that leads to `to`, of this type.
  static Variant ByReference(VARTYPE type, void* to) {
    Variant v;
    V_VT(&v) = static_cast<VARTYPE>(type | VT_BYREF);
    V_BYREF(&v) = to;
    return v;
  }
  IDispatch* object() const { return V_VT(this) == VT_DISPATCH ? V_DISPATCH(this) : nullptr; }
  long number() const { return V_VT(this) == VT_I4 ? V_I4(this) : -1; }
  std::wstring text() const {
    return V_VT(this) == VT_BSTR && V_BSTR(this) != nullptr ? V_BSTR(this) : L"";
  }
};

// What came of a call.
struct Outcome {
  HRESULT result = E_FAIL;
  Variant value;
  long code = 0;  // of the exception, when there was one
  std::wstring source;
  std::wstring description;
  UINT wrong_argument = 99;
};

inline DISPID IdOf(IDispatch* object, const wchar_t* name) {
  std::wstring copy = name;
  wchar_t* text = copy.data();
  DISPID id = DISPID_UNKNOWN;
  object->GetIDsOfNames(IID_NULL, &text, 1, 0, &id);
  return id;
}

// A call whose arguments are as the callee gets them: the last comes first, and nothing is copied.
inline Outcome InvokeAsIs(IDispatch* object, DISPID id, WORD flags, std::vector<VARIANT> arguments,
                          std::vector<DISPID> named = {}) {
  DISPPARAMS parameters{arguments.data(), named.data(), static_cast<UINT>(arguments.size()),
                        static_cast<UINT>(named.size())};
  EXCEPINFO info{};
  Outcome outcome;
  outcome.result = object->Invoke(id, IID_NULL, 0, flags, &parameters, &outcome.value, &info,
                                  &outcome.wrong_argument);
  if (outcome.result == DISP_E_EXCEPTION) {
    outcome.code = info.scode;
    if (info.bstrSource != nullptr) outcome.source = info.bstrSource;
    if (info.bstrDescription != nullptr) outcome.description = info.bstrDescription;
  }
  ::SysFreeString(info.bstrSource);
  ::SysFreeString(info.bstrDescription);
  ::SysFreeString(info.bstrHelpFile);
  return outcome;
}

inline Outcome Invoke(IDispatch* object, DISPID id, WORD flags, const std::vector<Variant>& given,
                      const std::vector<DISPID>& named = {}) {
  // The last argument comes first; those with names come before all others, in their order.
  std::vector<VARIANT> arguments;
  for (std::size_t i = 0; i < named.size(); ++i) {
    arguments.push_back(given[given.size() - named.size() + i]);
  }
  for (std::size_t i = given.size() - named.size(); i-- > 0;) arguments.push_back(given[i]);
  return InvokeAsIs(object, id, flags, std::move(arguments), named);
}

inline Outcome Call(IDispatch* object, const wchar_t* name, std::vector<Variant> arguments = {}) {
  return Invoke(object, IdOf(object, name), DISPATCH_METHOD | DISPATCH_PROPERTYGET, arguments);
}

inline Outcome Put(IDispatch* object, const wchar_t* name, const Variant& value) {
  return Invoke(object, IdOf(object, name), DISPATCH_PROPERTYPUT, {value}, {DISPID_PROPERTYPUT});
}

// A new object, or null. The caller holds it.
inline IDispatch* Create(const wchar_t* prog_id) {
  CLSID id;
  IDispatch* object = nullptr;
  if (FAILED(::CLSIDFromProgID(prog_id, &id))) return nullptr;
  if (FAILED(::CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch,
                                reinterpret_cast<void**>(&object)))) {
    return nullptr;
  }
  return object;
}

// The number that Basic hosts show.
constexpr long Basic(int number) {
  return static_cast<long>(0x800A0000UL | static_cast<unsigned>(number));
}

#endif  // PV_TESTS_WINDOWS_CLIENT_H_
