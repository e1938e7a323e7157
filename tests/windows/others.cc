// Other people's components, as far as the classes use them: a converter of address books and the
// connection and recordset of ADO, late-bound and in a DLL of their own. They write what they are
// told into a file: the converter's location, or what follows "Log=" in a connection string.
#include "client.h"
// After windows.h:
#include <functional>
#include <memory>
#include <utility>

namespace {

using Arguments = std::vector<Variant>;
using Member = std::function<Variant(const Arguments&)>;

// What a member throws.
struct Failure {
  int number;
  const wchar_t* text;
};

std::wstring log_file;

// What is said before there is a file waits for it.
void Say(const std::wstring& text) {
  static std::wstring waiting;
  waiting += text + L"\n";
  FILE* const file = log_file.empty() ? nullptr : ::_wfopen(log_file.c_str(), L"a");
  if (file == nullptr) return;
  std::fprintf(file, "%ls", waiting.c_str());
  std::fclose(file);
  waiting.clear();
}

std::wstring Shown(const Variant& v) {
  if (V_VT(&v) == VT_DATE) return L"a date";
  Variant text;
  ::VariantChangeType(&text, const_cast<Variant*>(&v), VARIANT_ALPHABOOL, VT_BSTR);
  return text.text();
}

// An object with the members that it was given; a member that is put keeps the new value.
class Bag : public IDispatch {
 public:
  static Bag* New() { return new Bag; }
  virtual ~Bag() = default;

  Bag* On(const wchar_t* name, Member member) {
    members_.emplace_back(name, std::move(member));
    return this;
  }
  Bag* Has(const wchar_t* name, const Variant& value) {
    return On(name, [value](const Arguments&) { return value; });
  }
  // Hands over the reference that New gave.
  Variant Take() {
    Variant v;
    V_VT(&v) = VT_DISPATCH;
    V_DISPATCH(&v) = this;
    return v;
  }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
    const bool known = iid == IID_IUnknown || iid == IID_IDispatch;
    *out = known ? this : nullptr;
    if (!known) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
    *count = 0;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, OLECHAR** names, UINT count, LCID,
                                          DISPID* ids) override {
    for (UINT i = 0; i < count; ++i) ids[i] = DISPID_UNKNOWN;
    for (std::size_t i = 0; i < members_.size(); ++i) {
      if (::lstrcmpiW(members_[i].first.c_str(), names[0]) == 0) ids[0] = static_cast<DISPID>(i);
    }
    return ids[0] == DISPID_UNKNOWN || count != 1 ? DISP_E_UNKNOWNNAME : S_OK;
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* parameters,
                                   VARIANT* result, EXCEPINFO* info, UINT*) override {
    if (id < 0 || static_cast<std::size_t>(id) >= members_.size()) return DISP_E_MEMBERNOTFOUND;
    auto& [name, member] = members_[static_cast<std::size_t>(id)];
    Arguments given(parameters->cArgs);
    for (UINT i = 0; i < parameters->cArgs; ++i) {
      ::VariantCopyInd(&given[parameters->cArgs - 1 - i], &parameters->rgvarg[i]);
    }
    if ((flags & DISPATCH_PROPERTYPUT) != 0) {
      if (name == L"Location") log_file = given[0].text();
      Say(name + L" = " + Shown(given[0]));
      member = [value = given[0]](const Arguments&) { return value; };
      return S_OK;
    }
    try {
      const Variant value = member(given);
      if (result != nullptr) ::VariantCopy(result, const_cast<Variant*>(&value));
      return S_OK;
    } catch (const Failure& failure) {
      info->scode = Basic(failure.number);
      info->bstrSource = ::SysAllocString(L"Others");
      info->bstrDescription = ::SysAllocString(failure.text);
      return DISP_E_EXCEPTION;
    }
  }

 private:
  std::vector<std::pair<std::wstring, Member>> members_;
  ULONG references_ = 1;
};

