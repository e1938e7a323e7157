// Arrays. Tested by tests/windows.
#include "server/com/arrays.h"

#include <cstring>
#include <new>

#include "pvgroupman/automation/error.h"
#include "server/com/type_info.h"
#include "server/com/variants.h"

namespace pv::server::com {
namespace {

using automation::Records;
using automation::RecordType;
using automation::Value;

// Gives access to an array's elements as long as it lives.
class Elements {
 public:
  explicit Elements(SAFEARRAY* array) : array_(array) {
    if (FAILED(::SafeArrayAccessData(array, &data_))) {
      automation::Raise(automation::kErrTypeMismatch);
    }
  }
  ~Elements() { ::SafeArrayUnaccessData(array_); }
  Elements(const Elements&) = delete;
  Elements& operator=(const Elements&) = delete;
  std::uint8_t* data() const { return static_cast<std::uint8_t*>(data_); }

 private:
  SAFEARRAY* array_;
  void* data_ = nullptr;
};

// An array of ours until it is handed out.
class OwnedArray {
 public:
  explicit OwnedArray(SAFEARRAY* array) : array_(array) {
    if (array == nullptr) throw std::bad_alloc();
  }
  ~OwnedArray() {
    if (array_ != nullptr) ::SafeArrayDestroy(array_);
  }
  OwnedArray(const OwnedArray&) = delete;
  OwnedArray& operator=(const OwnedArray&) = delete;
  SAFEARRAY* get() const { return array_; }
  SAFEARRAY* Detach() { return std::exchange(array_, nullptr); }

 private:
  SAFEARRAY* array_;
};

[[noreturn]] void RaiseNotA(const RecordType* record) {
  automation::Raise(automation::kErrTypeMismatch, {},
                    record == nullptr ? "" : std::string("expected ") + record->name);
}

// Whether the host's records are of this type.
bool IsOfType(IRecordInfo* info, const RecordType& type) {
  const Identifier* id = FindRecordIdentifier(type.name);
  GUID guid{};
  return id != nullptr && SUCCEEDED(info->GetGuid(&guid)) && guid == GuidOf(*id);
}

Value FromRecords(SAFEARRAY* array, std::size_t count, const RecordType* type) {
  Pointer<IRecordInfo> info;
  if (FAILED(::SafeArrayGetRecordInfo(array, info.Receive())) || !info) RaiseNotA(type);
  if (type == nullptr || !IsOfType(info.get(), *type)) RaiseNotA(type);
  auto records = std::make_shared<Records>();
  records->type = type;
  const Elements elements(array);
  const std::size_t size = array->cbElements;
  for (std::size_t i = 0; i < count; ++i) {
    std::vector<Value> row;
    for (const automation::RecordField& field : type->fields) {
      OwnedVariant held;
      if (FAILED(info->GetField(elements.data() + i * size, Wide(field.name).c_str(), &held))) {
        RaiseNotA(type);
      }
      row.push_back(FromVariant(held, nullptr));
    }
    records->rows.push_back(std::move(row));
  }
  return Value(std::shared_ptr<const Records>(std::move(records)));
}

// A host without typed arrays (scripts) gives arrays of variants; those of texts are wanted.
Value FromVariants(SAFEARRAY* array, std::size_t count) {
  const Elements elements(array);
  const VARIANT* const variants = reinterpret_cast<const VARIANT*>(elements.data());
  automation::TextArray texts;
  for (std::size_t i = 0; i < count; ++i) {
    const Value text = FromVariant(variants[i], nullptr);
    if (!text.IsText()) RaiseNotA(nullptr);
    texts.push_back(*text.TryGet<std::string>());
  }
  return Value(std::move(texts));
}

SAFEARRAY* NewRecords(const Records& records) {
  const Identifier* id = FindRecordIdentifier(records.type->name);
  Pointer<ITypeInfo> description;
  Pointer<IRecordInfo> info;
  if (id == nullptr || FAILED(FindTypeInfo(GuidOf(*id), description.Receive())) ||
      FAILED(::GetRecordInfoFromTypeInfo(description.get(), info.Receive()))) {
    automation::Raise(automation::kErrInternal, {}, records.type->name);
  }
  SAFEARRAYBOUND bound{static_cast<ULONG>(records.rows.size()), 0};
  OwnedArray array(::SafeArrayCreateEx(VT_RECORD, 1, &bound, info.get()));
  const Elements elements(array.get());
  for (std::size_t i = 0; i < records.rows.size(); ++i) {
    for (std::size_t f = 0; f < records.type->fields.size(); ++f) {
      OwnedVariant value;
      ToVariant(records.rows[i][f], &value);
      if (FAILED(info->PutField(INVOKE_PROPERTYPUT, elements.data() + i * array.get()->cbElements,
                                Wide(records.type->fields[f].name).c_str(), &value))) {
        automation::Raise(automation::kErrInternal, {}, records.type->name);
      }
    }
  }
  return array.Detach();
}

}  // namespace

Value FromArray(SAFEARRAY* array, const RecordType* record) {
  if (array == nullptr) return Value();
  if (::SafeArrayGetDim(array) != 1) RaiseNotA(record);
  const std::size_t count = array->rgsabound[0].cElements;
  if ((array->fFeatures & FADF_RECORD) != 0) return FromRecords(array, count, record);
  VARTYPE type = VT_EMPTY;
  if (FAILED(::SafeArrayGetVartype(array, &type))) RaiseNotA(record);
  switch (type) {
    case VT_UI1: {
      const Elements elements(array);
      return Value(automation::Bytes(elements.data(), elements.data() + count));
    }
    case VT_BSTR: {
      const Elements elements(array);
      const BSTR* const texts = reinterpret_cast<const BSTR*>(elements.data());
      automation::TextArray all;
      for (std::size_t i = 0; i < count; ++i) {
        all.push_back(texts[i] == nullptr ? "" : Utf8(texts[i], ::SysStringLen(texts[i])));
      }
      return Value(std::move(all));
    }
    case VT_VARIANT:
      return FromVariants(array, count);
    default:
      RaiseNotA(record);
  }
}

void ToArray(const Value& value, VARIANT* out) {
  if (const auto* bytes = value.TryGet<automation::Bytes>()) {
    OwnedArray array(::SafeArrayCreateVector(VT_UI1, 0, static_cast<ULONG>(bytes->size())));
    if (!bytes->empty()) {
      std::memcpy(Elements(array.get()).data(), bytes->data(), bytes->size());
    }
    V_ARRAY(out) = array.Detach();
    V_VT(out) = VT_ARRAY | VT_UI1;
  } else if (const auto* texts = value.TryGet<automation::TextArray>()) {
    OwnedArray array(::SafeArrayCreateVector(VT_BSTR, 0, static_cast<ULONG>(texts->size())));
    {
      const Elements elements(array.get());
      BSTR* const places = reinterpret_cast<BSTR*>(elements.data());
      for (std::size_t i = 0; i < texts->size(); ++i) places[i] = NewBstr((*texts)[i]);
    }
    V_ARRAY(out) = array.Detach();
    V_VT(out) = VT_ARRAY | VT_BSTR;
  } else if (const auto* records = value.TryGet<std::shared_ptr<const Records>>();
             records != nullptr && *records != nullptr && (*records)->type != nullptr) {
    V_ARRAY(out) = NewRecords(**records);
    V_VT(out) = VT_ARRAY | VT_RECORD;
  }
}

}  // namespace pv::server::com
