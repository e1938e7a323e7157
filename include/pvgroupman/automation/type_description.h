// How member tables name types: enough to write a type library, a reference page and the
// functions of another language from them.
#ifndef PVGROUPMAN_AUTOMATION_TYPE_DESCRIPTION_H_
#define PVGROUPMAN_AUTOMATION_TYPE_DESCRIPTION_H_

#include <cstdint>
#include <vector>

#include "pvgroupman/automation/api.h"

namespace pv::automation {

// One name of an enumeration.
struct EnumerationName {
  const char* name;    // as in the type library, "AMT_SHARED"
  std::int32_t value;  // never changes
};

// An enumeration of the type library. Its values travel as 32-bit integers, and a member must
// bear any integer.
struct Enumeration {
  const char* name;                    // "AccessModeType"
  std::vector<EnumerationName> names;  // in type-library order
};

// What sort of type it is.
enum class TypeKind : std::uint8_t {
  kVoid,         // no result
  kVariant,      // any Value
  kI2,           // 16-bit integer
  kI4,           // 32-bit integer
  kR8,           // double
  kCurrency,     // 64-bit count of 1/10,000
  kDate,         // days since 1899-12-30
  kBoolean,      // true is -1
  kText,         // string
  kEnumeration,  // 32-bit integer with names
  kObject,       // reference to an object of the named class, or to any when there is no name
  kRecords,      // array of records of the named type
  kBytes,        // array of bytes
};

struct RecordType;

// The type of an argument, a result or a record's field.
struct Type {
  TypeKind kind = TypeKind::kVoid;
  const char* class_name = nullptr;          // kObject: the class, or null
  const Enumeration* enumeration = nullptr;  // kEnumeration
  const RecordType* record = nullptr;        // kRecords
};

// One field of a record type.
struct RecordField {
  const char* name;
  Type type;
};

// A record ("user-defined type") of the type library.
struct RecordType {
  const char* name;                 // "FieldStruct"
  std::vector<RecordField> fields;  // in order
};

// Every public enumeration T says EnumerationOf<T>::Describe(), every public record
// RecordOf<T>::Describe(), FromRow and ToRow.
template <typename T>
struct EnumerationOf;
template <typename T>
struct RecordOf;

}  // namespace pv::automation

#endif  // PVGROUPMAN_AUTOMATION_TYPE_DESCRIPTION_H_