// A collection that counts from `first`; an item can be asked for by its member Name too.
Variant List(const std::vector<Variant>& items, long first) {
  return Bag::New()
      ->Has(L"Count", static_cast<long>(items.size()))
      ->On(L"Item",
           [items, first](const Arguments& given) {
             for (const Variant& item : items) {
               if (V_VT(&given[0]) == VT_BSTR &&
                   Call(item.object(), L"Name").value.text() == given[0].text()) {
                 return item;
               }
             }
             const std::size_t at = static_cast<std::size_t>(given[0].number() - first);
             if (V_VT(&given[0]) != VT_I4 || at >= items.size()) throw Failure{3265, L"No item."};
             return items[at];
           })
      ->Take();
}

Variant Null() {
  Variant v;
  V_VT(&v) = VT_NULL;
  return v;
}

Variant Day(double days) {
  Variant v;
  V_VT(&v) = VT_DATE;
  V_DATE(&v) = days;
  return v;
}

Variant Texts(const std::vector<const wchar_t*>& texts) {
  Variant v;
  if (texts.empty()) return v;
  SAFEARRAY* const array = ::SafeArrayCreateVector(VT_VARIANT, 0, static_cast<ULONG>(texts.size()));
  for (LONG i = 0; i < static_cast<LONG>(texts.size()); ++i) {
    Variant text = texts[static_cast<std::size_t>(i)];
    ::SafeArrayPutElement(array, &i, &text);
  }
  V_VT(&v) = VT_ARRAY | VT_VARIANT;
  V_ARRAY(&v) = array;
  return v;
}

Variant Format(const wchar_t* id, bool readable, bool installed) {
  return Bag::New()
      ->Has(L"ID", id)
      ->Has(L"IsImportAvailable", readable)
      ->Has(L"IsApplicationInstalled", installed)
      ->Take();
}

constexpr long kName = 0x3001001E;
constexpr long kEmail = 0x3003001E;
constexpr long kBirthday = 0x3A420040;

Variant Contact(long id, const std::vector<std::pair<long, Variant>>& values,
                const std::vector<const wchar_t*>& categories,
                const std::vector<const wchar_t*>& lists) {
  std::vector<Variant> tags;
  for (const auto& [tag, value] : values) tags.emplace_back(tag);
  return Bag::New()
      ->Has(L"ID", id)
      ->Has(L"Properties", List(tags, 1))
      ->On(L"GetProperty",
           [values, categories, lists](const Arguments& given) {
             if (given[0].text() == L"Categories") return Texts(categories);
             if (given[0].text() == L"DistributionLists") return Texts(lists);
             for (const auto& [tag, value] : values) {
               if (tag != given[0].number()) continue;
               if (value.text() == L"damaged") throw Failure{321, L"The contact is damaged."};
               return value;
             }
             return Variant();
           })
      ->Take();
}

Variant Converter() {
  const std::vector<Variant> people = {
      Contact(1, {{kName, L"Anna"}, {kEmail, L"anna@example.org"}, {kBirthday, Day(29358)}},
              {L"Friends", L"Work"}, {}),
      Contact(2, {{kName, L"Bert"}, {kEmail, L"bert@example.org"}}, {}, {L"News"}),
      Contact(3, {{kName, L"Carla"}, {kEmail, L"carla@example.org"}}, {L"Work"}, {L"News"}),
      Contact(4, {{kName, L"Dora"}, {kEmail, L"damaged"}}, {L"Lost"}, {})};
  const Variant contacts = List(people, 1);
  static_cast<Bag*>(contacts.object())
      ->Has(L"IncludeDistributionLists", Variant())
      ->On(L"GetContactFromID", [people](const Arguments& given) {
        return people[static_cast<std::size_t>(given[0].number() - 1)];
      });
  return Bag::New()
      ->Has(L"Formats", List({Format(L"MAPI", false, true), Format(L"WAB", true, false),
                              Format(L" pst ", true, true)},
                             0))
      ->Has(L"Contacts", contacts)
      ->Has(L"TimeStamp", Variant())
      ->Has(L"Location", Variant())
      ->Has(L"Format", Variant())
      ->Has(L"SilentMode", Variant())
      ->Take();
}

