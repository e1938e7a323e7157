// Arrays of records for CreateTable, as a host with typed arrays passes them. The first argument is
// a folder for tables.
#include "client.h"

namespace {

ITypeLib* library = nullptr;

IRecordInfo* RecordOf(const wchar_t* name) {
  std::wstring copy = name;
  ITypeInfo* info = nullptr;
  MEMBERID id = 0;
  unsigned short found = 1;
  IRecordInfo* record = nullptr;
  library->FindName(copy.data(), 0, &info, &id, &found);
  if (found == 1 && info != nullptr) ::GetRecordInfoFromTypeInfo(info, &record);
  if (info != nullptr) info->Release();
  return record;
}

// The records as compiled programs lay them out.
struct FieldStruct {
  BSTR name;
  long type;
  short length;
  short decimal;
  VARIANT_BOOL nulls_allowed;
};
struct IndexStruct {
  BSTR name;
  BSTR expression;
  BSTR filter;
  VARIANT_BOOL unique;
  VARIANT_BOOL descending;
};

// The row-th record of an array.
template <typename T>
T& Row(SAFEARRAY* array, int row) {
  void* place = nullptr;
  LONG at = array->rgsabound[0].lLbound + row;
  CHECK(::SafeArrayPtrOfIndex(array, &at, &place) == S_OK);
  CHECK(array->cbElements == sizeof(T));
  return *static_cast<T*>(place);
}

SAFEARRAY* NewArray(IRecordInfo* record, ULONG rows, LONG lowest) {
  SAFEARRAYBOUND bound{rows, lowest};
  return ::SafeArrayCreateEx(VT_RECORD, 1, &bound, record);
}

SAFEARRAY* Fields(LONG lowest) {
  IRecordInfo* const record = RecordOf(L"FieldStruct");
  SAFEARRAY* const array = NewArray(record, 3, lowest);
  Row<FieldStruct>(array, 0) = {::SysAllocString(L"EMAIL"), 1, 40, 0, VARIANT_FALSE};
  Row<FieldStruct>(array, 1) = {::SysAllocString(L"POINTS"), 13, 8, 2, VARIANT_TRUE};
  Row<FieldStruct>(array, 2) = {::SysAllocString(L"NOTE"), 11, 0, 0, VARIANT_FALSE};
  record->Release();
  return array;
}

SAFEARRAY* Indexes(LONG lowest) {
  IRecordInfo* const record = RecordOf(L"IndexStruct");
  SAFEARRAY* const array = NewArray(record, 1, lowest);
  Row<IndexStruct>(array, 0) = {::SysAllocString(L"EMAIL"), ::SysAllocString(L"EMAIL"),
                                ::SysAllocString(L".NOT. DELETED()"), VARIANT_TRUE, VARIANT_FALSE};
  record->Release();
  return array;
}

Variant ByReference(SAFEARRAY** array) { return Variant::ByReference(VT_ARRAY | VT_RECORD, array); }

// The table is there with its three fields and its tag.
void CheckTable(const Outcome& o) {
  CHECK(o.result == S_OK && o.value.object() != nullptr);
  IDispatch* const rs = o.value.object();
  if (rs == nullptr) return;
  CHECK(Call(rs, L"AddNew").result == S_OK);
  const Variant fields = Call(rs, L"Fields").value;
  CHECK(Call(fields.object(), L"Count").value.number() == 3);
  const Variant email = Call(rs, L"Fields", {L"EMAIL"}).value;
  const Variant note = Call(rs, L"Fields", {L"NOTE"}).value;
  CHECK(Put(email.object(), L"Value", L"a@example.org").result == S_OK);
  CHECK(Put(note.object(), L"Value", L"a memo").result == S_OK);
  const Outcome updated = Call(rs, L"Update");
  CHECK(updated.result == S_OK);
  if (updated.result != S_OK) std::printf("%ls\n", updated.description.c_str());
  CHECK(Call(rs, L"MoveFirst").result == S_OK);
  const Variant read = Call(rs, L"Fields", {L"NOTE"}).value;
  CHECK(read.object() != nullptr && Call(read.object(), L"Value").value.text() == L"a memo");
  CHECK(Call(rs, L"CloseTable").result == S_OK);
}

}  // namespace

