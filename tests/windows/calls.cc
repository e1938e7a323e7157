// Calls as hosts of every kind make them: by name and id, with named and by-reference arguments,
// and what they are told when a call fails. The first argument is the folder for groups.
#include "client.h"
// After windows.h:
#include <tuple>

namespace {

bool SameObject(IUnknown* a, IUnknown* b) {
  IUnknown* ia = nullptr;
  IUnknown* ib = nullptr;
  a->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&ia));
  b->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&ib));
  const bool same = ia != nullptr && ia == ib;
  if (ia != nullptr) ia->Release();
  if (ib != nullptr) ib->Release();
  return same;
}

std::wstring NameOf(ITypeInfo* info) {
  BSTR name = nullptr;
  info->GetDocumentation(MEMBERID_NIL, &name, nullptr, nullptr, nullptr);
  const std::wstring text = name == nullptr ? L"" : name;
  ::SysFreeString(name);
  return text;
}

void CheckNames(IDispatch* database) {
  std::wstring texts[] = {L"opentable", L"INDEX", L"path", L"Name", L"AccessMode"};
  wchar_t* names[5];
  for (int i = 0; i < 5; ++i) names[i] = texts[i].data();
  DISPID ids[5];
  CHECK(database->GetIDsOfNames(IID_NULL, names, 5, 0, ids) == S_OK);
  CHECK(ids[1] == 3 && ids[2] == 0 && ids[3] == 1 && ids[4] == 2);
  names[1] = names[0];  // no argument is called so
  CHECK(database->GetIDsOfNames(IID_NULL, names, 3, 0, ids) == DISP_E_UNKNOWNNAME);
  CHECK(ids[0] != DISPID_UNKNOWN && ids[1] == DISPID_UNKNOWN && ids[2] == 0);
  CHECK(IdOf(database, L"Nothing") == DISPID_UNKNOWN);
  CHECK(database->GetIDsOfNames(IID_IUnknown, names, 1, 0, ids) == DISP_E_UNKNOWNINTERFACE);
}

// Arguments by name only, in any order; the optional ones left out.
void CheckNamedArguments(IDispatch* database, const std::wstring& folder) {
  const DISPID open = IdOf(database, L"OpenTable");
  Outcome o = Invoke(database, open, DISPATCH_METHOD, {L"groups.pvg", folder.c_str()}, {1, 0});
  CHECK(o.result == S_OK && o.value.object() != nullptr);
  if (o.value.object() != nullptr) {
    CHECK(Call(o.value.object(), L"State").value.number() == 1);
    CHECK(Call(o.value.object(), L"CloseTable").result == S_OK);
  }
  Variant missing;
  V_VT(&missing) = VT_ERROR;
  V_ERROR(&missing) = DISP_E_PARAMNOTFOUND;
  o = Invoke(database, open, DISPATCH_METHOD, {folder.c_str(), L"groups.pvg", missing, L"Name"});
  CHECK(o.result == S_OK && o.value.object() != nullptr);
  if (o.value.object() != nullptr) Call(o.value.object(), L"CloseTable");

  CHECK(Invoke(database, open, DISPATCH_METHOD, {L"x", L"y"}, {0, 9}).result ==
        DISP_E_PARAMNOTFOUND);
  CHECK(Invoke(database, open, DISPATCH_METHOD, {L"x", L"y"}, {0, 0}).result ==
        DISP_E_PARAMNOTFOUND);
  CHECK(Invoke(database, open, DISPATCH_METHOD, {L"x", L"y"}, {0}).result == DISP_E_PARAMNOTFOUND);
  CHECK(Invoke(database, open, DISPATCH_METHOD, {L"x"}).result == DISP_E_PARAMNOTOPTIONAL);
  CHECK(Invoke(database, open, DISPATCH_METHOD, {L"x", missing}).result == DISP_E_PARAMNOTOPTIONAL);
  CHECK(Invoke(database, open, DISPATCH_METHOD, {1, 2, 3, 4, 5}).result == DISP_E_BADPARAMCOUNT);
  CHECK(Invoke(database, 4711, DISPATCH_METHOD, {}).result == DISP_E_MEMBERNOTFOUND);
  CHECK(Invoke(database, open, DISPATCH_PROPERTYPUT, {1}, {DISPID_PROPERTYPUT}).result ==
        DISP_E_MEMBERNOTFOUND);
  CHECK(database->Invoke(open, IID_NULL, 0, DISPATCH_METHOD, nullptr, nullptr, nullptr, nullptr) ==
        E_INVALIDARG);
}

