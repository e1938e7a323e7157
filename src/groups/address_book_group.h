// Address-book groups: the late-bound calls that describe them.
#ifndef PV_GROUPS_ADDRESS_BOOK_GROUP_H_
#define PV_GROUPS_ADDRESS_BOOK_GROUP_H_

#include "pvgroupman/automation/object.h"
#include "pvgroupman/automation/value.h"
#include "pvgroupman/groups/group_field_types.h"

namespace pv::groups {

// The length that every field of an address book has for hosts.
constexpr std::int32_t kContactFieldLength = 254;

// What a contact's value holds for hosts.
PVGroupFieldType TypeOfContactValue(const automation::Value& value);

// Adds the fields of a contacts cursor, typed by the values of its current contact or, when it
// stands on none, of its first one. The cursor is left where it was.
void AddContactFields(const automation::Ref<automation::Object>& cursor, GroupFieldTypes* types);

}  // namespace pv::groups

#endif  // PV_GROUPS_ADDRESS_BOOK_GROUP_H_