// Open and closed, as ADO's objects are.
Bag* Openable(const wchar_t* name, std::function<void(const Arguments&)> open) {
  const auto state = std::make_shared<long>(0);
  return Bag::New()
      ->On(L"State", [state](const Arguments&) { return Variant(*state); })
      ->On(L"Open",
           [state, open](const Arguments& given) {
             open(given);
             *state = 1;
             return Variant();
           })
      ->On(L"Close", [state, said = std::wstring(name) + L" closed"](const Arguments&) {
        if (*state == 0) throw Failure{3704, L"The object is closed."};
        *state = 0;
        Say(said);
        return Variant();
      });
}

Variant Connection() {
  return Openable(L"connection",
                  [](const Arguments& given) {
                    const std::wstring text = given[0].text();
                    const std::size_t log = text.find(L"Log=");
                    if (log == std::wstring::npos) throw Failure{3706, L"No provider for x."};
                    log_file = text.substr(log + 4);
                    Say(L"connection [" + given[1].text() + L"] [" + given[2].text() + L"] " +
                        Shown(given[3]));
                  })
      ->Has(L"CursorLocation", 3)
      ->Take();
}

Variant AdoField(const wchar_t* name, long type, long size, bool automatic, const Variant& value) {
  const Variant property =
      Bag::New()->Has(L"Name", L"IsAutoIncrement")->Has(L"Value", automatic)->Take();
  return Bag::New()
      ->Has(L"Name", name)
      ->Has(L"Type", type)
      ->Has(L"DefinedSize", size)
      ->Has(L"Value", value)
      ->Has(L"Properties", List({property}, 0))
      ->Take();
}

Variant Recordset() {
  const auto fields = std::make_shared<Variant>();
  return Openable(L"recordset",
                  [fields](const Arguments& given) {
                    Say(L"recordset " + given[0].text() + L" / " + Shown(given[2]) + L" " +
                        Shown(given[3]) + L" " + Shown(given[4]) +
                        (Call(given[1].object(), L"State").value.number() == 1 ? L"" : L" shut"));
                    if (given[0].text().find(L"count(") != std::wstring::npos) {
                      *fields = List({AdoField(L"n", 3, 4, false, 42)}, 0);
                    } else {
                      *fields = List({AdoField(L"ID", 3, 4, true, 7),
                                      AdoField(L"E MAIL", 200, 60, false, L"a@example.org"),
                                      AdoField(L"born", 135, 16, false, Null()),
                                      AdoField(L"paid", 6, 8, false, Null())},
                                     0);
                    }
                  })
      ->On(L"Fields", [fields](const Arguments&) { return *fields; })
      ->On(L"MoveFirst", [](const Arguments&) { return Variant(); })
      ->Take();
}

class Factory : public IClassFactory {
 public:
  explicit Factory(Variant (*make)()) : make_(make) {}
  virtual ~Factory() = default;
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
    const bool known = iid == IID_IUnknown || iid == IID_IClassFactory;
    *out = known ? this : nullptr;
    return known ? S_OK : E_NOINTERFACE;
  }
  // Lives as long as the DLL, which stays.
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** out) override {
    *out = nullptr;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    return make_().object()->QueryInterface(iid, out);
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

 private:
  Variant (*make_)();
};

// {5D1A6A1E-0C40-4F6B-9D3B-6E2A3C9F1B7n}: 0 the converter, 1 the connection, 2 the recordset.
constexpr GUID kFirst = {
    0x5D1A6A1E, 0x0C40, 0x4F6B, {0x9D, 0x3B, 0x6E, 0x2A, 0x3C, 0x9F, 0x1B, 0x70}};

}  // namespace

extern "C" __declspec(dllexport) HRESULT STDMETHODCALLTYPE
    DllGetClassObject(REFCLSID id, REFIID iid, void** out) {
  static Factory factories[] = {Factory(&Converter), Factory(&Connection), Factory(&Recordset)};
  const int which = id.Data4[7] - kFirst.Data4[7];
  GUID same = id;
  same.Data4[7] = kFirst.Data4[7];
  *out = nullptr;
  if (!(same == kFirst) || which < 0 || which > 2) return CLASS_E_CLASSNOTAVAILABLE;
  return factories[which].QueryInterface(iid, out);
}

extern "C" __declspec(dllexport) HRESULT STDMETHODCALLTYPE DllCanUnloadNow() { return S_FALSE; }