// The record number in every kind of variable that a host may have it in.
void CheckByReference(IDispatch* rs) {
  long i4 = 1;
  CHECK(Call(rs, L"Move", {Variant::ByReference(VT_I4, &i4)}).result == S_OK);
  CHECK(i4 == 1);
  short i2 = 1;
  CHECK(Call(rs, L"Move", {Variant::ByReference(VT_I2, &i2)}).result == S_OK);
  CHECK(i2 == 1);
  double r8 = 1;
  CHECK(Call(rs, L"Move", {Variant::ByReference(VT_R8, &r8)}).result == S_OK);
  CHECK(r8 == 1);
  BSTR text = ::SysAllocString(L"1");
  CHECK(Call(rs, L"Move", {Variant::ByReference(VT_BSTR, &text)}).result == S_OK);
  CHECK(text != nullptr && std::wstring(text) == L"1");
  ::SysFreeString(text);
  Variant inner = 1;
  CHECK(Call(rs, L"Move", {Variant::ByReference(VT_VARIANT, &inner)}).result == S_OK);
  CHECK(V_VT(&inner) == VT_I4 && V_I4(&inner) == 1);
  Variant chained = Variant::ByReference(VT_I4, &i4);
  CHECK(Call(rs, L"Move", {Variant::ByReference(VT_VARIANT, &chained)}).result == S_OK);
  CHECK(V_VT(&chained) == (VT_BYREF | VT_I4) && i4 == 1);
  CHECK(Call(rs, L"Move", {Variant::ByReference(VT_I4, nullptr)}).code == Basic(13));
  Variant ring;
  V_VT(&ring) = VT_BYREF | VT_VARIANT;
  V_VARIANTREF(&ring) = &ring;
  CHECK(Call(rs, L"Move", {ring}).code == Basic(13));
  V_VT(&ring) = VT_EMPTY;
}

// Typed variables of the other kinds, each for an argument that it suits.
void CheckTypedVariables(IDispatch* groups) {
  const auto led = [](VARTYPE type, void* to) { return Variant::ByReference(type, to); };
  IDispatch* fields = Create(L"PVGroupMan.FieldDefs");
  IDispatch* const values = Create(L"PVGroupMan.Fields");
  IUnknown* indexes = Create(L"PVGroupMan.IndexDefs");
  CHECK(fields != nullptr && values != nullptr && indexes != nullptr);
  if (fields == nullptr || values == nullptr || indexes == nullptr) return;
  short type = 0;
  unsigned char small = 20;
  long long none = 0;
  VARIANT_BOOL yes = VARIANT_TRUE;
  CHECK(
      Call(fields, L"Add",
           {L"Name", led(VT_I2, &type), led(VT_UI1, &small), led(VT_I8, &none), led(VT_BOOL, &yes)})
          .result == S_OK);
  float thirty = 30;
  CY nothing{};
  CHECK(
      Call(fields, L"Add", {L"City", 0, led(VT_R4, &thirty), led(VT_CY, &nothing), false}).result ==
      S_OK);
  DECIMAL forty;
  ::VarDecFromI4(40, &forty);
  unsigned long zero = 0;
  CHECK(Call(fields, L"Add", {L"Street", 0, led(VT_DECIMAL, &forty), led(VT_UI4, &zero), true})
            .result == S_OK);
  for (const auto& [name, length, nulls] :
       {std::tuple{L"Name", 20, VARIANT_TRUE}, std::tuple{L"City", 30, VARIANT_FALSE},
        std::tuple{L"Street", 40, VARIANT_TRUE}}) {
    const Variant field = Call(fields, L"Item", {name}).value;
    CHECK(field.object() != nullptr);
    if (field.object() == nullptr) continue;
    const Variant kept_length = Call(field.object(), L"Length").value;
    CHECK(V_VT(&kept_length) == VT_I2 && V_I2(&kept_length) == length);
    const Variant kept_nulls = Call(field.object(), L"NullsAllowed").value;
    CHECK(V_VT(&kept_nulls) == VT_BOOL && V_BOOL(&kept_nulls) == nulls);
  }
  CHECK(Call(groups, L"CreateGroup",
             {L"Typed", led(VT_DISPATCH, &fields), led(VT_UNKNOWN, &indexes), L""})
            .value.text()
            .size() == 32);
  IDispatch* nobody = nullptr;
  CHECK(Call(groups, L"CreateGroup",
             {L"Typed", led(VT_DISPATCH, &nobody), led(VT_UNKNOWN, &indexes), L""})
            .code == Basic(91));

  double moment = 45351.5;
  CHECK(Call(values, L"Add", {L"When", led(VT_DATE, &moment)}).result == S_OK);
  const Variant when = Call(values, L"Item", {L"When"}).value;
  const Variant kept = when.object() != nullptr ? Call(when.object(), L"Value").value : Variant();
  CHECK(V_VT(&kept) == VT_DATE && V_DATE(&kept) == moment);
  fields->Release();
  indexes->Release();
  values->Release();
}

