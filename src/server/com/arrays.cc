// Arrays. Tested by tests/windows.
#include "server/com/arrays.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "pvgroupman/automation/error.h"
#include "server/com/variants.h"

namespace pv::server::com {
namespace {

using automation::Records;
using automation::RecordType;
using automation::TypeKind;
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

// How a field is laid out in a record; VT_EMPTY for types that records do not have.
VARTYPE LayoutOf(const automation::Type& type) {
  switch (type.kind) {
    case TypeKind::kText:
      return VT_BSTR;
    case TypeKind::kEnumeration:
    case TypeKind::kI4:
      return VT_I4;
    case TypeKind::kI2:
      return VT_I2;
    case TypeKind::kBoolean:
      return VT_BOOL;
    default:
      return VT_EMPTY;
  }
}

std::size_t SizeOf(VARTYPE type) {
  switch (type) {
    case VT_BSTR:
      return sizeof(BSTR);
    case VT_I4:
      return 4;
    default:
      return 2;
  }
}

// `offset` moved up to where something of this size may lie.
std::size_t Aligned(std::size_t offset, std::size_t size) {
  return (offset + size - 1) / size * size;
}

// The identifier vouches for the layout, which is that of any compiler; the runtime's own access by
// name does not know the enumerations of the library on every system.
Value FromRecords(SAFEARRAY* array, std::size_t count, const RecordType* type) {
  Pointer<IRecordInfo> info;
  if (FAILED(::SafeArrayGetRecordInfo(array, info.Receive())) || !info) RaiseNotA(type);
  if (type == nullptr || !IsOfType(info.get(), *type)) RaiseNotA(type);
  std::vector<std::size_t> offsets;
  std::size_t end = 0;
  std::size_t widest = 1;
  for (const automation::RecordField& field : type->fields) {
    const VARTYPE layout = LayoutOf(field.type);
    if (layout == VT_EMPTY) RaiseNotA(type);
    const std::size_t size = SizeOf(layout);
    offsets.push_back(Aligned(end, size));
    end = offsets.back() + size;
    widest = std::max(widest, size);
  }
  const std::size_t record_size = Aligned(end, widest);
  if (array->cbElements != record_size) RaiseNotA(type);

  auto records = std::make_shared<Records>();
  records->type = type;
  const Elements elements(array);
  for (std::size_t i = 0; i < count; ++i) {
    std::vector<Value> row;
    for (std::size_t f = 0; f < offsets.size(); ++f) {
      VARIANT field;  // borrows what the record owns
      ::VariantInit(&field);
      V_VT(&field) = LayoutOf(type->fields[f].type);
      std::memcpy(&V_I8(&field), elements.data() + i * record_size + offsets[f],
                  SizeOf(V_VT(&field)));
      row.push_back(FromVariant(field, nullptr));
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

// A new array of a value, with elements of this type. Error 13 when it cannot have them.
SAFEARRAY* NewArray(const Value& value, VARTYPE element) {
  const auto* bytes = value.TryGet<automation::Bytes>();
  const auto* texts = value.TryGet<automation::TextArray>();
  if (!(bytes != nullptr && element == VT_UI1) &&
      !(texts != nullptr && (element == VT_BSTR || element == VT_VARIANT))) {
    automation::Raise(automation::kErrTypeMismatch);
  }
  const std::size_t count = bytes != nullptr ? bytes->size() : texts->size();
  OwnedArray array(::SafeArrayCreateVector(element, 0, static_cast<ULONG>(count)));
  const Elements elements(array.get());
  for (std::size_t i = 0; i < count; ++i) {
    if (bytes != nullptr) {
      elements.data()[i] = (*bytes)[i];
    } else if (element == VT_BSTR) {
      reinterpret_cast<BSTR*>(elements.data())[i] = NewBstr((*texts)[i]);
    } else {
      ToVariant(Value((*texts)[i]), reinterpret_cast<VARIANT*>(elements.data()) + i);
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
  // Script languages read arrays of variants only, but have bytes as they are.
  const VARTYPE element = value.TryGet<automation::Bytes>() != nullptr ? VT_UI1 : VT_VARIANT;
  V_ARRAY(out) = NewArray(value, element);
  V_VT(out) = static_cast<VARTYPE>(VT_ARRAY | element);
}

void StoreArray(const Value& value, VARTYPE element, SAFEARRAY** to) {
  OwnedArray array(NewArray(value, element));
  const auto is_fixed = [](const SAFEARRAY& old) {
    return (old.fFeatures & (FADF_FIXEDSIZE | FADF_STATIC | FADF_AUTO | FADF_EMBEDDED)) != 0;
  };
  if (*to != nullptr && (is_fixed(**to) || FAILED(::SafeArrayDestroy(*to)))) {
    throw automation::Error(10, {}, "This array is fixed or temporarily locked");
  }
  *to = array.Detach();
}

}  // namespace pv::server::com
