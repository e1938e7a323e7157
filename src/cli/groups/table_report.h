// What a table is made of, and what is wrong with it, for people and programs.
#ifndef PV_CLI_GROUPS_TABLE_REPORT_H_
#define PV_CLI_GROUPS_TABLE_REPORT_H_

#include <string>
#include <utility>
#include <vector>

#include "cli/failure.h"
#include "cli/groups/table.h"

namespace pv::cli {

// Whether the data file has reached nine tenths of the largest size that it can have.
bool NearlyFull(const engine::TableInfo& info);

// Prints files, sizes, counts, fields and tags, for people or as JSON. `about` are lines to begin
// with, by name.
ExitCode ReportTable(Table* table, const std::vector<std::pair<std::string, std::string>>& about,
                     bool json);

// Checks the whole table and prints each finding. `name` is what people call it.
ExitCode VerifyTable(const Table& table, const std::string& name, bool json);

}  // namespace pv::cli

#endif  // PV_CLI_GROUPS_TABLE_REPORT_H_
