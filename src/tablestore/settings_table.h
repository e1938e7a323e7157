// Rows of the tables in which the component keeps its own settings: the group catalogue, saved data
// sources, definitions of groups. Shared by the classes that keep them.
#ifndef PV_TABLESTORE_SETTINGS_TABLE_H_
#define PV_TABLESTORE_SETTINGS_TABLE_H_

#include <string>
#include <vector>

#include "pvgroupman/automation/value.h"
#include "pvgroupman/tablestore/database.h"
#include "pvgroupman/tablestore/recipients.h"

namespace pv::tablestore {

// What every tag of a settings table admits.
constexpr const char* kSettingsFilter = ".NOT. DELETED()";

// A field of the current row, as the cursor gives it: text without the blanks that fill its field.
const automation::Value& FieldOf(const automation::Ref<Recipients>& cursor, const char* field);

// The same as text without blanks at either end.
std::string TextOf(const automation::Ref<Recipients>& cursor, const char* field);

// Sets a field of the current row.
void SetField(const automation::Ref<Recipients>& cursor, const char* field,
              const automation::Value& value);

// Whether a table that was just opened has no row to walk to.
bool IsEmpty(const Recipients& cursor);

// Whether there is such a table. An error (75), not "no", when that cannot be told: what cannot be
// reached must not be taken for missing.
bool SettingsTableExists(const std::string& folder, const std::string& file);

// Each of these waits, for five seconds at most, while another program has the table for the moment
// of one operation. EnsureSettingsTable makes it unless it is there, or is made by somebody else at
// this moment.
automation::Ref<Recipients> OpenSettingsTable(const automation::Ref<Database>& database,
                                              const std::string& folder, const std::string& file,
                                              const char* tag);
void EnsureSettingsTable(const std::string& folder, const std::string& file,
                         const std::vector<FieldStruct>& fields,
                         const std::vector<IndexStruct>& tags);
void CompactSettingsTable(const automation::Ref<Database>& database, const std::string& folder,
                          const std::string& file);

}  // namespace pv::tablestore

#endif  // PV_TABLESTORE_SETTINGS_TABLE_H_