// What callers of each kind are told.
void CheckErrors(IDispatch* groups) {
  Outcome o = Call(groups, L"OpenGroup", {L"gone"});
  CHECK(o.result == DISP_E_EXCEPTION && o.code == Basic(2409));
  CHECK(o.source == L"Groups::OpenGroup");
  CHECK(o.description == L"The Group could not be opened as it no longer exists.");

  ISupportErrorInfo* support = nullptr;
  groups->QueryInterface(IID_ISupportErrorInfo, reinterpret_cast<void**>(&support));
  CHECK(support != nullptr);
  if (support != nullptr) {
    CHECK(support->InterfaceSupportsErrorInfo(IID_IDispatch) == S_OK);
    CHECK(support->InterfaceSupportsErrorInfo(IID_IPersist) == S_FALSE);
    support->Release();
  }
  IErrorInfo* info = nullptr;
  CHECK(::GetErrorInfo(0, &info) == S_OK && info != nullptr);
  if (info != nullptr) {
    BSTR text = nullptr;
    info->GetDescription(&text);
    CHECK(text != nullptr && o.description == text);
    ::SysFreeString(text);
    info->GetSource(&text);
    CHECK(text != nullptr && o.source == text);
    ::SysFreeString(text);
    info->Release();
  }
  // Without room for the exception.
  Variant id = L"gone";
  DISPPARAMS one{&id, nullptr, 1, 0};
  CHECK(groups->Invoke(IdOf(groups, L"OpenGroup"), IID_NULL, 0, DISPATCH_METHOD, &one, nullptr,
                       nullptr, nullptr) == DISP_E_EXCEPTION);
}

