// Enumerations and records of the table store's classes, with their type-library names.
#ifndef PVGROUPMAN_TABLESTORE_TYPES_H_
#define PVGROUPMAN_TABLESTORE_TYPES_H_

#include <cstdint>
#include <string>
#include <vector>

#include "pvgroupman/automation/api.h"
#include "pvgroupman/automation/type_description.h"
#include "pvgroupman/automation/value.h"

namespace pv::tablestore {

// Whom else the opener of a table admits.
enum class AccessModeType : std::int32_t {
  kShared = 0,     // AMT_SHARED: everybody
  kExclusive = 1,  // AMT_EXCLUSIVE: readers
  kLocked = 2,     // AMT_LOCKED: nobody
};

// Whether an object holds what it works on.
enum class StateConstants : std::int32_t {
  kIsClosed = 0,  // IsClosed
  kIsOpen = 1,    // IsOpen
};

// How much the log records; each level includes those before it.
enum class LogLevel : std::int32_t {
  kNoLog = 0,          // NoLog
  kErrOnly = 1,        // ErrOnly: errors
  kErrBasicTrace = 2,  // ErrBasicTrace
  kErrFullTrace = 3,   // errfulltrace: every operation's entry and exit
};

// Field types of the table store.
enum class FieldType : std::int32_t {
  kBinary = 0,           // CB_Binary: a binary double, as kDouble
  kCharacter = 1,        // CB_Character
  kCharacterBinary = 2,  // CB_CharacterBinary
  kCurrency = 3,         // CB_Currency
  kDate = 4,             // CB_Date
  kDateTime = 5,         // CB_DateTime
  kDouble = 6,           // CB_Double
  kFloat = 7,            // CB_Float
  kGeneral = 8,          // CB_General
  kInteger = 9,          // CB_Integer
  kLogical = 10,         // CB_Logical
  kMemo = 11,            // CB_Memo
  kMemoBinary = 12,      // CB_MemoBinary
  kNumeric = 13,         // CB_Numeric
  kUnicode = 14,         // CB_Unicode
};

// Field types of the groups that a host creates.
enum class PVFieldType : std::int32_t {
  kText = 0,      // FT_TEXT
  kUnicode = 1,   // FT_UNICODE
  kNumber = 2,    // FT_NUMBER
  kDate = 3,      // FT_DATE
  kCurrency = 4,  // FT_CURRENCY
  kBoolean = 5,   // FT_BOOLEAN
};

// A field of a table to be created. Members as in the type library.
struct FieldStruct {
  std::string Name;  // at most 10 characters
  FieldType Type = FieldType::kCharacter;
  std::int16_t Length = 0;    // bytes; ignored for types of fixed width
  std::int16_t Decimal = 0;   // decimal places
  bool NullsAllowed = false;  // whether the field can hold Null
};

// An index tag of a table to be created. Members as in the type library.
struct IndexStruct {
  std::string Name;         // at most 10 characters
  std::string expression;   // key expression, often a field's name
  std::string filter;       // only records for which it is true are in the tag; "" for all
  bool unique = false;      // no two records in the tag may have the same key
  bool descending = false;  // greatest key first
};

}  // namespace pv::tablestore

namespace pv::automation {

// Descriptions for the type library and for late-bound calls.
template <>
struct EnumerationOf<tablestore::AccessModeType> {
  PV_API static const Enumeration& Describe();
};
template <>
struct EnumerationOf<tablestore::StateConstants> {
  PV_API static const Enumeration& Describe();
};
template <>
struct EnumerationOf<tablestore::LogLevel> {
  PV_API static const Enumeration& Describe();
};
template <>
struct EnumerationOf<tablestore::FieldType> {
  PV_API static const Enumeration& Describe();
};
template <>
struct EnumerationOf<tablestore::PVFieldType> {
  PV_API static const Enumeration& Describe();
};
template <>
struct RecordOf<tablestore::FieldStruct> {
  PV_API static const RecordType& Describe();
  // A row has one Value per member, in order; errors of the conversions of Value.
  PV_API static tablestore::FieldStruct FromRow(const std::vector<Value>& row);
  PV_API static std::vector<Value> ToRow(const tablestore::FieldStruct& field);
};
template <>
struct RecordOf<tablestore::IndexStruct> {
  PV_API static const RecordType& Describe();
  PV_API static tablestore::IndexStruct FromRow(const std::vector<Value>& row);
  PV_API static std::vector<Value> ToRow(const tablestore::IndexStruct& index);
};

}  // namespace pv::automation

#endif  // PVGROUPMAN_TABLESTORE_TYPES_H_
