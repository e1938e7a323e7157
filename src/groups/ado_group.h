// ADO groups: the statement of a definition, and the late-bound calls that open it. Groups works
// through these, and so do doors that look at a definition before it is saved.
#ifndef PV_GROUPS_ADO_GROUP_H_
#define PV_GROUPS_ADO_GROUP_H_

#include <cstdint>
#include <string>

#include "pvgroupman/ado/ado_group_properties.h"
#include "pvgroupman/ado/data_source.h"
#include "pvgroupman/automation/object.h"
#include "pvgroupman/groups/group_field_types.h"

namespace pv::groups {

// ADO's numbers.
constexpr std::int32_t kAdoCommandText = 1;
constexpr std::int32_t kAdoTable = 2;
constexpr std::int32_t kAdoForwardOnly = 0;
constexpr std::int32_t kAdoReadOnly = 1;
constexpr std::int32_t kAdoOptimistic = 3;
constexpr std::int32_t kAdoBatchOptimistic = 4;
constexpr std::int32_t kAdoStateOpen = 1;
constexpr std::int32_t kAdoNoSuchItem = 3265;
constexpr std::int32_t kAdoIntegrityViolation = -2147217873;
constexpr std::int32_t kAdoBadValue = -2147217887;

// The statement of a definition, or the one that counts its rows; "" for a definition without a
// table and for a statement that has no counting form. A field name with a blank gets back-quotes,
// values go in as they are.
std::string BuildSql(ado::CADOGroupProperties* properties, bool count_only);

// The counting form of a stored statement: its first column is counted. "" for a statement
// without "select" or "from".
std::string CountRewrite(const std::string& sql);

// Opens a connection with the settings of a source. What the driver says is passed on without the
// passwords of the connection string.
void ConnectAdo(const automation::Ref<automation::Object>& connection,
                const ado::CDataSource& source);

// Opens a recordset on a definition, over an open connection.
void OpenAdoRecordset(const automation::Ref<automation::Object>& recordset,
                      const automation::Ref<automation::Object>& connection,
                      const ado::CDataSource& source, ado::CADOGroupProperties* properties);

// The number that a counting statement gives, in a recordset of its own.
automation::Value CountAdo(const automation::Ref<automation::Object>& connection,
                           const std::string& count_sql);

// Closes a connection or recordset that says that it is open.
void CloseAdo(const automation::Ref<automation::Object>& object);

// What a field of an ADO type holds for hosts.
PVGroupFieldType TypeOfAdo(std::int32_t type);

// Whether the database fills a recordset's field by itself.
bool IsAutoIncrement(const automation::Ref<automation::Object>& field);

}  // namespace pv::groups

#endif  // PV_GROUPS_ADO_GROUP_H_
