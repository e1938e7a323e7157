// Objects made and released many times leave nothing behind. The first argument is a folder for
// groups.
#include "client.h"
// After windows.h:
#include <psapi.h>

namespace {

constexpr int kRounds = 100'000;

SIZE_T MemoryInUse() {
  PROCESS_MEMORY_COUNTERS counters{};
  ::GetProcessMemoryInfo(::GetCurrentProcess(),
                         reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&counters), sizeof counters);
  return counters.PagefileUsage;
}

// Everything that makes something for its caller: objects, texts, enumerators, errors.
void UseOnce(IClassFactory* field_defs) {
  IDispatch* defs = nullptr;
  field_defs->CreateInstance(nullptr, IID_IDispatch, reinterpret_cast<void**>(&defs));
  if (defs == nullptr) {
    CHECK(defs != nullptr);
    return;
  }
  Call(defs, L"Add", {L"Name", 0, 10, 0, true});
  {
    const Variant item = Invoke(defs, DISPID_VALUE, DISPATCH_METHOD, {1}).value;
    if (Call(item.object(), L"Name").value.text() != L"Name") CHECK(false);
    const Variant walk = Invoke(defs, DISPID_NEWENUM, DISPATCH_METHOD, {}).value;
    if (V_VT(&walk) != VT_UNKNOWN) CHECK(false);
    if (Call(defs, L"Delete", {L"none"}).code != Basic(5)) CHECK(false);
  }
  defs->Release();
}

}  // namespace

int main() {
  int count = 0;
  wchar_t** words = ::CommandLineToArgvW(::GetCommandLineW(), &count);
  if (count < 2) return 2;
  REQUIRE(SUCCEEDED(::OleInitialize(nullptr)));
  CLSID id;
  REQUIRE(::CLSIDFromProgID(L"PVGroupMan.FieldDefs", &id) == S_OK);
  IClassFactory* factory = nullptr;
  REQUIRE(::CoGetClassObject(id, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory,
                             reinterpret_cast<void**>(&factory)) == S_OK);
  const HMODULE module = ::GetModuleHandleW(L"pvgrpman.dll");
  REQUIRE(module != nullptr);
  const auto can_unload = reinterpret_cast<HRESULT(STDMETHODCALLTYPE*)()>(
      reinterpret_cast<void*>(::GetProcAddress(module, "DllCanUnloadNow")));
  REQUIRE(can_unload != nullptr);
  CHECK(can_unload() == S_FALSE);
  for (int i = 0; i < 2'000; ++i) UseOnce(factory);
  const SIZE_T before = MemoryInUse();
  CHECK(before != 0);
  for (int i = 0; i < kRounds; ++i) UseOnce(factory);
  const SIZE_T after = MemoryInUse();
  std::printf("bytes in use: %lu before, %lu after %d rounds\n", static_cast<unsigned long>(before),
              static_cast<unsigned long>(after), kRounds);
  // One lost reference a round would be megabytes.
  CHECK(after < before + 512 * 1024);

  // An aggregating owner is refused, and leaves nothing.
  void* none = nullptr;
  CHECK(factory->CreateInstance(factory, IID_IUnknown, &none) == CLASS_E_NOAGGREGATION);
  CHECK(none == nullptr);
  CHECK(factory->LockServer(TRUE) == S_OK);
  factory->Release();
  CHECK(can_unload() == S_FALSE);
  // Whoever locks holds the DLL without holding an object of it.
  REQUIRE(::CoGetClassObject(id, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory,
                             reinterpret_cast<void**>(&factory)) == S_OK);
  CHECK(factory->LockServer(FALSE) == S_OK);
  factory->Release();
  CHECK(can_unload() == S_OK);

  // Every class once, with the group data folder of the test.
  IDispatch* const settings = Create(L"PVGroupMan.Settings");
  REQUIRE(settings != nullptr);
  CHECK(Put(settings, L"GroupDataFolder", words[1]).result == S_OK);
  ITypeInfo* info = nullptr;
  ITypeLib* library = nullptr;
  UINT index = 0;
  REQUIRE(settings->GetTypeInfo(0, 0, &info) == S_OK);
  REQUIRE(info->GetContainingTypeLib(&library, &index) == S_OK);
  int classes = 0;
  for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
    TYPEKIND kind = TKIND_MAX;
    if (library->GetTypeInfoType(i, &kind) != S_OK || kind != TKIND_COCLASS) continue;
    ITypeInfo* type = nullptr;
    TYPEATTR* attributes = nullptr;
    REQUIRE(library->GetTypeInfo(i, &type) == S_OK && type->GetTypeAttr(&attributes) == S_OK);
    for (int round = 0; round < 50; ++round) {
      IDispatch* object = nullptr;
      CHECK(::CoCreateInstance(attributes->guid, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch,
                               reinterpret_cast<void**>(&object)) == S_OK);
      if (object != nullptr) object->Release();
    }
    type->ReleaseTypeAttr(attributes);
    type->Release();
    ++classes;
  }
  CHECK(classes >= 14);
  library->Release();
  info->Release();
  settings->Release();
  CHECK(can_unload() == S_OK);
  ::OleUninitialize();
  return Done();
}
