// Which column of a source goes to which field of a group.
#ifndef PV_CLI_IMPORT_IMPORT_PLAN_H_
#define PV_CLI_IMPORT_IMPORT_PLAN_H_

#include <string>
#include <vector>

#include "cli/fields/infer.h"
#include "cli/fields/record.h"
#include "cli/import/import_options.h"
#include "tablestore/engine/operations.h"

namespace pv::cli {

struct PlannedColumn {
  std::string heading;
  std::string field;  // "" when the column is left out
  FieldShape shape;
  ColumnReading reading;
  std::string note;     // something to know, for people
  bool mapped = false;  // by --map
};

struct ImportPlan {
  std::vector<PlannedColumn> columns;  // as many as the source has
  std::size_t address_column = 0;

  // The fields of the new group's table, the address first.
  std::vector<engine::FieldRecord> NewFields() const;
};

// The parts of a plan for which the group must be known.
struct GroupShape {
  std::vector<RecordField> fields;  // empty for a new group
  std::string address_field = "EMAIL";
};

// Throws Failure kUsage when there is no column of addresses, a mapping names what is not there,
// a column finds no field of an existing group, or the dates of a column can be read two ways and
// must be read one way.
ImportPlan MakePlan(const std::vector<std::string>& headings, const std::vector<ColumnStats>& stats,
                    const ImportOptions& options, const GroupShape& group);

}  // namespace pv::cli

#endif  // PV_CLI_IMPORT_IMPORT_PLAN_H_
