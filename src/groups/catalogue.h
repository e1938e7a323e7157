// Rows of the catalogue table; shared by the sources of Groups.
#ifndef PV_GROUPS_CATALOGUE_H_
#define PV_GROUPS_CATALOGUE_H_

#include <string>

#include "groups/group_id.h"
#include "pvgroupman/automation/value.h"
#include "pvgroupman/groups/types.h"
#include "pvgroupman/tablestore/database.h"
#include "pvgroupman/tablestore/recipients.h"

namespace pv::groups {

constexpr const char* kCatalogueFile = "groups.pvg";

// Where a native group's property file keeps its name.
constexpr const char* kPropertySection = "Properties";
constexpr const char* kPropertyName = "Name";

// Errors of the groups' own. Hosts know them: never change a number or text.
constexpr std::int32_t kErrUnsupportedFieldType = 2405;
constexpr std::int32_t kErrGroupIsOpen = 2407;
constexpr std::int32_t kErrGroupGone = 2409;
constexpr const char* kTextGroupGone = "The Group could not be opened as it no longer exists.";

// A field of the current row as text without blanks at its ends.
std::string TextOf(const automation::Ref<tablestore::Recipients>& cursor, const char* field);

// The kind of the group of the current row.
GroupType TypeOf(const automation::Ref<tablestore::Recipients>& cursor);

// Sets a field of the current row.
void SetField(const automation::Ref<tablestore::Recipients>& cursor, const char* field,
              const automation::Value& value);

// Compacts the catalogue. Another program that has it open for the moment of one operation is
// waited for, two seconds at most.
void CompactCatalogue(const automation::Ref<tablestore::Database>& database,
                      const std::string& folder);

}  // namespace pv::groups

#endif  // PV_GROUPS_CATALOGUE_H_