// As many sessions of the engine as there can be, and one more.
void CheckSessions(IDispatch* groups, const Variant& group) {
  CLSID id;
  IClassFactory* factory = nullptr;
  ::CLSIDFromProgID(L"PVGroupMan.Database", &id);
  CHECK(::CoGetClassObject(id, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory,
                           reinterpret_cast<void**>(&factory)) == S_OK);
  if (factory == nullptr) return;
  std::vector<IUnknown*> sessions;
  HRESULT result = S_OK;
  while (result == S_OK && sessions.size() < 70'000) {
    void* session = nullptr;
    result = factory->CreateInstance(nullptr, IID_IUnknown, &session);
    if (session != nullptr) sessions.push_back(static_cast<IUnknown*>(session));
  }
  CHECK(result == Basic(2403) && sessions.size() < 65'536);
  IErrorInfo* info = nullptr;
  CHECK(::GetErrorInfo(0, &info) == S_OK && info != nullptr);
  if (info != nullptr) {
    BSTR text = nullptr;
    info->GetSource(&text);
    CHECK(text != nullptr && std::wstring(text) == L"Database::Class_Initialize");
    ::SysFreeString(text);
    info->GetDescription(&text);
    CHECK(text != nullptr && std::wstring(text) == L"Initialize of database engine failure.");
    ::SysFreeString(text);
    info->Release();
  }
  const Outcome o = Call(groups, L"OpenGroup", {group});
  CHECK(o.result == DISP_E_EXCEPTION && o.code == Basic(2403));
  CHECK(o.source == L"Groups::OpenGroup");
  CHECK(o.description == L"Initialize of database engine failure.");
  for (IUnknown* session : sessions) session->Release();
  CHECK(Call(groups, L"OpenGroup", {group}).result == S_OK);
  factory->Release();
}

void CheckIdentity(IDispatch* groups) {
  const Variant a = Call(groups, L"Groups").value;
  const Variant b = Call(groups, L"Groups").value;
  CHECK(a.object() != nullptr && a.object() == b.object());
  CHECK(SameObject(a.object(), b.object()));
  const Variant first =
      Invoke(a.object(), DISPID_VALUE, DISPATCH_PROPERTYGET | DISPATCH_METHOD, {1}).value;
  CHECK(first.object() != nullptr);
  // Arguments to the property are those of the collection's default member.
  CHECK(Call(groups, L"Groups", {1}).value.object() == first.object());
  IProvideClassInfo* provider = nullptr;
  groups->QueryInterface(IID_IProvideClassInfo, reinterpret_cast<void**>(&provider));
  CHECK(provider != nullptr && SameObject(provider, groups));
  if (provider == nullptr) return;
  ITypeInfo* info = nullptr;
  CHECK(provider->GetClassInfo(&info) == S_OK);
  if (info != nullptr) {
    TYPEATTR* attributes = nullptr;
    CHECK(info->GetTypeAttr(&attributes) == S_OK && attributes->typekind == TKIND_COCLASS);
    CLSID id;
    ::CLSIDFromProgID(L"PVGroupMan.Groups", &id);
    CHECK(attributes->guid == id && NameOf(info) == L"Groups");
    info->ReleaseTypeAttr(attributes);
    info->Release();
  }
  provider->Release();
}

void CheckTypeInfo(IDispatch* groups) {
  UINT count = 0;
  CHECK(groups->GetTypeInfoCount(&count) == S_OK && count == 1);
  ITypeInfo* info = nullptr;
  CHECK(groups->GetTypeInfo(1, 0, &info) == DISP_E_BADINDEX && info == nullptr);
  CHECK(groups->GetTypeInfo(0, 0, &info) == S_OK && info != nullptr);
  if (info == nullptr) return;
  CHECK(NameOf(info) == L"Groups");
  TYPEATTR* attributes = nullptr;
  CHECK(info->GetTypeAttr(&attributes) == S_OK && attributes->typekind == TKIND_DISPATCH);
  IUnknown* same = nullptr;
  CHECK(groups->QueryInterface(attributes->guid, reinterpret_cast<void**>(&same)) == S_OK);
  if (same != nullptr) same->Release();
  info->ReleaseTypeAttr(attributes);
  // The library's ids are those of the object.
  for (const wchar_t* name : {L"OpenGroup", L"Version", L"mTb", L"GetGroupFieldTypes"}) {
    std::wstring copy = name;
    wchar_t* text = copy.data();
    MEMBERID id = MEMBERID_NIL;
    CHECK(info->GetIDsOfNames(&text, 1, &id) == S_OK && id == IdOf(groups, name));
  }
  ITypeLib* library = nullptr;
  UINT index = 0;
  CHECK(info->GetContainingTypeLib(&library, &index) == S_OK);
  if (library != nullptr) {
    BSTR name = nullptr;
    library->GetDocumentation(-1, &name, nullptr, nullptr, nullptr);
    CHECK(name != nullptr && std::wstring(name) == L"PVGroupMan");
    ::SysFreeString(name);
    TLIBATTR* about = nullptr;
    CHECK(library->GetLibAttr(&about) == S_OK);
    ITypeLib* registered = nullptr;
    CHECK(::LoadRegTypeLib(about->guid, about->wMajorVerNum, about->wMinorVerNum, 0, &registered) ==
          S_OK);
    if (registered != nullptr) {
      CHECK(registered->GetTypeInfoCount() == library->GetTypeInfoCount());
      registered->Release();
    }
    library->ReleaseTLibAttr(about);
    library->Release();
  }
  info->Release();
}

void CheckEnumerator(IDispatch* fields) {
  const Variant v =
      Invoke(fields, DISPID_NEWENUM, DISPATCH_PROPERTYGET | DISPATCH_METHOD, {}).value;
  CHECK(V_VT(&v) == VT_UNKNOWN);
  IEnumVARIANT* walk = nullptr;
  V_UNKNOWN(&v)->QueryInterface(IID_IEnumVARIANT, reinterpret_cast<void**>(&walk));
  CHECK(walk != nullptr);
  if (walk == nullptr) return;
  VARIANT items[5];
  ULONG got = 9;
  CHECK(walk->Next(2, items, &got) == S_OK && got == 2);
  CHECK(Call(V_DISPATCH(&items[1]), L"Name").value.text() == L"B");
  ::VariantClear(&items[0]);
  ::VariantClear(&items[1]);
  IEnumVARIANT* twin = nullptr;
  CHECK(walk->Clone(&twin) == S_OK && twin != nullptr);
  CHECK(walk->Next(5, items, &got) == S_FALSE && got == 1);
  CHECK(Call(V_DISPATCH(&items[0]), L"Name").value.text() == L"C");
  ::VariantClear(&items[0]);
  CHECK(walk->Next(1, items, nullptr) == S_FALSE && V_VT(&items[0]) == VT_EMPTY);
  CHECK(walk->Next(2, items, nullptr) == E_POINTER);
  CHECK(walk->Reset() == S_OK && walk->Skip(3) == S_OK && walk->Skip(1) == S_FALSE);
  if (twin != nullptr) {
    CHECK(twin->Next(5, items, &got) == S_FALSE && got == 1);
    ::VariantClear(&items[0]);
    twin->Release();
  }
  walk->Release();
}

}  // namespace

