// Enumerations of the group classes, with their type-library names.
#ifndef PVGROUPMAN_GROUPS_TYPES_H_
#define PVGROUPMAN_GROUPS_TYPES_H_

#include <cstdint>

#include "pvgroupman/automation/api.h"
#include "pvgroupman/automation/type_description.h"

namespace pv::groups {

// Where a group's recipients come from. On disk: never change.
enum class GroupType : std::int32_t {
  kPvFormat = 0,      // PV_FORMAT_GROUP: a table of the component
  kAdoRecordset = 1,  // ADO_RECORDSET: a query on another database
  kAddressBook = 2,   // ADDRESS_BOOK: the contacts of an address book
};

// What a field of an open group holds.
enum class PVGroupFieldType : std::int32_t {
  kText = 0,      // GF_TEXT
  kNumber = 1,    // GF_NUMBER
  kCurrency = 2,  // GF_CURRENCY
  kDate = 3,      // GF_DATE
  kDateTime = 4,  // GF_DateTIME
  kBoolean = 5,   // GF_BOOLEAN
  kNoUpdate = 6,  // GF_NOUPDATE: the host must not write it
};

}  // namespace pv::groups

namespace pv::automation {

// Descriptions for the type library and for late-bound calls.
template <>
struct EnumerationOf<groups::GroupType> {
  PV_API static const Enumeration& Describe();
};
template <>
struct EnumerationOf<groups::PVGroupFieldType> {
  PV_API static const Enumeration& Describe();
};

}  // namespace pv::automation

#endif  // PVGROUPMAN_GROUPS_TYPES_H_
