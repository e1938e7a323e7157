// Value: what late-bound members take and give, with its automation subtype kept apart (a 16-bit
// 1 is not a 32-bit 1 is not "1").
#ifndef PVGROUPMAN_AUTOMATION_VALUE_H_
#define PVGROUPMAN_AUTOMATION_VALUE_H_

#include <concepts>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "pvgroupman/automation/api.h"
#include "pvgroupman/automation/object.h"
#include "pvgroupman/automation/type_description.h"

namespace pv::automation {

// The subtypes, numbered as automation numbers them (an array is 0x2000 and its element).
enum class ValueType : std::uint16_t {
  kEmpty = 0,
  kNull = 1,
  kI2 = 2,
  kI4 = 3,
  kR8 = 5,
  kCurrency = 6,
  kDate = 7,
  kText = 8,
  kObject = 9,
  kMissing = 10,  // an optional argument left out
  kBoolean = 11,
  kTextArray = 0x2008,
  kBytes = 0x2011,
  kRecords = 0x2024,
};

// An exact amount: a count of 1/10,000.
struct Currency {
  std::int64_t units = 0;
  bool operator==(const Currency&) const = default;
};

// A moment: days since 1899-12-30, the time of day as the fraction (added away from zero).
struct Date {
  double days = 0;
  bool operator==(const Date&) const = default;
};

using Bytes = std::vector<std::uint8_t>;
using TextArray = std::vector<std::string>;

class Value;

// An array of records of one type; each row has one Value per field of the type.
struct Records {
  const RecordType* type = nullptr;
  std::vector<std::vector<Value>> rows;
};

// One value. Text is UTF-8. Copying a scalar allocates nothing.
//
// The To... members convert as automation does and throw Error: 13 "Type mismatch" when there is
// no conversion, 6 "Overflow" when the target cannot hold the value, 94 "Invalid use of Null".
class PV_API Value {
 public:
  // Empty.
  Value() noexcept = default;

  // A value of the subtype that the argument's type names; there are no other implicit
  // conversions, so that 64-bit integers and pointers are refused by the compiler.
  Value(std::int16_t v) noexcept : data_(v) {}                               // NOLINT: implicit
  Value(std::int32_t v) noexcept : data_(v) {}                               // NOLINT: implicit
  Value(double v) noexcept : data_(v) {}                                     // NOLINT: implicit
  Value(Currency v) noexcept : data_(v) {}                                   // NOLINT: implicit
  Value(Date v) noexcept : data_(v) {}                                       // NOLINT: implicit
  Value(std::string v) noexcept : data_(std::move(v)) {}                     // NOLINT: implicit
  Value(std::string_view v) : data_(std::string(v)) {}                       // NOLINT: implicit
  Value(const char* v) : data_(std::string(v)) {}                            // NOLINT: implicit
  Value(Bytes v) noexcept : data_(std::move(v)) {}                           // NOLINT: implicit
  Value(TextArray v) noexcept : data_(std::move(v)) {}                       // NOLINT: implicit
  Value(std::shared_ptr<const Records> v) noexcept : data_(std::move(v)) {}  // NOLINT: implicit
  template <std::same_as<bool> B>
  Value(B v) noexcept : data_(v) {}  // NOLINT: implicit
  template <std::derived_from<Object> T>
  Value(const Ref<T>& v) noexcept : data_(Ref<Object>(v)) {}  // NOLINT: implicit

  // Null, the value of a field that holds none.
  static Value Null() noexcept;

  // Stands for an optional argument that was left out.
  static Value Missing() noexcept;

  // The subtype.
  ValueType type() const noexcept;

  bool IsEmpty() const noexcept { return type() == ValueType::kEmpty; }
  bool IsNull() const noexcept { return type() == ValueType::kNull; }
  bool IsMissing() const noexcept { return type() == ValueType::kMissing; }
  bool IsText() const noexcept { return type() == ValueType::kText; }
  bool IsObject() const noexcept { return type() == ValueType::kObject; }
  // A 16- or 32-bit integer, double, currency or boolean; not a date.
  bool IsNumeric() const noexcept;

  // The payload when the subtype is exactly T's (std::int16_t, std::int32_t, double, Currency,
  // Date, bool, std::string, Bytes, TextArray, Ref<Object>, std::shared_ptr<const Records>), else
  // null. Valid until the Value changes.
  template <typename T>
  const T* TryGet() const noexcept {
    return std::get_if<T>(&data_);
  }

  // Makes the value this text, in the memory of the text that it held where there is any.
  void AssignText(std::string_view text);

  // Conversions. Fractions are rounded to the nearest whole number, halves to the even one; true
  // is -1; Empty is 0, false and ""; text is read as a decimal number, hexadecimal "&H1F", or
  // for dates as below.
  std::int16_t ToI2() const;
  std::int32_t ToI4() const;
  double ToR8() const;

  // Exact: text and integers without passing through a double; a fifth decimal is rounded to
  // even.
  Currency ToCurrency() const;

  // Text is read as year, month, day ("2024-02-29", also with "/"), with an optional time of day
  // ("13:45", "13:45:10"), or as a time alone. A number is a count of days.
  Date ToDate() const;

  // "True" and "False" in any letter case, or a number: true unless it is 0.
  bool ToBoolean() const;

  // Numbers in the shortest form that reads back the same ("0.1", "1E+20"); booleans as "True"
  // and "False"; dates as "2024-02-29", "2024-02-29 13:45:10" or, on day 0, "13:45:10".
  std::string ToText() const;

  // The object (perhaps none); error 13 for every other subtype.
  Ref<Object> ToObject() const;

  // Same subtype and same payload; objects by identity. See also ValuesEqual.
  bool operator==(const Value& other) const;

 private:
  struct NullTag {
    bool operator==(const NullTag&) const = default;
  };
  struct MissingTag {
    bool operator==(const MissingTag&) const = default;
  };
  using Data = std::variant<std::monostate, NullTag, std::int16_t, std::int32_t, double, Currency,
                            Date, std::string, Ref<Object>, MissingTag, bool, TextArray, Bytes,
                            std::shared_ptr<const Records>>;
  Data data_;
};

// Equality as automation compares two variants: numbers by size whatever their subtype, text byte
// by byte, a number never equal to text, Empty equal to 0 and to "", Null equal to nothing.
PV_API bool ValuesEqual(const Value& a, const Value& b);

// A moment as text by a pattern of yyyy, yy, mmm (English), mm, dd, hh, nn, ss; mm after hh means
// minutes; every other character stands for itself. Rounded to the second. Error 5 outside the
// years 100 to 9999.
PV_API std::string FormatDate(Date date, std::string_view pattern);

// Reads text as Value::ToDate does; false when it is no date.
PV_API bool ParseDate(std::string_view text, Date* date);

}  // namespace pv::automation

#endif  // PVGROUPMAN_AUTOMATION_VALUE_H_