int main() {
  int count = 0;
  wchar_t** words = ::CommandLineToArgvW(::GetCommandLineW(), &count);
  if (count < 2) return 2;
  const Variant folder = words[1];
  REQUIRE(SUCCEEDED(::OleInitialize(nullptr)));
  IDispatch* const database = Create(L"PVGroupMan.Database");
  REQUIRE(database != nullptr);
  ITypeInfo* info = nullptr;
  UINT index = 0;
  REQUIRE(database->GetTypeInfo(0, 0, &info) == S_OK);
  REQUIRE(info->GetContainingTypeLib(&library, &index) == S_OK);
  info->Release();

  SAFEARRAY* fields = Fields(0);
  SAFEARRAY* indexes = Indexes(0);
  CheckTable(Call(database, L"CreateTable",
                  {folder, L"one.pvg", ByReference(&fields), ByReference(&indexes)}));
  CheckTable(Call(database, L"CreateTable",
                  {folder, L"two.pvg", ByReference(&fields), ByReference(&indexes), 1, L"EMAIL"}));
  // Variants that hold the arrays, as late-bound hosts have them.
  Variant held_fields;
  Variant held_indexes;
  V_VT(&held_fields) = V_VT(&held_indexes) = VT_ARRAY | VT_RECORD;
  V_ARRAY(&held_fields) = fields;
  V_ARRAY(&held_indexes) = indexes;
  CheckTable(Call(database, L"CreateTable",
                  {folder, L"three.pvg", Variant::ByReference(VT_VARIANT, &held_fields),
                   Variant::ByReference(VT_VARIANT, &held_indexes)}));
  // By value. The arrays are lent, not copied: Wine's copies of records lose their enumerations.
  const Variant six = L"six.pvg";
  CheckTable(InvokeAsIs(database, IdOf(database, L"CreateTable"), DISPATCH_METHOD,
                        {held_indexes, held_fields, six, folder}));
  V_VT(&held_fields) = V_VT(&held_indexes) = VT_EMPTY;
  // Bounds that do not begin at 0.
  SAFEARRAY* fields_from_1 = Fields(1);
  SAFEARRAY* indexes_from_5 = Indexes(5);
  CheckTable(
      Call(database, L"CreateTable",
           {folder, L"four.pvg", ByReference(&fields_from_1), ByReference(&indexes_from_5)}));
  // No array of indexes at all.
  SAFEARRAY* none = nullptr;
  Outcome o = Call(database, L"CreateTable",
                   {folder, L"five.pvg", ByReference(&fields), ByReference(&none)});
  CHECK(o.result == S_OK && o.value.object() != nullptr);
  if (o.value.object() != nullptr) CHECK(Call(o.value.object(), L"CloseTable").result == S_OK);

  // So that the tables can be looked at from outside.
  IDispatch* const settings = Create(L"PVGroupMan.Settings");
  REQUIRE(settings != nullptr);
  CHECK(Put(settings, L"GroupDataFolder", folder).result == S_OK);
  settings->Release();
  IDispatch* const groups = Create(L"PVGroupMan.Groups");
  REQUIRE(groups != nullptr);
  for (const wchar_t* name : {L"one", L"two", L"three", L"four", L"five", L"six"}) {
    CHECK(Call(groups, L"AddGroup", {name, name, 0, L"", L"", L""}).result == S_OK);
  }
  groups->Release();

  // What is not what is wanted.
  o = Call(database, L"CreateTable",
           {folder, L"bad.pvg", ByReference(&indexes), ByReference(&fields)});
  CHECK(o.result == DISP_E_EXCEPTION && o.code == Basic(13));
  CHECK(o.description.find(L"FieldStruct") != std::wstring::npos);
  SAFEARRAYBOUND square[] = {{2, 0}, {2, 0}};
  IRecordInfo* const record = RecordOf(L"FieldStruct");
  SAFEARRAY* two_dimensions = ::SafeArrayCreateEx(VT_RECORD, 2, square, record);
  record->Release();
  o = Call(database, L"CreateTable",
           {folder, L"bad.pvg", ByReference(&two_dimensions), ByReference(&indexes)});
  CHECK(o.result == DISP_E_EXCEPTION && o.code == Basic(13));
  SAFEARRAYBOUND line{3, 0};
  SAFEARRAY* numbers = ::SafeArrayCreate(VT_I4, 1, &line);
  Variant v = Variant::ByReference(VT_ARRAY | VT_I4, &numbers);
  CHECK(Call(database, L"CreateTable", {folder, L"bad.pvg", v, ByReference(&indexes)}).code ==
        Basic(13));
  CHECK(Call(database, L"SetLogging", {0, ByReference(&fields)}).code == Basic(13));
  // A name that is no name: the engine's own refusal, nothing is left.
  o = Call(database, L"OpenTable", {folder, L"bad.pvg"});
  CHECK(o.result == DISP_E_EXCEPTION && o.code < 0);

  for (SAFEARRAY* array :
       {fields, indexes, fields_from_1, indexes_from_5, two_dimensions, numbers}) {
    ::SafeArrayDestroy(array);
  }
  library->Release();
  database->Release();
  return Done();
}
