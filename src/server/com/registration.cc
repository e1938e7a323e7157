// Registration: one list of values, which is written or taken away. Tested by tests/windows.
#include "server/com/registration.h"

#include <olectl.h>

#include <string>
#include <vector>

#include "server/class_list.h"
#include "server/com/type_info.h"

namespace pv::server::com {
namespace {

// Below this key of the machine or the user lies what the automation runtime reads.
constexpr wchar_t kClassesKey[] = L"Software\\Classes";

// The runtime's own marshaller of dispatch interfaces.
constexpr wchar_t kDispatchMarshaller[] = L"{00020420-0000-0000-C000-000000000046}";

struct Entry {
  std::wstring key;   // below kClassesKey
  std::wstring name;  // "" for the key's default value
  std::wstring value;
  // Programs of 32 and of 64 bits have classes of their own but one name that leads to both: the
  // key of the class whose other kind keeps such an entry.
  std::wstring shared_class = {};
};

std::vector<Entry> Entries() {
  const std::wstring path = ModulePath();
  const std::wstring library = Braced(kTypeLibraryId);
  const std::wstring version =
      std::to_wstring(kTypeLibraryMajor) + L"." + std::to_wstring(kTypeLibraryMinor);
  const std::wstring library_key = L"TypeLib\\" + library + L"\\" + version;
  std::wstring any_class;
  for (const PublicClass& entry : PublicClasses()) {
    const ClassIdentifiers* ids = FindClassIdentifiers(entry.name);
    if (ids != nullptr) any_class = L"CLSID\\" + Braced(ids->class_id);
  }
  std::vector<Entry> entries = {
      {library_key, L"", L"Group management", any_class},
      {library_key + L"\\FLAGS", L"", L"0", any_class},
      {library_key + (sizeof(void*) == 8 ? L"\\0\\win64" : L"\\0\\win32"), L"", path},
      {library_key + L"\\HELPDIR", L"", path.substr(0, path.find_last_of(L"\\/")), any_class},
  };
  for (const PublicClass& entry : PublicClasses()) {
    const ClassIdentifiers* ids = FindClassIdentifiers(entry.name);
    if (ids == nullptr) continue;
    const std::wstring prog_id = Wide(ProgIdOf(entry));
    const std::wstring id = Braced(ids->class_id);
    const std::wstring class_key = L"CLSID\\" + id;
    entries.insert(entries.end(),
                   {
                       {prog_id, L"", prog_id, class_key},
                       {prog_id + L"\\CLSID", L"", id, class_key},
                       {class_key, L"", prog_id},
                       {class_key + L"\\InprocServer32", L"", path},
                       {class_key + L"\\InprocServer32", L"ThreadingModel", L"Apartment"},
                       {class_key + L"\\ProgID", L"", prog_id},
                       {class_key + L"\\Programmable", L"", L""},
                       {class_key + L"\\TypeLib", L"", library},
                       {class_key + L"\\Version", L"", version},
                   });
    const std::wstring interface_key = L"Interface\\" + Braced(ids->interface_id);
    entries.insert(entries.end(),
                   {
                       {interface_key, L"", L"_" + Wide(entry.name)},
                       {interface_key + L"\\ProxyStubClsid32", L"", kDispatchMarshaller},
                       {interface_key + L"\\TypeLib", L"", library},
                       {interface_key + L"\\TypeLib", L"Version", version},
                   });
  }
  return entries;
}

HKEY RootOf(Scope scope) {
  return scope == Scope::kMachine ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER;
}

std::wstring FullKey(const std::wstring& key) { return std::wstring(kClassesKey) + L"\\" + key; }

LSTATUS Write(HKEY root, const Entry& entry) {
  HKEY key = nullptr;
  LSTATUS status =
      ::RegCreateKeyExW(root, FullKey(entry.key).c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                        KEY_SET_VALUE, nullptr, &key, nullptr);
  if (status != ERROR_SUCCESS) return status;
  status = ::RegSetValueExW(key, entry.name.c_str(), 0, REG_SZ,
                            reinterpret_cast<const BYTE*>(entry.value.c_str()),
                            static_cast<DWORD>((entry.value.size() + 1) * sizeof(wchar_t)));
  ::RegCloseKey(key);
  return status;
}

// Deletes the value, then its key and those above it as far as nothing else is in them.
LSTATUS TakeAway(HKEY root, const Entry& entry) {
  HKEY key = nullptr;
  LSTATUS status = ::RegOpenKeyExW(root, FullKey(entry.key).c_str(), 0, KEY_SET_VALUE, &key);
  if (status == ERROR_FILE_NOT_FOUND) return ERROR_SUCCESS;
  if (status != ERROR_SUCCESS) return status;
  status = ::RegDeleteValueW(key, entry.name.c_str());
  ::RegCloseKey(key);
  if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND) return status;
  for (std::wstring path = entry.key;;) {
    const std::wstring full = FullKey(path);
    if (::RegOpenKeyExW(root, full.c_str(), 0, KEY_QUERY_VALUE, &key) != ERROR_SUCCESS) break;
    DWORD keys = 1;
    DWORD values = 1;
    const LSTATUS asked = ::RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &keys, nullptr,
                                             nullptr, &values, nullptr, nullptr, nullptr, nullptr);
    ::RegCloseKey(key);
    if (asked != ERROR_SUCCESS || keys != 0 || values != 0) break;
    if (::RegDeleteKeyW(root, full.c_str()) != ERROR_SUCCESS) break;
    const std::size_t cut = path.find_last_of(L'\\');
    if (cut == std::wstring::npos) break;
    path.resize(cut);
  }
  return ERROR_SUCCESS;
}

// Whether the class is registered for programs of the other kind.
bool OtherKindHas(HKEY root, const std::wstring& class_key) {
  BOOL on_64_bits = sizeof(void*) == 8;
  if (!on_64_bits && !::IsWow64Process(::GetCurrentProcess(), &on_64_bits)) return false;
  if (!on_64_bits) return false;
  const REGSAM other_kind = sizeof(void*) == 8 ? KEY_WOW64_32KEY : KEY_WOW64_64KEY;
  HKEY key = nullptr;
  if (::RegOpenKeyExW(root, FullKey(class_key + L"\\InprocServer32").c_str(), 0,
                      KEY_QUERY_VALUE | other_kind, &key) != ERROR_SUCCESS) {
    return false;
  }
  ::RegCloseKey(key);
  return true;
}

HRESULT TakeAllAway(HKEY root, const std::vector<Entry>& entries) {
  HRESULT result = S_OK;
  for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry) {
    if (!entry->shared_class.empty() && OtherKindHas(root, entry->shared_class)) continue;
    if (TakeAway(root, *entry) != ERROR_SUCCESS) result = SELFREG_E_CLASS;
  }
  return result;
}

}  // namespace

HRESULT RegisterComponent(Scope scope) noexcept try {
  const HKEY root = RootOf(scope);
  const std::vector<Entry> entries = Entries();
  for (const Entry& entry : entries) {
    if (Write(root, entry) == ERROR_SUCCESS) continue;
    TakeAllAway(root, entries);
    return SELFREG_E_CLASS;
  }
  return S_OK;
} catch (...) {
  return E_OUTOFMEMORY;
}

HRESULT UnregisterComponent(Scope scope) noexcept try {
  return TakeAllAway(RootOf(scope), Entries());
} catch (...) {
  return E_OUTOFMEMORY;
}

}  // namespace pv::server::com
