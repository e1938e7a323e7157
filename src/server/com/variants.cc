// Variants. Tested by tests/windows.
#include "server/com/variants.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <new>

#include "pvgroupman/automation/enumerator.h"
#include "pvgroupman/automation/error.h"
#include "server/com/arrays.h"
#include "server/com/dispatch_object.h"
#include "server/com/enum_variant.h"
#include "server/com/foreign_object.h"

namespace pv::server::com {
namespace {

using automation::Object;
using automation::Ref;
using automation::Value;
using automation::ValueType;

// An integer in the smallest of our subtypes that is at least as wide as its own.
template <typename T>
Value FromInteger(T v) {
  if (v >= std::numeric_limits<std::int32_t>::min() &&
      v <= std::numeric_limits<std::int32_t>::max()) {
    return Value(static_cast<std::int32_t>(v));
  }
  return Value(static_cast<double>(v));
}

Value FromDecimal(const DECIMAL& decimal) {
  DECIMAL copy = decimal;
  double v = 0;
  if (FAILED(::VarR8FromDec(&copy, &v))) automation::Raise(automation::kErrOverflow);
  return Value(v);
}

// How many bytes a variable of this type takes. Error 13 for what variables are not of.
std::size_t WidthOf(VARTYPE type) {
  switch (type) {
    case VT_I1:
    case VT_UI1:
      return 1;
    case VT_I2:
    case VT_UI2:
    case VT_BOOL:
      return 2;
    case VT_I4:
    case VT_UI4:
    case VT_INT:
    case VT_UINT:
    case VT_R4:
    case VT_ERROR:
      return 4;
    case VT_I8:
    case VT_UI8:
    case VT_R8:
    case VT_CY:
    case VT_DATE:
      return 8;
    case VT_BSTR:
    case VT_DISPATCH:
    case VT_UNKNOWN:
      return sizeof(void*);
    case VT_DECIMAL:
      return sizeof(DECIMAL);
    default:
      automation::Raise(automation::kErrTypeMismatch);
  }
}

// Reads what a by-reference variant leads to; `v` is of a plain type.
VARIANT Dereferenced(const VARIANT& v) {
  const VARTYPE type = static_cast<VARTYPE>(V_VT(&v) & ~VT_BYREF);
  if (V_BYREF(&v) == nullptr) automation::Raise(automation::kErrTypeMismatch);
  VARIANT plain;
  ::VariantInit(&plain);
  if ((type & VT_ARRAY) != 0) {
    V_ARRAY(&plain) = *V_ARRAYREF(&v);
  } else if (type == VT_DECIMAL) {
    plain.decVal = *V_DECIMALREF(&v);
  } else {
    std::memcpy(&V_I8(&plain), V_BYREF(&v), WidthOf(type));
  }
  V_VT(&plain) = type;  // last: a decimal's reserved bytes lie there too
  return plain;
}

// Puts a new value into the variable of this type at `to`; `from` has the type too.
void StoreScalar(VARTYPE type, const VARIANT& from, void* to) {
  switch (type) {
    case VT_BSTR: {
      BSTR* const text = static_cast<BSTR*>(to);
      BSTR copy = ::SysAllocStringLen(V_BSTR(&from), ::SysStringLen(V_BSTR(&from)));
      if (copy == nullptr) throw std::bad_alloc();
      ::SysFreeString(*text);
      *text = copy;
      return;
    }
    case VT_DISPATCH:
    case VT_UNKNOWN: {
      IUnknown** const place = static_cast<IUnknown**>(to);
      if (V_UNKNOWN(&from) != nullptr) V_UNKNOWN(&from)->AddRef();
      if (*place != nullptr) (*place)->Release();
      *place = V_UNKNOWN(&from);
      return;
    }
    case VT_DECIMAL: {
      DECIMAL decimal = from.decVal;
      decimal.wReserved = 0;
      std::memcpy(to, &decimal, sizeof decimal);
      return;
    }
    default:
      std::memcpy(to, &V_I8(&from), WidthOf(type));
  }
}

}  // namespace

Value FromVariant(const VARIANT& v, const automation::RecordType* record) {
  // Variants lead to variants only once in well-formed calls; a ring of them must not hold us.
  if (V_VT(&v) == (VT_BYREF | VT_VARIANT)) {
    const VARIANT* inner = V_VARIANTREF(&v);
    if (inner == nullptr || V_VT(inner) == (VT_BYREF | VT_VARIANT)) {
      automation::Raise(automation::kErrTypeMismatch);
    }
    return FromVariant(*inner, record);
  }
  if ((V_VT(&v) & VT_BYREF) != 0) return FromVariant(Dereferenced(v), record);
  if ((V_VT(&v) & VT_ARRAY) != 0) return FromArray(V_ARRAY(&v), record);
  switch (V_VT(&v)) {
    case VT_EMPTY:
      return Value();
    case VT_NULL:
      return Value::Null();
    case VT_I1:
      return Value(static_cast<std::int16_t>(V_I1(&v)));
    case VT_UI1:
      return Value(static_cast<std::int16_t>(V_UI1(&v)));
    case VT_I2:
      return Value(std::int16_t{V_I2(&v)});
    case VT_UI2:
      return FromInteger(V_UI2(&v));
    case VT_I4:
      return Value(static_cast<std::int32_t>(V_I4(&v)));
    case VT_INT:
      return Value(static_cast<std::int32_t>(V_INT(&v)));
    case VT_UI4:
      return FromInteger(static_cast<std::int64_t>(V_UI4(&v)));
    case VT_UINT:
      return FromInteger(static_cast<std::int64_t>(V_UINT(&v)));
    case VT_I8:
      return FromInteger(std::int64_t{V_I8(&v)});
    case VT_UI8:
      if (V_UI8(&v) > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
        return Value(static_cast<double>(V_UI8(&v)));
      }
      return FromInteger(static_cast<std::int64_t>(V_UI8(&v)));
    case VT_R4:
      return Value(static_cast<double>(V_R4(&v)));
    case VT_R8:
      return Value(double{V_R8(&v)});
    case VT_CY:
      return Value(automation::Currency{V_CY(&v).int64});
    case VT_DATE:
      return Value(automation::Date{V_DATE(&v)});
    case VT_DECIMAL:
      return FromDecimal(v.decVal);
    case VT_BOOL:
      return Value(V_BOOL(&v) != VARIANT_FALSE);
    case VT_BSTR:
      return Value(V_BSTR(&v) == nullptr ? std::string()
                                         : Utf8(V_BSTR(&v), ::SysStringLen(V_BSTR(&v))));
    case VT_DISPATCH:
    case VT_UNKNOWN:
      return Value(ObjectOf(V_UNKNOWN(&v)));
    case VT_ERROR:
      if (V_ERROR(&v) == DISP_E_PARAMNOTFOUND) return Value::Missing();
      automation::Raise(automation::kErrTypeMismatch);
    default:
      automation::Raise(automation::kErrTypeMismatch);
  }
}

void ToVariant(const Value& value, VARIANT* out) {
  switch (value.type()) {
    case ValueType::kEmpty:
      V_VT(out) = VT_EMPTY;
      return;
    case ValueType::kNull:
      V_VT(out) = VT_NULL;
      return;
    case ValueType::kMissing:
      V_VT(out) = VT_ERROR;
      V_ERROR(out) = DISP_E_PARAMNOTFOUND;
      return;
    case ValueType::kI2:
      V_VT(out) = VT_I2;
      V_I2(out) = *value.TryGet<std::int16_t>();
      return;
    case ValueType::kI4:
      V_VT(out) = VT_I4;
      V_I4(out) = *value.TryGet<std::int32_t>();
      return;
    case ValueType::kR8:
      V_VT(out) = VT_R8;
      V_R8(out) = *value.TryGet<double>();
      return;
    case ValueType::kCurrency:
      V_VT(out) = VT_CY;
      V_CY(out).int64 = value.TryGet<automation::Currency>()->units;
      return;
    case ValueType::kDate:
      V_VT(out) = VT_DATE;
      V_DATE(out) = value.TryGet<automation::Date>()->days;
      return;
    case ValueType::kBoolean:
      V_VT(out) = VT_BOOL;
      V_BOOL(out) = *value.TryGet<bool>() ? VARIANT_TRUE : VARIANT_FALSE;
      return;
    case ValueType::kText:
      V_BSTR(out) = NewBstr(*value.TryGet<std::string>());
      V_VT(out) = VT_BSTR;
      return;
    case ValueType::kObject: {
      const Ref<Object>& object = *value.TryGet<Ref<Object>>();
      if (const auto enumerator = automation::Cast<automation::Enumerator>(object)) {
        V_UNKNOWN(out) = new EnumVariant(enumerator);
        V_VT(out) = VT_UNKNOWN;
        return;
      }
      V_DISPATCH(out) = DispatchOf(object);
      V_VT(out) = VT_DISPATCH;
      return;
    }
    case ValueType::kTextArray:
    case ValueType::kBytes:
    case ValueType::kRecords:
      ToArray(value, out);
      return;
  }
}

void WriteBack(const Value& value, const VARIANT& argument) {
  const VARTYPE type = V_VT(&argument);
  if ((type & VT_BYREF) == 0 || V_BYREF(&argument) == nullptr) return;
  const VARTYPE plain = static_cast<VARTYPE>(type & ~VT_BYREF);
  if ((plain & VT_ARRAY) != 0) {
    StoreArray(value, static_cast<VARTYPE>(plain & ~VT_ARRAY), V_ARRAYREF(&argument));
    return;
  }
  OwnedVariant made;
  ToVariant(value, &made);
  if (type == (VT_BYREF | VT_VARIANT)) {
    VARIANT* const place = V_VARIANTREF(&argument);
    // What stands there may itself lead on to a typed variable.
    if ((V_VT(place) & VT_BYREF) != 0) {
      if (V_VT(place) != (VT_BYREF | VT_VARIANT)) WriteBack(value, *place);
      return;
    }
    if (FAILED(::VariantCopy(place, &made))) throw std::bad_alloc();
    return;
  }
  OwnedVariant converted;
  const HRESULT result = ::VariantChangeType(&converted, &made, 0, plain);
  if (result == DISP_E_OVERFLOW) automation::Raise(automation::kErrOverflow);
  if (FAILED(result)) automation::Raise(automation::kErrTypeMismatch);
  StoreScalar(plain, converted, V_BYREF(&argument));
}

}  // namespace pv::server::com