int main() {
  int count = 0;
  wchar_t** words = ::CommandLineToArgvW(::GetCommandLineW(), &count);
  if (count < 2) return 2;
  const std::wstring folder = words[1];
  REQUIRE(SUCCEEDED(::OleInitialize(nullptr)));
  {
    IDispatch* const settings = Create(L"PVGroupMan.Settings");
    REQUIRE(settings != nullptr);
    CHECK(Put(settings, L"GROUPDATAFOLDER", folder.c_str()).result == S_OK);
    settings->Release();
    IDispatch* const groups = Create(L"PVGroupMan.Groups");
    IDispatch* const database = Create(L"PVGroupMan.Database");
    IDispatch* const fields = Create(L"PVGroupMan.FieldDefs");
    IDispatch* const indexes = Create(L"PVGroupMan.IndexDefs");
    REQUIRE(groups != nullptr && database != nullptr && fields != nullptr && indexes != nullptr);
    for (const wchar_t* name : {L"A", L"B", L"C"}) {
      CHECK(Call(fields, L"Add", {name, 0, 20, 0, true}).result == S_OK);
    }
    CHECK(Call(indexes, L"Add", {L"Email", L"A", L"", false, false}).result == S_OK);
    const Variant id = Call(groups, L"CreateGroup", {L"Calls", fields, indexes, L""}).value;
    CHECK(id.text().size() == 32);
    CHECK(Call(groups, L"AddGroup", {id, L"Calls", 0, L"", L"", L""}).result == S_OK);
    const Variant rs = Call(groups, L"OpenGroup", {id}).value;
    REQUIRE(rs.object() != nullptr);
    for (int i = 0; i < 2; ++i) {
      CHECK(Call(rs.object(), L"AddNew").result == S_OK);
      const Variant a = Call(rs.object(), L"Fields", {L"a"}).value;
      REQUIRE(a.object() != nullptr);
      CHECK(Put(a.object(), L"Value", i == 0 ? L"one" : L"two").result == S_OK);
      CHECK(Call(rs.object(), L"Update").result == S_OK);
    }
    CheckNames(database);
    CheckNamedArguments(database, folder);
    CheckByReference(rs.object());
    CheckTypedVariables(groups);
    CheckErrors(groups);
    CheckIdentity(groups);
    CheckTypeInfo(groups);
    CheckEnumerator(fields);
    CHECK(Call(groups, L"CloseGroup").result == S_OK);
    CheckSessions(groups, id);
    CHECK(Call(groups, L"CloseGroup").result == S_OK);
    groups->Release();
    database->Release();
    fields->Release();
    indexes->Release();
  }
  ::OleUninitialize();
  return Done();
}
