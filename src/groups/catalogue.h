// Rows of the catalogue table; shared by the sources of Groups.
#ifndef PV_GROUPS_CATALOGUE_H_
#define PV_GROUPS_CATALOGUE_H_

#include <string>

#include "groups/group_id.h"
#include "pvgroupman/groups/types.h"
#include "pvgroupman/tablestore/recipients.h"
#include "tablestore/settings_table.h"

namespace pv::groups {

constexpr const char* kCatalogueFile = "groups.pvg";

// Where a native group's property file keeps its name.
constexpr const char* kPropertySection = "Properties";
constexpr const char* kPropertyName = "Name";

// Writes the name into the property file of the group whose files begin with `stem`; error 75 when
// that fails.
void WriteGroupName(const std::string& stem, const std::string& name);

// Errors of the groups' own. Hosts know them: never change a number or text.
constexpr std::int32_t kErrUnsupportedFieldType = 2405;
constexpr std::int32_t kErrGroupIsOpen = 2407;
constexpr std::int32_t kErrGroupGone = 2409;
constexpr const char* kTextGroupGone = "The Group could not be opened as it no longer exists.";

using tablestore::SetField;
using tablestore::TextOf;

// The kind of the group of the current row.
GroupType TypeOf(const automation::Ref<tablestore::Recipients>& cursor);

}  // namespace pv::groups

#endif  // PV_GROUPS_CATALOGUE_H_
